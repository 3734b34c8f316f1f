// The second pass: sub-pixel fit accuracy against the maximum-likelihood
// limit, and the drop, cut and move-start rules with their counters.
#include "spots/link_pass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "common/text_format.h"
#include "record/simulator.h"
#include "spots/subpixel_fit.h"
#include "spots/track_eval.h"
#include "test_frames.h"

namespace lumetra {
namespace {

TEST(SubpixelFit, NoiseFreeSpotIsFoundToAHundredthOfAPixel) {
  for (double ox : {-0.45, 0.0, 0.3}) {
    const auto px = testing::MakeFrame(13, 13, 100, {{6 + ox, 6 - ox / 2, 250}});
    float block[169];
    uint8_t valid[169];
    CopyFitBlock(px.data(), 13, 13, 6, 6, block, valid);
    const SubpixelFit fit = FitSpotCentre(block, valid, 1.06, 1.06);
    EXPECT_TRUE(fit.converged);
    EXPECT_NEAR(fit.cx, 6 + ox, 0.01);
    EXPECT_NEAR(fit.cy, 6 - ox / 2, 0.01);
    EXPECT_NEAR(fit.background, 100, 1);
  }
}

TEST(SubpixelFit, FlatBlockFallsBackToCentre) {
  float block[169];
  for (float& v : block) v = 100;
  const SubpixelFit fit = FitSpotCentre(block, nullptr, 1.06, 1.06);
  EXPECT_NEAR(fit.cx, 6, 3);
  EXPECT_NEAR(fit.cy, 6, 3);
  uint8_t valid[169];
  std::vector<uint16_t> px(20 * 20, 100);
  // A block that hangs over the left and top edge keeps only frame pixels.
  EXPECT_EQ(CopyFitBlock(px.data(), 20, 20, 5, 5, block, valid), 12 * 12);
}

TEST(SubpixelFit, PoissonSpotsReachTheMaximumLikelihoodLimit) {
  // 2000 photons on 100 per pixel, FWHM 250 nm at 100 nm: limit about 4.3 nm per axis.
  SimulationParams p;
  p.width = p.height = 21;
  p.read_noise = 0;
  std::vector<float> scratch;
  std::vector<uint16_t> frame(21 * 21);
  Rng rng(5);
  double sum2 = 0;
  const int n = 400;
  for (int i = 0; i < n; ++i) {
    p.seed = static_cast<uint64_t>(i + 1);
    TruthRow t{0, 0, 10 + rng.Uniform() - 0.5, 10 + rng.Uniform() - 0.5, 2000};
    RenderSimulatedFrame(p, 0, &t, 1, scratch, frame.data());
    float block[169];
    uint8_t valid[169];
    CopyFitBlock(frame.data(), 21, 21, 10, 10, block, valid);
    const SubpixelFit fit =
        FitSpotCentre(block, valid, SigmaPixels(250, 100), SigmaPixels(250, 100));
    const double dx = fit.cx + 4 - t.x, dy = fit.cy + 4 - t.y;
    sum2 += dx * dx + dy * dy;
  }
  const double rmse_nm = std::sqrt(sum2 / (2 * n)) * 100;
  const double limit = MortensenLimitNm(2000, 100, 250, 100);
  EXPECT_NEAR(limit, 4.29, 0.02);
  EXPECT_LT(rmse_nm / limit, 1.15);
  EXPECT_GT(rmse_nm / limit, 0.8);
}

// One track over `path` (spot centres per frame, pixels), refined frame by frame.
struct Scenario {
  std::vector<std::pair<double, double>> path;
  int32_t min_track = 3;
  int32_t cluster = 500;
};

std::unique_ptr<TrackStore> RunScenario(const Scenario& s) {
  auto store = std::make_unique<TrackStore>();
  const int32_t frames = static_cast<int32_t>(s.path.size());
  store->Reset(frames);
  TrackRec& t = store->Use(0);
  t.completed = 1;
  t.first_frame = 0;
  t.point_count = frames - 1;
  for (int32_t f = 0; f < frames; ++f) {
    t.x[f] = static_cast<float>(std::lround(s.path[f].first));
    t.y[f] = static_cast<float>(std::lround(s.path[f].second));
  }
  t.X = TruncToInt(t.x[0]);
  t.Y = TruncToInt(t.y[0]);
  store->track_count = store->completed_count = 1;
  TrackingParams params;
  params.min_track = s.min_track;
  params.cluster_threshold = s.cluster;
  for (int32_t f = 0; f < frames; ++f) {
    const auto px = testing::MakeFrame(64, 48, 100, {{s.path[f].first, s.path[f].second, 300}});
    RefineFrame(*store, {px.data(), 64, 48, 100, 100, f}, params);
  }
  return store;
}

std::vector<std::pair<double, double>> Walk(int frames, int jump_at, double jump) {
  std::vector<std::pair<double, double>> p;
  double x = 20.3;
  for (int f = 0; f < frames; ++f) {
    if (f == jump_at) x += jump;
    p.push_back({x + 0.2 * f, 24.6});
  }
  return p;
}

TEST(LinkPass, RefinedPositionsAreUmFromTheStart) {
  const auto store = RunScenario({Walk(6, -1, 0)});
  const TrackRec& t = store->Slot(0);
  EXPECT_EQ(store->completed_count, 1);
  for (int f = 0; f < 6; ++f) {
    EXPECT_NEAR(t.X + t.x[f] / 0.1, 20.3 + 0.2 * f, 0.02);
    EXPECT_NEAR(t.Y + t.y[f] / 0.1, 24.6, 0.02);
    EXPECT_NEAR(t.intensity[f], 196, 8);  // disc mean of the spot: 100 + 300 x 6.74 / 21
  }
  EXPECT_EQ(LinkPassReadOut(*store),
            "1 completed tracks (0 - too bright,0 - too big radius,0 - truncated)");
}

TEST(LinkPass, JumpsCutMoveStartOrDrop) {
  {  // Late jump (frame 5 > 0 + L): cut after it.
    const auto s = RunScenario({Walk(9, 5, 8)});
    EXPECT_EQ(s->Slot(0).point_count, 5);
    EXPECT_EQ(s->truncated, 1);
    EXPECT_EQ(s->completed_count, 1);
  }
  {  // Early jump (frame 2 < 0 + 8 - L): the track starts there.
    const auto s = RunScenario({Walk(9, 2, 8)});
    EXPECT_EQ(s->Slot(0).first_frame, 2);
    EXPECT_EQ(s->Slot(0).point_count, 6);
    EXPECT_EQ(s->truncated, 1);
  }
  {  // Frame 3 of a 6-step track with L = 3: neither, dropped.
    const auto s = RunScenario({Walk(7, 3, 8)});
    EXPECT_EQ(s->Slot(0).completed, 0);
    EXPECT_EQ(s->too_big_radius, 1);
    EXPECT_EQ(s->completed_count, 0);
    EXPECT_EQ(LinkPassReadOut(*s),
              "0 completed tracks (0 - too bright,1 - too big radius,0 - truncated)");
  }
}

TEST(LinkPass, TooBrightAndBorderTracksAreDropped) {
  const auto bright = RunScenario({Walk(6, -1, 0), 3, 150});
  EXPECT_EQ(bright->completed_count, 0);
  EXPECT_EQ(bright->too_bright, 1);
  Scenario edge{{{4.2, 20}, {4.4, 20}, {4.6, 20}, {4.8, 20}}};
  const auto border = RunScenario(edge);
  EXPECT_EQ(border->completed_count, 0);
  EXPECT_EQ(border->too_bright + border->too_big_radius + border->truncated, 0);
}

}  // namespace
}  // namespace lumetra
