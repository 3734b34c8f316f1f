// The core of the import window "Lumetra - Import Data" (TComForm): its
// fields with their checks, and the conversion of one raw file, a sequence of
// raw files or a sequence of bitmaps into an XKV record.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/report.h"
#include "record/xkv_format.h"

namespace lumetra {

inline constexpr std::string_view kImportCaption = "Lumetra - Import Data";
inline constexpr std::array<std::string_view, 3> kImportTypeNames = {
    "One RAW data file", "Sequence of RAW files", "Sequence of BMP files"};
inline constexpr std::string_view kImageWidthTooSmall = "Image Width is too small";
// The capital "S" differs from the width's message; both are the program's texts.
inline constexpr std::string_view kImageHeightTooSmall = "Image Height is too Small";
inline constexpr std::string_view kImageSizeTooBig = "Image Size is too Big (>4 Mpix)";
inline constexpr std::string_view kWrongTimeInterval = "Wrong time interval";
inline constexpr std::string_view kScaleXOutOfOrder = "Scale X is out of order";
inline constexpr std::string_view kScaleYOutOfOrder = "Scale Y is out of order";
inline constexpr std::string_view kOffsetNegative = "Offset size should be >= 0 bytes";
inline constexpr std::string_view kFrameHeaderNegative = "Frame header should be >= 0 bytes";
inline constexpr std::string_view kImportRawOpenError = "RAW File Open Error!";
inline constexpr std::string_view kImportXkvOpenError = "XKV File Open Error!";
inline constexpr std::string_view kFramesWrittenSuffix = " frames written";
inline constexpr std::string_view kImportOutputIsSource =
    "The XKV file is the source itself: choose another file name";
inline constexpr std::string_view kImportWriteError = "XKV File write error (disk full?)";
inline constexpr std::string_view kBmpNotSupported =
    "BMP File can not be read (uncompressed 8, 24 or 32 bit/pixel bitmaps only)";
inline constexpr std::string_view kBmpSizeDiffers = "BMP image size differs from Width x Height";
inline constexpr std::string_view kOffsetBeyondSource = "Offset is beyond the end of the RAW file";

// A raw file import stops after this many frames: at most 9999 are written.
// A sequence instead ends at the number 9999 (from 0000 that is 10000 files).
inline constexpr int32_t kImportFrameLimit = 10000;
inline constexpr int32_t kLastSequenceNumber = 9999;

enum class ImportType : int32_t { kRawFile = 0, kRawSequence = 1, kBmpSequence = 2 };

// The values of the window's edits and check boxes.
struct ImportSettings {
  int32_t width = 512;        // pixels
  int32_t height = 512;       // pixels
  int32_t interval_ms = 100;  // time between frames
  float scale_x = 100.0f;     // nm per pixel
  float scale_y = 100.0f;     // nm per pixel
  bool two_bytes = false;     // "2 bytes per pixel"
  bool little_endian = true;  // "Little-Endian byte order"
  int64_t offset = 0;         // bytes skipped once at the start of the file
  int64_t frame_header = 0;   // bytes skipped before every frame
};

// Field checks, run when a field loses focus. A refused text is reported and
// the setting keeps its previous value (the field shows it again).
bool SetImportWidth(ImportSettings& s, std::string_view text, Reporter& reporter);
bool SetImportHeight(ImportSettings& s, std::string_view text, Reporter& reporter);
bool SetImportInterval(ImportSettings& s, std::string_view text, Reporter& reporter);
bool SetImportScaleX(ImportSettings& s, std::string_view text, Reporter& reporter);
bool SetImportScaleY(ImportSettings& s, std::string_view text, Reporter& reporter);
bool SetImportOffset(ImportSettings& s, std::string_view text, Reporter& reporter);
bool SetImportFrameHeader(ImportSettings& s, std::string_view text, Reporter& reporter);

struct ImportRun {
  ImportType type = ImportType::kRawFile;
  ImportSettings settings;
  // The main window's current header: fields the import does not set (Gain,
  // Binning, ...) come from it.
  PRM_INFO header_template = DefaultPrmInfo();
  bool save_2bytes = false;                 // "Save XKV 2bytes/pix"
  const std::atomic<bool>* stop = nullptr;  // set by Esc, checked after each frame
};

struct ImportResult {
  bool ok = false;  // false when a file could not be opened (reported)
  int32_t frames_written = 0;
  // Little-endian raw files only: the number of the first frame whose read came
  // up short, or 0. Such an import keeps writing the last data it holds until
  // Esc or the frame limit, as the program always has.
  int32_t source_short_at = 0;
  bool stopped = false;
};

// The header template filled from the settings: PixelCount, Width, Height,
// ExposureMs (= the interval), scales; TimeMs, X0, Y0, Flags, AddInfoFlag 0.
PRM_INFO ImportHeader(const ImportSettings& s, const PRM_INFO& header_template);

// The k-th name of a sequence whose first file is `first` (k = 0 gives
// `first`): the last number in the file name counted up by k, with leading
// zeros to the same number of digits. Empty when the name holds no number
// and k > 0, or the number would pass 9999.
std::string SequenceFileName(const std::string& first, int32_t k);

// Converts `source` (the raw file, or the first file of a sequence) into the
// XKV record `out_path`. Progress goes to reporter.Status as "N frames written".
ImportResult RunImport(const ImportRun& run, const std::string& source, const std::string& out_path,
                       Reporter& reporter);

}  // namespace lumetra
