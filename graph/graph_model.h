// The settings and data of one graph: fifteen curve records, three axes, the
// texts, the appearance and the caller's matrix of values. Validate repairs
// broken axes the way the drawing expects them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace lumetra {

inline constexpr int kCurveRecords = 15;  // record 0 belongs to the X row
inline constexpr int kMaxCurves = 14;     // rows 1 to 14 of the matrix
inline constexpr int kDialogCurves = 10;  // the settings dialog edits curves 1 to 10
inline constexpr int kNoteLines = 4;
inline constexpr int kBitmapWidth = 3000;   // pixels of the off-screen bitmap
inline constexpr int kBitmapHeight = 2000;  // pixels
inline constexpr int kMinFontSize = 8;      // points

// Curve types: the indices of the settings dialog's list.
enum CurveType : int32_t {
  kCurveLine = 0,
  kCurveCircle = 1,
  kCurveCross = 2,
  kCurveLineCircle = 3,
  kCurveLineCross = 4,
  kCurveBar = 5,
  kCurveVariation = 6,
};

// Tick line styles of an axis (the grid lines across the plot at each tick).
enum TickStyle : int32_t { kTickNone = 0, kTickSolid = 1, kTickDashed = 2, kTickDotted = 3 };

// The Style field of a curve: how circles and bars are filled. The default
// fills them with the panel colour, so a circle hides the line beneath it.
enum SymbolFill : int32_t { kFillHollow = 0, kFillCurveColor = 1, kFillPanelColor = 2 };

// Font style bits.
inline constexpr int32_t kFontBold = 1;
inline constexpr int32_t kFontItalic = 2;

// "LineCircle" gaps: no line touches a value at or below kLineGapValue, and no
// circle is drawn at a value below kCircleGapValue.
inline constexpr float kLineGapValue = -1000000.0f;
inline constexpr float kCircleGapValue = -100000000.0f;

// Colours are Windows colour values: 0x00BBGGRR (blue in the high byte).
struct GraphCurve {
  bool Show = false;
  bool Y1 = false;  // scaled on the right Y axis
  uint32_t Color = 0;
  int32_t Style = kFillPanelColor;
  int32_t Width = 2;  // pen width, pixels
  int32_t Size = 4;   // symbol size, pixels; symbols use Size / 2 as half-extent
  int32_t Type = kCurveLine;
};

struct GraphAxis {
  double First = 0;
  double Last = 10;
  double Tick = 1;  // tick distance, axis units
  int32_t TickStyle = kTickSolid;
  uint32_t Color = 0xC0C0C0;  // tick lines
};

// The matrix belongs to the calling window and is never freed here. Row 0
// holds X, row k (1 to CurveCount) curve k; point i of row k is element
// k * RowLength + i. Points FirstPoint to LastPoint - 1 are drawn.
struct GraphData {
  const float* Matrix = nullptr;
  int32_t CurveCount = 0;
  int32_t RowLength = 0;
  int32_t FirstPoint = 0;
  int32_t LastPoint = 0;

  float Value(int row, int point) const {
    return Matrix[static_cast<int64_t>(row) * RowLength + point];
  }
};

// The values under the mouse, filled by the hit test.
struct GraphReadout {
  bool Enabled = false;
  int32_t Index = -1;  // point under the mouse, -1 when none
  std::array<float, kCurveRecords> Values{};
  int32_t NearestCurve = 0;  // 0 when no curve passes within 2 pixels
};

class GraphModel {
 public:
  GraphModel();

  // Repairs an axis whose first value is not below its last (0 to 10) and a
  // tick distance that is not a positive number (1). True when nothing was
  // repaired; false means "draw nothing this time", the repairs stay.
  bool Validate();

  // Points the graph at a matrix; the whole row is drawn.
  void SetData(const float* matrix, int curve_count, int row_length);
  // Point range actually drawable: [first, last) clipped to the row.
  int32_t FirstPoint() const;
  int32_t LastPoint() const;
  // Curves in use (clipped to 0..14, 0 without a matrix).
  int32_t CurveCount() const;
  bool RightAxisInUse() const;
  // Raises the font size to the smallest that is drawn.
  void RaiseFontSize();

  std::array<GraphCurve, kCurveRecords> Curves;
  GraphAxis X, Y0, Y1;
  std::string TitleX, TitleY0, TitleY1;
  std::array<std::string, kNoteLines> Notes;
  uint32_t PanelColor = 0xF0FBFF;
  uint32_t NotesColor = 0x000080;  // dark red
  int32_t FontSize = 12;           // points
  int32_t FontStyle = 0;           // kFontBold | kFontItalic
  std::string FontName;
  // Optional curve names; named shown curves get a legend entry.
  std::array<std::string, kCurveRecords> Names;
  GraphData Data;
  GraphReadout Readout;
};

// Red, green and blue of a Windows colour value.
inline int ColorRed(uint32_t c) {
  return static_cast<int>(c & 0xFF);
}
inline int ColorGreen(uint32_t c) {
  return static_cast<int>((c >> 8) & 0xFF);
}
inline int ColorBlue(uint32_t c) {
  return static_cast<int>((c >> 16) & 0xFF);
}
inline uint32_t MakeColor(int r, int g, int b) {
  return static_cast<uint32_t>(r & 0xFF) | static_cast<uint32_t>(g & 0xFF) << 8 |
         static_cast<uint32_t>(b & 0xFF) << 16;
}

// The same colour as an opaque 0xAARRGGBB pixel.
inline uint32_t PixelOf(uint32_t c) {
  return 0xFF000000u | static_cast<uint32_t>(ColorRed(c)) << 16 |
         static_cast<uint32_t>(ColorGreen(c)) << 8 | static_cast<uint32_t>(ColorBlue(c));
}

}  // namespace lumetra
