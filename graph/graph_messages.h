// User-facing texts of the graph: default titles and notes, the names in the
// settings dialog's lists, and the messages of the dialog and the plot command.
#pragma once

#include <array>
#include <string_view>

namespace lumetra {

inline constexpr std::string_view kNoData = "NO DATA";
inline constexpr std::string_view kDefaultTitleX = "axis X (units)";
inline constexpr std::string_view kDefaultTitleY0 = "axis Y0 (units)";
inline constexpr std::string_view kDefaultTitleY1 = "axis Y1 (units)";
// Kept as spelled: the font lookup falls back to a real sans-serif font.
inline constexpr std::string_view kGraphFontName = "Areal";

// Indexed by the curve record's Type.
inline constexpr std::array<std::string_view, 7> kCurveTypeNames = {
    "Line", "Circle", "Cross", "LineCircle", "LineCross", "Bar", "Variation"};
// Indexed by an axis's TickStyle.
inline constexpr std::array<std::string_view, 4> kTickStyleNames = {"None", "Solid", "Dashed",
                                                                    "Dotted"};
inline constexpr std::array<int, 9> kCurveWidths = {1, 2, 3, 4, 5, 7, 10, 15, 20};
inline constexpr std::array<int, 9> kSymbolSizes = {2, 4, 6, 8, 10, 15, 20, 25, 30};

// The axes as the settings dialog and its messages name them.
inline constexpr std::array<std::string_view, 3> kAxisNames = {"X axis", "Left Y axis",
                                                               "Right Y axis"};

// Settings dialog.
inline constexpr std::string_view kGraphSettingsTitle = "Graph Settings";
inline constexpr std::string_view kGraphRangeErrorTitle = "Graph Axis Error";
inline constexpr std::string_view kNotANumber = "is not a number";
inline constexpr std::string_view kFirstNotBelowLast = "First value must be less than Last value";
inline constexpr std::string_view kTickNotPositive = "Tick distance must be greater than 0";
inline constexpr std::string_view kTooManyTicks = "Too many ticks (at most 1000): raise the Tick";

// Saving and printing.
inline constexpr std::string_view kSaveGraphTitle = "Save Graph as Bitmap";
inline constexpr std::string_view kGraphSaveError = "Graph Saving Error";
inline constexpr std::string_view kGraphFormatError = "Graph file must end in .png or .bmp";
inline constexpr std::string_view kPrintGraphTitle = "Print Graph";

// Plot table (the text file the plot command reads).
inline constexpr std::string_view kTableEmpty = "the table holds no data line";
inline constexpr std::string_view kTableOneColumn =
    "the table needs an X column and at least one curve column";
inline constexpr std::string_view kTableBadNumber = "not a number";
inline constexpr std::string_view kTableRaggedLine = "wrong number of columns";
inline constexpr std::string_view kTableTooManyCurves = "at most 14 curve columns can be plotted";

}  // namespace lumetra
