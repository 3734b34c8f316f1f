// The S-test, P-test and MS-test on hand-made traces: the known answers and
// every refusal with its message.
#include "steps/step_tests.h"

#include <gtest/gtest.h>

#include <cmath>

#include "steps/step_passes.h"
#include "steps/steps_messages.h"

namespace lumetra {
namespace {

// Level `hi` before frame t, `lo` from t on, with +-1 alternating noise.
std::vector<float> StepTrace(int32_t n, int32_t t, float hi, float lo, float noise = 1) {
  std::vector<float> x(static_cast<size_t>(n));
  for (int32_t f = 0; f < n; ++f) x[f] = (f < t ? hi : lo) + (f % 2 ? noise : -noise);
  return x;
}

TEST(STest, ScoresADropAndRefusesWhatItCannotScore) {
  struct Case {
    const char* name;
    std::vector<float> x;
    int32_t t;
    const char* message;  // nullptr: none
    bool scored, good;
  };
  std::vector<float> flat_before = StepTrace(40, 20, 100, 50);
  for (int f = 0; f < 20; ++f) flat_before[f] = 100;
  const Case cases[] = {
      {"a clean drop", StepTrace(40, 20, 100, 50), 20, nullptr, true, true},
      {"drop at frame 1", StepTrace(40, 1, 100, 50), 1, "wrong timing in S-test", false, true},
      {"drop two frames before the end", StepTrace(40, 38, 100, 50), 38, "wrong timing in S-test",
       false, true},
      {"flat before", flat_before, 20, "wrong SD in S-test", false, true},
      {"a rise", StepTrace(40, 20, 50, 100), 20, nullptr, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CollectingReporter rep;
    StepScores s;
    int32_t rejected = 0;
    RunSTest(c.x.data(), 40, c.t, 10, s, rejected, rep);
    EXPECT_EQ(s.s_test > 0, c.scored);
    EXPECT_EQ(s.good, c.good);
    EXPECT_EQ(rejected, c.good ? 0 : 1);
    if (c.message)
      EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{c.message});
    else
      EXPECT_TRUE(rep.messages().empty());
  }
}

TEST(STest, KnownScoreAndTheLowerLevelAlwaysDividedByTen) {
  CollectingReporter rep;
  int32_t rejected = 0;
  // Levels 100 and 50 with +-1 noise over the windows: the window means are
  // exactly 100 and 50, both deviations sqrt(sum / (count - 1)).
  std::vector<float> x = StepTrace(40, 20, 100, 50);
  StepScores s;
  RunSTest(x.data(), 40, 20, 10, s, rejected, rep);
  EXPECT_FLOAT_EQ(s.upper, 100);
  EXPECT_FLOAT_EQ(s.lower, 50);
  EXPECT_FLOAT_EQ(s.drop_amp, 50);
  const float up_sd = std::sqrt(20.0f / 19), dn_sd = std::sqrt(19.0f / 18);
  EXPECT_FLOAT_EQ(s.s_up_sd, up_sd);
  EXPECT_FLOAT_EQ(s.s_dn_sd, dn_sd);
  EXPECT_FLOAT_EQ(s.s_test, 10 * 50 / std::sqrt(up_sd * up_sd + dn_sd * dn_sd));

  // A drop at n - 3: the two frames after it are summed and divided by 10.
  x = std::vector<float>(40, 100);
  for (int f = 0; f < 40; f += 2) x[f] = 102;
  x[38] = 60;
  x[39] = 40;
  StepScores late;
  RunSTest(x.data(), 40, 37, 10, late, rejected, rep);
  EXPECT_FLOAT_EQ(late.lower, 10.0f);
  EXPECT_FLOAT_EQ(late.upper, 101.0f);
  EXPECT_GT(late.s_test, 0);
}

// Base 10 everywhere, up 60 between rise r and drop d, +-1 noise.
std::vector<float> PulseTrace(int32_t n, int32_t r, int32_t d) {
  std::vector<float> x(static_cast<size_t>(n));
  for (int32_t f = 0; f < n; ++f) x[f] = (f > r && f < d ? 60.0f : 10.0f) + (f % 2 ? 1 : -1);
  return x;
}

TEST(PTest, PulsesAndTheirRefusals) {
  struct Case {
    const char* name;
    int32_t r, d;
    std::vector<float> x;
    const char* message;
    bool scored;
  };
  // Base exactly 10 everywhere: no deviation before the rise or after the drop.
  std::vector<float> flat = PulseTrace(60, 20, 40);
  for (int f = 0; f < 60; ++f)
    if (f <= 20 || f >= 40) flat[f] = 10;
  const Case cases[] = {
      {"a pulse", 20, 40, PulseTrace(60, 20, 40), nullptr, true},
      {"rise at frame 8", 8, 40, PulseTrace(60, 8, 40), nullptr, false},
      {"rise at frame 9", 9, 40, PulseTrace(60, 9, 40), nullptr, true},
      {"drop three frames after the rise", 20, 23, PulseTrace(60, 20, 23), nullptr, false},
      {"drop four frames after the rise", 20, 24, PulseTrace(60, 20, 24), nullptr, true},
      {"flat before the rise", 20, 40, flat, "Wrong SD in P-test", false},
      {"drop at the last frame", 20, 59, PulseTrace(60, 20, 59), "Wrong SD in P-test", false},
      {"a dip, not a pulse", 20, 40,
       [] {
         std::vector<float> x = PulseTrace(60, 20, 40);
         for (int f = 21; f < 40; ++f) x[f] -= 55;
         return x;
       }(),
       nullptr, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CollectingReporter rep;
    StepScores s;
    RunPTest(c.x.data(), 60, c.d, c.r, s, rep);
    EXPECT_EQ(s.p_test > 0, c.scored);
    EXPECT_EQ(s.rise_amp > 0, c.scored);
    if (c.message)
      EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{c.message});
    else
      EXPECT_TRUE(rep.messages().empty());
  }
}

TEST(PTest, KnownScore) {
  CollectingReporter rep;
  StepScores s;
  const std::vector<float> x = PulseTrace(60, 20, 40);
  RunPTest(x.data(), 60, 40, 20, s, rep);
  // Up frames 21..39 (19): mean 60 + 1/19; base frames 10..19 and 41..49: mean 10 + 1/19.
  EXPECT_FLOAT_EQ(s.up, 60 + 1.0f / 19);
  EXPECT_NEAR(s.base, 10 + 1.0f / 19, 1e-5);
  EXPECT_NEAR(s.rise_amp, 50, 1e-4);
  // Deviations: up 1.054 (over 18), after the drop 1.054 (18), before the
  // rise 1.0556 (19): 10 x 50 / sqrt(3.163).
  EXPECT_NEAR(s.p_test, 281.24, 0.05);
}

// Drops of `height` at `steps` on a slowly rising trend (+0.001 f^2): the
// trend keeps the filter's response strictly falling between steps, so its
// only local maxima are the steps themselves (a flat response would count as
// a maximum at every frame).
std::vector<float> Staircase(int32_t n, const std::vector<int32_t>& steps, float top,
                             float height) {
  std::vector<float> x(static_cast<size_t>(n));
  for (int32_t f = 0; f < n; ++f) {
    float v = top + 0.001f * static_cast<float>(f * f);
    for (int32_t s : steps)
      if (f >= s) v -= height;
    x[f] = v;
  }
  return x;
}

TEST(MSTest, CountsTheStepsOfAStaircase) {
  struct Case {
    const char* name;
    int32_t n;
    std::vector<int32_t> steps;
    int32_t max_steps;
    std::vector<int32_t> found;  // empty: score 0
  };
  const Case cases[] = {
      {"three drops", 200, {50, 100, 150}, 9, {50, 100, 150}},
      {"two drops", 200, {60, 130}, 9, {60, 130}},
      {"a single maximum is no staircase", 200, {100}, 9, {}},
      {"more steps than allowed", 200, {50, 100, 150}, 2, {}},
      {"ten drops: the first nine are kept",
       300,
       {25, 50, 75, 100, 125, 150, 175, 200, 225, 250},
       9,
       {25, 50, 75, 100, 125, 150, 175, 200, 225}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<float> x = Staircase(c.n, c.steps, 1100, 100);
    StepScores s;
    RunMSTest(x.data(), c.n, 10, c.max_steps, s);
    EXPECT_EQ(s.ms_step_frames, c.found);
    EXPECT_EQ(s.ms_steps, static_cast<int32_t>(c.found.size()));
    EXPECT_EQ(s.ms_test > 0, !c.found.empty());
    if (!c.found.empty()) {
      // Levels are the W-frame means before each step and from the last on.
      ASSERT_EQ(s.ms_levels.size(), c.found.size() + 1);
      EXPECT_NEAR(s.ms_drop_amp, s.ms_levels.front() - s.ms_levels.back(), 1e-3);
      EXPECT_EQ(s.ms_rise_amp, 0);
    }
  }
}

TEST(MSTest, FilterIsMeanBeforeMinusMeanAfter) {
  std::vector<float> x(150);
  for (int32_t f = 0; f < 150; ++f) x[f] = f < 50 ? 300.0f : 200.0f;
  const std::vector<float> resp = StepFilterResponse(x.data(), 150, 5);
  EXPECT_NEAR(resp[48], 80.0f, 1e-3);
  EXPECT_NEAR(resp[49], 100.0f, 1e-3);
  EXPECT_NEAR(resp[50], 100.0f, 1e-3) << "the centre tap is 0";
  EXPECT_NEAR(resp[51], 80.0f, 1e-3);
  // A flat response is a maximum at every frame: nine steps at once, so a
  // limit of 8 gives no score.
  StepScores s;
  RunMSTest(x.data(), 150, 5, 8, s);
  EXPECT_EQ(s.ms_steps, 0);
  EXPECT_EQ(s.ms_test, 0);
}

TEST(TraceValue, RingDivisorsAndBackground) {
  struct Case {
    int32_t half;
    bool no_background;
    float expected;
  };
  // A uniform background of 100 counts: the 1 x 1 spot's ring of 24 pixels
  // divided by 8 gives 100 - 300 = -200 (-2b); 3 x 3 and 5 x 5 give 0.
  const Case cases[] = {{0, false, -200}, {1, false, 0},  {2, false, 0},
                        {0, true, 100},   {1, true, 100}, {2, true, 100}};
  std::vector<uint16_t> frame(12 * 10, 100);
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "R=" << c.half << " no background " << c.no_background);
    EXPECT_FLOAT_EQ(TraceValue(frame.data(), 12, 10, 6, 5, c.half, c.no_background), c.expected);
    // At the border the edge pixels stand in for those beyond: same values.
    EXPECT_FLOAT_EQ(TraceValue(frame.data(), 12, 10, 0, 9, c.half, c.no_background), c.expected);
  }
  EXPECT_EQ(RingDivisor(0), 8);
  EXPECT_EQ(RingDivisor(1), 40);
  EXPECT_EQ(RingDivisor(2), 56);
  // A spot of 50 over the 3 x 3 box on 10: 60 - 10 = 50.
  for (int y = 4; y <= 6; ++y)
    for (int x = 5; x <= 7; ++x) frame[y * 12 + x] = 60;
  for (auto& v : frame)
    if (v == 100) v = 10;
  EXPECT_FLOAT_EQ(TraceValue(frame.data(), 12, 10, 6, 5, 1, false), 50);
}

}  // namespace
}  // namespace lumetra
