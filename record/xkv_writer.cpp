#include "record/xkv_writer.h"

#include <algorithm>
#include <array>
#include <bit>

namespace lumetra {
namespace {

uint16_t MaxOf(const uint16_t* p, size_t n) {
  uint16_t m = 0;
  for (size_t i = 0; i < n; ++i) m = std::max(m, p[i]);
  return m;
}

// Writes n counts as 1 or 2 bytes each, through a fixed stack buffer so that
// nothing is allocated per frame.
bool WritePixels(std::FILE* out, const uint16_t* p, size_t n, bool two_bytes) {
  if (two_bytes && std::endian::native == std::endian::little)
    return std::fwrite(p, 2, n, out) == n;
  constexpr size_t kChunk = 32768;
  std::array<uint8_t, kChunk * 2> buf;
  while (n > 0) {
    size_t k = std::min(n, kChunk);
    size_t bytes = 0;
    for (size_t i = 0; i < k; ++i) {
      buf[bytes++] = static_cast<uint8_t>(p[i]);
      if (two_bytes) buf[bytes++] = static_cast<uint8_t>(p[i] >> 8);
    }
    if (std::fwrite(buf.data(), 1, bytes, out) != bytes) return false;
    p += k;
    n -= k;
  }
  return true;
}

}  // namespace

uint8_t BitsForMaxValue(uint16_t max_value, bool save_2bytes) {
  uint8_t n = 1;
  while (n < 16 && (1u << n) <= max_value) ++n;
  if (save_2bytes && n < 9) n = 9;
  return n;
}

bool WriteXKVFrame(std::FILE* out, const PRM_INFO& prm, const ADD_INFO& add, const uint16_t* frame,
                   const FrameWriteOptions& options) {
  PRM_INFO h = prm;
  h.Flags |= kFlagNewSizeForm;
  h.BitsPerPixel = 0;

  const Region& r = options.region;
  const bool crop = r.active;
  Region c;
  if (crop) {
    c.left = std::max(r.left, 0);
    c.top = std::max(r.top, 0);
    c.right = std::min(r.right, prm.Width);
    c.bottom = std::min(r.bottom, prm.Height);
    if (c.right <= c.left || c.bottom <= c.top) return false;
    // The origin of a hostile header can lie at the end of the 32-bit range:
    // the sum wraps as the 32-bit field does, without overflowing.
    h.X0 = static_cast<int32_t>(static_cast<uint32_t>(prm.X0) + static_cast<uint32_t>(c.left));
    h.Width = c.Width();
    h.Y0 = static_cast<int32_t>(static_cast<uint32_t>(prm.Y0) + static_cast<uint32_t>(c.top));
    h.Height = c.Height();
    h.PixelCount = h.Width * h.Height;
  }
  const size_t count = h.PixelCount > 0 ? static_cast<size_t>(h.PixelCount) : 0;

  uint16_t max_value = 0;
  if (crop) {
    for (int32_t y = c.top; y < c.bottom; ++y)
      max_value = std::max(max_value, MaxOf(frame + static_cast<size_t>(y) * prm.Width + c.left,
                                            static_cast<size_t>(c.Width())));
  } else {
    max_value = MaxOf(frame, count);
  }
  h.BitsPerPixel = BitsForMaxValue(max_value, options.save_2bytes);
  const bool two_bytes = h.BitsPerPixel >= 9;

  PrmBytes hb = EncodePrmInfo(h);
  bool ok = std::fwrite(hb.data(), 1, hb.size(), out) == hb.size();
  if (h.AddInfoFlag == 1) {
    AddBytes ab = EncodeAddInfo(add);
    ok = ok && std::fwrite(ab.data(), 1, ab.size(), out) == ab.size();
  }
  if (crop) {
    for (int32_t y = c.top; ok && y < c.bottom; ++y)
      ok = WritePixels(out, frame + static_cast<size_t>(y) * prm.Width + c.left,
                       static_cast<size_t>(c.Width()), two_bytes);
  } else {
    ok = ok && WritePixels(out, frame, count, two_bytes);
  }
  return ok;
}

}  // namespace lumetra
