#include "display/frame_painter.h"

#include <algorithm>
#include <cstring>

#include "common/parallel.h"

namespace lumetra {

FrameRect ClipToFrame(const FrameRect& r, int32_t width, int32_t height) {
  FrameRect c{std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, width),
              std::min(r.bottom, height)};
  if (c.Empty()) return FrameRect{};
  return c;
}

FramePainter::FramePainter() : lut_(65536, 0) {}

void FramePainter::SetPalette(const std::vector<uint32_t>& palette, uint32_t or_bits) {
  const size_t n = std::min<size_t>(palette.size(), lut_.size());
  // Only the colour bytes are taken: the ramps of a table whose length is not a
  // power of two can carry into bit 24.
  for (size_t i = 0; i < n; ++i) lut_[i] = (palette[i] & 0xFFFFFFu) | or_bits;
  const uint32_t top = n == 0 ? or_bits : lut_[n - 1];
  std::fill(lut_.begin() + static_cast<std::ptrdiff_t>(n), lut_.end(), top);
}

void FramePainter::PaintRows(const uint16_t* frame, int32_t frame_width, const FrameRect& area,
                             int32_t zoom, int32_t row_begin, int32_t row_end, uint32_t* out,
                             int64_t out_stride) const {
  const uint32_t* lut = lut_.data();
  const int32_t w = area.Width();
  const size_t row_bytes = static_cast<size_t>(w) * static_cast<size_t>(zoom) * sizeof(uint32_t);
  for (int32_t r = row_begin; r < row_end; ++r) {
    const uint16_t* src = frame + static_cast<int64_t>(area.top + r) * frame_width + area.left;
    uint32_t* dst = out + static_cast<int64_t>(r) * zoom * out_stride;
    if (zoom == 1) {
      for (int32_t x = 0; x < w; ++x) dst[x] = lut[src[x]];
      continue;
    }
    uint32_t* o = dst;
    for (int32_t x = 0; x < w; ++x) {
      const uint32_t c = lut[src[x]];
      for (int32_t z = 0; z < zoom; ++z) *o++ = c;
    }
    // The other zoom - 1 screen rows of this frame row are copies of the first.
    for (int32_t z = 1; z < zoom; ++z) std::memcpy(dst + z * out_stride, dst, row_bytes);
  }
}

void FramePainter::Paint(const uint16_t* frame, int32_t frame_width, const FrameRect& area,
                         int32_t zoom, uint32_t* out, int64_t out_stride, int workers) const {
  if (area.Empty()) return;
  zoom = std::clamp(zoom, kMinZoom, kMaxZoom);
  const int32_t rows = area.Height();
  if (workers <= 1) {
    PaintRows(frame, frame_width, area, zoom, 0, rows, out, out_stride);
    return;
  }
  // Rows are independent, so any split gives the same image.
  ParallelChunks(
      rows,
      [&](int64_t b, int64_t e) {
        PaintRows(frame, frame_width, area, zoom, static_cast<int32_t>(b), static_cast<int32_t>(e),
                  out, out_stride);
      },
      64, workers);
}

void FramePainter::PaintWhole(const uint16_t* frame, int32_t width, int32_t height, int32_t zoom,
                              std::vector<uint32_t>& out, int workers) const {
  zoom = std::clamp(zoom, kMinZoom, kMaxZoom);
  const int64_t out_w = static_cast<int64_t>(width) * zoom;
  out.resize(static_cast<size_t>(out_w * height * zoom));
  Paint(frame, width, FrameRect{0, 0, width, height}, zoom, out.data(), out_w, workers);
}

}  // namespace lumetra
