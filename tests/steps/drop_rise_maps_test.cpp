// The detection pass's per-pixel work: the known answers of the windows and
// the frames they report, and the fast method against the plain loop.
#include "steps/drop_rise_maps.h"

#include <gtest/gtest.h>

#include <random>

namespace lumetra {
namespace {

using Method = DropRiseDetector::Method;

// Frames of a w x h record whose pixel (px, py) follows `value(f)`, every
// other pixel `background`.
template <typename Fn>
StepMaps RunOnePixel(int32_t w, int32_t h, int32_t window, int32_t half, int32_t frames, int32_t px,
                     int32_t py, Fn value, Method method, int32_t median = 0) {
  DropRiseDetector d(1);
  d.Allocate(w, h);
  StepMaps maps;
  d.Start(maps, window, half, median, method);
  std::vector<uint16_t> frame(static_cast<size_t>(w) * h);
  for (int32_t f = 0; f < frames; ++f) {
    std::fill(frame.begin(), frame.end(), 0);
    frame[static_cast<size_t>(py) * w + px] = value(f);
    d.Frame(frame.data(), f);
  }
  d.Finish();
  return maps;
}

TEST(DropRiseMaps, WindowsAndFramesOfAStep) {
  struct Case {
    const char* name;
    int32_t window, median, frames;
    int32_t step;  // first frame of the new level
    bool up;
    int32_t drop, drop_frame, rise, rise_frame;
  };
  // One 1 x 1 spot at (2, 2) of a 5 x 5 record: the only pixel with box sums.
  // Amplitudes are divided by 10 x 1 at the end.
  const Case cases[] = {
      // W = 10, 25 frames: the first drop is computed at f = 20, so the first
      // possible DropFrame is 11 and the first possible RiseFrame 9.
      {"earliest drop", 10, 0, 25, 11, false, 100, 11, 0, 0},
      {"earliest rise", 10, 0, 25, 11, true, 0, 0, 100, 9},
      {"drop found at the step", 10, 0, 25, 15, false, 100, 15, 0, 0},
      {"rise one frame before the older window ends", 10, 0, 40, 20, true, 0, 0, 100, 18},
      // W = 5 scales the five-frame window to ten frames (x 2.0).
      {"short window", 5, 0, 40, 20, true, 0, 0, 100, 18},
      {"short window drop", 5, 0, 40, 20, false, 100, 20, 0, 0},
      // The temporal median delays the start by M frames: with 25 frames and
      // M = 5 the first computation is at f = 25, after the record ended.
      {"median delays the start", 10, 5, 25, 11, false, 0, 0, 0, 0},
      {"median, longer record", 10, 5, 30, 16, false, 100, 16, 0, 0},
      // Too short a record: empty maps.
      {"record too short", 10, 0, 20, 11, false, 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    for (Method m : {Method::kPlain, Method::kFast}) {
      const StepMaps maps = RunOnePixel(
          5, 5, c.window, 0, c.frames, 2, 2,
          [&](int32_t f) -> uint16_t { return (f >= c.step) == c.up ? 100 : 0; }, m, c.median);
      const size_t p = maps.Index(2, 2);
      EXPECT_EQ(maps.DropMap[p], c.drop);
      EXPECT_EQ(maps.DropFrame[p], c.drop_frame);
      EXPECT_EQ(maps.RiseMap[p], c.rise);
      EXPECT_EQ(maps.RiseFrame[p], c.rise_frame);
      // Pixels without box sums hold zeros here: no drop, no rise.
      EXPECT_EQ(maps.DropMap[maps.Index(1, 1)], 0);
      EXPECT_EQ(maps.RiseMap[maps.Index(3, 2)], 0);
    }
  }
}

TEST(DropRiseMaps, AmplitudesAreMeansPerPixelTruncated) {
  // A 3 x 3 spot dropping by 7 counts: drop = 10 x 9 x 7 = 630, / 90 = 7. A
  // drop of 7 in one pixel of the box only: 70 / 90 truncates to 0.
  for (int32_t level : {7, 1}) {
    SCOPED_TRACE(level);
    DropRiseDetector d(1);
    d.Allocate(7, 7);
    StepMaps maps;
    d.Start(maps, 10, 1, 0, Method::kFast);
    std::vector<uint16_t> frame(49);
    for (int32_t f = 0; f < 40; ++f) {
      std::fill(frame.begin(), frame.end(), 0);
      if (f < 20)
        for (int32_t y = 2; y <= 4; ++y)
          for (int32_t x = 2; x <= 4; ++x)
            frame[y * 7 + x] = (level == 7 || (x == 3 && y == 3)) ? 7 : 0;
      d.Frame(frame.data(), f);
    }
    d.Finish();
    EXPECT_EQ(maps.DropMap[maps.Index(3, 3)], level == 7 ? 7 : 0);
  }
}

TEST(DropRiseMaps, MarksShowTheWindowsOfTheRing) {
  DropRiseDetector d(1);
  d.Allocate(5, 5);
  StepMaps maps;
  d.Start(maps, 2, 0, 0, Method::kPlain);
  std::vector<uint16_t> frame(25, 1);
  for (int32_t f = 0; f <= 13; ++f) d.Frame(frame.data(), f);
  // 12 slots: frames 12, 13 in slots 0, 1, frames 2..11 in slots 2..11.
  // B: frames below 4 (slots 2, 3); A: frames 12 and 13.
  EXPECT_EQ(d.MarksText(), "001100000000      110000000000");
}

TEST(DropRiseMaps, FramesBeyondTheLimitAreLeftOut) {
  const StepMaps maps = RunOnePixel(
      5, 5, 10, 0, 1100, 2, 2, [](int32_t f) -> uint16_t { return f < 1005 ? 100 : 0; },
      Method::kFast);
  EXPECT_EQ(maps.DropMap[maps.Index(2, 2)], 0) << "the drop at frame 1005 is not seen";
}

// The fast method (running sums, rows over several threads) against the plain
// loop on random records, with stale slot contents from an earlier pass, a
// pass that starts late (a selected part of the record) and every W and R.
TEST(DropRiseMaps, FastEqualsPlainOnRandomRecords) {
  struct Case {
    int32_t w, h, window, half, median, first, frames, top;
  };
  const Case cases[] = {
      {23, 17, 10, 2, 0, 0, 60, 4095},  {31, 40, 1, 0, 0, 0, 40, 255},
      {16, 16, 7, 1, 3, 0, 50, 65535},  {40, 33, 3, 2, 7, 0, 45, 1000},
      {9, 9, 10, 2, 0, 4, 60, 4095},    {64, 48, 4, 1, 0, 13, 70, 300},
      {3, 3, 2, 0, 0, 0, 30, 100},      {6, 5, 5, 2, 0, 0, 30, 100},
      {128, 96, 10, 2, 0, 0, 45, 4095}, {128, 96, 6, 0, 5, 2, 50, 65535},
  };
  std::mt19937 rng(7);
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.w << "x" << c.h << " W=" << c.window << " R=" << c.half
                                      << " M=" << c.median << " first=" << c.first);
    const size_t n = static_cast<size_t>(c.w) * c.h;
    std::uniform_int_distribution<int> pix(0, c.top);
    std::vector<std::vector<uint16_t>> frames(static_cast<size_t>(c.frames),
                                              std::vector<uint16_t>(n));
    for (auto& fr : frames)
      for (auto& v : fr) v = static_cast<uint16_t>(pix(rng));
    DropRiseDetector plain(1), fast(1), fast_threads(3);
    for (DropRiseDetector* d : {&plain, &fast, &fast_threads}) d->Allocate(c.w, c.h);
    std::vector<StepMaps> out(3);
    DropRiseDetector* ds[] = {&plain, &fast, &fast_threads};
    for (int k = 0; k < 3; ++k) {
      const Method m = k == 0 ? Method::kPlain : Method::kFast;
      // An earlier pass with another W and R leaves slots and frame numbers behind.
      StepMaps earlier;
      ds[k]->Start(earlier, 11 - c.window, 2 - c.half, 0, m);
      for (int32_t f = 0; f < 25; ++f) ds[k]->Frame(frames[static_cast<size_t>(f)].data(), f);
      ds[k]->Finish();
      ds[k]->Start(out[static_cast<size_t>(k)], c.window, c.half, c.median, m);
      for (int32_t f = c.first; f < c.frames; ++f)
        ds[k]->Frame(frames[static_cast<size_t>(f)].data(), f);
      ds[k]->Finish();
    }
    EXPECT_GT(plain.FramesComputed(), 0);
    for (int k = 1; k < 3; ++k) {
      EXPECT_EQ(out[0].DropMap, out[static_cast<size_t>(k)].DropMap);
      EXPECT_EQ(out[0].DropFrame, out[static_cast<size_t>(k)].DropFrame);
      EXPECT_EQ(out[0].RiseMap, out[static_cast<size_t>(k)].RiseMap);
      EXPECT_EQ(out[0].RiseFrame, out[static_cast<size_t>(k)].RiseFrame);
    }
  }
}

}  // namespace
}  // namespace lumetra
