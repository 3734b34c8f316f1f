// "Rec with Thresh. subtr.": the LUT threshold subtracted from every pixel,
// pixels at or below it set to 0. The header is unchanged.
#pragma once

#include <cstdint>
#include <string>

#include "processing/export_stream.h"

namespace lumetra {

// p > t gives p - t (at most 65535), anything else 0. `t` in counts.
void SubtractThreshold(uint16_t* pixels, size_t n, int32_t t);

ExportResult ExportThreshold(ExportJob& job, const std::string& out_path, int32_t threshold);

}  // namespace lumetra
