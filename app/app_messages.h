// Texts of the desktop program that belong to no core subsystem: dialog
// filters, the hint on the empty window, help and status texts.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kProgramTitle = "Lumetra32";
inline constexpr std::string_view kXkvFilter = "XKV Data Files (*.xkv);;All Files (*)";
// The open dialog: a record is an XKV file or a TIFF stack.
inline constexpr std::string_view kRecordFilter =
    "Records (*.xkv *.tif *.tiff);;XKV Data Files (*.xkv);;TIFF Stacks (*.tif *.tiff);;"
    "All Files (*)";
inline constexpr std::string_view kXkvSaveFilter = "XKV Data Files (*.xkv)";
inline constexpr std::string_view kOpenHint =
    "Open Data File (xkv) with Ctrl+O, or drop an .xkv or .tif file here";
inline constexpr std::string_view kFileWriteError = "File write error";
inline constexpr std::string_view kNotAnXkvFile = "Only .xkv and .tif records can be opened here";
inline constexpr std::string_view kFrameSavedAs = "Frame %1 saved as %2";
inline constexpr std::string_view kFramesPlayed = "%1 frames played";
inline constexpr std::string_view kFramesPlayedStopped = "%1 frames played (stopped)";
inline constexpr std::string_view kKeysHelp =
    "Mouse: drag with the left button to draw the region, with the right button to draw the "
    "profile line; a click without dragging clears it. Ctrl + wheel zooms.\n\n"
    "Arrow keys move the profile line and the region by one pixel; Ctrl + arrows move the "
    "region's right or bottom edge. Keypad + and - (with or without Ctrl) grow and shrink the "
    "region from its top-left corner. With Show Beads checked, Page Up and Page Down show the "
    "next and the previous bead track.\n\n"
    "Frames: '.' next, ',' previous, Home first, P play, Esc stop.";

// Record processing in the main window.
inline constexpr std::string_view kSavingRecordProgress =
    "Saving Record: frame %1 of %2 (Esc stops)";
inline constexpr std::string_view kFusingRecords = "Fusing records...";
inline constexpr std::string_view kExportWritten = "%1 frames written to %2";
inline constexpr std::string_view kExportStopped = "Stopped after %1 frames: %2 is incomplete";
inline constexpr std::string_view kFuseWritten = "%1 frames from %2 files written to %3";
inline constexpr std::string_view kBmpSaveFilter = "Bitmap files (*.bmp)";
// No LUT editor sets the threshold yet: the command asks for it, offering the last one.
inline constexpr std::string_view kThreshInputTitle = "Rec with Thresh. subtr.";
inline constexpr std::string_view kThreshInputPrompt = "Threshold (counts)=";
inline constexpr std::string_view kThreshOutOfScope = "Threshold is out of scope (0-65535)";

}  // namespace lumetra
