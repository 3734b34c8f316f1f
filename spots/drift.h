// Drift of the whole field, estimated from the tracks themselves: for every
// pair of consecutive frames, the mean displacement of all tracks that have a
// point in both, summed up from the first frame. Diffusion averages out over
// the tracks; what is common to all of them is the stage or sample drift.
// Frames no track connects carry the drift of the frame before.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "spots/track_series.h"

namespace lumetra {

struct DriftCurve {
  // Per frame 0 .. frames - 1: position of the field relative to frame 0 (um),
  // and the tracks that connect the frame to the one before.
  std::vector<double> x_um, y_um;
  std::vector<int32_t> pairs;
  // Mean drift per frame over the frame pairs some track connects (um).
  double rate_x_um = 0, rate_y_um = 0;
  bool Known() const;
};

DriftCurve EstimateDrift(const TrackSet& set);

// Subtracts the drift from every point of the tracks. The mean displacement of
// a frame holds 1/N of each of its N tracks' own steps, so the corrected
// tracks diffuse about 1/N less (D about 1/N low); leaving each track out of
// its own correction would instead add the others' noise (D about 1/(N-1) high).
void ApplyDrift(TrackSet& set, const DriftCurve& drift);

// The drift in pixels per frame, the shifts that put each frame of the record
// back where frame 0 was (for a drift-corrected record): `frames` entries,
// frames past the curve holding its last value.
void DriftShiftsPx(const DriftCurve& drift, double nm_per_pixel_x, double nm_per_pixel_y,
                   int32_t frames, std::vector<double>& dx_px, std::vector<double>& dy_px);

// One row per frame under kDriftHeader (nm).
std::string DriftText(const DriftCurve& drift, double frame_s);

}  // namespace lumetra
