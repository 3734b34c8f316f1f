#include "area/grid_search.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/parallel.h"

namespace lumetra {
namespace {

constexpr double kU = 1.0 / 16777216.0;  // unit roundoff of float, 2^-24

// Sums of squares beyond this could overflow the float loop.
constexpr double kFloatSafe = 1e36;

}  // namespace

std::vector<RateSums> SumRates(const GridProblem& p) {
  std::vector<RateSums> sums(static_cast<size_t>(p.rates));
  ParallelChunks(
      p.rates,
      [&](int64_t begin, int64_t end) {
        for (int64_t j = begin; j < end; ++j) {
          const float* g = p.g->data() + static_cast<size_t>(j) * p.n;
          RateSums s;
          for (int32_t i = 0; i < p.n; ++i) {
            const double gi = g[i];
            s.g += gi;
            s.gg += gi * gi;
            s.gv += gi * static_cast<double>(p.v[i]);
          }
          sums[static_cast<size_t>(j)] = s;
        }
      },
      16, p.workers);
  return sums;
}

bool VerifiedGridSearch(const GridProblem& p, const ExactCost& exact, GridWinner& winner) {
  winner = {};
  if (p.n <= 0 || p.rates <= 0 || p.pairs.empty()) return true;  // no combination at all
  double sv = 0, svv = 0;
  for (int32_t i = 0; i < p.n; ++i) {
    if (!std::isfinite(p.v[i])) return false;
    sv += p.v[i];
    svv += static_cast<double>(p.v[i]) * p.v[i];
  }
  const std::vector<RateSums> sums = SumRates(p);
  for (const RateSums& s : sums)
    if (!std::isfinite(s.gg) || !std::isfinite(s.gv)) return false;
  const double n = p.n;
  // gamma_n: relative error bound of a float sum of n non-negative terms.
  const double gamma = n * kU / (1.0 - n * kU);
  // Relative error of the double sums and of combining them.
  const double dbl = (n + 16.0) * std::ldexp(1.0, -50);
  // Underflow: each float operation may lose up to 2^-149 absolutely.
  const double tiny = (n + 1.0) * 8.0 * std::ldexp(1.0, -149);

  // Bounds of one combination's float cost.
  auto bounds = [&](int32_t j, int32_t m, double& lo, double& hi) {
    const RateSums& s = sums[static_cast<size_t>(j)];
    const double x = p.pairs[static_cast<size_t>(m)].x, y = p.pairs[static_cast<size_t>(m)].y;
    double q = x * x * s.gg + 2.0 * x * (y * s.g - s.gv) + n * y * y - 2.0 * y * sv + svv;
    const double w = 3.0 * (x * x * s.gg + n * y * y + svv);  // >= sum of M_i^2
    q = std::max(q, 0.0);
    const double qerr = dbl * w;  // of q itself
    const double qhi = q + qerr;
    // Squares of the rounded residuals against the exact squares, summed.
    const double terms = 6.02 * kU * std::sqrt(qhi * w) + 9.1 * kU * kU * w + 2.0 * kU * qhi;
    const double err = terms + gamma * (qhi + terms) + tiny;
    lo = q - qerr - err;
    hi = qhi + err;
    if (p.mean) {
      lo = lo / n * (1.0 - 2.0 * kU);
      hi = hi / n * (1.0 + 2.0 * kU);
    }
    if (w > kFloatSafe) lo = -std::numeric_limits<double>::infinity();
  };
  auto visit = [&](auto&& body) {
    const int32_t pairs = static_cast<int32_t>(p.pairs.size());
    if (p.rate_outer) {
      for (int32_t j = 0; j < p.rates; ++j)
        for (int32_t m = 0; m < pairs; ++m) body(j, m);
    } else {
      for (int32_t m = 0; m < pairs; ++m)
        for (int32_t j = 0; j < p.rates; ++j) body(j, m);
    }
  };
  double best_hi = std::numeric_limits<double>::infinity();
  double largest_w = 0;
  visit([&](int32_t j, int32_t m) {
    double lo, hi;
    bounds(j, m, lo, hi);
    best_hi = std::min(best_hi, hi);
    const RateSums& s = sums[static_cast<size_t>(j)];
    const double x = p.pairs[static_cast<size_t>(m)].x, y = p.pairs[static_cast<size_t>(m)].y;
    largest_w = std::max(largest_w, 3.0 * (x * x * s.gg + n * y * y + svv));
  });
  // The float loop could overflow somewhere: only the plain loop is safe.
  if (!std::isfinite(best_hi) || largest_w > kFloatSafe) return false;
  float best = p.start_cost;
  visit([&](int32_t j, int32_t m) {
    double lo, hi;
    bounds(j, m, lo, hi);
    if (lo > best_hi || lo >= static_cast<double>(best) * (1.0 + 4.0 * kU) + tiny) return;
    ++winner.exact_evaluations;
    const float c = exact(j, m);
    if (c < best) {
      best = c;
      winner.found = true;
      winner.rate = j;
      winner.pair = m;
      winner.cost = c;
    }
  });
  return true;
}

}  // namespace lumetra
