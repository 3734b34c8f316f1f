// The XKV-producing transforms on small records, against hand-computed frames
// and headers.
#include <gtest/gtest.h>

#include "processing/export_transform.h"
#include "processing/median5_export.h"
#include "processing/processing_messages.h"
#include "processing/profile_export.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

using test::ReadRecord;
using test::TestFrame;

std::vector<uint16_t> Flat(size_t n, uint16_t v) {
  return std::vector<uint16_t>(n, v);
}

class Transforms : public ::testing::Test {
 protected:
  // Writes and opens a record of `count` flat frames of 10, 20, 30, ... counts.
  void OpenFlat(int32_t w, int32_t h, int32_t count, std::vector<int32_t> times = {}) {
    std::vector<std::vector<uint16_t>> frames;
    for (int32_t k = 0; k < count; ++k)
      frames.push_back(Flat(static_cast<size_t>(w) * h, static_cast<uint16_t>(10 * (k + 1))));
    Open(w, h, frames, times);
  }
  void Open(int32_t w, int32_t h, const std::vector<std::vector<uint16_t>>& frames,
            std::vector<int32_t> times = {}) {
    test::WriteRecord(record_, w, h, frames, times);
    store_ = test::OpenRecord(record_, reporter_);
  }
  ExportResult Run(const std::string& request_text) {
    std::string error;
    auto request = ParseTransformRequest(request_text, error);
    EXPECT_TRUE(request) << error;
    if (!request) return {};
    ExportJob job{*store_, reporter_, {}, write_, nullptr, {}};
    return RunTransform(job, *request, out_, context_);
  }
  std::vector<std::string> Modals() const { return reporter_.Texts(MessageKind::kModal); }

  test::ScratchDir dir_;
  std::string record_ = dir_.Path("rec.xkv");
  std::string out_ = dir_.Path("out.xkv");
  CollectingReporter reporter_;
  std::unique_ptr<RecordStore> store_;
  FrameWriteOptions write_;
  TransformContext context_;
};

TEST_F(Transforms, SumOfTwoOverFiveFramesWritesTwoAndDropsTheRest) {
  OpenFlat(3, 2, 5);
  const ExportResult r = Run("sum:2");
  EXPECT_TRUE(r.ok);
  EXPECT_EQ(r.frames_read, 5);
  const std::vector<TestFrame> out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0].pixels, Flat(6, 30));  // frames 1 + 2
  EXPECT_EQ(out[1].pixels, Flat(6, 70));  // frames 3 + 4
  EXPECT_EQ(out[0].prm.ExposureMs, 80);   // 40 ms x 2
  EXPECT_EQ(out[0].prm.TimeMs, 100);      // the last frame of its group
  EXPECT_EQ(out[1].prm.TimeMs, 300);
  // The record stays open and usable: the next fetch starts again at frame 0.
  EXPECT_FALSE(store_->NextFrame(reporter_));
  EXPECT_TRUE(store_->NextFrame(reporter_));
  EXPECT_EQ(store_->CurrentFrame(), 0);
  EXPECT_EQ(store_->FrameBuffer()[0], 10);
}

TEST_F(Transforms, SumClampsAt65535AndShortRecordsGiveNoFrame) {
  Open(2, 2, {{30000, 40000, 65535, 1}, {35535, 25536, 65535, 2}});
  ASSERT_TRUE(Run("sum:2").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].pixels, (std::vector<uint16_t>{65535, 65535, 65535, 3}));
  // Fewer frames than one sum: a file with no frame, and the reason.
  EXPECT_FALSE(Run("sum:5").ok);
  EXPECT_TRUE(test::FileBytes(out_).empty());
}

TEST_F(Transforms, TwoByTwoBinningOfAFiveByFiveFrame) {
  Open(5, 5, {test::Ramp(5, 5, 0)});
  ASSERT_TRUE(Run("bin:2").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 1u);
  // Sums of the top-left 4 x 4 pixels; the last row and column are dropped.
  EXPECT_EQ(out[0].pixels, (std::vector<uint16_t>{12, 20, 52, 60}));
  const PRM_INFO& p = out[0].prm;
  EXPECT_EQ(p.Width, 2);
  EXPECT_EQ(p.Height, 2);
  EXPECT_EQ(p.PixelCount, 4);
  EXPECT_EQ(p.Binning, 2);
  EXPECT_EQ(p.X0, 5);
  EXPECT_EQ(p.Y0, 10);
  EXPECT_FLOAT_EQ(p.ScaleX, 200.0f);
  EXPECT_FLOAT_EQ(p.ScaleY, 200.0f);
}

TEST_F(Transforms, BinnedAndExpandedCellsStopAt60000) {
  Open(
      6, 3,
      {{20000, 20000, 20000, 14999, 15000, 15000, 20000, 20000, 1, 1, 1, 1, 65000, 0, 0, 0, 0, 0}});
  ASSERT_TRUE(Run("bin:3").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].pixels, (std::vector<uint16_t>{60000, 45002}));
  EXPECT_EQ(out[0].prm.Binning, 3);

  ASSERT_TRUE(Run("expand3").ok);
  out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].prm.Width, 18);
  EXPECT_EQ(out[0].prm.Height, 9);
  EXPECT_FLOAT_EQ(out[0].prm.ScaleX, 100.0f / 3);
  EXPECT_EQ(out[0].pixels[0], 20000);
  EXPECT_EQ(out[0].pixels[2 * 18 + 2], 20000);  // (2, 2) comes from (0, 0)
  EXPECT_EQ(out[0].pixels[9], 14999);           // (9, 0) comes from (3, 0)
  EXPECT_EQ(out[0].pixels[3 * 18 + 9], 1);      // (9, 3) comes from (3, 1)
  EXPECT_EQ(out[0].pixels[8 * 18 + 0], 60000);  // 65000 held to 60000
}

TEST_F(Transforms, MedianOfFiveUsesTheStaggeredGrouping) {
  OpenFlat(4, 3, 4);
  TemporalMedian filter(reporter_);
  filter.SetMedianFrames(3);
  context_.median = &filter;
  ASSERT_TRUE(Run("median5").ok);
  auto out = ReadRecord(out_);
  // Four frames write exactly one: slots hold 10, 20, 30, 40 and the empty fifth.
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].pixels, Flat(12, 20));
  EXPECT_EQ(out[0].prm.TimeMs, 300);
  EXPECT_EQ(filter.MedianFrames(), 3) << "the temporal-filter mode is restored";

  OpenFlat(4, 3, 9);
  ASSERT_TRUE(Run("median5").ok);
  out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 2u);
  // Second write: frames 6..9 in slots 0..3, frame 5 still in slot 4.
  EXPECT_EQ(out[1].pixels, Flat(12, 70));
  EXPECT_EQ(out[1].prm.TimeMs, 800);
}

TEST_F(Transforms, PartOfTheRecordMeasuresTimeFromTheFrameBefore) {
  OpenFlat(2, 2, 8, {0, 100, 250, 400, 600, 700, 900, 1000});
  ASSERT_TRUE(Run("part:3,5").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 3u);
  EXPECT_EQ(out[0].pixels[0], 40);
  EXPECT_EQ(out[0].prm.TimeMs, 150);  // 400 - 250
  EXPECT_EQ(out[2].prm.TimeMs, 450);  // 700 - 250

  ASSERT_TRUE(Run("part:0,8").ok);  // the frame count itself is accepted as last
  out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 8u);
  EXPECT_EQ(out[7].prm.TimeMs, 1000);

  EXPECT_FALSE(Run("part:8,8").ok);
  EXPECT_FALSE(Run("part:-1,4").ok);
  EXPECT_FALSE(Run("part:4,4").ok);
  EXPECT_FALSE(Run("part:4,9").ok);
  EXPECT_EQ(Modals(),
            (std::vector<std::string>{"First Frame Out of Range", "First Frame Out of Range",
                                      "Last Frame Out of Range", "Last Frame Out of Range"}));
}

TEST_F(Transforms, ThinOutWritesOneOfNAndRemembersTheValues) {
  OpenFlat(2, 2, 6, {0, 100, 200, 350, 400, 500});
  ThinOutMemory memory;
  context_.thin_out = &memory;
  ASSERT_TRUE(Run("thin:2,1").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 4u);  // every frame from the first on
  EXPECT_EQ(out[0].pixels[0], 30);
  EXPECT_EQ(out[0].prm.TimeMs, 100);  // 200 - 100
  EXPECT_EQ(out[3].prm.TimeMs, 400);

  ASSERT_TRUE(Run("thin:0,2").ok);
  out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 3u);
  EXPECT_EQ(out[1].pixels[0], 30);
  EXPECT_EQ(out[1].prm.TimeMs, 200);

  EXPECT_FALSE(Run("thin:5,1").ok);  // first must be below frame count - 1
  EXPECT_EQ(memory.first, 5) << "a refused value is still remembered";
  EXPECT_FALSE(Run("thin:1,5").ok);  // N must be below frame count - first
  EXPECT_EQ(memory.one_of_n, 5);
  EXPECT_EQ(Modals(), (std::vector<std::string>{"First Frame is Out of Range",
                                                "One Frame Of N value is Out of Range"}));
}

TEST_F(Transforms, InverseAndThresholdSubtraction) {
  Open(2, 2, {{0, 4095, 150, 100}});  // 12-bit: the intensity range is 4096
  ASSERT_TRUE(Run("invert").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].pixels, (std::vector<uint16_t>{4096, 1, 3946, 3996}));

  ASSERT_TRUE(Run("threshold:0").ok);
  EXPECT_EQ(ReadRecord(out_)[0].pixels, (std::vector<uint16_t>{0, 4095, 150, 100}));
  ASSERT_TRUE(Run("threshold:100").ok);
  EXPECT_EQ(ReadRecord(out_)[0].pixels, (std::vector<uint16_t>{0, 3995, 50, 0}));
}

TEST_F(Transforms, TheWriterCropsWhenOnlyTheRegionIsSaved) {
  Open(4, 3, {test::Ramp(4, 3, 0), test::Ramp(4, 3, 100)});
  write_.region = {1, 1, 3, 3, true};
  ASSERT_TRUE(Run("threshold:0").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[1].pixels, (std::vector<uint16_t>{105, 106, 109, 110}));
  EXPECT_EQ(out[1].prm.X0, 11);
  EXPECT_EQ(out[1].prm.Width, 2);
}

TEST_F(Transforms, ProfileBandIsStraightenedIntoFrames) {
  Open(10, 6, {test::Ramp(10, 6, 0)});
  ASSERT_TRUE(Run("profile:1,2,8,2,3").ok);
  auto out = ReadRecord(out_);
  ASSERT_EQ(out.size(), 1u);
  const PRM_INFO& p = out[0].prm;
  EXPECT_EQ(p.Width, 7);
  EXPECT_EQ(p.Height, 3);
  EXPECT_EQ(p.X0, 1);
  EXPECT_EQ(p.Y0, 2);
  // Row 0 lies one pixel to the left of the rightward line: frame row 1.
  EXPECT_EQ(out[0].pixels[0], 11);
  EXPECT_EQ(out[0].pixels[7], 21);
  EXPECT_EQ(out[0].pixels[2 * 7 + 6], 37);

  EXPECT_FALSE(Run("profile:1,2,4,2,3").ok);
  EXPECT_FALSE(Run("profile:1,2,8,2,1").ok);
  EXPECT_EQ(Modals(), (std::vector<std::string>{std::string(kDrawProfileFirst),
                                                std::string(kProfileTooNarrow)}));
}

TEST_F(Transforms, AnOutputThatIsTheRecordIsRefused) {
  OpenFlat(3, 3, 3);
  const auto before = test::FileBytes(record_);
  out_ = dir_.Path("./rec.xkv");
  EXPECT_FALSE(Run("sum:2").ok);
  EXPECT_FALSE(Run("raw").ok);
  EXPECT_EQ(test::FileBytes(record_), before);
  EXPECT_EQ(Modals(), (std::vector<std::string>{std::string(kOutputIsOpenRecord),
                                                std::string(kOutputIsOpenRecord)}));
}

TEST_F(Transforms, EscStopsTheStream) {
  OpenFlat(2, 2, 6);
  std::atomic<bool> stop{false};
  ExportJob job{*store_, reporter_, {}, {}, &stop, [&](int32_t read) {
                  if (read == 2) stop = true;
                }};
  const ExportResult r = ExportThinOut(job, out_, 0, 1);
  EXPECT_TRUE(r.stopped);
  EXPECT_EQ(r.frames_read, 2);
  EXPECT_EQ(ReadRecord(out_).size(), 2u);
}

TEST(TransformRequest, RefusesMalformedTexts) {
  for (const char* bad : {"sum:3", "sum", "bin:4", "part:1", "thin:a,b", "invert:2", "blur",
                          "threshold:-1", "profile:1,2,3,4", "bin:2.5"}) {
    std::string error;
    EXPECT_FALSE(ParseTransformRequest(bad, error)) << bad;
    EXPECT_FALSE(error.empty()) << bad;
  }
}

}  // namespace
}  // namespace lumetra
