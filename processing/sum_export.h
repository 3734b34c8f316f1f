// "Sum of N frames": every N frames of the record become one frame holding
// their plain sum (the dialog says AVERAGING, yet nothing is divided).
#pragma once

#include <cstdint>
#include <string>

#include "processing/export_stream.h"

namespace lumetra {

// The lengths of the "Sum of:" submenu: 2, 5, 10, 20, 50, 100, 150, 200.
bool IsSumLength(int32_t n);

// Sums groups of n frames (counted from frame 1) into one frame each; cells
// above 65535 give 65535, ExposureMs is multiplied by n and the output frame
// keeps the header of the last frame of its group. Frames after the last
// complete group are dropped.
ExportResult ExportSum(ExportJob& job, const std::string& out_path, int32_t n);

}  // namespace lumetra
