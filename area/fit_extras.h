// What users of recovery and bleaching tools ask for beyond the three grid
// fits, kept apart from them so that the fits stay exactly as they are:
// 95% intervals of the fitted rates from the cost profile over the rate
// grid, a two-rate bleaching fit, and the usual normalisations of a
// recovery curve (full scale, and double normalisation against a reference
// region).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumetra {

// A 95% interval of a rate from the profile of the least-squares cost over
// the fit's own rate grid: at each grid rate the linear parameters take their
// least-squares best within the ranges their grids cover (A and B of the
// exponential fits, a of the recovery; continuous, not on the grid's coarse
// steps), and the interval holds the rates whose cost stays below
// min * (1 + t^2 / (n - p)) (t the two-sided 95% point of Student's t with
// n - p degrees of freedom), its edges interpolated between grid values. An
// edge at the end of the grid is open (the rate may lie beyond it).
struct RateInterval {
  bool valid = false;
  double best = 0, low = 0, high = 0;
  bool low_open = false, high_open = false;
};

// Two-sided 95% point of Student's t with `dof` degrees of freedom.
double StudentT975(int32_t dof);

// The profile interval of k for the bleaching model (v - B = (A - B) exp(-k t)).
RateInterval BleachingRateInterval(const float* t, const float* v, int32_t n);
// Of k for the spot-count model: the same model on the spot curve.
RateInterval SpotsRateInterval(const float* t, const float* spots, int32_t n);
// Of tau for the recovery model, on a curve already in percent of its
// minimum (as FitRecovery leaves it), over the points min_index..max_index-1.
RateInterval RecoveryTauInterval(const float* t, const float* percent, int32_t min_index,
                                 int32_t max_index);

// "k=0.125, 95%: 0.11 - 0.14": the profile's best rate and its interval as
// the window's third note line shows them; "<" or ">" marks an open edge.
std::string IntervalText(const RateInterval& interval, std::string_view name);

// I(t) = A1 exp(-k1 t) + A2 exp(-k2 t) + B with k1 < k2 from every second
// value of the bleaching grid (0.02 to 4.98 per second) and A1, A2 >= 0 and B
// at their least-squares best.
struct DoubleBleachingFit {
  bool found = false;
  float k1 = 0, k2 = 0, A1 = 0, A2 = 0, B = 0;
  double cost = 0;  // mean square
};
DoubleBleachingFit FitDoubleBleaching(const float* t, const float* v, int32_t n);
void DoubleBleachingCurve(const DoubleBleachingFit& fit, const float* t, int32_t n, float* out);
// "Bleach rates=0.05 and 0.8 s-1, A1=120.5 A2=40.2 Offset=10"
std::string DoubleBleachingText(const DoubleBleachingFit& fit);

// The bleach point of a recovery curve: its minimum (first of equal ones).
int32_t BleachPoint(const std::vector<float>& curve);

// Full-scale normalisation: (I - I_bleach) / (I_pre - I_bleach), with I_pre
// the mean before the bleach point: 1 before the bleach, 0 at it. Nothing,
// with `message` set, when no point lies before the bleach or the curve does
// not drop.
std::optional<std::vector<float>> FullScaleNormalised(const std::vector<float>& curve,
                                                      std::string& message);
// Double normalisation: (I / I_pre) / (R / R_pre) with the reference region's
// curve R (both above their background), pre the means before the bleach
// point of I. Nothing, with `message` set, when there is no point before the
// bleach, the curves differ in length or a pre-bleach mean is not above 0.
std::optional<std::vector<float>> DoubleNormalised(const std::vector<float>& curve,
                                                   const std::vector<float>& reference,
                                                   std::string& message);

// How often the bleaching interval holds the true rate, over `curves`
// simulated noisy curves with a fixed seed (A 1000, B 200, k 0.5 per second,
// 60 points 0.1 s apart, Gaussian noise of SD 25).
struct Coverage {
  int32_t curves = 0, covered = 0;
  double mean_width = 0;  // 1/s
  double Fraction() const { return curves ? static_cast<double>(covered) / curves : 0; }
};
Coverage BleachingIntervalCoverage(int32_t curves, uint64_t seed);

}  // namespace lumetra
