#include "spots/dense_detector.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

#include "common/parallel.h"

namespace lumetra {
namespace {

// Rows a filter or peak task takes at least, so small frames stay on one thread.
constexpr int32_t kMinRowsPerTask = 32;
// Centres of one group closer than this (pixels) are one spot.
constexpr double kSameSpot = 0.5;

#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
#define LUMETRA_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define LUMETRA_VECTOR_CLONES
#endif

// out[x] = sum_k w[k] in[x + k] over k = 0..taps-1, for x in [0, n).
LUMETRA_VECTOR_CLONES
void WeightedRow(const float* __restrict in, const float* __restrict w, int taps, int n,
                 float* __restrict out) {
  for (int x = 0; x < n; ++x) out[x] = w[0] * in[x];
  for (int k = 1; k < taps; ++k) {
    const float wk = w[k];
    const float* __restrict src = in + k;
    for (int x = 0; x < n; ++x) out[x] += wk * src[x];
  }
}

// out[x] = sum of in[x + k] over k = 0..taps-1. Whole counts: exact in floats.
LUMETRA_VECTOR_CLONES
void SumRow(const float* __restrict in, int taps, int n, float* __restrict out) {
  for (int x = 0; x < n; ++x) out[x] = in[x];
  for (int k = 1; k < taps; ++k) {
    const float* __restrict src = in + k;
    for (int x = 0; x < n; ++x) out[x] += src[x];
  }
}

// out[x] = w in[x] for x in [0, n).
LUMETRA_VECTOR_CLONES
void ScaledRow(const float* __restrict in, float w, int n, float* __restrict out) {
  for (int x = 0; x < n; ++x) out[x] = w * in[x];
}

// out[x] += w in[x] for x in [0, n).
LUMETRA_VECTOR_CLONES
void AddScaledRow(const float* __restrict in, float w, int n, float* __restrict out) {
  for (int x = 0; x < n; ++x) out[x] += w * in[x];
}

// Median of v (reordered).
double Median(std::vector<float>& v) {
  if (v.empty()) return 0;
  const auto mid = v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2);
  std::nth_element(v.begin(), mid, v.end());
  return *mid;
}

}  // namespace

struct DenseDetector::Task {
  std::vector<float> pad, sum, column;
  std::vector<const float*> rows;
  std::vector<Peak> peaks;
  EmitterFitter fitter;
  std::vector<float> counts;
  std::vector<uint8_t> use;
  std::vector<DenseSpot> out;
  int32_t fallbacks = 0;
};

DenseDetector::DenseDetector(int workers) : workers_(workers) {}
DenseDetector::~DenseDetector() = default;

void DenseDetector::RunTasks(int count, int threads, const std::function<void(int)>& task) {
  if (count > 1 && threads > 1) {
    if (!pool_ || pool_threads_ != threads - 1) {
      pool_ = std::make_unique<WorkerPool>(threads - 1);
      pool_threads_ = threads - 1;
    }
    pool_->Run(count, task);
  } else {
    for (int i = 0; i < count; ++i) task(i);
  }
}

// Horizontal passes row by row (edge pixels repeated), then vertical passes;
// every value is computed from the same inputs in the same order whichever
// task takes its row.
void DenseDetector::Filter(const uint16_t* pixels, int threads) {
  const int32_t w = width_, h = height_;
  const size_t n = static_cast<size_t>(w) * static_cast<size_t>(h);
  hgauss_.resize(n);
  hbox_.resize(n);
  band_.resize(n);
  const int gt = 2 * gauss_half_ + 1, bt = 2 * box_half_ + 1;
  const int parts = static_cast<int>(std::clamp<int64_t>(h / kMinRowsPerTask, 1, 4 * threads));
  auto horizontal = [&](int i) {
    Task& t = *tasks_[static_cast<size_t>(i)];
    t.pad.resize(static_cast<size_t>(w + 2 * box_half_));
    for (int32_t y = h * i / parts; y < h * (i + 1) / parts; ++y) {
      const uint16_t* row = pixels + static_cast<int64_t>(y) * w;
      for (int32_t x = -box_half_; x < w + box_half_; ++x)
        t.pad[static_cast<size_t>(x + box_half_)] = row[std::clamp(x, 0, w - 1)];
      const size_t at = static_cast<size_t>(y) * static_cast<size_t>(w);
      WeightedRow(t.pad.data() + (box_half_ - gauss_half_), weights_.data(), gt, w,
                  hgauss_.data() + at);
      SumRow(t.pad.data(), bt, w, hbox_.data() + at);
    }
  };
  RunTasks(parts, threads, horizontal);
  const float inv_area = 1.0f / static_cast<float>(bt * bt);
  auto vertical = [&](int i) {
    Task& t = *tasks_[static_cast<size_t>(i)];
    t.sum.resize(static_cast<size_t>(w));
    t.column.resize(static_cast<size_t>(w));
    for (int32_t y = h * i / parts; y < h * (i + 1) / parts; ++y) {
      float* out = band_.data() + static_cast<size_t>(y) * static_cast<size_t>(w);
      auto row = [&](const std::vector<float>& v, int k) {
        return v.data() + static_cast<size_t>(std::clamp(y + k, 0, h - 1)) * w;
      };
      ScaledRow(row(hgauss_, -gauss_half_), weights_[0], w, out);
      for (int k = -gauss_half_ + 1; k <= gauss_half_; ++k)
        AddScaledRow(row(hgauss_, k), weights_[static_cast<size_t>(k + gauss_half_)], w, out);
      ScaledRow(row(hbox_, -box_half_), 1.0f, w, t.sum.data());
      for (int k = -box_half_ + 1; k <= box_half_; ++k)
        AddScaledRow(row(hbox_, k), 1.0f, w, t.sum.data());
      AddScaledRow(t.sum.data(), -inv_area, w, out);
    }
  };
  RunTasks(parts, threads, vertical);
}

// Local maxima above the threshold: strictly above the neighbours met before
// in row-major order, at least as high as those after (a flat top gives one).
void DenseDetector::FindPeaks(double threshold, int threads) {
  const int32_t w = width_, h = height_;
  const int parts = static_cast<int>(std::clamp<int64_t>(h / kMinRowsPerTask, 1, 4 * threads));
  const float thr = static_cast<float>(threshold);
  auto scan = [&](int i) {
    Task& t = *tasks_[static_cast<size_t>(i)];
    t.peaks.clear();
    for (int32_t y = h * i / parts; y < h * (i + 1) / parts; ++y) {
      const float* row = band_.data() + static_cast<size_t>(y) * w;
      for (int32_t x = 0; x < w; ++x) {
        const float v = row[x];
        if (!(v > thr)) continue;
        bool peak = true;
        for (int dy = -1; dy <= 1 && peak; ++dy) {
          const int32_t yy = y + dy;
          if (yy < 0 || yy >= h) continue;
          for (int dx = -1; dx <= 1; ++dx) {
            const int32_t xx = x + dx;
            if ((dx == 0 && dy == 0) || xx < 0 || xx >= w) continue;
            const float u = band_[static_cast<size_t>(yy) * w + xx];
            const bool before = dy < 0 || (dy == 0 && dx < 0);
            if (u > v || (before && u == v)) {
              peak = false;
              break;
            }
          }
        }
        if (peak) t.peaks.push_back({x, y});
      }
    }
  };
  RunTasks(parts, threads, scan);
  candidates_.clear();
  for (int i = 0; i < parts; ++i)
    candidates_.insert(candidates_.end(), tasks_[static_cast<size_t>(i)]->peaks.begin(),
                       tasks_[static_cast<size_t>(i)]->peaks.end());
}

// Candidates whose fit windows could overlap are fitted together. A group
// too large for one fit is cut into runs of candidates in row-major order.
void DenseDetector::MakeGroups() {
  const size_t n = candidates_.size();
  std::vector<int32_t> parent(n);
  std::iota(parent.begin(), parent.end(), 0);
  auto root = [&](int32_t i) {
    while (parent[static_cast<size_t>(i)] != i) {
      parent[static_cast<size_t>(i)] = parent[static_cast<size_t>(parent[static_cast<size_t>(i)])];
      i = parent[static_cast<size_t>(i)];
    }
    return i;
  };
  const int32_t reach = 2 * fit_half_;
  for (size_t i = 0; i < n; ++i)
    for (size_t j = i; j-- > 0;) {
      if (candidates_[i].y - candidates_[j].y > reach) break;
      if (std::abs(candidates_[i].x - candidates_[j].x) > reach) continue;
      const int32_t a = root(static_cast<int32_t>(i)), b = root(static_cast<int32_t>(j));
      // The smaller index is the root, so a group is known by its first member.
      if (a != b) parent[static_cast<size_t>(std::max(a, b))] = std::min(a, b);
    }
  // Members grouped by root, roots in order, members in order within each.
  std::vector<int32_t> count(n, 0);
  for (size_t i = 0; i < n; ++i) ++count[static_cast<size_t>(root(static_cast<int32_t>(i)))];
  std::vector<int32_t> start(n, 0);
  int32_t at = 0;
  for (size_t i = 0; i < n; ++i) {
    start[i] = at;
    at += count[i];
  }
  members_.assign(n, 0);
  std::vector<int32_t> fill = start;
  for (size_t i = 0; i < n; ++i)
    members_[static_cast<size_t>(fill[static_cast<size_t>(root(static_cast<int32_t>(i)))]++)] =
        static_cast<int32_t>(i);
  groups_.clear();
  const int32_t side = kMaxPatchSide - 2 * fit_half_;
  for (size_t r = 0; r < n; ++r) {
    int32_t first = start[r];
    const int32_t end = start[r] + count[r];
    while (first < end) {
      int32_t last = first + 1;
      int32_t x0 = candidates_[static_cast<size_t>(members_[static_cast<size_t>(first)])].x, x1 = x0;
      const int32_t y0 = candidates_[static_cast<size_t>(members_[static_cast<size_t>(first)])].y;
      while (last < end && last - first < kMaxGroupEmitters) {
        const Peak& p = candidates_[static_cast<size_t>(members_[static_cast<size_t>(last)])];
        if (std::max(x1, p.x) - std::min(x0, p.x) >= side || p.y - y0 >= side) break;
        x0 = std::min(x0, p.x);
        x1 = std::max(x1, p.x);
        ++last;
      }
      groups_.push_back({first, last - first});
      first = last;
    }
  }
}

int32_t DenseDetector::Detect(const uint16_t* pixels, int32_t width, int32_t height,
                              double sigma_px, const DenseRules& rules) {
  spots_.clear();
  candidates_.clear();
  fallbacks_ = 0;
  noise_ = 0;
  if (width < 3 || height < 3 || !(sigma_px > 0) || !std::isfinite(sigma_px)) return 0;
  pixels_ = pixels;
  width_ = width;
  height_ = height;
  sigma_ = std::min(sigma_px, 8.0);
  rules_ = rules;
  gauss_half_ = std::max(1, static_cast<int32_t>(std::ceil(3.0 * sigma_)));
  box_half_ = gauss_half_ + 2;
  fit_half_ = std::max(2, static_cast<int32_t>(std::ceil(3.0 * sigma_)));
  weights_.resize(static_cast<size_t>(2 * gauss_half_ + 1));
  double total = 0;
  for (int k = -gauss_half_; k <= gauss_half_; ++k)
    total += weights_[static_cast<size_t>(k + gauss_half_)] =
        static_cast<float>(std::exp(-0.5 * k * k / (sigma_ * sigma_)));
  for (float& wk : weights_) wk = static_cast<float>(wk / total);
  const int threads = workers_ > 0 ? workers_ : WorkerCount();
  const size_t task_count = static_cast<size_t>(std::max(1, 4 * threads));
  while (tasks_.size() < task_count) tasks_.push_back(std::make_unique<Task>());

  Filter(pixels, threads);
  // Noise from a sample of the band-passed frame: the median absolute
  // deviation, which the few spot pixels hardly move.
  std::vector<float> sample;
  for (int32_t y = 2; y < height; y += 4)
    for (int32_t x = 2; x < width; x += 4) sample.push_back(band_[static_cast<size_t>(y) * width + x]);
  const double centre = Median(sample);
  for (float& v : sample) v = static_cast<float>(std::fabs(v - centre));
  noise_ = 1.4826 * Median(sample);
  // A flat frame (all zero, saturated) has no noise: a floor keeps the
  // rounding of the filter from making candidates.
  FindPeaks(std::max(rules.threshold_sigmas * noise_, 0.5), threads);
  MakeGroups();

  const int parts = static_cast<int>(
      std::clamp<size_t>(groups_.size() / 4, 1, static_cast<size_t>(4 * threads)));
  const size_t groups = groups_.size();
  auto fit = [&](int i) {
    Task& t = *tasks_[static_cast<size_t>(i)];
    t.out.clear();
    t.fallbacks = 0;
    for (size_t g = groups * i / parts; g < groups * (i + 1) / parts; ++g) FitGroup(groups_[g], t);
  };
  RunTasks(parts, threads, fit);
  for (int i = 0; i < parts; ++i) {
    const Task& t = *tasks_[static_cast<size_t>(i)];
    spots_.insert(spots_.end(), t.out.begin(), t.out.end());
    fallbacks_ += t.fallbacks;
  }
  return static_cast<int32_t>(spots_.size());
}

// One group: the patch around its candidates (pixels within the fit reach of
// one of them), start values from the counts, the joint fit, then one more
// spot at a time where the residual asks for it.
void DenseDetector::FitGroup(const Group& g, Task& t) const {
  const int32_t fh = fit_half_;
  int32_t x0 = INT32_MAX, y0 = INT32_MAX, x1 = INT32_MIN, y1 = INT32_MIN;
  for (int32_t k = g.first; k < g.first + g.count; ++k) {
    const Peak& p = candidates_[static_cast<size_t>(members_[static_cast<size_t>(k)])];
    x0 = std::min(x0, p.x);
    x1 = std::max(x1, p.x);
    y0 = std::min(y0, p.y);
    y1 = std::max(y1, p.y);
  }
  x0 = std::max(0, x0 - fh);
  y0 = std::max(0, y0 - fh);
  x1 = std::min(width_ - 1, x1 + fh);
  y1 = std::min(height_ - 1, y1 + fh);
  const int pw = x1 - x0 + 1, ph = y1 - y0 + 1;
  t.counts.assign(static_cast<size_t>(pw * ph), 0.0f);
  t.use.assign(static_cast<size_t>(pw * ph), 0);
  for (int32_t k = g.first; k < g.first + g.count; ++k) {
    const Peak& p = candidates_[static_cast<size_t>(members_[static_cast<size_t>(k)])];
    for (int32_t y = std::max(y0, p.y - fh); y <= std::min(y1, p.y + fh); ++y)
      for (int32_t x = std::max(x0, p.x - fh); x <= std::min(x1, p.x + fh); ++x)
        t.use[static_cast<size_t>((y - y0) * pw + x - x0)] = 1;
  }
  double border = 0;
  int nb = 0;
  for (int r = 0; r < ph; ++r)
    for (int c = 0; c < pw; ++c) {
      const size_t i = static_cast<size_t>(r * pw + c);
      t.counts[i] = pixels_[static_cast<int64_t>(y0 + r) * width_ + x0 + c];
      if (!t.use[i]) continue;
      const bool edge = r == 0 || c == 0 || r == ph - 1 || c == pw - 1 || !t.use[i - 1] ||
                        !t.use[i + 1] || !t.use[i - static_cast<size_t>(pw)] ||
                        !t.use[i + static_cast<size_t>(pw)];
      if (edge) {
        border += t.counts[i];
        ++nb;
      }
    }
  const FitPatch patch{t.counts.data(), t.use.data(), pw, ph};
  EmitterModel m;
  m.background = std::max(nb > 0 ? border / nb : 0.0, 0.5);
  for (int32_t k = g.first; k < g.first + g.count; ++k) {
    const Peak& p = candidates_[static_cast<size_t>(members_[static_cast<size_t>(k)])];
    double sw = 0, sx = 0, sy = 0, photons = 0;
    for (int dy = -2; dy <= 2; ++dy)
      for (int dx = -2; dx <= 2; ++dx) {
        const int32_t x = p.x + dx, y = p.y + dy;
        if (x < x0 || x > x1 || y < y0 || y > y1) continue;
        photons += t.counts[static_cast<size_t>((y - y0) * pw + x - x0)] - m.background;
        if (std::abs(dx) > 1 || std::abs(dy) > 1) continue;
        const double v = band_[static_cast<size_t>(y) * width_ + x];
        if (v <= 0) continue;
        sw += v;
        sx += v * dx;
        sy += v * dy;
      }
    Emitter& e = m.e[static_cast<size_t>(m.k++)];
    e.x = p.x - x0 + (sw > 0 ? sx / sw : 0.0);
    e.y = p.y - y0 + (sw > 0 ? sy / sw : 0.0);
    e.photons = std::max(photons, 10.0);
  }
  const EmitterModel start = m;
  bool converged = false;
  double nll = t.fitter.Fit(patch, sigma_, sigma_, m, converged);
  if (!std::isfinite(nll) || !converged) {
    // No fit: the centroids stand, and the read-out counts them.
    for (int j = 0; j < start.k; ++j) {
      const Emitter& e = start.e[static_cast<size_t>(j)];
      t.out.push_back({x0 + e.x, y0 + e.y, e.photons, start.background, NAN, NAN, false});
    }
    t.fallbacks += start.k;
    return;
  }
  Emitter peak;
  while (m.k < kMaxGroupEmitters &&
         t.fitter.ResidualPeak(patch, sigma_, sigma_, m, rules_.add_sigmas, peak)) {
    EmitterModel more = m;
    peak.photons = std::max(peak.photons, 10.0);
    more.e[static_cast<size_t>(more.k++)] = peak;
    bool more_converged = false;
    const double more_nll = t.fitter.Fit(patch, sigma_, sigma_, more, more_converged);
    if (!more_converged || !(more_nll < nll - rules_.min_gain)) break;
    m = more;
    nll = more_nll;
  }
  // A spot that fits its pixels far worse than Poisson noise allows may be two
  // closer than the candidates could show (two particles passing each other):
  // it is tried as a pair in four directions, and the best pair whose centres
  // lie at least a pixel apart is kept when the likelihood pays for it.
  for (int j = 0; j < m.k && m.k < kMaxGroupEmitters; ++j) {
    int pixels = 0;
    const double chi2 = t.fitter.LocalMisfit(patch, sigma_, sigma_, m, j, pixels);
    if (pixels == 0 || chi2 < pixels + rules_.split_sigmas * std::sqrt(2.0 * pixels)) continue;
    EmitterModel best = m;
    double best_nll = nll - rules_.min_gain;
    for (int dir = 0; dir < 4; ++dir) {
      const double ux = std::cos(dir * M_PI / 4) * 0.5 * sigma_;
      const double uy = std::sin(dir * M_PI / 4) * 0.5 * sigma_;
      EmitterModel two = m;
      Emitter& one = two.e[static_cast<size_t>(j)];
      Emitter other = one;
      one.x += ux;
      one.y += uy;
      one.photons *= 0.5;
      other.x -= ux;
      other.y -= uy;
      other.photons *= 0.5;
      two.e[static_cast<size_t>(two.k++)] = other;
      bool settled = false;
      const double two_nll = t.fitter.Fit(patch, sigma_, sigma_, two, settled);
      const Emitter& a = two.e[static_cast<size_t>(j)];
      const Emitter& b = two.e[static_cast<size_t>(two.k - 1)];
      const double apart2 = (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
      if (settled && two_nll < best_nll && apart2 >= 1.0) {
        best = two;
        best_nll = two_nll;
      }
    }
    if (best.k > m.k) {
      m = best;
      nll = best_nll;
    }
  }
  // Spots that left the patch belong to another group; two centres on one
  // place are one spot, the brighter.
  double bound_x[kMaxGroupEmitters], bound_y[kMaxGroupEmitters];
  t.fitter.CentreBounds(patch, sigma_, sigma_, m, bound_x, bound_y);
  for (int j = 0; j < m.k; ++j) {
    const Emitter& e = m.e[static_cast<size_t>(j)];
    if (e.x < -0.5 || e.y < -0.5 || e.x > pw - 0.5 || e.y > ph - 0.5) continue;
    bool twin = false;
    for (int o = 0; o < m.k && !twin; ++o) {
      const Emitter& f = m.e[static_cast<size_t>(o)];
      const double dx = f.x - e.x, dy = f.y - e.y;
      twin = o != j && dx * dx + dy * dy < kSameSpot * kSameSpot &&
             (f.photons > e.photons || (f.photons == e.photons && o < j));
    }
    if (twin) continue;
    t.out.push_back({x0 + e.x, y0 + e.y, e.photons, m.background, bound_x[j], bound_y[j], true});
  }
}

}  // namespace lumetra
