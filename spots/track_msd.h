// Mean squared displacement of tracks against lag time, per track and for the
// ensemble, with error bars that account for the overlap of the displacements
// a track's lags share.
//
// A track's MSD at lag n is the mean over every pair of points n frames apart
// (both present) of dx^2 + dy^2. Its error bar comes from the exact covariance
// of overlapping displacements of Brownian motion with localisation error
// (per axis, positions X_k = B_k + e_k, Var e = sigma^2; the result of Qian,
// Sheetz & Elson 1991 with the noise added), evaluated with the track's own D
// and sigma. Motion blur enters as a static variance reduced by 2 R D dt: exact
// for the mean MSD, an approximation for its covariance.
//
// The ensemble MSD at lag n is the mean over all pairs of all tracks (each
// track weighted by its pairs at that lag). Its error bar is the standard error
// across tracks: tracks are independent, so the overlap within a track needs
// no model there.
#pragma once

#include <cstdint>
#include <vector>

#include "spots/track_series.h"

namespace lumetra {

struct MsdCurve {
  std::vector<double> msd_um2;  // index n - 1 for lag n
  std::vector<double> sem_um2;  // standard error; NaN where unknown
  std::vector<int64_t> pairs;   // pairs of points averaged
  int32_t MaxLag() const { return static_cast<int32_t>(msd_um2.size()); }
};

// The track's MSD for lags 1 .. max_lag (lags without a pair have msd NaN and
// pairs 0). The error bars stay NaN: see MsdErrorBars.
MsdCurve TrackMsd(const TrackSeries& track, int32_t max_lag);

// Per-axis covariance of the MSD estimates at lags n and m (>= 1) of a track
// of `points` equally spaced points without gaps, for diffusion with per-axis
// step variance 2 D dt = `step_var` and static localisation variance `noise_var`.
double MsdCovariancePerAxis(int32_t n, int32_t m, int32_t points, double step_var,
                            double noise_var);

// Fills curve.sem_um2 from the model with D (um^2/s), sigma^2 (um^2), motion
// blur R and the frame interval; `points` is the track's number of points.
void MsdErrorBars(MsdCurve& curve, int32_t points, double d_um2_s, double sigma2_um2, double blur_r,
                  double frame_s);

// The ensemble MSD of every track, lags 1 .. max_lag, with the standard error
// across tracks (NaN with fewer than 2 tracks at a lag).
MsdCurve EnsembleMsd(const TrackSet& set, int32_t max_lag);

}  // namespace lumetra
