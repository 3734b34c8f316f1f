// Detection: the template and zone mask, the fit of one pixel, and the fast
// scan against a plain pixel-by-pixel scan written from the description.
#include "spots/spot_detector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include "spots/spot_params.h"
#include "spots/spots_messages.h"
#include "test_frames.h"

namespace lumetra {
namespace {

using testing::MakeFrame;
using testing::TestSpot;

// The scan as described: every centre 5 pixels in from the left and top and
// 6 from the right and bottom, the cap tested before anything else.
std::vector<Candidate> PlainScan(const std::vector<uint16_t>& px, int32_t w, int32_t h,
                                 const SpotTemplate& tmpl, int32_t q, int* cap_reports) {
  std::vector<Candidate> out;
  for (int32_t y = 5; y < h - 6; ++y) {
    for (int32_t x = 5; x < w - 6; ++x) {
      if (out.size() > 50000) {
        ++*cap_reports;
        break;
      }
      const PixelFit fit = FitPixel(px.data(), w, x, y, tmpl, q);
      if (fit.A < q / 2.0 || fit.r == 0 || fit.A / static_cast<double>(fit.r) < q) continue;
      Candidate c;
      c.X = x;
      c.Y = y;
      c.index = static_cast<int32_t>(out.size());
      c.raw = px[static_cast<size_t>(y) * w + x];
      c.amplitude = static_cast<float>(fit.A);
      c.Q = static_cast<float>(fit.A) / fit.r;
      out.push_back(c);
    }
  }
  return out;
}

void ExpectSameCandidates(const std::vector<Candidate>& a, const std::vector<Candidate>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(a[i].X, b[i].X);
    EXPECT_EQ(a[i].Y, b[i].Y);
    EXPECT_EQ(a[i].index, b[i].index);
    EXPECT_EQ(a[i].raw, b[i].raw);
    EXPECT_EQ(a[i].amplitude, b[i].amplitude);
    EXPECT_EQ(a[i].Q, b[i].Q);
  }
}

TEST(SpotTemplate, ZonesAndKnownValues) {
  int count[5] = {};
  for (uint8_t z : kZoneMask) ++count[z];
  EXPECT_EQ(count[0], 48);
  EXPECT_EQ(count[1], 32);
  EXPECT_EQ(count[2], 20);
  EXPECT_EQ(count[3], 16);
  EXPECT_EQ(count[4], 5);
  const SpotTemplate t = MakeSpotTemplate(250, 100);
  auto at = [&](int dx, int dy) { return t[(dy + 5) * 11 + dx + 5]; };
  EXPECT_EQ(at(0, 0), 100);
  EXPECT_EQ(at(1, 0), 64);
  EXPECT_EQ(at(0, -1), 64);
  EXPECT_EQ(at(1, 1), 41);
  EXPECT_EQ(at(2, 0), 16);
  EXPECT_EQ(at(-2, 1), 10);
  EXPECT_EQ(at(3, 0), 1);
  EXPECT_EQ(at(5, 0), 0);
  const SpotTemplate zero = MakeSpotTemplate(0, 100);
  EXPECT_TRUE(std::all_of(zero.begin(), zero.end(), [](int32_t v) { return v == 0; }));
}

TEST(SpotDetector, TinyTemplateResidualUsesWholeMaskAndDivisor89) {
  // Template: a single 100 at the centre. Flat 100 with the centre at 150 and
  // one guard-ring pixel at 135: b = 100, p = 110, block (v - 100) x 10.
  // Residual = (100 - 500)^2 + 350^2 = 282500; 0.1 sqrt(282500 / 89) = 5.63.
  std::vector<uint16_t> px(21 * 21, 100);
  px[10 * 21 + 10] = 150;
  px[6 * 21 + 10] = 135;
  const SpotTemplate tmpl = MakeSpotTemplate(10, 100);
  EXPECT_EQ(tmpl[60], 100);
  const PixelFit fit = FitPixel(px.data(), 21, 10, 10, tmpl, 4);
  EXPECT_EQ(fit.A, 2);  // disc mean 2150 / 21 = 102.38
  EXPECT_EQ(fit.r, 5);  // 4 without the guard ring, 6 with the divisor 73
  // A below q / 2: the residual is not computed.
  EXPECT_EQ(FitPixel(px.data(), 21, 10, 10, tmpl, 5).r, 0);
}

// The residual as described, step by step: float block, row-major, the
// running sum truncated after every addition, divisor 89.
int32_t PlainResidual(const uint16_t* px, int32_t w, int32_t x, int32_t y, const SpotTemplate& tmpl,
                      float b, float span) {
  int64_t sum = 0;
  for (int r = 0; r < 11; ++r)
    for (int c = 0; c < 11; ++c) {
      if (kZoneMask[r * 11 + c] == 0) continue;
      const float v = px[(y - 5 + r) * w + x - 5 + c];
      const float e = static_cast<float>(tmpl[r * 11 + c]) - ((v - b) * 100.0f) / span;
      sum = static_cast<int64_t>(static_cast<double>(sum) + static_cast<double>(e) * e);
    }
  return static_cast<int32_t>(0.1 * std::sqrt(static_cast<double>(sum) / 89.0));
}

TEST(SpotDetector, ResidualMatchesStepByStepSumOnRandomBlocks) {
  Rng rng(21);
  const SpotTemplate tmpl = MakeSpotTemplate(250, 100);
  int checked = 0;
  for (int k = 0; k < 4000; ++k) {
    const double background = rng.Uniform() < 0.2 ? 30000 * rng.Uniform() : 200 * rng.Uniform();
    const double height = rng.Uniform() * (rng.Uniform() < 0.5 ? 40 : 3000);
    const auto px = testing::MakeFrame(11, 11, background, {{5 + rng.Uniform() - 0.5, 5, height}},
                                       0.6 + rng.Uniform(), 1 + static_cast<uint64_t>(k));
    const PixelFit fit = FitPixel(px.data(), 11, 5, 5, tmpl, 1);
    if (fit.A < 1) continue;  // no residual computed
    int64_t ring = 0, cross = 0;
    for (int i = 0; i < 121; ++i) {
      if (kZoneMask[i] == 1) ring += px[i];
      if (kZoneMask[i] == 4) cross += px[i];
    }
    const float b = static_cast<float>(ring) / 32.0f;
    const float p = static_cast<float>(0.2 * cross);
    EXPECT_EQ(fit.r, PlainResidual(px.data(), 11, 5, 5, tmpl, b, p - b)) << k;
    ++checked;
  }
  EXPECT_GT(checked, 1000);
}

TEST(SpotDetector, FlatAndTooSmallFrames) {
  SpotDetector det(1);
  CollectingReporter rep;
  const SpotTemplate tmpl = MakeSpotTemplate(250, 100);
  std::vector<uint16_t> flat(64 * 64, 100);
  flat[30 * 64 + 30] = 102;  // peak less than 3 above the ring
  EXPECT_EQ(det.Detect(flat.data(), 64, 0, 64, 0, 64, tmpl, 8, rep), 0);
  std::vector<uint16_t> small(12 * 20, 100);
  EXPECT_EQ(det.Detect(small.data(), 12, 0, 12, 0, 20, tmpl, 8, rep), -1);
  EXPECT_EQ(rep.Texts(MessageKind::kWarning), std::vector<std::string>{std::string(kAreaTooSmall)});
}

TEST(SpotDetector, ThirteenPixelFrameScansTwoByTwoCentres) {
  const auto px = MakeFrame(13, 13, 100, {{5.6, 5.4, 400}});
  const SpotTemplate tmpl = MakeSpotTemplate(250, 100);
  SpotDetector det(1);
  CollectingReporter rep;
  const int32_t n = det.Detect(px.data(), 13, 0, 13, 0, 13, tmpl, 8, rep);
  ASSERT_GT(n, 0);
  int expected = 0;
  for (int32_t y = 5; y <= 6; ++y)
    for (int32_t x = 5; x <= 6; ++x) {
      const PixelFit f = FitPixel(px.data(), 13, x, y, tmpl, 8);
      expected += f.r != 0 && f.A >= 8 * f.r;
    }
  EXPECT_EQ(n, expected);
  for (const Candidate& c : det.Candidates()) {
    EXPECT_TRUE(c.X == 5 || c.X == 6);
    EXPECT_TRUE(c.Y == 5 || c.Y == 6);
  }
}

TEST(SpotDetector, FastScanMatchesPlainScan) {
  std::vector<TestSpot> spots;
  Rng rng(7);
  for (int i = 0; i < 25; ++i)
    spots.push_back({8 + rng.Uniform() * 80, 8 + rng.Uniform() * 64, 20 + rng.Uniform() * 400});
  struct Case {
    double background;
    int32_t q;
  };
  for (const Case& k : {Case{100, 8}, Case{100, 2}, Case{100, 3}, Case{30000, 8}, Case{5, 20}}) {
    SCOPED_TRACE(k.q);
    const auto px = MakeFrame(96, 80, k.background, spots, 1.06, 11);
    const SpotTemplate tmpl = MakeSpotTemplate(250, 100);
    int reports = 0;
    const auto expected = PlainScan(px, 96, 80, tmpl, k.q, &reports);
    for (int workers : {1, 2, 3}) {
      SpotDetector det(workers);
      CollectingReporter rep;
      ASSERT_EQ(det.Detect(px.data(), 96, 0, 96, 0, 80, tmpl, k.q, rep),
                static_cast<int32_t>(expected.size()));
      ExpectSameCandidates(det.Candidates(), expected);
    }
  }
}

TEST(SpotDetector, CandidateCapTruncatesRowsAndReportsEachRow) {
  // Bright spots every 6 pixels: far more than 50000 candidates.
  std::vector<TestSpot> spots;
  for (int y = 8; y < 500; y += 6)
    for (int x = 8; x < 500; x += 6) spots.push_back({x + 0.3, y + 0.2, 300});
  std::vector<uint16_t> px(508 * 508, 100);
  // Draw only the 3 x 3 core of each spot: quick, and enough for many candidates.
  for (const TestSpot& s : spots)
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx)
        px[static_cast<size_t>(s.y + dy) * 508 + static_cast<size_t>(s.x + dx)] +=
            static_cast<uint16_t>(dx == 0 && dy == 0 ? 300 : 150);
  const SpotTemplate tmpl = MakeSpotTemplate(250, 100);
  int reports = 0;
  const auto expected = PlainScan(px, 508, 508, tmpl, 2, &reports);
  ASSERT_EQ(expected.size(), 50001u);
  ASSERT_GT(reports, 0);
  SpotDetector det(2);
  CollectingReporter rep;
  EXPECT_EQ(det.Detect(px.data(), 508, 0, 508, 0, 508, tmpl, 2, rep), 50001);
  ExpectSameCandidates(det.Candidates(), expected);
  const auto texts = rep.Texts(MessageKind::kWarning);
  EXPECT_EQ(static_cast<int>(texts.size()), reports);
  for (const std::string& t : texts) EXPECT_EQ(t, kPixelLimitTruncated);
}

TEST(WorkerPool, EveryTaskRunsOnceAcrossManyRounds) {
  WorkerPool pool(2);
  std::vector<std::atomic<int>> hits(37);
  for (int round = 0; round < 200; ++round) pool.Run(37, [&](int i) { ++hits[i]; });
  for (const auto& h : hits) EXPECT_EQ(h.load(), 200);
  pool.Run(0, [](int) { FAIL(); });
}

}  // namespace
}  // namespace lumetra
