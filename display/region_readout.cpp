#include "display/region_readout.h"

#include <algorithm>
#include <cmath>

#include "common/text_format.h"
#include "display/display_messages.h"

namespace lumetra {
namespace {

int64_t SumRect(const uint16_t* frame, int32_t width, int32_t l, int32_t t, int32_t r, int32_t b) {
  int64_t sum = 0;
  for (int32_t y = t; y < b; ++y) {
    const uint16_t* row = frame + static_cast<int64_t>(y) * width;
    for (int32_t x = l; x < r; ++x) sum += row[x];
  }
  return sum;
}

// Truncated toward zero to `decimals` places, as every displayed result is.
std::string Truncated(double v, int decimals) {
  // The nudge keeps a mean such as 0.3 (stored as 0.29999...) from losing its last digit.
  const double scale = std::pow(10.0, decimals);
  return FormatFixed(std::trunc(v * scale * (1 + 1e-12)) / scale, decimals);
}

}  // namespace

RegionStats MeasureRegion(const uint16_t* frame, int32_t width, int32_t height,
                          const Region& region) {
  RegionStats s;
  if (width <= 0 || height <= 0) return s;
  const int32_t l = std::max(region.left, 0), t = std::max(region.top, 0);
  const int32_t r = std::min(region.right, width), b = std::min(region.bottom, height);
  if (r <= l || b <= t) return s;
  s.mean = static_cast<double>(SumRect(frame, width, l, t, r, b)) /
           (static_cast<double>(r - l) * (b - t));
  const double frame_mean = static_cast<double>(SumRect(frame, width, 0, 0, width, height)) /
                            (static_cast<double>(width) * height);
  s.relative = frame_mean > 0 ? s.mean / frame_mean : 0;
  return s;
}

std::string RegionReadout(const Region& region, const RegionStats& stats) {
  std::string s(kReadoutLeft);
  s += std::to_string(region.left);
  s += kReadoutWidth;
  s += std::to_string(region.Width());
  s += kReadoutTop;
  s += std::to_string(region.top);
  s += kReadoutHeight;
  s += std::to_string(region.Height());
  s += kReadoutPixels;
  s += ' ' + Truncated(stats.mean, 1);
  s += kReadoutCounts;
  s += Truncated(stats.relative, 3);
  s += kReadoutRelative;
  return s;
}

}  // namespace lumetra
