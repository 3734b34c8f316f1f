#include "profile/line_profile.h"

#include <cmath>
#include <limits>

#include "common/text_format.h"
#include "profile/profile_messages.h"

namespace lumetra {

BandSampler::BandSampler(const ProfileBand& line, int32_t width, int32_t height)
    : width_(width), height_(height) {
  const int32_t length = line.Length();
  if (length <= 0 || line.width <= 0 || width <= 0 || height <= 0) return;
  points_ = length;
  start_.reserve(static_cast<size_t>(length) + 1);
  for (int32_t c = 0; c < length; ++c) {
    start_.push_back(static_cast<int64_t>(index_.size()));
    for (int32_t r = 0; r < line.width; ++r) {
      int32_t x = 0, y = 0;
      BandSamplePoint(line, r, c, x, y);
      if (x < 0 || y < 0 || x >= width || y >= height) continue;
      index_.push_back(static_cast<int64_t>(y) * width + x);
    }
  }
  start_.push_back(static_cast<int64_t>(index_.size()));
  empty_ = index_.empty();
}

void BandSampler::Measure(const uint16_t* frame, double* out, int32_t* pixels) const {
  for (int32_t c = 0; c < points_; ++c) {
    const int64_t b = start_[static_cast<size_t>(c)], e = start_[static_cast<size_t>(c) + 1];
    int64_t sum = 0;
    for (int64_t i = b; i < e; ++i) sum += frame[index_[static_cast<size_t>(i)]];
    out[c] = e > b ? static_cast<double>(sum) / static_cast<double>(e - b)
                   : std::numeric_limits<double>::quiet_NaN();
    if (pixels) pixels[c] = static_cast<int32_t>(e - b);
  }
}

LineProfile MeasureLineProfile(const uint16_t* frame, int32_t width, int32_t height,
                               const ProfileBand& line) {
  LineProfile p;
  p.line = line;
  const BandSampler sampler(line, width, height);
  if (sampler.Empty()) return p;
  p.mean.resize(static_cast<size_t>(sampler.Points()));
  p.pixels.resize(p.mean.size());
  sampler.Measure(frame, p.mean.data(), p.pixels.data());
  return p;
}

void ProfilePointAt(const ProfileBand& line, int32_t c, double& x, double& y) {
  const double len = std::hypot(line.x1 - line.x0, line.y1 - line.y0);
  x = line.x0;
  y = line.y0;
  if (!(len > 0)) return;
  x += c * (line.x1 - line.x0) / len;
  y += c * (line.y1 - line.y0) / len;
}

std::string ProfileText(const LineProfile& profile, double nm_per_pixel) {
  std::string s(kProfileHeader);
  for (size_t c = 0; c < profile.mean.size(); ++c) {
    double x = 0, y = 0;
    ProfilePointAt(profile.line, static_cast<int32_t>(c), x, y);
    s += std::to_string(c) + '\t' + FormatTable(c * nm_per_pixel, "%.1f") + '\t' +
         FormatTable(x, "%.3f") + '\t' + FormatTable(y, "%.3f") + '\t' +
         FormatTable(profile.mean[c], "%.3f") + '\t' + std::to_string(profile.pixels[c]) + '\n';
  }
  return s;
}

}  // namespace lumetra
