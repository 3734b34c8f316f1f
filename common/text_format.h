// Number conversions shared by every subsystem: truncation toward zero that
// never overflows, the general decimal form used in captions and INI files,
// and the strict parsing of typed values used by the input boxes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumetra {

// Float to integer, truncated toward zero. NaN gives 0; values beyond the
// int32 range saturate, so a hostile header can never cause undefined behaviour.
int32_t TruncToInt(double v);

// General decimal form with up to 15 significant digits and no trailing zeros:
// 0.1 -> "0.1", 250.0 -> "250", 123.4 -> "123.4", 1e-7 -> "1E-7".
std::string FormatGeneral(double v);

// Shortest text that reads back as the same single-precision value ("0.1", "65").
std::string FormatFloat(float v);

// Fixed number of decimals, rounded as printf does ("%.6f").
std::string FormatFixed(double v, int decimals);

// `v` through a printf format for one double ("%.4g"), with "inf", "-inf" and
// "nan" spelled as pandas and R read them.
std::string FormatTable(double v, const char* format = "%.4g");

// Whole-text parsing of typed values. Leading and trailing blanks are allowed;
// anything else that is not part of the number makes the parse fail.
std::optional<int64_t> ParseInteger(std::string_view text);
std::optional<double> ParseReal(std::string_view text);

// Integer conversion with a fallback for text that is not a number, as the
// input boxes use it ("a non-number counts as 0"). Values beyond int32 also
// give the fallback.
int32_t IntegerOr(std::string_view text, int32_t fallback);

// A record's full name up to its extension, the stem of the names written
// beside it: cut at the last of "/", "\\", "." and ":" when that one is the
// dot (a dot inside a folder name is no extension).
std::string RecordBaseName(const std::string& record_path);

}  // namespace lumetra
