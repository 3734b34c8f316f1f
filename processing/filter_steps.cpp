#include "processing/filter_steps.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "processing/processing_messages.h"
#include "processing/vector_clones.h"


namespace lumetra {
namespace {

size_t PixelsOf(const FrameView& f) {
  return f.width > 0 && f.height > 0 ? static_cast<size_t>(f.width) * f.height : 0;
}

// One pass over the ring slot the frame replaces: the leaving frame (zeros
// while the ring fills) comes out of the sums, the new one goes in.
LUMETRA_VECTOR_CLONES
void UpdateSums(const uint16_t* frame, uint16_t* slot, uint32_t* sum, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    sum[i] += uint32_t{frame[i]} - slot[i];
    slot[i] = frame[i];
  }
}

// Sums of squares of at most 50 counts stay below 2^38: whole numbers that
// doubles hold and add exactly, on vectors.
LUMETRA_VECTOR_CLONES
void UpdateSquares(const uint16_t* frame, const uint16_t* slot, double* squares, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const double a = frame[i], b = slot[i];
    squares[i] += a * a - b * b;
  }
}

LUMETRA_VECTOR_CLONES
void SumOut(const uint32_t* sum, uint16_t* out, size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint16_t>(std::min(sum[i], 65535u));
}

LUMETRA_VECTOR_CLONES
void AverageOut(const uint32_t* sum, uint32_t frames, uint16_t* out, size_t n) {
  const ExactDivider divide(frames);
  const uint32_t half = frames / 2;
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint16_t>(divide(sum[i] + half));
}

LUMETRA_VECTOR_CLONES
void Accumulate(uint32_t* acc, uint16_t* frame, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    acc[i] += frame[i];
    frame[i] = static_cast<uint16_t>(std::min(acc[i], 65535u));
  }
}

}  // namespace

void FilterStep::SetOn(bool on) {
  if (on && !on_) Restart();
  on_ = on;
}

LUMETRA_VECTOR_CLONES
void SubtractPrevious(uint16_t* frame, uint16_t* prev, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const uint16_t p = frame[i], q = prev[i];
    frame[i] = static_cast<uint16_t>(p > q ? p - q : 0);
    prev[i] = p;
  }
}

LUMETRA_VECTOR_CLONES
void SdFromSums(const uint32_t* sum, const double* squares, int32_t frames, uint16_t* out,
                size_t n) {
  const double nf = frames;
  const double nn = nf * (nf - 1);
  const double inv = 1.0 / nn;
  for (size_t i = 0; i < n; ++i) {
    // N sum2 - sum^2 is N^2 times the population variance: a whole number
    // below 2^44 for 50 frames of 16-bit counts, and every product here stays
    // below 2^53, so doubles compute it exactly.
    const double s1 = sum[i];
    const double d = nf * squares[i] - s1 * s1;
    // The root's estimate is off by at most one; exact comparisons of whole
    // numbers settle it: s is the largest whole number with s^2 N (N - 1) <= d.
    double s = std::floor(std::sqrt(d * inv));
    s += (s + 1) * (s + 1) * nn <= d ? 1 : 0;
    s -= s * s * nn > d ? 1 : 0;
    out[i] = static_cast<uint16_t>(std::min(s, 65535.0));
  }
}

void PrevFrameStep::Apply(FrameView& frame) {
  const size_t n = PixelsOf(frame);
  if (n == 0) return;
  if (n != pixels_) {
    if (prev_.size() < n && !Allocate(prev_, n, reporter_, kCanNotAllocatePrevFrameBuffer)) return;
    std::memcpy(prev_.data(), frame.pixels, n * sizeof(uint16_t));
    pixels_ = n;
  }
  SubtractPrevious(frame.pixels, prev_.data(), n);
}

void SpatialStep::Set(const Ticks& ticks, int32_t sharp_weight, int32_t radius, int workers) {
  ticks_ = ticks;
  sharp_weight_ = sharp_weight;
  radius_ = radius;
  workers_ = workers;
}

void SpatialStep::Apply(FrameView& f) {
  try {
    if (ticks_.median5)
      SpatialMedian5(f.pixels, f.width, f.height, scratch_, workers_);
    else if (ticks_.median3)
      SpatialMedian3(f.pixels, f.width, f.height, scratch_, workers_);
    if (ticks_.smoothing) Smooth3(f.pixels, f.width, f.height, scratch_, workers_);
    if (ticks_.sharpening) Sharpen(f.pixels, f.width, f.height, sharp_weight_, scratch_, workers_);
    if (ticks_.sobel) Sobel(f.pixels, f.width, f.height, scratch_, workers_);
    if (ticks_.background)
      SubtractLocalBackground(f.pixels, f.width, f.height, radius_, scratch_, workers_);
  } catch (const std::bad_alloc&) {
    // Only the work buffers grow, before any pixel is written.
    on_ = false;
    ticks_ = Ticks{};
  }
}

void RingStep::SetFrames(int32_t n) {
  n = std::clamp(n, 2, 50);
  if (n != frames_) pixels_ = 0;
  frames_ = n;
}

bool RingStep::Reset(size_t pixels) {
  const std::string_view message = kind_ == Kind::kSum       ? kCanNotAllocateMedianBuffers
                                   : kind_ == Kind::kAverage ? kCanNotAllocateRunningAverBuffer
                                                             : kCanNotAllocateSdBuffer;
  if (!Allocate(ring_, pixels * static_cast<size_t>(frames_), reporter_, message) ||
      !Allocate(sum_, pixels, reporter_, message) ||
      (kind_ == Kind::kSd && !Allocate(squares_, pixels, reporter_, message)))
    return false;
  pixels_ = pixels;
  index_ = 0;
  count_ = 0;
  return true;
}

void RingStep::Apply(FrameView& frame) {
  const size_t n = PixelsOf(frame);
  if (n == 0 || (n != pixels_ && !Reset(n))) return;
  uint16_t* slot = ring_.data() + static_cast<size_t>(index_) * n;
  if (kind_ == Kind::kSd) UpdateSquares(frame.pixels, slot, squares_.data(), n);
  UpdateSums(frame.pixels, slot, sum_.data(), n);
  index_ = (index_ + 1) % frames_;
  count_ = std::min(count_ + 1, frames_);
  if (count_ < frames_) return;
  switch (kind_) {
    case Kind::kSum:
      SumOut(sum_.data(), frame.pixels, n);
      break;
    case Kind::kAverage:
      AverageOut(sum_.data(), static_cast<uint32_t>(frames_), frame.pixels, n);
      break;
    case Kind::kSd:
      SdFromSums(sum_.data(), squares_.data(), frames_, frame.pixels, n);
      break;
  }
}

void AccumulateStep::Apply(FrameView& frame) {
  const size_t n = PixelsOf(frame);
  if (n == 0) return;
  if (n != pixels_) {
    if (!Allocate(acc_, n, reporter_, kCanNotAllocateAccumulator)) return;
    pixels_ = n;
  }
  Accumulate(acc_.data(), frame.pixels, n);
}

}  // namespace lumetra
