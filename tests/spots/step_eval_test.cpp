// Scoring step detections: known answers on hand-made tables, and the
// amplitude conversion against the definition of the detector's trace.
#include "spots/step_eval.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace lumetra {
namespace {

// Two spots: particle 0 of two fluorophores bleaching at 30 and 60, particle 1
// binding at 12 and bleaching at 50.
constexpr const char* kTruth =
    "particle\tx\ty\tframe\tkind\tphotons_before\tphotons_after\n"
    "0\t10.0000\t10.0000\t30\tdrop\t4000\t2000\n"
    "0\t10.0000\t10.0000\t60\tdrop\t2000\t0\n"
    "1\t30.0000\t20.0000\t12\trise\t0\t2000\n"
    "1\t30.0000\t20.0000\t50\tdrop\t2000\t0\n";

std::vector<TrueStep> Truth() {
  TextLines in(kTruth);
  std::vector<TrueStep> t;
  std::string error;
  EXPECT_TRUE(ReadTrueSteps(in, t, error)) << error;
  return t;
}

DetectedStep Obj(int32_t x, int32_t y, int32_t drop, int32_t rise, double s, double p, double ms) {
  DetectedStep d;
  d.x = x;
  d.y = y;
  d.drop_frame = drop;
  d.rise_frame = rise;
  d.s_test = s;
  d.p_test = p;
  d.ms_test = ms;
  return d;
}

std::vector<DetectedStep> Objects() {
  return {
      Obj(10, 10, 31, 0, 20, 0, 40),   // 0: p0's first drop, one frame late
      Obj(11, 11, 30, 0, 18, 0, 0),    // 1: the same drop, on time: wins it
      Obj(30, 20, 52, 10, 16, 25, 0),  // 2: p1's drop 2 late; its rise 2 early
      Obj(30, 23, 50, 0, 30, 0, 0),    // 3: 3 pixels off
      Obj(10, 10, 64, 0, 15, 0, 0),    // 4: at the threshold, and 4 frames late
      Obj(40, 40, 5, 0, NAN, NAN, NAN),
  };
}

TEST(StepEval, MatchesOneObjectToOneTrueStepPerTest) {
  struct Case {
    StepTest test;
    int64_t true_steps, above, tp;
    std::vector<double> frame_errors;
  };
  for (const Case& c : {Case{StepTest::kS, 3, 4, 2, {0, 2}}, Case{StepTest::kP, 1, 1, 1, {-2}},
                        Case{StepTest::kMS, 3, 1, 1, {1}}}) {
    SCOPED_TRACE(static_cast<int>(c.test));
    StepEvalOptions o;
    o.test = c.test;
    const StepEvalResult r = EvaluateSteps(Objects(), Truth(), o);
    EXPECT_EQ(r.true_steps, c.true_steps);
    EXPECT_EQ(r.objects, 6);
    EXPECT_EQ(r.above_threshold, c.above);
    EXPECT_EQ(r.true_positives, c.tp);
    EXPECT_EQ(r.false_positives, c.above - c.tp);
    EXPECT_EQ(r.frame_errors, c.frame_errors);
    EXPECT_DOUBLE_EQ(r.Recall(), double(c.tp) / c.true_steps);
  }
  StepEvalOptions o;
  const StepEvalResult r = EvaluateSteps(Objects(), Truth(), o);
  EXPECT_DOUBLE_EQ(MeanOf(r.frame_errors), 1);
  EXPECT_DOUBLE_EQ(MedianOf(r.frame_errors), 1);
  EXPECT_DOUBLE_EQ(RmsOf(r.frame_errors), std::sqrt(2.0));
  EXPECT_TRUE(std::isnan(MeanOf({})));
  EXPECT_TRUE(std::isnan(EvaluateSteps(Objects(), {}, o).Recall()));

  // Wider limits reach the late object 4 and the shifted object 3.
  o.threshold = 14;
  o.match_frames = 4;
  o.match_px = 3;
  const StepEvalResult wide = EvaluateSteps(Objects(), Truth(), o);
  EXPECT_EQ(wide.true_positives, 3);
  EXPECT_EQ(wide.above_threshold, 5);
}

TEST(StepEval, RocTableCountsAtEveryThreshold) {
  StepEvalOptions o;
  const std::vector<RocRow> roc = StepRoc(Objects(), Truth(), o, 5);
  struct Want {
    double t;
    int64_t tp, fp;
  };
  const std::vector<Want> want = {{0, 2, 3},  {5, 2, 3},  {10, 2, 3}, {15, 2, 2},
                                  {20, 0, 1}, {25, 0, 1}, {30, 0, 0}};
  ASSERT_EQ(roc.size(), want.size());
  for (size_t i = 0; i < want.size(); ++i) {
    SCOPED_TRACE(want[i].t);
    EXPECT_EQ(roc[i].threshold, want[i].t);
    EXPECT_EQ(roc[i].true_positives, want[i].tp);
    EXPECT_EQ(roc[i].false_positives, want[i].fp);
    EXPECT_DOUBLE_EQ(roc[i].recall, want[i].tp / 3.0);
    EXPECT_DOUBLE_EQ(roc[i].fp_per_true_step, want[i].fp / 3.0);
  }
  EXPECT_TRUE(StepRoc(Objects(), Truth(), o, 0.001, 1000).empty()) << "too many rows";
}

// Counts per photon by brute force: the Gaussian sampled on a fine grid.
double BruteCountsPerPhoton(int32_t r, bool bg, double sigma, double cx, double cy) {
  const int sub = 40;
  double inner = 0, ring = 0;
  for (int32_t py = -r - 2; py <= r + 2; ++py)
    for (int32_t px = -r - 2; px <= r + 2; ++px) {
      double s = 0;
      for (int j = 0; j < sub; ++j)
        for (int i = 0; i < sub; ++i) {
          const double x = px - 0.5 + (i + 0.5) / sub - cx, y = py - 0.5 + (j + 0.5) / sub - cy;
          s += std::exp(-(x * x + y * y) / (2 * sigma * sigma));
        }
      s /= sub * sub * 2 * M_PI * sigma * sigma;
      (std::abs(px) <= r && std::abs(py) <= r ? inner : ring) += s;
    }
  const double n = (2 * r + 1) * (2 * r + 1), d = r == 0 ? 8 : r == 1 ? 40 : 56;
  return inner / n - (bg ? ring / d : 0);
}

TEST(StepEval, AmplitudeConversionFollowsTheTraceArithmetic) {
  for (int32_t r : {0, 1, 2})
    for (bool bg : {false, true}) {
      SCOPED_TRACE(std::to_string(r) + (bg ? " with background" : " without"));
      StepAmplitudeModel m{r, bg, 1.06};
      EXPECT_NEAR(CountsPerPhoton(m, 20, 30, 20.3, 29.6),
                  BruteCountsPerPhoton(r, bg, 1.06, 0.3, -0.4), 2e-5);
      // A point source on the pixel: all photons in the box's centre pixel.
      m.sigma_px = 0.01;
      EXPECT_NEAR(CountsPerPhoton(m, 5, 5, 5, 5), 1.0 / ((2 * r + 1) * (2 * r + 1)), 1e-9);
      // A spot far wider than the box is a flat background: the ring removes
      // it, except for the 1 x 1 spot whose 24-pixel ring is divided by 8.
      m.sigma_px = 1e4;
      const double flat = 1 / (2 * M_PI * 1e8);
      EXPECT_NEAR(CountsPerPhoton(m, 0, 0, 0, 0) / flat, !bg ? 1 : r == 0 ? -2 : 0, 1e-3);
    }

  // Amplitudes of 0.9 and 1.1 times the expected one.
  StepEvalOptions o;
  std::vector<DetectedStep> objects = Objects();
  objects[1].drop_amp = 0.9 * 2000 * CountsPerPhoton(o.amplitude, 11, 11, 10, 10);
  objects[2].drop_amp = 1.1 * 2000 * CountsPerPhoton(o.amplitude, 30, 20, 30, 20);
  const StepEvalResult r = EvaluateSteps(objects, Truth(), o);
  ASSERT_EQ(r.amplitude_ratios.size(), 2u);
  EXPECT_NEAR(MeanOf(r.amplitude_ratios), 1.0, 1e-12);
  EXPECT_NEAR(MedianOf(r.amplitude_ratios), 1.0, 1e-12);
  EXPECT_NEAR(SdOf(r.amplitude_ratios), 0.2 / std::sqrt(2.0), 1e-12);
}

TEST(StepEval, ReadersNameTheLineAndWhatIsWrong) {
  const std::string head =
      "object\tx\ty\tdrop_frame\trise_frame\tdrop_amp\trise_amp\ts_test\tp_test\tms_test\n";
  struct Case {
    const char* name;
    std::string results;
    const char* error;  // empty: accepted
  };
  const std::vector<Case> cases = {
      {"empty", "", "the table is empty"},
      {"no score column", "object\tx\ty\tdrop_frame\tdrop_amp\n",
       "line 1: the header has no column 's_test'"},
      {"other order, extra columns, CRLF, nan, blank line",
       "\nzz\ts_test\tdrop_amp\ty\tx\tdrop_frame\tobject\r\n\r\nq\tnan\t3\t4\t5\t6\t7\r\n", ""},
      {"word for a number", head + "0\tx\t4\t5\t0\t1\t1\t1\t1\t1\n", "line 2: 'x' is not a number"},
      {"fraction for a frame", head + "0\t3\t4\t5.5\t0\t1\t1\t1\t1\t1\n",
       "line 2: 'drop_frame' is not a number"},
      {"short line", head + "0\t3\n", "line 2: the line ends before column 'y'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TextLines in(c.results);
    std::vector<DetectedStep> out;
    std::string error;
    EXPECT_EQ(ReadStepResults(in, StepTest::kS, out, error), std::string(c.error).empty());
    EXPECT_EQ(error, c.error);
  }
  {
    // A file's line longer than the cap is refused by its number, not read into memory.
    const std::string path =
        (std::filesystem::temp_directory_path() / "lumetra_step_eval_long.tsv").string();
    std::ofstream(path, std::ios::binary)
        << head << std::string(FileLines::kMaxLineBytes + 1, '1') << "\n";
    FileLines lines;
    ASSERT_TRUE(lines.Open(path));
    std::vector<DetectedStep> out;
    std::string error;
    EXPECT_FALSE(ReadStepResults(lines, StepTest::kS, out, error));
    EXPECT_EQ(error, "line 2 is longer than 65536 bytes");
    std::filesystem::remove(path);
  }
  TextLines ok(
      "\nzz\ts_test\tdrop_amp\ty\tx\tdrop_frame\tobject\r\nq\tnan\t3\t4\t5\t6\t7\r\n");
  std::vector<DetectedStep> out;
  std::string error;
  ASSERT_TRUE(ReadStepResults(ok, StepTest::kS, out, error));
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].object, 7);
  EXPECT_EQ(out[0].x, 5);
  EXPECT_EQ(out[0].y, 4);
  EXPECT_EQ(out[0].drop_frame, 6);
  EXPECT_EQ(out[0].drop_amp, 3);
  EXPECT_TRUE(std::isnan(out[0].s_test));

  const std::string steps_head = "particle\tx\ty\tframe\tkind\tphotons_before\tphotons_after\n";
  const std::string bad_kind_text = steps_head + "0\t1\t2\t3\tup\t0\t1\n";
  TextLines bad_kind(bad_kind_text);
  std::vector<TrueStep> truth;
  EXPECT_FALSE(ReadTrueSteps(bad_kind, truth, error));
  EXPECT_EQ(error, "line 2: kind must be drop or rise, not 'up'");
  const std::string bad_photons_text = steps_head + "0\t1\t2\t3\tdrop\t-\t1\n";
  TextLines bad_photons(bad_photons_text);
  EXPECT_FALSE(ReadTrueSteps(bad_photons, truth, error));
  EXPECT_EQ(error, "line 2: 'photons_before' is not a number");
  const std::vector<TrueStep> t = Truth();
  ASSERT_EQ(t.size(), 4u);
  EXPECT_TRUE(t[2].rise);
  EXPECT_EQ(t[2].frame, 12);
  EXPECT_EQ(t[3].x, 30);
  EXPECT_EQ(t[0].photons_before - t[0].photons_after, 2000);
}

}  // namespace
}  // namespace lumetra
