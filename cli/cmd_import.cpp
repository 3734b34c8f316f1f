// lumetra-cli import raw|raw-seq|bmp-seq SOURCE --out OUT.xkv --width W
//   --height H --interval-ms T --scale-x NM --scale-y NM [--two-bytes]
//   [--big-endian] [--offset B] [--frame-header B]
#include <atomic>
#include <csignal>
#include <iostream>

#include "cli/cli_common.h"
#include "record/raw_import.h"

namespace lumetra::cli {
namespace {

std::atomic<bool> g_stop{false};

extern "C" void StopImportOnSignal(int) {
  g_stop.store(true);
}

// The window's fields in the order of its controls, each with its own check
// and message. Width and height start at their least values so that the size
// check of the one does not depend on the default of the other.
bool ApplyFields(const ArgParser& p, ImportSettings& s, Reporter& reporter) {
  s.width = 5;
  s.height = 5;
  return SetImportWidth(s, p.Value("width"), reporter) &&
         SetImportHeight(s, p.Value("height"), reporter) &&
         SetImportInterval(s, p.Value("interval-ms"), reporter) &&
         SetImportScaleX(s, p.Value("scale-x"), reporter) &&
         SetImportScaleY(s, p.Value("scale-y"), reporter) &&
         SetImportOffset(s, p.Value("offset"), reporter) &&
         SetImportFrameHeader(s, p.Value("frame-header"), reporter);
}

}  // namespace

int RunImport(const std::vector<std::string>& args) {
  ArgParser p("import",
              "Converts raw camera data into an XKV record, as \"Lumetra - Import Data\" does.\n"
              "TYPE: raw (one file of frames), raw-seq (one file per frame; the number in the\n"
              "first name counts up), bmp-seq (one bitmap per frame, converted to grey).\n"
              "A little-endian raw import does not stop at the end of the source: it repeats\n"
              "the last data up to frame 9999, as the window always has (a warning says so).");
  p.Positional("TYPE", "raw, raw-seq or bmp-seq")
      .Positional("SOURCE", "the raw file, or the first file of the sequence")
      .Option("out", "OUT.xkv", "the record to write")
      .Option("width", "PIXELS", "frame width (at least 5)")
      .Option("height", "PIXELS", "frame height (at least 5, width x height at most 4 Mpix)")
      .Option("interval-ms", "MS", "time between frames, 1 to 1000000")
      .Option("scale-x", "NM", "nm per pixel along X, 0.001 to 1000000")
      .Option("scale-y", "NM", "nm per pixel along Y, 0.001 to 1000000")
      .Flag("two-bytes", "2 bytes per pixel (\"2 bytes per pixel\")")
      .Flag("big-endian", "2-byte pixels high byte first (\"Little-Endian byte order\" off)")
      .Option("offset", "BYTES", "bytes to skip once at the start of the file", "0")
      .Option("frame-header", "BYTES", "bytes to skip before every frame", "0");
  if (auto code = ParseOrExit(p, args)) return *code;
  ImportRun run;
  const std::string& type = p.Arg(0);
  if (type == "raw") {
    run.type = ImportType::kRawFile;
  } else if (type == "raw-seq") {
    run.type = ImportType::kRawSequence;
  } else if (type == "bmp-seq") {
    run.type = ImportType::kBmpSequence;
  } else {
    return Fail("import", "unknown TYPE '" + type + "' (raw, raw-seq, bmp-seq)", 2);
  }
  for (const char* name : {"out", "width", "height", "interval-ms", "scale-x", "scale-y"})
    if (!p.Has(name)) return Fail("import", std::string("--") + name + " is required", 2);

  ConsoleReporter console;
  if (!ApplyFields(p, run.settings, console)) return 1;
  run.settings.two_bytes = p.Has("two-bytes");
  run.settings.little_endian = !p.Has("big-endian");
  run.stop = &g_stop;
  g_stop.store(false);
  auto old_handler = std::signal(SIGINT, StopImportOnSignal);
  const ImportResult r = lumetra::RunImport(run, p.Arg(1), p.Value("out"), console);
  std::signal(SIGINT, old_handler);
  if (!r.ok) return 1;
  if (r.source_short_at > 0)
    std::cerr << "warning: the source held " << r.source_short_at - 1
              << " complete frames; the little-endian import wrote its last data again up to "
                 "frame "
              << r.frames_written << "\n";
  std::cout << p.Value("out") << ": " << r.frames_written << " frames written\n";
  // The window ends a short source silently; a script should not go on with an
  // empty record.
  if (r.frames_written == 0)
    return Fail("import", "the source holds no complete frame of " + p.Value("width") + " x " +
                              p.Value("height") + " pixels");
  return 0;
}

}  // namespace lumetra::cli
