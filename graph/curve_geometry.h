// What one curve draws, in pixels: polyline runs, symbol centres, bars and
// strokes, worked out from the curve's type and the layout. The drawing code
// only paints these; the gaps, skips and shapes are decided here.
#pragma once

#include <cstdint>
#include <vector>

#include "graph/graph_layout.h"
#include "graph/graph_model.h"

namespace lumetra {

struct PixelPoint {
  int32_t x = 0, y = 0;
  bool operator==(const PixelPoint&) const = default;
};

struct PixelSegment {
  PixelPoint a, b;
};

// A bar: columns left..right and rows top..bottom, all inclusive.
struct PixelRect {
  int32_t left = 0, top = 0, right = 0, bottom = 0;
};

enum class SymbolShape { kNone, kCircle, kCross };

struct CurveGeometry {
  // Polylines: run r covers line[run_starts[r]] up to the next start (or the end).
  std::vector<PixelPoint> line;
  std::vector<int32_t> run_starts;
  SymbolShape shape = SymbolShape::kNone;
  std::vector<PixelPoint> symbols;  // centres
  int32_t half = 0;                 // symbol half-extent, pixels
  std::vector<PixelRect> bars;
  std::vector<PixelSegment> strokes;

  void Clear();
  int32_t RunCount() const { return static_cast<int32_t>(run_starts.size()); }
  int32_t RunEnd(int32_t r) const {
    return r + 1 < RunCount() ? run_starts[r + 1] : static_cast<int32_t>(line.size());
  }
};

// Fills `out` for curve k (1 to the curve count) over the model's point range.
// The buffers are reused, so repeated repaints do not allocate.
//
// "Variation" takes its spread from the next row: at each point a vertical
// bar from value - spread to value + spread with horizontal ends of the
// symbol half-extent (no spread when curve k is the last row).
void BuildCurveGeometry(const GraphModel& model, const GraphLayout& layout, int k,
                        CurveGeometry& out);

}  // namespace lumetra
