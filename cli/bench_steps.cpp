// lumetra-cli bench steps FILE.xkv: the detection pass (fast on all cores and
// on one, and the plain reference loop) and the trace pass, against a floor
// measured in the same run: one 5 x 5 box sum over every pixel of every frame.
#include <algorithm>
#include <chrono>
#include <ctime>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/bench_common.h"
#include "cli/cli_common.h"
#include "common/parallel.h"
#include "common/text_format.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "steps/step_analysis.h"

namespace lumetra::cli {
namespace {

// The floor: a 5 x 5 box sum of one frame (column sums, then a sliding sum
// along each row), one core.
int64_t BoxSum5(const uint16_t* px, int32_t w, int32_t h, std::vector<int32_t>& col,
                std::vector<int32_t>& out) {
  int64_t check = 0;
  for (int32_t y = 2; y + 2 < h; ++y) {
    std::fill(col.begin(), col.end(), 0);
    for (int32_t dy = -2; dy <= 2; ++dy) {
      const uint16_t* row = px + static_cast<size_t>(y + dy) * w;
      for (int32_t x = 0; x < w; ++x) col[x] += row[x];
    }
    int32_t* o = out.data() + static_cast<size_t>(y) * w;
    int32_t acc = col[0] + col[1] + col[2] + col[3] + col[4];
    for (int32_t x = 2; x + 2 < w; ++x) {
      o[x] = acc;
      if (x + 3 < w) acc += col[x + 3] - col[x - 2];
    }
    check += o[w / 2];
  }
  return check;
}

}  // namespace

int BenchSteps(const std::string& path, int repeats) {
  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store || !OpenRecordWithFrames(*store, path, console)) return 1;
  const int32_t w = store->Width(), h = store->Height();
  const size_t pixels = static_cast<size_t>(w) * h;
  NullReporter quiet;
  // The frames the analysis sees, held in memory.
  std::vector<uint16_t> frames;
  const int32_t held = HoldFrames(*store, kStepFrameLimit, frames);
  if (held < 0) return Fail("bench", "Frame Reading Error");
  // Processor time a frame took in the fastest run of the last measure.
  double cpu_ms = 0;
  auto per_second = [&](int32_t count, auto&& body) {
    return FramesPerSecond(repeats, count, cpu_ms, body);
  };
  std::vector<int32_t> col(static_cast<size_t>(w)), out(pixels);
  int64_t sink = 0;
  const double floor_fps = per_second(held, [&] {
    for (int32_t f = 0; f < held; ++f) sink += BoxSum5(frames.data() + pixels * f, w, h, col, out);
  });
  const double floor_cpu = cpu_ms;
  StepMaps maps;
  auto detect_fps = [&](int workers, DropRiseDetector::Method method, int32_t count) {
    DropRiseDetector d(workers);
    d.Allocate(w, h);
    return per_second(count, [&] {
      d.Start(maps, kMaxWindow, 2, 0, method);
      for (int32_t f = 0; f < count; ++f) d.Frame(frames.data() + pixels * f, f);
      d.Finish();
      sink += maps.DropMap[pixels / 2];
    });
  };
  const double fast = detect_fps(0, DropRiseDetector::Method::kFast, held);
  const double fast_cpu = cpu_ms;
  const double fast1 = detect_fps(1, DropRiseDetector::Method::kFast, held);
  const double fast1_cpu = cpu_ms;
  const int32_t plain_frames = std::min(held, 60);
  const double plain = detect_fps(1, DropRiseDetector::Method::kPlain, plain_frames);
  const double plain_cpu = cpu_ms;
  auto cpu = [](double ms) { return ", CPU " + FormatFixed(ms, 3) + " ms a frame"; };

  // Both passes as the window runs them: through the store and playback.
  std::vector<double> pass1, pass2;
  size_t objects = 0;
  for (int r = 0; r < repeats; ++r) {
    StepAnalysis a(quiet);
    if (!a.OpenRecord(*store)) return 1;
    auto t0 = Clock::now();
    const int32_t n = Playback(*store, {a.BeginDetect(*store, 0)}).Run(quiet);
    pass1.push_back(n / Seconds(t0, Clock::now()));
    a.FinishDetect(*store);
    objects = a.Objects().size();
    TracePass* trace = a.BeginCollect(*store);
    if (!trace) continue;
    t0 = Clock::now();
    const int32_t m = Playback(*store, {trace}).Run(quiet);
    pass2.push_back(m / Seconds(t0, Clock::now()));
  }
  auto fps = [](double v) { return FormatFixed(v, 0) + " frames/s"; };
  auto ratio = [&](double v, double ms) {
    return " (" + FormatFixed(floor_fps / v, 2) + "x the floor's time" + cpu(ms) + ")";
  };
  std::cout << "record: " << path << " (" << store->FrameCount() << " frames of " << w << " x " << h
            << ", " << held << " held in memory, " << WorkerCount() << " cores)\n"
            << "floor, 5 x 5 box sum, one core: " << fps(floor_fps) << " ("
            << cpu(floor_cpu).substr(2) << ")\n"
            << "detection pass, running sums, all cores: " << fps(fast) << ratio(fast, fast_cpu)
            << "\n"
            << "detection pass, running sums, one core: " << fps(fast1) << ratio(fast1, fast1_cpu)
            << "\n"
            << "detection pass, plain loop, one core (" << plain_frames
            << " frames): " << fps(plain) << ratio(plain, plain_cpu) << "\n"
            << "Detect through the store (read, detect): " << fps(Median(pass1)) << "\n";
  if (!pass2.empty())
    std::cout << "Tracking through the store (read, " << objects
              << " traces): " << fps(Median(pass2)) << "\n";
  else
    std::cout << "Tracking: no objects above the drop threshold\n";
  std::cout << "(median of " << repeats << " runs; checksum " << (sink & 0xff) << ")\n";
  return 0;
}

}  // namespace lumetra::cli
