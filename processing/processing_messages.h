// User-facing texts of record processing and export: the temporal filter menu,
// the "Save Record As" transforms, their save dialogs, prompts and notices.
#pragma once

#include <string_view>

namespace lumetra {

// Temporal filter menu and the median buffer.
inline constexpr std::string_view kTempFiltCaption = "TempFilt";
inline constexpr std::string_view kCanNotAllocateMedianBuffers =
    "Can not allocate memory for Median buffers";

// The other per-frame filters. The running sum shares the median's message.
inline constexpr std::string_view kCanNotAllocateRunningAverBuffer =
    "Can not allocate memory for Running Aver. buffer";
inline constexpr std::string_view kCanNotAllocateSdBuffer =
    "Can not allocate memory for SD Imaging buffer";
inline constexpr std::string_view kCanNotAllocateAccumulator =
    "Can not allocate memory for the Accumulator";
inline constexpr std::string_view kCanNotAllocatePrevFrameBuffer =
    "Can not allocate memory for the Previous Frame buffer";
inline constexpr std::string_view kFiltersCaption = "Filters";

// Failures shared by the transforms.
inline constexpr std::string_view kExportFileOpenError = "File open ERROR";
inline constexpr std::string_view kCanNotAllocateTempArray = "Can not allocate temp array";
// The record must never be destroyed by its own export.
inline constexpr std::string_view kOutputIsOpenRecord =
    "The output file is the open record: choose another file name";
inline constexpr std::string_view kOutputIsInput =
    "The output file is one of the files to fuse: choose another file name";
inline constexpr std::string_view kExportWriteError = "File write error (disk full?)";
inline constexpr std::string_view kNoRecordOpen = "File is not open";

// A record too short for one output frame still gives its (empty) output
// file; these say why it holds no frame.
inline constexpr std::string_view kRecordShorterThanSum =
    "The record holds fewer frames than one sum: no frame was written";
inline constexpr std::string_view kRecordShorterThanMedian5 =
    "Median of 5 needs at least 4 frames: no frame was written";

// Part of the Record.
inline constexpr std::string_view kSavePartTitle = "Save Part of Record";
inline constexpr std::string_view kSaveFromFramePrompt = "Save From Frame N=";
inline constexpr std::string_view kSaveToFramePrompt = "Save To Frame N=";
inline constexpr std::string_view kPartFirstOutOfRange = "First Frame Out of Range";
inline constexpr std::string_view kPartLastOutOfRange = "Last Frame Out of Range";

// Thin Out Record.
inline constexpr std::string_view kSaveThinOutTitle = "Save Thin Out Record";
inline constexpr std::string_view kOneFrameOfNPrompt = "Save One Frame Of N frames=";
inline constexpr std::string_view kThinFirstOutOfRange = "First Frame is Out of Range";
inline constexpr std::string_view kOneFrameOfNOutOfRange = "One Frame Of N value is Out of Range";

// Binning and expansion. The expansion of a frame beyond the frame buffer
// would write frames that no reader accepts.
inline constexpr std::string_view kFrameTooSmallForBinning =
    "The frame is smaller than the binning: nothing to save";
inline constexpr std::string_view kExpandedFrameTooLarge =
    "Expanded frame would be too large (>4 Mpix)";

// Profile as XKV.
inline constexpr std::string_view kDrawProfileFirst = "Draw Profile first";
inline constexpr std::string_view kProfileTooNarrow =
    "Profile is too narrow (1 pixel) for saving as XKV";
inline constexpr std::string_view kProfileTooLarge = "Profile band would be too large (>4 Mpix)";

// RAW exports. The unmatched parentheses of the sequence notices are the
// program's own texts.
inline constexpr std::string_view kRawWritten1Byte = "RAW file was written in 1 byte/pixel format";
inline constexpr std::string_view kRawWritten2Bytes = "RAW file was written in 2 byte/pixel format";
inline constexpr std::string_view kRawSeqWritten1Byte =
    "RAW files were written in 1 byte/pixel format)";
inline constexpr std::string_view kRawSeqWritten2Bytes =
    "RAW files were written in 2 byte/pixel format)";
inline constexpr std::string_view kInputFileOpenError = "Input File open ERROR";
inline constexpr std::string_view kRawFileOpenError = "RAW File open ERROR";

// BMP exports.
inline constexpr std::string_view kNonvisibleRoi = "Error - nonvisible ROI";
inline constexpr std::string_view kPartOfRoiNonvisible = "Error - part of ROI nonvisible";
inline constexpr std::string_view kTooManyFramesForPage = "Too many frames or too big ROI size";
inline constexpr std::string_view kBmpFileOpenError = "BMP File open ERROR";
inline constexpr std::string_view kPaletteTooShort = "The palette has no colour";

// Fuse Records.
inline constexpr std::string_view kCanNotOpenOutput = "Can not open Output file";
inline constexpr std::string_view kCanNotOpenXkv = "Can not open XKV file";
inline constexpr std::string_view kNoFrameToFuse =
    "The selected files hold no frame: nothing was fused";
inline constexpr std::string_view kDone = "Done";

// Save dialogs.
inline constexpr std::string_view kSumTitle = "Save Record as XKV Data File (AVERAGING)";
inline constexpr std::string_view kMedian5Title =
    "Save Record as XKV Data File (1 of 5 frames (MEDIAN FILTER))";
inline constexpr std::string_view kPartTitle = "Save Part of Record as XKV Data File";
inline constexpr std::string_view kThinOutTitle = "Save Thin Out Record as XKV Data File";
inline constexpr std::string_view kBinningTitle = "Save Record as XKV Data File (WITH BINNING)";
inline constexpr std::string_view kThresholdTitle = "Save Record as XKV Data File (THRESHOLD)";
inline constexpr std::string_view kInverseTitle =
    "Save Record as XKV Data File (Inverse Intensity)";
inline constexpr std::string_view kProfileTitle = "Save Profile as XKV Data File";
inline constexpr std::string_view kRawTitle = "Save Record as one RAW (pixels only) File";
inline constexpr std::string_view kRawFilter = "Data as RAW (pixels data only|*.raw";
inline constexpr std::string_view kRawSeqTitle =
    "Save Record as sequence of RAW (pixels only) Files";
inline constexpr std::string_view kRawSeqFilter = "Data as Sequence of RAW files|*.raw";
inline constexpr std::string_view kRawDefaultExt = "*.raw";
inline constexpr std::string_view kBmpSeqTitle = "Save Record as Image Sequence of '*.bmp' files";
inline constexpr std::string_view kPageTitle = "Save Record as BMPs Sequence in one BMP file";
inline constexpr std::string_view kFuseOpenTitle =
    "Select group of ''XKV'' files to save as one XKV file";
inline constexpr std::string_view kFuseSaveTitle = "Save selected files as one XKV Data File";
// What the save dialog returns to after a RAW export.
// "Save Record As" TIFF stacks.
inline constexpr std::string_view kTiffTitle = "Save Record as TIFF Stack (16 bit)";
inline constexpr std::string_view kOmeTiffTitle = "Save Record as OME-TIFF Stack";
inline constexpr std::string_view kTiffFilter = "TIFF Stack (16 bit)|*.tif";
inline constexpr std::string_view kOmeTiffFilter = "OME-TIFF Stack|*.ome.tif";
inline constexpr std::string_view kTiffDefaultExt = "*.tif";
inline constexpr std::string_view kOmeTiffDefaultExt = "*.ome.tif";
inline constexpr std::string_view kTiffWritten = "TIFF stack was written";
inline constexpr std::string_view kTiffSizesDiffer =
    "Frames of different size can not be written as one TIFF stack";
inline constexpr std::string_view kTiffWriteError = "TIFF write error";

inline constexpr std::string_view kXkvExportFilter = "Data as 'XKV' 1-2 byte/pixel|*.xkv";
inline constexpr std::string_view kXkvExportDefaultExt = "*.xkv";

}  // namespace lumetra
