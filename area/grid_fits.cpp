#include "area/grid_fits.h"

#include <cmath>

#include "area/grid_search.h"
#include "common/parallel.h"
#include "common/text_format.h"

namespace lumetra {
namespace {

// A grid that runs "from `first` while less than `last` in steps of `step`",
// all in float. A step that no longer moves the value (a curve scaled down
// to nothing) would loop for ever: such a grid is empty instead.
std::vector<float> Grid(float first, float last, float step) {
  std::vector<float> v;
  for (float x = first; x < last; x += step) {
    if (x + step == x || v.size() > 1000000) return {};
    v.push_back(x);
  }
  return v;
}

// exp(-k t) of every point for every k, rate-major: the plain loop's values.
std::vector<float> ExpRows(const std::vector<float>& ks, const float* t, int32_t n, int workers) {
  std::vector<float> g(ks.size() * static_cast<size_t>(n));
  ParallelChunks(
      static_cast<int64_t>(ks.size()),
      [&](int64_t begin, int64_t end) {
        for (int64_t j = begin; j < end; ++j)
          for (int32_t i = 0; i < n; ++i) g[j * n + i] = std::exp(-ks[j] * t[i]);
      },
      16, workers);
  return g;
}

// The exponential fits share their model and loops: A, then B, then k, the
// mean square of ((A - B) exp(-k t) - (v - B)).
struct ExpResult {
  float A = 0, B = 0, k = 0, cost = 0;
  bool found = false;
};

ExpResult PlainExpFit(const std::vector<float>& as, const std::vector<float>& bs,
                      const std::vector<float>& ks, const float* t, const float* v, int32_t n,
                      float start) {
  ExpResult r;
  r.cost = start;
  for (float A : as)
    for (float B : bs)
      for (float k : ks) {
        float sum = 0;
        for (int32_t i = 0; i < n; ++i) {
          const float d = (A - B) * std::exp(-k * t[i]) - (v[i] - B);
          sum += d * d;
        }
        const float cost = sum / static_cast<float>(n);
        if (cost < r.cost) {
          r = {A, B, k, cost, true};
        }
      }
  return r;
}

ExpResult FastExpFit(const std::vector<float>& as, const std::vector<float>& bs,
                     const std::vector<float>& ks, const float* t, const float* v, int32_t n,
                     float start, int workers) {
  const std::vector<float> g = ExpRows(ks, t, n, workers);
  GridProblem p;
  p.v = v;
  p.n = n;
  p.g = &g;
  p.rates = static_cast<int32_t>(ks.size());
  for (float A : as)
    for (float B : bs) p.pairs.push_back({A - B, B});
  p.rate_outer = false;
  p.mean = true;
  p.start_cost = start;
  p.workers = workers;
  const size_t nb = bs.size();
  auto exact = [&](int32_t j, int32_t m) {
    const float A = as[static_cast<size_t>(m) / nb], B = bs[static_cast<size_t>(m) % nb];
    const float* e = g.data() + static_cast<size_t>(j) * n;
    float sum = 0;
    for (int32_t i = 0; i < n; ++i) {
      const float d = (A - B) * e[i] - (v[i] - B);
      sum += d * d;
    }
    return sum / static_cast<float>(n);
  };
  GridWinner w;
  if (!VerifiedGridSearch(p, exact, w)) return PlainExpFit(as, bs, ks, t, v, n, start);
  ExpResult r;
  r.cost = start;
  if (!w.found) return r;
  const size_t m = static_cast<size_t>(w.pair);
  return {as[m / nb], bs[m % nb], ks[static_cast<size_t>(w.rate)], w.cost, true};
}

ExpResult ExpFit(FitMethod method, const std::vector<float>& as, const std::vector<float>& bs,
                 const std::vector<float>& ks, const float* t, const float* v, int32_t n,
                 float start, int workers) {
  return method == FitMethod::kPlain ? PlainExpFit(as, bs, ks, t, v, n, start)
                                     : FastExpFit(as, bs, ks, t, v, n, start, workers);
}

// "value truncated toward zero and multiplied by `unit`", as the texts show it.
std::string Truncated(double value, double scale, double unit) {
  return FormatGeneral(std::trunc(value * scale) * unit);
}

}  // namespace

std::vector<float> BleachingAGrid(float i0) {
  return Grid(0.9f * i0, 1.1f * i0, 0.1f * i0);
}
std::vector<float> BleachingBGrid(float i0) {
  return Grid(0.0f, i0, 0.01f * i0);
}
std::vector<float> BleachingKGrid() {
  return Grid(0.0f, 5.0f, 0.01f);
}
std::vector<float> RecoveryTauGrid() {
  return Grid(1.0f, 100.0f, 0.2f);
}
std::vector<float> RecoveryAGrid() {
  return Grid(0.1f, 1.0f, 0.02f);
}
std::vector<float> SpotsAGrid(float m) {
  return Grid(0.5f * m, 1.5f * m, 0.05f * m);
}
std::vector<float> SpotsBGrid(float m) {
  return Grid(0.0f, 0.25f * m, 0.01f * m);
}
std::vector<float> SpotsKGrid() {
  return Grid(0.0f, 1.0f, 0.005f);
}

BleachingFit FitBleaching(const float* t, const float* intensity, int32_t n, FitMethod method,
                          int workers) {
  BleachingFit fit;
  if (n <= 0) return fit;
  const float i0 = intensity[0];
  const ExpResult r = ExpFit(method, BleachingAGrid(i0), BleachingBGrid(i0), BleachingKGrid(), t,
                             intensity, n, fit.cost, workers);
  if (r.found) fit = {r.A, r.B, r.k, r.cost, true};
  return fit;
}

SpotsFit FitSpotsCurve(const float* t, const float* spots, int32_t n, FitMethod method,
                       int workers) {
  SpotsFit fit;
  if (n < kSpotsFitMinPoints) return fit;
  // The first two points are left out of the scale on purpose.
  fit.M = (spots[2] + spots[3] + spots[4]) / 3.0f;
  const ExpResult r = ExpFit(method, SpotsAGrid(fit.M), SpotsBGrid(fit.M), SpotsKGrid(), t, spots,
                             n, fit.cost, workers);
  if (r.found) {
    fit.A = r.A;
    fit.B = r.B;
    fit.k = r.k;
    fit.cost = r.cost;
    fit.found = true;
  }
  return fit;
}

RecoveryFit FitRecovery(const float* t, float* intensity, int32_t n, FitMethod method,
                        int workers) {
  RecoveryFit fit;
  if (n <= 0) return fit;
  float minimum = 1e8f;
  for (int32_t i = 0; i < n; ++i)
    if (intensity[i] < minimum) {
      minimum = intensity[i];
      fit.min_index = i;
    }
  float maximum = -1.0f;
  fit.max_index = fit.min_index;
  for (int32_t i = fit.min_index; i < n; ++i)
    if (intensity[i] > maximum) {
      maximum = intensity[i];
      fit.max_index = i;
    }
  if (minimum == 0.0f) minimum = 0.001f;
  fit.minimum = minimum;
  fit.t0 = t[fit.min_index];
  for (int32_t i = 0; i < n; ++i) intensity[i] = intensity[i] / minimum * 100.0f;

  const int32_t first = fit.min_index, count = fit.max_index - fit.min_index;
  const std::vector<float> taus = RecoveryTauGrid(), as = RecoveryAGrid();
  const float t0 = fit.t0;
  auto model = [t0](float tau, float a, float ti) {
    return 100.0f + 100.0f * (1.0f - a) * (1.0f - std::exp(-(ti - t0) / tau));
  };
  // The plain double loop (tau, then a) over the points from the minimum up to the maximum.
  auto plain = [&](RecoveryFit f) {
    for (float tau : taus)
      for (float a : as) {
        float sum = 0;
        for (int32_t i = first; i < f.max_index; ++i) {
          const float d = model(tau, a, t[i]) - intensity[i];
          sum += d * d;
        }
        if (sum < f.cost) {
          f.cost = sum;
          f.tau = tau;
          f.a = a;
          f.found = true;
        }
      }
    return f;
  };
  // Nothing after the dip: no combination is tried and the parameters stay
  // as they started (an empty sum would otherwise beat the start cost).
  if (count <= 0) return fit;
  if (method == FitMethod::kPlain) return plain(fit);
  // Rows of 1 - exp(-(t - t0) / tau); the pairs are (100 (1 - a), 100).
  std::vector<float> g(taus.size() * static_cast<size_t>(count));
  ParallelChunks(
      static_cast<int64_t>(taus.size()),
      [&](int64_t begin, int64_t end) {
        for (int64_t j = begin; j < end; ++j)
          for (int32_t i = 0; i < count; ++i)
            g[j * count + i] = 1.0f - std::exp(-(t[first + i] - t0) / taus[j]);
      },
      16, workers);
  GridProblem p;
  p.v = intensity + first;
  p.n = count;
  p.g = &g;
  p.rates = static_cast<int32_t>(taus.size());
  for (float a : as) p.pairs.push_back({100.0f * (1.0f - a), 100.0f});
  p.rate_outer = true;
  p.mean = false;
  p.start_cost = fit.cost;
  p.workers = workers;
  auto exact = [&](int32_t j, int32_t m) {
    const float c = p.pairs[static_cast<size_t>(m)].x;
    const float* gj = g.data() + static_cast<size_t>(j) * count;
    float sum = 0;
    for (int32_t i = 0; i < count; ++i) {
      const float d = 100.0f + c * gj[i] - intensity[first + i];
      sum += d * d;
    }
    return sum;
  };
  GridWinner w;
  if (!VerifiedGridSearch(p, exact, w)) return plain(fit);
  if (w.found) {
    fit.tau = taus[static_cast<size_t>(w.rate)];
    fit.a = as[static_cast<size_t>(w.pair)];
    fit.cost = w.cost;
    fit.found = true;
  }
  return fit;
}

void BleachingCurve(const BleachingFit& fit, const float* t, int32_t n, float* out) {
  for (int32_t i = 0; i < n; ++i) out[i] = (fit.A - fit.B) * std::exp(-fit.k * t[i]) + fit.B;
}

void SpotsCurve(const SpotsFit& fit, const float* t, int32_t n, float* out) {
  for (int32_t i = 0; i < n; ++i) out[i] = (fit.A - fit.B) * std::exp(-fit.k * t[i]) + fit.B;
}

void RecoveryCurve(const RecoveryFit& fit, const float* t, int32_t n, float* out) {
  for (int32_t i = 0; i < n; ++i) out[i] = 100.0f;
  if (!fit.found) return;
  for (int32_t i = fit.min_index; i < fit.max_index && i < n; ++i)
    out[i] = 100.0f + 100.0f * (1.0f - fit.a) * (1.0f - std::exp(-(t[i] - fit.t0) / fit.tau));
}

std::string BleachingText(const BleachingFit& fit) {
  return "Bleach rate=" + Truncated(fit.k, 1000.01, 0.001) + " s-1";
}

std::string RecoveryText(const RecoveryFit& fit) {
  return "Tau=" + Truncated(fit.tau, 1000.001, 0.001) +
         "  Bleach rate=" + Truncated(fit.a, 1000.001, 0.001);
}

std::string SpotsText(const SpotsFit& fit) {
  return "Off Rate=" + Truncated(fit.k, 1000.01, 0.001) +
         " s-1, FittedMax=" + Truncated(fit.A, 100.0, 0.01) + " Offset=" + FormatFloat(fit.B);
}

}  // namespace lumetra
