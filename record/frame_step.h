// The processing chain: per-frame steps the record store runs, in a fixed
// order, on every frame it reads (filters that change the pixels in place).
#pragma once

#include <cstdint>
#include <string_view>

#include "record/xkv_format.h"

namespace lumetra {

// Where a step sits in the chain; steps run in this order after each read.
enum class ChainSlot : int {
  kMask = 1,       // boolean and subtracted masks, equaliser
  kPrevFrame = 2,  // previous-frame subtraction
  kSpatial = 3,    // spatial medians, smoothing, sharpening, Sobel, local background
  kSdImage = 4,    // SD imaging ring
  kTemporal = 5,   // temporal median, running sum and average
};

// The frame a step works on: 16-bit counts, row-major, Width x Height.
struct FrameView {
  uint16_t* pixels;
  int32_t width;
  int32_t height;
  const PRM_INFO& prm;
  int32_t index;  // 0-based number of the frame in the record
};

class FrameStep {
 public:
  virtual ~FrameStep() = default;
  virtual ChainSlot Slot() const = 0;
  // Place among the steps of one slot, lowest first (the temporal median 0,
  // then running sum, running average, accumulation), whatever order the
  // steps were added in.
  virtual int32_t SlotOrder() const { return 0; }
  // Whether the step's menu option is checked; an unchecked step is skipped.
  virtual bool Enabled() const = 0;
  // A record was opened or the stream restarted at its first frame: forget
  // every frame seen so far (ring indices, counters).
  virtual void Restart() {}
  virtual void Apply(FrameView& frame) = 0;
};

}  // namespace lumetra
