// Where the plot sits on the graph's surface: margins from the tick labels,
// the text line height, the scale of each axis and the point-to-pixel rule.
// Text is measured through a small interface so this runs without a window.
#pragma once

#include <cstdint>
#include <string_view>

#include "graph/graph_model.h"
#include "graph/ticks.h"

namespace lumetra {

// Text extent in pixels in the graph's current font.
class TextMeasure {
 public:
  virtual ~TextMeasure() = default;
  virtual int TextWidth(std::string_view text) const = 0;
  virtual int TextHeight(std::string_view text) const = 0;
};

// Sample text whose height, plus 3 pixels, makes one text line.
inline constexpr std::string_view kLineHeightSample = "HJyyp{";
// The last tick may lie past the axis's last value; the layout leaves room
// for its label when that costs at most this fraction of the plot's extent
// (here: half). Beyond, the tick is drawn where it falls, off the surface.
inline constexpr double kMaxLastTickOverhang = 1.0;
// Pixel positions are held within this many pixels of 0, so that a far-off
// point (a gap sentinel) still gives a line the rasteriser can clip.
inline constexpr int32_t kPixelLimit = 4000000;

struct GraphLayout {
  int32_t Width = 0, Height = 0;  // surface drawn, pixels
  int32_t LineHeight = 0;         // pixels
  // Left: the left Y labels and title. Right: the right Y labels and title,
  // or the room the X axis's last tick needs past the plot, whichever is
  // more. Top: half a line, or the room the last Y tick needs above the plot.
  // Bottom: the X labels and title.
  int32_t LeftMargin = 0, RightMargin = 0, TopMargin = 0, BottomMargin = 0;
  int32_t PlotLeft = 0, PlotTop = 0, PlotWidth = 0, PlotHeight = 0;
  double ScaleX = 0, ScaleY0 = 0, ScaleY1 = 0;  // pixels per axis unit
  double FirstX = 0, FirstY0 = 0, FirstY1 = 0;  // axis first values
  TickSpan TicksX, TicksY0, TicksY1;
  bool RightAxis = false;

  int32_t PlotRight() const { return PlotLeft + PlotWidth; }
  int32_t PlotBottom() const { return PlotTop + PlotHeight; }
  bool HasPlot() const { return PlotWidth > 0 && PlotHeight > 0; }
  // Point to pixel, truncated toward zero. Measured from the axis's first
  // value, so that value lands exactly on the plot's edge.
  int32_t PixelX(double x) const;
  int32_t PixelY(double y, bool right_axis) const;
};

// Lays the graph out on a surface of width x height pixels. The model's font
// size must already be raised (GraphModel::RaiseFontSize) and `measure` use
// that font.
GraphLayout ComputeLayout(const GraphModel& model, int width, int height,
                          const TextMeasure& measure);

// Calls fn(value, pixel) for each tick of `span` whose pixel differs from
// that of the tick before it. Ticks closer than a pixel would only be drawn
// over each other, so an axis of any number of ticks costs at most a label
// per pixel to measure and draw.
template <typename PixelOf, typename Fn>
void ForEachTickPixel(const TickSpan& span, PixelOf pixel_of, Fn fn) {
  bool any = false;
  int32_t previous = 0;
  ForEachTick(span, [&](float v) {
    const int32_t pixel = pixel_of(v);
    if (any && pixel == previous) return;
    any = true;
    previous = pixel;
    fn(v, pixel);
  });
}

// The ticks drawn on the X axis and on the left or right Y axis.
template <typename Fn>
void ForEachTickX(const GraphLayout& l, Fn fn) {
  ForEachTickPixel(l.TicksX, [&](float v) { return l.PixelX(v); }, fn);
}
template <typename Fn>
void ForEachTickY(const GraphLayout& l, bool right_axis, Fn fn) {
  ForEachTickPixel(right_axis ? l.TicksY1 : l.TicksY0,
                   [&](float v) { return l.PixelY(v, right_axis); }, fn);
}

// Widest label of the ticks drawn on a Y axis.
int WidestTickLabel(const GraphLayout& l, bool right_axis, const TextMeasure& measure);

}  // namespace lumetra
