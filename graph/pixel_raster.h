// A small rasteriser for the curves: thick lines, polylines with round joins,
// filled rectangles and stamped symbols, written straight into 32-bit pixel
// rows. Fourteen curves of 10,000 points must repaint in milliseconds, far
// faster than a general path stroker manages.
#pragma once

#include <cstdint>
#include <vector>

#include "graph/curve_geometry.h"

namespace lumetra {

// 32-bit pixels, row-major, `stride` pixels from one row to the next. Nothing
// is written outside `clip` (inclusive bounds, kept within the buffer). Lines
// are cut to `reach` widened by their width before they are stepped; when the
// plot is drawn in bands, every band has the same reach, so a line passes
// through the same pixels whichever band draws it.
struct PixelBuffer {
  uint32_t* bits = nullptr;
  int32_t stride = 0;
  int32_t width = 0, height = 0;
  PixelRect clip;
  PixelRect reach;
};

void FillPixelRect(PixelBuffer& buf, PixelRect r, uint32_t color);

// Bars that all reach down to the clip's bottom (or below): their union is,
// per column, one run from the highest top down, so each pixel is written
// once however much the bars overlap. Other rectangles are filled one by one.
void FillBars(PixelBuffer& buf, const std::vector<PixelRect>& bars, uint32_t color);

// A line `width` pixels thick measured across it, centred on the segment.
void DrawThickLine(PixelBuffer& buf, PixelPoint a, PixelPoint b, int width, uint32_t color);

// Consecutive points joined; from width 3 on each point gets a round join.
void DrawPolyline(PixelBuffer& buf, const PixelPoint* points, int count, int width, uint32_t color);

// A symbol prepared once as spans around its centre, then stamped at each point.
class SymbolStamp {
 public:
  // A circle of radius `half` with an outline `width` thick; the inside filled
  // with `fill` when `filled`.
  static SymbolStamp Circle(int half, int width, uint32_t outline, bool filled, uint32_t fill);
  // A filled disc of the given diameter (round joins).
  static SymbolStamp Disc(int diameter, uint32_t color);

  void Stamp(PixelBuffer& buf, PixelPoint centre) const;

 private:
  struct Span {
    int32_t dy, dx0, dx1;  // inclusive offsets from the centre
    uint32_t color;
  };
  std::vector<Span> spans_;
};

}  // namespace lumetra
