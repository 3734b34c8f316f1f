// The chain steps behind the filter menu items: each keeps its own buffers,
// sized on first use for the frame it meets and kept while frames keep that
// size. A frame of another size starts a temporal step afresh.
#pragma once

#include <cstdint>
#include <new>
#include <string_view>
#include <vector>

#include "common/report.h"
#include "processing/frame_filters.h"
#include "record/frame_step.h"

namespace lumetra {

class FilterStep : public FrameStep {
 public:
  bool Enabled() const override { return on_; }
  void SetOn(bool on);
  bool On() const { return on_; }
  // Frames the output depends on, the current one included (0: all of them).
  virtual int32_t History() const = 0;

 protected:
  // `v` as n zeros; reports `message` and unticks the step when the memory
  // cannot be had. Keeps the memory it has when n fits.
  template <typename T>
  bool Allocate(std::vector<T>& v, size_t n, Reporter& reporter, std::string_view message) {
    try {
      v.assign(n, T{});
      return true;
    } catch (const std::bad_alloc&) {
      v = std::vector<T>();
      on_ = false;
      reporter.Modal(message);
      return false;
    }
  }
  bool on_ = false;
};

// Slot 2: p - previous where p is greater, else 0; the frame as it came in
// becomes the previous one. The first frame after a restart has no previous
// one and is subtracted from itself (all 0).
class PrevFrameStep final : public FilterStep {
 public:
  explicit PrevFrameStep(Reporter& reporter) : reporter_(reporter) {}
  ChainSlot Slot() const override { return ChainSlot::kPrevFrame; }
  void Restart() override { pixels_ = 0; }
  void Apply(FrameView& frame) override;
  int32_t History() const override { return 2; }

 private:
  Reporter& reporter_;
  std::vector<uint16_t> prev_;
  size_t pixels_ = 0;  // of the frame in prev_; 0: none yet
};

// Slot 3: the ticked spatial filters in their fixed order: median 3 or 5 (5
// when both are ticked), smoothing, sharpening, Sobel, local background.
class SpatialStep final : public FilterStep {
 public:
  struct Ticks {
    bool median3 = false, median5 = false, smoothing = false, sharpening = false, sobel = false,
         background = false;
    bool Any() const { return median3 || median5 || smoothing || sharpening || sobel || background; }
  };
  ChainSlot Slot() const override { return ChainSlot::kSpatial; }
  void Apply(FrameView& frame) override;
  int32_t History() const override { return 1; }
  void Set(const Ticks& ticks, int32_t sharp_weight, int32_t radius, int workers);

 private:
  Ticks ticks_;
  int32_t sharp_weight_ = 1024;
  int32_t radius_ = 3;
  int workers_ = 0;
  FilterScratch scratch_;
};

// A ring of the last N frames with per-pixel running sums, shared by the
// running sum, the running average and SD imaging. Until the ring holds N
// frames, frames pass unchanged.
class RingStep : public FilterStep {
 public:
  enum class Kind { kSum, kAverage, kSd };
  RingStep(Kind kind, Reporter& reporter) : kind_(kind), reporter_(reporter) {}
  ChainSlot Slot() const override {
    return kind_ == Kind::kSd ? ChainSlot::kSdImage : ChainSlot::kTemporal;
  }
  int32_t SlotOrder() const override { return kind_ == Kind::kAverage ? 2 : 1; }
  void Restart() override { pixels_ = 0; }
  void Apply(FrameView& frame) override;
  int32_t History() const override { return frames_; }
  // A new length empties the ring.
  void SetFrames(int32_t n);
  int32_t Frames() const { return frames_; }

 private:
  bool Reset(size_t pixels);
  Kind kind_;
  Reporter& reporter_;
  int32_t frames_ = 3;
  size_t pixels_ = 0;  // of the frames in the ring; 0: empty
  int32_t index_ = 0;  // slot the next frame goes into
  int32_t count_ = 0;  // frames in the ring, at most frames_
  std::vector<uint16_t> ring_;
  std::vector<uint32_t> sum_;     // running sum and average
  std::vector<uint64_t> packed_;  // SD imaging: PackedSums
};

// Slot 5, last: every frame added to a 32-bit accumulator per pixel; the
// frame becomes the accumulated counts, at most 65535.
class AccumulateStep final : public FilterStep {
 public:
  explicit AccumulateStep(Reporter& reporter) : reporter_(reporter) {}
  ChainSlot Slot() const override { return ChainSlot::kTemporal; }
  int32_t SlotOrder() const override { return 3; }
  void Restart() override { pixels_ = 0; }
  void Apply(FrameView& frame) override;
  int32_t History() const override { return 0; }

 private:
  Reporter& reporter_;
  std::vector<uint32_t> acc_;
  size_t pixels_ = 0;
};

// The per-pixel work of the temporal steps, on n pixels.
// Previous-frame subtraction; `prev` receives the frame as it came in.
void SubtractPrevious(uint16_t* frame, uint16_t* prev, size_t n);
// SD imaging keeps, per pixel, the sum of its N counts (below 2^22) and the
// sum of their squares (below 2^38) in one word: sum * 2^38 + squares. The
// ring's update adds the new frame's terms and subtracts the leaving frame's,
// modulo 2^64, which leaves the word exact since both fields stay in range.
constexpr int kSquareBits = 38;

// Takes the frame into the sums in place of the ring slot's (zeros while the
// ring fills) and into the slot; when the ring is `full`, replaces the frame
// by the sample SD of the N frames: floor(sqrt(v)) with v = (N sum2 - sum^2)
// / (N (N - 1)) rounded down, at most 65535.
void SdPass(uint16_t* frame, uint16_t* slot, uint64_t* packed, int32_t frames, bool full,
            size_t n);

}  // namespace lumetra
