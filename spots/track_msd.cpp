#include "spots/track_msd.h"

#include <algorithm>
#include <cmath>

namespace lumetra {

MsdCurve TrackMsd(const TrackSeries& t, int32_t max_lag) {
  MsdCurve c;
  const int32_t frames = t.Frames();
  const int32_t lags = std::max(0, std::min(max_lag, frames - 1));
  c.msd_um2.assign(static_cast<size_t>(std::max(max_lag, 0)), NAN);
  c.sem_um2.assign(c.msd_um2.size(), NAN);
  c.pairs.assign(c.msd_um2.size(), 0);
  const double* x = t.x_um.data();
  const double* y = t.y_um.data();
  for (int32_t n = 1; n <= lags; ++n) {
    double sum = 0;
    int64_t count = 0;
    for (int32_t i = 0; i + n < frames; ++i) {
      const double dx = x[i + n] - x[i], dy = y[i + n] - y[i];
      const double r2 = dx * dx + dy * dy;
      // A gap at either end makes r2 NaN: the pair does not exist.
      if (r2 == r2) {
        sum += r2;
        ++count;
      }
    }
    if (count) {
      c.msd_um2[static_cast<size_t>(n - 1)] = sum / static_cast<double>(count);
      c.pairs[static_cast<size_t>(n - 1)] = count;
    }
  }
  return c;
}

namespace {

// Covariance of displacement i (over n frames) and displacement i + k (over m
// frames) of one axis: the shared stretch of the two intervals times the step
// variance, plus the noise of the end points they share.
double DisplacementCov(int32_t n, int32_t m, int32_t k, double step_var, double noise_var) {
  // Intervals [0, n] and [k, k + m].
  const int32_t overlap = std::max(0, std::min(n, k + m) - std::max(0, k));
  const auto same = [&](int32_t a, int32_t b) { return a == b ? 1.0 : 0.0; };
  // (X_n - X_0)(X_{k+m} - X_k): end points that coincide carry the noise.
  const double noise = same(n, k + m) - same(n, k) - same(0, k + m) + same(0, k);
  return step_var * overlap + noise_var * noise;
}

}  // namespace

double MsdCovariancePerAxis(int32_t n, int32_t m, int32_t points, double step_var,
                            double noise_var) {
  const int32_t a = points - n, b = points - m;  // displacements at each lag
  if (a <= 0 || b <= 0) return NAN;
  // Isserlis: Cov(d_i^2, d'_j^2) = 2 Cov(d_i, d'_j)^2, which depends on j - i
  // only and vanishes once the intervals neither overlap nor share an end.
  double sum = 0;
  const int32_t k_lo = std::max(-m, -(a - 1)), k_hi = std::min(n, b - 1);
  for (int32_t k = k_lo; k <= k_hi; ++k) {
    // Pairs (i, j = i + k) with 0 <= i < a and 0 <= j < b.
    const int32_t count = std::min(a, b - k) - std::max(0, -k);
    if (count <= 0) continue;
    const double c = DisplacementCov(n, m, k, step_var, noise_var);
    sum += count * 2.0 * c * c;
  }
  return sum / (static_cast<double>(a) * b);
}

void MsdErrorBars(MsdCurve& curve, int32_t points, double d, double sigma2, double blur_r,
                  double frame_s) {
  const double dd = std::max(d, 0.0);
  const double step_var = 2 * dd * frame_s;
  const double noise_var = std::max(sigma2 - blur_r * step_var, 0.0);
  for (int32_t n = 1; n <= curve.MaxLag(); ++n) {
    const size_t i = static_cast<size_t>(n - 1);
    if (curve.pairs[i] == 0) continue;
    // x and y are independent: the 2D MSD's variance is twice one axis'.
    const double var = 2 * MsdCovariancePerAxis(n, n, points, step_var, noise_var);
    curve.sem_um2[i] = std::sqrt(std::max(var, 0.0));
  }
}

MsdCurve EnsembleMsd(const TrackSet& set, int32_t max_lag) {
  MsdCurve e;
  const size_t lags = static_cast<size_t>(std::max(max_lag, 0));
  e.msd_um2.assign(lags, NAN);
  e.sem_um2.assign(lags, NAN);
  e.pairs.assign(lags, 0);
  std::vector<double> sum(lags, 0), sum_w2m(lags, 0), sum_w2m2(lags, 0), sum_w2(lags, 0);
  std::vector<int64_t> tracks(lags, 0);
  // One pass for the sums the weighted mean and its standard error need:
  // with w the pairs and m the track's MSD at a lag, mean = sum(w m) / sum(w)
  // and var = T/(T-1) sum(w^2 (m - mean)^2) / sum(w)^2.
  for (const TrackSeries& t : set.tracks) {
    const MsdCurve c = TrackMsd(t, max_lag);
    for (size_t i = 0; i < lags; ++i) {
      const int64_t w = c.pairs[i];
      if (!w) continue;
      const double m = c.msd_um2[i], wd = static_cast<double>(w);
      e.pairs[i] += w;
      sum[i] += wd * m;
      sum_w2[i] += wd * wd;
      sum_w2m[i] += wd * wd * m;
      sum_w2m2[i] += wd * wd * m * m;
      ++tracks[i];
    }
  }
  for (size_t i = 0; i < lags; ++i) {
    if (!e.pairs[i]) continue;
    const double W = static_cast<double>(e.pairs[i]);
    const double mean = sum[i] / W;
    e.msd_um2[i] = mean;
    if (tracks[i] < 2) continue;
    const double ss = sum_w2m2[i] - 2 * mean * sum_w2m[i] + mean * mean * sum_w2[i];
    const double T = static_cast<double>(tracks[i]);
    e.sem_um2[i] = std::sqrt(std::max(ss, 0.0) * T / (T - 1)) / W;
  }
  return e;
}

}  // namespace lumetra
