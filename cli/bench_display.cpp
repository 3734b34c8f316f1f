// lumetra-cli bench display FILE.xkv: palette lookup of whole frames into a
// 32-bit image at zoom 1, for 512 x 512 and 2048 x 2048 frames made by tiling
// the record's first frame, beside the floor of writing the same image bytes;
// then each per-frame filter on 512 x 512 frames on one core, beside reading
// the record's frames through the store alone.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <vector>

#include "cli/cli_common.h"
#include "common/parallel.h"
#include "common/text_format.h"
#include "display/frame_painter.h"
#include "display/palette.h"
#include "processing/filter_set.h"
#include "record/record_store.h"

namespace lumetra::cli {
namespace {

using Clock = std::chrono::steady_clock;

// Calls `work` until at least `min_seconds` have passed; returns calls per second.
template <typename Work>
double Rate(Work&& work, double min_seconds) {
  int64_t calls = 0;
  const auto t0 = Clock::now();
  double elapsed = 0;
  do {
    for (int i = 0; i < 10; ++i) work();
    calls += 10;
    elapsed = std::chrono::duration<double>(Clock::now() - t0).count();
  } while (elapsed < min_seconds);
  return static_cast<double>(calls) / elapsed;
}

double MedianRate(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

std::vector<uint16_t> Tiled(const RecordStore& store, int32_t side) {
  std::vector<uint16_t> f(static_cast<size_t>(side) * side);
  const int32_t w = std::max(store.Width(), 1), h = std::max(store.Height(), 1);
  for (int32_t y = 0; y < side; ++y)
    for (int32_t x = 0; x < side; ++x)
      f[static_cast<size_t>(y) * side + x] =
          store.FrameBuffer()[static_cast<int64_t>(y % h) * w + x % w];
  return f;
}

// Reading alone: the record's frames through the store, wrapping at its end.
double ReadRate(RecordStore& store) {
  NullReporter quiet;
  return Rate([&] { store.NextFrame(quiet); }, 0.2);
}

// Each filter of the chain by itself on 512 x 512 frames (the record's first
// frame tiled, copied into the frame buffer each time as a read would), on
// one core and on every core.
int BenchFilters(RecordStore& store, int repeats) {
  const int32_t side = 512;
  const std::vector<uint16_t> frame = Tiled(store, side);
  std::vector<uint16_t> buffer(frame.size());
  const PRM_INFO prm = store.Prm();
  std::vector<double> reads;
  for (int r = 0; r < repeats; ++r) reads.push_back(ReadRate(store));
  const double read = MedianRate(reads);
  std::cout << "per-frame filters on " << side << " x " << side << " frames; reading alone ("
            << store.Width() << " x " << store.Height() << " frames of the record through the "
            << "store): " << FormatFixed(read, 0) << " frames/s\n";
  NullReporter quiet;
  for (const FrameFilterInfo& info : FrameFilterTable()) {
    std::vector<double> one, many;
    for (int workers : {1, WorkerCount()}) {
      FrameFilterSet set(quiet);
      FilterChoice choice;
      choice.on[static_cast<int>(info.filter)] = true;
      set.SetChoice(choice);
      set.SetWorkers(workers);
      for (int r = 0; r < repeats; ++r) {
        (workers == 1 ? one : many).push_back(Rate(
            [&] {
              std::memcpy(buffer.data(), frame.data(), frame.size() * sizeof(uint16_t));
              FrameView view{buffer.data(), side, side, prm, 0};
              set.Apply(view);
            },
            0.2));
      }
    }
    const double r1 = MedianRate(one), rn = MedianRate(many);
    std::string label = std::string(info.cli_name) + ":";
    label.resize(12, ' ');
    std::cout << "  " << label << FormatFixed(r1, 0) << " frames/s on one core ("
              << FormatFixed(1e3 / r1, 3) << " ms a frame), " << FormatFixed(rn, 0)
              << " frames/s on every core; reading alone " << FormatFixed(read, 0)
              << " frames/s\n";
  }
  return 0;
}

}  // namespace

int BenchDisplay(const std::string& path, int repeats) {
  ConsoleReporter console;
  auto store = RecordStore::Create(console);
  if (!store || !OpenRecordWithFrames(*store, path, console)) return 1;
  if (store->FrameCount() == 0 || store->CurrentFrame() != 0)
    return Fail("bench", "the record holds no readable frame");
  std::vector<uint32_t> palette;
  if (!BuildPalette(palette, store->MaxLevel(), kPaletteRYW, console)) return 1;
  FramePainter painter;
  painter.SetPalette(palette);
  const int workers = WorkerCount();
  std::cout << "record: " << path << " (frame 0 of " << store->Width() << " x " << store->Height()
            << ", MaxLevel " << store->MaxLevel() << ", RYW palette)\n";
  for (int32_t side : {512, 2048}) {
    const std::vector<uint16_t> frame = Tiled(*store, side);
    std::vector<uint32_t> image(frame.size()), copy(frame.size());
    const FrameRect all{0, 0, side, side};
    std::vector<double> one, many, floor;
    for (int r = 0; r < repeats; ++r) {
      one.push_back(
          Rate([&] { painter.Paint(frame.data(), side, all, 1, image.data(), side); }, 0.2));
      many.push_back(Rate(
          [&] { painter.Paint(frame.data(), side, all, 1, image.data(), side, workers); }, 0.2));
      floor.push_back(Rate(
          [&] { std::memcpy(copy.data(), image.data(), image.size() * sizeof(uint32_t)); }, 0.2));
    }
    const double r1 = MedianRate(one), rn = MedianRate(many), rf = MedianRate(floor);
    std::cout << side << " x " << side << ": palette lookup " << FormatFixed(r1, 0)
              << " frames/s on one core (" << FormatFixed(1e3 / r1, 3) << " ms a frame), "
              << FormatFixed(rn, 0) << " frames/s on " << workers << " cores; floor, copying "
              << "the image: " << FormatFixed(rf, 0) << " frames/s; ratio floor/lookup "
              << FormatFixed(rf / r1, 2) << "x\n";
  }
  std::cout << "(median of " << repeats << " runs of at least 0.2 s each)\n";
  return BenchFilters(*store, repeats);
}

}  // namespace lumetra::cli
