// Filling the display image from the current frame: every 16-bit count is
// looked up in the palette and written as a 32-bit 0x00RRGGBB pixel, each
// frame pixel repeated zoom x zoom times. The window paints only the part of
// the frame it shows; the command line paints whole frames.
#pragma once

#include <cstdint>
#include <vector>

namespace lumetra {

// Display zoom: screen pixels per frame pixel.
inline constexpr int32_t kMinZoom = 1;
inline constexpr int32_t kMaxZoom = 30;

// A rectangle of frame pixels; right and bottom exclusive.
struct FrameRect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  int32_t Width() const { return right - left; }
  int32_t Height() const { return bottom - top; }
  bool Empty() const { return right <= left || bottom <= top; }
};

// The rectangle `r` cut to a frame of this size (empty when they do not meet).
FrameRect ClipToFrame(const FrameRect& r, int32_t width, int32_t height);

class FramePainter {
 public:
  FramePainter();

  // Takes the palette (one colour per count value). Counts at or above its
  // length take its top colour: a frame can hold counts above the record's
  // MaxLevel, and the table is never read past its end. An empty palette
  // paints black. `or_bits` is ORed into every colour (0xFF000000 gives the
  // opaque pixels of a 32-bit screen image; the core's own form has 0 there).
  void SetPalette(const std::vector<uint32_t>& palette, uint32_t or_bits = 0);

  // Paints `area` of the frame (pixels: row-major, `frame_width` per row) at
  // `zoom` (clamped to 1..30) into `out`: area.Width() x zoom columns and
  // area.Height() x zoom rows, `out_stride` pixels from one row to the next.
  // The caller clips `area` to the frame. `workers` above 1 splits the rows
  // over threads; the image is the same either way.
  void Paint(const uint16_t* frame, int32_t frame_width, const FrameRect& area, int32_t zoom,
             uint32_t* out, int64_t out_stride, int workers = 1) const;

  // The whole frame at `zoom` into `out` (resized to (width x zoom) x (height x zoom)).
  void PaintWhole(const uint16_t* frame, int32_t width, int32_t height, int32_t zoom,
                  std::vector<uint32_t>& out, int workers = 1) const;

  uint32_t ColourOf(uint16_t count) const { return lut_[count]; }

 private:
  void PaintRows(const uint16_t* frame, int32_t frame_width, const FrameRect& area, int32_t zoom,
                 int32_t row_begin, int32_t row_end, uint32_t* out, int64_t out_stride) const;

  // 65536 entries: the palette padded with its top colour.
  std::vector<uint32_t> lut_;
};

}  // namespace lumetra
