#include "display/frame_painter.h"

#include <gtest/gtest.h>

#include "common/random.h"
#include "display/palette.h"

namespace lumetra {
namespace {

std::vector<uint32_t> Ramp(int32_t n) {
  std::vector<uint32_t> pal(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) pal[static_cast<size_t>(i)] = 0x10000u * static_cast<uint32_t>(i);
  return pal;
}

TEST(FramePainter, CountsAboveThePaletteTakeTheTopColour) {
  FramePainter p;
  p.SetPalette(Ramp(4));
  const std::vector<uint16_t> frame = {0, 1, 2, 3, 4, 65535};
  std::vector<uint32_t> out;
  p.PaintWhole(frame.data(), 6, 1, 1, out);
  EXPECT_EQ(out, (std::vector<uint32_t>{0, 0x10000, 0x20000, 0x30000, 0x30000, 0x30000}));
}

TEST(FramePainter, EmptyPalettePaintsBlackAndOrBitsReachEveryPixel) {
  FramePainter p;
  p.SetPalette({});
  const std::vector<uint16_t> frame = {0, 7, 65535};
  std::vector<uint32_t> out;
  p.PaintWhole(frame.data(), 3, 1, 1, out);
  EXPECT_EQ(out, (std::vector<uint32_t>{0, 0, 0}));
  p.SetPalette(Ramp(4), 0xFF000000u);
  p.PaintWhole(frame.data(), 3, 1, 1, out);
  EXPECT_EQ(out, (std::vector<uint32_t>{0xFF000000u, 0xFF030000u, 0xFF030000u}));
  // A ramp that carried into bit 24 (tables of odd length) keeps only its colour bytes.
  p.SetPalette({0x1250000u});
  p.PaintWhole(frame.data(), 1, 1, 1, out);
  EXPECT_EQ(out, (std::vector<uint32_t>{0x250000u}));
}

TEST(FramePainter, ZoomRepeatsEachPixelInBlocks) {
  FramePainter p;
  p.SetPalette(Ramp(8));
  const std::vector<uint16_t> frame = {1, 2, 3, 4, 5, 6};  // 3 x 2
  std::vector<uint32_t> out;
  p.PaintWhole(frame.data(), 3, 2, 3, out);
  ASSERT_EQ(out.size(), 9u * 6u);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 9; ++x)
      ASSERT_EQ(out[static_cast<size_t>(y * 9 + x)],
                0x10000u * frame[static_cast<size_t>(y / 3 * 3 + x / 3)])
          << x << "," << y;
}

TEST(FramePainter, ZoomIsClampedToOneToThirty) {
  FramePainter p;
  p.SetPalette(Ramp(8));
  const std::vector<uint16_t> frame = {1};
  std::vector<uint32_t> out;
  p.PaintWhole(frame.data(), 1, 1, 0, out);
  EXPECT_EQ(out.size(), 1u);
  p.PaintWhole(frame.data(), 1, 1, 31, out);
  EXPECT_EQ(out.size(), 900u);
}

// The window paints only what it shows: a part painted on its own equals the
// same part of the whole image, and threads do not change a pixel.
TEST(FramePainter, PartsAndThreadsMatchTheWholeImage) {
  const int32_t w = 37, h = 29, zoom = 4;
  std::vector<uint16_t> frame(static_cast<size_t>(w * h));
  Rng rng(7);
  for (auto& v : frame)
    v = static_cast<uint16_t>(rng.Next() & 0x7FF);  // above a 10-bit palette too
  std::vector<uint32_t> pal;
  NullReporter quiet;
  ASSERT_TRUE(BuildPalette(pal, 1024, kPaletteBGYR, quiet));
  FramePainter p;
  p.SetPalette(pal);
  std::vector<uint32_t> whole, threaded;
  p.PaintWhole(frame.data(), w, h, zoom, whole, 1);
  p.PaintWhole(frame.data(), w, h, zoom, threaded, 2);
  EXPECT_EQ(whole, threaded);

  const FrameRect area = ClipToFrame({5, 3, 60, 17}, w, h);
  ASSERT_EQ(area.right, w);
  std::vector<uint32_t> part(static_cast<size_t>(area.Width() * zoom * area.Height() * zoom));
  p.Paint(frame.data(), w, area, zoom, part.data(), area.Width() * zoom);
  for (int32_t y = 0; y < area.Height() * zoom; ++y)
    for (int32_t x = 0; x < area.Width() * zoom; ++x)
      ASSERT_EQ(
          part[static_cast<size_t>(y * area.Width() * zoom + x)],
          whole[static_cast<size_t>((y + area.top * zoom) * w * zoom + x + area.left * zoom)]);
}

TEST(FramePainter, ClipToFrame) {
  const FrameRect c = ClipToFrame({-3, -2, 10, 10}, 8, 6);
  EXPECT_EQ(c.left, 0);
  EXPECT_EQ(c.top, 0);
  EXPECT_EQ(c.right, 8);
  EXPECT_EQ(c.bottom, 6);
  EXPECT_TRUE(ClipToFrame({9, 0, 12, 3}, 8, 6).Empty());
}

}  // namespace
}  // namespace lumetra
