#include "settings/fwhm_preview.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace lumetra {
namespace {

TEST(FwhmPreview, DrawsTheSpotOfTheSetFwhm) {
  const int32_t w = 20, h = 15;
  std::vector<uint16_t> frame(static_cast<size_t>(w * h), 7);
  PaintFwhmPreview(frame.data(), w, h, 250, 100.0f);
  const double sigma = 250 / (2.355 * 100);
  EXPECT_NEAR(PreviewSigma(250, 100.0f), sigma, 1e-12);
  auto at = [&](int r, int c) { return frame[static_cast<size_t>(r * w + c)]; };
  EXPECT_EQ(at(5, 5), 100);
  // trunc(100 exp(-1 / (2 sigma^2))) one pixel off the centre, both ways.
  const auto one = static_cast<uint16_t>(100 * std::exp(-1 / (2 * sigma * sigma)));
  EXPECT_EQ(one, 64);
  EXPECT_EQ(at(5, 6), one);
  EXPECT_EQ(at(4, 5), one);
  EXPECT_EQ(at(0, 0), 0);   // 5 pixels off both ways
  EXPECT_EQ(at(0, 11), 7);  // right of the preview
  EXPECT_EQ(at(11, 0), 7);  // below it
  // Symmetric about the centre.
  for (int r = 0; r < 11; ++r)
    for (int c = 0; c < 11; ++c) ASSERT_EQ(at(r, c), at(10 - r, 10 - c));
}

TEST(FwhmPreview, WiderPixelsGiveASmallerSpotAndSmallFramesAreClipped) {
  std::vector<uint16_t> a(121), b(121);
  PaintFwhmPreview(a.data(), 11, 11, 250, 100.0f);
  PaintFwhmPreview(b.data(), 11, 11, 250, 200.0f);
  EXPECT_GT(a[5 * 11 + 6], b[5 * 11 + 6]);
  std::vector<uint16_t> tiny(6, 9);  // 3 x 2
  PaintFwhmPreview(tiny.data(), 3, 2, 250, 100.0f);
  EXPECT_EQ(tiny[0], 0);
  EXPECT_EQ(SpotModel(0, 0, 0), 0.0);
  EXPECT_EQ(SpotModel(0, 0, 1), 1.0);
}

}  // namespace
}  // namespace lumetra
