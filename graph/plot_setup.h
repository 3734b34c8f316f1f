// Setting a graph up from a plot table, as the plot command does: curve types
// and axes from the options, everything not given fitted to the data.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "graph/graph_model.h"
#include "graph/plot_table.h"

namespace lumetra {

struct PlotOptions {
  std::vector<int> types;  // per curve from curve 1 on; curves beyond the list are lines
  std::vector<int> right;  // curve numbers scaled on the right Y axis
  std::optional<std::pair<double, double>> x_range, y_range, y1_range;
  std::optional<std::string> title_x, title_y, title_y1;
  std::string note;  // first note line
  int width = 2;     // pen width of every curve, pixels
  int symbol = 4;    // symbol size of every curve, pixels
};

// "line", "LineCircle", ... (any letter case) to the curve type; nothing for
// an unknown name.
std::optional<int> CurveTypeFromName(std::string_view name);

// Points `model` at the table's matrix (which must outlive the model's use)
// and sets curves, axes, titles, names and notes. Curves 1 to 5 keep the
// graph's colours; 6 to 14 get colours of their own instead of black. A "Variation" curve takes
// its spread from the next column, which is then not drawn itself. Returns
// the text of the first problem with the options, or nothing.
std::optional<std::string> SetUpPlot(GraphModel& model, const PlotTable& table,
                                     const PlotOptions& options);

}  // namespace lumetra
