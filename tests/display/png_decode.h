// Test helper: reads back the PNG files the writer makes (stored deflate
// blocks only), checking every chunk CRC, block length and the Adler-32.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "display/png_writer.h"

namespace lumetra {

inline uint32_t BigEndian(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

struct Decoded {
  uint32_t width = 0, height = 0;
  std::vector<uint32_t> pixels;
  int idat_chunks = 0;
};

inline Decoded DecodePng(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8_t> b((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Decoded d;
  const uint8_t sig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  EXPECT_TRUE(b.size() > 8 && std::equal(sig, sig + 8, b.begin()));
  std::vector<uint8_t> z;
  size_t pos = 8;
  bool ended = false;
  while (pos + 12 <= b.size() && !ended) {
    const uint32_t len = BigEndian(&b[pos]);
    const std::string type(b.begin() + static_cast<long>(pos) + 4,
                           b.begin() + static_cast<long>(pos) + 8);
    EXPECT_EQ(Crc32(&b[pos + 4], len + 4), BigEndian(&b[pos + 8 + len])) << type;
    const uint8_t* data = &b[pos + 8];
    if (type == "IHDR") {
      d.width = BigEndian(data);
      d.height = BigEndian(data + 4);
      EXPECT_EQ(data[8], 8);
      EXPECT_EQ(data[9], 2);
    } else if (type == "IDAT") {
      z.insert(z.end(), data, data + len);
      ++d.idat_chunks;
    } else if (type == "IEND") {
      ended = true;
    }
    pos += 12 + len;
  }
  EXPECT_TRUE(ended);
  EXPECT_EQ(pos, b.size());
  EXPECT_EQ((z[0] * 256 + z[1]) % 31, 0);
  std::vector<uint8_t> raw;
  size_t zp = 2;
  bool final_block = false;
  while (!final_block) {
    final_block = z[zp] & 1;
    EXPECT_EQ(z[zp] & 6, 0);
    const uint16_t len = static_cast<uint16_t>(z[zp + 1] | (z[zp + 2] << 8));
    const uint16_t nlen = static_cast<uint16_t>(z[zp + 3] | (z[zp + 4] << 8));
    EXPECT_EQ(static_cast<uint16_t>(~len), nlen);
    raw.insert(raw.end(), z.begin() + static_cast<long>(zp) + 5,
               z.begin() + static_cast<long>(zp) + 5 + len);
    zp += 5 + len;
  }
  EXPECT_EQ(BigEndian(&z[zp]), Adler32(raw.data(), raw.size()));
  EXPECT_EQ(zp + 4, z.size());
  const size_t stride = 1 + 3 * size_t{d.width};
  EXPECT_EQ(raw.size(), stride * d.height);
  for (uint32_t y = 0; y < d.height; ++y) {
    EXPECT_EQ(raw[y * stride], 0);
    for (uint32_t x = 0; x < d.width; ++x) {
      const uint8_t* p = &raw[y * stride + 1 + 3 * x];
      d.pixels.push_back((uint32_t{p[0]} << 16) | (uint32_t{p[1]} << 8) | p[2]);
    }
  }
  return d;
}

}  // namespace lumetra
