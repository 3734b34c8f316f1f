// Linking for "Dense Field Detection": the spots of the whole record are
// joined into tracks by assignments that are best for all tracks of a frame
// at once, not one track after another.
//
// 1. Frame to frame: each track ending in frame f and each spot of frame f + 1
//    within R of it form a pair of cost d^2. Pairs that share a track or a
//    spot form a cluster; each cluster gets the assignment with the most links
//    and, among those, the least summed cost (Hungarian method). A spot left
//    over starts a track.
// 2. Closing: a track that ended in frame f and one that started in frame
//    f + g (g = 1 .. kMaxGap + 1) are joined when the start lies within
//    1.5 R sqrt(g) of the end, at cost d^2 / g, with the same best assignment
//    over all such ends and starts. This mends a track cut by a step longer
//    than R, by a spot lost for a frame or two, or by two spots that merged.
//    The frames in between stay without a point.
// 3. A track is kept when it has more than L steps, its first to its last
//    frame (L = "Track(L)en").
//
// The result depends only on the spots and their order: no threads, no
// hashing, ties broken by index.
#pragma once

#include <cstdint>
#include <vector>

namespace lumetra {

struct LinkSpot {
  float x = 0, y = 0;  // centre, frame pixels
};

struct GlobalLinkRules {
  double max_radius = 5;   // R, pixels
  int32_t min_track = 10;  // L: a kept track has more steps than this
};

// Frames without a point a closed track may hold in a row.
inline constexpr int32_t kMaxGap = 2;
// Clusters larger than this (tracks or spots) are assigned nearest pair first.
inline constexpr int32_t kMaxClusterSide = 80;

struct LinkedTrack {
  int32_t first_frame = 0;
  // Per frame from first_frame on: the spot's index in its frame, -1 for none.
  std::vector<int32_t> spot;
  int32_t LastFrame() const { return first_frame + static_cast<int32_t>(spot.size()) - 1; }
};

// `frames[f]` holds the spots of frame f. Tracks in order of their first
// frame, then of their first spot.
std::vector<LinkedTrack> LinkGlobally(const std::vector<std::vector<LinkSpot>>& frames,
                                      const GlobalLinkRules& rules);

// The assignment behind both steps: `cost[r][c]` for the allowed pairs
// (rows x cols, row-major; a negative entry forbids the pair). Returns the
// column of each row, -1 for none: the most pairs, then the least cost.
std::vector<int32_t> BestAssignment(const std::vector<double>& cost, int32_t rows, int32_t cols);

}  // namespace lumetra
