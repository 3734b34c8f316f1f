// The LUT editor's curve: counts from the minimum to the maximum handle are
// spread over the whole palette through a linear, gamma or sigmoid curve;
// counts at or below the minimum take the palette's first colour, counts at
// or above the maximum its last, and with the threshold on, counts at or
// below the threshold are painted black. The curve is applied to the palette
// once, giving the table the painter looks every count up in, so it works
// with every palette and in the bitmap exports alike.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumetra {

enum class LutShape : int32_t { kLinear = 0, kGamma = 1, kSigmoid = 2 };

struct LutCurve {
  LutShape shape = LutShape::kLinear;
  int32_t min = 0;        // counts
  int32_t max = 1023;     // counts; MaxLevel - 1 shows the whole range
  double gamma = 1.0;     // 0.1 to 10: below 1 brightens the dim counts
  double steepness = 10;  // sigmoid, 1 to 50: the slope at the middle of the range
  bool threshold_on = false;
  int32_t threshold = 0;  // counts; with threshold_on, counts <= threshold are black
  bool operator==(const LutCurve&) const = default;
};

inline constexpr double kMinGamma = 0.1, kMaxGamma = 10;
inline constexpr double kMinSteepness = 1, kMaxSteepness = 50;

// The linear curve over the record's whole range (0 .. max_level - 1): the
// palette exactly as built.
LutCurve FullRangeCurve(int32_t max_level);

// The curve's value at count c, 0 to 1 (before the threshold).
double CurveValue(const LutCurve& curve, int32_t c);

// The palette entry count c is painted with, for a palette of n entries:
// round(CurveValue x (n - 1)). Nothing for counts painted black by the threshold.
std::optional<int32_t> LutIndex(const LutCurve& curve, int32_t c, int32_t n);

// The table of 65536 colours the painter uses: colour of count c =
// palette[LutIndex(c)] (black below the threshold). The full-range linear
// curve gives the palette itself, padded with its last colour.
std::vector<uint32_t> ApplyLut(const std::vector<uint32_t>& palette, const LutCurve& curve);

// How many pixels of n hold each count (65536 bins).
void FrameHistogram(const uint16_t* pixels, size_t n, std::vector<uint32_t>& histogram);

// Auto-contrast: minimum and maximum that leave `saturated_percent` (0 to
// 50) of the pixels outside them, half on each side. With L = floor(pixels x
// percent / 200) the minimum is the lowest count with more than L pixels at
// or below it, the maximum the highest count with more than L pixels at or
// above it. A frame of one value v gives (v, v + 1).
std::pair<int32_t, int32_t> AutoContrast(const std::vector<uint32_t>& histogram,
                                         double saturated_percent);

// The histogram from `lo` to `hi` (counts, inclusive) in `bins` bins of equal
// width, for drawing.
std::vector<uint32_t> BinHistogram(const std::vector<uint32_t>& histogram, int32_t lo, int32_t hi,
                                   int32_t bins);

// "linear", "gamma:G", "sigmoid:S" (the --lut option); nothing, with `error`
// set, for another shape or a value out of range. Sets shape and parameter only.
bool ParseLutShape(std::string_view text, LutCurve& curve, std::string& error);
// "MIN,MAX" in counts, MIN < MAX.
bool ParseLutRange(std::string_view text, LutCurve& curve, std::string& error);

// The values the LUT editor asks for through its input boxes.
enum class LutValue { kMin, kMax, kGamma, kSteepness, kThreshold, kSaturated };
struct LutValueDialog {
  std::string_view title;
  std::string_view prompt;
};
const LutValueDialog& DialogOf(LutValue value);
// The text the box offers: the current value.
std::string OfferedText(const LutCurve& curve, double saturated_percent, LutValue value);
// Converts and checks the typed text and stores it; the refusal message when
// it is no number or out of range (nothing changes then), else empty.
std::string_view ApplyLutValue(LutCurve& curve, double& saturated_percent, LutValue value,
                               std::string_view text);

// The status bar's read-out under the cursor: frame pixel (x, y), its place
// in nm (pixel x nm per pixel, truncated) and its count:
// "x=12 y=34 (1200, 3400 nm) cnt=567".
std::string CursorReadout(int32_t x, int32_t y, float scale_x, float scale_y, uint16_t count);

// Labels of the colour bar: the counts at its top and bottom ends.
std::pair<std::string, std::string> ColourBarLabels(const LutCurve& curve);

}  // namespace lumetra
