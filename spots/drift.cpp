#include "spots/drift.h"

#include <algorithm>
#include <cstdio>

#include "spots/spots_messages.h"

namespace lumetra {

bool DriftCurve::Known() const {
  for (int32_t p : pairs)
    if (p > 0) return true;
  return false;
}

DriftCurve EstimateDrift(const TrackSet& set) {
  DriftCurve d;
  const size_t frames = static_cast<size_t>(std::max(set.frames, 0));
  std::vector<double> sx(frames, 0), sy(frames, 0);
  d.pairs.assign(frames, 0);
  for (const TrackSeries& t : set.tracks)
    for (size_t i = 1; i < t.x_um.size(); ++i) {
      const double dx = t.x_um[i] - t.x_um[i - 1], dy = t.y_um[i] - t.y_um[i - 1];
      if (dx != dx || dy != dy) continue;
      const size_t f = static_cast<size_t>(t.first_frame) + i;
      if (f >= frames) continue;
      sx[f] += dx;
      sy[f] += dy;
      ++d.pairs[f];
    }
  d.x_um.assign(frames, 0);
  d.y_um.assign(frames, 0);
  // The rate: the mean step over the connected frame pairs (for a constant
  // drift under diffusion, the increments are independent and this is the
  // best estimate; a line through the summed curve weighs them unevenly).
  double rx = 0, ry = 0, connected = 0;
  for (size_t f = 1; f < frames; ++f) {
    const double p = d.pairs[f];
    d.x_um[f] = d.x_um[f - 1] + (p > 0 ? sx[f] / p : 0);
    d.y_um[f] = d.y_um[f - 1] + (p > 0 ? sy[f] / p : 0);
    if (p > 0) {
      rx += sx[f] / p;
      ry += sy[f] / p;
      ++connected;
    }
  }
  if (connected > 0) {
    d.rate_x_um = rx / connected;
    d.rate_y_um = ry / connected;
  }
  return d;
}

void ApplyDrift(TrackSet& set, const DriftCurve& drift) {
  for (TrackSeries& t : set.tracks)
    for (size_t i = 0; i < t.x_um.size(); ++i) {
      const size_t f = static_cast<size_t>(t.first_frame) + i;
      if (f >= drift.x_um.size()) break;
      t.x_um[i] -= drift.x_um[f];
      t.y_um[i] -= drift.y_um[f];
    }
}

void DriftShiftsPx(const DriftCurve& drift, double nm_x, double nm_y, int32_t frames,
                   std::vector<double>& dx_px, std::vector<double>& dy_px) {
  const size_t n = static_cast<size_t>(std::max(frames, 0));
  dx_px.assign(n, 0);
  dy_px.assign(n, 0);
  if (drift.x_um.empty() || !(nm_x > 0) || !(nm_y > 0)) return;
  for (size_t f = 0; f < n; ++f) {
    const size_t i = std::min(f, drift.x_um.size() - 1);
    dx_px[f] = drift.x_um[i] * 1000 / nm_x;
    dy_px[f] = drift.y_um[i] * 1000 / nm_y;
  }
}

std::string DriftText(const DriftCurve& drift, double frame_s) {
  std::string s(kDriftHeader);
  char line[128];
  for (size_t f = 0; f < drift.x_um.size(); ++f) {
    std::snprintf(line, sizeof line, "%zu\t%.4f\t%.3f\t%.3f\t%d\n", f, f * frame_s,
                  drift.x_um[f] * 1000, drift.y_um[f] * 1000, drift.pairs[f]);
    s += line;
  }
  return s;
}

}  // namespace lumetra
