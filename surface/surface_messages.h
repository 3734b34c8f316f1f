// Every text the 3D surface window and the surface command show the user.
#pragma once

#include <string_view>

#include "common/common_messages.h"

namespace lumetra {

inline constexpr std::string_view kDDDFormCaption = "Lumetra - 3D Surface";

inline constexpr std::string_view kTiltError = "Tilt out of range (0-90 degrees)";
inline constexpr std::string_view kTurnError = "Turn out of range (-360-360 degrees)";
inline constexpr std::string_view kHeightError = "Height scale out of range (0-5)";
inline constexpr std::string_view kSizeTitle = "Size of the saved picture";
inline constexpr std::string_view kSizeLabel = "Width x Height (pixels)=";
inline constexpr std::string_view kSizeError = "Picture size out of range (16-4000 pixels a side)";
inline constexpr std::string_view kNoRegionWholeFrame =
    "No region is drawn: the 3D view shows the whole frame";
inline constexpr std::string_view kRegionOutsideFrame = "The region lies outside the frame";
inline constexpr std::string_view kImageFormatError =
    "Unknown picture type: the name must end in .png or .bmp";

}  // namespace lumetra
