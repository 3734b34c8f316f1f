// lumetra-cli profile FILE.xkv --line X0,Y0,X1,Y1 [--width W] [--index N] [--out P.tsv]
// lumetra-cli kymograph FILE.xkv --line X0,Y0,X1,Y1 [--width W] [--png K.png] [--tsv K.tsv]
#include <iostream>

#include "cli/cli_common.h"
#include "cli/cli_stream.h"
#include "common/text_format.h"
#include "processing/text_output.h"
#include "profile/kymograph.h"
#include "profile/line_profile.h"
#include "profile/profile_messages.h"

namespace lumetra::cli {
namespace {

void AddLineOptions(ArgParser& p) {
  p.Positional("FILE.xkv", "the record")
      .Option("line", "X0,Y0,X1,Y1",
              "the profile line from (X0, Y0) to (X1, Y1), frame pixels (x = column)")
      .Option("width", "W",
              "band width across the line, pixels, 1-50, made odd as the Profile Width setting "
              "does (4 -> 5)",
              "3");
  AddTiffOptions(p);
}

// The band from --line and --width; an exit code after a usage error.
std::optional<int> ReadLine(const ArgParser& p, const std::string& command, ProfileBand& band) {
  std::string error;
  std::vector<int64_t> l;
  if (!p.Has("line")) return Fail(command, "--line X0,Y0,X1,Y1 is required", 2);
  if (!p.IntList("line", 4, l, error)) return Fail(command, error, 2);
  int64_t width = 3;
  if (!p.Int("width", width, error, 1, 50)) return Fail(command, error, 2);
  band = ProfileBand{static_cast<double>(l[0]), static_cast<double>(l[1]),
                     static_cast<double>(l[2]), static_cast<double>(l[3]),
                     static_cast<int32_t>(width / 2 * 2 + 1)};
  return std::nullopt;
}

}  // namespace

int RunProfile(const std::vector<std::string>& args) {
  ArgParser p("profile",
              "The intensity profile along a line of one frame: at each whole pixel of the\n"
              "line's length the mean of the band across it. Prints (or writes with --out) a\n"
              "table: distance_px distance_nm x y mean pixels (pixels: band pixels inside the\n"
              "frame; mean is nan where the band lies outside). A line of zero length or\n"
              "outside the frame gives the header alone, and says so on stderr.");
  AddLineOptions(p);
  p.Option("index", "N", "0-based number of the frame", "0")
      .Option("out", "PROFILE.tsv", "write the table here instead of stdout");
  if (auto code = ParseOrExit(p, args)) return *code;
  ProfileBand band;
  if (auto code = ReadLine(p, "profile", band)) return *code;
  std::string error;
  int64_t index = 0;
  if (!p.Int("index", index, error)) return Fail("profile", error, 2);

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "profile")) return *code;
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  if (index < 0 || index >= store->FrameCount())
    return Fail("profile", "--index " + std::to_string(index) + " is outside the record (0-" +
                               std::to_string(store->FrameCount() - 1) + ")");
  if (!store->GoToFrame(static_cast<int32_t>(index), console) || store->CurrentFrame() != index)
    return Fail("profile", "frame " + std::to_string(index) + " could not be read");
  const LineProfile profile =
      MeasureLineProfile(store->FrameBuffer(), store->Width(), store->Height(), band);
  if (profile.Empty()) std::cerr << "lumetra-cli profile: " << kEmptyProfile << '\n';
  const std::string text = ProfileText(profile, store->Prm().ScaleX);
  if (!p.Has("out")) {
    std::cout << text;
    return 0;
  }
  return WriteTextAtomically(p.Value("out"), text, console) ? 0 : 1;
}

int RunKymographCommand(const std::vector<std::string>& args) {
  ArgParser p("kymograph",
              "A kymograph along a line over the whole record: the line's profile (as\n"
              "'profile' measures it) of every frame, one row per frame, time running down.\n"
              "--png writes it as grey levels from its smallest to its largest mean; --tsv as\n"
              "a table frame time_s distance_px mean. Frames of another size than frame 0\n"
              "are left out. Ctrl+C stops; a stopped run writes nothing.");
  AddLineOptions(p);
  p.Option("png", "KYMO.png", "write the kymograph image")
      .Option("tsv", "KYMO.tsv", "write the kymograph table");
  if (auto code = ParseOrExit(p, args)) return *code;
  ProfileBand band;
  if (auto code = ReadLine(p, "kymograph", band)) return *code;
  if (!p.Has("png") && !p.Has("tsv")) return Fail("kymograph", "give --png or --tsv (or both)", 2);

  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "kymograph")) return *code;
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  KymographBuilder k(band);
  StopOnInterrupt interrupt;
  TerminalProgress progress("kymograph");
  PlayKymograph(*store, k, console, interrupt.Flag(),
               [&](int32_t done, int32_t total) { progress(done, total); });
  progress.Clear();
  if (!k.Completed()) {
    std::cerr << "lumetra-cli kymograph: stopped at frame " << k.Rows() << " of "
              << store->FrameCount() << "; nothing written\n";
    return 1;
  }
  if (k.Points() == 0) std::cerr << "lumetra-cli kymograph: " << kEmptyProfile << '\n';
  if (k.SkippedFrames() > 0)
    std::cerr << "lumetra-cli kymograph: " << k.SkippedFrames()
              << " frames of another size left out\n";
  if (p.Has("tsv") && !WriteTextAtomically(p.Value("tsv"), KymographText(k), console)) return 1;
  if (p.Has("png")) {
    if (k.Points() == 0 || k.Rows() == 0)
      return Fail("kymograph", "an empty kymograph makes no image: " + p.Value("png"));
    const std::vector<uint32_t> image = KymographImage(k);
    if (!WritePngAtomically(p.Value("png"), image.data(), k.Points(), k.Rows(), console)) return 1;
  }
  std::cout << "Kymograph: " << k.Rows() << " frames of " << k.Points() << " points\n";
  return 0;
}

}  // namespace lumetra::cli
