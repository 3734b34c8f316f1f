// Writes small TIFF stacks with libtiff for tests: 8 to 32 bits, unsigned,
// signed or float samples, strips or tiles, any compression libtiff writes,
// classic or BigTIFF, with an ImageDescription and resolution tags; and a
// patcher for the directory entries of a classic little-endian file, to make
// the hostile ones.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/xkv_builder.h"

namespace lumetra::testing {

struct TiffLayout {
  uint32_t width = 7, height = 5;
  uint32_t pages = 3;
  uint16_t bits = 16;
  uint16_t sample_format = 1;  // 1 unsigned, 2 signed, 3 float
  uint32_t rows_per_strip = 0; // 0: one strip per page
  uint32_t tile = 0;           // tile edge in pixels (a multiple of 16); 0: strips
  uint16_t compression = 1;    // 1 none, 5 LZW, 8 deflate
  bool big = false;            // BigTIFF
  std::string description;     // ImageDescription of page 0
  float xres = 0, yres = 0;    // XResolution / YResolution; 0: none
  uint16_t res_unit = 1;       // 1 none, 2 inch, 3 cm
  // The value of pixel (x, y) on page p, cast to the sample type.
  std::function<double(uint32_t x, uint32_t y, uint32_t p)> value = [](uint32_t x, uint32_t y,
                                                                       uint32_t p) {
    return static_cast<double>((x * 7 + y * 13 + p * 29) % 251);
  };
};

// Writes the stack; fails the calling test on a libtiff error.
void WriteTiff(const std::string& path, const TiffLayout& shape);

// ReadBytes comes with the XKV builder.
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes);

// Classic little-endian TIFF only. The offset of page `page`'s directory.
uint32_t IfdOffset(const std::vector<uint8_t>& b, uint32_t page);
// Sets the value field of `tag` on page `page` (the first value when it fits in
// the entry); false when the page has no such tag.
bool PatchTag(std::vector<uint8_t>& b, uint32_t page, uint16_t tag, uint32_t value);
// Sets the next-directory pointer after page `page`.
void PatchNextIfd(std::vector<uint8_t>& b, uint32_t page, uint32_t next);

}  // namespace lumetra::testing
