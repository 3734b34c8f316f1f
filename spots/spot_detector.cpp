#include "spots/spot_detector.h"

#include <cmath>
#include <cstring>

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

// Residual of the normalised block against the template over zones 1 to 4, in
// row-major order. The sum is truncated after every addition and divided by
// 89, not by the 73 pixels summed: results must match the files and read-outs
// of earlier versions.
int32_t Residual(const float* block, const SpotTemplate& tmpl) {
  int64_t sum = 0;
  for (int i = 0; i < kSpotBox * kSpotBox; ++i) {
    if (kZoneMask[i] == 0) continue;
    const float e = static_cast<float>(tmpl[i]) - block[i];
    sum = static_cast<int64_t>(static_cast<double>(sum) + static_cast<double>(e) * e);
  }
  return TruncToInt(0.1 * std::sqrt(static_cast<double>(sum) / 89.0));
}

}  // namespace

PixelFit FitPixel(const uint16_t* pixels, int32_t width, int32_t x, int32_t y,
                  const SpotTemplate& tmpl, int32_t q) {
  float block[kSpotBox * kSpotBox];
  for (int r = 0; r < kSpotBox; ++r) {
    const uint16_t* row = pixels + static_cast<int64_t>(y - kSpotHalf + r) * width + x - kSpotHalf;
    for (int c = 0; c < kSpotBox; ++c) block[r * kSpotBox + c] = row[c];
  }
  const ZoneSums z = SumZones(pixels, width, x, y);
  const float b = static_cast<float>(z.ring) / 32.0f;
  const float p = static_cast<float>(0.2 * z.cross);
  const float m = static_cast<float>(z.disc) / 21.0f;
  PixelFit fit;
  const float span = p - b;
  if (span < 3.0f) return fit;
  for (float& v : block) v = ((v - b) * 100.0f) / span;
  fit.amplitude = m - b;
  fit.A = TruncToInt(fit.amplitude);
  if (fit.A < q / 2.0) return fit;
  fit.r = Residual(block, tmpl);
  return fit;
}

void SpotDetector::ScanRows(Chunk& chunk, int32_t y0, int32_t y1) const {
  const int32_t w = width_;
  const int32_t xs = left_ + kSpotHalf, xe = right_ - kSpotHalf - 1;  // x < right - 6
  chunk.rows.resize(static_cast<size_t>(w) * 6);
  chunk.flags.assign(static_cast<size_t>(w), 0);
  chunk.found.clear();
  int32_t* r0 = chunk.rows.data();
  int32_t* pr[6] = {r0, r0 + w, r0 + 2 * w, r0 + 3 * w, r0 + 4 * w, r0 + 5 * w};
  // Integer form of "peak - background >= 3" and "truncate(m - b) >= q / 2".
  const int32_t half_q = static_cast<int32_t>(std::ceil(q_ / 2.0));
  const bool test_all = q_ <= 0;
  const int32_t amp_limit = 672 * half_q - kAmplitudeMargin;
  const int32_t peak_limit = 480 - kPeakMargin;
  for (int32_t y = y0; y < y1; ++y) {
    const uint16_t* c = pixels_ + static_cast<int64_t>(y) * w;
    for (int32_t x = left_; x < right_; ++x) r0[x] = c[x];
    for (int d = 1; d <= kSpotHalf; ++d) {
      const uint16_t* up = c - static_cast<int64_t>(d) * w;
      const uint16_t* dn = c + static_cast<int64_t>(d) * w;
      int32_t* p = pr[d];
      for (int32_t x = left_; x < right_; ++x) p[x] = up[x] + dn[x];
    }
    const int32_t *p1 = pr[1], *p2 = pr[2], *p3 = pr[3], *p4 = pr[4], *p5 = pr[5];
    uint8_t* flag = chunk.flags.data();
    for (int32_t x = xs; x < xe; ++x) {
      const int32_t ring = r0[x - 5] + r0[x + 5] + p1[x - 5] + p1[x + 5] + p2[x - 4] + p2[x + 4] +
                           p3[x - 4] + p3[x - 3] + p3[x + 3] + p3[x + 4] + p4[x - 3] + p4[x - 2] +
                           p4[x + 2] + p4[x + 3] + p5[x - 1] + p5[x] + p5[x + 1];
      const int32_t cross = r0[x - 1] + r0[x] + r0[x + 1] + p1[x];
      const int32_t disc = cross + r0[x - 2] + r0[x + 2] + p1[x - 2] + p1[x - 1] + p1[x + 1] +
                           p1[x + 2] + p2[x - 1] + p2[x] + p2[x + 1];
      flag[x] = static_cast<uint8_t>((32 * disc - 21 * ring >= amp_limit) &
                                     (32 * cross - 5 * ring >= peak_limit));
    }
    for (int32_t x = xs; x < xe; ++x) {
      if (!flag[x] && !test_all) continue;
      const PixelFit fit = FitPixel(pixels_, w, x, y, *tmpl_, q_);
      if (fit.A < q_ / 2.0 || fit.r == 0) continue;
      if (static_cast<int64_t>(fit.A) < static_cast<int64_t>(q_) * fit.r) continue;
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
  const int n = static_cast<int>(std::max<int64_t>(
      1, std::min<int64_t>(workers_ > 0 ? workers_ : WorkerCount(), rows / kMinRowsPerChunk)));
  if (chunks_.size() < static_cast<size_t>(n)) chunks_.resize(static_cast<size_t>(n));
  ParallelChunks(
      n,
      [&](int64_t b, int64_t e) {
        for (int64_t i = b; i < e; ++i)
          ScanRows(chunks_[static_cast<size_t>(i)], static_cast<int32_t>(ys + rows * i / n),
                   static_cast<int32_t>(ys + rows * (i + 1) / n));
      },
      1, n);
  // Join the chunks in row order. Once the count exceeds the cap, the scan
  // reports at the next pixel of that row and at the first pixel of every row after.
  for (int i = 0; i < n; ++i) {
    for (const Candidate& c : chunks_[static_cast<size_t>(i)].found) {
      candidates_.push_back(c);
      candidates_.back().index = static_cast<int32_t>(candidates_.size()) - 1;
      if (candidates_.size() > static_cast<size_t>(kMaxCandidates)) {
        int32_t reports = ye - 1 - c.Y;
        if (c.X + 1 < right - kSpotHalf - 1) ++reports;
        for (int32_t k = 0; k < reports; ++k) reporter.Warning(kPixelLimit);
        return static_cast<int32_t>(candidates_.size());
      }
    }
  }
  return static_cast<int32_t>(candidates_.size());
}

}  // namespace lumetra
