#include "spots/emitter_fit.h"

#include <algorithm>
#include <cmath>

#include "spots/linear_solve.h"

namespace lumetra {
namespace {

constexpr int kMaxIterations = 40;
constexpr double kSettled = 1e-3;  // pixels: centres moving less than this have settled

int Params(const EmitterModel& m) { return 3 * m.k + 1; }

double& Param(EmitterModel& m, int i) {
  if (i == 3 * m.k) return m.background;
  Emitter& e = m.e[static_cast<size_t>(i / 3)];
  return i % 3 == 0 ? e.x : i % 3 == 1 ? e.y : e.photons;
}

bool Plausible(const EmitterModel& m, const FitPatch& p) {
  if (!(m.background >= 0)) return false;
  for (int j = 0; j < m.k; ++j) {
    const Emitter& e = m.e[static_cast<size_t>(j)];
    if (!(e.photons > 0) || !(e.x >= -1) || !(e.x <= p.width) || !(e.y >= -1) ||
        !(e.y <= p.height))
      return false;
  }
  return true;
}

// Fraction of a unit Gaussian centred at c0 in each of n pixels, and its
// derivative by c0; pixel edges are shared by neighbours.
void EdgeFractions(double c0, double sigma, int n, double* e, double* de) {
  const double k = 1.0 / (std::sqrt(2.0) * sigma);
  const double g = 1.0 / (std::sqrt(2.0 * M_PI) * sigma);
  double lo_erf = std::erf((-0.5 - c0) * k);
  double lo_exp = std::exp(-(-0.5 - c0) * (-0.5 - c0) * k * k);
  for (int i = 0; i < n; ++i) {
    const double hi = i + 0.5 - c0;
    const double hi_erf = std::erf(hi * k), hi_exp = std::exp(-hi * hi * k * k);
    e[i] = 0.5 * (hi_erf - lo_erf);
    de[i] = g * (lo_exp - hi_exp);
    lo_erf = hi_erf;
    lo_exp = hi_exp;
  }
}

}  // namespace

void EmitterFitter::Fractions(const FitPatch& p, double sx, double sy, const EmitterModel& m) {
  for (size_t j = 0; j < static_cast<size_t>(m.k); ++j) {
    EdgeFractions(m.e[j].x, sx, p.width, ex_[j].data(), dex_[j].data());
    EdgeFractions(m.e[j].y, sy, p.height, ey_[j].data(), dey_[j].data());
  }
}

double EmitterFitter::Mu(const EmitterModel& m, int r, int c) const {
  double mu = m.background;
  for (size_t j = 0; j < static_cast<size_t>(m.k); ++j)
    mu += m.e[j].photons * ex_[j][static_cast<size_t>(c)] * ey_[j][static_cast<size_t>(r)];
  return mu;
}

double EmitterFitter::NegLogLikelihood(const FitPatch& p, double sx, double sy,
                                       const EmitterModel& m) {
  Fractions(p, sx, sy, m);
  double nll = 0;
  for (int r = 0; r < p.height; ++r)
    for (int c = 0; c < p.width; ++c) {
      const int i = r * p.width + c;
      if (p.use && !p.use[i]) continue;
      const double mu = Mu(m, r, c);
      if (!(mu > 0)) return INFINITY;
      nll += mu - p.counts[i] * std::log(mu);
    }
  return nll;
}

void EmitterFitter::Derivatives(const FitPatch& p, const EmitterModel& m, double* g,
                                double (*J)[kMaxFitParams]) {
  const int np = Params(m);
  for (int a = 0; a < np; ++a) {
    g[a] = 0;
    std::fill(J[a], J[a] + np, 0.0);
  }
  double dm[kMaxFitParams];
  for (int r = 0; r < p.height; ++r)
    for (int c = 0; c < p.width; ++c) {
      const int i = r * p.width + c;
      if (p.use && !p.use[i]) continue;
      const double mu = std::max(Mu(m, r, c), 1e-9);
      for (size_t j = 0; j < static_cast<size_t>(m.k); ++j) {
        const double fx = ex_[j][static_cast<size_t>(c)], fy = ey_[j][static_cast<size_t>(r)];
        dm[3 * j] = m.e[j].photons * dex_[j][static_cast<size_t>(c)] * fy;
        dm[3 * j + 1] = m.e[j].photons * fx * dey_[j][static_cast<size_t>(r)];
        dm[3 * j + 2] = fx * fy;
      }
      dm[np - 1] = 1.0;
      const double w = 1.0 - p.counts[i] / mu, inv = 1.0 / mu;
      for (int a = 0; a < np; ++a) {
        g[a] += w * dm[a];
        const double da = dm[a] * inv;
        for (int b = a; b < np; ++b) J[a][b] += da * dm[b];
      }
    }
  for (int a = 0; a < np; ++a)
    for (int b = 0; b < a; ++b) J[a][b] = J[b][a];
}

double EmitterFitter::Fit(const FitPatch& p, double sx, double sy, EmitterModel& m,
                          bool& converged) {
  converged = false;
  double nll = NegLogLikelihood(p, sx, sy, m);
  double lambda = 1e-3;
  const int np = Params(m);
  bool fresh = true;  // the fractions held are those of m
  for (int it = 0; it < kMaxIterations && std::isfinite(nll); ++it) {
    double g[kMaxFitParams], J[kMaxFitParams][kMaxFitParams];
    if (!fresh) Fractions(p, sx, sy, m);
    Derivatives(p, m, g, J);
    double A[kMaxFitParams][kMaxFitParams], v[kMaxFitParams], s[kMaxFitParams];
    for (int a = 0; a < np; ++a) {
      std::copy(J[a], J[a] + np, A[a]);
      A[a][a] *= 1.0 + lambda;
      v[a] = -g[a];
    }
    if (!SolveLinear<kMaxFitParams>(A, v, s, np)) break;
    EmitterModel trial = m;
    for (int a = 0; a < np; ++a) Param(trial, a) += s[a];
    const bool plausible = Plausible(trial, p);
    const double t = plausible ? NegLogLikelihood(p, sx, sy, trial) : INFINITY;
    fresh = false;
    if (t <= nll) {
      fresh = plausible;
      m = trial;
      nll = t;
      lambda = std::max(lambda * 0.1, 1e-9);
      double largest = 0;
      for (int j = 0; j < m.k; ++j) largest = std::max({largest, std::fabs(s[3 * j]), std::fabs(s[3 * j + 1])});
      if (largest < kSettled) {
        converged = true;
        break;
      }
    } else {
      lambda *= 10;
      // Rounding alone refuses steps at the optimum: the last model stands.
      if (lambda > 1e8) {
        converged = true;
        break;
      }
    }
  }
  return nll;
}

bool EmitterFitter::CentreBounds(const FitPatch& p, double sx, double sy, const EmitterModel& m,
                                 double* sigma_x, double* sigma_y) {
  const int np = Params(m);
  double g[kMaxFitParams], J[kMaxFitParams][kMaxFitParams];
  Fractions(p, sx, sy, m);
  Derivatives(p, m, g, J);
  bool all = true;
  for (int at = 0; at < 3 * m.k; ++at) {
    if (at % 3 == 2) continue;
    double A[kMaxFitParams][kMaxFitParams], v[kMaxFitParams] = {}, s[kMaxFitParams];
    for (int a = 0; a < np; ++a) std::copy(J[a], J[a] + np, A[a]);
    v[at] = 1.0;
    const bool ok = SolveLinear<kMaxFitParams>(A, v, s, np) && s[at] > 0;
    all = all && ok;
    (at % 3 == 0 ? sigma_x : sigma_y)[at / 3] = ok ? std::sqrt(s[at]) : NAN;
  }
  return all;
}

bool EmitterFitter::ResidualPeak(const FitPatch& p, double sx, double sy, const EmitterModel& m,
                                 double min_sigmas, Emitter& peak) {
  Fractions(p, sx, sy, m);
  // Residual and variance per pixel first; a block of a pixel out of use is skipped.
  double res[kMaxPatchSide * kMaxPatchSide], var[kMaxPatchSide * kMaxPatchSide];
  for (int r = 0; r < p.height; ++r)
    for (int c = 0; c < p.width; ++c) {
      const int i = r * p.width + c;
      const double mu = Mu(m, r, c);
      res[i] = p.counts[i] - mu;
      var[i] = (p.use && !p.use[i]) ? -1e300 : std::max(mu, 1.0);
    }
  double best = min_sigmas;
  bool found = false;
  for (int r = 1; r + 1 < p.height; ++r)
    for (int c = 1; c + 1 < p.width; ++c) {
      double sum = 0, v = 0;
      for (int dr = -1; dr <= 1; ++dr)
        for (int dc = -1; dc <= 1; ++dc) {
          const int i = (r + dr) * p.width + c + dc;
          sum += res[i];
          v += var[i];
        }
      if (!(v > 0)) continue;
      const double z = sum / std::sqrt(v);
      if (z > best) {
        best = z;
        found = true;
        // A 3 x 3 block holds about half the photons of a spot of this size.
        peak = {static_cast<double>(c), static_cast<double>(r), 2.0 * sum};
      }
    }
  return found;
}

double EmitterFitter::LocalMisfit(const FitPatch& p, double sx, double sy, const EmitterModel& m,
                                  int j, int& pixels) {
  Fractions(p, sx, sy, m);
  const Emitter& e = m.e[static_cast<size_t>(j)];
  const int c0 = static_cast<int>(std::lround(e.x)), r0 = static_cast<int>(std::lround(e.y));
  double chi2 = 0;
  pixels = 0;
  for (int r = std::max(r0 - 2, 0); r <= std::min(r0 + 2, p.height - 1); ++r)
    for (int c = std::max(c0 - 2, 0); c <= std::min(c0 + 2, p.width - 1); ++c) {
      const int i = r * p.width + c;
      if (p.use && !p.use[i]) continue;
      const double mu = std::max(Mu(m, r, c), 1.0);
      const double d = p.counts[i] - mu;
      chi2 += d * d / mu;
      ++pixels;
    }
  return chi2;
}

}  // namespace lumetra
