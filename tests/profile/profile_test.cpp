#include <gtest/gtest.h>

#include <atomic>
#include <cmath>

#include "profile/kymograph.h"
#include "profile/line_profile.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

// Pixel (x, y) holds 10 x + 1000 y.
std::vector<uint16_t> Plane(int32_t w, int32_t h, uint16_t add = 0) {
  std::vector<uint16_t> f(static_cast<size_t>(w) * h);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) f[static_cast<size_t>(y) * w + x] = 10 * x + 1000 * y + add;
  return f;
}

TEST(LineProfile, BandMeansAlongTheLineAndEdges) {
  const auto f = Plane(20, 10);
  // Horizontal line along row 4, width 3: rows 3, 4, 5 average to row 4.
  LineProfile p = MeasureLineProfile(f.data(), 20, 10, {2, 4, 12, 4, 3});
  ASSERT_EQ(p.mean.size(), 10u);
  for (size_t c = 0; c < 10; ++c) {
    EXPECT_DOUBLE_EQ(p.mean[c], 10.0 * (2 + c) + 4000) << c;
    EXPECT_EQ(p.pixels[c], 3);
  }
  // Along row 0 the band's upper row lies outside: two pixels per point, their mean.
  p = MeasureLineProfile(f.data(), 20, 10, {0, 0, 5, 0, 3});
  ASSERT_EQ(p.mean.size(), 5u);
  EXPECT_EQ(p.pixels[0], 2);
  EXPECT_DOUBLE_EQ(p.mean[1], 10 + 500.0);
  // A line running out of the frame: the points beyond have no value.
  p = MeasureLineProfile(f.data(), 20, 10, {15, 2, 25, 2, 1});
  ASSERT_EQ(p.mean.size(), 10u);
  EXPECT_DOUBLE_EQ(p.mean[4], 190 + 2000.0);
  EXPECT_TRUE(std::isnan(p.mean[5]));
  EXPECT_EQ(p.pixels[5], 0);
  const std::string text = ProfileText(p, 100);
  EXPECT_NE(text.find("5\t500.0\t20.000\t2.000\tnan\t0\n"), std::string::npos) << text;
}

TEST(LineProfile, ZeroLengthOrOutsideIsEmpty) {
  const auto f = Plane(20, 10);
  EXPECT_TRUE(MeasureLineProfile(f.data(), 20, 10, {5, 5, 5, 5, 3}).Empty());
  EXPECT_TRUE(MeasureLineProfile(f.data(), 20, 10, {5, 5, 5.5, 5.5, 3}).Empty());
  EXPECT_TRUE(MeasureLineProfile(f.data(), 20, 10, {-50, -50, -20, -30, 5}).Empty());
  EXPECT_TRUE(MeasureLineProfile(f.data(), 20, 10, {30, 2, 90, 2, 3}).Empty());
  EXPECT_TRUE(MeasureLineProfile(f.data(), 0, 0, {0, 0, 5, 0, 3}).Empty());
  EXPECT_EQ(ProfileText(MeasureLineProfile(f.data(), 20, 10, {1, 1, 1, 1, 1}), 100),
            "distance_px\tdistance_nm\tx\ty\tmean\tpixels\n");
}

TEST(Kymograph, OneRowPerFrameAndStops) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("k.xkv");
  test::WriteRecord(rec, 8, 6, {Plane(8, 6, 0), Plane(8, 6, 1), Plane(8, 6, 2)}, {0, 50, 100});
  CollectingReporter reporter;
  auto store = test::OpenRecord(rec, reporter);
  KymographBuilder k({1, 2, 5, 2, 1});
  int32_t calls = 0;
  EXPECT_TRUE(PlayKymograph(*store, k, reporter, nullptr, [&](int32_t, int32_t n) {
    EXPECT_EQ(n, 3);
    ++calls;
  }));
  EXPECT_TRUE(k.Completed());
  EXPECT_EQ(calls, 3);
  ASSERT_EQ(k.Rows(), 3);
  ASSERT_EQ(k.Points(), 4);
  EXPECT_DOUBLE_EQ(k.Values()[2 * 4 + 3], 40 + 2000 + 2.0);
  EXPECT_DOUBLE_EQ(k.Times()[2], 0.1);
  const std::string text = KymographText(k);
  EXPECT_NE(text.find("2\t0.1000\t3\t2042.000\n"), std::string::npos) << text;
  // The image runs from black at the smallest mean to white at the largest.
  const std::vector<uint32_t> image = KymographImage(k);
  ASSERT_EQ(image.size(), 12u);
  EXPECT_EQ(image[0], 0u);
  EXPECT_EQ(image[11], 0xFFFFFFu);

  std::atomic<bool> stop{true};
  KymographBuilder stopped({1, 2, 5, 2, 1});
  PlayKymograph(*store, stopped, reporter, &stop, {});
  EXPECT_FALSE(stopped.Completed());
  EXPECT_LE(stopped.Rows(), 1);
}

}  // namespace
}  // namespace lumetra
