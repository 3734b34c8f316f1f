// "Part of the Record": frames first..last (0-based) saved as a new record,
// their time stamps measured from the frame before the first.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "processing/export_stream.h"

namespace lumetra {

// The two input boxes ("Save From Frame N=", default "0"; "Save To Frame N=",
// default the frame count). A non-number counts as 0. First must lie in
// [0, frame count); last in (first, frame count] (the frame count itself, one
// past the last index, is accepted). False after "First Frame Out of Range"
// or "Last Frame Out of Range".
bool CheckPartFirst(std::string_view text, int32_t frame_count, int32_t& first, Reporter& reporter);
bool CheckPartLast(std::string_view text, int32_t first, int32_t frame_count, int32_t& last,
                   Reporter& reporter);

// Writes frames first..last. The time base is the time stamp of frame
// first - 1 (0 when first is 0), subtracted from every later frame, so the
// first saved frame keeps the interval to the frame before it.
ExportResult ExportPart(ExportJob& job, const std::string& out_path, int32_t first, int32_t last);

}  // namespace lumetra
