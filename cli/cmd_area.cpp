// lumetra-cli area FILE.xkv --region L,T,R,B: the region window's time course
// from one playback, one of its three fits, the per-frame table and the
// graph. lumetra-cli fit TABLE.tsv --model M: the same fits on a curve that
// came from elsewhere.
#include <unistd.h>

#include <iostream>
#include <memory>

#include "area/area_messages.h"
#include "area/area_session.h"
#include "area/curve_fit.h"
#include "area/curve_table.h"
#include "cli/analysis_options.h"
#include "cli/cli_common.h"
#include "common/common_messages.h"
#include "common/line_reader.h"
#include "common/text_format.h"
#include "processing/temporal_median.h"
#include "record/playback.h"
#include "steps/step_results.h"

#if LUMETRA_CLI_PLOT
#include <QGuiApplication>

#include "cli/offscreen_drawing.h"
#include "graph/gui/graph_canvas.h"
#include "graph/gui/xk_graph.h"
#endif

namespace lumetra::cli {
namespace {

// The fit's lines on stdout: the window's text, then name=value lines.
void PrintFit(const CurveFitResult& fit) {
  std::cout << fit.text << '\n';
  for (const auto& [name, value] : fit.params) std::cout << name << '=' << value << '\n';
}

// "frame i of n" on a terminal while the record plays.
class AreaProgress final : public FrameConsumer {
 public:
  explicit AreaProgress(int32_t frames) : frames_(frames) {}
  void OnFrame(const RecordStore&) override {
    ++seen_;
    if (shown_ && (seen_ % 25 == 0 || seen_ == frames_))
      std::cerr << "\rarea: frame " << seen_ << " of " << frames_ << std::flush;
  }
  void EndRecord(const RecordStore&, bool) override {
    if (shown_) std::cerr << '\r' << std::string(40, ' ') << '\r' << std::flush;
  }
  int32_t Seen() const { return seen_; }

 private:
  int32_t frames_;
  int32_t seen_ = 0;
  bool shown_ = isatty(2) != 0;
};

std::optional<Region> RegionOption(const ArgParser& p, const std::string& name,
                                   std::string& error) {
  std::vector<int64_t> v;
  if (!p.IntList(name, 4, v, error)) return std::nullopt;
  if (v[2] <= v[0] || v[3] <= v[1]) {
    error = "--" + name + " needs L,T,R,B with R > L and B > T (right and bottom exclusive)";
    return std::nullopt;
  }
  return Region{static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1]), static_cast<int32_t>(v[2]),
                static_cast<int32_t>(v[3]), true};
}

int DrawPlot(const AreaSession& session, const std::string& out) {
#if LUMETRA_CLI_PLOT
  const std::unique_ptr<QGuiApplication> app = StartDrawing();
  TXKgraph graph;
  std::vector<float> matrix;
  PutPlot(session.Plot(), AxisScaling::kFromZero, matrix, graph);
  ImageCanvas canvas(QSize(1200, 800));
  graph.SetTarget(&canvas);
  graph.Repaint();
  ConsoleReporter console;
  return graph.SaveToFile(out, console) ? 0 : 1;
#else
  (void)session;
  (void)out;
  return Fail("area", "this lumetra-cli was built without Qt and cannot draw graphs");
#endif
}

}  // namespace

int RunArea(const std::vector<std::string>& args) {
  ArgParser p("area",
              "The region window's time course: one playback collects per frame the time,\n"
              "the region's mean intensity (raw and above the local background: the mean\n"
              "of a ring 2 pixels wide around the region), its intensity-weighted X and Y\n"
              "in nm, the spots found in it (the tracking detector and settings) and, when\n"
              "the record has them, the stage X, Y and focus. --fit runs one of the\n"
              "window's fits on the raw intensity (the spot count for spots) and prints its\n"
              "result text, then name=value lines: the winning grid values, the best cost\n"
              "and the 95% interval of the rate. --tsv: time_s, intensity,\n"
              "above_background, x_nm, y_nm, spots, [stage_x_nm, stage_y_nm, stage_z_nm],\n"
              "[fit]. A region partly off the frame is measured where it lies inside.");
  p.Positional("FILE.xkv", "the record")
      .Option("region", "L,T,R,B", "the region in frame pixels, right and bottom exclusive")
      .Option("fit", "bleaching|recovery|spots", "fit the curve and print the result")
      .Option("tsv", "TRACE.tsv", "write the per-frame table")
      .Option("plot", "GRAPH.png", "draw the curve (and the fit) as PNG or BMP")
      .Option("temporal-median", "3|5|7",
              "filter every frame by the median of the last 3, 5 or 7 frames first")
      .Flag("above-background", "fit the intensity above the local background instead");
  AddTrackingOptions(p);
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  if (!p.Has("region")) return Fail("area", "--region L,T,R,B is required", 2);
  std::string error;
  const auto region = RegionOption(p, "region", error);
  if (!region) return Fail("area", error, 2);
  std::optional<FitModel> model;
  if (p.Has("fit") && !(model = FitModelFromName(p.Value("fit"))))
    return Fail("area", "--fit must be bleaching, recovery or spots", 2);
  ConsoleReporter console;
  TrackingParams params;
  if (!ReadTrackingOptions(p, params, console, error)) {
    if (!error.empty()) Fail("area", error);
    return 2;
  }
  auto record = RecordStore::Create(console);
  if (!record) return 1;
  if (auto code = ApplyTiffOptions(p, *record, "area")) return *code;
  std::unique_ptr<TemporalMedian> median;
  if (p.Has("temporal-median")) {
    const auto frames = ParseTemporalMedianFrames(p.Value("temporal-median"));
    if (!frames) return Fail("area", "--temporal-median must be 3, 5 or 7", 2);
    median = std::make_unique<TemporalMedian>(console);
    UseTemporalMedian(*record, *median, *frames);
  }
  if (!OpenRecordWithFrames(*record, p.Arg(0), console)) return 1;

  CollectingReporter notes;
  AreaSession session(notes);
  AreaCollectPass* pass =
      session.BeginCollect(*region, record->Width(), record->Height(), std::nullopt, params,
                           "Region " + p.Value("region") + " of " + p.Arg(0));
  for (const Message& m : notes.messages())
    if (m.kind != MessageKind::kStatus) std::cerr << "area: " << m.text << '\n';
  if (!pass) return 1;
  notes.Clear();
  StopOnInterrupt interrupt;
  AreaProgress progress(record->PlayLastFrame() - record->PlayFirstFrame() + 1);
  Playback play(*record, {pass, &progress}, interrupt.Flag());
  play.Run(console);
  session.FinishCollect(play.Completed(), record->PlayLastFrame() - record->PlayFirstFrame() + 1);
  if (!play.Completed()) {
    std::cerr << "area: " << notes.Texts(MessageKind::kStatus).back() << '\n';
    return 1;
  }
  session.SetAbsVals(!p.Has("above-background"));
  int code = 0;
  if (model) {
    notes.Clear();
    const bool ran = *model == FitModel::kBleaching  ? session.FitBleachingClick()
                     : *model == FitModel::kRecovery ? session.FitRecoveryClick()
                                                     : session.FitSpotsCurveClick();
    for (const Message& m : notes.messages())
      if (m.kind == MessageKind::kModal || m.kind == MessageKind::kWarning)
        std::cerr << "area: " << m.text << '\n';
    if (!ran) return 1;
    PrintFit(session.LastFit());
    if (!session.LastFit().found) code = 1;
  } else {
    std::cout << notes.Texts(MessageKind::kStatus).back() << '\n';
  }
  if (p.Has("tsv") && !WriteTextAtomically(p.Value("tsv"), session.TableText(), console)) return 1;
  if (p.Has("plot") && DrawPlot(session, p.Value("plot")) != 0) return 1;
  return code;
}

int RunFit(const std::vector<std::string>& args) {
  ArgParser p("fit",
              "Fits a curve that came from elsewhere with one of the region window's grid\n"
              "fits. TABLE.tsv: the first column is the time in seconds, the second the\n"
              "curve (the intensity, or the spot count for spots); a header row is\n"
              "optional, further columns are ignored. Prints the window's result text on\n"
              "the first line, then name=value lines: the winning grid values (A, B, k, or\n"
              "tau, a), the best cost and the 95% interval of the rate (k_low95, k_high95 or\n"
              "tau_low95, tau_high95; an open edge is 0 or inf). Exit status 1 when no grid\n"
              "combination fits.");
  p.Positional("TABLE.tsv", "the curve")
      .Option("model", "bleaching|recovery|spots", "the fit to run")
      .Option("curve", "OUT.tsv",
              "write time_s, the curve (recovery: in percent of the minimum) and the fit");
  if (auto code = ParseOrExit(p, args)) return *code;
  if (!p.Has("model")) return Fail("fit", "--model bleaching|recovery|spots is required", 2);
  const auto model = FitModelFromName(p.Value("model"));
  if (!model) return Fail("fit", "--model must be bleaching, recovery or spots", 2);
  FileLines lines;
  if (!lines.Open(p.Arg(0)))
    return Fail("fit", std::string(kFileOpenError) + ": " + lines.Error());
  std::string error;
  const auto table = ParseCurveTable(lines, error);
  if (!table) return Fail("fit", p.Arg(0) + ": " + error);
  const CurveFitResult fit = RunCurveFit(*model, table->time, table->values);
  if (!fit.problem.empty()) std::cerr << "fit: " << fit.problem << '\n';
  PrintFit(fit);
  if (p.Has("curve")) {
    std::string text = std::string("time_s\t") +
                       (*model == FitModel::kRecovery ? "percent" : "value") + "\tfit\n";
    for (size_t i = 0; i < table->time.size(); ++i)
      text += FormatFloat(table->time[i]) + '\t' + FormatTable(fit.curve[i], "%.9g") + '\t' +
              FormatTable(fit.fit[i], "%.9g") + '\n';
    ConsoleReporter console;
    if (!WriteTextAtomically(p.Value("curve"), text, console)) return 1;
  }
  return fit.found ? 0 : 1;
}

}  // namespace lumetra::cli
