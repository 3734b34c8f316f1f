// "Rec with Inverse Intens.": every pixel p becomes R - p in 16 bits, with R
// the record's intensity range (2 to its bit depth). The header is unchanged.
#pragma once

#include <cstdint>
#include <string>

#include "processing/export_stream.h"

namespace lumetra {

// (range - p) modulo 65536: a 0 of a 12-bit record becomes 4096, and a 16-bit
// record's 0 stays 0.
void InvertIntensity(uint16_t* pixels, size_t n, int32_t range);

// R is the store's MaxLevel when the export starts.
ExportResult ExportInverse(ExportJob& job, const std::string& out_path);

}  // namespace lumetra
