// Texts of the desktop program that belong to no core subsystem: dialog
// filters, the hint on the empty window, help and status texts.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kProgramTitle = "Lumetra32";
inline constexpr std::string_view kXkvFilter = "XKV Data Files (*.xkv);;All Files (*)";
inline constexpr std::string_view kXkvSaveFilter = "XKV Data Files (*.xkv)";
inline constexpr std::string_view kOpenHint =
    "Open Data File (xkv) with Ctrl+O, or drop an .xkv file here";
inline constexpr std::string_view kFileWriteError = "File write error";
inline constexpr std::string_view kNotAnXkvFile = "Only .xkv records can be opened here";
inline constexpr std::string_view kFrameSavedAs = "Frame %1 saved as %2";
inline constexpr std::string_view kFramesPlayed = "%1 frames played";
inline constexpr std::string_view kFramesPlayedStopped = "%1 frames played (stopped)";
inline constexpr std::string_view kKeysHelp =
    "Mouse: drag with the left button to draw the region, with the right button to draw the "
    "profile line; a click without dragging clears it. Ctrl + wheel zooms.\n\n"
    "Arrow keys move the profile line and the region by one pixel; Ctrl + arrows move the "
    "region's right or bottom edge. Keypad + and - grow and shrink the region from its top-left "
    "corner.\n\n"
    "Frames: '.' next, ',' previous, Home first, P play, Esc stop.";

}  // namespace lumetra
