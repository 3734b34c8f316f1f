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

// The LUT editor (TLUTform): its caption, and the input boxes of its values
// with their refusals.
inline constexpr std::string_view kLutFormCaption = "Lumetra - LUT";
inline constexpr std::string_view kLutMinTitle = "Set LUT Minimum (counts)";
inline constexpr std::string_view kLutMaxTitle = "Set LUT Maximum (counts)";
inline constexpr std::string_view kLutGammaTitle = "Set Gamma (0.1-10)";
inline constexpr std::string_view kLutSteepnessTitle = "Set Sigmoid Steepness (1-50)";
inline constexpr std::string_view kLutThresholdTitle = "Set Threshold (counts)";
inline constexpr std::string_view kLutSaturatedTitle = "Set Saturated Pixels for Auto (0-50 %)";
inline constexpr std::string_view kLutMinPrompt = "Min=";
inline constexpr std::string_view kLutMaxPrompt = "Max=";
inline constexpr std::string_view kLutGammaPrompt = "Gamma=";
inline constexpr std::string_view kLutSteepnessPrompt = "Steepness=";
inline constexpr std::string_view kLutThresholdPrompt = "Threshold=";
inline constexpr std::string_view kLutSaturatedPrompt = "Saturated (%)=";
inline constexpr std::string_view kLutMinOutOfRange = "Minimum must be below Maximum (0-65534)";
inline constexpr std::string_view kLutMaxOutOfRange = "Maximum must be above Minimum (1-65535)";
inline constexpr std::string_view kLutGammaOutOfRange = "Gamma is out of range (0.1-10)";
inline constexpr std::string_view kLutSteepnessOutOfRange = "Steepness is out of range (1-50)";
inline constexpr std::string_view kLutThresholdOutOfRange = "Threshold is out of range (0-65535)";
inline constexpr std::string_view kLutSaturatedOutOfRange =
    "Saturated fraction is out of range (0-50 %)";

}  // namespace lumetra
