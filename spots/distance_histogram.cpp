#include "spots/distance_histogram.h"

#include <algorithm>

namespace lumetra {

std::vector<float> DistanceHistogram(const std::vector<SpotRec>& objects) {
  std::vector<float> m(2 * kDistanceBins, 0.0f);
  for (int32_t i = 0; i < kDistanceBins; ++i) m[i] = (i + 0.5f) * kDistanceBinUm;
  // The start value of the search gives sqrt(1e8) pixels: no neighbour at all.
  constexpr float kNoNeighbourUm = 999.0f;
  for (const SpotRec& o : objects) {
    if (!(o.nn_dist_um >= 0) || o.nn_dist_um >= kNoNeighbourUm) continue;
    const int32_t bin =
        std::min(kDistanceBins - 1, static_cast<int32_t>(o.nn_dist_um / kDistanceBinUm));
    m[kDistanceBins + bin] += 1.0f;
  }
  return m;
}

}  // namespace lumetra
