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
  double sf = 0, sff = 0, sfx = 0, sfy = 0, sxs = 0, sys = 0, n = 0;
  for (size_t f = 0; f < frames; ++f) {
    if (f > 0) {
      const double p = d.pairs[f];
      d.x_um[f] = d.x_um[f - 1] + (p > 0 ? sx[f] / p : 0);
      d.y_um[f] = d.y_um[f - 1] + (p > 0 ? sy[f] / p : 0);
    }
    const double x = static_cast<double>(f);
    sf += x;
    sff += x * x;
    sfx += x * d.x_um[f];
    sfy += x * d.y_um[f];
    sxs += d.x_um[f];
    sys += d.y_um[f];
    ++n;
  }
  const double den = n * sff - sf * sf;
  if (den > 0) {
    d.rate_x_um = (n * sfx - sf * sxs) / den;
    d.rate_y_um = (n * sfy - sf * sys) / den;
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
