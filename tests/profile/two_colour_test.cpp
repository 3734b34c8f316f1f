#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

#include "processing/two_colour.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

TEST(SplitFrame, HalvesRoundDownAndOddMiddleBelongsToNeither) {
  SplitRects r = SplitFrame(5, 4, SplitLayout::kLeftRight);
  EXPECT_EQ(r.first.left, 0);
  EXPECT_EQ(r.first.right, 2);
  EXPECT_EQ(r.second.left, 3);
  EXPECT_EQ(r.second.right, 5);
  EXPECT_EQ(r.second.bottom, 4);
  r = SplitFrame(6, 7, SplitLayout::kTopBottom);
  EXPECT_EQ(r.first.bottom, 3);
  EXPECT_EQ(r.second.top, 4);
  EXPECT_EQ(r.second.right, 6);
  EXPECT_FALSE(SplitFrame(1, 9, SplitLayout::kLeftRight).Valid());
  EXPECT_EQ(ChannelName("/d/cell3.xkv", 2), "/d/cell3-ch2.xkv");
  EXPECT_EQ(ChannelName("/d.x/cell3", 1), "/d.x/cell3-ch1.xkv");
}

TEST(SplitTwoColour, WritesBothChannelsFromOnePass) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("two.xkv");
  test::WriteRecord(rec, 5, 2, {test::Ramp(5, 2, 0), test::Ramp(5, 2, 100)});
  CollectingReporter reporter;
  auto store = test::OpenRecord(rec, reporter);
  ExportJob job{*store, reporter, {}, {}, nullptr, {}};
  const SplitResult r =
      SplitTwoColourRecord(job, dir.Path("c1.xkv"), dir.Path("c2.xkv"), SplitLayout::kLeftRight);
  ASSERT_TRUE(r.export_result.ok) << reporter.Texts().size();
  EXPECT_EQ(r.export_result.frames_written, 2);
  const auto c1 = test::ReadRecord(dir.Path("c1.xkv"));
  const auto c2 = test::ReadRecord(dir.Path("c2.xkv"));
  ASSERT_EQ(c1.size(), 2u);
  ASSERT_EQ(c2.size(), 2u);
  EXPECT_EQ(c1[1].pixels, (std::vector<uint16_t>{100, 101, 105, 106}));
  EXPECT_EQ(c2[1].pixels, (std::vector<uint16_t>{103, 104, 108, 109}));
  EXPECT_EQ(c2[0].prm.X0, store->Prm().X0 + 3);
  EXPECT_EQ(c2[0].prm.Width, 2);
  EXPECT_FALSE(std::filesystem::exists(dir.Path("c1.xkv.part")));
}

TEST(SplitTwoColour, RefusesWithoutLeavingFiles) {
  test::ScratchDir dir;
  const std::string narrow = dir.Path("narrow.xkv");
  test::WriteRecord(narrow, 1, 3, {test::Ramp(1, 3, 0)});
  CollectingReporter reporter;
  auto store = test::OpenRecord(narrow, reporter);
  ExportJob job{*store, reporter, {}, {}, nullptr, {}};
  SplitResult r =
      SplitTwoColourRecord(job, dir.Path("a.xkv"), dir.Path("b.xkv"), SplitLayout::kLeftRight);
  EXPECT_FALSE(r.export_result.ok);
  EXPECT_TRUE(reporter.Contains("Frame too small to split"));
  EXPECT_FALSE(std::filesystem::exists(dir.Path("a.xkv")));
  EXPECT_FALSE(std::filesystem::exists(dir.Path("b.xkv.part")));
  // Esc before the first frame: neither channel appears.
  std::atomic<bool> stop{true};
  const std::string rec = dir.Path("r.xkv");
  test::WriteRecord(rec, 4, 2, {test::Ramp(4, 2, 0)});
  auto store2 = test::OpenRecord(rec, reporter);
  ExportJob stopped{*store2, reporter, {}, {}, &stop, {}};
  r = SplitTwoColourRecord(stopped, dir.Path("a.xkv"), dir.Path("b.xkv"), SplitLayout::kTopBottom);
  EXPECT_TRUE(r.export_result.stopped);
  EXPECT_FALSE(std::filesystem::exists(dir.Path("a.xkv")));
  EXPECT_FALSE(std::filesystem::exists(dir.Path("b.xkv")));
  // One file for both channels is refused.
  reporter.Clear();
  r = SplitTwoColourRecord(stopped, dir.Path("a.xkv"), dir.Path("a.xkv"), SplitLayout::kTopBottom);
  EXPECT_TRUE(reporter.Contains("Both channels would go to one file"));
}

}  // namespace
}  // namespace lumetra
