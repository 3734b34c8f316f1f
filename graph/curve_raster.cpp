#include "graph/curve_raster.h"

#include <algorithm>

#include "common/parallel.h"

namespace lumetra {
namespace {

void DrawCircles(PixelBuffer& buf, const GraphModel& m, const GraphCurve& c, const CurveGeometry& g,
                 uint32_t color) {
  const bool filled = c.Style != kFillHollow;
  const uint32_t fill = c.Style == kFillCurveColor ? color : PixelOf(m.PanelColor);
  const SymbolStamp stamp = SymbolStamp::Circle(g.half, c.Width, color, filled, fill);
  for (const PixelPoint& s : g.symbols) stamp.Stamp(buf, s);
}

// Two strokes, `width` thick, through the centre.
void DrawCrosses(PixelBuffer& buf, const CurveGeometry& g, int width, uint32_t color) {
  const int lo = -(width - 1) / 2, hi = width / 2;
  for (const PixelPoint& s : g.symbols) {
    FillPixelRect(buf, {s.x - g.half, s.y + lo, s.x + g.half, s.y + hi}, color);
    FillPixelRect(buf, {s.x + lo, s.y - g.half, s.x + hi, s.y + g.half}, color);
  }
}

// Columns per band below which splitting is not worth a thread.
constexpr int64_t kMinBandColumns = 200;

}  // namespace

void DrawCurve(PixelBuffer& buf, const GraphModel& m, int k, const CurveGeometry& g) {
  const GraphCurve& c = m.Curves[k];
  const uint32_t color = PixelOf(c.Color);
  const int width = std::clamp(c.Width, 1, 100);
  for (int32_t r = 0; r < g.RunCount(); ++r)
    DrawPolyline(buf, g.line.data() + g.run_starts[r], g.RunEnd(r) - g.run_starts[r], width, color);
  if (g.shape == SymbolShape::kCircle) DrawCircles(buf, m, c, g, color);
  if (g.shape == SymbolShape::kCross) DrawCrosses(buf, g, width, color);
  if (!g.bars.empty()) FillBars(buf, g.bars, color);
  for (const PixelSegment& s : g.strokes) DrawThickLine(buf, s.a, s.b, width, color);
}

void RasterCurves(uint32_t* bits, int32_t stride, const GraphModel& m, const GraphLayout& l,
                  std::vector<CurveGeometry>& scratch, int workers) {
  if (!l.HasPlot()) return;
  scratch.resize(kCurveRecords);
  std::vector<int> shown;
  for (int k = 1; k <= m.CurveCount(); ++k) {
    if (!m.Curves[k].Show) continue;
    BuildCurveGeometry(m, l, k, scratch[k]);
    shown.push_back(k);
  }
  if (shown.empty()) return;
  const PixelRect plot{l.PlotLeft, l.PlotTop, l.PlotRight(), l.PlotBottom()};
  const int64_t columns = plot.right - plot.left + 1;
  ParallelChunks(
      columns,
      [&](int64_t begin, int64_t end) {
        PixelBuffer buf{bits, stride, l.Width, l.Height, plot, plot};
        buf.clip.left = plot.left + static_cast<int32_t>(begin);
        buf.clip.right = plot.left + static_cast<int32_t>(end) - 1;
        for (int k : shown) DrawCurve(buf, m, k, scratch[k]);
      },
      kMinBandColumns, workers);
}

}  // namespace lumetra
