#include "display/lut_curve.h"

#include <algorithm>
#include <cmath>

#include "common/text_format.h"
#include "display/display_messages.h"

namespace lumetra {
namespace {

constexpr int32_t kCounts = 65536;

double Logistic(double x) { return 1.0 / (1.0 + std::exp(-x)); }

}  // namespace

LutCurve FullRangeCurve(int32_t max_level) {
  LutCurve c;
  c.max = std::clamp(max_level, 2, kCounts) - 1;
  return c;
}

double CurveValue(const LutCurve& curve, int32_t c) {
  if (c <= curve.min) return 0;
  if (c >= curve.max) return 1;
  const double t = static_cast<double>(c - curve.min) / static_cast<double>(curve.max - curve.min);
  switch (curve.shape) {
    case LutShape::kGamma:
      return std::pow(t, std::clamp(curve.gamma, kMinGamma, kMaxGamma));
    case LutShape::kSigmoid: {
      // The logistic curve through the range's middle, stretched so that the
      // handles still give the first and the last colour.
      const double s = std::clamp(curve.steepness, kMinSteepness, kMaxSteepness);
      const double lo = Logistic(-s / 2), hi = Logistic(s / 2);
      return (Logistic(s * (t - 0.5)) - lo) / (hi - lo);
    }
    case LutShape::kLinear:
      break;
  }
  return t;
}

std::optional<int32_t> LutIndex(const LutCurve& curve, int32_t c, int32_t n) {
  if (curve.threshold_on && c <= curve.threshold) return std::nullopt;
  return static_cast<int32_t>(std::lround(CurveValue(curve, c) * (n - 1)));
}

std::vector<uint32_t> ApplyLut(const std::vector<uint32_t>& palette, const LutCurve& curve) {
  std::vector<uint32_t> table(kCounts, 0);
  if (palette.empty()) return table;
  const int32_t n = static_cast<int32_t>(palette.size());
  for (int32_t c = 0; c < kCounts; ++c) {
    const auto i = LutIndex(curve, c, n);
    table[c] = i ? palette[std::clamp(*i, 0, n - 1)] : 0;
  }
  return table;
}

void FrameHistogram(const uint16_t* pixels, size_t n, std::vector<uint32_t>& histogram) {
  histogram.assign(kCounts, 0);
  for (size_t i = 0; i < n; ++i) ++histogram[pixels[i]];
}

// With L = floor(pixels x percent / 200), the minimum is the lowest count
// with more than L pixels at or below it, the maximum the highest count with
// more than L pixels at or above it.
std::pair<int32_t, int32_t> AutoContrast(const std::vector<uint32_t>& histogram,
                                         double saturated_percent) {
  const int32_t bins = static_cast<int32_t>(std::min<size_t>(histogram.size(), kCounts));
  uint64_t total = 0;
  for (int32_t v = 0; v < bins; ++v) total += histogram[v];
  if (total == 0) return {0, 1};
  const double pct = std::clamp(saturated_percent, 0.0, 50.0);
  const uint64_t tail = static_cast<uint64_t>(static_cast<double>(total) * pct / 200.0);
  int32_t lo = 0, hi = bins - 1;
  for (uint64_t below = 0; lo < bins; ++lo)
    if ((below += histogram[lo]) > tail) break;
  for (uint64_t above = 0; hi > 0; --hi)
    if ((above += histogram[hi]) > tail) break;
  if (hi <= lo) hi = std::min(lo + 1, kCounts - 1), lo = hi - 1;
  return {lo, hi};
}

std::vector<uint32_t> BinHistogram(const std::vector<uint32_t>& histogram, int32_t lo, int32_t hi,
                                   int32_t bins) {
  std::vector<uint32_t> out(static_cast<size_t>(std::max(bins, 1)), 0);
  lo = std::clamp(lo, 0, kCounts - 1);
  hi = std::clamp(hi, lo, kCounts - 1);
  const int64_t span = int64_t{hi} - lo + 1;
  const int32_t top = std::min<int32_t>(hi, static_cast<int32_t>(histogram.size()) - 1);
  for (int32_t v = lo; v <= top; ++v)
    out[static_cast<size_t>((int64_t{v} - lo) * static_cast<int64_t>(out.size()) / span)] +=
        histogram[v];
  return out;
}

bool ParseLutShape(std::string_view text, LutCurve& curve, std::string& error) {
  const size_t colon = text.find(':');
  const std::string_view name = text.substr(0, colon);
  const std::string_view value =
      colon == std::string_view::npos ? std::string_view() : text.substr(colon + 1);
  if (name == "linear" && value.empty()) {
    curve.shape = LutShape::kLinear;
    return true;
  }
  const auto v = ParseReal(value);
  if (name == "gamma") {
    if (!v || *v < kMinGamma || *v > kMaxGamma) {
      error = "gamma:G needs G from 0.1 to 10";
      return false;
    }
    curve.shape = LutShape::kGamma;
    curve.gamma = *v;
    return true;
  }
  if (name == "sigmoid") {
    if (!v || *v < kMinSteepness || *v > kMaxSteepness) {
      error = "sigmoid:S needs a steepness S from 1 to 50";
      return false;
    }
    curve.shape = LutShape::kSigmoid;
    curve.steepness = *v;
    return true;
  }
  error = "unknown --lut '" + std::string(text) + "' (linear, gamma:G, sigmoid:S)";
  return false;
}

bool ParseLutRange(std::string_view text, LutCurve& curve, std::string& error) {
  const size_t comma = text.find(',');
  const auto lo = ParseInteger(text.substr(0, comma));
  const auto hi = comma == std::string_view::npos ? std::nullopt
                                                  : ParseInteger(text.substr(comma + 1));
  if (!lo || !hi || *lo < 0 || *hi > 65535 || *lo >= *hi) {
    error = "--range needs MIN,MAX in counts with 0 <= MIN < MAX <= 65535";
    return false;
  }
  curve.min = static_cast<int32_t>(*lo);
  curve.max = static_cast<int32_t>(*hi);
  return true;
}

const LutValueDialog& DialogOf(LutValue value) {
  static constexpr LutValueDialog kDialogs[] = {
      {kLutMinTitle, kLutMinPrompt},         {kLutMaxTitle, kLutMaxPrompt},
      {kLutGammaTitle, kLutGammaPrompt},     {kLutSteepnessTitle, kLutSteepnessPrompt},
      {kLutThresholdTitle, kLutThresholdPrompt}, {kLutSaturatedTitle, kLutSaturatedPrompt},
  };
  return kDialogs[static_cast<int>(value)];
}

std::string OfferedText(const LutCurve& c, double saturated_percent, LutValue value) {
  switch (value) {
    case LutValue::kMin:
      return std::to_string(c.min);
    case LutValue::kMax:
      return std::to_string(c.max);
    case LutValue::kGamma:
      return FormatGeneral(c.gamma);
    case LutValue::kSteepness:
      return FormatGeneral(c.steepness);
    case LutValue::kThreshold:
      return std::to_string(c.threshold);
    case LutValue::kSaturated:
      return FormatGeneral(saturated_percent);
  }
  return {};
}

std::string_view ApplyLutValue(LutCurve& c, double& saturated_percent, LutValue value,
                               std::string_view text) {
  const auto real = ParseReal(text);
  const auto whole = ParseInteger(text);
  switch (value) {
    case LutValue::kMin:
      if (!whole || *whole < 0 || *whole >= c.max) return kLutMinOutOfRange;
      c.min = static_cast<int32_t>(*whole);
      return {};
    case LutValue::kMax:
      if (!whole || *whole > 65535 || *whole <= c.min) return kLutMaxOutOfRange;
      c.max = static_cast<int32_t>(*whole);
      return {};
    case LutValue::kGamma:
      if (!real || *real < kMinGamma || *real > kMaxGamma) return kLutGammaOutOfRange;
      c.gamma = *real;
      return {};
    case LutValue::kSteepness:
      if (!real || *real < kMinSteepness || *real > kMaxSteepness) return kLutSteepnessOutOfRange;
      c.steepness = *real;
      return {};
    case LutValue::kThreshold:
      if (!whole || *whole < 0 || *whole > 65535) return kLutThresholdOutOfRange;
      c.threshold = static_cast<int32_t>(*whole);
      return {};
    case LutValue::kSaturated:
      if (!real || *real < 0 || *real > 50) return kLutSaturatedOutOfRange;
      saturated_percent = *real;
      return {};
  }
  return {};
}

std::string CursorReadout(int32_t x, int32_t y, float scale_x, float scale_y, uint16_t count) {
  const int64_t nx = static_cast<int64_t>(static_cast<double>(x) * scale_x);
  const int64_t ny = static_cast<int64_t>(static_cast<double>(y) * scale_y);
  return "x=" + std::to_string(x) + " y=" + std::to_string(y) + " (" + std::to_string(nx) + ", " +
         std::to_string(ny) + " nm) cnt=" + std::to_string(count);
}

std::pair<std::string, std::string> ColourBarLabels(const LutCurve& curve) {
  return {std::to_string(curve.max), std::to_string(curve.min)};
}

}  // namespace lumetra
