// Small synthetic frames for the tracking tests: flat backgrounds with
// Gaussian spots drawn at chosen positions, with or without noise.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "common/random.h"

namespace lumetra::testing {

struct TestSpot {
  double x, y;    // centre, pixels (column, row)
  double height;  // counts above background at the centre
};

inline std::vector<uint16_t> MakeFrame(int32_t w, int32_t h, double background,
                                       const std::vector<TestSpot>& spots, double sigma = 1.06,
                                       uint64_t noise_seed = 0) {
  std::vector<uint16_t> px(static_cast<size_t>(w) * h);
  Rng rng(noise_seed);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      double v = background;
      for (const TestSpot& s : spots) {
        const double dx = x - s.x, dy = y - s.y;
        v += s.height * std::exp(-(dx * dx + dy * dy) / (2 * sigma * sigma));
      }
      if (noise_seed != 0) v = static_cast<double>(rng.Poisson(v));
      px[static_cast<size_t>(y) * w + x] = static_cast<uint16_t>(std::lround(v));
    }
  return px;
}

}  // namespace lumetra::testing
