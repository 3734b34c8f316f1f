// Texts of the profile and kymograph window and commands.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kProfFormCaption = "Lumetra - Profiles and Kymographs";
inline constexpr std::string_view kProfileHeader =
    "distance_px\tdistance_nm\tx\ty\tmean\tpixels\n";
inline constexpr std::string_view kKymographHeader = "frame\ttime_s\tdistance_px\tmean\n";
inline constexpr std::string_view kNoProfileLine =
    "No profile: draw a line inside the frame with the right mouse button";
inline constexpr std::string_view kEmptyProfile =
    "The profile line has no length or lies outside the frame: the profile is empty";
inline constexpr std::string_view kKymographProgress = "frame %1 of %2 (Esc stops)";
inline constexpr std::string_view kKymographDone = "Kymograph: %1 frames of %2 points";
inline constexpr std::string_view kKymographStopped = "Kymograph stopped at frame %1 of %2";
inline constexpr std::string_view kNoKymograph = "No kymograph yet: run Kymograph first";
inline constexpr std::string_view kProfileWriteError = "Can not write file";
inline constexpr std::string_view kSaveProfileTitle = "Save Profile as Text (TSV)";
inline constexpr std::string_view kSaveKymographPngTitle = "Save Kymograph as Image (PNG)";
inline constexpr std::string_view kSaveKymographTsvTitle = "Save Kymograph as Text (TSV)";
inline constexpr std::string_view kTsvFilter = "Tab-separated text (*.tsv)";
inline constexpr std::string_view kPngFilter = "PNG image (*.png)";
inline constexpr std::string_view kDropKymographQuestion =
    "The kymograph is not saved. Drop it and make a new one?";

}  // namespace lumetra
