// Frames painted through a display palette into 24-bit BMP files: what the
// BMP exports save. A palette is a table with one colour per count value,
// 0x00RRGGBB, as the display builds it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lumetra {

// An RGB image, 0x00RRGGBB per pixel, row-major, row 0 at the top.
struct RgbImage {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> pixels;

  void Resize(int32_t w, int32_t h, uint32_t fill);
  uint32_t& At(int32_t x, int32_t y) { return pixels[static_cast<size_t>(y) * width + x]; }
};

// How the image control shows the frame: screen pixel (sx, sy) of the control
// shows frame pixel ((sx + scroll_x) / zoom, (sy + scroll_y) / zoom), truncated.
struct ScreenView {
  double zoom = 1.0;     // screen pixels per frame pixel
  int32_t scroll_x = 0;  // screen pixels
  int32_t scroll_y = 0;  // screen pixels
  int32_t control_width = 0;
  int32_t control_height = 0;
};

// A rectangle on the screen, right and bottom exclusive.
struct ScreenRect {
  int32_t left = 0, top = 0, right = 0, bottom = 0;
  int32_t Width() const { return right - left; }
  int32_t Height() const { return bottom - top; }
};

// Paints the screen rectangle `rect` of the view into `out` (resized to it):
// each count is looked up in `palette` (counts beyond it take its last colour);
// screen pixels beyond the frame are black.
void PaintScreenRect(const uint16_t* frame, int32_t frame_width, int32_t frame_height,
                     const std::vector<uint32_t>& palette, const ScreenView& view,
                     const ScreenRect& rect, RgbImage& out);

// Writes `image` as an uncompressed 24-bit BMP (rows bottom-up, padded to 4
// bytes). False when the file cannot be made or written.
bool WriteBmp(const std::string& path, const RgbImage& image);

}  // namespace lumetra
