// lumetra-cli split FILE.xkv [--layout left-right|top-bottom] [--out BASE.xkv]
// lumetra-cli register A.xkv B.xkv [--out B-REG.xkv] [--transform T.tsv] [--tracks-a A.tsv --tracks-b B.tsv]
#include <cmath>
#include <iostream>

#include "cli/cli_common.h"
#include "cli/cli_stream.h"
#include "common/line_reader.h"
#include "common/text_format.h"
#include "processing/registration.h"
#include "processing/text_output.h"
#include "processing/two_colour.h"
#include "processing/two_colour_messages.h"
#include "spots/track_series.h"

namespace lumetra::cli {
namespace {

// Positions per frame of a tidy track table (pixels).
bool ReadTrackPoints(const std::string& path, std::vector<std::vector<PointXY>>& frames,
                     std::string& error) {
  FileLines lines;
  if (!lines.Open(path)) {
    error = lines.Error();
    return false;
  }
  std::vector<TidyPoint> points;
  if (!ParseTidyTracks(lines, points, error)) {
    error = path + ": " + error;
    return false;
  }
  for (const TidyPoint& t : points) {
    if (t.frame < 0 || !std::isfinite(t.x_px) || !std::isfinite(t.y_px)) continue;
    if (static_cast<size_t>(t.frame) >= frames.size()) frames.resize(static_cast<size_t>(t.frame) + 1);
    frames[static_cast<size_t>(t.frame)].push_back({t.x_px, t.y_px});
  }
  return true;
}

}  // namespace

int RunSplit(const std::vector<std::string>& args) {
  ArgParser p("split",
              "Splits a two-colour record into one record per channel, streamed once:\n"
              "left | right halves (or top / bottom), each half the frame rounded down; of an\n"
              "odd width (height) the middle column (row) belongs to neither channel. Channel\n"
              "1 is the left (top) half; X0 (Y0) of each header says where it lies on the\n"
              "sensor. Writes BASE-ch1.xkv and BASE-ch2.xkv, both or neither.");
  p.Positional("FILE.xkv", "the record")
      .Option("layout", "left-right|top-bottom", "where the two channels lie", "left-right")
      .Option("out", "BASE.xkv", "base name of the outputs (default: the record's name)")
      .Flag("2bytes", "store 2 bytes per pixel even when 1 would do");
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  SplitLayout layout = SplitLayout::kLeftRight;
  if (p.Value("layout") == "top-bottom")
    layout = SplitLayout::kTopBottom;
  else if (p.Value("layout") != "left-right")
    return Fail("split", "--layout must be left-right or top-bottom", 2);
  const std::string base = p.Has("out") ? p.Value("out") : RecordBaseName(p.Arg(0)) + ".xkv";

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "split")) return *code;
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  StopOnInterrupt interrupt;
  TerminalProgress progress("split");
  const int32_t frames = store->FrameCount();
  ExportJob job{*store, console, {}, {}, interrupt.Flag(), {}};
  job.write.save_2bytes = p.Has("2bytes");
  job.progress = [&](int32_t n) { progress(n, frames); };
  const SplitResult r =
      SplitTwoColourRecord(job, ChannelName(base, 1), ChannelName(base, 2), layout);
  progress.Clear();
  if (r.export_result.stopped)
    return Fail("split", "stopped at frame " + std::to_string(r.export_result.frames_read) +
                             " of " + std::to_string(frames) + "; nothing written");
  if (!r.export_result.ok) return 1;
  std::cout << "Channels written: " << r.export_result.frames_written << " frames each, "
            << r.first_path << " and " << r.second_path << '\n';
  return 0;
}

int RunRegister(const std::vector<std::string>& args) {
  ArgParser p("register",
              "Registers channel B onto channel A by an affine transform T that takes a point\n"
              "of A to the same point in B (xb = c0 + c1 xa + c2 ya, yb = c3 + c4 xa + c5 ya).\n"
              "The points are beads, the bright spots of each channel's mean image, or with\n"
              "--tracks-a and --tracks-b the points of the two channels' track tables (as\n"
              "'track --tsv' writes them) in the same frames. The offset most point pairs\n"
              "agree on starts the match; nearest pairs within --match-px are fitted three\n"
              "rounds. Prints the transform table (coefficient value); --out writes B warped\n"
              "onto A's pixels (bilinear; outside B the frame's mean).");
  p.Positional("A.xkv", "the reference channel").Positional("B.xkv", "the channel to register")
      .Option("out", "B-REG.xkv", "write channel B registered onto A")
      .Option("transform", "T.tsv", "write the transform table here too")
      .Option("use-transform", "T.tsv", "take the transform from a table instead of finding it")
      .Option("tracks-a", "A.tsv", "track table of channel A (match tracks, not beads)")
      .Option("tracks-b", "B.tsv", "track table of channel B")
      .Option("bead-frames", "N", "frames averaged for the bead images", "20")
      .Option("snr", "S", "a bead stands S robust SDs above the median", "6")
      .Option("max-shift", "PX", "the largest offset between the channels looked for", "20")
      .Option("match-px", "PX", "a matched pair lies this close once transformed", "1.5");
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t bead_frames = 20;
  double snr = 6, max_shift = 20, match_px = 1.5;
  if (!p.Int("bead-frames", bead_frames, error, 1, 10000) || !p.Real("snr", snr, error) ||
      !p.Real("max-shift", max_shift, error) || !p.Real("match-px", match_px, error))
    return Fail("register", error, 2);
  if (!(snr > 0) || !(max_shift > 0) || max_shift > 500 || !(match_px > 0))
    return Fail("register", "--snr, --match-px and --max-shift (up to 500) must be above 0", 2);
  if (p.Has("tracks-a") != p.Has("tracks-b"))
    return Fail("register", "--tracks-a and --tracks-b go together", 2);

  ConsoleReporter console;
  auto a = RecordStore::Create(console);
  auto b = RecordStore::Create(console);
  if (!a || !b) return 1;
  if (auto code = ApplyTiffOptions(p, *a, "register")) return *code;
  if (auto code = ApplyTiffOptions(p, *b, "register")) return *code;
  if (!OpenRecordWithFrames(*a, p.Arg(0), console) || !OpenRecordWithFrames(*b, p.Arg(1), console))
    return 1;
  if (a->Width() != b->Width() || a->Height() != b->Height())
    return Fail("register", std::string(kChannelSizesDiffer) + ": " + std::to_string(a->Width()) +
                                " x " + std::to_string(a->Height()) + " and " +
                                std::to_string(b->Width()) + " x " + std::to_string(b->Height()));
  Registration reg;
  if (p.Has("use-transform")) {
    std::string text;
    if (!ReadWholeText(p.Value("use-transform"), text, error)) return Fail("register", error);
    const auto t = ParseTransform(text);
    if (!t) return Fail("register", std::string(kTransformUnreadable) + ": " + p.Value("use-transform"));
    reg.transform = *t;
  } else {
    std::vector<std::vector<PointXY>> pa, pb;
    const bool tracks = p.Has("tracks-a");
    if (tracks) {
      if (!ReadTrackPoints(p.Value("tracks-a"), pa, error) ||
          !ReadTrackPoints(p.Value("tracks-b"), pb, error))
        return Fail("register", error);
    } else {
      int32_t w = 0, h = 0;
      const auto ia = MeanImage(*a, static_cast<int32_t>(bead_frames), console, w, h);
      const auto ib = MeanImage(*b, static_cast<int32_t>(bead_frames), console, w, h);
      pa.push_back(FindBeads(ia, a->Width(), a->Height(), snr));
      pb.push_back(FindBeads(ib, b->Width(), b->Height(), snr));
      std::cerr << "beads: " << pa[0].size() << " in A, " << pb[0].size() << " in B\n";
    }
    const auto r = RegisterPoints(pa, pb, {max_shift, match_px});
    if (!r) return Fail("register", std::string(tracks ? kTooFewTrackPairs : kTooFewBeads));
    reg = *r;
  }
  const std::string table = TransformText(reg);
  std::cout << table;
  if (p.Has("transform") && !WriteTextAtomically(p.Value("transform"), table, console)) return 1;
  if (!p.Has("out")) return 0;
  StopOnInterrupt interrupt;
  TerminalProgress progress("register");
  const int32_t frames = b->FrameCount();
  ExportJob job{*b, console, {}, {}, interrupt.Flag(), {}};
  job.progress = [&](int32_t n) { progress(n, frames); };
  const ExportResult r = ExportRegistered(job, p.Value("out"), reg.transform);
  progress.Clear();
  if (r.stopped)
    return Fail("register", "stopped at frame " + std::to_string(r.frames_read) + " of " +
                                std::to_string(frames) + "; nothing written");
  return r.ok ? 0 : 1;
}

}  // namespace lumetra::cli
