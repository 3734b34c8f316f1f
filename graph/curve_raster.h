// Drawing the shown curves of a graph straight into its bitmap's pixel rows,
// in curve order, split into column bands over the cores. Each pixel ends as
// it would in one pass, whatever the number of bands.
#pragma once

#include <vector>

#include "graph/curve_geometry.h"
#include "graph/graph_layout.h"
#include "graph/graph_model.h"
#include "graph/pixel_raster.h"

namespace lumetra {

// Draws curve k's geometry: lines, symbols, bars and strokes in the curve's
// colour and width.
void DrawCurve(PixelBuffer& buf, const GraphModel& m, int k, const CurveGeometry& g);

// Builds the geometry of every shown curve into `scratch` (kept between
// repaints) and draws the curves 1, 2, ... clipped to the plot. `workers` 0
// uses every core.
void RasterCurves(uint32_t* bits, int32_t stride, const GraphModel& m, const GraphLayout& l,
                  std::vector<CurveGeometry>& scratch, int workers = 0);

}  // namespace lumetra
