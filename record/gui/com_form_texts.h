// Texts of the import window that the core does not hold: the labels of its
// controls, its dialogs and the read-outs after a run.
#pragma once

#include <string_view>

namespace lumetra {

inline constexpr std::string_view kImportFromLabel = "Import data from";
inline constexpr std::string_view kImportWidthLabel = "Width";
inline constexpr std::string_view kImportHeightLabel = "Height";
inline constexpr std::string_view kImportPixelsUnit = "(in pixels)";
inline constexpr std::string_view kImportIntervalLabel = "Time Interval between frames";
inline constexpr std::string_view kImportIntervalUnit = "(milliseconds)";
inline constexpr std::string_view kImportScaleXLabel = "X scale";
inline constexpr std::string_view kImportScaleYLabel = "Y scale";
inline constexpr std::string_view kImportScaleUnit = "(nm/pixel)";
inline constexpr std::string_view kImportTwoBytesLabel = "2 bytes per pixel";
inline constexpr std::string_view kImportLittleEndianLabel = "Little-Endian byte order";
inline constexpr std::string_view kImportOffsetLabel = "Offset ";
inline constexpr std::string_view kImportHeaderLabel = "Frame Header ";
inline constexpr std::string_view kImportBytesUnit = "bytes";
inline constexpr std::string_view kImportGo = "GO";
inline constexpr std::string_view kImportClose = "Close";
inline constexpr std::string_view kImportOpenResult = "Open in Main Window";
inline constexpr std::string_view kImportEscHint = "Esc stops the import";

inline constexpr std::string_view kImportOpenRawTitle = "Open RAW data file";
inline constexpr std::string_view kImportOpenRawSeqTitle =
    "Open the first RAW file of the sequence";
inline constexpr std::string_view kImportOpenBmpSeqTitle =
    "Open the first BMP file of the sequence";
inline constexpr std::string_view kImportRawFilter =
    "RAW data files (*.raw *.dat *.bin *.img);;All Files (*)";
inline constexpr std::string_view kImportBmpFilter = "Bitmap files (*.bmp);;All Files (*)";
inline constexpr std::string_view kImportSaveTitle = "Save Imported Data as XKV Data File";
inline constexpr std::string_view kImportSaveFilter = "XKV Data Files (*.xkv)";
// The import would overwrite the record the main window has open.
inline constexpr std::string_view kImportOutputIsOpenRecord =
    "The XKV file is the record open in the main window: choose another file name";
inline constexpr std::string_view kImportStopped = " (stopped)";
// A little-endian raw import repeats the last data it holds to the frame
// limit; the window says where the source ended, so nobody is surprised.
inline constexpr std::string_view kImportSourceEnded =
    "; the source ended at frame %1, its last data were written again";

}  // namespace lumetra
