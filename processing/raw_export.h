// "RAW data file" and "Sequence of RAW files": the pixel data of every frame
// without any header, 1 byte per pixel when the record's intensity range is
// below 257, else 2 bytes little-endian; cut to the user's rectangle when active.
#pragma once

#include <cstdint>
#include <string>

#include "processing/export_stream.h"

namespace lumetra {

// 1 when the intensity range (2 to the record's bit depth) is below 257, else 2.
int32_t RawBytesPerPixel(int32_t max_level);

// One file, frames back to back. Closing notice: "RAW file was written in 1
// byte/pixel format" (or 2). The window sets its save dialog back to the XKV
// filter afterwards (kXkvFilter, kXkvDefaultExt).
ExportResult ExportRaw(ExportJob& job, const std::string& out_path);

// One file per frame, NumberedName(chosen, frame number from 1, ".raw").
// "Input File open ERROR" when the record cannot be reopened, "RAW File open
// ERROR" when a frame's file cannot be made. Closing notice: "RAW files were
// written in 1 byte/pixel format)" (or 2).
ExportResult ExportRawSequence(ExportJob& job, const std::string& chosen_path);

}  // namespace lumetra
