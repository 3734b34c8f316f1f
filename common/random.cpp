#include "common/random.h"

namespace lumetra {

double Rng::Normal() {
  if (has_spare_) {
    has_spare_ = false;
    return spare_;
  }
  double u, v, s;
  do {
    u = 2.0 * Uniform() - 1.0;
    v = 2.0 * Uniform() - 1.0;
    s = u * u + v * v;
  } while (s >= 1.0 || s == 0.0);
  const double f = std::sqrt(-2.0 * std::log(s) / s);
  spare_ = v * f;
  has_spare_ = true;
  return u * f;
}

int64_t Rng::Poisson(double mean) {
  if (!(mean > 0)) return 0;
  if (mean < 10) {
    const double limit = std::exp(-mean);
    int64_t k = 0;
    double prod = Uniform();
    while (prod > limit) {
      ++k;
      prod *= Uniform();
    }
    return k;
  }
  // Transformed rejection with squeeze (Hörmann 1993).
  const double slam = std::sqrt(mean);
  const double loglam = std::log(mean);
  const double b = 0.931 + 2.53 * slam;
  const double a = -0.059 + 0.02483 * b;
  const double inv_alpha = 1.1239 + 1.1328 / (b - 3.4);
  const double vr = 0.9277 - 3.6224 / (b - 2.0);
  for (;;) {
    const double u = Uniform() - 0.5;
    const double v = Uniform();
    const double us = 0.5 - std::fabs(u);
    const double k = std::floor((2.0 * a / us + b) * u + mean + 0.43);
    if (us >= 0.07 && v <= vr) return static_cast<int64_t>(k);
    if (k < 0 || (us < 0.013 && v > us)) continue;
    if (std::log(v) + std::log(inv_alpha) - std::log(a / (us * us) + b) <=
        -mean + k * loglam - std::lgamma(k + 1.0))
      return static_cast<int64_t>(k);
  }
}

}  // namespace lumetra
