// Opening records, the frame index, navigation with wrap-around, the selected
// part of the record, the processing chain and the playback loop.
#include "record/record_store.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "record/playback.h"
#include "record/record_messages.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

using testing::TempPath;
using testing::TestHeader;
using testing::XkvBuilder;

// A record of n 4 x 3 frames, 50 ms apart, whose pixels all hold the frame number + 1.
std::string NumberedRecord(int n, const std::string& name = "numbered.xkv", uint8_t bits = 8) {
  XkvBuilder b;
  for (int i = 0; i < n; ++i) b.Flat(TestHeader(4, 3, bits, i * 50), static_cast<uint16_t>(i + 1));
  const std::string path = TempPath(name);
  b.Save(path);
  return path;
}

class RecordStoreTest : public ::testing::Test {
 protected:
  std::unique_ptr<RecordStore> store = RecordStore::Create(messages);
  CollectingReporter messages;
  // The value every pixel of the frame shown holds (frame number + 1).
  int Shown() const { return store->FrameBuffer()[0]; }
};

TEST_F(RecordStoreTest, OpeningBuildsTheIndexAndShowsFrameZero) {
  const std::string path = NumberedRecord(5);
  ASSERT_TRUE(store->Open(path, messages));
  EXPECT_EQ(store->FrameCount(), 5);
  EXPECT_EQ(store->CurrentFrame(), 0);
  EXPECT_EQ(Shown(), 1);
  EXPECT_NEAR(store->FrameInterval(), 0.05 + 0.0001, 1e-7);
  EXPECT_EQ(store->MaxLevel(), 256);
  EXPECT_EQ(store->FrameIndex()[3].FrameBytes, 12);
  EXPECT_EQ(store->FrameIndex()[3].FrameTimeMs, 150);
  EXPECT_FLOAT_EQ(store->FrameTimes()[4], 0.2f);
  EXPECT_EQ(store->Caption(), "Lumetra - " + path + " (5 frames, 0 Mb)");
  EXPECT_TRUE(messages.messages().empty());
}

TEST_F(RecordStoreTest, CaptionSizeIsTruncatedNotRounded) {
  EXPECT_EQ(RecordStore::MakeCaption("a.xkv", 500, 123'456'789),
            "Lumetra - a.xkv (500 frames, 123.4 Mb)");
  EXPECT_EQ(RecordStore::MakeCaption("a.xkv", 1, 99'999), "Lumetra - a.xkv (1 frames, 0 Mb)");
  EXPECT_EQ(RecordStore::MakeCaption("a.xkv", 1, 100'000), "Lumetra - a.xkv (1 frames, 0.1 Mb)");
  EXPECT_EQ(RecordStore::MakeCaption("a.xkv", 1, 3'000'000), "Lumetra - a.xkv (1 frames, 3 Mb)");
}

TEST_F(RecordStoreTest, NavigationWrapsAtTheEnd) {
  ASSERT_TRUE(store->Open(NumberedRecord(3), messages));
  EXPECT_TRUE(store->NextFrame(messages));
  EXPECT_TRUE(store->NextFrame(messages));
  EXPECT_EQ(Shown(), 3);
  // The read past the end fails, closes the file and starts over at frame 0.
  EXPECT_FALSE(store->NextFrame(messages));
  EXPECT_EQ(store->CurrentFrame(), 0);
  EXPECT_FALSE(store->RecordReading());
  EXPECT_TRUE(store->NextFrame(messages));
  EXPECT_EQ(Shown(), 1);
  EXPECT_EQ(store->CurrentFrame(), 0);

  // Back: nothing on frame 0, frame 0 again from frame 1.
  store->PrevFrame(messages);
  EXPECT_EQ(Shown(), 1);
  store->NextFrame(messages);
  store->NextFrame(messages);
  store->PrevFrame(messages);
  EXPECT_EQ(store->CurrentFrame(), 1);
  EXPECT_EQ(Shown(), 2);
  store->PrevFrame(messages);
  EXPECT_EQ(Shown(), 1);

  EXPECT_TRUE(store->GoToFrame(2, messages));
  EXPECT_EQ(Shown(), 3);
  EXPECT_TRUE(store->GoToFrame(0, messages));
  EXPECT_EQ(Shown(), 1);
  store->FirstFrame(messages);
  EXPECT_EQ(store->CurrentFrame(), 0);
  EXPECT_TRUE(messages.messages().empty());
}

TEST_F(RecordStoreTest, OneFrameRecord) {
  ASSERT_TRUE(store->Open(NumberedRecord(1), messages));
  EXPECT_DOUBLE_EQ(store->FrameInterval(), 0.0001);
  EXPECT_FALSE(store->NextFrame(messages));
  EXPECT_TRUE(store->NextFrame(messages));
  EXPECT_EQ(store->CurrentFrame(), 0);
  EXPECT_EQ(Shown(), 1);
}

TEST_F(RecordStoreTest, EmptyAndMissingFiles) {
  const std::string empty = TempPath("empty.xkv");
  XkvBuilder().Save(empty);
  ASSERT_TRUE(store->Open(empty, messages));
  EXPECT_EQ(store->FrameCount(), 0);
  EXPECT_TRUE(messages.Contains(kNoFramesWarning));
  EXPECT_FALSE(store->GoToFrame(0, messages));
  EXPECT_TRUE(messages.Contains(kFileNotOpen));

  messages.Clear();
  ASSERT_TRUE(store->Open(NumberedRecord(2), messages));
  EXPECT_FALSE(store->Open(TempPath("missing.xkv"), messages));
  EXPECT_EQ(messages.Texts(), std::vector<std::string>{std::string(kFileOpenError)});
  EXPECT_EQ(store->FrameCount(), 2) << "a failed open leaves the record as it was";
  messages.Clear();
  EXPECT_FALSE(store->Open(std::filesystem::path(empty).parent_path().string(), messages));
  EXPECT_EQ(messages.Texts(), std::vector<std::string>{std::string(kFileOpenError)}) << "a folder";
}

TEST_F(RecordStoreTest, AtMostTenThousandFramesAreIndexedAndShown) {
  XkvBuilder b;
  for (int i = 0; i < 12000; ++i)
    b.Flat(TestHeader(1, 1, 8, i), static_cast<uint16_t>(i >= 10000 ? 99 : 1));
  const std::string path = TempPath("long.xkv");
  b.Save(path);
  ASSERT_TRUE(store->Open(path, messages));
  EXPECT_EQ(store->FrameCount(), 10000);
  int read = 1;
  while (store->NextFrame(messages)) {
    ++read;
    ASSERT_EQ(Shown(), 1);
  }
  EXPECT_EQ(read, 10000);
}

TEST_F(RecordStoreTest, FramesOfAnotherSizeWarnOnce) {
  const std::string same = TempPath("same.xkv"), other = TempPath("other.xkv");
  XkvBuilder()
      .Flat(TestHeader(4, 4, 8), 1)
      .Flat(TestHeader(4, 4, 12), 1000)
      .Flat(TestHeader(4, 4, 8), 2)
      .Save(same);
  ASSERT_TRUE(store->Open(same, messages));
  EXPECT_TRUE(messages.messages().empty());
  EXPECT_EQ(store->MaxLevel(), 4096);

  XkvBuilder()
      .Flat(TestHeader(4, 4, 8), 1)
      .Flat(TestHeader(8, 2, 8), 2)
      .Flat(TestHeader(5, 5, 8), 3)
      .Save(other);
  ASSERT_TRUE(store->Open(other, messages));
  EXPECT_EQ(messages.Texts(MessageKind::kWarning),
            std::vector<std::string>{std::string(kDifferentSizeWarning)});
  // 8 x 2 holds as many pixels as 4 x 4; the 5 x 5 frame is the different one. All are shown.
  ASSERT_TRUE(store->GoToFrame(2, messages));
  EXPECT_EQ(store->Width(), 5);
  EXPECT_EQ(store->FrameBuffer()[24], 3);
}

TEST_F(RecordStoreTest, CutShortLastFrameCountsButFailsToRead) {
  const std::string path = TempPath("cut.xkv");
  XkvBuilder().Flat(TestHeader(4, 4, 8), 1).Flat(TestHeader(4, 4, 8), 2).Truncate(5).Save(path);
  ASSERT_TRUE(store->Open(path, messages));
  EXPECT_EQ(store->FrameCount(), 2);
  EXPECT_FALSE(store->NextFrame(messages));
  EXPECT_TRUE(messages.Contains(kFrameReadingError));
  EXPECT_EQ(store->CurrentFrame(), 0);
  EXPECT_FALSE(store->HasFrame()) << "the buffer holds no frame after a refused read";
  EXPECT_TRUE(store->NextFrame(messages));
  EXPECT_TRUE(store->HasFrame());
  EXPECT_EQ(Shown(), 1);
}

TEST_F(RecordStoreTest, AFileWithoutAReadableFirstFrameLeavesTheOpenRecordAsItWas) {
  const std::string good = NumberedRecord(3);
  struct Case {
    const char* name;
    std::vector<uint8_t> bytes;
    std::string_view message;
    std::string detail_start;  // after the path
  };
  XkvBuilder cut_pixels;
  cut_pixels.Flat(TestHeader(4, 3, 8), 1).Flat(TestHeader(4, 3, 8), 2).Truncate(120 - 55);
  XkvBuilder huge;
  huge.Raw(std::vector<uint8_t>(200, 0));
  {
    const PrmBytes hb = EncodePrmInfo(TestHeader(2000, 2001, 8));
    std::copy(hb.begin(), hb.end(), huge.bytes().begin());
  }
  const Case cases[] = {
      {"cut inside frame 0's pixels", cut_pixels.bytes(), kFrameReadingError,
       ": frame 0 needs 12 bytes of pixel data, the file holds 7"},
      {"cut inside frame 0's header", std::vector<uint8_t>(20, 1), kFrameReadingError,
       ": the file ends inside the header of frame 0"},
      {"a text file", std::vector<uint8_t>(300, 'x'), kBrokenFrameHeader,
       ": frame 0 can not be read"},
      {"a frame above 4 Mpix", huge.bytes(), kTooLargeFrameSize, ": frame 0 can not be read"},
  };
  const std::string bad = TempPath("bad-first.xkv");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    XkvBuilder::SaveBytes(bad, c.bytes);
    ASSERT_TRUE(store->Open(good, messages));
    ASSERT_TRUE(store->GoToFrame(1, messages));
    const std::string caption = store->Caption();
    messages.Clear();
    EXPECT_FALSE(store->Open(bad, messages));
    ASSERT_EQ(messages.Texts(MessageKind::kModal).size(), 1u);
    EXPECT_EQ(messages.Texts(MessageKind::kModal)[0].rfind(c.message, 0), 0u);
    ASSERT_EQ(messages.Details().size(), 1u);
    EXPECT_EQ(messages.Details()[0], bad + c.detail_start);
    // The open record is untouched: its file, caption, frame and place in the file.
    EXPECT_EQ(store->RecordFileName(), good);
    EXPECT_EQ(store->Caption(), caption);
    EXPECT_EQ(store->FrameCount(), 3);
    EXPECT_TRUE(store->HasFrame());
    EXPECT_EQ(store->CurrentFrame(), 1);
    EXPECT_EQ(Shown(), 2);
    EXPECT_TRUE(store->NextFrame(messages));
    EXPECT_EQ(Shown(), 3);

    // With nothing open before, nothing is open after, and no frame is claimed.
    CollectingReporter fresh_messages;
    auto fresh = RecordStore::Create(fresh_messages);
    EXPECT_FALSE(fresh->Open(bad, fresh_messages));
    EXPECT_FALSE(fresh->RecordLoaded());
    EXPECT_FALSE(fresh->HasFrame());
  }
}

TEST_F(RecordStoreTest, AFrameZeroRefusedLaterLeavesNoCurrentFrame) {
  const std::string path = NumberedRecord(2, "shrinks.xkv");
  ASSERT_TRUE(store->Open(path, messages));
  ASSERT_TRUE(store->HasFrame());
  std::filesystem::resize_file(path, 50);  // changed on disk after opening
  store->FirstFrame(messages);
  EXPECT_TRUE(messages.Contains(kFrameReadingError));
  EXPECT_FALSE(store->HasFrame());
  EXPECT_TRUE(store->RecordLoaded());

  messages.Clear();
  std::filesystem::remove(path);
  store->FirstFrame(messages);
  EXPECT_EQ(messages.Texts(), std::vector<std::string>{std::string(kFileOpenError)});
  EXPECT_EQ(messages.Details(), std::vector<std::string>{path + ": No such file or directory"});
  EXPECT_FALSE(store->HasFrame());
}

TEST_F(RecordStoreTest, SelectedPartOfTheRecord) {
  // Starts at 0 and 10; the first must stay 2 below the last and the last 2 above the first.
  EXPECT_TRUE(store->SetSelFirstFrameText("8", messages));
  EXPECT_FALSE(store->SetSelFirstFrameText("9", messages));
  EXPECT_FALSE(store->SetSelFirstFrameText("-1", messages));
  EXPECT_FALSE(store->SetSelFirstFrameText("abc", messages));
  EXPECT_EQ(store->SelFirstFrame(), 8);
  EXPECT_EQ(messages.Texts(), std::vector<std::string>(3, std::string(kFirstFrameOutOfRange)));
  messages.Clear();
  EXPECT_FALSE(store->SetSelLastFrameText("9", messages));
  EXPECT_TRUE(store->SetSelLastFrameText("10", messages));
  EXPECT_TRUE(store->SetSelLastFrameText("100000", messages));  // no bound against the record
  EXPECT_EQ(messages.Texts(), std::vector<std::string>{std::string(kLastFrameOutOfRange)});

  ASSERT_TRUE(store->Open(NumberedRecord(20), messages));
  store->SetUsePartOfRecord(true);
  EXPECT_EQ(store->PlayFirstFrame(), 8);
  EXPECT_EQ(store->PlayLastFrame(), 19);
  store->SetUsePartOfRecord(false);
  EXPECT_EQ(store->PlayFirstFrame(), 0);
}

// Adds `add` to every pixel and remembers the order it ran in.
class AddStep : public FrameStep {
 public:
  AddStep(ChainSlot slot, uint16_t add, std::vector<int>* log)
      : slot_(slot), add_(add), log_(log) {}
  ChainSlot Slot() const override { return slot_; }
  bool Enabled() const override { return enabled; }
  void Restart() override { ++restarts; }
  void Apply(FrameView& f) override {
    for (int i = 0; i < f.width * f.height; ++i)
      f.pixels[i] = static_cast<uint16_t>(f.pixels[i] + add_);
    log_->push_back(static_cast<int>(slot_));
  }
  bool enabled = true;
  int restarts = 0;

 private:
  ChainSlot slot_;
  uint16_t add_;
  std::vector<int>* log_;
};

TEST_F(RecordStoreTest, ChainRunsInSlotOrderOnEveryFrameAndRaisesMaxLevel) {
  std::vector<int> log;
  AddStep temporal(ChainSlot::kTemporal, 10, &log), mask(ChainSlot::kMask, 300, &log);
  store->AddStep(&temporal);
  store->AddStep(&mask);
  ASSERT_TRUE(store->Open(NumberedRecord(3), messages));
  EXPECT_EQ(log, (std::vector<int>{1, 5}));
  EXPECT_EQ(Shown(), 311);
  EXPECT_EQ(temporal.restarts, 1);
  mask.enabled = false;
  store->NextFrame(messages);
  EXPECT_EQ(Shown(), 12);

  // A frame deeper than any indexed one (the file grew deeper since it was
  // scanned) raises MaxLevel as it is read.
  store->RemoveStep(&temporal);
  store->RemoveStep(&mask);
  const std::string path = TempPath("deeper.xkv");
  XkvBuilder().Flat(TestHeader(2, 2, 8), 1).Flat(TestHeader(2, 2, 8), 1).Save(path);
  ASSERT_TRUE(store->Open(path, messages));
  EXPECT_EQ(store->MaxLevel(), 256);
  store->NextFrame(messages);
  EXPECT_FALSE(store->NextFrame(messages));  // wrapped: the file is closed
  XkvBuilder().Flat(TestHeader(2, 2, 12), 3000).Flat(TestHeader(2, 2, 8), 1).Save(path);
  ASSERT_TRUE(store->NextFrame(messages));
  EXPECT_EQ(store->MaxLevel(), 4096);
}

// Remembers which frames a playback handed over.
class Recorder : public FrameConsumer {
 public:
  void StartRecord(const RecordStore&) override { ++starts; }
  void OnFrame(const RecordStore& s) override { frames.push_back(s.CurrentFrame()); }
  void EndRecord(const RecordStore&, bool completed) override { ended_complete = completed; }
  std::vector<int> frames;
  int starts = 0;
  bool ended_complete = false;
};

TEST_F(RecordStoreTest, PlaybackHandsEachFrameOfTheRangeOnce) {
  ASSERT_TRUE(store->Open(NumberedRecord(12), messages));
  Recorder all;
  Playback(*store, {&all}).Run(messages);
  EXPECT_EQ(all.frames.size(), 12u);
  EXPECT_EQ(all.frames.back(), 11);
  EXPECT_TRUE(all.ended_complete);

  store->SetUsePartOfRecord(true);
  ASSERT_TRUE(store->SetSelFirstFrameText("3", messages));
  ASSERT_TRUE(store->SetSelLastFrameText("6", messages));
  Recorder part;
  Playback(*store, {&part}).Run(messages);
  EXPECT_EQ(part.frames, (std::vector<int>{3, 4, 5, 6}));
  EXPECT_EQ(part.starts, 1);

  std::atomic<bool> stop{false};
  Recorder stopped;
  Playback play(*store, {&stopped}, &stop);
  ASSERT_TRUE(play.Begin(messages));
  EXPECT_TRUE(play.Step(messages));
  stop = true;
  EXPECT_FALSE(play.Step(messages));
  play.Finish();
  EXPECT_EQ(stopped.frames, (std::vector<int>{3, 4}));
  EXPECT_FALSE(stopped.ended_complete);
}

}  // namespace
}  // namespace lumetra
