// "Record with Binning": n x n binning (n = 2, 3, 5) sums each block of
// pixels into one; "Expand 3X3" (n = -3) replicates each pixel into 3 x 3.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "processing/export_stream.h"

namespace lumetra {

// Ceiling of binned and expanded output: 60000, not 65535.
inline constexpr uint32_t kBinCeiling = 60000;

// Bins one frame (n = 2, 3 or 5): out (width / n) x (height / n) cells, each the sum of its
// n x n pixels (the rightmost width mod n columns and bottom height mod n rows
// are dropped), clamped to kBinCeiling. `columns` is scratch, grown as needed.
void BinFrame(const uint16_t* in, int32_t width, int32_t height, int32_t n, uint16_t* out,
              std::vector<uint32_t>& columns);
// Expands one frame k times in each direction by pixel replication.
void ExpandFrame(const uint16_t* in, int32_t width, int32_t height, int32_t k, uint16_t* out);

// n = 2, 3 or 5 bins; n = -3 expands. Binning multiplies Binning, ScaleX and
// ScaleY by n and divides X0 and Y0 by n; expansion multiplies Width and
// Height by 3 and divides the scales by 3.
ExportResult ExportBinning(ExportJob& job, const std::string& out_path, int32_t n);

}  // namespace lumetra
