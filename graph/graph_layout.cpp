#include "graph/graph_layout.h"

#include <algorithm>
#include <cmath>

namespace lumetra {
namespace {

int32_t ToPixel(double v) {
  if (std::isnan(v)) return kPixelLimit;
  return static_cast<int32_t>(
      std::clamp(v, -static_cast<double>(kPixelLimit), static_cast<double>(kPixelLimit)));
}

double Scale(int32_t extent, const GraphAxis& axis) {
  const double range = axis.Last - axis.First;
  return range > 0 ? static_cast<double>(extent) / range : 0.0;
}

}  // namespace

int32_t GraphLayout::PixelX(double x) const {
  return ToPixel(PlotLeft + (x - FirstX) * ScaleX);
}

int32_t GraphLayout::PixelY(double y, bool right_axis) const {
  return right_axis ? ToPixel(PlotBottom() - (y - FirstY1) * ScaleY1)
                    : ToPixel(PlotBottom() - (y - FirstY0) * ScaleY0);
}

int WidestTickLabel(const TickSpan& ticks, const TextMeasure& measure) {
  if (ticks.Count() > kMaxTicksPerAxis) return 0;
  int widest = 0;
  for (int64_t n = ticks.first_n; n <= ticks.last_n; ++n)
    widest = std::max(widest, measure.TextWidth(TickLabelText(ticks.Value(n))));
  return widest;
}

GraphLayout ComputeLayout(const GraphModel& model, int width, int height,
                          const TextMeasure& measure) {
  GraphLayout l;
  l.Width = std::clamp(width, 0, kBitmapWidth);
  l.Height = std::clamp(height, 0, kBitmapHeight);
  l.RightAxis = model.RightAxisInUse();
  l.TicksX = AxisTicks(model.X.First, model.X.Last, model.X.Tick);
  l.TicksY0 = AxisTicks(model.Y0.First, model.Y0.Last, model.Y0.Tick);
  if (l.RightAxis) l.TicksY1 = AxisTicks(model.Y1.First, model.Y1.Last, model.Y1.Tick);

  l.LineHeight = measure.TextHeight(kLineHeightSample) + 3;
  l.LeftMargin = WidestTickLabel(l.TicksY0, measure) + l.LineHeight + 4;
  l.RightMargin = l.RightAxis ? WidestTickLabel(l.TicksY1, measure) + l.LineHeight : 0;
  // Half a line above for the top tick label; below, the X labels and title.
  l.TopMargin = l.LineHeight / 2 + 2;
  l.BottomMargin = 2 * l.LineHeight + 4;

  l.PlotLeft = l.LeftMargin;
  l.PlotTop = l.TopMargin;
  // One pixel less, so that the right and bottom frame lines stay on the surface.
  l.PlotWidth = std::max(0, l.Width - l.LeftMargin - l.RightMargin - 1);
  l.PlotHeight = std::max(0, l.Height - l.TopMargin - l.BottomMargin - 1);

  l.ScaleX = Scale(l.PlotWidth, model.X);
  l.ScaleY0 = Scale(l.PlotHeight, model.Y0);
  l.ScaleY1 = Scale(l.PlotHeight, model.Y1);
  l.FirstX = model.X.First;
  l.FirstY0 = model.Y0.First;
  l.FirstY1 = model.Y1.First;
  return l;
}

}  // namespace lumetra
