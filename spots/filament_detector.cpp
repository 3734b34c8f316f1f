#include "spots/filament_detector.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/text_format.h"
#include "spots/spot_params.h"
#include "spots/spot_template.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

// Median of 32 values (the mean of the two middle ones); reorders them.
double Median(std::array<double, 32>& v) {
  std::nth_element(v.begin(), v.begin() + 16, v.end());
  const double upper = v[16];
  return 0.5 * (*std::max_element(v.begin(), v.begin() + 16) + upper);
}

}  // namespace

int32_t DetectFilamentPixels(const uint16_t* pixels, int32_t width, int32_t left, int32_t right,
                             int32_t top, int32_t bottom, int32_t q,
                             std::vector<Candidate>& candidates, Reporter& reporter) {
  candidates.clear();
  if (right - left < 13 || bottom - top < 13) {
    reporter.Warning(kAreaTooSmallFilaments);
    return -1;
  }
  const ZoneOffsets offsets(width);
  std::array<double, 32> ring{};
  for (int32_t y = top + kSpotHalf; y < bottom - 6; ++y) {
    for (int32_t x = left + kSpotHalf; x < right - 6; ++x) {
      if (candidates.size() > static_cast<size_t>(kMaxCandidates)) {
        // As the spot scan: the rest of the row is skipped, the next row reports again.
        reporter.Warning(kPixelLimitTruncated);
        break;
      }
      const uint16_t* corner =
          pixels + static_cast<size_t>(y - kSpotHalf) * width + (x - kSpotHalf);
      const ZoneSums z = SumZones(corner, offsets);
      // A filament crosses the ring on a few of its 32 pixels: the median and
      // the median deviation of the ring are left nearly untouched by them.
      for (size_t i = 0; i < ring.size(); ++i) ring[i] = corner[offsets.ring[i]];
      const double b = Median(ring);
      const int32_t a = TruncToInt(z.disc / 21.0 - b);
      if (a < q / 2 || a <= 0) continue;
      for (double& v : ring) v = std::fabs(v - b);
      // A flat ring still has the counting noise of one count.
      const double sd = std::max(1.4826 * Median(ring), 1.0);
      const double snr = a * std::sqrt(21.0) / sd;
      if (snr < q) continue;
      Candidate c;
      c.X = x;
      c.Y = y;
      c.index = static_cast<int32_t>(candidates.size());
      c.raw = pixels[static_cast<size_t>(y) * width + x];
      c.amplitude = static_cast<float>(a);
      c.Q = static_cast<float>(snr);
      candidates.push_back(c);
    }
  }
  return static_cast<int32_t>(candidates.size());
}

}  // namespace lumetra
