// "Drift-corrected record": every frame moved by a shift of its own, so a
// field that drifted by (dx, dy) pixels at frame f is put back where it was at
// frame 0. Sub-pixel shifts are bilinear: an output pixel at (x, y) is the
// input interpolated at (x + dx, y + dy). Where that point lies outside the
// frame (a border as wide as the shift), the pixel takes the frame's mean, so
// the border neither adds edges nor dark bands a spot detector would react
// to. The header, the time stamps and the frame count stay as they were.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "processing/export_stream.h"

namespace lumetra {

// One frame of `width` x `height` (row-major) shifted into `out` (same size).
void ShiftFrameBilinear(const uint16_t* in, uint16_t* out, int32_t width, int32_t height,
                        double dx, double dy);

// The shift of frame f is (dx_px[f], dy_px[f]); frames past the end of the
// lists keep the last shift, and empty lists shift nothing. The output is
// written under a temporary name beside it and renamed when complete, so a
// failed or stopped export leaves no half-written record under the name.
ExportResult ExportShifted(ExportJob& job, const std::string& out_path,
                           const std::vector<double>& dx_px, const std::vector<double>& dy_px);

}  // namespace lumetra
