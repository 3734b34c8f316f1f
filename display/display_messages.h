// User-facing texts of the display: palettes, the frame painter and the
// region read-out, kept in one place so they can be found and tested.
#pragma once

#include <string_view>

namespace lumetra {

// The builder's one failure (a table shorter than 4 entries); the spelling is the program's own.
inline constexpr std::string_view kPalleteSetError = "Pallete set Error";

// Menu captions of the palette items, in the order of the Palette menu.
inline constexpr std::string_view kRYWpalCaption = "red-yellow-white";
inline constexpr std::string_view kBGYRpalCaption = "blue-green-yellow-red";
inline constexpr std::string_view kGreyPalCaption = "grey";
inline constexpr std::string_view kGreenPalCaption = "green";
inline constexpr std::string_view kBluePalCaption = "blue";
inline constexpr std::string_view kRedPalCaption = "red";

// Pieces of the region read-out in the status bar.
inline constexpr std::string_view kReadoutLeft = "Left=";
inline constexpr std::string_view kReadoutWidth = ", Width=";
inline constexpr std::string_view kReadoutTop = ", Top=";
inline constexpr std::string_view kReadoutHeight = ", Height=";
inline constexpr std::string_view kReadoutPixels = " pixels,";
inline constexpr std::string_view kReadoutCounts = " Cnt/Pix (";
inline constexpr std::string_view kReadoutRelative = " REL Cnt/Pix)";

}  // namespace lumetra
