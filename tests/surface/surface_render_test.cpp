// The 3D surface view: pictures of known regions seen from above and from
// the side, flat and one-pixel-high regions, the typed settings, and the
// surface command.
#include "surface/surface_render.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "cli/cli_common.h"
#include "record/simulator.h"
#include "surface/surface_messages.h"
#include "tests/display/png_decode.h"
#include "tests/support/cli_capture.h"

namespace lumetra {
namespace {

std::vector<uint32_t> GreyPalette() {
  std::vector<uint32_t> p(256);
  for (uint32_t i = 0; i < 256; ++i) p[i] = i * 0x010101u;
  return p;
}

RgbImage Draw(const std::vector<uint16_t>& frame, int32_t width, const Region& region,
              const SurfaceView& view, int32_t w = 200, int32_t h = 150) {
  RgbImage out;
  out.Resize(w, h, 0);
  SurfaceRenderer r;
  r.Render(frame.data(), width, region, GreyPalette(), view, out);
  return out;
}

std::set<uint32_t> Colours(const RgbImage& img) {
  std::set<uint32_t> s(img.pixels.begin(), img.pixels.end());
  s.erase(kSurfaceBackground);
  return s;
}

TEST(SurfaceRender, TopViewShowsEachPixelInPlace) {
  // 4 x 2 region of a 6-wide frame, seen straight from above as blocks.
  const std::vector<uint16_t> frame = {9, 9,  9,  9,  9,  9,  //
                                       9, 10, 20, 30, 40, 9,  //
                                       9, 50, 60, 70, 80, 9};
  SurfaceView view{90, 0, 0.3, true};
  const RgbImage img = Draw(frame, 6, Region{1, 1, 5, 3, true}, view, 200, 100);
  // The picture fits 4 x 2 cells into 200 x 100 less a 5-pixel margin: 45 pixels a cell.
  for (int32_t j = 0; j < 2; ++j)
    for (int32_t i = 0; i < 4; ++i) {
      SCOPED_TRACE(i + 4 * j);
      EXPECT_EQ(img.pixels[static_cast<size_t>(5 + 45 * j + 22) * 200 + 10 + 45 * i + 22],
                (10u + 10u * (i + 4 * j)) * 0x010101u);
    }
  EXPECT_EQ(img.pixels[2 * 200 + 2], kSurfaceBackground);
}

TEST(SurfaceRender, SideViewShowsTheTallestBlockHighest) {
  const std::vector<uint16_t> frame = {0, 200, 100};
  SurfaceView view{0, 0, 1.0, true};
  const RgbImage img = Draw(frame, 3, Region{0, 0, 3, 1, true}, view, 300, 200);
  // The 3 x 3 box fits 180 pixels wide from x = 60: a cell every 60 pixels.
  auto top_of = [&](int32_t x) {
    for (int32_t y = 0; y < img.height; ++y)
      if (img.pixels[static_cast<size_t>(y) * img.width + x] != kSurfaceBackground) return y;
    return img.height;
  };
  EXPECT_EQ(top_of(150), 10);         // the tallest block reaches the top margin
  EXPECT_NEAR(top_of(210), 100, 1);   // half as tall
  EXPECT_EQ(top_of(90), img.height);  // no height, seen edge-on: nothing
}

TEST(SurfaceRender, FlatAndOnePixelHighRegionsGiveDefinedPictures) {
  const std::vector<uint16_t> flat(50 * 40, 77);
  for (bool blocks : {false, true}) {
    SCOPED_TRACE(blocks);
    SurfaceView view;
    view.blocks = blocks;
    // A flat frame lies flat: one colour (shaded alike everywhere), no NaN.
    const RgbImage a = Draw(flat, 50, Region{0, 0, 50, 40, true}, view);
    ASSERT_EQ(Colours(a).size(), 1u);
    if (blocks) {
      EXPECT_EQ(*Colours(a).begin(), 77u * 0x010101u);
    }
    // A region one pixel high and one pixel wide, and a single pixel.
    std::vector<uint16_t> row(50 * 40, 10);
    for (int32_t x = 0; x < 50; ++x)
      row[static_cast<size_t>(5) * 50 + x] = static_cast<uint16_t>(x * 5);
    for (const Region& r :
         {Region{0, 5, 50, 6, true}, Region{7, 0, 8, 40, true}, Region{3, 3, 4, 4, true}}) {
      const RgbImage b = Draw(row, 50, r, view);
      EXPECT_FALSE(Colours(b).empty());
      EXPECT_EQ(Draw(row, 50, r, view).pixels, b.pixels);
    }
    // Edge-on and with no height at all.
    view.tilt_deg = 0;
    view.height_scale = 0;
    EXPECT_NO_FATAL_FAILURE(Draw(row, 50, Region{0, 5, 50, 6, true}, view));
  }
}

TEST(SurfaceRender, BandsOnSeveralThreadsDrawTheSamePicture) {
  std::vector<uint16_t> frame(60 * 50);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint16_t>((i * 7919) % 251);
  for (bool blocks : {false, true}) {
    SCOPED_TRACE(blocks);
    SurfaceView view{35, 140, 0.4, blocks};
    RgbImage one, many;
    one.Resize(333, 257, 0);
    many.Resize(333, 257, 0);
    SurfaceRenderer a, b;
    a.Render(frame.data(), 60, Region{3, 4, 57, 49, true}, GreyPalette(), view, one, 1);
    b.Render(frame.data(), 60, Region{3, 4, 57, 49, true}, GreyPalette(), view, many, 3);
    EXPECT_EQ(one.pixels, many.pixels);
    EXPECT_GT(Colours(one).size(), 50u);
  }
}

TEST(SurfaceRender, TypedSettingsAndRegions) {
  CollectingReporter r;
  SurfaceView v;
  EXPECT_FALSE(SetTilt(v, 91, r));
  EXPECT_FALSE(SetHeightScale(v, -0.1, r));
  EXPECT_FALSE(SetTurn(v, 400, r));
  EXPECT_EQ(r.Texts(), (std::vector<std::string>{std::string(kTiltError), std::string(kHeightError),
                                                 std::string(kTurnError)}));
  EXPECT_EQ(v.tilt_deg, SurfaceView{}.tilt_deg);
  EXPECT_TRUE(SetTurn(v, -90, r));
  EXPECT_EQ(ParsePictureSize("640 x 480", r), (std::pair<int32_t, int32_t>{640, 480}));
  EXPECT_EQ(ParsePictureSize("64,48", r), (std::pair<int32_t, int32_t>{64, 48}));
  EXPECT_FALSE(ParsePictureSize("10x10", r));
  EXPECT_FALSE(ParsePictureSize("640x480x3", r));
  EXPECT_EQ(SurfaceRegion(Region{}, 30, 20)->Width(), 30);
  EXPECT_EQ(SurfaceRegion(Region{-5, 2, 10, 50, true}, 30, 20)->bottom, 20);
  EXPECT_FALSE(SurfaceRegion(Region{40, 0, 50, 5, true}, 30, 20));
}

TEST(SurfaceCommand, WritesThePictureAndRefusesBadInput) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::temp_directory_path() / "lumetra_surface_cli";
  fs::create_directories(dir);
  const std::string rec = (dir / "sim.xkv").string();
  SimulationParams p;
  p.width = 40;
  p.height = 30;
  p.frames = 3;
  CollectingReporter r;
  ASSERT_TRUE(SimulateRecord(p, rec, r));
  const std::string png = (dir / "s.png").string(), bmp = (dir / "s.bmp").string();
  auto run = testing::Call(cli::RunSurface, {rec, "--index", "2", "--region", "5,5,25,6", "--out",
                                             png, "--size", "320x200", "--blocks"});
  ASSERT_EQ(run.code, 0) << run.err;
  const auto d = DecodePng(png);
  EXPECT_EQ(d.width, 320u);
  EXPECT_EQ(d.height, 200u);
  run = testing::Call(cli::RunSurface, {rec, "--out", bmp, "--tilt", "90"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_GT(fs::file_size(bmp), 800u * 600u * 3u);
  EXPECT_EQ(testing::Call(cli::RunSurface, {rec, "--region", "5,5,45,6", "--out", png}).code, 2);
  EXPECT_EQ(testing::Call(cli::RunSurface, {rec, "--tilt", "95", "--out", png}).code, 2);
  EXPECT_EQ(testing::Call(cli::RunSurface, {rec, "--index", "3", "--out", png}).code, 1);
  EXPECT_EQ(testing::Call(cli::RunSurface, {rec, "--out", (dir / "s.gif").string()}).code, 2);
  CollectingReporter r2;
  EXPECT_FALSE(SaveSurfacePicture((dir / "s.gif").string(), RgbImage{}, r2));
  EXPECT_TRUE(r2.Contains(kImageFormatError));
  EXPECT_FALSE(fs::exists(dir / "s.gif"));
  fs::remove_all(dir);
}

}  // namespace
}  // namespace lumetra
