// Diffusion coefficients of tracks in two dimensions, per track and for the
// ensemble, each with its localisation error, a 95 % interval and a flag when
// the signal-to-noise ratio sqrt(D dt)/sigma is below 1.
//
// Covariance estimator (Vestergaard, Blainey & Flyvbjerg 2014), per axis and
// averaged over x and y, from displacements dx_n between consecutive frames:
//   D       = <dx_n^2> / (2 dt) + <dx_n dx_n+1> / dt
//   sigma^2 = R <dx_n^2> + (2R - 1) <dx_n dx_n+1>
// R is the motion-blur coefficient: R = E / (6 dt) for an exposure E within the
// frame interval dt (1/6 for exposure over the whole frame, 0 for
// instantaneous positions). D does not depend on R; sigma does. Its variance
// per axis for N displacements is
//   Var D = D^2 [(6 + 4 eps + 2 eps^2) / N + 4 (1 + eps)^2 / N^2],
//   eps = sigma^2 / (D dt) - 2R,
// halved for the two axes. The displacements are Gaussian with covariance
// <dx^2> = 2 D dt (1 + eps), <dx_n dx_n+1> = -D dt eps and none beyond
// neighbours; their fourth moments give the estimator's exact variance, and
// this is it up to terms in 1/N^3 (0.06 % of it at N = 49, eps = 4). The 95 % interval is the set of D whose own
// variance (with the measured sigma) puts the estimate within 1.96 standard
// deviations: a quadratic in D, which keeps the interval honest where the
// plug-in interval would shrink with a low estimate.
//
// MSD fit (Michalet 2010): an unweighted least-squares line through the
// track's MSD at lags 1..p, MSD(n) = 4 D dt n + 4 sigma^2 - 8 R D dt, with p the
// optimal number of points for the slope given the reduced localisation error
// x = sigma^2 / (D dt) and the track's points N:
//   p = floor(f L / (f^3 + L^3)^(1/3)), f = 2 + 1.6 x^0.51,
//   L = 3 + (4.5 N^0.4 - 8.5)^1.2,
// found by iterating from p = 2 until it settles. Its interval is the standard
// deviation of the fitted slope from the covariance of the MSD points
// (track_msd.h) with the fitted D and sigma.
//
// Ensemble: the mean of the tracks' D weighted by their displacements
// (sigma^2 likewise). Its interval is 1.96 standard errors across tracks when
// there are at least 10 tracks (so it holds for a mix of populations too),
// otherwise from the variance formula with all displacements pooled.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "spots/track_series.h"

namespace lumetra {

enum class DiffusionMethod { kCve, kMsdFit };
const char* DiffusionMethodName(DiffusionMethod m);  // "cve", "msd"

// R for an exposure `exposure_s` within the frame interval (clamped to 0..1/6).
double MotionBlurCoefficient(double frame_s, double exposure_s);

struct DiffusionEstimate {
  int32_t track = -1;         // the track's id; -1 for the ensemble
  int32_t points = 0;         // points of the track (sum for the ensemble)
  int64_t displacements = 0;  // consecutive-frame displacements used
  double d_um2_s = NAN, d_low = NAN, d_high = NAN;
  double sigma2_um2 = NAN;  // localisation variance per axis (may be negative: noise)
  double snr = NAN;         // sqrt(D dt) / sigma (infinite when sigma^2 <= 0)
  int32_t fit_points = 0;   // MSD fit: lags used
  int32_t tracks = 0;       // ensemble: tracks averaged
  DiffusionMethod method = DiffusionMethod::kCve;
  bool valid = false;

  double SigmaNm() const { return sigma2_um2 > 0 ? std::sqrt(sigma2_um2) * 1000.0 : 0.0; }
  bool LowSnr() const { return valid && !(snr >= 1.0); }
};

DiffusionEstimate CveEstimate(const TrackSeries& t, double frame_s, double blur_r);
DiffusionEstimate MsdFitEstimate(const TrackSeries& t, double frame_s, double blur_r);

// Variance of the covariance estimator in 2D for N displacements.
double CveVariance(double d, double sigma2, double frame_s, double blur_r, double n);

// The Michalet optimal number of MSD points for the slope.
int32_t OptimalMsdPoints(double reduced_error, int32_t points);

struct DiffusionResult {
  std::vector<DiffusionEstimate> tracks;
  DiffusionEstimate ensemble;
};
DiffusionResult EstimateDiffusion(const TrackSet& set, DiffusionMethod method);

// The ensemble from per-track estimates (see above).
DiffusionEstimate EnsembleOf(const std::vector<DiffusionEstimate>& tracks, double frame_s,
                             double blur_r);

// "D=0.1012 um2/s [0.0981, 0.1043]" and the lines after it: sigma, tracks and points.
std::string DiffusionSummary(const DiffusionEstimate& e, int64_t points);
// One row per track under kDiffusionHeader.
std::string DiffusionText(const std::vector<DiffusionEstimate>& tracks);

}  // namespace lumetra
