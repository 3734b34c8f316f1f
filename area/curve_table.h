// A curve that came from elsewhere, for the fit command: a text table whose
// first column is the time in seconds and whose second is the curve, with an
// optional header row. Fields are split at tabs, or at runs of blanks in a
// line without a tab; blank lines and lines starting with '#' are skipped.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/line_reader.h"

namespace lumetra {

struct CurveTable {
  std::vector<float> time, values;
};

// Nothing, with `error` naming the line ("line 4: 'x' is not a number"),
// when a line has fewer than two fields or a field that is not a number. A
// value may be "nan" (the fits then say so); a time may not.
std::optional<CurveTable> ParseCurveTable(LineSource& lines, std::string& error);
std::optional<CurveTable> ParseCurveTable(std::string_view text, std::string& error);

}  // namespace lumetra
