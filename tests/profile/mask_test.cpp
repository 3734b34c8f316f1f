#include <gtest/gtest.h>

#include "cli/cli_common.h"
#include "processing/ghost.h"
#include "processing/mask.h"
#include "record/simulator.h"
#include "tests/processing/test_records.h"
#include "tests/support/cli_capture.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

using testing::XkvBuilder;

TEST(MaskFile, ReadsWithTheMaskRules) {
  test::ScratchDir dir;
  CollectingReporter r;
  PRM_INFO p = testing::TestHeader(3, 2, 8);
  p.Flags |= 0x80;
  XkvBuilder().Frame(p, {0, 1, 2, 0, 5, 0}).Save(dir.Path("m.xkv"));
  auto m = ReadMaskFile(dir.Path("m.xkv"), r);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->Set(), 3);
  XkvBuilder().Raw({1, 2, 3}).Save(dir.Path("short.xkv"));
  EXPECT_FALSE(ReadMaskFile(dir.Path("short.xkv"), r));
  PRM_INFO old = p;
  old.Flags &= 0x7F;
  XkvBuilder().Frame(old, {0, 1, 2, 0, 5, 0}).Save(dir.Path("old.xkv"));
  EXPECT_FALSE(ReadMaskFile(dir.Path("old.xkv"), r));
  ADD_INFO add;
  XkvBuilder().Frame(p, {}, &add).Truncate(10).Save(dir.Path("add.xkv"));
  EXPECT_FALSE(ReadMaskFile(dir.Path("add.xkv"), r));
  XkvBuilder().Frame(p, {0, 1, 2, 0, 5, 0}).Truncate(1).Save(dir.Path("cut.xkv"));
  EXPECT_FALSE(ReadMaskFile(dir.Path("cut.xkv"), r));
  EXPECT_EQ(r.Texts(MessageKind::kModal),
            (std::vector<std::string>{"Mask File Error", "File read error (PRM_INFO",
                                      "File read error (ADD_PRM", "Mask File Error"}));
  r.Clear();
  EXPECT_FALSE(MaskFitsRecord(*m, 4, 2, r));
  EXPECT_EQ(r.Details(), std::vector<std::string>{"mask 3 x 2, record 4 x 2"});
}

TEST(MaskStep, BooleanSubtractAndEqualizeInTheirOrder) {
  MaskStep step;
  EXPECT_FALSE(step.Enabled());
  step.SetMask({2, 2, {0, 2, 4, 10}});
  step.boolean_ = true;
  EXPECT_TRUE(step.Enabled());
  PRM_INFO prm = testing::TestHeader(2, 2);
  std::vector<uint16_t> px = {7, 7, 3, 65535};
  FrameView f{px.data(), 2, 2, prm, 0};
  step.Apply(f);
  EXPECT_EQ(px, (std::vector<uint16_t>{0, 7, 3, 65535}));
  step.subtract_ = true;
  step.Apply(f);
  EXPECT_EQ(px, (std::vector<uint16_t>{0, 5, 0, 65525}));
  // Mean 4: pixel x 4 / mask, clamped.
  step.boolean_ = step.subtract_ = false;
  step.equalize_ = true;
  px = {9, 9, 9, 40000};
  step.Apply(f);
  EXPECT_EQ(px, (std::vector<uint16_t>{0, 18, 9, 16000}));
  // A frame of another size passes unchanged.
  std::vector<uint16_t> other = {1, 2, 3};
  FrameView g{other.data(), 3, 1, prm, 0};
  step.Apply(g);
  EXPECT_EQ(other, (std::vector<uint16_t>{1, 2, 3}));
}

TEST(MaskStep, LimitsTheStepAnalysisAndIsRefusedAtAnotherSize) {
  test::ScratchDir dir;
  SimulationParams p;
  p.width = 40;
  p.height = 32;
  p.frames = 40;
  p.spots = 6;
  p.diffusion = 0;
  p.bleach_prob = 0.05;
  p.seed = 4;
  NullReporter quiet;
  const std::string rec = dir.Path("rec.xkv");
  ASSERT_TRUE(SimulateRecord(p, rec, quiet));
  // The left half only.
  std::vector<uint16_t> left(40 * 32, 0);
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 20; ++x) left[y * 40 + x] = 1;
  PRM_INFO h = testing::TestHeader(40, 32, 8);
  h.Flags |= 0x80;
  XkvBuilder().Frame(h, left).Save(dir.Path("left.xkv"));
  auto r = testing::Call(cli::RunSteps, {rec, "--out", dir.Path("s.txt"), "--maps",
                                         dir.Path("maps.tsv"), "--mask", dir.Path("left.xkv")});
  EXPECT_EQ(r.code, 0) << r.err;
  // No drop is seen right of the mask beyond the reach of the analysis box
  // (its half-width, 2 pixels, still sees the masked pixels beside it).
  const auto maps = test::FileBytes(dir.Path("maps.tsv"));
  std::string text(maps.begin(), maps.end());
  size_t pos = text.find('\n') + 1, right_drops = 0, left_drops = 0;
  while (pos < text.size()) {
    const size_t end = text.find('\n', pos);
    int x = 0, y = 0, drop = 0;
    std::sscanf(text.c_str() + pos, "%d\t%d\t%d", &x, &y, &drop);
    (x >= 22 ? right_drops : left_drops) += drop > 0;
    pos = end + 1;
  }
  EXPECT_EQ(right_drops, 0u);
  EXPECT_GT(left_drops, 0u);

  PRM_INFO small = testing::TestHeader(20, 32, 8);
  small.Flags |= 0x80;
  XkvBuilder().Frame(small, std::vector<uint16_t>(20 * 32, 1)).Save(dir.Path("small.xkv"));
  r = testing::Call(cli::RunTrack, {rec, "--out", dir.Path("t.xki"), "--mask", dir.Path("small.xkv")});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("The mask's frame size differs from the record's: mask 20 x 32, record 40 x 32"),
            std::string::npos)
      << r.err;
}

TEST(Ghost, OverlayIsClearUpToTheMedianAndOpaqueAtTheTop) {
  GhostFrame g{5, 1, {10, 10, 20, 110, 65}, ""};
  const auto o = GhostOverlay(g);
  EXPECT_EQ(o[2], 0u);
  EXPECT_EQ(o[3], (200u << 24) | 0xFFFFu);
  EXPECT_EQ(o[4] >> 24, 100u);
  EXPECT_EQ(GhostOverlay({2, 1, {5, 5}, ""}), (std::vector<uint32_t>{0, 0}));
}

}  // namespace
}  // namespace lumetra
