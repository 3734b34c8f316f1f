#include "display/png_writer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "common/random.h"

namespace lumetra {
namespace {

uint32_t BigEndian(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

struct Decoded {
  uint32_t width = 0, height = 0;
  std::vector<uint32_t> pixels;
  int idat_chunks = 0;
};

// Reads back what the writer makes (stored deflate blocks only), checking
// every chunk CRC, the block lengths and the Adler-32 on the way.
Decoded Decode(const std::string& path) {
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

std::string TempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("lumetra_png_" + name)).string();
}

TEST(PngWriter, Checksums) {
  const std::string s = "123456789";
  EXPECT_EQ(Crc32(reinterpret_cast<const uint8_t*>(s.data()), s.size()), 0xCBF43926u);
  const std::string w = "Wikipedia";
  EXPECT_EQ(Adler32(reinterpret_cast<const uint8_t*>(w.data()), w.size()), 0x11E60398u);
  // Continued sums equal one sum over the whole.
  std::vector<uint8_t> big(20000);
  Rng rng(3);
  for (auto& v : big) v = static_cast<uint8_t>(rng.Next());
  EXPECT_EQ(Adler32(big.data() + 7000, 13000, Adler32(big.data(), 7000)),
            Adler32(big.data(), big.size()));
  EXPECT_EQ(Crc32(big.data() + 5, 19995, Crc32(big.data(), 5)), Crc32(big.data(), big.size()));
}

// Sizes that fill one block exactly, cross stored blocks and cross IDAT chunks.
TEST(PngWriter, PixelsSurviveAtEverySize) {
  const std::pair<int32_t, int32_t> sizes[] = {{1, 1}, {3, 2}, {21845, 1}, {200, 200}, {700, 600}};
  for (auto [w, h] : sizes) {
    SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
    std::vector<uint32_t> px(static_cast<size_t>(w) * h);
    Rng rng(static_cast<uint64_t>(w * 31 + h));
    for (auto& v : px) v = static_cast<uint32_t>(rng.Next()) & 0xFFFFFF;
    const std::string path = TempPath("roundtrip.png");
    ASSERT_TRUE(WritePng(path, px.data(), w, h));
    const Decoded d = Decode(path);
    EXPECT_EQ(d.width, static_cast<uint32_t>(w));
    EXPECT_EQ(d.height, static_cast<uint32_t>(h));
    EXPECT_EQ(d.pixels, px);
    if (w == 700) {
      EXPECT_GE(d.idat_chunks, 2);
    }
    std::remove(path.c_str());
  }
}

TEST(PngWriter, RefusesBadSizesMissingRowsAndUnwritablePaths) {
  PngWriter w;
  EXPECT_FALSE(w.Open(TempPath("zero.png"), 0, 5));
  EXPECT_FALSE(w.Open("/nonexistent-folder/x.png", 2, 2));
  const std::string path = TempPath("short.png");
  ASSERT_TRUE(w.Open(path, 2, 2));
  const uint32_t row[2] = {1, 2};
  EXPECT_TRUE(w.WriteRow(row));
  EXPECT_FALSE(w.Finish());  // one row short
  ASSERT_TRUE(w.Open(path, 1, 1));
  EXPECT_TRUE(w.WriteRow(row));
  EXPECT_FALSE(w.WriteRow(row));  // one row too many
  std::remove(path.c_str());
}

}  // namespace
}  // namespace lumetra
