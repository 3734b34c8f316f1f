#include <gtest/gtest.h>

#include <cmath>

#include "cli/cli_common.h"
#include "processing/astigmatic_z.h"
#include "tests/processing/test_records.h"
#include "tests/support/cli_capture.h"

namespace lumetra {
namespace {

// Pixel-integrated elliptical Gaussian spots of 3000 photons on 100 counts.
std::vector<uint16_t> Spots(int32_t w, int32_t h, const std::vector<std::array<double, 4>>& spots) {
  std::vector<double> img(static_cast<size_t>(w) * h, 100.0);
  for (const auto& [x0, y0, sx, sy] : spots)
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        auto part = [](double a, double s) {
          return 0.5 * (std::erf((a + 0.5) / (s * std::sqrt(2.0))) -
                        std::erf((a - 0.5) / (s * std::sqrt(2.0))));
        };
        img[static_cast<size_t>(y) * w + x] += 3000 * part(x - x0, sx) * part(y - y0, sy);
      }
  std::vector<uint16_t> out(img.size());
  for (size_t i = 0; i < img.size(); ++i) out[i] = static_cast<uint16_t>(std::lround(img[i]));
  return out;
}

TEST(AstigmaticZ, HeightsComeBackFromTheWidthsTheyGive) {
  const AstigmatismCalibration cal;
  for (int z : {-700, -250, 0, 130, 520})
    EXPECT_NEAR(ZFromWidths(cal.WidthX(z), cal.WidthY(z), cal), z, 1.0) << z;
  EXPECT_TRUE(std::isnan(ZFromWidths(cal.WidthX(1500), cal.WidthY(1500), cal)));
  EXPECT_TRUE(std::isnan(ZFromWidths(0, 100, cal)));

  // Spots rendered at known heights, 100 nm pixels, read out within 30 nm.
  const int32_t w = 80, h = 20;
  std::vector<std::array<double, 4>> spots;
  const std::vector<int> heights = {-400, -100, 0, 150, 450};
  for (size_t i = 0; i < heights.size(); ++i)
    spots.push_back({8.0 + 15 * i + 0.3, 9.6, cal.WidthX(heights[i]) / 100, cal.WidthY(heights[i]) / 100});
  const auto frame = Spots(w, h, spots);
  for (size_t i = 0; i < heights.size(); ++i) {
    const SpotWidths sw = MeasureSpotWidths(frame.data(), w, h, spots[i][0], spots[i][1]);
    ASSERT_TRUE(sw.ok);
    EXPECT_NEAR(ZFromWidths(sw.sx_px * 100, sw.sy_px * 100, cal), heights[i], 30) << heights[i];
  }
  EXPECT_FALSE(MeasureSpotWidths(frame.data(), w, h, 2, 10).ok) << "too near the edge";

  // The command: a track table in, one height per point out.
  test::ScratchDir dir;
  const std::string rec = dir.Path("z.xkv");
  test::WriteRecord(rec, w, h, {frame, frame});
  const std::string tracks = "track\tframe\tx_px\ty_px\n0\t1\t38.3\t9.6\n1\t0\t2\t2\n";
  test::WriteBytes(dir.Path("t.tsv"), std::vector<uint8_t>(tracks.begin(), tracks.end()));
  const auto r = testing::Call(cli::RunZcoord, {rec, "--tracks", dir.Path("t.tsv")});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "track\tframe\tx_px\ty_px\tsigma_x_nm\tsigma_y_nm\tz_nm");
  EXPECT_NE(r.out.find("1\t0\t2.000\t2.000\tnan\tnan\tnan\n"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace lumetra
