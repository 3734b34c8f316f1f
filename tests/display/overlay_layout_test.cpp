#include "display/overlay_layout.h"

#include <gtest/gtest.h>

#include "display/window_placement.h"

namespace lumetra {
namespace {

// The main window's image area showing a 512 x 512 record of 100 nm pixels:
// visible image 800 x 600, info lines 330 x 46 in its bottom-left corner.
ScaleBarRequest Request(int32_t zoom, bool info) {
  ScaleBarRequest r;
  r.anchor = ScreenBox{0, 0, 800, 600};
  if (info) r.info_box = ScreenBox{6, 548, 330, 46};
  r.bar_um = 10;
  r.nm_per_pixel = 100;
  r.zoom = zoom;
  r.text_height = 14;
  r.char_width = 7;
  r.margin = 6;
  return r;
}

TEST(OverlayLayout, ScaleBarNeverCoversTheInfoLinesAndIsShownAtEveryZoom) {
  struct Case {
    int32_t zoom;
    bool info;
    double um;        // drawn length
    bool above_info;  // moved above the info lines
  };
  const Case cases[] = {
      {1, true, 10, false},   // 100 pixels: beside the info lines
      {4, true, 10, false},   // 400 pixels still fit beside them
      {6, true, 10, true},    // 600 pixels: only above them
      {7, true, 10, true},    // 700 pixels
      {8, true, 5, false},    // 800 pixels fit nowhere: 5 um beside
      {30, true, 1, false},   // 3000 pixels: 1 um (300 pixels) beside
      {6, false, 10, false},  // no info lines: the whole width
      {30, false, 2, false},  // 2 um = 600 pixels on the whole width
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << "zoom " << c.zoom << (c.info ? " with" : " without") << " info lines");
    const ScaleBarRequest r = Request(c.zoom, c.info);
    const ScaleBarLayout bar = PlaceScaleBar(r);
    ASSERT_TRUE(bar.shown);
    EXPECT_DOUBLE_EQ(bar.um, c.um);
    EXPECT_EQ(bar.bar.width, static_cast<int32_t>(c.um * 10 * c.zoom));
    EXPECT_TRUE(r.anchor.Contains(bar.box));
    EXPECT_TRUE(bar.box.Contains(bar.bar));
    EXPECT_TRUE(bar.box.Contains(bar.label_box));
    EXPECT_FALSE(bar.box.Intersects(r.info_box));
    EXPECT_EQ(bar.box.Right(), r.anchor.Right() - r.margin);
    EXPECT_EQ(bar.box.Bottom() <= r.info_box.top, c.above_info);
  }
}

TEST(OverlayLayout, LabelNamesTheLengthDrawn) {
  ScaleBarRequest r = Request(30, true);
  r.bar_um = 0.5;  // 150 pixels: fits as it is
  EXPECT_EQ(PlaceScaleBar(r).label, "0.5 um");
  r.bar_um = 10;
  EXPECT_EQ(PlaceScaleBar(r).label, "1 um");
}

TEST(OverlayLayout, NoBarForSizeZeroOrBelowTwoPixels) {
  ScaleBarRequest r = Request(1, true);
  r.bar_um = 0;
  EXPECT_FALSE(PlaceScaleBar(r).shown);
  r.bar_um = 0.1;  // one screen pixel
  EXPECT_FALSE(PlaceScaleBar(r).shown);
}

TEST(WindowPlacement, ToolWindowsOpenWhollyOnTheMainWindowsScreen) {
  const ScreenBox screen{0, 0, 1400, 1000};
  const ScreenBox second{1400, 0, 1280, 1024};
  struct Case {
    const char* what;
    ScreenBox main;
    int32_t w, h;
    ScreenBox screen;
    ScreenBox want;
  };
  const Case cases[] = {
      {"room on the right", {0, 0, 600, 500}, 600, 640, screen, {608, 0, 600, 640}},
      {"room on the left only", {760, 50, 600, 500}, 600, 640, screen, {152, 50, 600, 640}},
      {"no room beside", {0, 0, 820, 720}, 600, 640, screen, {800, 0, 600, 640}},
      {"no room beside, wider left", {560, 0, 820, 720}, 600, 640, screen, {0, 0, 600, 640}},
      {"too low", {300, 500, 820, 720}, 600, 640, screen, {0, 360, 600, 640}},
      {"larger than the screen", {0, 0, 820, 720}, 1600, 1200, screen, {0, 0, 1400, 1000}},
      {"second screen", {1500, 100, 820, 720}, 600, 640, second, {2080, 100, 600, 640}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const ScreenBox got = PlaceToolWindow(c.main, c.w, c.h, c.screen);
    EXPECT_EQ(got, c.want);
    EXPECT_TRUE(c.screen.Contains(got));
  }
}

}  // namespace
}  // namespace lumetra
