// The three curve fits of the region window: single exponential bleaching,
// recovery after a dip (in percent of the minimum) and the decay of the spot
// count. Each is an exhaustive grid search with a least-squares cost, in
// single precision throughout: grid variables are floats that start, step
// and stop exactly as the loops below say ("while less than", accumulated
// float steps), so the number of grid values can differ by one from the
// nominal count (k of the spot fit takes 201 values, tau 496, a 46).
//
// Two methods give the same winner, cost and curve bit for bit: kPlain is the
// triple loop over every point; kFast (the default) rates every combination
// from per-rate sums in double precision with a proven bound on the error of
// the float loop, and evaluates exactly, in loop order, only the
// combinations that can still be the smallest.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lumetra {

enum class FitMethod { kPlain, kFast };

// I(t) = (A - B) exp(-k t) + B; the cost is the mean square over all points.
struct BleachingFit {
  float A = 0, B = 0, k = 0;  // counts/pixel, counts/pixel, 1/s
  float cost = 1e12f;         // the best cost; stays at its start when nothing won
  bool found = false;         // some combination beat the start cost
};

// R(t) = 100 + 100 (1 - a)(1 - exp(-(t - t0) / tau)), in percent of the
// minimum, over the points from the minimum up to (not including) the maximum.
struct RecoveryFit {
  float tau = 0, a = 0;  // s, fraction
  float t0 = 0;          // time of the minimum, s
  float minimum = 0;     // the intensity divided by (0 taken as 0.001)
  int32_t min_index = 0, max_index = 0;
  float cost = 1e11f;  // a sum, not a mean
  bool found = false;
};

// N(t) = (A - B) exp(-k t) + B with the scale M from the 3rd, 4th and 5th points.
struct SpotsFit {
  float A = 0, B = 0, k = 0;
  float M = 0;
  float cost = 1e9f;
  bool found = false;
};

// The spot-count fit needs the 5th point for its scale.
inline constexpr int32_t kSpotsFitMinPoints = 5;

// `workers`: threads of the fast search's per-rate work (0: every core);
// the result is the same bit for bit for any number.
BleachingFit FitBleaching(const float* t, const float* intensity, int32_t n,
                          FitMethod method = FitMethod::kFast, int workers = 1);
// Rewrites `intensity` in place as percent of its minimum (the minimum
// becomes 100) before it fits; the curve stays so rewritten.
RecoveryFit FitRecovery(const float* t, float* intensity, int32_t n,
                        FitMethod method = FitMethod::kFast, int workers = 1);
// Needs n >= kSpotsFitMinPoints (fewer: nothing is fitted, found stays false).
SpotsFit FitSpotsCurve(const float* t, const float* spots, int32_t n,
                       FitMethod method = FitMethod::kFast, int workers = 1);

// The fit curves, one value per point (n values written to `out`).
void BleachingCurve(const BleachingFit& fit, const float* t, int32_t n, float* out);
// 100 at every point, the model from the minimum up to the maximum.
void RecoveryCurve(const RecoveryFit& fit, const float* t, int32_t n, float* out);
void SpotsCurve(const SpotsFit& fit, const float* t, int32_t n, float* out);

// The result texts of the graph's fourth note line:
// "Bleach rate=0.123 s-1", "Tau=12.4  Bleach rate=0.42",
// "Off Rate=0.05 s-1, FittedMax=12.35 Offset=0.3".
std::string BleachingText(const BleachingFit& fit);
std::string RecoveryText(const RecoveryFit& fit);
std::string SpotsText(const SpotsFit& fit);

// The grid values each fit tries, in loop order (for tests and read-outs).
std::vector<float> BleachingAGrid(float i0);
std::vector<float> BleachingBGrid(float i0);
std::vector<float> BleachingKGrid();
std::vector<float> RecoveryTauGrid();
std::vector<float> RecoveryAGrid();
std::vector<float> SpotsAGrid(float m);
std::vector<float> SpotsBGrid(float m);
std::vector<float> SpotsKGrid();

}  // namespace lumetra
