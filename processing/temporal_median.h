// The temporal median filter: each pixel of the frame just read becomes the
// median of that pixel over the last 3, 5 or 7 frames. It is a step of the
// record store's processing chain, and "Median of 5" drives its buffer itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

#include "common/report.h"
#include "record/frame_step.h"
#include "record/record_store.h"
#include "record/xkv_format.h"

namespace lumetra {

// Ten frames of the largest size (80,000,000 bytes): switching between 3, 5
// and 7 frames never reallocates.
inline constexpr size_t kMedianBufferPixels = 10 * static_cast<size_t>(kMaxFramePixels);

// out[i] = median of slots[0][i] .. slots[m-1][i] for i in [0, n), m = 3, 5 or
// 7. Work is split over the cores; the result does not depend on the split.
void MedianOfSlots(const uint16_t* const* slots, int m, uint16_t* out, size_t n);

class TemporalMedian final : public FrameStep {
 public:
  // `reporter` hears the allocation failure; it must outlive the filter.
  // `buffer_pixels` is the buffer's size, in pixels.
  explicit TemporalMedian(Reporter& reporter, size_t buffer_pixels = kMedianBufferPixels);

  ChainSlot Slot() const override { return ChainSlot::kTemporal; }
  bool Enabled() const override { return median_frames_ > 0; }
  // A record was opened: the ring starts again at slot 0.
  void Restart() override;
  void Apply(FrameView& frame) override;

  // MedianFrames: 0 (off), 3, 5 or 7; any other value switches the filter off.
  void SetMedianFrames(int32_t m);
  int32_t MedianFrames() const { return median_frames_; }
  int32_t MedianIndex() const { return median_index_; }
  bool MedianFull() const { return median_full_; }
  // False once the buffer could not be allocated: the menu entry is disabled.
  bool MenuEnabled() const { return menu_enabled_; }

  // Allocates the buffer on first use (zero-filled). False after reporting
  // "Can not allocate memory for Median buffers", switching the filter off and
  // disabling its menu entry.
  bool EnsureBuffer();
  // Slot k of a ring whose frames hold n pixels; null when it would not fit.
  uint16_t* SlotPointer(int32_t k, size_t n);

 private:
  struct FreeDeleter {
    void operator()(uint16_t* p) const { std::free(p); }
  };
  Reporter& reporter_;
  size_t buffer_pixels_;
  std::unique_ptr<uint16_t, FreeDeleter> buffer_;
  int32_t median_frames_ = 0;
  int32_t median_index_ = 0;
  bool median_full_ = false;
  bool menu_enabled_ = true;
};

// "--temporal-median N" of the commands: 3, 5 or 7, else nothing.
std::optional<int32_t> ParseTemporalMedianFrames(std::string_view text);

// Puts `filter` with `frames` frames (3, 5 or 7; 0 takes it out) into the
// store's chain, so every frame the store reads afterwards is filtered exactly
// as the window filters it. Call it before RecordStore::Open so that the ring
// starts with the record. `filter` must outlive its place in the chain.
void UseTemporalMedian(RecordStore& store, TemporalMedian& filter, int32_t frames);

// After the filter was switched on, off or to another length: reads the
// current frame again through the chain, preceded by the frames its median
// needs (up to M - 1 before it, from an empty ring), so the frame shown is
// what a playback reaching it would show. The frame index stays; a record
// without a current frame is left alone.
void RereadThroughChain(RecordStore& store, TemporalMedian& filter, Reporter& reporter);

}  // namespace lumetra
