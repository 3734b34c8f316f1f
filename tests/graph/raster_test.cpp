// The curve rasteriser: line thickness, far-off ends, bar unions, the
// "LineCircle" gaps in the geometry, and banded drawing giving the same pixels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "common/random.h"
#include "graph/curve_geometry.h"
#include "graph/curve_raster.h"
#include "graph/graph_layout.h"
#include "graph/pixel_raster.h"

namespace lumetra {
namespace {

constexpr uint32_t kInk = 0xFF102030;

struct Canvas {
  int w, h;
  std::vector<uint32_t> px;
  PixelBuffer buf;
  Canvas(int w, int h) : w(w), h(h), px(static_cast<size_t>(w) * h, 0) {
    buf = {px.data(), w, w, h, {0, 0, w - 1, h - 1}, {0, 0, w - 1, h - 1}};
  }
  uint32_t at(int x, int y) const { return px[static_cast<size_t>(y) * w + x]; }
  int RowCount(int y) const {
    int n = 0;
    for (int x = 0; x < w; ++x) n += at(x, y) == kInk;
    return n;
  }
  int ColumnCount(int x) const {
    int n = 0;
    for (int y = 0; y < h; ++y) n += at(x, y) == kInk;
    return n;
  }
};

TEST(PixelRaster, ThicknessIsMeasuredAcrossTheLine) {
  for (int width : {1, 2, 3, 5, 10}) {
    SCOPED_TRACE(width);
    Canvas c(200, 200);
    DrawThickLine(c.buf, {20, 100}, {180, 100}, width, kInk);  // horizontal
    EXPECT_EQ(c.ColumnCount(100), width);
    Canvas d(200, 200);
    DrawThickLine(d.buf, {20, 20}, {180, 180}, width, kInk);  // 45 degrees
    // A row of a 45-degree line crosses it at sqrt(2) times its thickness.
    const int expected = width == 1 ? 1 : static_cast<int>(width * 1.41421356 + 0.5);
    EXPECT_EQ(d.RowCount(100), expected);
  }
}

// Textbook Bresenham with the same spans across the line, for comparison.
void ReferenceLine(Canvas& c, PixelPoint a, PixelPoint b, int width) {
  const int dx = std::abs(b.x - a.x), dy = std::abs(b.y - a.y);
  const int sx = a.x < b.x ? 1 : -1, sy = a.y < b.y ? 1 : -1;
  const bool steep = dy > dx;
  int span = width;
  if (width > 1 && (dx | dy) != 0)
    span = static_cast<int>(
        std::floor(width * std::sqrt(double(dx) * dx + double(dy) * dy) / (steep ? dy : dx) + 0.5));
  const int lo = -(span - 1) / 2, hi = span / 2;
  const int steps = steep ? dy : dx;
  int err = steps / 2, x = a.x, y = a.y;
  auto put = [&](int px, int py) {
    const PixelRect& k = c.buf.clip;
    if (px >= k.left && px <= k.right && py >= k.top && py <= k.bottom)
      c.px[static_cast<size_t>(py) * c.w + px] = kInk;
  };
  for (int i = 0; i <= steps; ++i) {
    for (int j = lo; j <= hi; ++j) steep ? put(x + j, y) : put(x, y + j);
    if (steep) {
      y += sy;
      err -= dx;
      if (err < 0) x += sx, err += dy;
    } else {
      x += sx;
      err -= dy;
      if (err < 0) y += sy, err += dx;
    }
  }
}

TEST(PixelRaster, LinesStepLikeTheTextbookWhetherClippedOrNot) {
  Rng rng(21);
  for (int i = 0; i < 400; ++i) {
    const int width = 1 + i % 4;
    const PixelPoint a{static_cast<int>(rng.Uniform() * 160) + 20,
                       static_cast<int>(rng.Uniform() * 160) + 20};
    // Both ends within the reach, so the line is stepped uncut.
    const PixelPoint b{a.x + static_cast<int>(rng.Uniform() * 12) - 6,
                       std::clamp(a.y + static_cast<int>(rng.Uniform() * 80) - 40, 0, 199)};
    for (const PixelRect clip : {PixelRect{0, 0, 199, 199}, PixelRect{0, 0, a.x, 199}}) {
      Canvas got(200, 200), want(200, 200);
      got.buf.clip = want.buf.clip = clip;
      DrawThickLine(got.buf, a, b, width, kInk);
      ReferenceLine(want, a, b, width);
      ASSERT_EQ(got.px, want.px) << i << ": (" << a.x << "," << a.y << ")-(" << b.x << "," << b.y
                                 << ") width " << width << " clip right " << clip.right;
    }
  }
}

TEST(PixelRaster, FarEndsAreCutBeforeStepping) {
  Canvas c(100, 100);
  c.buf.clip = c.buf.reach = {10, 10, 89, 89};
  DrawThickLine(c.buf, {50, 50}, {50, 4000000}, 1, kInk);
  DrawThickLine(c.buf, {-4000000, -4000000}, {4000000, 4000000}, 2, kInk);
  EXPECT_EQ(c.ColumnCount(50), 89 - 50 + 1 + 1);  // the vertical run plus the diagonal
  EXPECT_EQ(c.at(5, 95), 0u) << "nothing outside the clip";
  EXPECT_EQ(c.at(9, 9), 0u);
  EXPECT_EQ(c.at(20, 20), kInk);
}

TEST(PixelRaster, BarUnionMatchesFillingEachBar) {
  Rng rng(3);
  Canvas a(300, 200), b(300, 200);
  a.buf.clip = b.buf.clip = {10, 10, 289, 189};
  std::vector<PixelRect> bars;
  for (int i = 0; i < 400; ++i) {
    const int x = static_cast<int>(rng.Uniform() * 320) - 10;
    const int top = static_cast<int>(rng.Uniform() * 260) - 30;
    bars.push_back({x - 3, std::min(top, 189), x + 3, std::max(top, 189)});
  }
  FillBars(a.buf, bars, kInk);
  for (const PixelRect& r : bars) FillPixelRect(b.buf, r, kInk);
  EXPECT_EQ(a.px, b.px);
}

struct Graph {
  std::vector<float> m;
  GraphModel model;
  GraphLayout layout;
  static constexpr int kPoints = 400;
  explicit Graph(int curves) : m(static_cast<size_t>(curves + 1) * kPoints) {
    Rng rng(9);
    for (int i = 0; i < kPoints; ++i) m[i] = static_cast<float>(i);
    for (int k = 1; k <= curves; ++k)
      for (int i = 0; i < kPoints; ++i)
        m[static_cast<size_t>(k) * kPoints + i] = static_cast<float>(k + rng.Normal());
    model.SetData(m.data(), curves, kPoints);
    model.X = {0, kPoints - 1, 50, kTickSolid, 0};
    model.Y0 = {-2, 16, 2, kTickSolid, 0};
    model.Y1 = {-10, 30, 5, kTickSolid, 0};
    layout.Width = 700;
    layout.Height = 400;
    layout.PlotLeft = 40;
    layout.PlotTop = 10;
    layout.PlotWidth = 640;
    layout.PlotHeight = 350;
    layout.ScaleX = 640.0 / (kPoints - 1);
    layout.ScaleY0 = 350.0 / 18;
    layout.ScaleY1 = 350.0 / 40;
    layout.FirstY0 = -2;
    layout.FirstY1 = -10;
  }
  float& at(int row, int i) { return m[static_cast<size_t>(row) * kPoints + i]; }
};

TEST(CurveGeometry, LineCircleBreaksAtSentinels) {
  Graph g(1);
  g.model.Curves[1].Type = kCurveLineCircle;
  g.at(1, 100) = -1000000.0f;    // at the line sentinel: a gap, but a circle
  g.at(1, 200) = -200000000.0f;  // below both: a gap and no circle
  g.at(1, 201) = -5000000.0f;    // one more gap point: no one-point run between
  CurveGeometry geo;
  BuildCurveGeometry(g.model, g.layout, 1, geo);
  ASSERT_EQ(geo.RunCount(), 3);
  EXPECT_EQ(geo.run_starts[1], 100);
  EXPECT_EQ(geo.RunEnd(1), 100 + 99);  // points 101..199; 200 and 201 are gaps
  EXPECT_EQ(geo.line.size(), static_cast<size_t>(Graph::kPoints - 3));
  EXPECT_EQ(geo.symbols.size(), static_cast<size_t>(Graph::kPoints - 1));
}

TEST(CurveGeometry, LineSkipsRepeatedPixelsAndCircleToo) {
  Graph g(1);
  for (int i = 0; i < Graph::kPoints; ++i) g.at(1, i) = 3;
  g.at(0, 11) = g.at(0, 10);  // two points on one pixel
  CurveGeometry geo;
  g.model.Curves[1].Type = kCurveLine;
  BuildCurveGeometry(g.model, g.layout, 1, geo);
  EXPECT_EQ(geo.line.size(), static_cast<size_t>(Graph::kPoints - 1));
  g.model.Curves[1].Type = kCurveCircle;
  BuildCurveGeometry(g.model, g.layout, 1, geo);
  EXPECT_EQ(geo.symbols.size(), static_cast<size_t>(Graph::kPoints - 1));
  g.model.Curves[1].Type = kCurveCross;  // crosses at every point
  BuildCurveGeometry(g.model, g.layout, 1, geo);
  EXPECT_EQ(geo.symbols.size(), static_cast<size_t>(Graph::kPoints));
}

TEST(CurveGeometry, VariationSpansValuePlusMinusTheNextRow) {
  Graph g(2);
  g.model.Curves[1].Type = kCurveVariation;
  g.model.Curves[1].Size = 6;
  g.at(1, 0) = 5;
  g.at(2, 0) = 1.5f;
  CurveGeometry geo;
  BuildCurveGeometry(g.model, g.layout, 1, geo);
  ASSERT_EQ(geo.strokes.size(), static_cast<size_t>(3 * Graph::kPoints));
  const PixelSegment bar = geo.strokes[0];
  EXPECT_EQ(bar.a.y, g.layout.PixelY(6.5, false));
  EXPECT_EQ(bar.b.y, g.layout.PixelY(3.5, false));
  EXPECT_EQ(geo.strokes[1].b.x - geo.strokes[1].a.x, 6);
}

TEST(RasterCurves, BandsGiveTheSamePixelsAsOnePass) {
  Graph g(kMaxCurves);
  for (int k = 1; k <= kMaxCurves; ++k) {
    GraphCurve& c = g.model.Curves[k];
    c.Show = true;
    c.Type = (k - 1) % 7;
    c.Width = 1 + k % 5;
    c.Size = 2 + 2 * (k % 4);
    c.Y1 = k % 3 == 0;
    c.Color = 0x10101u * static_cast<uint32_t>(k * 17);
  }
  g.at(4, 50) = -3000000.0f;
  std::vector<CurveGeometry> scratch;
  std::vector<uint32_t> one(700 * 400, 0), two(700 * 400, 0), five(700 * 400, 0);
  RasterCurves(one.data(), 700, g.model, g.layout, scratch, 1);
  RasterCurves(two.data(), 700, g.model, g.layout, scratch, 2);
  RasterCurves(five.data(), 700, g.model, g.layout, scratch, 5);
  EXPECT_EQ(one, two);
  EXPECT_EQ(one, five);
  // Nothing outside the plot.
  for (int y = 0; y < 400; ++y)
    for (int x = 0; x < 700; ++x)
      if (x < 40 || x > 680 || y < 10 || y > 360) {
        ASSERT_EQ(one[y * 700 + x], 0u) << x << "," << y;
      }
}

}  // namespace
}  // namespace lumetra
