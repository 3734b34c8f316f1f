#include <gtest/gtest.h>

#include <cmath>

#include "processing/frame_drift.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

// A field of Gaussian spots moved by (dx, dy) pixels.
std::vector<uint16_t> Field(int32_t w, int32_t h, double dx, double dy) {
  std::vector<uint16_t> f(static_cast<size_t>(w) * h);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      double v = 100;
      for (int i = 0; i < 25; ++i) {
        const double sx = 8 + (i * 29) % 60 + dx, sy = 6 + (i * 17) % 44 + dy;
        const double d2 = (x - sx) * (x - sx) + (y - sy) * (y - sy);
        v += 800 * std::exp(-d2 / (2 * 1.5 * 1.5));
      }
      f[static_cast<size_t>(y) * w + x] = static_cast<uint16_t>(std::lround(v));
    }
  return f;
}

TEST(FrameDrift, FollowsASubPixelDriftOnAnyNumberOfThreads) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("drift.xkv");
  std::vector<std::vector<uint16_t>> frames;
  for (int f = 0; f < 40; ++f) frames.push_back(Field(80, 60, 0.3 * f, -0.2 * f));
  test::WriteRecord(rec, 80, 60, frames);
  CollectingReporter reporter;
  auto store = test::OpenRecord(rec, reporter);
  FrameDriftOptions options;
  options.block = 5;
  options.workers = 1;
  bool stopped = false;
  const auto one = EstimateFrameDrift(*store, options, reporter, nullptr, {}, stopped);
  ASSERT_TRUE(one);
  ASSERT_EQ(one->dx_px.size(), 40u);
  for (size_t f = 0; f < 40; ++f) {
    EXPECT_NEAR(one->dx_px[f], 0.3 * f, 0.1) << f;
    EXPECT_NEAR(one->dy_px[f], -0.2 * f, 0.1) << f;
  }
  options.workers = 2;
  const auto two = EstimateFrameDrift(*store, options, reporter, nullptr, {}, stopped);
  ASSERT_TRUE(two);
  EXPECT_EQ(one->dx_px, two->dx_px);
  EXPECT_EQ(one->dy_px, two->dy_px);
  // The table reads back as the same shifts, to the nm it is written in.
  const std::string table = FrameDriftText(*one, store->FrameTimes(), 100, 100, 5);
  std::vector<double> dx, dy;
  std::string error;
  ASSERT_TRUE(DriftShiftsFromTable(table, 100, 100, 40, dx, dy, error)) << error;
  EXPECT_NEAR(dx[39], one->dx_px[39], 1e-4);
  EXPECT_NEAR(dy[39], one->dy_px[39], 1e-4);
}

TEST(FrameDrift, RefusesShortRecordsAndReadsTablesWithGaps) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("short.xkv");
  test::WriteRecord(rec, 20, 20, {Field(20, 20, 0, 0), Field(20, 20, 0, 0)});
  CollectingReporter reporter;
  auto store = test::OpenRecord(rec, reporter);
  bool stopped = false;
  EXPECT_FALSE(EstimateFrameDrift(*store, {}, reporter, nullptr, {}, stopped));
  EXPECT_FALSE(reporter.Texts(MessageKind::kModal).empty());

  std::vector<double> dx, dy;
  std::string error;
  ASSERT_TRUE(DriftShiftsFromTable("pairs\tdy_nm\tframe\tdx_nm\n3\t-50\t1\t100\n3\t-60\t3\t200\n",
                                   100, 50, 6, dx, dy, error))
      << error;
  EXPECT_EQ(dx, (std::vector<double>{0, 1, 1, 2, 2, 2}));
  EXPECT_EQ(dy, (std::vector<double>{0, -1, -1, -1.2, -1.2, -1.2}));
  EXPECT_FALSE(DriftShiftsFromTable("frame\tx\n0\t1\n", 100, 100, 3, dx, dy, error));
  EXPECT_NE(error.find("dx_nm"), std::string::npos);
}

}  // namespace
}  // namespace lumetra
