// From candidate pixels to objects: the one-sweep 8-connected clustering, the
// object centres and intensities (DetectCenters), the label map and each
// object's distance to its nearest neighbour.
#pragma once

#include <cstdint>
#include <vector>

#include "spots/spot_detector.h"

namespace lumetra {

inline constexpr uint16_t kNoSpot = 65000;  // label map value of a pixel without a spot centre

// One detected object (the spot record of the window).
struct SpotRec {
  int32_t X = 0;  // centre column (pixels)
  int32_t Y = 0;  // centre row (pixels)
  int32_t number = 0;
  bool selected = false;
  float intensity = 0;   // counts/pixel
  float nn_dist_um = 0;  // distance to the nearest other object (um)
};

// Labels the candidates (row-major order) and returns the object count. Each
// label grows in one forward sweep of the list: a candidate that receives the
// label after the sweep has passed it does not spread it further. The count is
// the last label + 1, except that a last label of 0 reports 0 objects (a frame
// with one cluster or none): later steps rely on that. At most 10000 labels are
// given; candidates beyond stay unlabelled (-1).
// `index_map` (optional) is a frame-sized scratch map, `width` pixels wide,
// holding -1 everywhere on entry and on return; it makes the neighbour look-up
// direct instead of a search of the list.
int32_t ClusterCandidates(std::vector<Candidate>& candidates,
                          std::vector<int32_t>* index_map = nullptr, int32_t width = 0);

// DetectCenters: centres (truncated means of each label's candidates),
// intensities, numbers, cleared selection flags and nearest-neighbour
// distances of `object_count` objects. The label map (frame-sized, row-major)
// must hold kNoSpot everywhere on entry; the centres written are appended to
// `written` so the caller can clear them again cheaply.
void DetectCenters(const std::vector<Candidate>& candidates, int32_t object_count,
                   const uint16_t* pixels, int32_t width, bool subtract_background,
                   double nm_per_pixel, std::vector<SpotRec>& objects,
                   std::vector<uint16_t>& label_map, std::vector<int32_t>& written);

// Fills nn_dist_um of every object: sqrt(smallest squared centre distance to
// another object, start value 1.0e8) x 0.001 x nm per pixel.
void NearestNeighbourDistances(std::vector<SpotRec>& objects, double nm_per_pixel);

}  // namespace lumetra
