// lumetra-cli bench KIND FILE.xkv: speed figures, each printed beside a floor
// measured in the same run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/bench_common.h"
#include "cli/cli_common.h"
#include "common/file_handle.h"
#include "common/parallel.h"
#include "common/text_format.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "spots/spot_finder.h"
#include "spots/track_linker.h"
#include "spots/global_linker.h"
#include "spots/tracking_passes.h"

namespace lumetra::cli {
namespace {

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

// The tracking floor: a plain 11 x 11 box sum over every pixel of a frame
// (separable running sums, one core), the least work any 11 x 11 detector does.
int64_t BoxSum11(const uint16_t* px, int32_t w, int32_t h, std::vector<int32_t>& col,
                 std::vector<int32_t>& out) {
  col.assign(static_cast<size_t>(w), 0);
  out.resize(static_cast<size_t>(w) * h);
  for (int32_t y = 0; y < 11 && y < h; ++y)
    for (int32_t x = 0; x < w; ++x) col[x] += px[static_cast<size_t>(y) * w + x];
  int64_t check = 0;
  for (int32_t y = 5; y + 5 < h; ++y) {
    if (y > 5)
      for (int32_t x = 0; x < w; ++x)
        col[x] += px[static_cast<size_t>(y + 5) * w + x] - px[static_cast<size_t>(y - 6) * w + x];
    int32_t acc = 0;
    for (int32_t x = 0; x < 11 && x < w; ++x) acc += col[x];
    int32_t* o = out.data() + static_cast<size_t>(y) * w;
    for (int32_t x = 5; x + 5 < w; ++x) {
      o[x] = acc;
      if (x + 6 < w) acc += col[x + 6] - col[x - 5];
    }
    check += o[w / 2];
  }
  return check;
}

int BenchTrack(const std::string& path, int repeats, bool resolve_close, bool dense) {
  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store || !OpenRecordWithFrames(*store, path, console)) return 1;
  const int32_t w = store->Width(), h = store->Height();
  const size_t pixels = static_cast<size_t>(w) * h;
  NullReporter quiet;
  // The frames the analysis sees, held in memory.
  std::vector<uint16_t> frames;
  const int32_t held = HoldFrames(*store, store->FrameCount(), frames);
  if (held < 0) return Fail("bench", "Frame Reading Error");
  TrackingParams params;
  params.resolve_close = resolve_close;
  if (dense) params.detector = SpotDetectorKind::kDense;
  const double scale = store->Prm().ScaleX;
  // Processor time a frame took in the fastest run of the last measure.
  double cpu_ms = 0;
  auto per_second = [&](auto&& body) { return FramesPerSecond(repeats, held, cpu_ms, body); };
  std::vector<int32_t> col, out;
  int64_t sink = 0;
  const double floor_fps = per_second([&] {
    for (int32_t f = 0; f < held; ++f) sink += BoxSum11(frames.data() + pixels * f, w, h, col, out);
  });
  auto detect_fps = [&](int workers, bool link) {
    SpotFinder finder(workers);
    TrackLinker linker;
    auto tracks = std::make_unique<TrackStore>();
    // The dense detector's spots are linked over the whole record at the end.
    std::vector<std::vector<LinkSpot>> spots;
    return per_second([&] {
      finder.Prepare(w, h);
      linker.Prepare(w, h);
      tracks->Reset(held);
      spots.assign(static_cast<size_t>(held), {});
      for (int32_t f = 0; f < held; ++f) {
        finder.DetectFrame(frames.data() + pixels * f, w, h, scale, params, quiet);
        if (link && dense) {
          for (const DenseSpot& d : finder.Fitted())
            spots[static_cast<size_t>(f)].push_back({static_cast<float>(d.x), static_cast<float>(d.y)});
        } else if (link) {
          linker.LinkFrame(*tracks, f, f == 0, finder.Objects(), finder.LabelMap(), params, quiet);
        }
      }
      if (link && dense) sink += static_cast<int64_t>(
                             LinkGlobally(spots, {params.max_radius, params.min_track}).size());
      if (link && !dense && params.resolve_close) linker.FinishShares(*tracks);
      if (link && !dense) TrackLinker::FinishRecord(*tracks, params);
    });
  };
  const double det1 = detect_fps(1, false);
  const double det1_cpu = cpu_ms;
  const double det = detect_fps(0, false);
  const double det_cpu = cpu_ms;
  const double link1 = detect_fps(1, true);
  const double link1_cpu = cpu_ms;
  const double link = detect_fps(0, true);
  const double link_cpu = cpu_ms;
  // The passes as the window and the command line run them: through the store and playback.
  auto tracks = std::make_unique<TrackStore>();
  std::vector<double> pass1, pass2;
  for (int r = 0; r < repeats; ++r) {
    DetectPass detect(*tracks, params, quiet);
    auto t0 = Clock::now();
    const int32_t n = Playback(*store, {&detect}).Run(quiet);
    pass1.push_back(n / Seconds(t0, Clock::now()));
    LinkTracksPass second(*tracks, params, quiet);
    t0 = Clock::now();
    const int32_t m = Playback(*store, {&second}).Run(quiet);
    pass2.push_back(m / Seconds(t0, Clock::now()));
  }
  std::sort(pass1.begin(), pass1.end());
  std::sort(pass2.begin(), pass2.end());
  auto fps = [](double v) { return FormatFixed(v, 0) + " frames/s"; };
  auto cpu = [](double ms) { return ", CPU " + FormatFixed(ms, 3) + " ms a frame"; };
  std::cout << "record: " << path << " (" << store->FrameCount() << " frames of " << w << " x " << h
            << ", " << held << " held in memory, " << WorkerCount() << " cores"
            << (resolve_close ? ", Resolve Close Spots on" : "")
            << (dense ? ", Dense Field Detection" : "") << ")\n"
            << "floor, 11 x 11 box sum, one core: " << fps(floor_fps) << "\n"
            << "detection, one core: " << fps(det1) << " (" << FormatFixed(floor_fps / det1, 2)
            << "x the floor's time" << cpu(det1_cpu) << ")\n"
            << "detection, all cores: " << fps(det) << " (" << FormatFixed(floor_fps / det, 2)
            << "x" << cpu(det_cpu) << ")\n"
            << "detection + linking, one core: " << fps(link1) << " ("
            << FormatFixed(floor_fps / link1, 2) << "x" << cpu(link1_cpu) << ")\n"
            << "detection + linking, all cores: " << fps(link) << " ("
            << FormatFixed(floor_fps / link, 2) << "x" << cpu(link_cpu) << ")\n"
            << "Detect pass through the store (read, detect, link): "
            << fps(pass1[pass1.size() / 2]) << "\n"
            << "Link Tracks pass through the store (read, refit): " << fps(pass2[pass2.size() / 2])
            << "\n"
            << "(median of " << repeats << " runs; checksum " << (sink & 0xff) << ")\n";
  return 0;
}

}  // namespace

int RunBench(const std::vector<std::string>& args) {
  // batch makes its own records and has options of its own.
  if (!args.empty() && args[0] == "batch") return BenchBatch({args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "stats") return BenchStats(args);
  if (!args.empty() && args[0] == "fit") return BenchFit({args.begin() + 1, args.end()});
  if (!args.empty() && args[0] == "surface") return BenchSurface({args.begin() + 1, args.end()});
  ArgParser p("bench",
              "Measures speed on a record and prints each figure beside a floor measured\n"
              "in the same run. KIND: read (open the record and read every frame through\n"
              "the store, against a plain sequential read of the file); display (palette\n"
              "lookup of 512 x 512 and 2048 x 2048 frames into an image, against copying it,\n"
              "and each per-frame filter on 512 x 512 frames, against reading alone);\n"
              "export (the record transforms, the temporal median and the per-frame filters,\n"
              "against reading through the store and against writing every frame\n"
              "unchanged); track (spot\n"
              "detection, linking and the second pass, against an 11 x 11 box sum over\n"
              "every pixel); steps (the step detection's two passes, against a 5 x 5 box\n"
              "sum over every pixel). 'bench batch' (no FILE) measures batch runs over\n"
              "simulated records: 'lumetra-cli bench batch --help'. 'bench fit' (no FILE)\n"
              "times the region window's grid fits against the plain loop; 'bench surface'\n"
              "the 3D view's repaint.");
  p.Positional("KIND",
               "what to measure: read, display, export, track, steps (or batch, stats, fit, surface)")
      .Positional("FILE.xkv", "the record (make one with 'lumetra-cli simulate')")
      .Option("repeats", "N", "runs to take the median of", "5")
      .Flag("resolve-close", "track: with Resolve Close Spots on")
      .Option("detector", "template|dense", "track: the detector (default template)", "template")
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
  if (p.Arg(0) == "track") {
    if (p.Value("detector") != "template" && p.Value("detector") != "dense")
      return Fail("bench", "--detector must be template or dense", 2);
    return BenchTrack(p.Arg(1), static_cast<int>(repeats), p.Has("resolve-close"),
                      p.Value("detector") == "dense");
  }
  if (p.Arg(0) == "steps") return BenchSteps(p.Arg(1), static_cast<int>(repeats));
  return Fail("bench", "unknown KIND '" + p.Arg(0) + "' (read, display, export, track, steps)", 2);
}

}  // namespace lumetra::cli
