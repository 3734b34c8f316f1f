// What the manual tracking window reports of its objects: speeds between
// consecutive frames, distances between objects, a summary per object, the
// tidy tables and the curves its graph draws.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "manual/manual_tracks.h"

namespace lumetra {

// Speed (um/s) of `object` at each frame, from its point in the frame before;
// NaN where either point is missing or the time does not go forward.
// `times_s` holds each frame's time (s).
std::vector<double> SpeedSeries(const ManualTracks& tracks, int32_t object,
                                const std::vector<float>& times_s);
// Distance (um) between objects a and b at each frame; NaN where either has no point.
std::vector<double> DistanceSeries(const ManualTracks& tracks, int32_t a, int32_t b);

struct ObjectSummary {
  int32_t object = 0;  // 0-based
  int32_t points = 0;
  int32_t first_frame = -1, last_frame = -1;
  double path_um = 0;       // summed steps between consecutive frames
  double net_um = 0;        // first point to last point
  double mean_speed = NAN;  // um/s: the steps' length over their time
};
// One summary per object that holds a point, in object order.
std::vector<ObjectSummary> SummariseObjects(const ManualTracks& tracks,
                                            const std::vector<float>& times_s);

// The points of one object, frame by frame, as its list shows them.
struct ObjectPoint {
  int32_t frame = 0;
  double time_s = NAN;
  double x_px = 0, y_px = 0;  // pixel centres at whole numbers
  double speed = NAN;         // um/s from the frame before
  double nearest_um = NAN;    // distance to the nearest other object in this frame
  int32_t nearest = -1;       // that object (0-based), -1 when none
};
std::vector<ObjectPoint> ObjectPoints(const ManualTracks& tracks, int32_t object,
                                      const std::vector<float>& times_s);

// One row per point: track (the object's number as shown, from 1), frame,
// time_s, x_px and y_px (pixel centres at whole numbers, as the tracking
// window's table), intensity (counts), x_um, y_um, speed_um_s ("nan" where
// there is no point in the frame before). `lumetra-cli stats` reads it.
std::string ManualTracksTable(const ManualTracks& tracks, const std::vector<float>& times_s);
// One row per frame and pair of objects that both hold a point there.
std::string ManualDistancesTable(const ManualTracks& tracks, const std::vector<float>& times_s);

// The curves the window's graph draws against time (s); gaps hold kGraphGap.
enum class ManualGraphKind { kPositions, kSpeeds, kDistances };
inline constexpr float kGraphGap = -1e9f;
struct ManualGraph {
  std::vector<float> matrix;  // row 0 time, rows 1..curves the values
  int32_t curves = 0;
  int32_t row_length = 0;
  std::vector<int32_t> objects;  // per curve, the object it belongs to (0-based)
  std::string title_y;
};
// kPositions: X and Y (um) of the current object; kSpeeds: speed of each shown
// object; kDistances: distance of the current object to each other object in
// use. At most 14 curves.
ManualGraph BuildManualGraph(const ManualTracks& tracks, const std::vector<float>& times_s,
                             ManualGraphKind kind);

}  // namespace lumetra
