#include "processing/temporal_median.h"

#include <algorithm>
#include <cstring>

#include "common/parallel.h"
#include "common/text_format.h"
#include "processing/processing_messages.h"

namespace lumetra {
namespace {

constexpr size_t kBlock = 64;  // pixels per unit of work handed to a thread

// The exchange sort of the filter (for i ascending, for j from the top down
// to i + 1: swap when v[i] > v[j]) as min/max pairs, stopped after i = m / 2,
// when v[m / 2] already holds the median. The loop over pixels runs on
// registers only, so the compiler turns it into vector code; counts are
// flipped by 0x8000 to compare as signed 16-bit values, which every x86-64
// vector unit can do in one instruction.
template <int M>
void MedianBlocks(const uint16_t* const* slots, uint16_t* __restrict out, size_t begin,
                  size_t end) {
  const uint16_t* s[M];
  for (int k = 0; k < M; ++k) s[k] = slots[k];
  for (size_t x = begin; x < end; ++x) {
    int16_t v[M];
#pragma GCC unroll 8
    for (int k = 0; k < M; ++k) v[k] = static_cast<int16_t>(s[k][x] ^ 0x8000u);
#pragma GCC unroll 8
    for (int i = 0; i <= M / 2; ++i) {
#pragma GCC unroll 8
      for (int j = M - 1; j > i; --j) {
        const int16_t lo = std::min(v[i], v[j]);
        const int16_t hi = std::max(v[i], v[j]);
        v[i] = lo;
        v[j] = hi;
      }
    }
    out[x] = static_cast<uint16_t>(static_cast<uint16_t>(v[M / 2]) ^ 0x8000u);
  }
}

}  // namespace

void MedianOfSlots(const uint16_t* const* slots, int m, uint16_t* out, size_t n) {
  auto body = [&](int64_t begin, int64_t end) {
    // Chunk edges on whole blocks keep every block inside one chunk.
    const size_t b = static_cast<size_t>(begin) * kBlock;
    const size_t e = std::min(n, static_cast<size_t>(end) * kBlock);
    // Three frames: the window's comparison chain (a if c <= a <= b, else a
    // if b <= a <= c, else b if ..., else c) always picks the middle value,
    // which the exchange sort gives too.
    if (m == 3) MedianBlocks<3>(slots, out, b, e);
    if (m == 5) MedianBlocks<5>(slots, out, b, e);
    if (m == 7) MedianBlocks<7>(slots, out, b, e);
  };
  const int64_t blocks = static_cast<int64_t>((n + kBlock - 1) / kBlock);
  // Below about half a megapixel the median takes a fraction of a millisecond:
  // starting and joining a thread for it would cost more than it saves.
  ParallelChunks(blocks, body, 8192);
}

TemporalMedian::TemporalMedian(Reporter& reporter, size_t buffer_pixels)
    : reporter_(reporter), buffer_pixels_(buffer_pixels) {}

void TemporalMedian::Restart() {
  median_index_ = 0;
  median_full_ = false;
}

void TemporalMedian::SetMedianFrames(int32_t m) {
  median_frames_ = (m == 3 || m == 5 || m == 7) ? m : 0;
}

bool TemporalMedian::EnsureBuffer() {
  if (buffer_) return true;
  // calloc: zero-filled, and the pages are only touched as the slots are used.
  uint16_t* p = nullptr;
  if (buffer_pixels_ <= static_cast<size_t>(PTRDIFF_MAX) / sizeof(uint16_t))
    p = static_cast<uint16_t*>(std::calloc(buffer_pixels_, sizeof(uint16_t)));
  if (!p) {
    reporter_.Modal(kCanNotAllocateMedianBuffers);
    menu_enabled_ = false;
    median_frames_ = 0;
    return false;
  }
  buffer_.reset(p);
  return true;
}

uint16_t* TemporalMedian::SlotPointer(int32_t k, size_t n) {
  if (!buffer_ || k < 0 || (static_cast<size_t>(k) + 1) * n > buffer_pixels_) return nullptr;
  return buffer_.get() + static_cast<size_t>(k) * n;
}

void TemporalMedian::Apply(FrameView& frame) {
  const int32_t m = median_frames_;
  if (m == 0 || !EnsureBuffer()) return;
  const size_t n = static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height);
  // The menu may have shortened the ring since the last frame.
  if (median_index_ >= m) median_index_ = 0;
  uint16_t* slot = SlotPointer(median_index_, n);
  if (!slot || !SlotPointer(m - 1, n)) return;
  std::memcpy(slot, frame.pixels, n * sizeof(uint16_t));
  if (++median_index_ > m - 1) {
    median_full_ = true;
    median_index_ = 0;
  }
  if (!median_full_) return;
  const uint16_t* slots[7];
  for (int32_t k = 0; k < m; ++k) slots[k] = SlotPointer(k, n);
  MedianOfSlots(slots, m, frame.pixels, n);
}

std::optional<int32_t> ParseTemporalMedianFrames(std::string_view text) {
  const auto v = ParseInteger(text);
  if (!v || (*v != 3 && *v != 5 && *v != 7)) return std::nullopt;
  return static_cast<int32_t>(*v);
}

void UseTemporalMedian(RecordStore& store, TemporalMedian& filter, int32_t frames) {
  filter.SetMedianFrames(frames);
  if (filter.MedianFrames() == 0) {
    store.RemoveStep(&filter);
    return;
  }
  store.AddStep(&filter);
}

void RereadThroughChain(RecordStore& store, TemporalMedian& filter, Reporter& reporter) {
  const int32_t k = store.CurrentFrame();
  if (!store.RecordLoaded() || k < 0 || k >= store.FrameCount()) return;
  const int32_t first = std::max(0, k - std::max(0, filter.MedianFrames() - 1));
  // Land on the frame before `first` (or before the record), empty the ring,
  // then read forward: frames first .. k are the only ones the ring holds.
  if (first == 0) {
    filter.Restart();
    store.FirstFrame(reporter);
  } else {
    if (!store.GoToFrame(first - 1, reporter)) return;
    filter.Restart();
    if (!store.NextFrame(reporter)) return;
  }
  store.GoToFrame(k, reporter);
}

}  // namespace lumetra
