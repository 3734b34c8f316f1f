// CalcDist: the distribution of the objects' nearest-neighbour distances in
// the current frame, as the matrix the graph draws ("Min. Distance (um)").
#pragma once

#include <cstdint>
#include <vector>

#include "spots/spot_objects.h"

namespace lumetra {

inline constexpr int32_t kDistanceBins = 50;
inline constexpr float kDistanceBinUm = 0.1f;  // bin width (um)

// Row 0: bin centres (um); row 1: objects per bin. Distances beyond the last
// bin count in it; a lone object (distance 1000 um) is left out.
std::vector<float> DistanceHistogram(const std::vector<SpotRec>& objects);

}  // namespace lumetra
