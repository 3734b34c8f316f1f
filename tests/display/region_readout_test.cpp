#include "display/region_readout.h"

#include <gtest/gtest.h>

namespace lumetra {
namespace {

TEST(RegionReadout, MeanAndRelativeMeanAreTruncated) {
  // 4 x 2 frame, mean 2.5; the region is the right half: 3, 4, 3, 4 -> mean 3.5.
  const std::vector<uint16_t> frame = {1, 2, 3, 4, 1, 2, 3, 4};
  const Region r{2, 0, 4, 2, true};
  const RegionStats s = MeasureRegion(frame.data(), 4, 2, r);
  EXPECT_DOUBLE_EQ(s.mean, 3.5);
  EXPECT_DOUBLE_EQ(s.relative, 1.4);
  EXPECT_EQ(RegionReadout(r, s),
            "Left=2, Width=2, Top=0, Height=2 pixels, 3.5 Cnt/Pix (1.400 REL Cnt/Pix)");
  EXPECT_EQ(RegionReadout({1, 2, 4, 5, true}, {2.99, 0.6666}),
            "Left=1, Width=3, Top=2, Height=3 pixels, 2.9 Cnt/Pix (0.666 REL Cnt/Pix)");
}

TEST(RegionReadout, OnlyThePartInsideTheFrameCounts) {
  const std::vector<uint16_t> frame = {0, 0, 0, 8};  // 2 x 2
  EXPECT_DOUBLE_EQ(MeasureRegion(frame.data(), 2, 2, {1, 1, 50, 50, true}).mean, 8.0);
  const RegionStats outside = MeasureRegion(frame.data(), 2, 2, {5, 5, 9, 9, true});
  EXPECT_EQ(outside.mean, 0.0);
  const std::vector<uint16_t> black(4, 0);
  EXPECT_EQ(MeasureRegion(black.data(), 2, 2, {0, 0, 2, 2, true}).relative, 0.0);
}

}  // namespace
}  // namespace lumetra
