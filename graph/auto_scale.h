// Fitting an axis to the data it shows, as the analysis windows and the plot
// command do before a repaint: the range of the values, then a nice tick.
#pragma once

#include <optional>
#include <utility>

#include "graph/graph_model.h"

namespace lumetra {

// Smallest and largest finite value of a matrix row over the point range,
// leaving out gap values (at or below the line sentinel). Nothing when the
// row holds no such value.
std::optional<std::pair<double, double>> RowRange(const GraphModel& model, int row);

// Sets the axis to lo..hi widened by `pad` (a fraction of the range) on each
// side, with a tick distance for about `tick_count` ticks. An empty range is
// first widened by half the value (half a unit around 0) on each side, so
// Validate keeps it. A last value above 0 then moves up onto the last tick, so
// no tick label lies beyond the plot.
void FitAxis(GraphAxis& axis, double lo, double hi, double pad, double tick_count);

}  // namespace lumetra
