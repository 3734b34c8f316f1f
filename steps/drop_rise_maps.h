// The detection pass's per-pixel work: a ring of box-summed frames and the
// four maps of the largest windowed drop and rise with their frames. Two
// equivalent ways to run it: the plain loop that sums every ring slot for
// every pixel, and the fast one that keeps running sums over the two windows
// (O(1) per pixel, rows split over the cores). Both give the same integers.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "spots/worker_pool.h"

namespace lumetra {

// Frames the step analysis looks at: later frames are left out.
inline constexpr int32_t kStepFrameLimit = 1000;
inline constexpr int32_t kMaxWindow = 10;  // W, frames
inline constexpr int32_t kRingExtra = 10;  // the ten-frame window beside W

// The four maps, Width x Height 32-bit integers, row-major.
struct StepMaps {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<int32_t> DropMap, DropFrame, RiseMap, RiseFrame;

  void Reset(int32_t w, int32_t h);  // allocates and clears all four
  bool Empty() const { return DropMap.empty(); }
  size_t Index(int32_t x, int32_t y) const { return static_cast<size_t>(y) * width + x; }
};

// The spot's half size R (0, 1, 2) and its pixel count (1, 9, 25).
inline int32_t SpotPixelCount(int32_t half_size) {
  return (2 * half_size + 1) * (2 * half_size + 1);
}

class DropRiseDetector {
 public:
  enum class Method { kPlain, kFast };

  // `workers` 0 uses every core, 1 keeps the fast loop on the calling thread.
  explicit DropRiseDetector(int workers = 0);
  ~DropRiseDetector();

  // Allocates the ring (W + 10 slots for the largest W) and the running sums
  // for frames of w x h pixels, zero-filled; throws std::bad_alloc. The ring
  // stays across passes: pixels that never get a box sum keep what their slot
  // held before, as the detection has always done.
  void Allocate(int32_t w, int32_t h);
  size_t AllocatedBytes() const;
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }

  // The start of a detection pass: maps cleared, ring index 0. `window` W is
  // 1..10, `half_size` R 0..2, `median_frames` M the temporal median's length
  // (0 when it is off).
  void Start(StepMaps& maps, int32_t window, int32_t half_size, int32_t median_frames,
             Method method);
  // One frame of the pass; f is the record's frame counter (0-based).
  void Frame(const uint16_t* pixels, int32_t f);
  // End of the pass: the amplitude maps become counts per pixel per frame.
  void Finish();

  // The first frame at which drops and rises are computed: M + W + 10.
  int32_t FirstComputedFrame() const { return median_ + window_ + kRingExtra; }
  // Status panel 0: the B marks as '1'/'0' per slot, six spaces, the A marks.
  std::string MarksText() const;
  int32_t FramesComputed() const { return computed_; }
  // The detector's threads, for other per-frame work of the window (null: one thread).
  WorkerPool* Pool() { return pool_.get(); }

 private:
  // What the fast method does with one frame, decided when it arrives from
  // the ring's frame numbers alone (never from pixel values).
  enum class Op : uint8_t { kFill, kPlain, kRebuild, kIncremental };
  struct Pending {
    int32_t f;
    int32_t written;  // the slot it goes into
    Op op;
    uint8_t before[kMaxWindow + kRingExtra];
    uint8_t after[kMaxWindow + kRingExtra];
  };

  int32_t Slots() const { return window_ + kRingExtra; }
  int32_t* Slot(int32_t s) { return ring_.data() + static_cast<size_t>(s) * pixels_; }
  void FillBoxRow(int32_t* out, const uint16_t* px, int32_t y, int32_t* col) const;
  void PlainRow(int32_t f, int32_t y, const uint8_t* before, const uint8_t* after);
  bool Regular(int32_t f, int32_t written) const;
  void Flush();
  void RowOp(const Pending& item, const uint16_t* px, int32_t y, int32_t* scratch);
  template <bool kIncremental>
  void FastRow(const uint16_t* px, int32_t f, int32_t written, int32_t y, int32_t* scratch);
  void RunRows(int32_t rows, const std::function<void(int32_t, int32_t, int32_t*)>& body);

  int workers_;
  std::unique_ptr<WorkerPool> pool_;
  std::vector<std::vector<int32_t>> scratch_;  // one column-sum row per task
  int32_t width_ = 0, height_ = 0;
  size_t pixels_ = 0;
  std::vector<int32_t> ring_;            // (kMaxWindow + 10) slots of box sums
  std::vector<int32_t> slot_frame_;      // frame number held in each slot
  int32_t index_ = 0;                    // next slot to write
  std::vector<uint8_t> before_, after_;  // B and A marks per slot
  // Running sums per pixel (fast method): the W oldest slots, the 10 newest,
  // the W newest. The 10 oldest are (B + N10) - A.
  std::vector<int32_t> sum_b_, sum_n10_, sum_a_;
  int32_t sums_frame_ = -1;  // frame the running sums belong to, -1 when stale
  // Frames waiting for the fast method. They are worked through row by row,
  // all of them on one row before the next, so a row's slots, sums and maps
  // stay in the cache; each pixel still sees its frames in order.
  std::vector<uint16_t> pending_pixels_;
  std::vector<Pending> pending_;
  int32_t batch_ = 1;

  StepMaps* maps_ = nullptr;
  int32_t window_ = kMaxWindow;
  int32_t half_ = 2;
  int32_t median_ = 0;
  float scale_ = 1.0f;  // 10.0 / W in single precision
  Method method_ = Method::kFast;
  int32_t computed_ = 0;
};

}  // namespace lumetra
