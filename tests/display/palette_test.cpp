#include "display/palette.h"

#include <gtest/gtest.h>

#include "display/display_messages.h"

namespace lumetra {
namespace {

std::vector<uint32_t> Build(int32_t n, int32_t type) {
  std::vector<uint32_t> pal;
  CollectingReporter rep;
  EXPECT_TRUE(BuildPalette(pal, n, type, rep));
  EXPECT_TRUE(rep.messages().empty());
  EXPECT_EQ(pal.size(), static_cast<size_t>(n));
  return pal;
}

struct Entry {
  int32_t n;
  int32_t type;
  int32_t index;
  uint32_t colour;
};

TEST(Palette, KnownEntries) {
  const Entry table[] = {
      // 8-bit RYW: k = 4, full red at 63, green ramp from 64, blue at half slope.
      {256, kPaletteRYW, 0, 0x000000},
      {256, kPaletteRYW, 1, 0x040000},
      {256, kPaletteRYW, 63, 0xFC0000},
      {256, kPaletteRYW, 64, 0xFF0000},
      {256, kPaletteRYW, 65, 0xFF0400},
      {256, kPaletteRYW, 127, 0xFFFC00},
      {256, kPaletteRYW, 128, 0xFFFF00},
      {256, kPaletteRYW, 129, 0xFFFF02},
      {256, kPaletteRYW, 255, 0xFFFFFE},  // not pure white
      // 10-bit: k = 1, k2 = 0.25; the half-slope blue truncates its half steps.
      {1024, kPaletteRYW, 255, 0xFF0000},
      {1024, kPaletteRYW, 513, 0xFFFF00},
      {1024, kPaletteRYW, 515, 0xFFFF01},
      {1024, kPaletteRYW, 1023, 0xFFFFFF},
      {1024, kPaletteGrey, 1023, 0xFFFFFF},
      {1024, kPaletteGrey, 4, 0x010101},
      {1024, kPaletteGrey, 3, 0x000000},
      // 8-bit BGYR through its four quarters.
      {256, kPaletteBGYR, 63, 0x0000FC},
      {256, kPaletteBGYR, 64, 0x0000FF},
      {256, kPaletteBGYR, 127, 0x00FCFF},
      {256, kPaletteBGYR, 128, 0x00FFFC},
      {256, kPaletteBGYR, 191, 0xFCFF00},
      {256, kPaletteBGYR, 192, 0xFFFC00},
      {256, kPaletteBGYR, 255, 0xFF0000},
      {1024, kPaletteBGYR, 1023, 0xFF0000},
      {65536, kPaletteBGYR, 65535, 0xFF0000},
      // Single-channel ramps.
      {256, kPaletteGreen, 255, 0x00FF00},
      {256, kPaletteBlue, 255, 0x0000FF},
      {256, kPaletteRed, 255, 0xFF0000},
      {256, kPaletteRed, 17, 0x110000},
      {4096, kPaletteGreen, 16, 0x000100},
      {4096, kPaletteGreen, 15, 0x000000},
      // 16-bit tops.
      {65536, kPaletteGrey, 65535, 0xFFFFFF},
      {65536, kPaletteRYW, 65535, 0xFFFFFF},
      // The shortest table: k = 256, k2 = 64.
      {4, kPaletteRYW, 1, 0xFF0000},
      {4, kPaletteRYW, 2, 0xFFFF00},
      {4, kPaletteRYW, 3, 0xFFFF80},
      {4, kPaletteGrey, 3, 0xC0C0C0},
  };
  for (const Entry& e : table) {
    SCOPED_TRACE("n=" + std::to_string(e.n) + " type=" + std::to_string(e.type) +
                 " index=" + std::to_string(e.index));
    EXPECT_EQ(Build(e.n, e.type)[static_cast<size_t>(e.index)], e.colour);
  }
}

TEST(Palette, TooShortTableIsRefusedAndLeftAlone) {
  for (int32_t n : {-5, 0, 2, 3}) {
    SCOPED_TRACE(n);
    std::vector<uint32_t> pal = Build(256, kPaletteGrey);
    const std::vector<uint32_t> before = pal;
    CollectingReporter rep;
    EXPECT_FALSE(BuildPalette(pal, n, kPaletteRYW, rep));
    EXPECT_EQ(rep.Texts(MessageKind::kModal),
              std::vector<std::string>{std::string(kPalleteSetError)});
    EXPECT_EQ(pal, before);
  }
}

TEST(Palette, UnusedTypesLeaveEntriesAndNewOnesAreBlack) {
  std::vector<uint32_t> pal = Build(256, kPaletteGrey);
  CollectingReporter rep;
  ASSERT_TRUE(BuildPalette(pal, 512, 5, rep));
  EXPECT_EQ(pal[255], 0xFFFFFFu);
  EXPECT_EQ(pal[256], 0u);
  ASSERT_TRUE(BuildPalette(pal, 8, 6, rep));
  EXPECT_EQ(pal.size(), 8u);
}

// Every colour of every type stays within 24 bits for the table lengths a
// record has (powers of two), and the single-channel ramps never fall.
TEST(Palette, ColoursStayInsideTwentyFourBits) {
  for (int32_t n = 4; n <= 65536; n *= 2) {
    for (int32_t type : {0, 1, 2, 3, 4, 7}) {
      SCOPED_TRACE("n=" + std::to_string(n) + " type=" + std::to_string(type));
      const std::vector<uint32_t> pal = Build(n, type);
      for (int32_t i = 0; i < n; ++i) {
        ASSERT_LT(pal[static_cast<size_t>(i)], 0x1000000u) << i;
        if (type >= 2 && i > 0) {
          ASSERT_GE(pal[static_cast<size_t>(i)], pal[static_cast<size_t>(i - 1)]);
        }
      }
      EXPECT_EQ(pal[0], 0u);
    }
  }
}

TEST(Palette, NamesOfTheCommandLine) {
  EXPECT_EQ(PaletteTypeFromName("ryw"), kPaletteRYW);
  EXPECT_EQ(PaletteTypeFromName("bgyr"), kPaletteBGYR);
  EXPECT_EQ(PaletteTypeFromName("grey"), kPaletteGrey);
  EXPECT_EQ(PaletteTypeFromName("green"), kPaletteGreen);
  EXPECT_EQ(PaletteTypeFromName("blue"), kPaletteBlue);
  EXPECT_EQ(PaletteTypeFromName("red"), kPaletteRed);
  EXPECT_EQ(PaletteTypeFromName("RYW"), std::nullopt);
  EXPECT_EQ(PaletteTypeFromName(""), std::nullopt);
}

}  // namespace
}  // namespace lumetra
