// lumetra-cli drift-correct FILE.xkv --out OUT.xkv [--drift DRIFT.tsv] [--block 10]
//   [--max-step 3] [--write-drift D.tsv]
#include <iostream>

#include "cli/cli_common.h"
#include "cli/cli_stream.h"
#include "common/text_format.h"
#include "processing/frame_drift.h"
#include "processing/shift_export.h"
#include "processing/text_output.h"

namespace lumetra::cli {

int RunDriftCorrect(const std::vector<std::string>& args) {
  ArgParser p("drift-correct",
              "Writes the record with every frame shifted back by the drift at that frame\n"
              "(bilinear; the border a shift uncovers takes the frame's mean), as the track\n"
              "statistics' drift-corrected record does. The drift comes from a drift table\n"
              "(--drift: columns frame, dx_nm and dy_nm, as 'stats --drift' writes it; frames\n"
              "the table lacks keep the drift of the frame before) or, without one, from\n"
              "cross-correlating blocks of --block summed frames with the first block, each\n"
              "searched within --max-step pixels of the block before, to a fraction of a\n"
              "pixel, interpolated between block centres. --write-drift saves that drift as a\n"
              "table of the same columns (pairs: the frames per block).");
  p.Positional("FILE.xkv", "the record")
      .Option("out", "OUT.xkv", "the drift-corrected record")
      .Option("drift", "DRIFT.tsv", "take the drift from this table")
      .Option("block", "N", "frames summed per cross-correlation block (1-1000)", "10")
      .Option("max-step", "PX", "pixels a block may move from the one before (1-50)", "3")
      .Option("write-drift", "D.tsv", "write the cross-correlation drift as a table");
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t block = 10, max_step = 3;
  if (!p.Int("block", block, error, 1, 1000) || !p.Int("max-step", max_step, error, 1, 50))
    return Fail("drift-correct", error, 2);
  if (!p.Has("out")) return Fail("drift-correct", "--out OUT.xkv is required", 2);
  if (p.Has("drift") && p.Has("write-drift"))
    return Fail("drift-correct", "--write-drift goes with the cross-correlation, not --drift", 2);

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "drift-correct")) return *code;
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  const double nm_x = store->Prm().ScaleX, nm_y = store->Prm().ScaleY;
  const int32_t frames = store->FrameCount();
  StopOnInterrupt interrupt;
  std::vector<double> dx, dy;
  if (p.Has("drift")) {
    std::string text;
    if (!ReadWholeText(p.Value("drift"), text, error) ||
        !DriftShiftsFromTable(text, nm_x, nm_y, frames, dx, dy, error))
      return Fail("drift-correct", p.Value("drift") + ": " + error);
  } else {
    FrameDriftOptions options;
    options.block = static_cast<int32_t>(block);
    options.max_step = static_cast<int32_t>(max_step);
    TerminalProgress progress("cross-correlation");
    bool stopped = false;
    const auto drift = EstimateFrameDrift(*store, options, console, interrupt.Flag(),
                                          [&](int32_t d, int32_t n) { progress(d, n); }, stopped);
    progress.Clear();
    if (stopped) return Fail("drift-correct", "stopped during the cross-correlation; nothing written");
    if (!drift) return 1;
    dx = drift->dx_px;
    dy = drift->dy_px;
    if (p.Has("write-drift") &&
        !WriteTextAtomically(p.Value("write-drift"),
                             FrameDriftText(*drift, store->FrameTimes(), nm_x, nm_y, options.block),
                             console))
      return 1;
  }
  if (!dx.empty())
    std::cout << "drift at the last frame: dx=" << FormatFixed(dx.back() * nm_x, 1)
              << " nm, dy=" << FormatFixed(dy.back() * nm_y, 1) << " nm\n";
  TerminalProgress progress("drift-correct");
  ExportJob job{*store, console, {}, {}, interrupt.Flag(), {}};
  job.progress = [&](int32_t n) { progress(n, frames); };
  const ExportResult r = ExportShifted(job, p.Value("out"), dx, dy);
  progress.Clear();
  if (r.stopped)
    return Fail("drift-correct", "stopped at frame " + std::to_string(r.frames_read) + " of " +
                                     std::to_string(frames) + "; nothing written");
  if (!r.ok) return 1;
  std::cout << "Drift-corrected record written: " << r.frames_written << " frames, "
            << p.Value("out") << '\n';
  return 0;
}

}  // namespace lumetra::cli
