// The step-data commands: simulate's step options and eval-steps, their
// outputs and exit codes, run in-process.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "cli/cli_common.h"
#include "tests/support/cli_capture.h"
#include "tests/support/xkv_builder.h"

namespace lumetra::cli {
namespace {

using lumetra::testing::Call;
using lumetra::testing::CliRun;
using lumetra::testing::TempPath;

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string Read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

const char* kHeader =
    "test\tthreshold\ttrue_steps\tobjects\tabove_threshold\ttrue_positives\tfalse_positives\t"
    "recall\tfp_per_true_step\tframe_error_mean\tframe_error_median\tframe_error_rms\t"
    "amplitude_ratio_mean\tamplitude_ratio_median\tamplitude_ratio_sd\tcounts_per_photon\n";

TEST(CliEvalSteps, PrintsOneTidyRowAndWritesTheRocTable) {
  const std::string results = TempPath("results.tsv"), steps = TempPath("truth.steps.tsv"),
                    roc = TempPath("roc.tsv");
  Write(steps,
        "particle\tx\ty\tframe\tkind\tphotons_before\tphotons_after\n"
        "0\t10.0000\t10.0000\t30\tdrop\t4000\t2000\n"
        "0\t10.0000\t10.0000\t60\tdrop\t2000\t0\n"
        "1\t30.0000\t20.0000\t12\trise\t0\t2000\n");
  // The steps command's columns. Both drops are 2000 photons on a centred
  // spot: 2000 x counts_per_photon = 75.7526 counts; found at 0.9 and 1.1 times that.
  Write(results,
        "object\tx\ty\tdrop_frame\trise_frame\tdrop_time_s\trise_time_s\tupper\tlower\t"
        "drop_amp\trise_amp\tup_sd\tdn_sd\ts_test\tp_test\tms_test\tms_steps\n"
        "0\t10\t10\t31\t0\t1.55\t0\t9\t5\t68.17733\t0\t1\t1\t20\t0\t0\t0\n"
        "1\t10\t10\t61\t0\t3.05\t0\t5\t1\t83.32784\t0\t1\t1\t40\t0\t0\t0\n"
        "2\t30\t20\t40\t10\t2\t0.5\t2\t1\t1\t5\t1\t1\t16\t30\tnan\t0\n");
  CliRun r = Call(RunEvalSteps, {results, steps, "--roc", roc, "--roc-step", "10"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  // Drops at 30 and 60 found one frame late; object 2 is at no drop.
  EXPECT_EQ(r.out, std::string(kHeader) +
                       "s\t15\t2\t3\t3\t2\t1\t1.0000\t0.5000\t1.000\t1.000\t1.000\t"
                       "1.0000\t1.0000\t0.1414\t0.03787629\n");
  EXPECT_EQ(Read(roc),
            "threshold\ttrue_positives\tfalse_positives\trecall\tfp_per_true_step\n"
            "0\t2\t1\t1.0000\t0.5000\n"
            "10\t2\t1\t1.0000\t0.5000\n"
            "20\t1\t0\t0.5000\t0.0000\n"
            "30\t1\t0\t0.5000\t0.0000\n"
            "40\t0\t0\t0.0000\t0.0000\n");
  // The P-test: the rise at 12 reported 2 frames early, with --spot 3.
  r = Call(RunEvalSteps, {results, steps, "--test", "p", "--spot", "3", "--threshold", "20"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("\np\t20\t1\t3\t1\t1\t0\t1.0000\t0.0000\t-2.000\t-2.000\t2.000\t"),
            std::string::npos)
      << r.out;
}

TEST(CliEvalSteps, RefusesBadInputWithTheFileAndLine) {
  const std::string results = TempPath("bad-results.tsv"), steps = TempPath("bad.steps.tsv");
  Write(steps, "particle\tx\ty\tframe\tkind\tphotons_before\tphotons_after\n");
  struct Case {
    std::vector<std::string> args;
    std::string results_text;
    int code;
    std::string err;  // the start of stderr
  };
  const std::string head = "object\tx\ty\tdrop_frame\tdrop_amp\ts_test\n";
  const std::vector<Case> cases = {
      {{results, steps},
       head + "0\t1\t2\t3\t4\t5\n0\t1\tq\t3\t4\t5\n",
       1,
       "lumetra-cli eval-steps: " + results + " line 3: 'y' is not a number\n"},
      {{results, TempPath("missing.tsv")},
       head,
       1,
       "lumetra-cli eval-steps: File open ERROR: " + TempPath("missing.tsv") + "\n"},
      {{results, results},
       head,
       1,
       "lumetra-cli eval-steps: " + results + " line 1: the header has no column 'particle'\n"},
      {{results, steps, "--test", "x"}, head, 2, "lumetra-cli eval-steps: --test must be"},
      {{results, steps, "--spot", "4"}, head, 2, "lumetra-cli eval-steps: --spot must be"},
      {{results, steps, "--roc-step", "0"}, head, 2, "lumetra-cli eval-steps: --roc-step"},
      {{results}, head, 2, "lumetra-cli: missing STEPS.tsv"},
      {{results, steps, "--roc", "/nonexistent-dir/roc.tsv"},
       head,
       1,
       "lumetra-cli eval-steps: Can not Open File for Writing"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.err);
    Write(results, c.results_text);
    const CliRun r = Call(RunEvalSteps, c.args);
    EXPECT_EQ(r.code, c.code);
    EXPECT_EQ(r.err.substr(0, c.err.size()), c.err);
    EXPECT_EQ(r.out, "");
  }
  const CliRun help = Call(RunEvalSteps, {"--help"});
  EXPECT_EQ(help.code, 0);
  for (const char* text : {"one object to one true step", "--match-px", "--match-frames",
                           "--threshold", "--test", "--roc", "score > T"})
    EXPECT_NE(help.out.find(text), std::string::npos) << text;
}

// A detector that reports every true drop exactly, from the simulator's own
// table, finds them all; shifting its frames beyond the limit finds none.
TEST(CliEvalSteps, ScoresAPerfectDetectorOnASimulatedRecord) {
  const std::string xkv = TempPath("stepsim.xkv"), steps = TempPath("stepsim.steps.tsv");
  CliRun r = Call(RunSimulate, {xkv, "--width", "64", "--height", "48", "--frames", "80", "--spots",
                                "4", "--fluorophores", "2-3", "--diffusion", "0"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("stepsim.steps.tsv"), std::string::npos);
  std::ifstream in(steps);
  std::string line;
  std::getline(in, line);
  int drops = 0;
  std::ostringstream exact, late;
  const char* head = "object\tx\ty\tdrop_frame\tdrop_amp\ts_test\n";
  exact << head;
  late << head;
  while (std::getline(in, line)) {
    int particle, frame;
    double x, y, before, after;
    char kind[8];
    ASSERT_EQ(std::sscanf(line.c_str(), "%d %lf %lf %d %7s %lf %lf", &particle, &x, &y, &frame,
                          kind, &before, &after),
              7);
    EXPECT_STREQ(kind, "drop");
    EXPECT_EQ(before - after, 2000) << "one fluorophore at a time here";
    exact << drops << '\t' << std::lround(x) << '\t' << std::lround(y) << '\t' << frame
          << "\t1\t99\n";
    late << drops << '\t' << std::lround(x) << '\t' << std::lround(y) << '\t' << frame + 4
         << "\t1\t99\n";
    ++drops;
  }
  ASSERT_GT(drops, 3);
  Write(TempPath("exact.tsv"), exact.str());
  Write(TempPath("late.tsv"), late.str());
  const std::string n = std::to_string(drops);
  r = Call(RunEvalSteps, {TempPath("exact.tsv"), steps});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find("\t0.0000\t0.000\t0.000\t0.000\t")),
            std::string(kHeader) + "s\t15\t" + n + "\t" + n + "\t" + n + "\t" + n + "\t0\t1.0000");
  r = Call(RunEvalSteps, {TempPath("late.tsv"), steps});
  EXPECT_NE(r.out.find("\t" + n + "\t0\t" + n + "\t0.0000\t1.0000\tNA\tNA\tNA\tNA\tNA\tNA\t"),
            std::string::npos)
      << r.out;
}

TEST(CliSimulate, TakesTheStepOptions) {
  const std::string out = TempPath("simsteps.xkv");
  struct Case {
    std::vector<std::string> extra;
    int code;
  };
  for (const Case& c : {Case{{"--fluorophores", "3"}, 0}, Case{{"--fluorophores", "1-3"}, 0},
                        Case{{"--binding-rate", "0.1"}, 0}, Case{{"--fluorophores", "x"}, 2},
                        Case{{"--fluorophores", "2-"}, 2}, Case{{"--binding-rate", "y"}, 2},
                        Case{{"--fluorophores", "3-2"}, 1}, Case{{"--binding-rate", "2"}, 1}}) {
    SCOPED_TRACE(c.extra[0] + " " + c.extra[1]);
    std::vector<std::string> args = {out,        "--width", "30",      "--height", "30",
                                     "--frames", "5",       "--spots", "2"};
    args.insert(args.end(), c.extra.begin(), c.extra.end());
    EXPECT_EQ(Call(RunSimulate, args).code, c.code);
  }
  const CliRun help = Call(RunSimulate, {"--help"});
  for (const char* opt : {"--fluorophores", "--binding-rate", "3 / frames", "steps.tsv"})
    EXPECT_NE(help.out.find(opt), std::string::npos) << opt;
}

}  // namespace
}  // namespace lumetra::cli
