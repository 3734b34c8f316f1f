// The engine under the fast grid fits. Every fit's residual has the form
//   r_i = x * g_i + y - v_i
// with x and y fixed by the linear grid parameters (x = A - B, y = B for the
// exponential fits; x = 100 (1 - a), y = 100 for the recovery) and g_i fixed
// by the rate grid value (exp(-k t_i), or 1 - exp(-(t_i - t0) / tau)). The
// sum of squares then follows from five sums per rate, in double precision.
//
// The float loop rounds: each residual is within 3.01 u M_i of its exact
// value (u = 2^-24, M_i = |x g_i| + |y| + |v_i|; at most three roundings),
// its square and the running sum add their own (the sum of n terms within
// (n u / (1 - n u)) of exact). RateCandidates bounds the float cost of each
// combination from above and below with these; a combination whose lower
// bound lies above the smallest upper bound can be neither the smallest cost
// nor tied with it, so only the others need the exact float loop. They are
// evaluated in the plain loop's order with its strict comparison, which gives
// the plain loop's winner bit for bit.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace lumetra {

struct LinearPair {
  float x = 0, y = 0;
};

struct GridProblem {
  const float* v = nullptr;  // the curve, n points
  int32_t n = 0;
  // Rows of g: rate value j at g[j * n + i].
  const std::vector<float>* g = nullptr;
  int32_t rates = 0;
  std::vector<LinearPair> pairs;
  // Loop order: true when the rate is the outer loop (recovery: tau, then a),
  // false when the pairs are (the exponential fits: A, B, then k).
  bool rate_outer = false;
  bool mean = true;  // the cost is the sum divided by n
  float start_cost = 0;
  // Threads for the per-rate work (0: every core). Each rate's sums are one
  // thread's sequential loop, so the result is the same for any number.
  int workers = 1;
};

struct GridWinner {
  bool found = false;
  int32_t rate = -1, pair = -1;
  float cost = 0;
  int64_t exact_evaluations = 0;  // combinations run through the float loop
};

// The float cost of one combination exactly as the plain loop computes it.
using ExactCost = std::function<float(int32_t rate, int32_t pair)>;

// The plain loop's winner, or nothing when the bounds cannot be trusted (a
// value that is not finite, or sums so large that the float loop overflows):
// the caller then runs the plain loop.
bool VerifiedGridSearch(const GridProblem& problem, const ExactCost& exact, GridWinner& winner);

// Per-rate sums of g over the points, in double.
struct RateSums {
  double g = 0, gg = 0, gv = 0;
};
std::vector<RateSums> SumRates(const GridProblem& problem);

}  // namespace lumetra
