#include "processing/bmp_writer.h"

#include <algorithm>

#include "common/file_handle.h"

namespace lumetra {
namespace {

void Put16(std::vector<uint8_t>& b, size_t at, uint32_t v) {
  b[at] = static_cast<uint8_t>(v);
  b[at + 1] = static_cast<uint8_t>(v >> 8);
}
void Put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
  Put16(b, at, v & 0xFFFF);
  Put16(b, at + 2, v >> 16);
}

}  // namespace

void RgbImage::Resize(int32_t w, int32_t h, uint32_t fill) {
  width = w;
  height = h;
  pixels.assign(static_cast<size_t>(std::max(w, 0)) * static_cast<size_t>(std::max(h, 0)), fill);
}

void PaintScreenRect(const uint16_t* frame, int32_t frame_width, int32_t frame_height,
                     const std::vector<uint32_t>& palette, const ScreenView& view,
                     const ScreenRect& rect, RgbImage& out) {
  out.Resize(rect.Width(), rect.Height(), 0);
  if (palette.empty() || view.zoom <= 0) return;
  const size_t top = palette.size() - 1;
  for (int32_t y = 0; y < out.height; ++y) {
    const int32_t fy = static_cast<int32_t>((rect.top + y + view.scroll_y) / view.zoom);
    if (fy < 0 || fy >= frame_height) continue;
    const uint16_t* row = frame + static_cast<size_t>(fy) * frame_width;
    for (int32_t x = 0; x < out.width; ++x) {
      const int32_t fx = static_cast<int32_t>((rect.left + x + view.scroll_x) / view.zoom);
      if (fx < 0 || fx >= frame_width) continue;
      out.At(x, y) = palette[std::min<size_t>(row[fx], top)];
    }
  }
}

bool WriteBmp(const std::string& path, const RgbImage& image) {
  const uint32_t row_bytes = (static_cast<uint32_t>(image.width) * 3 + 3) & ~3u;
  const uint32_t data_bytes = row_bytes * static_cast<uint32_t>(image.height);
  std::vector<uint8_t> head(54, 0);
  head[0] = 'B';
  head[1] = 'M';
  Put32(head, 2, 54 + data_bytes);  // file size
  Put32(head, 10, 54);              // offset of the pixels
  Put32(head, 14, 40);              // BITMAPINFOHEADER
  Put32(head, 18, static_cast<uint32_t>(image.width));
  Put32(head, 22, static_cast<uint32_t>(image.height));  // positive: rows bottom-up
  Put16(head, 26, 1);                                    // planes
  Put16(head, 28, 24);                                   // bits per pixel
  Put32(head, 34, data_bytes);
  Put32(head, 38, 3780);  // 96 dots per inch, in pixels per metre
  Put32(head, 42, 3780);
  FileHandle f = OpenFile(path, "wb");
  if (!f) return false;
  bool ok = std::fwrite(head.data(), 1, head.size(), f.get()) == head.size();
  std::vector<uint8_t> row(row_bytes, 0);
  for (int32_t y = image.height - 1; ok && y >= 0; --y) {
    const uint32_t* src = image.pixels.data() + static_cast<size_t>(y) * image.width;
    for (int32_t x = 0; x < image.width; ++x) {
      row[3 * x] = static_cast<uint8_t>(src[x]);            // blue
      row[3 * x + 1] = static_cast<uint8_t>(src[x] >> 8);   // green
      row[3 * x + 2] = static_cast<uint8_t>(src[x] >> 16);  // red
    }
    ok = std::fwrite(row.data(), 1, row.size(), f.get()) == row.size();
  }
  return std::fclose(f.release()) == 0 && ok;
}

}  // namespace lumetra
