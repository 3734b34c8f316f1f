#include "display/lut_curve.h"

#include <gtest/gtest.h>

#include "common/report.h"
#include "display/palette.h"

namespace lumetra {
namespace {

// The full-range linear curve leaves every palette as it was built, for
// 8-, 12- and 16-bit records; counts above the range take the top colour.
TEST(LutCurve, FullRangeLinearIsThePaletteItself) {
  NullReporter quiet;
  for (int32_t n : {256, 4096, 65536}) {
    for (int32_t type : {kPaletteRYW, kPaletteGrey, kPaletteBGYR}) {
      SCOPED_TRACE(::testing::Message() << n << " type " << type);
      std::vector<uint32_t> palette;
      ASSERT_TRUE(BuildPalette(palette, n, type, quiet));
      const std::vector<uint32_t> table = ApplyLut(palette, FullRangeCurve(n));
      ASSERT_EQ(table.size(), 65536u);
      for (int32_t c = 0; c < 65536; ++c)
        ASSERT_EQ(table[c], palette[std::min(c, n - 1)]) << c;
    }
  }
}

TEST(LutCurve, ShapesHandlesAndThreshold) {
  LutCurve c;
  c.min = 100;
  c.max = 300;
  // Every shape reaches the first and the last colour at the handles and
  // keeps the order of the counts.
  for (LutShape shape : {LutShape::kLinear, LutShape::kGamma, LutShape::kSigmoid}) {
    c.shape = shape;
    c.gamma = 0.5;
    c.steepness = 12;
    SCOPED_TRACE(static_cast<int>(shape));
    EXPECT_EQ(LutIndex(c, 0, 256), 0);
    EXPECT_EQ(LutIndex(c, 100, 256), 0);
    EXPECT_EQ(LutIndex(c, 300, 256), 255);
    EXPECT_EQ(LutIndex(c, 65535, 256), 255);
    for (int32_t v = 100; v < 300; ++v) ASSERT_LE(*LutIndex(c, v, 256), *LutIndex(c, v + 1, 256));
  }
  c.shape = LutShape::kLinear;
  EXPECT_EQ(LutIndex(c, 200, 256), 128);  // 0.5 x 255 = 127.5, rounded
  c.shape = LutShape::kGamma;
  EXPECT_EQ(LutIndex(c, 150, 256), 128);  // sqrt(0.25) = 0.5
  c.shape = LutShape::kSigmoid;
  EXPECT_NEAR(*LutIndex(c, 200, 256), 127.5, 0.5);  // the middle stays the middle
  EXPECT_LT(*LutIndex(c, 130, 256), 30);  // and the ends are pressed flat
  c.threshold_on = true;
  c.threshold = 120;
  EXPECT_FALSE(LutIndex(c, 120, 256));
  EXPECT_TRUE(LutIndex(c, 121, 256));
  NullReporter quiet;
  std::vector<uint32_t> palette;
  ASSERT_TRUE(BuildPalette(palette, 256, kPaletteGrey, quiet));
  EXPECT_EQ(ApplyLut(palette, c)[110], 0u);
  EXPECT_EQ(ApplyLut(palette, c)[400], 0xFFFFFFu);
}

TEST(LutCurve, AutoContrastLeavesTheChosenFractionOutside) {
  // 1000 pixels: counts 0..999 once each.
  std::vector<uint16_t> frame(1000);
  for (int i = 0; i < 1000; ++i) frame[i] = static_cast<uint16_t>(i);
  std::vector<uint32_t> h;
  FrameHistogram(frame.data(), frame.size(), h);
  EXPECT_EQ(AutoContrast(h, 0), std::make_pair(0, 999));
  EXPECT_EQ(AutoContrast(h, 1), std::make_pair(5, 994));  // 5 pixels below, 5 above
  EXPECT_EQ(AutoContrast(h, 0.35), std::make_pair(1, 998));
  EXPECT_EQ(AutoContrast(h, 50), std::make_pair(250, 749));  // a quarter each side
  // A flat frame still gives a range, and so does an empty one.
  std::vector<uint16_t> flat(50, 65535);
  FrameHistogram(flat.data(), flat.size(), h);
  EXPECT_EQ(AutoContrast(h, 2), std::make_pair(65534, 65535));
  EXPECT_EQ(AutoContrast(std::vector<uint32_t>(65536, 0), 1), std::make_pair(0, 1));
  // Bins keep every pixel of the range.
  FrameHistogram(frame.data(), frame.size(), h);
  const auto bins = BinHistogram(h, 0, 999, 7);
  uint32_t total = 0;
  for (uint32_t b : bins) total += b;
  EXPECT_EQ(total, 1000u);
  EXPECT_EQ(bins[0], 143u);
}

TEST(LutCurve, ParsesTheOptionsAndFormatsTheReadouts) {
  LutCurve c;
  std::string error;
  EXPECT_TRUE(ParseLutShape("gamma:0.5", c, error));
  EXPECT_EQ(c.shape, LutShape::kGamma);
  EXPECT_DOUBLE_EQ(c.gamma, 0.5);
  EXPECT_TRUE(ParseLutShape("sigmoid:8", c, error));
  EXPECT_TRUE(ParseLutShape("linear", c, error));
  EXPECT_EQ(c.shape, LutShape::kLinear);
  for (const char* bad : {"gamma", "gamma:0", "gamma:11", "sigmoid:60", "log", "linear:2"})
    EXPECT_FALSE(ParseLutShape(bad, c, error)) << bad;
  EXPECT_TRUE(ParseLutRange("90,2000", c, error));
  EXPECT_EQ(c.min, 90);
  EXPECT_EQ(c.max, 2000);
  for (const char* bad : {"5", "5,5", "-1,9", "0,70000", "a,b"})
    EXPECT_FALSE(ParseLutRange(bad, c, error)) << bad;
  // The editor's input boxes: refused values change nothing.
  LutCurve e;
  e.max = 4095;
  double sat = 0.35;
  EXPECT_TRUE(ApplyLutValue(e, sat, LutValue::kMin, "200").empty());
  EXPECT_EQ(ApplyLutValue(e, sat, LutValue::kMax, "150"), "Maximum must be above Minimum (1-65535)");
  EXPECT_EQ(e.max, 4095);
  EXPECT_FALSE(ApplyLutValue(e, sat, LutValue::kMin, "4095").empty());
  EXPECT_FALSE(ApplyLutValue(e, sat, LutValue::kGamma, "0.05").empty());
  EXPECT_TRUE(ApplyLutValue(e, sat, LutValue::kGamma, "2.2").empty());
  EXPECT_FALSE(ApplyLutValue(e, sat, LutValue::kSaturated, "x").empty());
  EXPECT_TRUE(ApplyLutValue(e, sat, LutValue::kSaturated, "1.5").empty());
  EXPECT_EQ(OfferedText(e, sat, LutValue::kSaturated), "1.5");
  EXPECT_EQ(e.min, 200);
  EXPECT_DOUBLE_EQ(e.gamma, 2.2);
  EXPECT_EQ(CursorReadout(12, 34, 100.0f, 106.5f, 567), "x=12 y=34 (1200, 3621 nm) cnt=567");
  EXPECT_EQ(ColourBarLabels(c), std::make_pair(std::string("2000"), std::string("90")));
}

}  // namespace
}  // namespace lumetra
