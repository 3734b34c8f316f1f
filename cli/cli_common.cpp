#include "cli/cli_common.h"

#include <csignal>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <cstdio>
#include <iostream>

#include "common/text_format.h"

namespace lumetra::cli {
namespace {

// A signal handler can only reach a flag with static storage.
std::atomic<bool> g_interrupted{false};

extern "C" void OnInterrupt(int sig) {
  g_interrupted.store(true);
  std::signal(sig, SIG_DFL);
}

}  // namespace

StopOnInterrupt::StopOnInterrupt() {
  g_interrupted.store(false);
  old_int_ = std::signal(SIGINT, OnInterrupt);
  old_term_ = std::signal(SIGTERM, OnInterrupt);
}

StopOnInterrupt::~StopOnInterrupt() {
  std::signal(SIGINT, old_int_);
  std::signal(SIGTERM, old_term_);
}

const std::atomic<bool>* StopOnInterrupt::Flag() const {
  return &g_interrupted;
}

void ConsoleReporter::Report(MessageKind kind, std::string_view text) {
  switch (kind) {
    case MessageKind::kModal:
      ++modals_;
      [[fallthrough]];
    case MessageKind::kWarning:
      std::cerr << text << '\n';
      break;
    case MessageKind::kNotice:
      std::cout << text << '\n';
      break;
    case MessageKind::kStatus:
      if (verbose_) std::cerr << text << '\n';
      break;
  }
}

void ConsoleReporter::ReportDetailed(MessageKind kind, std::string_view text,
                                     std::string_view detail) {
  if (detail.empty()) return Report(kind, text);
  Report(kind, std::string(text) + ": " + std::string(detail));
}

std::optional<int> ParseOrExit(ArgParser& parser, const std::vector<std::string>& args) {
  std::string error;
  if (!parser.Parse(args, error)) {
    std::cerr << "lumetra-cli: " << error << "\n\n" << parser.Help();
    return 2;
  }
  if (parser.HelpRequested()) {
    std::cout << parser.Help();
    return 0;
  }
  return std::nullopt;
}

bool OpenRecordWithFrames(RecordStore& store, const std::string& path, Reporter& reporter) {
  return store.Open(path, reporter) && store.FrameCount() > 0 && store.HasFrame();
}

ArgParser& AddTiffOptions(ArgParser& parser) {
  const TiffReadOptions d;
  return parser
      .Option("nm-per-pixel", "NM", "TIFF without a pixel size: nm per pixel",
              FormatGeneral(d.nm_per_pixel))
      .Option("frame-ms", "MS", "TIFF without a frame interval: ms between frames",
              FormatGeneral(d.frame_ms))
      .Option("channel", "C", "TIFF stack of several channels: the channel read (from 0)", "0")
      .Option("z", "Z", "TIFF stack of several Z planes: the plane read (from 0)", "0");
}

bool ReadTiffOptions(const ArgParser& parser, TiffReadOptions& o, std::string& error) {
  int64_t channel = 0, z = 0;
  if (!parser.Real("nm-per-pixel", o.nm_per_pixel, error) ||
      !parser.Real("frame-ms", o.frame_ms, error) ||
      !parser.Int("channel", channel, error, 0, 1 << 20) || !parser.Int("z", z, error, 0, 1 << 20))
    return false;
  if (!(o.nm_per_pixel > 0) || !(o.frame_ms > 0)) {
    error = "--nm-per-pixel and --frame-ms must be above 0";
    return false;
  }
  o.channel = static_cast<int32_t>(channel);
  o.z = static_cast<int32_t>(z);
  if (parser.Has("nm-per-pixel")) o.nm_origin = "--nm-per-pixel";
  if (parser.Has("frame-ms")) o.frame_ms_origin = "--frame-ms";
  if (parser.Has("channel")) o.channel_origin = "--channel";
  if (parser.Has("z")) o.z_origin = "--z";
  return true;
}

std::optional<int> ApplyTiffOptions(const ArgParser& parser, RecordStore& store,
                                    const std::string& command) {
  TiffReadOptions o;
  std::string error;
  if (!ReadTiffOptions(parser, o, error)) return Fail(command, error, 2);
  store.SetTiffOptions(o);
  return std::nullopt;
}

// Every record allocates its frame buffers and analysis planes (8 MB and
// more) and frees them at its end. glibc gives blocks that large back to the
// system at once, so the next record faults every page in again, and with
// several jobs each unmap also makes the other cores flush their address
// translations: two jobs then took a third more processor time a record.
void KeepLargeBuffersForReuse() {
#ifdef __GLIBC__
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif
}

int Fail(const std::string& command, const std::string& text, int code) {
  std::cerr << "lumetra-cli " << command << ": " << text << '\n';
  return code;
}

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"info", "print the caption, frame count, interval, depth and header lines of a record",
       RunInfo},
      {"frame", "save one frame of a record as a one-frame XKV file", RunFrame},
      {"render", "paint one frame of a record through a palette into a PNG image", RunRender},
      {"simulate", "write a simulated single-molecule record and its truth table", RunSimulate},
      {"track", "find and track single particles, write XKI and tidy track tables", RunTrack},
      {"eval", "score a track table against a simulator truth table", RunEval},
      {"stats", "diffusion, MSD, jump distances and drift of tracks", RunStats},
      {"eval-steps", "score a step detector's results against a simulator step table",
       RunEvalSteps},
      {"steps", "detect single bleaching and binding steps, score them, write the results",
       RunSteps},
      {"batch", "run track or a step test over many records; merge the tasks' summaries",
       RunBatchCommand},
      {"export", "save a record summed, binned, cut, thinned, filtered, as RAW or BMP files",
       RunExport},
      {"fuse", "join several XKV files into one record", RunFuse},
      {"import", "convert raw camera data or bitmaps into an XKV record", RunImport},
      {"area", "a region's time course over a record, with a bleaching, recovery or spot fit",
       RunArea},
      {"fit", "fit a time course from a table: bleaching, recovery or spot-count decay", RunFit},
      {"surface", "draw the region of a frame as a 3D surface or block plot into PNG or BMP",
       RunSurface},
      {"profile", "the intensity profile along a line of one frame, as a table", RunProfile},
      {"kymograph", "a kymograph along a line over the record, as PNG and table",
       RunKymographCommand},
      {"split", "split a two-colour record into one record per channel", RunSplit},
      {"register", "register one channel onto the other by an affine transform", RunRegister},
      {"drift-correct", "write the record corrected for drift (table or cross-correlation)",
       RunDriftCorrect},
      {"zcoord", "heights of tracked spots from their astigmatic widths", RunZcoord},
      {"plot", "draw a table of curves as a graph and save it as PNG or BMP", RunPlot},
      {"bench", "measure speed: bench read|display|export|track|steps FILE.xkv, bench fit|surface",
       RunBench},
  };
  return commands;
}

}  // namespace lumetra::cli
