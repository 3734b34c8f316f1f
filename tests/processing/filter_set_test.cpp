#include "processing/filter_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "common/random.h"
#include "processing/filter_steps.h"
#include "processing/frame_filters.h"
#include "processing/temporal_median.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

std::vector<uint16_t> RandomFrame(Rng& rng, size_t n, uint32_t range) {
  std::vector<uint16_t> v(n);
  for (uint16_t& p : v) p = static_cast<uint16_t>(rng.Next() % range);
  return v;
}

// A record of `count` frames of random counts below 5000, written to `path`.
std::vector<std::vector<uint16_t>> RandomRecord(const std::string& path, int32_t w, int32_t h,
                                                int count, uint64_t seed) {
  Rng rng(seed);
  std::vector<std::vector<uint16_t>> frames;
  for (int f = 0; f < count; ++f) frames.push_back(RandomFrame(rng, w * h, 5000));
  test::WriteRecord(path, w, h, frames);
  return frames;
}

FilterChoice Only(FrameFilter f, FilterParams params = {}) {
  FilterChoice c;
  c.on[static_cast<int>(f)] = true;
  c.params = params;
  return c;
}

// Each temporal filter against the plain definition over the frames seen so
// far, with saturated frames among them, through a change of frame size
// (which starts the filter again) and a restart.
TEST(FilterSet, TemporalFiltersMatchTheirDefinitions) {
  struct Case {
    FrameFilter filter;
    int32_t frames;
  };
  const Case cases[] = {{FrameFilter::kSubtrPrevFrame, 2}, {FrameFilter::kRunningSum, 3},
                        {FrameFilter::kRunningSum, 7},     {FrameFilter::kRunningAverage, 2},
                        {FrameFilter::kRunningAverage, 5}, {FrameFilter::kSDimON, 2},
                        {FrameFilter::kSDimON, 50},        {FrameFilter::kAccumulate, 0}};
  Rng rng(9);
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << InfoOf(c.filter).cli_name << " " << c.frames);
    CollectingReporter r;
    FrameFilterSet set(r);
    FilterParams p;
    p.sum_frames = p.average_frames = p.sd_frames = std::max(c.frames, 2);
    set.SetChoice(Only(c.filter, p));
    std::deque<std::vector<uint16_t>> seen;
    int32_t w = 13, h = 7;
    for (int32_t f = 0; f < 70; ++f) {
      if (f == 40 || f == 55) {
        // A frame of another size, then a restart: both start afresh.
        seen.clear();
        if (f == 40) w = 9;
        if (f == 55) set.Restart();
      }
      const size_t n = static_cast<size_t>(w) * h;
      std::vector<uint16_t> frame = RandomFrame(rng, n, f % 3 ? 65536 : 300);
      if (f % 5 == 0) std::fill(frame.begin(), frame.end(), 65535);
      seen.push_back(frame);
      const PRM_INFO prm = test::TestHeader(w, h, 0);
      FrameView view{frame.data(), w, h, prm, f};
      set.Apply(view);
      const size_t k = seen.size();
      for (size_t i = 0; i < n; ++i) {
        int64_t want = seen.back()[i];
        const int64_t N = c.frames;
        if (c.filter == FrameFilter::kSubtrPrevFrame) {
          const int64_t prev = k >= 2 ? seen[k - 2][i] : seen[k - 1][i];
          want = std::max<int64_t>(0, want - prev);
        } else if (c.filter == FrameFilter::kAccumulate) {
          int64_t s = 0;
          for (const auto& s_frame : seen) s += s_frame[i];
          want = std::min<int64_t>(s, 65535);
        } else if (static_cast<int64_t>(k) >= N) {
          int64_t s = 0, s2 = 0;
          for (size_t j = k - N; j < k; ++j) {
            s += seen[j][i];
            s2 += int64_t{seen[j][i]} * seen[j][i];
          }
          if (c.filter == FrameFilter::kRunningSum) want = std::min<int64_t>(s, 65535);
          if (c.filter == FrameFilter::kRunningAverage) want = (s + N / 2) / N;
          if (c.filter == FrameFilter::kSDimON)
            want = test::IntSqrt((N * s2 - s * s) / (N * (N - 1)));
        }
        ASSERT_EQ(frame[i], want) << "frame " << f << " pixel " << i;
      }
    }
    EXPECT_TRUE(r.messages().empty());
  }
}

// SD imaging's packed sums at the ends of their fields: 50 frames of 65535
// fill both, frames alternating 0 and 65535 give the largest variance, and
// the pixels of one frame take every pattern of the two.
TEST(FilterSet, SdAtTheEndsOfItsRange) {
  const int32_t N = 50;
  const size_t n = 70;
  std::vector<uint16_t> ring(n * N, 0);
  std::vector<uint64_t> packed(n, 0);
  std::deque<std::vector<uint16_t>> seen;
  for (int32_t f = 0; f < 3 * N; ++f) {
    std::vector<uint16_t> frame(n);
    for (size_t i = 0; i < n; ++i) {
      const bool high = f < N ? (i % 2 == 0 || f % 2 == 0) : ((f + i) % (i % 7 + 1) == 0);
      frame[i] = high ? 65535 : (f >= 2 * N && i % 3 == 0 ? 1 : 0);
    }
    seen.push_back(frame);
    if (seen.size() > static_cast<size_t>(N)) seen.pop_front();
    const bool full = f + 1 >= N;
    SdPass(frame.data(), ring.data() + (f % N) * n, packed.data(), N, full, n);
    if (!full) continue;
    for (size_t i = 0; i < n; ++i) {
      int64_t s = 0, s2 = 0;
      for (const auto& x : seen) {
        s += x[i];
        s2 += int64_t{x[i]} * x[i];
      }
      ASSERT_EQ(frame[i], std::min<int64_t>(65535, test::IntSqrt((N * s2 - s * s) / (N * (N - 1)))))
          << "frame " << f << " pixel " << i;
    }
  }
}

// The chain runs its slots in their order whatever order the filters and the
// temporal median joined it in, and equals the filters applied by hand in
// that order: previous frame, smoothing, Sobel, SD imaging, temporal median,
// running sum, accumulation.
TEST(FilterSet, SlotOrderDoesNotDependOnTheOrderOfTicking) {
  test::ScratchDir dir;
  const int32_t w = 21, h = 17;
  const auto frames = RandomRecord(dir.Path("rec.xkv"), w, h, 12, 4);

  FilterChoice all;
  for (FrameFilter f : {FrameFilter::kSubtrPrevFrame, FrameFilter::kSmoothing,
                        FrameFilter::kSobel, FrameFilter::kSDimON, FrameFilter::kRunningSum,
                        FrameFilter::kAccumulate})
    all.on[static_cast<int>(f)] = true;
  all.params.sd_frames = 3;
  all.params.sum_frames = 2;

  std::vector<std::vector<uint16_t>> results[2];
  for (int order = 0; order < 2; ++order) {
    CollectingReporter r;
    auto store = RecordStore::Create(r);
    TemporalMedian median(r);
    FrameFilterSet set(r);
    // Ticked one at a time, forwards or backwards, the median first or last.
    if (order == 0) UseTemporalMedian(*store, median, 3);
    for (int i = 0; i < kFrameFilterCount; ++i) {
      const int k = order == 0 ? i : kFrameFilterCount - 1 - i;
      FilterChoice c = set.Choice();
      c.params = all.params;
      c.on[k] = all.on[k];
      set.SetChoice(c);
      set.Attach(*store);
    }
    if (order == 1) UseTemporalMedian(*store, median, 3);
    ASSERT_TRUE(store->Open(dir.Path("rec.xkv"), r));
    do {
      results[order].emplace_back(store->FrameBuffer(), store->FrameBuffer() + w * h);
    } while (store->CurrentFrame() < 11 && store->NextFrame(r));
  }
  ASSERT_EQ(results[0].size(), 12u);
  EXPECT_EQ(results[0], results[1]);

  // By hand, slot after slot.
  CollectingReporter r;
  FrameFilterSet prev(r), sd(r), sum(r), acc(r);
  prev.SetChoice(Only(FrameFilter::kSubtrPrevFrame));
  sd.SetChoice(Only(FrameFilter::kSDimON, all.params));
  sum.SetChoice(Only(FrameFilter::kRunningSum, all.params));
  acc.SetChoice(Only(FrameFilter::kAccumulate));
  TemporalMedian median(r);
  median.SetMedianFrames(3);
  FilterScratch scratch;
  const PRM_INFO prm = test::TestHeader(w, h, 0);
  for (int f = 0; f < 12; ++f) {
    std::vector<uint16_t> x = frames[f];
    FrameView v{x.data(), w, h, prm, f};
    prev.Apply(v);
    Smooth3(x.data(), w, h, scratch);
    Sobel(x.data(), w, h, scratch);
    sd.Apply(v);
    median.Apply(v);
    sum.Apply(v);
    acc.Apply(v);
    ASSERT_EQ(results[0][f], x) << "frame " << f;
  }
}

// Ticking a filter at frame k shows frame k as a playback from the start
// would: the frames it depends on are read again first.
TEST(FilterSet, RereadShowsWhatPlaybackShows) {
  test::ScratchDir dir;
  const int32_t w = 8, h = 6;
  RandomRecord(dir.Path("rec.xkv"), w, h, 10, 12);

  FilterChoice a;
  a.on[static_cast<int>(FrameFilter::kSubtrPrevFrame)] = true;
  a.on[static_cast<int>(FrameFilter::kRunningAverage)] = true;
  a.params.average_frames = 3;
  FilterChoice b = Only(FrameFilter::kAccumulate);
  for (const FilterChoice& choice : {a, b}) {
    for (int32_t k : {1, 6, 9}) {
      SCOPED_TRACE(k);
      CollectingReporter r;
      // From the start with the filters on.
      auto played = RecordStore::Create(r);
      FrameFilterSet s1(r);
      s1.SetChoice(choice);
      s1.Attach(*played);
      ASSERT_TRUE(played->Open(dir.Path("rec.xkv"), r));
      ASSERT_TRUE(played->GoToFrame(k, r));
      // Ticked at frame k, after wandering back and forth.
      auto ticked = RecordStore::Create(r);
      FrameFilterSet s2(r);
      ASSERT_TRUE(ticked->Open(dir.Path("rec.xkv"), r));
      ASSERT_TRUE(ticked->GoToFrame(9, r));
      ASSERT_TRUE(ticked->GoToFrame(k, r));
      s2.SetChoice(choice);
      s2.Attach(*ticked);
      RereadWithHistory(*ticked, ChainHistory(s2, 0), [&] { s2.Restart(); }, r);
      ASSERT_EQ(ticked->CurrentFrame(), k);
      EXPECT_TRUE(std::equal(played->FrameBuffer(), played->FrameBuffer() + w * h,
                             ticked->FrameBuffer()));
    }
  }
}

TEST(FilterSet, HistoryAddsUpAlongTheChain) {
  CollectingReporter r;
  FrameFilterSet set(r);
  EXPECT_EQ(set.History(), 1);
  FilterChoice c;
  c.on[static_cast<int>(FrameFilter::kSpatMed5)] = true;
  set.SetChoice(c);
  EXPECT_EQ(set.History(), 1);
  c.on[static_cast<int>(FrameFilter::kSubtrPrevFrame)] = true;
  c.on[static_cast<int>(FrameFilter::kRunningSum)] = true;
  c.params.sum_frames = 10;
  set.SetChoice(c);
  EXPECT_EQ(set.History(), 11);
  EXPECT_EQ(ChainHistory(set, 5), 15);
  c.on[static_cast<int>(FrameFilter::kAccumulate)] = true;
  set.SetChoice(c);
  EXPECT_EQ(ChainHistory(set, 5), 0);
}

TEST(FilterSet, ParsesFilterListsAndRefusesBadOnes) {
  std::string error;
  const auto c = ParseFilterList("median3, background:5,sum:10,sharpen:2.5,sd", error);
  ASSERT_TRUE(c) << error;
  EXPECT_TRUE((*c)[FrameFilter::kSpatMed3]);
  EXPECT_TRUE((*c)[FrameFilter::kSubtractLocalBackground]);
  EXPECT_TRUE((*c)[FrameFilter::kSDimON]);
  EXPECT_FALSE((*c)[FrameFilter::kSobel]);
  EXPECT_EQ(c->params.background_radius, 5);
  EXPECT_EQ(c->params.sum_frames, 10);
  EXPECT_EQ(c->params.sd_frames, 3);
  EXPECT_DOUBLE_EQ(c->params.sharp_strength, 2.5);
  EXPECT_EQ(FiltersMenuCaption(*c), "Filters(Med3)(Sharp)(-Backgr)");
  for (const char* bad : {"median7", "sum:1", "sum:51", "background:0", "background:21",
                          "sharpen:0.2", "sharpen:21", "sobel:3", "sd:x"}) {
    SCOPED_TRACE(bad);
    error.clear();
    EXPECT_FALSE(ParseFilterList(bad, error));
    EXPECT_FALSE(error.empty());
  }
}

}  // namespace
}  // namespace lumetra
