// The distribution of 2D jump distances r between consecutive frames and its
// maximum-likelihood fit with one, two or three diffusing states.
//
// A jump of a state with coefficient D has per-axis variance
//   v = 2 D dt (1 - 2R) + 2 sigma^2
// (the displacement of two noisy, motion-blurred positions), so r follows
//   p(r) = (r / v) exp(-r^2 / (2 v)),
// and a mixture sum_k f_k p_k(r). The fit is expectation-maximisation on the
// jumps themselves (no histogram), with sigma^2 taken from the covariance
// estimator of all tracks and each v kept at or above 2 sigma^2 (D >= 0).
// The Bayesian information criterion -2 ln L + (2K - 1) ln n picks K.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "spots/track_series.h"

namespace lumetra {

// Jump lengths (um) between frames one apart, of every track.
std::vector<double> JumpDistances(const TrackSet& set);

struct JumpState {
  double d_um2_s = 0;
  double fraction = 0;
  double variance_um2 = 0;  // v per axis
};
struct JumpFit {
  int32_t states = 0;
  std::vector<JumpState> s;  // slowest first
  double log_likelihood = NAN;
  double bic = NAN;
  int32_t iterations = 0;
};
struct JumpFitResult {
  std::vector<JumpFit> fits;  // 1 .. max states
  size_t chosen = 0;          // index into fits
  size_t jumps = 0;
  double sigma2_um2 = 0, blur_r = 0, frame_s = 0;
  const JumpFit& Chosen() const { return fits[chosen]; }
};

// Fits 1 .. max_states states (and chooses by BIC), or exactly `states` when
// `fixed`. Empty fits when there are fewer than 10 jumps.
JumpFitResult FitJumpDistances(const std::vector<double>& r, double frame_s, double sigma2_um2,
                               double blur_r, int32_t states, bool fixed);

// Density of the fit at r (1/um).
double JumpDensity(const JumpFit& fit, double r);

// The histogram and the densities of each fit: kJumpHeader, "\tfit_K" per fit,
// then one row per bin (centre, count, density of the data and of each fit).
std::string JumpHistogramText(const std::vector<double>& r, const JumpFitResult& fits,
                              int32_t bins = 60);
// One row per state of every fit under kJumpStatesHeader.
std::string JumpStatesText(const JumpFitResult& fits);

}  // namespace lumetra
