// lumetra-cli steps FILE.xkv --out RESULTS.txt [...]: Detect, the choice of
// objects, Tracking and the three tests, as the step-detection window runs
// them, then the results text and the tables for scripts.
#include <unistd.h>

#include <iostream>
#include <map>
#include <memory>

#include "cli/analysis_options.h"
#include "cli/cli_common.h"
#include "cli/mask_option.h"
#include "processing/temporal_median.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "settings/ini_file.h"
#include "steps/step_analysis.h"
#include "steps/step_results.h"
#include "steps/steps_messages.h"

namespace lumetra::cli {
namespace {

// Status read-outs go to stdout, except the per-frame ones of the passes;
// a message repeated for many objects is printed once with its count.
class StepsReporter final : public Reporter {
 public:
  void Report(MessageKind kind, std::string_view text) override {
    if (kind == MessageKind::kStatus) {
      if (!in_pass_) std::cout << text << '\n';
      return;
    }
    if (kind == MessageKind::kNotice) {
      std::cout << text << '\n';
      return;
    }
    if (collapse_) {
      auto [it, fresh] = counts_.emplace(std::string(text), 0);
      if (fresh) order_.push_back(it->first);
      ++it->second;
      return;
    }
    std::cerr << text << '\n';
  }
  // On the console a message names its file and the reason: "File open ERROR: cell3.xkv: ...".
  void ReportDetailed(MessageKind kind, std::string_view text, std::string_view detail) override {
    if (detail.empty()) return Report(kind, text);
    Report(kind, std::string(text) + ": " + std::string(detail));
  }
  void SetInPass(bool on) { in_pass_ = on; }
  void Collapse() { collapse_ = true; }
  // Prints the collected messages: "wrong SD in S-test (12 objects)".
  void Flush() {
    for (const std::string& t : order_) {
      std::cerr << t;
      if (counts_[t] > 1) std::cerr << " (" << counts_[t] << " objects)";
      std::cerr << '\n';
    }
    order_.clear();
    counts_.clear();
    collapse_ = false;
  }

 private:
  bool in_pass_ = false;
  bool collapse_ = false;
  std::map<std::string, int> counts_;
  std::vector<std::string> order_;
};

// "frame i of n" on a terminal, so a long record shows it is moving.
class Progress final : public FrameConsumer {
 public:
  Progress(const char* what, int32_t frames) : what_(what), frames_(frames) {}
  void OnFrame(const RecordStore& record) override {
    if (!shown_ || record.CurrentFrame() % 50 != 0) return;
    std::cerr << '\r' << what_ << ": frame " << record.CurrentFrame() + 1 << " of " << frames_
              << std::flush;
  }
  void EndRecord(const RecordStore&, bool) override {
    if (shown_) std::cerr << '\r' << std::string(60, ' ') << '\r' << std::flush;
  }

 private:
  const char* what_;
  int32_t frames_;
  bool shown_ = isatty(2) != 0;
};

bool Play(RecordStore& record, FrameConsumer* pass, const char* what, StepsReporter& reporter) {
  if (!pass) return false;
  Progress progress(what, record.FrameCount());
  reporter.SetInPass(true);
  Playback(record, {pass, &progress}).Run(reporter);
  reporter.SetInPass(false);
  return true;
}

// The shared step options, then the test on show.
bool ApplyOptions(const ArgParser& p, StepAnalysis& a, StepsReporter& reporter, int& code) {
  code = 2;
  std::string error;
  if (!ReadStepOptions(p, a, reporter, error)) {
    if (!error.empty()) Fail("steps", error);
    return false;
  }
  if (p.Value("test") != "s" && p.Value("test") != "p" && p.Value("test") != "ms") {
    Fail("steps", "--test must be s, p or ms");
    return false;
  }
  return true;
}

}  // namespace

int RunSteps(const std::vector<std::string>& args) {
  ArgParser p("steps",
              "Finds single bleaching and binding steps as the step-detection window does:\n"
              "Detect (drop and rise maps), the choice of objects above the drop threshold,\n"
              "Tracking (one trace per object) and the S-test, P-test and MS-test. Writes the\n"
              "results text as Save TXT does and prints the status read-outs. The results\n"
              "text's amplitudes and deviations are those of the test given with --test.\n"
              "--tsv: one row per object with every test's scores (object, x, y, drop_frame,\n"
              "rise_frame, drop_time_s, rise_time_s, upper, lower, drop_amp, rise_amp, up_sd,\n"
              "dn_sd, s_test, p_test, ms_test, ms_steps, then good, p_up_sd, p_dn_sd,\n"
              "ms_drop_amp, ms_rise_amp); --traces: object, frame, time_s, value; --maps: x,\n"
              "y, drop, drop_frame, rise, rise_frame per pixel. At most 1000 frames are analysed.");
  p.Positional("FILE.xkv", "the record")
      .Option("out", "RESULTS.txt", "the results text to write (required)")
      .Option("test", "s|p|ms", "the test on show: S-test, P-test or MS-test", "s")
      .Option("temporal-median", "3|5|7",
              "filter every frame by the median of the last 3, 5 or 7 frames first")
      .Option("tsv", "RESULTS.tsv", "also write one row per object with every score")
      .Option("traces", "TRACES.tsv", "also write the traces, one row per object and frame")
      .Option("maps", "MAPS.tsv", "also write the drop and rise maps, one row per pixel");
  AddStepOptions(p);
  AddTiffOptions(p);
  AddMaskOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  if (!p.Has("out")) return Fail("steps", "--out RESULTS.txt is required", 2);
  StepsReporter reporter;
  StepAnalysis analysis(reporter);
  int code = 0;
  if (!ApplyOptions(p, analysis, reporter, code)) return code;

  auto record = RecordStore::Create(reporter);
  if (!record) return 1;
  if (auto code = ApplyTiffOptions(p, *record, "steps")) return *code;
  std::unique_ptr<TemporalMedian> median;
  int32_t median_frames = 0;
  if (p.Has("temporal-median")) {
    const auto frames = ParseTemporalMedianFrames(p.Value("temporal-median"));
    if (!frames) return Fail("steps", "--temporal-median must be 3, 5 or 7", 2);
    median = std::make_unique<TemporalMedian>(reporter);
    UseTemporalMedian(*record, *median, *frames);
    median_frames = *frames;
  }
  if (!OpenRecordWithFrames(*record, p.Arg(0), reporter)) return 1;
  MaskStep mask;
  if (auto code = ApplyMaskOptions(p, *record, mask, reporter, "steps")) return *code;
  if (!analysis.OpenRecord(*record)) return 1;
  if (!Play(*record, analysis.BeginDetect(*record, median_frames), "Detect", reporter)) return 1;
  analysis.FinishDetect(*record);
  if (!analysis.Objects().empty()) {
    if (!Play(*record, analysis.BeginCollect(*record), "Tracking", reporter)) return 1;
    // Every test runs once; the one on show runs last.
    const std::string test = p.Value("test");
    const StepTest shown = test == "p" ? StepTest::kP : test == "ms" ? StepTest::kMS : StepTest::kS;
    reporter.Collapse();
    for (StepTest t : {StepTest::kS, StepTest::kP, StepTest::kMS})
      if (t != shown) analysis.RunTest(t);
    analysis.ShowTest(shown);
    reporter.Flush();
    std::cout << "rejected: " << analysis.Rejected() << '\n';
  }
  if (!analysis.SaveTXTClick(p.Value("out"))) return 1;
  const TraceSet& traces = analysis.Traces();
  if (p.Has("tsv") &&
      !WriteTextAtomically(p.Value("tsv"), StepTableText(traces, analysis.Scores()), reporter))
    return 1;
  if (p.Has("traces") && !WriteTextAtomically(p.Value("traces"), TraceTableText(traces), reporter))
    return 1;
  if (p.Has("maps") &&
      !WriteTextAtomically(p.Value("maps"), MapTableText(analysis.Maps()), reporter))
    return 1;
  return 0;
}

}  // namespace lumetra::cli
