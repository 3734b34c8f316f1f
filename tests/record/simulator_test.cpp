// The simulator is the ground truth for detection and tracking accuracy, so
// its statistics are checked against their definitions, not its own output.
#include "record/simulator.h"

#include <gtest/gtest.h>

#include <cmath>

#include "common/random.h"
#include "record/record_store.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

TEST(Random, PoissonAndNormalHaveTheirMoments) {
  Rng rng(7);
  for (double mean : {0.5, 4.0, 9.9, 10.0, 100.0, 2000.0}) {
    SCOPED_TRACE(mean);
    const int n = 40000;
    double s = 0, s2 = 0;
    for (int i = 0; i < n; ++i) {
      const double k = static_cast<double>(rng.Poisson(mean));
      s += k;
      s2 += k * k;
    }
    const double m = s / n, var = s2 / n - m * m;
    EXPECT_NEAR(m, mean, 5 * std::sqrt(mean / n));
    EXPECT_NEAR(var / mean, 1.0, 0.05);
  }
  double s = 0, s2 = 0;
  for (int i = 0; i < 40000; ++i) {
    const double v = rng.Normal();
    s += v;
    s2 += v * v;
  }
  EXPECT_NEAR(s / 40000, 0, 0.02);
  EXPECT_NEAR(s2 / 40000, 1, 0.03);
}

SimulationParams Small() {
  SimulationParams p;
  p.width = 64;
  p.height = 48;
  p.frames = 30;
  p.spots = 6;
  return p;
}

TEST(Simulator, SameSeedSameRecordOtherSeedOtherRecord) {
  const std::string a = testing::TempPath("a.xkv"), b = testing::TempPath("b.xkv"),
                    c = testing::TempPath("c.xkv");
  CollectingReporter messages;
  SimulationParams p = Small();
  ASSERT_TRUE(SimulateRecord(p, a, messages));
  ASSERT_TRUE(SimulateRecord(p, b, messages));
  p.seed = 2;
  ASSERT_TRUE(SimulateRecord(p, c, messages));
  EXPECT_EQ(testing::ReadBytes(a), testing::ReadBytes(b));
  EXPECT_EQ(testing::ReadBytes(TruthPathFor(a)), testing::ReadBytes(TruthPathFor(b)));
  EXPECT_NE(testing::ReadBytes(a), testing::ReadBytes(c));
  EXPECT_EQ(TruthPathFor("/x/demo.XKV"), "/x/demo.truth.tsv");
  EXPECT_EQ(TruthPathFor("demo"), "demo.truth.tsv");

  auto store = RecordStore::Create(messages);
  ASSERT_TRUE(store->Open(a, messages));
  EXPECT_EQ(store->FrameCount(), 30);
  EXPECT_EQ(store->Width(), 64);
  EXPECT_NEAR(store->FrameInterval(), 0.0501, 1e-6);
  EXPECT_FLOAT_EQ(store->Prm().ScaleX, 100.0f);
  EXPECT_TRUE(messages.messages().empty());
}

TEST(Simulator, MotionFollowsTheDiffusionCoefficient) {
  SimulationParams p = Small();
  p.width = p.height = 400;
  p.spots = 200;
  p.frames = 20;
  p.diffusion = 0.05;  // um^2/s: per-axis step sqrt(2 D dt) = 0.0707 um = 0.707 pixels
  const auto rows = SimulateTruth(p);
  double s2 = 0;
  int n = 0;
  for (int f = 1; f < p.frames; ++f)
    for (int i = 0; i < p.spots; ++i) {
      const TruthRow& a = rows[(f - 1) * p.spots + i];
      const TruthRow& b = rows[f * p.spots + i];
      s2 += (b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y);
      n += 2;
    }
  EXPECT_NEAR(s2 / n, 0.5, 0.05);
  for (const TruthRow& r : rows) {
    ASSERT_GE(r.x, 8.0);
    ASSERT_LE(r.x, p.width - 9.0);
  }
}

TEST(Simulator, PixelsCarryTheSpotsPhotonsOnTheBackground) {
  SimulationParams p = Small();
  p.spots = 1;
  p.frames = 1;
  p.photons = 5000;
  p.background = 50;
  p.read_noise = 0;
  const auto rows = SimulateTruth(p);
  std::vector<uint16_t> frame(64 * 48);
  std::vector<float> scratch;
  double total = 0, near = 0;
  RenderSimulatedFrame(p, 0, rows.data(), 1, scratch, frame.data());
  for (int y = 0; y < 48; ++y)
    for (int x = 0; x < 64; ++x) {
      total += frame[y * 64 + x];
      if (std::abs(x - rows[0].x) <= 6 && std::abs(y - rows[0].y) <= 6)
        near += frame[y * 64 + x] - 50.0;
    }
  // All photons land within 6 pixels (about 5.6 sigma) of the centre.
  EXPECT_NEAR(total, 64 * 48 * 50 + 5000, 5 * std::sqrt(64 * 48 * 50 + 5000.0));
  EXPECT_NEAR(near, 5000, 5 * std::sqrt(5000 + 169 * 50.0));
  // Bleaching: once a spot's photons are 0 they stay 0.
  p.frames = 200;
  p.bleach_prob = 0.05;
  const auto bleach = SimulateTruth(p);
  bool bleached = false;
  for (const TruthRow& r : bleach) {
    if (bleached) {
      ASSERT_EQ(r.photons, 0);
    }
    bleached = bleached || r.photons == 0;
  }
  EXPECT_TRUE(bleached);
}

TEST(Simulator, RefusesParametersItCannotHonour) {
  CollectingReporter messages;
  SimulationParams p = Small();
  p.width = 3000;
  p.height = 2000;
  EXPECT_FALSE(SimulateRecord(p, testing::TempPath("x.xkv"), messages));
  p = Small();
  p.bleach_prob = 2;
  EXPECT_FALSE(SimulateRecord(p, testing::TempPath("x.xkv"), messages));
  p = Small();
  EXPECT_FALSE(SimulateRecord(p, "/nonexistent-dir/x.xkv", messages));
  ASSERT_EQ(messages.messages().size(), 3u);
  EXPECT_EQ(messages.messages()[2].text, "Can not Open File for Writing: /nonexistent-dir/x.xkv");
}

}  // namespace
}  // namespace lumetra
