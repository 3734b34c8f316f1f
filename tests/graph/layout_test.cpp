// Validate's repairs, the layout from measured labels, point to pixel and the
// cursor readout's hit test.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "graph/graph_layout.h"
#include "graph/graph_model.h"
#include "graph/hit_test.h"

namespace lumetra {
namespace {

// Every character 7 pixels wide, every text 10 high.
class FixedMeasure final : public TextMeasure {
 public:
  int TextWidth(std::string_view t) const override { return 7 * static_cast<int>(t.size()); }
  int TextHeight(std::string_view) const override { return 10; }
};

TEST(GraphValidate, RepairsRangesAndTickDistances) {
  GraphModel m;
  EXPECT_TRUE(m.Validate());
  m.X.First = 5;
  m.X.Last = 5;  // equal ends
  m.Y0.Tick = 0;
  m.Y1.First = NAN;
  m.Y1.Tick = -2;
  EXPECT_FALSE(m.Validate());
  EXPECT_EQ(m.X.First, 0);
  EXPECT_EQ(m.X.Last, 10);
  EXPECT_EQ(m.Y0.Tick, 1.0);
  EXPECT_EQ(m.Y1.First, 0);
  EXPECT_EQ(m.Y1.Last, 10);
  EXPECT_EQ(m.Y1.Tick, 1.0);
  EXPECT_TRUE(m.Validate()) << "the repairs stay";

  m.Y0.First = 3;
  m.Y0.Last = -3;
  m.X.Tick = INFINITY;
  EXPECT_FALSE(m.Validate());
  EXPECT_EQ(m.Y0.First, 0);
  EXPECT_EQ(m.Y0.Last, 10);
  EXPECT_EQ(m.X.Tick, 1.0);
}

TEST(GraphValidate, ValidAxesAreLeftAlone) {
  GraphModel m;
  m.X = {-2.5, 0.75, 0.25, kTickDotted, 0};
  const GraphAxis before = m.X;
  EXPECT_TRUE(m.Validate());
  EXPECT_EQ(m.X.First, before.First);
  EXPECT_EQ(m.X.Last, before.Last);
  EXPECT_EQ(m.X.Tick, before.Tick);
}

TEST(GraphLayout, FontSizeBelowEightIsRaised) {
  GraphModel m;
  m.FontSize = 5;
  m.RaiseFontSize();
  EXPECT_EQ(m.FontSize, 8);
  m.FontSize = 14;
  m.RaiseFontSize();
  EXPECT_EQ(m.FontSize, 14);
}

struct Matrix {
  std::vector<float> v;
  int points;
  Matrix(int curves, int points) : v(static_cast<size_t>(curves + 1) * points), points(points) {}
  float& at(int row, int i) { return v[static_cast<size_t>(row) * points + i]; }
};

TEST(GraphLayout, MarginsComeFromTheWidestTickLabels) {
  GraphModel m;
  // Ticks -50 .. 100 (the first tick of -100 is one distance up): "-50" and
  // "100" are 21 wide.
  m.Y0 = {-100, 100, 50, kTickSolid, 0};
  const FixedMeasure measure;
  GraphLayout l = ComputeLayout(m, 800, 600, measure);
  EXPECT_EQ(l.LineHeight, 13);
  EXPECT_EQ(l.LeftMargin, 21 + 13 + 4);
  EXPECT_EQ(l.RightMargin, 0);
  EXPECT_FALSE(l.RightAxis);

  Matrix data(2, 3);
  m.SetData(data.v.data(), 2, 3);
  m.Curves[2].Y1 = true;  // in use, though not shown
  m.Y1 = {0, 0.5, 0.1, kTickDashed, 0};
  l = ComputeLayout(m, 800, 600, measure);
  EXPECT_TRUE(l.RightAxis);
  EXPECT_EQ(l.RightMargin, 21 + 13);  // "0.5"
  EXPECT_EQ(l.PlotLeft + l.PlotWidth + l.RightMargin + 1, 800);
}

// The last tick may lie past the axis's last value; its label is drawn where
// the tick falls; the layout leaves room above the plot for a Y label.
TEST(GraphLayout, LastTickPastTheEndIsDrawn) {
  struct Case {
    GraphAxis x, y0;
    bool over_x, over_y;
  };
  const Case cases[] = {
      {{0, 18, 5, kTickSolid, 0}, {0, 9.5, 2, kTickSolid, 0}, true, true},
      {{0, 20, 5, kTickSolid, 0}, {0, 9.5, 2, kTickSolid, 0}, false, true},
      {{0, 18, 5, kTickSolid, 0}, {0, 10, 2, kTickSolid, 0}, true, false},
      {{-0.75, 15.75, 5, kTickSolid, 0}, {-0.3, 6.3, 1, kTickSolid, 0}, true, true},
  };
  const FixedMeasure measure;
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "X " << c.x.First << ".." << c.x.Last << " Y "
                                    << c.y0.First << ".." << c.y0.Last);
    GraphModel m;
    m.X = c.x;
    m.Y0 = c.y0;
    const GraphLayout l = ComputeLayout(m, 1200, 800, measure);
    const int last_x = l.PixelX(l.TicksX.last);
    const int last_y = l.PixelY(l.TicksY0.last, false);
    // Without a right axis the right margin stays 0 even when the last X
    // tick lies past the end: the plot keeps the full width.
    EXPECT_EQ(l.RightMargin, 0);
    if (c.over_x) {
      EXPECT_GT(last_x, l.PlotRight());
    }
    if (c.over_y) {
      EXPECT_LT(last_y, l.PlotTop);
      EXPECT_GE(last_y, l.LineHeight / 2 + 2);
      EXPECT_LE(last_y, l.LineHeight / 2 + 3) << "no more room than it needs";
    } else {
      EXPECT_EQ(l.TopMargin, l.LineHeight / 2 + 2);
    }
    // Every tick drawn, the one past the end too.
    int64_t drawn = 0;
    ForEachTickX(l, [&](float, int32_t) { ++drawn; });
    EXPECT_EQ(drawn, l.TicksX.Count());
  }
}

// A tick distance larger than the range puts the last tick so far out that
// the plot is not shrunk for it.
TEST(GraphLayout, FarLastTickGetsNoRoom) {
  GraphModel m;
  m.X = {0, 0.5, 10, kTickSolid, 0};
  m.Y0 = {0, 0.5, 10, kTickSolid, 0};
  const GraphLayout l = ComputeLayout(m, 800, 600, FixedMeasure());
  EXPECT_EQ(l.RightMargin, 0);
  EXPECT_EQ(l.TopMargin, l.LineHeight / 2 + 2);
}

// More ticks than fit apart: every tick is visited, the labels measured and
// drawn are one per pixel, and the margin still holds the widest of them.
TEST(GraphLayout, ThousandsOfTicksStillGetLabels) {
  GraphModel m;
  m.Y0 = {0, 5000, 1, kTickSolid, 0};
  m.X = {0, 3000, 1, kTickSolid, 0};
  const FixedMeasure measure;
  const GraphLayout l = ComputeLayout(m, 800, 600, measure);
  EXPECT_EQ(l.LeftMargin, 4 * 7 + 13 + 4);  // "5000"
  int32_t previous = l.PlotBottom() + 1;
  int64_t drawn = 0;
  ForEachTickY(l, false, [&](float, int32_t y) {
    EXPECT_LT(y, previous);
    previous = y;
    ++drawn;
  });
  EXPECT_EQ(drawn, l.PlotHeight + 1);
  drawn = 0;
  ForEachTickX(l, [&](float, int32_t) { ++drawn; });
  EXPECT_EQ(drawn, l.PlotWidth + 1);
}

TEST(GraphLayout, AxisEndsMapToThePlotEdgesAndPixelsTruncate) {
  GraphModel m;
  m.X = {-4, 6, 1, kTickSolid, 0};
  m.Y0 = {100, 200, 10, kTickSolid, 0};
  const GraphLayout l = ComputeLayout(m, 1000, 700, FixedMeasure());
  EXPECT_EQ(l.PixelX(-4), l.PlotLeft);
  EXPECT_NEAR(l.PixelX(6), l.PlotRight(), 1);
  EXPECT_EQ(l.PixelY(100, false), l.PlotBottom());
  EXPECT_NEAR(l.PixelY(200, false), l.PlotTop, 1);
  // A value between pixels goes to the pixel nearer 0, never rounds up.
  const double x = -4 + 10.7 / l.ScaleX;
  EXPECT_EQ(l.PixelX(x), l.PlotLeft + 10);
  // Far-off values (gap sentinels) are held within the pixel limit.
  EXPECT_EQ(l.PixelY(-1e9, false), kPixelLimit);
  EXPECT_EQ(l.PixelX(1e30), kPixelLimit);
}

TEST(GraphLayout, TinySurfaceHasNoPlot) {
  GraphModel m;
  const GraphLayout l = ComputeLayout(m, 20, 20, FixedMeasure());
  EXPECT_FALSE(l.HasPlot());
}

// X at 0, 1, ..., 9; curve 1 flat at 2, curve 2 flat at 8 on the right axis
// (0..16, so also at mid-height... of its own scale).
class HitTestTest : public testing::Test {
 protected:
  void SetUp() override {
    for (int i = 0; i < 10; ++i) {
      data.at(0, i) = static_cast<float>(i);
      data.at(1, i) = 2;
      data.at(2, i) = 8;
    }
    m.SetData(data.v.data(), 2, 10);
    m.X = {0, 9, 1, kTickSolid, 0};
    m.Y0 = {0, 10, 1, kTickSolid, 0};
    m.Y1 = {0, 16, 2, kTickSolid, 0};
    m.Curves[1].Show = m.Curves[2].Show = true;
    m.Curves[2].Y1 = true;
    m.Readout.Enabled = true;
    l = ComputeLayout(m, 900, 500, FixedMeasure());
  }
  Matrix data{2, 10};
  GraphModel m;
  GraphLayout l;
};

TEST_F(HitTestTest, FindsTheFirstPointRightOfTheMouseAndCopiesItsRows) {
  const int mx = (l.PixelX(3) + l.PixelX(4)) / 2;
  EXPECT_TRUE(GraphHitTest(m, l, mx, 0));
  EXPECT_EQ(m.Readout.Index, 4);
  EXPECT_EQ(m.Readout.Values[0], 4);
  EXPECT_EQ(m.Readout.Values[1], 2);
  EXPECT_EQ(m.Readout.Values[2], 8);
  EXPECT_EQ(m.Readout.NearestCurve, 0);  // the mouse is at the top, far from both
  // Exactly on a point's pixel: that point is not "greater", the next one is.
  EXPECT_TRUE(GraphHitTest(m, l, l.PixelX(4), 0));
  EXPECT_EQ(m.Readout.Index, 5);
}

TEST_F(HitTestTest, NearestCurveWithinTwoPixelsOnItsOwnAxis) {
  const int mx = l.PixelX(5) - 1;
  const int y1 = l.PixelY(2, false);
  const int y2 = l.PixelY(8, true);
  ASSERT_GT(std::abs(y1 - y2), 10);
  GraphHitTest(m, l, mx, y2);
  EXPECT_EQ(m.Readout.NearestCurve, 2);
  // Hit while py > my - 2 and py <= my + 2: the mouse from py - 2 to py + 1.
  for (int dy = -4; dy <= 4; ++dy) {
    GraphHitTest(m, l, mx, y1 + dy);
    EXPECT_EQ(m.Readout.NearestCurve, dy >= -2 && dy <= 1 ? 1 : 0) << dy;
  }
  m.Curves[1].Show = false;  // hidden curves are not hit
  GraphHitTest(m, l, mx, y1);
  EXPECT_EQ(m.Readout.NearestCurve, 0);
}

TEST_F(HitTestTest, OutsideThePlotOrDisabledClearsTheReadout) {
  GraphHitTest(m, l, l.PixelX(2), 0);
  ASSERT_EQ(m.Readout.Values[2], 8);
  EXPECT_FALSE(GraphHitTest(m, l, l.PlotLeft, 0));
  EXPECT_EQ(m.Readout.Values[2], 0);
  EXPECT_EQ(m.Readout.Index, -1);
  EXPECT_TRUE(GraphHitTest(m, l, l.PlotRight(), 0));
  EXPECT_EQ(m.Readout.Index, -1) << "no point lies right of the last one";
  EXPECT_FALSE(GraphHitTest(m, l, l.PlotRight() + 1, 0));
  m.Readout.Enabled = false;
  EXPECT_FALSE(GraphHitTest(m, l, l.PixelX(2), 0));
}

TEST_F(HitTestTest, OnlyThePointRangeIsScanned) {
  m.Data.FirstPoint = 6;
  m.Data.LastPoint = 8;
  GraphHitTest(m, l, l.PixelX(1), 0);
  EXPECT_EQ(m.Readout.Index, 6);
  GraphHitTest(m, l, l.PixelX(8), 0);
  EXPECT_EQ(m.Readout.Index, -1);
}

}  // namespace
}  // namespace lumetra
