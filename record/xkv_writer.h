// Writing the current frame as one XKV frame record: the frame writer that
// "Save Current Frame" and every record export uses.
#pragma once

#include <cstdint>
#include <cstdio>

#include "common/region.h"
#include "record/xkv_format.h"

namespace lumetra {

struct FrameWriteOptions {
  // When active, only this rectangle is written (right and bottom exclusive);
  // the header's origin and size follow it. A rectangle reaching beyond the
  // frame is clipped to it.
  Region region;
  // "Save XKV 2bytes/pix": force 2-byte storage for frames that would fit in 1.
  bool save_2bytes = false;
};

// The BitsPerPixel the writer stores for a largest value `max_value`: the
// smallest n in 1..16 with 2^n > max_value, raised to 9 with `save_2bytes`.
uint8_t BitsForMaxValue(uint16_t max_value, bool save_2bytes);

// Appends one frame record at the current position of `out` (opened "wb").
// `prm` is the current header in the new size form; `frame` holds at least
// PixelCount 16-bit counts (Width x Height, row-major). The ADD_INFO block is
// written unchanged when prm.AddInfoFlag is 1. Returns false when a write came
// up short or the rectangle misses the frame; the caller decides whether to
// tell the user.
bool WriteXKVFrame(std::FILE* out, const PRM_INFO& prm, const ADD_INFO& add, const uint16_t* frame,
                   const FrameWriteOptions& options);

}  // namespace lumetra
