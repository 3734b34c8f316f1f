#include "area/curve_table.h"

#include <cmath>

#include "common/text_format.h"

namespace lumetra {
namespace {

std::vector<std::string_view> Fields(std::string_view line) {
  if (line.find('\t') != std::string_view::npos) return SplitTabs(line);
  std::vector<std::string_view> out;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\r')) ++i;
    const size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\r') ++i;
    if (i > start) out.push_back(line.substr(start, i - start));
  }
  return out;
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.back() == '\r' || s.back() == ' ')) s.remove_suffix(1);
  while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
  return s;
}

std::optional<double> Number(std::string_view s) {
  s = Trim(s);
  if (s == "nan" || s == "NaN" || s == "NA") return NAN;
  return ParseReal(s);
}

}  // namespace

std::optional<CurveTable> ParseCurveTable(LineSource& lines, std::string& error) {
  CurveTable t;
  std::string_view line;
  int64_t number = 0;
  bool first = true;
  while (lines.Next(line)) {
    ++number;
    const std::string_view trimmed = Trim(line);
    if (trimmed.empty() || trimmed.front() == '#') continue;
    const std::vector<std::string_view> f = Fields(line);
    const std::string at = "line " + std::to_string(number) + ": ";
    if (f.size() < 2) {
      error = at + "needs two columns, the time in seconds and the curve";
      return std::nullopt;
    }
    const auto time = Number(f[0]), value = Number(f[1]);
    if (first && (!time || !value)) {  // the header row
      first = false;
      continue;
    }
    first = false;
    if (!time || !value) {
      error = at + "'" + std::string(Trim(!time ? f[0] : f[1])) + "' is not a number";
      return std::nullopt;
    }
    if (!std::isfinite(*time)) {
      error = at + "the time is not a finite number";
      return std::nullopt;
    }
    t.time.push_back(static_cast<float>(*time));
    t.values.push_back(static_cast<float>(*value));
  }
  if (!lines.Error().empty()) {
    error = lines.Error();
    return std::nullopt;
  }
  if (t.time.empty()) {
    error = "the table holds no data line";
    return std::nullopt;
  }
  return t;
}

std::optional<CurveTable> ParseCurveTable(std::string_view text, std::string& error) {
  TextLines lines(text);
  return ParseCurveTable(lines, error);
}

}  // namespace lumetra
