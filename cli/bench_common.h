// Shared pieces of the bench subcommands: the frames held in memory, wall-clock
// seconds, the median of repeated runs, and frames per second beside the
// processor time a frame took.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <vector>

#include "common/report.h"
#include "record/record_store.h"

namespace lumetra::cli {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::time_point a, Clock::time_point b) {
  return std::chrono::duration<double>(b - a).count();
}

inline double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// Runs `body` (which handles `frames` frames) `repeats` times and returns
// frames per second of wall time, the median of the runs. `cpu_ms` receives
// the processor time a frame took over all threads in the fastest run, which
// other programs on the machine do not inflate as much.
template <class Body>
double FramesPerSecond(int repeats, int32_t frames, double& cpu_ms, Body&& body) {
  std::vector<double> t;
  double best = 1e300;
  for (int r = 0; r < repeats; ++r) {
    const std::clock_t c0 = std::clock();
    const auto t0 = Clock::now();
    body();
    t.push_back(Seconds(t0, Clock::now()));
    if (t.back() < best) {
      best = t.back();
      cpu_ms = static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC * 1e3 / frames;
    }
  }
  return frames / Median(t);
}

// Reads the record's first frames into `frames` (Width x Height counts each,
// one after another), at most `limit` and at most 1 GiB, so that an analysis
// is timed apart from the file. The number held, or -1 when a frame could not
// be read.
inline int32_t HoldFrames(RecordStore& store, int32_t limit, std::vector<uint16_t>& frames) {
  const size_t pixels = static_cast<size_t>(store.Width()) * store.Height();
  const int32_t held = std::min<int32_t>(
      std::min(store.FrameCount(), limit),
      static_cast<int32_t>(std::max<size_t>(1, (size_t{1} << 30) / (pixels * 2))));
  frames.resize(pixels * held);
  NullReporter quiet;
  store.FirstFrame(quiet);
  for (int32_t f = 0; f < held; ++f) {
    std::copy_n(store.FrameBuffer(), pixels, frames.data() + pixels * f);
    if (f + 1 < held && !store.NextFrame(quiet)) return -1;
  }
  return held;
}

}  // namespace lumetra::cli
