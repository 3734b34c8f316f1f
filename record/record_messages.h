// User-facing texts of the record subsystem, kept in one place so they can be
// found, reviewed and tested.
#pragma once

#include <string_view>

#include "common/common_messages.h"

namespace lumetra {

inline constexpr std::string_view kFileReadErrorAddInfo = "File read error (ADD_INFO";
inline constexpr std::string_view kTooLargeFrameSize = "Too large frame size";
inline constexpr std::string_view kFrameReadingError = "Frame Reading Error";
// Prefix of the refusal of a header whose size fields would make the reader
// divide by zero, overflow or leave pixels unset; the reason follows in brackets.
inline constexpr std::string_view kBrokenFrameHeader = "Broken Frame Header";
inline constexpr std::string_view kFileNotOpen = "File is not open";
inline constexpr std::string_view kCanNotAllocateBuffers = "Can not allocate memory for buffers";
inline constexpr std::string_view kDifferentSizeWarning =
    "DANGER! - Some Frames in Record have different X or Y dimensions";
inline constexpr std::string_view kNoFramesWarning = "The record holds no frame";

// TIFF records. The detail names the file, the page and the reason.
inline constexpr std::string_view kTiffFileError = "TIFF File Error";
inline constexpr std::string_view kTiffUnsupportedPage = "Unsupported TIFF Page";
inline constexpr std::string_view kTiffNoSuchPlane = "No such channel or Z plane in the TIFF file";
// Warnings: the record opens with the frames before the trouble.
inline constexpr std::string_view kTiffChainBroken = "The chain of TIFF pages is broken";
inline constexpr std::string_view kTiffPageRefused = "A TIFF page can not be read";
inline constexpr std::string_view kTiffFramesNotIndexed = "Frames beyond the 10000th are not read";
inline constexpr std::string_view kTiffFewerPages = "The TIFF file holds fewer pages than its metadata says";
// The lines `info` lists for a TIFF record: where each value came from.
inline constexpr std::string_view kNotePixelSize = "pixel size";
inline constexpr std::string_view kNoteFrameTime = "frame time";
inline constexpr std::string_view kNoteExposure = "exposure";
inline constexpr std::string_view kNoteSamples = "samples";
inline constexpr std::string_view kNoteNoMetadata = "no metadata";
inline constexpr std::string_view kNoteIgnored = "not used";

inline constexpr std::string_view kOpenDialogTitle = "Open ''XKV'' Data File";
inline constexpr std::string_view kSaveFrameTitle = "Save Current Frame as XKV Data File";

inline constexpr std::string_view kSelectFirstFrameTitle = "Select First Frame for Play/Analysis";
inline constexpr std::string_view kSelectLastFrameTitle = "Select Last Frame for Play/Analysis";
inline constexpr std::string_view kSelectFramePrompt = "N=";
inline constexpr std::string_view kFirstFrameOutOfRange =
    "First Selected Frame is out of range (0-Last Selected Frame";
inline constexpr std::string_view kLastFrameOutOfRange =
    "Last Selected Frame is out of range (> First Selected Frame";

}  // namespace lumetra
