#include "processing/filter_steps.h"

#include <algorithm>
#include <bit>
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

namespace {

// One pixel's word after the frame's count a replaces the slot's count b.
inline uint64_t Packed(uint64_t word, uint32_t a, uint32_t b) {
  return word + ((uint64_t{a} << kSquareBits) + a * a) - ((uint64_t{b} << kSquareBits) + b * b);
}

// A whole number below 2^52 as a double, exactly: placed in the mantissa of
// 2^52 and 2^52 taken away (works on vectors without 64-bit conversions).
inline double WholeDouble(uint64_t v) {
  return std::bit_cast<double>(v | 0x4330000000000000u) - 4503599627370496.0;
}

LUMETRA_VECTOR_CLONES
void SdUpdate(const uint16_t* __restrict frame, uint16_t* __restrict slot,
              uint64_t* __restrict packed, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    packed[i] = Packed(packed[i], frame[i], slot[i]);
    slot[i] = frame[i];
  }
}

LUMETRA_VECTOR_CLONES
void SdUpdateOut(uint16_t* __restrict frame, uint16_t* __restrict slot,
                 uint64_t* __restrict packed, int32_t frames, size_t n) {
  const uint64_t nf = static_cast<uint64_t>(frames);
  const double nn = static_cast<double>(frames) * (frames - 1);
  const double inv = 1.0 / nn;
  constexpr uint64_t kSquares = (uint64_t{1} << kSquareBits) - 1;
  for (size_t i = 0; i < n; ++i) {
    const uint16_t a = frame[i];
    const uint64_t word = Packed(packed[i], a, slot[i]);
    packed[i] = word;
    slot[i] = a;
    const uint32_t s1 = static_cast<uint32_t>(word >> kSquareBits);
    // N sum2 - sum^2 is N^2 times the population variance: a whole number
    // below 2^44 for 50 frames of 16-bit counts, and every product below
    // stays below 2^53, so doubles compute with it exactly.
    const double d = WholeDouble(nf * (word & kSquares) - uint64_t{s1} * s1);
    // The root's estimate is off by at most one; exact comparisons of whole
    // numbers settle it: s is the largest whole number with s^2 N (N - 1) <= d.
    double s = std::floor(std::sqrt(d * inv));
    s += (s + 1) * (s + 1) * nn <= d ? 1 : 0;
    s -= s * s * nn > d ? 1 : 0;
    frame[i] = static_cast<uint16_t>(std::min(s, 65535.0));
  }
}

}  // namespace

void SdPass(uint16_t* frame, uint16_t* slot, uint64_t* packed, int32_t frames, bool full,
            size_t n) {
  if (full)
    SdUpdateOut(frame, slot, packed, frames, n);
  else
    SdUpdate(frame, slot, packed, n);
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
      (kind_ == Kind::kSd ? !Allocate(packed_, pixels, reporter_, message)
                          : !Allocate(sum_, pixels, reporter_, message)))
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
  if (kind_ == Kind::kSd) {
    SdPass(frame.pixels, slot, packed_.data(), frames_, count_ + 1 >= frames_, n);
    index_ = (index_ + 1) % frames_;
    count_ = std::min(count_ + 1, frames_);
    return;
  }
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
    case Kind::kSd:  // above
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
