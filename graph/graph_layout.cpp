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

// How far the axis's last tick lies past its last value, in axis ranges; 0
// when it does not, or when it lies so far that making room is not worth it.
double Overhang(const TickSpan& ticks, const GraphAxis& axis) {
  const double range = axis.Last - axis.First;
  if (ticks.Count() == 0 || !(range > 0) || !std::isfinite(range)) return 0;
  const double over = (static_cast<double>(ticks.last) - axis.Last) / range;
  return over > 0 && over <= kMaxLastTickOverhang ? over : 0;
}

}  // namespace

int32_t GraphLayout::PixelX(double x) const {
  return ToPixel(PlotLeft + (x - FirstX) * ScaleX);
}

int32_t GraphLayout::PixelY(double y, bool right_axis) const {
  return right_axis ? ToPixel(PlotBottom() - (y - FirstY1) * ScaleY1)
                    : ToPixel(PlotBottom() - (y - FirstY0) * ScaleY0);
}

int WidestTickLabel(const GraphLayout& l, bool right_axis, const TextMeasure& measure) {
  int widest = 0;
  ForEachTickY(l, right_axis, [&](float v, int32_t) {
    widest = std::max(widest, measure.TextWidth(TickLabelText(v)));
  });
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
  l.FirstX = model.X.First;
  l.FirstY0 = model.Y0.First;
  l.FirstY1 = model.Y1.First;
  l.LineHeight = measure.TextHeight(kLineHeightSample) + 3;

  // Heights first: the Y labels that are drawn, and so the left margin,
  // depend on the Y scales. Half a line above for the top tick label, more
  // when the last tick lies above the last value; below, the X labels and title.
  const int32_t base_top = l.LineHeight / 2 + 2;
  l.BottomMargin = 2 * l.LineHeight + 4;
  // One pixel less, so that the right and bottom frame lines stay on the surface.
  const int32_t below_top = std::max(0, l.Height - l.BottomMargin - 1);
  double over_y = Overhang(l.TicksY0, model.Y0);
  if (l.RightAxis) over_y = std::max(over_y, Overhang(l.TicksY1, model.Y1));
  // The last tick lies over_y plot heights above the plot's top:
  // top - over_y * (below_top - top) >= base_top.
  l.TopMargin = std::clamp(
      static_cast<int32_t>(std::ceil((base_top + over_y * below_top) / (1 + over_y))), base_top,
      std::max(base_top, below_top));
  l.PlotTop = l.TopMargin;
  l.PlotHeight = std::max(0, below_top - l.TopMargin);
  l.ScaleY0 = Scale(l.PlotHeight, model.Y0);
  l.ScaleY1 = Scale(l.PlotHeight, model.Y1);

  l.LeftMargin = WidestTickLabel(l, false, measure) + l.LineHeight + 4;
  const int32_t right_labels = l.RightAxis ? WidestTickLabel(l, true, measure) + l.LineHeight : 0;
  l.PlotLeft = l.LeftMargin;
  const int32_t beside = std::max(0, l.Width - l.LeftMargin - 1);
  l.PlotWidth = std::max(0, beside - right_labels);
  // No room is made to the right: without a right axis the plot runs to the
  // surface's edge, and an X tick past the last value is drawn off it.
  l.RightMargin = beside - l.PlotWidth;
  l.ScaleX = Scale(l.PlotWidth, model.X);
  return l;
}

}  // namespace lumetra
