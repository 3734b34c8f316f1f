#include "processing/temporal_median.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "common/random.h"
#include "processing/processing_messages.h"
#include "processing/temp_filt_menu.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

uint16_t BruteMedian(std::vector<uint16_t> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

std::vector<uint16_t> RandomFrame(Rng& rng, size_t n, uint32_t range) {
  std::vector<uint16_t> v(n);
  for (uint16_t& p : v) p = static_cast<uint16_t>(rng.Next() % range);
  return v;
}

TEST(TemporalMedian, KnownAnswers) {
  struct Case {
    std::vector<uint16_t> values;
    uint16_t median;
  };
  const Case cases[] = {{{5, 9, 7}, 7},       {{5, 5, 9}, 5},
                        {{9, 1, 8, 2, 7}, 7}, {{3, 3, 3}, 3},
                        {{0, 65535, 1}, 1},   {{7, 1, 6, 2, 5, 3, 4}, 4},
                        {{9, 9, 1, 1, 9}, 9}, {{2, 2, 2, 1, 1, 1, 0}, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.values));
    std::vector<const uint16_t*> slots;
    for (const uint16_t& v : c.values) slots.push_back(&v);
    uint16_t out = 0;
    MedianOfSlots(slots.data(), static_cast<int>(slots.size()), &out, 1);
    EXPECT_EQ(out, c.median);
  }
}

// The ring against a brute-force median over the last M frames, on a frame
// large enough to be split over the cores and not a whole number of blocks.
TEST(TemporalMedian, MatchesBruteForceOverTheRing) {
  const int32_t w = 401, h = 347;
  const size_t n = static_cast<size_t>(w) * h;
  for (int32_t m : {3, 5, 7}) {
    SCOPED_TRACE(m);
    CollectingReporter r;
    TemporalMedian filter(r);
    filter.SetMedianFrames(m);
    Rng rng(42 + m);
    std::deque<std::vector<uint16_t>> last;
    const PRM_INFO prm = test::TestHeader(w, h, 0);
    for (int32_t f = 0; f < 12; ++f) {
      std::vector<uint16_t> frame = RandomFrame(rng, n, f % 2 ? 65536 : 16);
      last.push_back(frame);
      if (static_cast<int32_t>(last.size()) > m) last.pop_front();
      FrameView view{frame.data(), w, h, prm, f};
      filter.Apply(view);
      if (f < m - 1) {
        EXPECT_EQ(frame, last.back()) << "frame " << f << " passes until the ring is full";
        continue;
      }
      for (size_t i = 0; i < n; i += 97) {
        std::vector<uint16_t> v;
        for (const auto& g : last) v.push_back(g[i]);
        ASSERT_EQ(frame[i], BruteMedian(v)) << "frame " << f << " pixel " << i;
      }
    }
    EXPECT_TRUE(r.messages().empty());
  }
}

// Frames above half a megapixel are split over the cores: every pixel, the
// last one of a partial block included, still gets its own median.
TEST(TemporalMedian, LargeFramesSplitOverTheCoresGiveTheSameMedian) {
  const size_t n = 1'100'013;
  Rng rng(5);
  std::vector<std::vector<uint16_t>> frames;
  for (int k = 0; k < 7; ++k) frames.push_back(RandomFrame(rng, n, 65536));
  std::vector<const uint16_t*> slots;
  for (const auto& f : frames) slots.push_back(f.data());
  std::vector<uint16_t> out(n);
  MedianOfSlots(slots.data(), 7, out.data(), n);
  for (size_t i = 0; i < n; i += (i + 1 < n - 100 ? 101 : 1)) {
    std::vector<uint16_t> v;
    for (const auto& f : frames) v.push_back(f[i]);
    ASSERT_EQ(out[i], BruteMedian(v)) << "pixel " << i;
  }
}

// Every frame the store reads passes the filter: a record opened after the
// filter joined the chain shows frame k as the median of frames k-4..k.
TEST(TemporalMedian, StoreChainFiltersEveryFrameRead) {
  test::ScratchDir dir;
  const int32_t w = 40, h = 30;
  Rng rng(7);
  std::vector<std::vector<uint16_t>> frames;
  for (int f = 0; f < 9; ++f) frames.push_back(RandomFrame(rng, w * h, 4096));
  test::WriteRecord(dir.Path("rec.xkv"), w, h, frames);

  CollectingReporter r;
  TemporalMedian filter(r);
  auto store = RecordStore::Create(r);
  UseTemporalMedian(*store, filter, 5);
  ASSERT_TRUE(store->Open(dir.Path("rec.xkv"), r));
  for (int32_t k = 0; k < 9; ++k) {
    if (k > 0) {
      ASSERT_TRUE(store->NextFrame(r));
    }
    SCOPED_TRACE(k);
    for (size_t i = 0; i < frames[0].size(); ++i) {
      uint16_t want = frames[k][i];
      if (k >= 4)
        want = BruteMedian(
            {frames[k - 4][i], frames[k - 3][i], frames[k - 2][i], frames[k - 1][i], frames[k][i]});
      ASSERT_EQ(store->FrameBuffer()[i], want) << "pixel " << i;
    }
  }
  // Opening the record again starts a new ring: frame 0 passes unchanged.
  ASSERT_TRUE(store->Open(dir.Path("rec.xkv"), r));
  EXPECT_EQ(filter.MedianIndex(), 1);
  EXPECT_FALSE(filter.MedianFull());
  EXPECT_TRUE(std::equal(frames[0].begin(), frames[0].end(), store->FrameBuffer()));
  UseTemporalMedian(*store, filter, 0);
  EXPECT_FALSE(filter.Enabled());
}

// Switching the filter at frame k shows frame k through the new chain at
// once: the median of the M frames up to k (unchanged while fewer than M
// frames lead up to it), and the raw frame again when it is switched off.
TEST(TemporalMedian, RereadShowsTheCurrentFrameThroughTheNewChain) {
  test::ScratchDir dir;
  const int32_t w = 12, h = 9;
  Rng rng(11);
  std::vector<std::vector<uint16_t>> frames;
  for (int f = 0; f < 10; ++f) frames.push_back(RandomFrame(rng, w * h, 4096));
  test::WriteRecord(dir.Path("rec.xkv"), w, h, frames);

  struct Case {
    int32_t frame;
    int32_t median;  // 0: off
  };
  const Case cases[] = {{6, 3}, {6, 7}, {8, 5}, {2, 5}, {0, 3}, {9, 7}, {6, 0}, {9, 0}};
  CollectingReporter r;
  TemporalMedian filter(r);
  auto store = RecordStore::Create(r);
  ASSERT_TRUE(store->Open(dir.Path("rec.xkv"), r));
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "frame " << c.frame << ", median " << c.median);
    ASSERT_TRUE(store->GoToFrame(c.frame, r));
    UseTemporalMedian(*store, filter, c.median);
    RereadThroughChain(*store, filter, r);
    ASSERT_EQ(store->CurrentFrame(), c.frame);
    for (size_t i = 0; i < frames[0].size(); ++i) {
      uint16_t want = frames[c.frame][i];
      if (c.median > 0 && c.frame >= c.median - 1) {
        std::vector<uint16_t> v;
        for (int32_t f = c.frame - c.median + 1; f <= c.frame; ++f) v.push_back(frames[f][i]);
        want = BruteMedian(v);
      }
      ASSERT_EQ(store->FrameBuffer()[i], want) << "pixel " << i;
    }
  }
  EXPECT_TRUE(r.Texts(MessageKind::kModal).empty());
}

TEST(TemporalMedian, AllocationFailureSwitchesTheFilterOff) {
  CollectingReporter r;
  TemporalMedian filter(r, SIZE_MAX);
  filter.SetMedianFrames(3);
  std::vector<uint16_t> frame = {1, 2, 3, 4, 5, 6};
  const auto before = frame;
  const PRM_INFO prm = test::TestHeader(3, 2, 0);
  FrameView view{frame.data(), 3, 2, prm, 0};
  filter.Apply(view);
  EXPECT_EQ(frame, before);
  EXPECT_EQ(filter.MedianFrames(), 0);
  EXPECT_FALSE(filter.MenuEnabled());
  EXPECT_EQ(r.Texts(MessageKind::kModal),
            std::vector<std::string>{std::string(kCanNotAllocateMedianBuffers)});
}

TEST(TempFiltMenu, CaptionNamesEveryCheckedItemAndTheLongestMedianWins) {
  struct Case {
    TempFiltChecks checks;
    std::string caption;
    int32_t frames;
  };
  const Case cases[] = {
      {{}, "TempFilt", 0},
      {{.by3frames = true, .by7frames = true}, "TempFilt(Med3)(Med7)", 7},
      {{.by3frames = true, .by5frames = true}, "TempFilt(Med3)(Med5)", 5},
      {{.by5frames = true, .running_sum = true, .running_buffer_size = 8},
       "TempFilt(Med5)(Sum8)",
       5},
      {{.running_average = true, .subtr_prev_frame = true, .running_buffer_size = 4},
       "TempFilt(Aver4)(-PrevFr)",
       0},
  };
  for (const Case& c : cases) {
    const TempFiltMenu m = RebuildTempFiltMenu(c.checks);
    EXPECT_EQ(m.caption, c.caption);
    EXPECT_EQ(m.median_frames, c.frames) << c.caption;
  }
}

TEST(TemporalMedian, ParsesTheCommandOption) {
  EXPECT_EQ(ParseTemporalMedianFrames("5"), 5);
  EXPECT_EQ(ParseTemporalMedianFrames(" 7"), 7);
  EXPECT_FALSE(ParseTemporalMedianFrames("4"));
  EXPECT_FALSE(ParseTemporalMedianFrames("five"));
}

}  // namespace
}  // namespace lumetra
