#include "spots/jump_distance.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "spots/spots_messages.h"

namespace lumetra {

std::vector<double> JumpDistances(const TrackSet& set) {
  std::vector<double> r;
  for (const TrackSeries& t : set.tracks)
    for (size_t i = 1; i < t.x_um.size(); ++i) {
      const double dx = t.x_um[i] - t.x_um[i - 1], dy = t.y_um[i] - t.y_um[i - 1];
      const double r2 = dx * dx + dy * dy;
      if (r2 == r2) r.push_back(std::sqrt(r2));
    }
  return r;
}

namespace {

double RayleighLog(double r, double v) { return std::log(r / v) - r * r / (2 * v); }

// One EM run from the given variances; returns the log-likelihood.
JumpFit RunEm(const std::vector<double>& r, std::vector<double> v, double v_min) {
  const size_t k = v.size(), n = r.size();
  std::vector<double> f(k, 1.0 / static_cast<double>(k));
  std::vector<double> g(k), sg(k), sgr(k);
  JumpFit fit;
  fit.states = static_cast<int32_t>(k);
  double last = -INFINITY;
  for (int32_t it = 0; it < 1000; ++it) {
    std::fill(sg.begin(), sg.end(), 0.0);
    std::fill(sgr.begin(), sgr.end(), 0.0);
    double ll = 0;
    double coef[3], inv[3];
    for (size_t j = 0; j < k; ++j) {
      coef[j] = f[j] / v[j];
      inv[j] = -0.5 / v[j];
    }
    for (size_t i = 0; i < n; ++i) {
      const double ri = std::max(r[i], 1e-12), r2 = ri * ri;
      double sum = 0;
      for (size_t j = 0; j < k; ++j) sum += (g[j] = coef[j] * std::exp(r2 * inv[j]));
      if (!(sum > 0)) {
        // Far in the tail of every state: the widest takes it.
        for (size_t j = 0; j < k; ++j) g[j] = 0;
        g[static_cast<size_t>(std::max_element(v.begin(), v.end()) - v.begin())] = sum = 1;
        ll += RayleighLog(ri, *std::max_element(v.begin(), v.end()));
      } else {
        ll += std::log(ri * sum);
      }
      for (size_t j = 0; j < k; ++j) {
        const double w = g[j] / sum;
        sg[j] += w;
        sgr[j] += w * r2;
      }
    }
    for (size_t j = 0; j < k; ++j) {
      f[j] = std::max(sg[j] / static_cast<double>(n), 1e-12);
      v[j] = sg[j] > 0 ? std::max(sgr[j] / (2 * sg[j]), v_min) : v_min;
    }
    fit.iterations = it + 1;
    fit.log_likelihood = ll;
    if (ll - last < 1e-8 * std::abs(ll) + 1e-12) break;
    last = ll;
  }
  for (size_t j = 0; j < k; ++j) fit.s.push_back({0, f[j], v[j]});
  return fit;
}

}  // namespace

JumpFitResult FitJumpDistances(const std::vector<double>& r, double frame_s, double sigma2,
                               double blur_r, int32_t states, bool fixed) {
  JumpFitResult out;
  out.jumps = r.size();
  out.sigma2_um2 = std::max(sigma2, 0.0);
  out.blur_r = blur_r;
  out.frame_s = frame_s;
  if (r.size() < 10 || !(frame_s > 0)) return out;
  states = std::clamp(states, 1, 3);
  const double v_min = std::max(2 * out.sigma2_um2, 1e-12);
  std::vector<double> r2(r.size());
  for (size_t i = 0; i < r.size(); ++i) r2[i] = r[i] * r[i];
  std::sort(r2.begin(), r2.end());
  const double n = static_cast<double>(r.size());
  for (int32_t k = fixed ? states : 1; k <= states; ++k) {
    // Starts: the variances of k equal slices of the sorted r^2, and a spread
    // of them, the best likelihood kept.
    JumpFit best;
    for (double spread : {1.0, 0.5, 2.0}) {
      std::vector<double> v;
      for (int32_t j = 0; j < k; ++j) {
        const size_t a = r2.size() * static_cast<size_t>(j) / static_cast<size_t>(k);
        const size_t b = r2.size() * static_cast<size_t>(j + 1) / static_cast<size_t>(k);
        double s = 0;
        for (size_t i = a; i < b; ++i) s += r2[i];
        const double mean = s / static_cast<double>(std::max<size_t>(b - a, 1)) / 2;
        const double centre = r2[r2.size() / 2] / 2;
        v.push_back(std::max(centre * std::pow(mean / centre, spread), v_min));
      }
      JumpFit fit = RunEm(r, v, v_min);
      if (best.states == 0 || fit.log_likelihood > best.log_likelihood) best = std::move(fit);
    }
    const double q = 2 * frame_s * (1 - 2 * blur_r);
    for (JumpState& s : best.s) s.d_um2_s = q > 0 ? (s.variance_um2 - 2 * out.sigma2_um2) / q : 0;
    std::sort(best.s.begin(), best.s.end(),
              [](const JumpState& a, const JumpState& b) { return a.d_um2_s < b.d_um2_s; });
    best.bic = -2 * best.log_likelihood + (2.0 * k - 1) * std::log(n);
    out.fits.push_back(std::move(best));
  }
  for (size_t i = 1; i < out.fits.size(); ++i)
    if (out.fits[i].bic < out.fits[out.chosen].bic) out.chosen = i;
  return out;
}

double JumpDensity(const JumpFit& fit, double r) {
  double p = 0;
  for (const JumpState& s : fit.s) p += s.fraction * r / s.variance_um2 * std::exp(-r * r / (2 * s.variance_um2));
  return p;
}

std::string JumpHistogramText(const std::vector<double>& r, const JumpFitResult& fits,
                              int32_t bins) {
  std::string s(kJumpHeader);
  for (const JumpFit& f : fits.fits) s += "\tfit_" + std::to_string(f.states);
  s += '\n';
  if (r.empty() || bins < 1) return s;
  std::vector<double> sorted(r);
  // The top 0.5 % is left to the last bin so one long jump does not flatten the rest.
  const size_t q = std::min(sorted.size() - 1, sorted.size() * 995 / 1000);
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(q), sorted.end());
  const double top = sorted[q] > 0 ? sorted[q] * 1.05 : 1.0;
  const double width = top / bins;
  std::vector<int64_t> count(static_cast<size_t>(bins), 0);
  for (double v : r) ++count[static_cast<size_t>(std::clamp(static_cast<int64_t>(v / width), int64_t{0}, int64_t{bins - 1}))];
  char cell[64];
  for (int32_t b = 0; b < bins; ++b) {
    const double centre = (b + 0.5) * width;
    std::snprintf(cell, sizeof cell, "%.6g\t%lld\t%.6g", centre,
                  static_cast<long long>(count[static_cast<size_t>(b)]),
                  count[static_cast<size_t>(b)] / (width * static_cast<double>(r.size())));
    s += cell;
    for (const JumpFit& f : fits.fits) {
      std::snprintf(cell, sizeof cell, "\t%.6g", JumpDensity(f, centre));
      s += cell;
    }
    s += '\n';
  }
  return s;
}

std::string JumpStatesText(const JumpFitResult& fits) {
  std::string s(kJumpStatesHeader);
  char line[200];
  for (size_t i = 0; i < fits.fits.size(); ++i) {
    const JumpFit& f = fits.fits[i];
    for (size_t j = 0; j < f.s.size(); ++j) {
      std::snprintf(line, sizeof line, "%d\t%zu\t%.6g\t%.4f\t%.6f\t%.6f\t%d\n", f.states, j + 1,
                    f.s[j].d_um2_s, f.s[j].fraction, f.log_likelihood, f.bic,
                    i == fits.chosen ? 1 : 0);
      s += line;
    }
  }
  return s;
}

}  // namespace lumetra
