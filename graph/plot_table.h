// The text table the plot command draws: tab-separated columns, the first
// being X, an optional header line with the column names. It is read into the
// graph's matrix layout (one row per column).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/line_reader.h"

namespace lumetra {

// An empty field, "nan" or "-" is a missing value; it is stored below both gap
// sentinels, so a "LineCircle" curve shows a gap there.
inline constexpr float kMissingValue = -1.0e9f;

struct PlotTable {
  std::vector<std::string> names;  // one per column, X first
  int32_t points = 0;              // data lines
  // Column c, point i at c * points + i: row 0 is X, rows 1.. the curves.
  std::vector<float> matrix;
  int32_t Curves() const { return static_cast<int32_t>(names.size()) - 1; }
};

// Reads the table. Blank lines and lines starting with '#' are skipped. Fields
// are split at tabs, or at runs of blanks in a line without a tab. The first
// line is the header unless all its fields are numbers (the columns are then
// named "X", "1", "2", ...). On failure `error` names the line and the fault.
std::optional<PlotTable> ParsePlotTable(LineSource& lines, std::string& error);
std::optional<PlotTable> ParsePlotTable(std::string_view text, std::string& error);

}  // namespace lumetra
