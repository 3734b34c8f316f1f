// "Thin Out Record": from a first frame on, one frame of every N, with the
// time stamps measured from the frame before the first. The values entered
// are remembered for the rest of the run.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "processing/export_stream.h"

namespace lumetra {

// The last values typed into the two input boxes; the window keeps one for
// the program's run (not saved in the INI file).
struct ThinOutMemory {
  int32_t first = 0;
  int32_t one_of_n = 2;
};

// "Save From Frame N=": the value is remembered at once, even when refused.
// Valid for 0 <= first < frame count - 1, else "First Frame is Out of Range".
bool CheckThinFirst(std::string_view text, int32_t frame_count, ThinOutMemory& memory,
                    Reporter& reporter);
// "Save One Frame Of N frames=": valid for 1 <= N < frame count - first, else
// "One Frame Of N value is Out of Range". Remembered either way.
bool CheckThinOneOfN(std::string_view text, int32_t frame_count, ThinOutMemory& memory,
                     Reporter& reporter);

// Reads every frame to the end; writes frame i when i >= first and
// (i - first) is a multiple of n.
ExportResult ExportThinOut(ExportJob& job, const std::string& out_path, int32_t first, int32_t n);

}  // namespace lumetra
