// What the region window draws: the X values, the curves with their names,
// axes and styles, the axis titles and the four note lines, and how it is
// put into a graph (auto-scaled, stretched to the data, or with the axes the
// user set). The window and the command line draw the same plot.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "graph/graph_model.h"

namespace lumetra {

struct AreaCurve {
  std::string name;
  std::vector<float> y;  // one value per X value; NaN leaves a gap
  bool right = false;    // scaled on the right Y axis
  int32_t type = kCurveLine;
  uint32_t color = 0;
};

struct AreaPlot {
  std::vector<float> x;
  std::vector<AreaCurve> curves;
  std::string title_x, title_y0, title_y1;
  std::array<std::string, kNoteLines> notes;
  // FitRecovery fixes the left axis: 90 to 200, ticks of 10.
  std::optional<GraphAxis> fixed_y0;
  // Absolute positions (left, right axis): the axis spans the data even where
  // the others start from 0, or a path far from the corner shrinks to a line.
  std::array<bool, 2> y_over_data{false, false};
};

enum class AxisScaling {
  kKeep,       // the axes stay as they are (automatic scaling off)
  kFromZero,   // X over the data, Y from 0 (or below) to the largest value
  kStretched,  // every axis over the data's own range
};

// Fills `matrix` (row 0 X, then one row per curve; gaps stored as the graph's
// gap value) and points the model at it, with curves, titles, notes and axes.
void PutPlot(const AreaPlot& plot, AxisScaling scaling, std::vector<float>& matrix,
             GraphModel& model);

}  // namespace lumetra
