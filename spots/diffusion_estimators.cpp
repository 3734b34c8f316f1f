#include "spots/diffusion_estimators.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/text_format.h"
#include "spots/spots_messages.h"
#include "spots/track_msd.h"

namespace lumetra {
namespace {

constexpr double kZ95 = 1.959963984540054;

// Var D = a D^2 + b D + c for the covariance estimator in 2D with the
// measured sigma^2 held fixed.
struct VarianceQuadratic {
  double a, b, c;
};
VarianceQuadratic CveVarianceTerms(double sigma2, double frame_s, double r, double n) {
  const double s = sigma2 / frame_s;  // D eps = s - 2 R D
  const double q = 1 - 2 * r;
  // D^2 (6 + 4 eps + 2 eps^2) = 6 D^2 + 4 D (s - 2RD) + 2 (s - 2RD)^2,
  // D^2 (1 + eps)^2 = (q D + s)^2; the two axes halve the variance.
  const double a1 = 6 - 8 * r + 8 * r * r, b1 = 4 * s - 8 * r * s, c1 = 2 * s * s;
  const double a2 = q * q, b2 = 2 * q * s, c2 = s * s;
  const double k1 = 0.5 / n, k2 = 0.5 * 4 / (n * n);
  return {k1 * a1 + k2 * a2, k1 * b1 + k2 * b2, k1 * c1 + k2 * c2};
}

// The D whose own standard deviation puts `d` within kZ95 of it.
void CveInterval(DiffusionEstimate& e, double frame_s, double r, double n) {
  const VarianceQuadratic v = CveVarianceTerms(e.sigma2_um2, frame_s, r, n);
  const double z2 = kZ95 * kZ95;
  const double A = 1 - z2 * v.a, B = -(2 * e.d_um2_s + z2 * v.b),
               C = e.d_um2_s * e.d_um2_s - z2 * v.c;
  const double disc = B * B - 4 * A * C;
  if (A > 0 && disc >= 0) {
    const double root = std::sqrt(disc);
    e.d_low = (-B - root) / (2 * A);
    e.d_high = (-B + root) / (2 * A);
    return;
  }
  // Too few displacements for the quadratic: the plug-in interval.
  const double var = v.a * e.d_um2_s * e.d_um2_s + v.b * e.d_um2_s + v.c;
  const double sd = std::sqrt(std::max(var, 0.0));
  e.d_low = e.d_um2_s - kZ95 * sd;
  e.d_high = e.d_um2_s + kZ95 * sd;
}

void SetSnr(DiffusionEstimate& e, double frame_s) {
  const double signal = std::sqrt(std::max(e.d_um2_s, 0.0) * frame_s);
  e.snr = e.sigma2_um2 > 0 ? signal / std::sqrt(e.sigma2_um2) : INFINITY;
}

}  // namespace

const char* DiffusionMethodName(DiffusionMethod m) {
  return m == DiffusionMethod::kCve ? "cve" : "msd";
}

double MotionBlurCoefficient(double frame_s, double exposure_s) {
  if (!(frame_s > 0) || !(exposure_s > 0)) return 0;
  return std::min(exposure_s / frame_s, 1.0) / 6.0;
}

double CveVariance(double d, double sigma2, double frame_s, double r, double n) {
  const VarianceQuadratic v = CveVarianceTerms(sigma2, frame_s, r, n);
  return v.a * d * d + v.b * d + v.c;
}

DiffusionEstimate CveEstimate(const TrackSeries& t, double frame_s, double r) {
  DiffusionEstimate e;
  e.track = t.id;
  e.method = DiffusionMethod::kCve;
  const int32_t frames = t.Frames();
  const double* x = t.x_um.data();
  const double* y = t.y_um.data();
  double s2 = 0, s11 = 0;
  int64_t n2 = 0, n11 = 0;
  int32_t points = frames > 0 && t.Has(0);
  double pdx = NAN, pdy = NAN;  // the displacement ending at frame i - 1
  for (int32_t i = 1; i < frames; ++i) {
    const double dx = x[i] - x[i - 1], dy = y[i] - y[i - 1];
    points += t.Has(static_cast<size_t>(i));
    if (dx != dx || dy != dy) {
      pdx = pdy = NAN;
      continue;
    }
    s2 += dx * dx + dy * dy;
    ++n2;
    if (pdx == pdx) {
      s11 += dx * pdx + dy * pdy;
      ++n11;
    }
    pdx = dx;
    pdy = dy;
  }
  e.points = points;
  e.displacements = n2;
  if (n2 < 2 || n11 < 1) return e;
  const double m2 = s2 / (2.0 * static_cast<double>(n2));     // <dx^2> per axis
  const double m11 = s11 / (2.0 * static_cast<double>(n11));  // <dx_n dx_n+1> per axis
  e.d_um2_s = m2 / (2 * frame_s) + m11 / frame_s;
  e.sigma2_um2 = r * m2 + (2 * r - 1) * m11;
  e.valid = true;
  SetSnr(e, frame_s);
  CveInterval(e, frame_s, r, static_cast<double>(n2));
  return e;
}

int32_t OptimalMsdPoints(double x, int32_t points) {
  const double f = 2 + 1.6 * std::pow(std::max(x, 0.0), 0.51);
  const double base = 4.5 * std::pow(static_cast<double>(points), 0.4) - 8.5;
  const double l = 3 + (base > 0 ? std::pow(base, 1.2) : 0.0);
  const int32_t p = static_cast<int32_t>(f * l / std::cbrt(f * f * f + l * l * l));
  return std::clamp(p, 2, std::max(points - 1, 2));
}

DiffusionEstimate MsdFitEstimate(const TrackSeries& t, double frame_s, double r) {
  DiffusionEstimate e;
  e.track = t.id;
  e.method = DiffusionMethod::kMsdFit;
  e.points = t.Points();
  const int32_t max_lag = std::min(t.Frames() - 1, 10000);
  if (e.points < kMinStatPoints || max_lag < 2) return e;
  // The optimal p rarely exceeds a few dozen lags; compute what it may reach.
  const int32_t reach = std::min(max_lag, OptimalMsdPoints(1e6, e.points));
  const MsdCurve c = TrackMsd(t, reach);
  e.displacements = c.pairs[0];
  double a = NAN, b = NAN;
  int32_t p = 2, used = 0;
  auto fit = [&](int32_t lags) {
    double sn = 0, sm = 0, snn = 0, snm = 0;
    int32_t k = 0;
    for (int32_t n = 1; n <= lags; ++n) {
      const double m = c.msd_um2[static_cast<size_t>(n - 1)];
      if (m != m) continue;
      sn += n;
      sm += m;
      snn += double(n) * n;
      snm += n * m;
      ++k;
    }
    if (k < 2) return false;
    const double den = k * snn - sn * sn;
    b = (k * snm - sn * sm) / den;
    a = (sm - b * sn) / k;
    used = k;
    return true;
  };
  for (int iter = 0; iter < 20; ++iter) {
    if (!fit(std::min(p, reach))) return e;
    // a = 4 sigma^2 - 2 R b, b = 4 D dt.
    const double x = b > 0 ? (a + 2 * r * b) / b : 1e6;
    const int32_t next = std::min(OptimalMsdPoints(x, e.points), reach);
    if (next == p) break;
    p = next;
  }
  e.fit_points = used;
  e.d_um2_s = b / (4 * frame_s);
  e.sigma2_um2 = (a + 2 * r * b) / 4;
  e.valid = true;
  SetSnr(e, frame_s);
  // The slope's variance from the covariance of the MSD points.
  const double dd = std::max(e.d_um2_s, 0.0);
  const double step_var = 2 * dd * frame_s;
  const double noise_var = std::max(e.sigma2_um2 - r * step_var, 0.0);
  const int32_t lags = std::min(p, reach);
  double mean_n = 0;
  for (int32_t n = 1; n <= lags; ++n) mean_n += n;
  mean_n /= lags;
  double sxx = 0;
  for (int32_t n = 1; n <= lags; ++n) sxx += (n - mean_n) * (n - mean_n);
  double var_b = 0;
  for (int32_t n = 1; n <= lags; ++n)
    for (int32_t m = 1; m <= lags; ++m) {
      const double cov = MsdCovariancePerAxis(n, m, e.points, step_var, noise_var);
      if (cov == cov) var_b += (n - mean_n) * (m - mean_n) * 2 * cov;
    }
  var_b /= sxx * sxx;
  const double sd = std::sqrt(std::max(var_b, 0.0)) / (4 * frame_s);
  e.d_low = e.d_um2_s - kZ95 * sd;
  e.d_high = e.d_um2_s + kZ95 * sd;
  return e;
}

DiffusionEstimate EnsembleOf(const std::vector<DiffusionEstimate>& tracks, double frame_s,
                             double r) {
  DiffusionEstimate e;
  double w_sum = 0, d_sum = 0, s_sum = 0, w2 = 0, w2d = 0, w2d2 = 0;
  for (const DiffusionEstimate& t : tracks) {
    e.points += t.points;
    if (!t.valid) continue;
    const double w = static_cast<double>(t.displacements);
    w_sum += w;
    d_sum += w * t.d_um2_s;
    s_sum += w * t.sigma2_um2;
    w2 += w * w;
    w2d += w * w * t.d_um2_s;
    w2d2 += w * w * t.d_um2_s * t.d_um2_s;
    e.displacements += t.displacements;
    e.method = t.method;
    ++e.tracks;
  }
  if (!e.tracks || !(w_sum > 0)) return e;
  e.d_um2_s = d_sum / w_sum;
  e.sigma2_um2 = s_sum / w_sum;
  e.valid = true;
  SetSnr(e, frame_s);
  if (e.tracks >= 10) {
    const double mean = e.d_um2_s;
    const double ss = w2d2 - 2 * mean * w2d + mean * mean * w2;
    const double T = e.tracks;
    const double se = std::sqrt(std::max(ss, 0.0) * T / (T - 1)) / w_sum;
    e.d_low = mean - kZ95 * se;
    e.d_high = mean + kZ95 * se;
  } else {
    CveInterval(e, frame_s, r, static_cast<double>(e.displacements));
  }
  return e;
}

DiffusionResult EstimateDiffusion(const TrackSet& set, DiffusionMethod method) {
  DiffusionResult out;
  const double dt = set.timing.frame_s;
  const double r = MotionBlurCoefficient(dt, set.timing.exposure_s);
  out.tracks.reserve(set.tracks.size());
  for (const TrackSeries& t : set.tracks)
    out.tracks.push_back(method == DiffusionMethod::kCve ? CveEstimate(t, dt, r)
                                                         : MsdFitEstimate(t, dt, r));
  out.ensemble = EnsembleOf(out.tracks, dt, r);
  // The localisation error is shared by the tracks of one record and the
  // ensemble knows it far better than one track: with enough tracks, the
  // intervals of the covariance estimator use the ensemble's sigma^2 (each
  // track still reports its own). A track's own sigma^2 is anticorrelated
  // with its D, which makes its intervals too short where D came out high.
  if (method == DiffusionMethod::kCve && out.ensemble.tracks >= 10)
    for (DiffusionEstimate& e : out.tracks) {
      if (!e.valid) continue;
      DiffusionEstimate pooled = e;
      pooled.sigma2_um2 = out.ensemble.sigma2_um2;
      CveInterval(pooled, dt, r, static_cast<double>(e.displacements));
      e.d_low = pooled.d_low;
      e.d_high = pooled.d_high;
    }
  return out;
}

std::string DiffusionSummary(const DiffusionEstimate& e, int64_t points) {
  std::string s = "D=" + FormatTable(e.d_um2_s) + " um2/s [" + FormatTable(e.d_low) + ", " +
                  FormatTable(e.d_high) + "]\n";
  s += "sigma=" + FormatTable(e.SigmaNm(), "%.1f") + " nm\n";
  s += "snr=" + FormatTable(e.snr, "%.3g") + (e.LowSnr() ? " (below 1)" : "") + "\n";
  s += "tracks=" + std::to_string(e.tracks) + " points=" + std::to_string(points) +
       " displacements=" + std::to_string(e.displacements) + "\n";
  s += std::string("method=") + DiffusionMethodName(e.method) + "\n";
  return s;
}

std::string DiffusionText(const std::vector<DiffusionEstimate>& tracks) {
  std::string s(kDiffusionHeader);
  for (const DiffusionEstimate& e : tracks) {
    s += std::to_string(e.track) + '\t' + std::to_string(e.points) + '\t' +
         FormatTable(e.d_um2_s, "%.6g") + '\t' + FormatTable(e.d_low, "%.6g") + '\t' +
         FormatTable(e.d_high, "%.6g") + '\t' + FormatTable(e.valid ? e.SigmaNm() : NAN, "%.2f") +
         '\t' + FormatTable(e.snr, "%.4g") + '\t' + DiffusionMethodName(e.method) + '\n';
  }
  return s;
}

}  // namespace lumetra
