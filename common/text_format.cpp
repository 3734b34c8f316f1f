#include "common/text_format.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

namespace lumetra {

int32_t TruncToInt(double v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483647.0) return std::numeric_limits<int32_t>::max();
  if (v <= -2147483648.0) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(v);  // the cast truncates toward zero
}

std::string FormatGeneral(double v) {
  if (std::isnan(v)) return "NAN";
  if (std::isinf(v)) return v > 0 ? "INF" : "-INF";
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.15G", v);
  std::string s(buf);
  // "%G" writes "1E-07"; the exponent is shown without leading zeros.
  auto e = s.find('E');
  if (e != std::string::npos) {
    std::string mant = s.substr(0, e);
    std::string exp = s.substr(e + 1);
    bool neg = !exp.empty() && exp[0] == '-';
    if (!exp.empty() && (exp[0] == '-' || exp[0] == '+')) exp.erase(0, 1);
    while (exp.size() > 1 && exp[0] == '0') exp.erase(0, 1);
    s = mant + "E" + (neg ? "-" : "") + exp;
  }
  return s;
}

std::string FormatFloat(float v) {
  if (std::isnan(v)) return "NAN";
  if (std::isinf(v)) return v > 0 ? "INF" : "-INF";
  char buf[48];
  auto res = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, res.ptr);
}

std::string FormatFixed(double v, int decimals) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
  return buf;
}

std::string FormatTable(double v, const char* format) {
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  if (std::isnan(v)) return "nan";
  char buf[48];
  std::snprintf(buf, sizeof buf, format, v);
  return buf;
}

namespace {

std::string_view Trim(std::string_view t) {
  while (!t.empty() && (t.front() == ' ' || t.front() == '\t')) t.remove_prefix(1);
  while (!t.empty() && (t.back() == ' ' || t.back() == '\t' || t.back() == '\r'))
    t.remove_suffix(1);
  return t;
}

}  // namespace

std::optional<int64_t> ParseInteger(std::string_view text) {
  text = Trim(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  int64_t v = 0;
  auto res = std::from_chars(text.data(), text.data() + text.size(), v);
  if (res.ec != std::errc() || res.ptr != text.data() + text.size()) return std::nullopt;
  return v;
}

std::optional<double> ParseReal(std::string_view text) {
  text = Trim(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  double v = 0;
  auto res = std::from_chars(text.data(), text.data() + text.size(), v);
  if (res.ec != std::errc() || res.ptr != text.data() + text.size()) return std::nullopt;
  if (!std::isfinite(v)) return std::nullopt;
  return v;
}

int32_t IntegerOr(std::string_view text, int32_t fallback) {
  auto v = ParseInteger(text);
  if (!v || *v > std::numeric_limits<int32_t>::max() || *v < std::numeric_limits<int32_t>::min())
    return fallback;
  return static_cast<int32_t>(*v);
}

std::string RecordBaseName(const std::string& record_path) {
  const size_t mark = record_path.find_last_of("/\\.:");
  if (mark != std::string::npos && record_path[mark] == '.') return record_path.substr(0, mark);
  return record_path;
}

}  // namespace lumetra
