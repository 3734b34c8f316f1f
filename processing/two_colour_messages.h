// Texts of the two-colour, registration and drift-correction commands.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kSplitTitle = "Split Two-Colour Record";
inline constexpr std::string_view kSplitLayoutPrompt =
    "Channels side by side: 1 = left | right, 2 = top / bottom";
inline constexpr std::string_view kSplitLayoutOutOfRange = "Split must be 1 (left | right) or 2 (top / bottom)";
inline constexpr std::string_view kSplitSaveTitle = "Save Two-Colour Channels as XKV Data Files (-ch1, -ch2)";
inline constexpr std::string_view kSplitSameOutputs = "Both channels would go to one file";
inline constexpr std::string_view kFrameTooSmallToSplit = "Frame too small to split";
inline constexpr std::string_view kNoFrameWritten = "No frame was written";
inline constexpr std::string_view kSplitWritten = "Channels written: %1 frames each, %2 and %3";

inline constexpr std::string_view kRegisterOpenTitle = "Open the Channel to Register onto the Open Record";
inline constexpr std::string_view kRegisterSaveTitle = "Save Registered Channel as XKV Data File";
inline constexpr std::string_view kTooFewBeads =
    "Too few matched beads for an affine transform (at least 3 not on one line)";
inline constexpr std::string_view kTooFewTrackPairs =
    "Too few matched track points for an affine transform (at least 3 not on one line)";
inline constexpr std::string_view kChannelSizesDiffer = "The two channels differ in frame size";
inline constexpr std::string_view kTransformHeader = "coefficient\tvalue\n";
inline constexpr std::string_view kTransformUnreadable = "Not a transform table";
inline constexpr std::string_view kRegistered =
    "Registered: %1 pairs, residual %2 px RMS; written %3";

// The tracks' drift table and this one share their columns.
inline constexpr std::string_view kDriftTableHeader = "frame\ttime_s\tdx_nm\tdy_nm\tpairs\n";
inline constexpr std::string_view kDriftTableTitle = "Open Drift Table (TSV)";
inline constexpr std::string_view kDriftSaveTitle = "Save Drift-Corrected Record as XKV Data File";
inline constexpr std::string_view kDriftTableUnreadable =
    "Not a drift table: it needs the columns frame, dx_nm and dy_nm";
inline constexpr std::string_view kDriftEstimating = "Cross-correlation: frame %1 of %2 (Esc stops)";
inline constexpr std::string_view kDriftTooShort =
    "Too few frames for a cross-correlation drift (at least two blocks)";
inline constexpr std::string_view kDriftLost =
    "The cross-correlation lost the field (no peak inside the search range)";
inline constexpr std::string_view kDriftWritten = "Drift-corrected record written: %1 frames, %2";

inline constexpr std::string_view kMaskFileError = "Mask File Error";
inline constexpr std::string_view kMaskPrmError = "File read error (PRM_INFO";
inline constexpr std::string_view kMaskAddError = "File read error (ADD_PRM";
inline constexpr std::string_view kMaskSizeDiffers = "The mask's frame size differs from the record's";
inline constexpr std::string_view kLoadMaskTitle = "Open Mask File (XKV frame)";
inline constexpr std::string_view kMaskLoaded = "Mask %1: %2 of %3 pixels analysed";
inline constexpr std::string_view kLoadGhostTitle = "Open Ghost Frame (XKV or TIFF)";
inline constexpr std::string_view kGhostSizeDiffers = "The ghost's frame size differs from the record's";
inline constexpr std::string_view kGhostShown = "Ghost: %1";

}  // namespace lumetra
