#include "spots/spot_detector.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>

#include "common/parallel.h"
#include "common/text_format.h"
#include "spots/spot_params.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

// Rows of the scan a chunk takes at least, so tiny frames stay on one thread.
constexpr int64_t kMinRowsPerChunk = 16;

// The integer pre-test lets through every pixel whose float fit could pass:
// the float means of zones carry at most ~0.012 counts of rounding for 16-bit
// counts, so the margins (in units of 1/672 and 1/160 count) are generous.
constexpr int32_t kAmplitudeMargin = 16;
constexpr int32_t kPeakMargin = 8;

// The running sum without its step-by-step chain: when no square lies within
// 2^-16 of the next whole number and the total stays below 2^35 (where a
// double's ulp is 2^-17), every truncated addition adds exactly the whole
// part of its square, and whole numbers add exactly in doubles in any order.
// False when a step needs the exact walk.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
__attribute__((target_clones("avx2", "default")))
#endif
bool WholeSquaresSum(const float* __restrict e, double& total) {
  constexpr double kNearOne = 1.0 - 0x1p-16;
  double sum = 0, largest_fraction = 0;
#pragma omp simd reduction(+ : sum) reduction(max : largest_fraction)
  for (int k = 0; k < kMaskPixels; ++k) {
    const double d = static_cast<double>(e[k]) * e[k];
    const double whole = std::floor(d);
    sum += whole;
    largest_fraction = std::max(largest_fraction, d - whole);
  }
  total = sum;
  return largest_fraction <= kNearOne && total < 0x1p35;
}

// Residual of the normalised block against the template over zones 1 to 4, in
// row-major order. The sum is truncated after every addition and divided by
// 89, not by the 73 pixels summed: results must match the files and read-outs
// of earlier versions. The running sum never falls, so once it reaches
// `stop_at` the result can only be larger: -1 is returned then.
int32_t Residual(const float* e, int n, int64_t stop_at) {
  // sum = truncate(sum + d) with sum whole and d >= 0 equals sum + whole(d)
  // unless rounding the double sum carries it to the next whole number, which
  // needs the fraction of d within one ulp of 1: such steps (and huge sums)
  // take the double addition itself, so the result is the same in every case.
  double total;
  if (n == kMaskPixels && WholeSquaresSum(e, total)) {
    if (total >= static_cast<double>(stop_at)) return -1;
    return TruncToInt(0.1 * std::sqrt(total / 89.0));
  }
  constexpr double kExactAbove = 0x1p45;  // ulp there is 2^-7
  constexpr double kNearOne = 1.0 - 1.0 / 64;
  int64_t sum = 0;
  for (int k = 0; k < n; ++k) {
    const double d = static_cast<double>(e[k]) * e[k];  // exact: 24-bit mantissas
    if (d < kExactAbove) {
      const int64_t whole = static_cast<int64_t>(d);
      if (d - static_cast<double>(whole) <= kNearOne) {
        sum += whole;
        if (sum >= stop_at) return -1;
        continue;
      }
    }
    sum = static_cast<int64_t>(static_cast<double>(sum) + d);
    if (sum >= stop_at) return -1;
  }
  return TruncToInt(0.1 * std::sqrt(static_cast<double>(sum) / 89.0));
}

// Template minus the normalised block value, (v - b) x 100 / (p - b), for the
// zone 1-4 pixels in row-major order.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
__attribute__((target_clones("avx2", "default")))
#endif
void Deviations(const float* __restrict tmpl, const float* __restrict v, float b, float span,
                float* __restrict e) {
  for (int k = 0; k < kMaskPixels; ++k) e[k] = tmpl[k] - ((v[k] - b) * 100.0f) / span;
}

// A lower bound of the residual from the zone sums alone, to spare the full
// fit for pixels that cannot pass. Over the cross the normalised values sum to
// 500 and over zone 3 to 100 (S3 - 16 b) / (p - b), so by Cauchy-Schwarz the
// squared deviations there are at least (sum T - sum v)^2 / n. Each truncated
// addition loses less than 1. Float rounding is covered by a 1% slack on the
// sums, far above what single precision can do to them.
bool ResidualTooLarge(const ZoneSums& z, double t_cross, double t_zone3, int32_t q) {
  const float b = static_cast<float>(z.ring) / 32.0f;
  const float p = static_cast<float>(0.2 * z.cross);
  const double span = static_cast<double>(p - b);
  const int32_t A = TruncToInt(static_cast<float>(z.disc) / 21.0f - b);
  if (!(span >= 3.0) || q <= 0) return false;
  const double s3 = 100.0 * (z.disc - z.cross - 16.0 * b) / span;
  const double dc = std::max(0.0, std::fabs(t_cross - 500.0) - 6.0);
  const double d3 = std::max(0.0, std::fabs(t_zone3 - s3) - 0.01 * std::fabs(s3) - 1.0);
  const double lower = dc * dc / 5.0 + d3 * d3 / 16.0 - 80.0;
  const double over = A / q + 2;
  return lower >= 8900.0 * over * over;
}

// Integer zone sums and the pre-test of one row of centres. A pixel is flagged
// when "peak - background >= 3" and "truncate(m - b) >= q" may hold in float
// arithmetic (a candidate needs A / r >= q with r >= 1, so A >= q).
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
__attribute__((target_clones("avx2", "default")))
#endif
void FlagRow(const int32_t* __restrict r0, const int32_t* __restrict p1,
             const int32_t* __restrict p2, const int32_t* __restrict p3,
             const int32_t* __restrict p4, const int32_t* __restrict p5, int32_t xs, int32_t xe,
             int32_t amp_limit, int32_t peak_limit, uint8_t* __restrict flag,
             int32_t* __restrict ring_out, int32_t* __restrict cross_out,
             int32_t* __restrict disc_out) {
  for (int32_t x = xs; x < xe; ++x) {
    const int32_t ring = r0[x - 5] + r0[x + 5] + p1[x - 5] + p1[x + 5] + p2[x - 4] + p2[x + 4] +
                         p3[x - 4] + p3[x - 3] + p3[x + 3] + p3[x + 4] + p4[x - 3] + p4[x - 2] +
                         p4[x + 2] + p4[x + 3] + p5[x - 1] + p5[x] + p5[x + 1];
    const int32_t cross = r0[x - 1] + r0[x] + r0[x + 1] + p1[x];
    const int32_t disc = cross + r0[x - 2] + r0[x + 2] + p1[x - 2] + p1[x - 1] + p1[x + 1] +
                         p1[x + 2] + p2[x - 1] + p2[x] + p2[x + 1];
    flag[x] = static_cast<uint8_t>((32 * disc - 21 * ring >= amp_limit) &
                                   (32 * cross - 5 * ring >= peak_limit));
    ring_out[x] = ring;
    cross_out[x] = cross;
    disc_out[x] = disc;
  }
}

// The centre row and the sums of the row pairs 1 to 5 above and below it.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
__attribute__((target_clones("avx2", "default")))
#endif
void LoadRows(const uint16_t* __restrict c, int32_t w, int32_t x0, int32_t x1,
              int32_t* __restrict rows) {
  for (int32_t x = x0; x < x1; ++x) rows[x] = c[x];
  for (int d = 1; d <= kSpotHalf; ++d) {
    const uint16_t* __restrict up = c - static_cast<int64_t>(d) * w;
    const uint16_t* __restrict dn = c + static_cast<int64_t>(d) * w;
    int32_t* __restrict p = rows + static_cast<int64_t>(d) * w;
    for (int32_t x = x0; x < x1; ++x) p[x] = up[x] + dn[x];
  }
}

}  // namespace

PixelFit FitPixel(const uint16_t* pixels, int32_t width, int32_t x, int32_t y,
                  const SpotTemplate& tmpl, int32_t q) {
  const ZoneOffsets zo(width);
  const uint16_t* corner = pixels + static_cast<int64_t>(y - kSpotHalf) * width + x - kSpotHalf;
  return FitNeighbourhood(corner, zo, SumZones(corner, zo), MaskTemplate(tmpl, zo), q, false);
}

PixelFit FitNeighbourhood(const uint16_t* corner, const ZoneOffsets& zo, const ZoneSums& z,
                          const MaskedTemplate& tmpl, int32_t q, bool stop_early) {
  const float b = static_cast<float>(z.ring) / 32.0f;
  const float p = static_cast<float>(0.2 * z.cross);
  const float m = static_cast<float>(z.disc) / 21.0f;
  PixelFit fit;
  const float span = p - b;
  if (span < 3.0f) return fit;
  fit.amplitude = m - b;
  fit.A = TruncToInt(fit.amplitude);
  if (fit.A < q / 2.0) return fit;
  // The zone 0 values are never used: only the 73 mask pixels are normalised.
  float v[kMaskPixels], e[kMaskPixels];
  for (int k = 0; k < kMaskPixels; ++k)
    v[k] = static_cast<float>(corner[zo.mask_offset[static_cast<size_t>(k)]]);
  Deviations(tmpl.data(), v, b, span, e);
  // A candidate needs 1 <= r <= A / q; a running sum of 8900 (A / q + 2)^2
  // already gives r > A / q whatever follows.
  int64_t stop_at = INT64_MAX;
  if (stop_early && q > 0) {
    const int64_t over = fit.A / q + 2;
    stop_at = 8900 * over * over;
  }
  fit.r = Residual(e, kMaskPixels, stop_at);
  if (fit.r < 0) fit.r = fit.A / std::max(q, 1) + 1;
  return fit;
}

void SpotDetector::ScanRows(Chunk& chunk, int32_t y0, int32_t y1) const {
  const int32_t w = width_, left = left_, right = right_, q = q_;
  const int32_t xs = left + kSpotHalf, xe = right - kSpotHalf - 1;  // x < right - 6
  chunk.rows.resize(static_cast<size_t>(w) * 9);
  chunk.flags.assign(static_cast<size_t>(w), 0);
  chunk.found.clear();
  int32_t* rows = chunk.rows.data();
  uint8_t* flag = chunk.flags.data();
  const bool test_all = q <= 0;
  const ZoneOffsets zo(w);
  const MaskedTemplate tm = MaskTemplate(*tmpl_, zo);
  double t_cross = 0, t_zone3 = 0;
  for (size_t i = 0; i < kZoneMask.size(); ++i) {
    if (kZoneMask[i] == 4) t_cross += (*tmpl_)[i];
    if (kZoneMask[i] == 3) t_zone3 += (*tmpl_)[i];
  }
  const int32_t amp_limit = 672 * std::min(q, 65536) - kAmplitudeMargin;
  const int32_t peak_limit = 480 - kPeakMargin;
  for (int32_t y = y0; y < y1; ++y) {
    const uint16_t* c = pixels_ + static_cast<int64_t>(y) * w;
    LoadRows(c, w, left, right, rows);
    int32_t* ring = rows + 6 * w;
    int32_t* cross = rows + 7 * w;
    int32_t* disc = rows + 8 * w;
    FlagRow(rows, rows + w, rows + 2 * w, rows + 3 * w, rows + 4 * w, rows + 5 * w, xs, xe,
            amp_limit, peak_limit, flag, ring, cross, disc);
    for (int32_t x = xs; x < xe; ++x) {
      if (!test_all && !flag[x]) {
        // Most pixels fail the pre-test: skip eight zero flags at a time.
        uint64_t word;
        while (x + 8 <= xe && (std::memcpy(&word, flag + x, 8), word == 0)) x += 8;
        if (x >= xe || !flag[x]) continue;
      }
      const uint16_t* corner = c - static_cast<int64_t>(kSpotHalf) * w + x - kSpotHalf;
      const ZoneSums z{ring[x], cross[x], disc[x]};
      if (ResidualTooLarge(z, t_cross, t_zone3, q)) continue;
      const PixelFit fit = FitNeighbourhood(corner, zo, z, tm, q, true);
      if (fit.A < q / 2.0 || fit.r == 0) continue;
      if (static_cast<int64_t>(fit.A) < static_cast<int64_t>(q) * fit.r) continue;
      Candidate cand;
      cand.X = x;
      cand.Y = y;
      cand.raw = c[x];
      cand.amplitude = static_cast<float>(fit.A);
      cand.Q = static_cast<float>(fit.A) / static_cast<float>(fit.r);
      chunk.found.push_back(cand);
      // More can never be kept: the whole frame keeps at most kMaxCandidates + 1.
      if (chunk.found.size() > static_cast<size_t>(kMaxCandidates)) return;
    }
  }
}

int32_t SpotDetector::Detect(const uint16_t* pixels, int32_t width, int32_t left, int32_t right,
                             int32_t top, int32_t bottom, const SpotTemplate& tmpl, int32_t q,
                             Reporter& reporter) {
  candidates_.clear();
  if (right - left < 13 || bottom - top < 13) {
    reporter.Warning(kAreaTooSmall);
    return -1;
  }
  pixels_ = pixels;
  width_ = width;
  left_ = left;
  right_ = right;
  tmpl_ = &tmpl;
  q_ = q;
  const int32_t ys = top + kSpotHalf, ye = bottom - kSpotHalf - 1;  // y < bottom - 6
  const int64_t rows = ye - ys;
  // Several chunks a thread: when another program holds a core for a while,
  // the other thread takes over the chunks left.
  const int threads = workers_ > 0 ? workers_ : WorkerCount();
  const int n = static_cast<int>(std::max<int64_t>(
      1, std::min<int64_t>(threads > 1 ? 4 * threads : 1, rows / kMinRowsPerChunk)));
  if (chunks_.size() < static_cast<size_t>(n)) chunks_.resize(static_cast<size_t>(n));
  if (n > 1 && (!pool_ || pool_threads_ != threads - 1)) {
    pool_ = std::make_unique<WorkerPool>(threads - 1);
    pool_threads_ = threads - 1;
  }
  const std::function<void(int)> scan = [&](int i) {
    ScanRows(chunks_[static_cast<size_t>(i)], static_cast<int32_t>(ys + rows * i / n),
             static_cast<int32_t>(ys + rows * (i + 1) / n));
  };
  if (n > 1)
    pool_->Run(n, scan);
  else
    scan(0);
  // Join the chunks in row order. Once the count exceeds the cap, the scan
  // reports at the next pixel of that row and at the first pixel of every row after.
  for (int i = 0; i < n; ++i) {
    for (const Candidate& c : chunks_[static_cast<size_t>(i)].found) {
      candidates_.push_back(c);
      candidates_.back().index = static_cast<int32_t>(candidates_.size()) - 1;
      if (candidates_.size() > static_cast<size_t>(kMaxCandidates)) {
        int32_t reports = ye - 1 - c.Y;
        if (c.X + 1 < right - kSpotHalf - 1) ++reports;
        for (int32_t k = 0; k < reports; ++k) reporter.Warning(kPixelLimitTruncated);
        return static_cast<int32_t>(candidates_.size());
      }
    }
  }
  return static_cast<int32_t>(candidates_.size());
}

}  // namespace lumetra
