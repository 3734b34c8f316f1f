// The simulator is the ground truth for detection and tracking accuracy, so
// its statistics are checked against their definitions, not its own output.
#include "record/simulator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

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

// FNV-1a of a file's bytes: a fingerprint of a whole output.
uint64_t Fingerprint(const std::string& path) {
  uint64_t h = 0xcbf29ce484222325ull;
  for (uint8_t b : testing::ReadBytes(path)) h = (h ^ b) * 0x100000001b3ull;
  return h;
}

TEST(Simulator, PlainRecordsAreThoseOfEarlierVersions) {
  // Fingerprints taken before the step model existed; the tracking demo and
  // its tests rely on these records staying the same.
  struct Case {
    const char* name;
    double bleach_prob;
    uint64_t seed;
    uint64_t xkv, truth;
  };
  for (const Case& c : {Case{"plain", 0, 1, 0x3421ebbc3a83a6b3ull, 0xd959e8fe3685e27bull},
                        Case{"bleaching", 0.05, 3, 0x98e36c47cba0c1f4ull, 0x7566c8b6713214abull}}) {
    SCOPED_TRACE(c.name);
    SimulationParams p = Small();
    p.bleach_prob = c.bleach_prob;
    p.seed = c.seed;
    CollectingReporter messages;
    const std::string path = testing::TempPath(std::string("old-") + c.name + ".xkv");
    ASSERT_TRUE(SimulateRecord(p, path, messages));
    EXPECT_EQ(Fingerprint(path), c.xkv);
    EXPECT_EQ(Fingerprint(TruthPathFor(path)), c.truth);
  }
}

std::vector<StepRow> ReadStepTable(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, "particle\tx\ty\tframe\tkind\tphotons_before\tphotons_after");
  std::vector<StepRow> rows;
  while (std::getline(in, line)) {
    StepRow r{};
    char kind[8] = {};
    EXPECT_EQ(std::sscanf(line.c_str(), "%d %lf %lf %d %7s %lf %lf", &r.particle, &r.x, &r.y,
                          &r.frame, kind, &r.photons_before, &r.photons_after),
              7)
        << line;
    r.rise = std::string(kind) == "rise";
    EXPECT_TRUE(r.rise || std::string(kind) == "drop") << line;
    rows.push_back(r);
  }
  return rows;
}

// Counts in the 7 x 7 box around a position, of every frame of a record.
std::vector<double> BoxSums(const std::string& path, double x, double y) {
  CollectingReporter messages;
  auto store = RecordStore::Create(messages);
  EXPECT_TRUE(store->Open(path, messages));
  const int32_t cx = static_cast<int32_t>(std::lround(x)),
                cy = static_cast<int32_t>(std::lround(y));
  std::vector<double> sums;
  for (int32_t f = 0; f < store->FrameCount(); ++f) {
    if (f > 0) {
      EXPECT_TRUE(store->NextFrame(messages));
    }
    double s = 0;
    for (int32_t dy = -3; dy <= 3; ++dy)
      for (int32_t dx = -3; dx <= 3; ++dx)
        s += store->FrameBuffer()[(cy + dy) * store->Width() + cx + dx];
    sums.push_back(s);
  }
  return sums;
}

TEST(SimulatorSteps, TheStepTableIsWhatThePixelsShow) {
  struct Case {
    const char* name;
    int32_t fl_min, fl_max;
    double bleach, binding;
  };
  const double kPhotons = 20000, kBackground = 5;
  for (const Case& c :
       {Case{"three fluorophores", 3, 3, 0.03, 0}, Case{"one or two, binding", 1, 2, 0.03, 0.05},
        Case{"binding only", 1, 1, 0, 0.05}}) {
    for (uint64_t seed = 1; seed <= 4; ++seed) {
      SCOPED_TRACE(std::string(c.name) + ", seed " + std::to_string(seed));
      SimulationParams p = Small();
      p.spots = 1;  // alone: nothing else lights its box
      p.frames = 60;
      p.photons = kPhotons;
      p.background = kBackground;
      p.read_noise = 0;
      p.diffusion = 0;
      p.fluorophores_min = c.fl_min;
      p.fluorophores_max = c.fl_max;
      p.bleach_prob = c.bleach;
      p.binding_rate = c.binding;
      p.seed = seed;
      const std::string path = testing::TempPath("steps.xkv");
      CollectingReporter messages;
      ASSERT_TRUE(SimulateRecord(p, path, messages));
      const std::vector<TruthRow> truth = SimulateTruth(p);
      const std::vector<StepRow> steps = ReadStepTable(StepsPathFor(path));
      // The level the table implies at each frame.
      std::vector<double> level(p.frames, -1);
      // Unbound spots start dark; the others show all their fluorophores.
      double now = c.binding > 0 ? 0 : truth[0].photons;
      EXPECT_GE(now, c.binding > 0 ? 0 : c.fl_min * kPhotons);
      EXPECT_LE(now, c.fl_max * kPhotons);
      size_t next = 0;
      for (int32_t f = 0; f < p.frames; ++f) {
        if (next < steps.size() && steps[next].frame == f) {
          const StepRow& s = steps[next++];
          EXPECT_EQ(s.photons_before, now) << "frame " << f;
          EXPECT_EQ(s.rise, s.photons_after > s.photons_before);
          EXPECT_NEAR(s.x, truth[0].x, 1e-4);
          EXPECT_EQ(std::fmod(s.photons_before - s.photons_after, kPhotons), 0);
          now = s.photons_after;
        }
        level[f] = now;
      }
      EXPECT_EQ(next, steps.size()) << "steps in frame order, none at frame 0";
      if (c.binding > 0) {
        ASSERT_FALSE(steps.empty());
        EXPECT_TRUE(steps[0].rise);
        EXPECT_EQ(steps[0].photons_before, 0);
        EXPECT_GE(steps[0].photons_after, c.fl_min * kPhotons);
        EXPECT_LE(steps[0].photons_after, c.fl_max * kPhotons);
        for (size_t k = 1; k < steps.size(); ++k) EXPECT_FALSE(steps[k].rise);
      } else {
        for (const StepRow& s : steps) EXPECT_FALSE(s.rise);
      }
      // Every frame's counts: background plus the level (a 7 x 7 box holds
      // 99.8 % of a spot of FWHM 250 nm at 100 nm per pixel), within Poisson noise.
      const std::vector<double> sums = BoxSums(path, truth[0].x, truth[0].y);
      ASSERT_EQ(sums.size(), static_cast<size_t>(p.frames));
      for (int32_t f = 0; f < p.frames; ++f) {
        const double expect = 49 * kBackground + 0.998 * level[f];
        EXPECT_NEAR(sums[f], expect, 5 * std::sqrt(expect) + 0.003 * level[f]) << "frame " << f;
      }
    }
  }
}

TEST(SimulatorSteps, BindingFluorophoresAndBleachingFollowTheirProbabilities) {
  SimulationParams p = Small();
  p.width = p.height = 100;
  p.spots = 2000;
  p.frames = 150;
  p.diffusion = 0;
  p.fluorophores_min = 1;
  p.fluorophores_max = 3;
  p.binding_rate = 0.02;
  p.bleach_prob = 0.01;
  const auto rows = SimulateTruth(p);
  const auto steps = StepsFromTruth(rows, p.spots);
  std::map<int32_t, const StepRow*> rise_of;
  std::map<int64_t, int> count;  // fluorophores at binding
  int64_t lit_after_50 = 0, bound = 0;
  for (const StepRow& s : steps)
    if (s.rise) {
      EXPECT_EQ(rise_of.count(s.particle), 0u) << "one binding per spot";
      rise_of[s.particle] = &s;
      ++count[static_cast<int64_t>(s.photons_after / p.photons)];
    }
  // P(bound by frame k) = 1 - (1 - r)^k, binding from frame 1 on.
  const int k = 50;
  const double want = 1 - std::pow(1 - p.binding_rate, k);
  int64_t by_k = 0;
  for (auto& [particle, s] : rise_of) {
    EXPECT_GE(s->frame, 1);
    by_k += s->frame <= k;
    // Fluorophores lit 50 frames after binding: each survives with (1 - p)^50.
    if (s->frame + 50 < p.frames) {
      bound += static_cast<int64_t>(s->photons_after / p.photons);
      lit_after_50 += static_cast<int64_t>(
          rows[static_cast<size_t>(s->frame + 50) * p.spots + particle].photons / p.photons);
    }
  }
  const double n = p.spots;
  EXPECT_NEAR(by_k / n, want, 5 * std::sqrt(want * (1 - want) / n));
  const double survive = std::pow(1 - p.bleach_prob, 50);
  EXPECT_NEAR(static_cast<double>(lit_after_50) / bound, survive,
              5 * std::sqrt(survive * (1 - survive) / bound));
  // Fluorophores per spot uniform over 1-3.
  ASSERT_EQ(count.size(), 3u);
  const double bound_spots = static_cast<double>(rise_of.size());
  for (auto& [fl, c] : count) {
    SCOPED_TRACE(fl);
    EXPECT_GE(fl, 1);
    EXPECT_LE(fl, 3);
    EXPECT_NEAR(c / bound_spots, 1.0 / 3, 5 * std::sqrt(2.0 / 9 / bound_spots));
  }
  EXPECT_NEAR(DefaultStepBleachProb(1000), 0.003, 1e-12);
}

TEST(SimulatorSteps, SameSeedSameStepsAndThePathsDoNotDependOnThem) {
  SimulationParams p = Small();
  p.fluorophores_min = 2;
  p.fluorophores_max = 4;
  p.binding_rate = 0.1;
  p.bleach_prob = 0.05;
  const std::string a = testing::TempPath("sa.xkv"), b = testing::TempPath("sb.xkv"),
                    c = testing::TempPath("sc.xkv");
  CollectingReporter messages;
  ASSERT_TRUE(SimulateRecord(p, a, messages));
  ASSERT_TRUE(SimulateRecord(p, b, messages));
  for (auto path : {&StepsPathFor, &TruthPathFor})
    EXPECT_EQ(testing::ReadBytes(path(a)), testing::ReadBytes(path(b)));
  EXPECT_EQ(testing::ReadBytes(a), testing::ReadBytes(b));
  EXPECT_GT(ReadStepTable(StepsPathFor(a)).size(), 6u);
  p.seed = 2;
  ASSERT_TRUE(SimulateRecord(p, c, messages));
  EXPECT_NE(testing::ReadBytes(StepsPathFor(a)), testing::ReadBytes(StepsPathFor(c)));

  // The step options change brightness only: positions are those of the
  // plain record of the same seed and bleaching probability.
  p.seed = 1;
  SimulationParams plain = Small();
  plain.bleach_prob = p.bleach_prob;
  const auto with = SimulateTruth(p), without = SimulateTruth(plain);
  ASSERT_EQ(with.size(), without.size());
  for (size_t i = 0; i < with.size(); ++i) {
    ASSERT_EQ(with[i].x, without[i].x);
    ASSERT_EQ(with[i].y, without[i].y);
  }
  // A plain record with bleaching lists its single drops.
  const auto steps = StepsFromTruth(without, plain.spots);
  ASSERT_FALSE(steps.empty());
  for (const StepRow& s : steps) {
    EXPECT_FALSE(s.rise);
    EXPECT_EQ(s.photons_before, plain.photons);
    EXPECT_EQ(s.photons_after, 0);
    EXPECT_EQ(without[static_cast<size_t>(s.frame - 1) * plain.spots + s.particle].photons,
              plain.photons);
  }
}

TEST(SimulatorSteps, RefusesStepOptionsItCannotHonour) {
  struct Case {
    int32_t fl_min, fl_max;
    double binding;
  };
  for (const Case& c :
       {Case{0, 1, 0}, Case{3, 2, 0}, Case{1, 101, 0}, Case{1, 1, -0.1}, Case{1, 1, 1.5}}) {
    SCOPED_TRACE(std::to_string(c.fl_min) + "-" + std::to_string(c.fl_max) + " " +
                 std::to_string(c.binding));
    SimulationParams p = Small();
    p.fluorophores_min = c.fl_min;
    p.fluorophores_max = c.fl_max;
    p.binding_rate = c.binding;
    EXPECT_TRUE(CheckSimulationParams(p).has_value());
  }
}

}  // namespace
}  // namespace lumetra
