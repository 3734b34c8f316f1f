#include "graph/plot_table.h"

#include "common/text_format.h"
#include "graph/graph_messages.h"
#include "graph/graph_model.h"

namespace lumetra {
namespace {

std::vector<std::string_view> SplitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  const bool tabs = line.find('\t') != std::string_view::npos;
  if (tabs) {
    size_t start = 0;
    while (true) {
      const size_t tab = line.find('\t', start);
      fields.push_back(line.substr(start, tab - start));
      if (tab == std::string_view::npos) break;
      start = tab + 1;
    }
    return fields;
  }
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && line[i] == ' ') ++i;
    const size_t start = i;
    while (i < line.size() && line[i] != ' ') ++i;
    if (i > start) fields.push_back(line.substr(start, i - start));
  }
  return fields;
}

std::string_view Trim(std::string_view t) {
  while (!t.empty() && (t.front() == ' ' || t.front() == '\r')) t.remove_prefix(1);
  while (!t.empty() && (t.back() == ' ' || t.back() == '\r')) t.remove_suffix(1);
  return t;
}

bool IsMissing(std::string_view f) {
  return f.empty() || f == "-" || f == "nan" || f == "NaN" || f == "NAN";
}

bool AllNumbers(const std::vector<std::string_view>& fields) {
  for (auto f : fields)
    if (!IsMissing(Trim(f)) && !ParseReal(f)) return false;
  return true;
}

}  // namespace

std::optional<PlotTable> ParsePlotTable(std::string_view text, std::string& error) {
  TextLines lines(text);
  return ParsePlotTable(lines, error);
}

std::optional<PlotTable> ParsePlotTable(LineSource& lines, std::string& error) {
  std::vector<std::vector<float>> columns;
  PlotTable table;
  int64_t line_no = 0;
  std::string_view raw;
  while (lines.Next(raw)) {
    const std::string_view line = Trim(raw);
    ++line_no;
    if (line.empty() || line.front() == '#') continue;
    const auto fields = SplitFields(line);
    if (columns.empty()) {
      if (fields.size() < 2) {
        error = "line " + std::to_string(line_no) + ": " + std::string(kTableOneColumn);
        return std::nullopt;
      }
      if (fields.size() > static_cast<size_t>(kMaxCurves) + 1) {
        error = "line " + std::to_string(line_no) + ": " + std::string(kTableTooManyCurves);
        return std::nullopt;
      }
      columns.resize(fields.size());
      const bool header = !AllNumbers(fields);
      for (size_t c = 0; c < fields.size(); ++c)
        table.names.push_back(header ? std::string(Trim(fields[c]))
                                     : (c == 0 ? "X" : std::to_string(c)));
      if (header) continue;
    }
    if (fields.size() != columns.size()) {
      error = "line " + std::to_string(line_no) + ": " + std::string(kTableRaggedLine) + " (" +
              std::to_string(fields.size()) + " instead of " + std::to_string(columns.size()) + ")";
      return std::nullopt;
    }
    for (size_t c = 0; c < fields.size(); ++c) {
      const std::string_view f = Trim(fields[c]);
      if (IsMissing(f)) {
        columns[c].push_back(kMissingValue);
        continue;
      }
      const auto v = ParseReal(f);
      if (!v) {
        error = "line " + std::to_string(line_no) + ", column " + std::to_string(c + 1) + ": " +
                std::string(kTableBadNumber) + " (\"" + std::string(f) + "\")";
        return std::nullopt;
      }
      columns[c].push_back(static_cast<float>(*v));
    }
  }
  if (!lines.Error().empty()) {
    error = lines.Error();
    return std::nullopt;
  }
  if (columns.empty() || columns[0].empty()) {
    error = std::string(kTableEmpty);
    return std::nullopt;
  }
  table.points = static_cast<int32_t>(columns[0].size());
  for (const auto& col : columns) table.matrix.insert(table.matrix.end(), col.begin(), col.end());
  return table;
}

}  // namespace lumetra
