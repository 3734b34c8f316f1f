// Reading one XKV frame record from the current position of an open file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "common/report.h"
#include "record/xkv_format.h"

namespace lumetra {

enum class FrameReadStatus {
  kOk,
  kEndOfRecord,   // fewer than 48 header bytes left: the normal end, no message
  kAddInfoShort,  // "File read error (ADD_INFO"
  kTooLarge,      // "Too large frame size"
  kBrokenHeader,  // size fields the reader cannot trust
  kShortData,     // "Frame Reading Error": the caller closes the record
};

// Why a header (already in the new size form) cannot be read safely, or
// nothing. Width x Height above the frame buffer is not in here: that has its
// own message and is tested first by the reader.
std::optional<std::string> BrokenSizeReason(const PRM_INFO& p);

// Brings an old-size-form header to the new form (offsets 4 and 12 become
// Width and Height, all divided by Binning). Returns the reason when it cannot.
std::optional<std::string> NormaliseSizeForm(PRM_INFO& p);

// Reads the frame record at the current position of `file` into `prm`, `add`
// (only when the header says one follows) and `frame` (16-bit counts, row-major,
// capacity kMaxFramePixels). `byte_buffer` (capacity kMaxFramePixels) takes
// 1-byte pixels before they are widened. On success the file is left at the
// next frame record. On failure `prm` and `add` keep their previous contents,
// so a refused header never reaches the display; after kShortData of a 2-byte
// frame the frame buffer may be partly overwritten.
FrameReadStatus ReadXKVFrame(std::FILE* file, PRM_INFO& prm, ADD_INFO& add, uint16_t* frame,
                             uint8_t* byte_buffer, Reporter& reporter);

// The header half of ReadXKVFrame: reads the 48-byte header and any ADD_INFO
// at the current position into `prm` and `add` (`add` is left alone when none
// follows) and runs every check of the reader, with its messages. On kOk the
// file is left at the pixel data, whose size is PixelDataBytes(prm).
FrameReadStatus ReadXKVHeader(std::FILE* file, PRM_INFO& prm, ADD_INFO& add, Reporter& reporter);

}  // namespace lumetra
