#include "area/fit_extras.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "area/area_messages.h"
#include "area/grid_fits.h"
#include "common/random.h"
#include "common/text_format.h"

namespace lumetra {
namespace {

// Least-squares cost of v ~ x g + y at one rate, x and y free (or y fixed).
struct Sums {
  double n = 0, g = 0, gg = 0, gv = 0, v = 0, vv = 0;
};

// The cost at x = A - B, y = B (the residual is x g + y - v).
double CostAt(const Sums& s, double x, double y) {
  return x * x * s.gg + 2 * x * y * s.g + s.n * y * y - 2 * x * s.gv - 2 * y * s.v + s.vv;
}

// The least cost along the segment from (x0, y0) to (x1, y1).
double SegmentMin(const Sums& s, double x0, double y0, double x1, double y1) {
  const double dx = x1 - x0, dy = y1 - y0;
  // Q(p0 + u d) = Q(p0) + 2 u b + u^2 a
  const double a = dx * dx * s.gg + 2 * dx * dy * s.g + dy * dy * s.n;
  const double b = dx * (x0 * s.gg + y0 * s.g - s.gv) + dy * (x0 * s.g + y0 * s.n - s.v);
  const double u = a > 0 ? std::clamp(-b / a, 0.0, 1.0) : (b < 0 ? 1.0 : 0.0);
  return CostAt(s, x0 + u * dx, y0 + u * dy);
}

// The linear parameters' ranges: those the grid covers, A from a_lo to a_hi
// and B from b_lo to b_hi, taken as continuous.
struct Box {
  double a_lo, a_hi, b_lo, b_hi;
};

// The least cost with A and B anywhere in the box: the free least squares
// when it lies inside, else the least along the box's edges.
double BestCost(const Sums& s, const Box& box) {
  const double det = s.gg * s.n - s.g * s.g;
  if (det > 1e-12 * s.gg * s.n) {
    const double x = (s.gv * s.n - s.g * s.v) / det;
    const double y = (s.gg * s.v - s.g * s.gv) / det;
    if (y >= box.b_lo && y <= box.b_hi && x + y >= box.a_lo && x + y <= box.a_hi)
      return CostAt(s, x, y);
  }
  const double corner[4][2] = {
      {box.a_lo, box.b_lo}, {box.a_hi, box.b_lo}, {box.a_hi, box.b_hi}, {box.a_lo, box.b_hi}};
  double best = std::numeric_limits<double>::infinity();
  for (int c = 0; c < 4; ++c) {
    const double* p = corner[c];
    const double* q = corner[(c + 1) % 4];
    best = std::min(best, SegmentMin(s, p[0] - p[1], p[1], q[0] - q[1], q[1]));
  }
  return best;
}

RateInterval Profile(const std::vector<float>& rates, const std::vector<double>& cost, int32_t n,
                     int32_t params) {
  RateInterval r;
  if (rates.empty() || n - params < 1) return r;
  size_t best = 0;
  for (size_t j = 0; j < cost.size(); ++j) {
    if (!std::isfinite(cost[j])) return r;
    if (cost[j] < cost[best]) best = j;
  }
  const double t = StudentT975(n - params);
  const double limit = std::max(cost[best], 0.0) * (1.0 + t * t / (n - params));
  // Where the profile crosses the limit between grid values j (inside) and k.
  auto edge = [&](size_t in, size_t out) {
    const double span = cost[out] - cost[in];
    const double f = span > 0 ? (limit - cost[in]) / span : 0.5;
    return rates[in] + std::clamp(f, 0.0, 1.0) * (rates[out] - rates[in]);
  };
  size_t lo = best, hi = best;
  while (lo > 0 && cost[lo - 1] <= limit) --lo;
  while (hi + 1 < cost.size() && cost[hi + 1] <= limit) ++hi;
  r.valid = true;
  r.best = rates[best];
  r.low_open = lo == 0;
  r.high_open = hi + 1 == cost.size();
  r.low = r.low_open ? rates[0] : edge(lo, lo - 1);
  r.high = r.high_open ? rates.back() : edge(hi, hi + 1);
  return r;
}

std::vector<double> ExpProfile(const std::vector<float>& ks, const Box& box, const float* t,
                               const float* v, int32_t n) {
  std::vector<double> cost(ks.size());
  for (size_t j = 0; j < ks.size(); ++j) {
    Sums s;
    s.n = n;
    for (int32_t i = 0; i < n; ++i) {
      const double g = std::exp(-static_cast<double>(ks[j]) * t[i]);
      s.g += g;
      s.gg += g * g;
      s.gv += g * v[i];
      s.v += v[i];
      s.vv += static_cast<double>(v[i]) * v[i];
    }
    cost[j] = BestCost(s, box);
  }
  return cost;
}

double PreMean(const std::vector<float>& c, int32_t bleach) {
  double s = 0;
  for (int32_t i = 0; i < bleach; ++i) s += c[static_cast<size_t>(i)];
  return s / bleach;
}

}  // namespace

double StudentT975(int32_t dof) {
  if (dof <= 0) return std::numeric_limits<double>::infinity();
  if (dof == 1) return 12.7062047362;
  if (dof == 2) return 4.30265272975;
  // Cornish-Fisher expansion about the normal point; within 1e-3 from 3 on.
  const double z = 1.959963984540054, v = dof;
  const double z2 = z * z;
  return z + z * (z2 + 1) / (4 * v) + z * ((5 * z2 + 16) * z2 + 3) / (96 * v * v) +
         z * (((3 * z2 + 19) * z2 + 17) * z2 - 15) / (384 * v * v * v) +
         z * ((((79 * z2 + 776) * z2 + 1482) * z2 - 1920) * z2 - 945) / (92160 * v * v * v * v);
}

RateInterval BleachingRateInterval(const float* t, const float* v, int32_t n) {
  if (n <= 0 || !(v[0] > 0)) return {};
  const double i0 = v[0];
  const std::vector<float> ks = BleachingKGrid();
  return Profile(ks, ExpProfile(ks, {0.9 * i0, 1.1 * i0, 0.0, i0}, t, v, n), n, 3);
}

RateInterval SpotsRateInterval(const float* t, const float* spots, int32_t n) {
  if (n < kSpotsFitMinPoints) return {};
  const double m = (spots[2] + spots[3] + spots[4]) / 3.0f;
  if (!(m > 0)) return {};
  const std::vector<float> ks = SpotsKGrid();
  return Profile(ks, ExpProfile(ks, {0.5 * m, 1.5 * m, 0.0, 0.25 * m}, t, spots, n), n, 3);
}

RateInterval RecoveryTauInterval(const float* t, const float* percent, int32_t min_index,
                                 int32_t max_index) {
  const std::vector<float> taus = RecoveryTauGrid();
  const int32_t n = max_index - min_index;
  if (n <= 0) return {};
  std::vector<double> cost(taus.size());
  const double t0 = t[min_index];
  for (size_t j = 0; j < taus.size(); ++j) {
    Sums s;
    s.n = n;
    for (int32_t i = min_index; i < max_index; ++i) {
      const double g = 1.0 - std::exp(-(t[i] - t0) / taus[j]);
      s.g += g;
      s.gg += g * g;
      s.gv += g * percent[i];
      s.v += percent[i];
      s.vv += static_cast<double>(percent[i]) * percent[i];
    }
    // y stays 100; x = 100 (1 - a) with a from 0.1 to 1: A = x + 100 from 100 to 190.
    cost[j] = BestCost(s, {100.0, 190.0, 100.0, 100.0});
  }
  return Profile(taus, cost, n, 2);
}

std::string IntervalText(const RateInterval& r, std::string_view name) {
  if (!r.valid) return std::string(name) + std::string(kNoInterval);
  auto num = [](double v) { return FormatGeneral(std::trunc(v * 1000.0) * 0.001); };
  return std::string(name) + "=" + num(r.best) + ", 95%: " + (r.low_open ? "<" : "") + num(r.low) +
         " - " + (r.high_open ? ">" : "") + num(r.high);
}

DoubleBleachingFit FitDoubleBleaching(const float* t, const float* v, int32_t n) {
  DoubleBleachingFit best;
  if (n < 5) return best;
  const std::vector<float> grid = BleachingKGrid();
  std::vector<float> ks;
  for (size_t j = 2; j < grid.size(); j += 2) ks.push_back(grid[j]);
  const size_t m = ks.size();
  std::vector<double> e(m * static_cast<size_t>(n));
  std::vector<double> se(m), sev(m), see(m);
  double sv = 0, svv = 0;
  for (int32_t i = 0; i < n; ++i) {
    if (!std::isfinite(v[i]) || !std::isfinite(t[i])) return best;
    sv += v[i];
    svv += static_cast<double>(v[i]) * v[i];
  }
  for (size_t j = 0; j < m; ++j)
    for (int32_t i = 0; i < n; ++i) {
      const double x = std::exp(-static_cast<double>(ks[j]) * t[i]);
      e[j * n + i] = x;
      se[j] += x;
      sev[j] += x * v[i];
      see[j] += x * x;
    }
  double best_cost = std::numeric_limits<double>::infinity();
  for (size_t a = 0; a < m; ++a)
    for (size_t b = a + 1; b < m; ++b) {
      double cross = 0;
      const double* ea = e.data() + a * n;
      const double* eb = e.data() + b * n;
      for (int32_t i = 0; i < n; ++i) cross += ea[i] * eb[i];
      // Normal equations of (A1, A2, B), solved by Cramer's rule.
      const double m11 = see[a], m12 = cross, m13 = se[a], m22 = see[b], m23 = se[b], m33 = n;
      const double r1 = sev[a], r2 = sev[b], r3 = sv;
      const double det = m11 * (m22 * m33 - m23 * m23) - m12 * (m12 * m33 - m23 * m13) +
                         m13 * (m12 * m23 - m22 * m13);
      if (!(std::fabs(det) > 1e-12 * m11 * m22 * m33)) continue;
      const double a1 = (r1 * (m22 * m33 - m23 * m23) - m12 * (r2 * m33 - m23 * r3) +
                         m13 * (r2 * m23 - m22 * r3)) /
                        det;
      const double a2 = (m11 * (r2 * m33 - m23 * r3) - r1 * (m12 * m33 - m23 * m13) +
                         m13 * (m12 * r3 - r2 * m13)) /
                        det;
      const double b0 = (m11 * (m22 * r3 - r2 * m23) - m12 * (m12 * r3 - r2 * m13) +
                         r1 * (m12 * m23 - m22 * m13)) /
                        det;
      if (a1 < 0 || a2 < 0) continue;
      const double cost = (svv - a1 * r1 - a2 * r2 - b0 * r3) / n;
      if (cost < best_cost) {
        best_cost = cost;
        best = {true, ks[a], ks[b], static_cast<float>(a1), static_cast<float>(a2),
                static_cast<float>(b0), std::max(cost, 0.0)};
      }
    }
  return best;
}

void DoubleBleachingCurve(const DoubleBleachingFit& f, const float* t, int32_t n, float* out) {
  for (int32_t i = 0; i < n; ++i)
    out[i] = f.A1 * std::exp(-f.k1 * t[i]) + f.A2 * std::exp(-f.k2 * t[i]) + f.B;
}

std::string DoubleBleachingText(const DoubleBleachingFit& f) {
  auto trunc = [](double v, double scale, double unit) {
    return FormatGeneral(std::trunc(v * scale) * unit);
  };
  return "Bleach rates=" + trunc(f.k1, 1000.01, 0.001) + " and " + trunc(f.k2, 1000.01, 0.001) +
         " s-1, A1=" + trunc(f.A1, 100.0, 0.01) + " A2=" + trunc(f.A2, 100.0, 0.01) +
         " Offset=" + trunc(f.B, 100.0, 0.01);
}

int32_t BleachPoint(const std::vector<float>& c) {
  int32_t at = 0;
  for (size_t i = 1; i < c.size(); ++i)
    if (c[i] < c[static_cast<size_t>(at)]) at = static_cast<int32_t>(i);
  return at;
}

std::optional<std::vector<float>> FullScaleNormalised(const std::vector<float>& c,
                                                      std::string& message) {
  const int32_t bleach = BleachPoint(c);
  if (bleach == 0) {
    message = std::string(kNoPreBleach);
    return std::nullopt;
  }
  const double pre = PreMean(c, bleach), post = c[static_cast<size_t>(bleach)];
  if (!(pre > post)) {
    message = std::string(kNoDrop);
    return std::nullopt;
  }
  std::vector<float> out(c.size());
  for (size_t i = 0; i < c.size(); ++i) out[i] = static_cast<float>((c[i] - post) / (pre - post));
  return out;
}

std::optional<std::vector<float>> DoubleNormalised(const std::vector<float>& c,
                                                   const std::vector<float>& ref,
                                                   std::string& message) {
  if (ref.size() != c.size() || c.empty()) {
    message = std::string(kNoReference);
    return std::nullopt;
  }
  const int32_t bleach = BleachPoint(c);
  if (bleach == 0) {
    message = std::string(kNoPreBleach);
    return std::nullopt;
  }
  const double pre = PreMean(c, bleach), ref_pre = PreMean(ref, bleach);
  if (!(pre > 0) || !(ref_pre > 0)) {
    message = std::string(kPreBleachNotPositive);
    return std::nullopt;
  }
  std::vector<float> out(c.size());
  for (size_t i = 0; i < c.size(); ++i)
    out[i] = static_cast<float>((c[i] / pre) / (ref[i] / ref_pre));
  return out;
}

Coverage BleachingIntervalCoverage(int32_t curves, uint64_t seed) {
  constexpr int32_t kPoints = 60;
  constexpr double kA = 1000, kB = 200, kK = 0.5, kDt = 0.1, kSd = 25;
  Coverage c;
  Rng rng(seed);
  std::vector<float> t(kPoints), v(kPoints);
  double width = 0;
  for (int32_t r = 0; r < curves; ++r) {
    for (int32_t i = 0; i < kPoints; ++i) {
      t[i] = static_cast<float>(i * kDt);
      v[i] = static_cast<float>((kA - kB) * std::exp(-kK * t[i]) + kB + kSd * rng.Normal());
    }
    const RateInterval iv = BleachingRateInterval(t.data(), v.data(), kPoints);
    ++c.curves;
    if (iv.valid && iv.low <= kK && kK <= iv.high) ++c.covered;
    width += iv.high - iv.low;
  }
  c.mean_width = curves ? width / curves : 0;
  return c;
}

}  // namespace lumetra
