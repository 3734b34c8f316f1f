#include "display/png_writer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "common/random.h"
#include "tests/display/png_decode.h"

namespace lumetra {
namespace {

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
    const Decoded d = DecodePng(path);
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
