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
// An axis with more ticks than this gets no tick labels or tick lines.
inline constexpr int64_t kMaxTicksPerAxis = 1000;
// Pixel positions are held within this many pixels of 0, so that a far-off
// point (a gap sentinel) still gives a line the rasteriser can clip.
inline constexpr int32_t kPixelLimit = 4000000;

struct GraphLayout {
  int32_t Width = 0, Height = 0;  // surface drawn, pixels
  int32_t LineHeight = 0;         // pixels
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

// Widest label of an axis's ticks (0 when it has too many to draw).
int WidestTickLabel(const TickSpan& ticks, const TextMeasure& measure);

}  // namespace lumetra
