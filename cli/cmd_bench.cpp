// lumetra-cli bench KIND FILE.xkv: speed figures, each printed beside a floor
// measured in the same run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <vector>

#include "cli/cli_common.h"
#include "common/file_handle.h"
#include "common/text_format.h"
#include "record/record_store.h"

namespace lumetra::cli {
namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point a, Clock::time_point b) {
  return std::chrono::duration<double>(b - a).count();
}

// The floor: the file read front to back in 1 MiB pieces, as `cat FILE > /dev/null` does.
double PlainReadSeconds(const std::string& path, int64_t& bytes) {
  FileHandle f = OpenFile(path, "rb");
  if (!f) return -1;
  std::setvbuf(f.get(), nullptr, _IONBF, 0);
  std::vector<char> buf(1 << 20);
  bytes = 0;
  const auto t0 = Clock::now();
  size_t n;
  while ((n = std::fread(buf.data(), 1, buf.size(), f.get())) > 0) bytes += static_cast<int64_t>(n);
  return Seconds(t0, Clock::now());
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

int BenchRead(const std::string& path, int repeats) {
  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store) return 1;
  int64_t bytes = 0;
  if (PlainReadSeconds(path, bytes) < 0) return Fail("bench", "File open ERROR: " + path);

  std::vector<double> open_s, read_s, floor_s;
  int32_t frames = 0;
  for (int r = 0; r < repeats; ++r) {
    NullReporter quiet;
    // Opening reads frame 0 too; the header scan is what dominates.
    auto t0 = Clock::now();
    if (!store->Open(path, r == 0 ? static_cast<Reporter&>(console) : quiet)) return 1;
    open_s.push_back(Seconds(t0, Clock::now()));
    if (store->FrameCount() == 0) return Fail("bench", "the record holds no frame");

    t0 = Clock::now();
    frames = 1;
    while (store->NextFrame(quiet)) ++frames;
    read_s.push_back(Seconds(t0, Clock::now()));
    floor_s.push_back(PlainReadSeconds(path, bytes));
  }
  const double open_ms = Median(open_s) * 1e3;
  const double read = Median(read_s), floor = Median(floor_s);
  const double mb = static_cast<double>(bytes) * 1e-6;
  std::cout << "record: " << path << " (" << store->FrameCount() << " frames of " << store->Width()
            << " x " << store->Height() << ", " << FormatFixed(mb, 1) << " MB)\n"
            << "open (header scan and frame 0): " << FormatFixed(open_ms, 2) << " ms\n"
            << "read all frames through the store: " << FormatFixed(read, 3) << " s, "
            << FormatFixed(frames / read, 0) << " frames/s, " << FormatFixed(mb / read, 0)
            << " MB/s\n"
            << "floor, plain sequential read (cat): " << FormatFixed(floor, 3) << " s, "
            << FormatFixed(mb / floor, 0) << " MB/s\n"
            << "ratio read/floor: " << FormatFixed(read / floor, 2) << "x (median of " << repeats
            << " runs)\n";
  return 0;
}

}  // namespace

int RunBench(const std::vector<std::string>& args) {
  ArgParser p("bench",
              "Measures speed on a record and prints each figure beside a floor measured\n"
              "in the same run. KIND: read (open the record and read every frame through\n"
              "the store, against a plain sequential read of the file); display (palette\n"
              "lookup of 512 x 512 and 2048 x 2048 frames into an image, against copying it);\n"
              "export (the record transforms and the temporal median, against reading\n"
              "through the store and against writing every frame unchanged).");
  p.Positional("KIND", "what to measure: read, display or export")
      .Positional("FILE.xkv", "the record (make one with 'lumetra-cli simulate')")
      .Option("repeats", "N", "runs to take the median of", "5")
      .Option("out-dir", "DIR", "export: where the outputs are written (and removed)",
              std::filesystem::temp_directory_path().string());
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t repeats = 5;
  if (!p.Int("repeats", repeats, error)) return Fail("bench", error, 2);
  repeats = std::clamp<int64_t>(repeats, 1, 100);
  if (p.Arg(0) == "read") return BenchRead(p.Arg(1), static_cast<int>(repeats));
  if (p.Arg(0) == "display") return BenchDisplay(p.Arg(1), static_cast<int>(repeats));
  if (p.Arg(0) == "export")
    return BenchExport(p.Arg(1), static_cast<int>(repeats), p.Value("out-dir"));
  return Fail("bench", "unknown KIND '" + p.Arg(0) + "' (read, display, export)", 2);
}

}  // namespace lumetra::cli
