#include "tests/support/tiff_builder.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdio>
#include <cstring>

namespace lumetra::testing {
namespace {

template <typename T>
void Put(std::vector<uint8_t>& buf, size_t i, double v) {
  const T t = static_cast<T>(v);
  std::memcpy(buf.data() + i * sizeof(T), &t, sizeof(T));
}

void PutSample(const TiffLayout& s, std::vector<uint8_t>& buf, size_t i, double v) {
  if (s.sample_format == 3) {
    if (s.bits == 32) Put<float>(buf, i, v); else Put<double>(buf, i, v);
  } else if (s.sample_format == 2) {
    if (s.bits == 8) Put<int8_t>(buf, i, v);
    else if (s.bits == 16) Put<int16_t>(buf, i, v);
    else Put<int32_t>(buf, i, v);
  } else {
    if (s.bits == 8) Put<uint8_t>(buf, i, v);
    else if (s.bits == 16) Put<uint16_t>(buf, i, v);
    else Put<uint32_t>(buf, i, v);
  }
}

uint16_t Get16(const std::vector<uint8_t>& b, size_t at) { return b[at] | (b[at + 1] << 8); }
uint32_t Get32(const std::vector<uint8_t>& b, size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}
void Put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
  for (int k = 0; k < 4; ++k) b[at + k] = static_cast<uint8_t>(v >> (8 * k));
}

}  // namespace

void WriteTiff(const std::string& path, const TiffLayout& s) {
  TIFF* t = TIFFOpen(path.c_str(), s.big ? "w8" : "w");
  ASSERT_NE(t, nullptr) << path;
  const uint32_t bps = s.bits / 8;
  for (uint32_t p = 0; p < s.pages; ++p) {
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, s.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, s.height);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, s.bits);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, s.sample_format);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, s.compression);
    if ((s.compression == 5 || s.compression == 8) && s.sample_format != 3)
      TIFFSetField(t, TIFFTAG_PREDICTOR, 2);
    if (s.xres > 0) {
      TIFFSetField(t, TIFFTAG_XRESOLUTION, s.xres);
      TIFFSetField(t, TIFFTAG_YRESOLUTION, s.yres > 0 ? s.yres : s.xres);
      TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, s.res_unit);
    }
    if (p == 0 && !s.description.empty())
      TIFFSetField(t, TIFFTAG_IMAGEDESCRIPTION, s.description.c_str());
    if (s.tile) {
      TIFFSetField(t, TIFFTAG_TILEWIDTH, s.tile);
      TIFFSetField(t, TIFFTAG_TILELENGTH, s.tile);
      std::vector<uint8_t> buf(static_cast<size_t>(s.tile) * s.tile * bps);
      uint32_t index = 0;
      for (uint32_t ty = 0; ty < s.height; ty += s.tile)
        for (uint32_t tx = 0; tx < s.width; tx += s.tile, ++index) {
          std::fill(buf.begin(), buf.end(), 0);
          for (uint32_t y = 0; y < s.tile; ++y)
            for (uint32_t x = 0; x < s.tile; ++x)
              if (tx + x < s.width && ty + y < s.height)
                PutSample(s, buf, static_cast<size_t>(y) * s.tile + x, s.value(tx + x, ty + y, p));
          ASSERT_GE(TIFFWriteEncodedTile(t, index, buf.data(), static_cast<tmsize_t>(buf.size())), 0);
        }
    } else {
      const uint32_t rps = s.rows_per_strip ? s.rows_per_strip : s.height;
      TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, rps);
      for (uint32_t y0 = 0, strip = 0; y0 < s.height; y0 += rps, ++strip) {
        const uint32_t rows = std::min(rps, s.height - y0);
        std::vector<uint8_t> buf(static_cast<size_t>(rows) * s.width * bps);
        for (uint32_t y = 0; y < rows; ++y)
          for (uint32_t x = 0; x < s.width; ++x)
            PutSample(s, buf, static_cast<size_t>(y) * s.width + x, s.value(x, y0 + y, p));
        ASSERT_GE(TIFFWriteEncodedStrip(t, strip, buf.data(), static_cast<tmsize_t>(buf.size())), 0);
      }
    }
    ASSERT_TRUE(TIFFWriteDirectory(t));
  }
  TIFFClose(t);
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& b) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  std::fwrite(b.data(), 1, b.size(), f);
  std::fclose(f);
}

uint32_t IfdOffset(const std::vector<uint8_t>& b, uint32_t page) {
  uint32_t at = Get32(b, 4);
  for (uint32_t p = 0; p < page; ++p) at = Get32(b, at + 2 + 12 * Get16(b, at));
  return at;
}

bool PatchTag(std::vector<uint8_t>& b, uint32_t page, uint16_t tag, uint32_t value) {
  const uint32_t at = IfdOffset(b, page);
  const uint16_t n = Get16(b, at);
  for (uint16_t i = 0; i < n; ++i) {
    const size_t e = at + 2 + 12 * i;
    if (Get16(b, e) != tag) continue;
    const uint16_t type = Get16(b, e + 2);
    if (type == 3) {  // SHORT
      b[e + 8] = static_cast<uint8_t>(value);
      b[e + 9] = static_cast<uint8_t>(value >> 8);
    } else {
      Put32(b, e + 8, value);
    }
    return true;
  }
  return false;
}

void PatchNextIfd(std::vector<uint8_t>& b, uint32_t page, uint32_t next) {
  const uint32_t at = IfdOffset(b, page);
  Put32(b, at + 2 + 12 * Get16(b, at), next);
}

}  // namespace lumetra::testing
