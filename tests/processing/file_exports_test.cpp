// The exports that leave the XKV form (RAW files, bitmaps) and the fusion of
// several records.
#include <gtest/gtest.h>

#include "processing/bmp_export.h"
#include "processing/processing_messages.h"
#include "processing/raw_export.h"
#include "processing/record_fusion.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

class FileExports : public ::testing::Test {
 protected:
  void Open(int32_t w, int32_t h, const std::vector<std::vector<uint16_t>>& frames) {
    test::WriteRecord(record_, w, h, frames);
    store_ = test::OpenRecord(record_, reporter_);
  }
  // A job for one export, with the region as it is now.
  std::unique_ptr<ExportJob> Job() {
    return std::make_unique<ExportJob>(ExportJob{*store_, reporter_, roi_, {}, nullptr, {}});
  }

  test::ScratchDir dir_;
  std::string record_ = dir_.Path("rec.xkv");
  CollectingReporter reporter_;
  std::unique_ptr<RecordStore> store_;
  Region roi_;
};

TEST_F(FileExports, RawFileTakesItsByteWidthFromTheIntensityRange) {
  Open(3, 2, {{1, 2, 3, 4, 5, 255}, {6, 7, 8, 9, 10, 11}});
  ASSERT_TRUE(ExportRaw(*Job(), dir_.Path("a.raw")).ok);
  EXPECT_EQ(test::FileBytes(dir_.Path("a.raw")),
            (std::vector<uint8_t>{1, 2, 3, 4, 5, 255, 6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(reporter_.Texts(MessageKind::kNotice),
            std::vector<std::string>{std::string(kRawWritten1Byte)});

  // A 12-bit record: two bytes per pixel, little-endian; only the region.
  Open(3, 2, {{1, 2, 3, 4, 5, 4095}});
  roi_ = {1, 0, 3, 2, true};
  ASSERT_TRUE(ExportRaw(*Job(), dir_.Path("b.raw")).ok);
  EXPECT_EQ(test::FileBytes(dir_.Path("b.raw")),
            (std::vector<uint8_t>{2, 0, 3, 0, 5, 0, 0xFF, 0x0F}));
  EXPECT_EQ(reporter_.Texts(MessageKind::kNotice).back(), kRawWritten2Bytes);
}

TEST_F(FileExports, RawSequenceWritesOneNumberedFilePerFrame) {
  Open(2, 2, {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
  const ExportResult r = ExportRawSequence(*Job(), dir_.Path("seq.raw"));
  ASSERT_TRUE(r.ok);
  EXPECT_EQ(r.frames_written, 3);
  EXPECT_EQ(r.frames_read, 3);
  EXPECT_EQ(test::FileBytes(dir_.Path("seq1.raw")), (std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_EQ(test::FileBytes(dir_.Path("seq3.raw")), (std::vector<uint8_t>{9, 10, 11, 12}));
  EXPECT_EQ(reporter_.Texts(MessageKind::kNotice).back(),
            "RAW files were written in 1 byte/pixel format)");

  EXPECT_FALSE(ExportRawSequence(*Job(), dir_.Path("no/such/folder/seq.raw")).ok);
  EXPECT_EQ(reporter_.Texts(MessageKind::kModal).back(), kRawFileOpenError);
}

// Pixel (x, y) of a 24-bit bottom-up BMP, as 0x00RRGGBB.
uint32_t BmpPixel(const std::vector<uint8_t>& b, int32_t x, int32_t y) {
  const int32_t w = b[18] | (b[19] << 8), h = b[22] | (b[23] << 8);
  const size_t stride = (static_cast<size_t>(w) * 3 + 3) & ~size_t{3};
  const size_t at = 54 + static_cast<size_t>(h - 1 - y) * stride + static_cast<size_t>(x) * 3;
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16);
}

TEST_F(FileExports, BmpSequencePaintsThroughThePaletteAndCutsToTheRegion) {
  Open(3, 2, {{0, 1, 2, 3, 4, 5}, {5, 4, 3, 2, 1, 0}});
  // A palette built here: count c is colour 0x010203 * c; counts past its end
  // take its last colour.
  std::vector<uint32_t> palette;
  for (uint32_t c = 0; c < 5; ++c) palette.push_back(0x010203u * c);
  const ScreenView view{1.0, 0, 0, 3, 2};
  roi_ = {1, 0, 3, 2, true};
  ASSERT_TRUE(ExportBmpSequence(*Job(), dir_.Path("img.bmp"), palette, view).ok);
  const auto b = test::FileBytes(dir_.Path("img2.bmp"));
  ASSERT_EQ(b.size(), 54u + 2 * 8);             // 2 x 2 pixels, rows padded to 8 bytes
  EXPECT_EQ(BmpPixel(b, 0, 0), 0x010203u * 4);  // frame 2, pixel (1, 0) = 4
  EXPECT_EQ(BmpPixel(b, 1, 0), 0x010203u * 3);
  EXPECT_EQ(BmpPixel(b, 1, 1), 0u);
  EXPECT_EQ(BmpPixel(test::FileBytes(dir_.Path("img1.bmp")), 1, 1), 0x010203u * 4);

  roi_ = {2, 0, 5, 2, true};  // partly beyond the 3 x 2 control
  EXPECT_FALSE(ExportBmpSequence(*Job(), dir_.Path("img.bmp"), palette, view).ok);
  roi_ = {4, 0, 6, 2, true};
  EXPECT_FALSE(ExportBmpSequence(*Job(), dir_.Path("img.bmp"), palette, view).ok);
  EXPECT_EQ(
      reporter_.Texts(MessageKind::kModal),
      (std::vector<std::string>{std::string(kPartOfRoiNonvisible), std::string(kNonvisibleRoi)}));
}

TEST_F(FileExports, PageTilesFramesAndRefusesPagesBeyond2500Pixels) {
  int32_t pw = 0, ph = 0;
  PageSize(10, 300, 100, pw, ph);
  EXPECT_EQ(ph, 3956);  // (100 / 8 + 1) x 304 + 4
  EXPECT_EQ(pw, 116);

  std::vector<std::vector<uint16_t>> frames;
  for (uint16_t k = 0; k < 9; ++k) frames.push_back(std::vector<uint16_t>(6, k));
  Open(3, 2, frames);
  const std::vector<uint32_t> grey = {0x000000, 0x111111, 0x222222, 0x333333, 0x444444,
                                      0x555555, 0x666666, 0x777777, 0x888888};
  ASSERT_TRUE(ExportBmpPage(*Job(), dir_.Path("page.bmp"), grey, {1.0, 0, 0, 3, 2}).ok);
  const auto b = test::FileBytes(dir_.Path("page.bmp"));
  EXPECT_EQ(BmpPixel(b, 0, 0), kPageBackground);
  EXPECT_EQ(BmpPixel(b, 4, 4), 0x000000u);              // frame 0
  EXPECT_EQ(BmpPixel(b, 4 + 7 * 7 + 2, 5), 0x777777u);  // frame 7, end of row 1
  EXPECT_EQ(BmpPixel(b, 4, 4 + 6), 0x888888u);          // frame 8 starts row 2

  // A 300-row tile for 9 frames: (9 / 8 + 1) x 304 + 4 = 612 fits; 100 frames would not.
  frames.assign(100, std::vector<uint16_t>(3 * 300, 1));
  Open(3, 300, frames);
  EXPECT_FALSE(ExportBmpPage(*Job(), dir_.Path("page2.bmp"), grey, {1.0, 0, 0, 3, 300}).ok);
  EXPECT_EQ(reporter_.Texts(MessageKind::kModal).back(), kTooManyFramesForPage);
}

TEST(RecordFusion, ShiftsTimesAndAddsBlankFramesBetweenFiles) {
  test::ScratchDir dir;
  test::WriteRecord(dir.Path("a.xkv"), 2, 2, {{1, 1, 1, 1}, {2, 2, 2, 2}}, {0, 100});
  test::WriteRecord(dir.Path("b.xkv"), 2, 2, {{3, 3, 3, 3}, {4, 4, 4, 4}}, {50, 150});
  CollectingReporter r;
  const std::vector<std::string> in = {dir.Path("a.xkv"), dir.Path("b.xkv")};
  FusionResult f = FuseRecords(in, dir.Path("ab.xkv"), true, "", {}, r);
  ASSERT_TRUE(f.ok);
  auto out = test::ReadRecord(dir.Path("ab.xkv"));
  ASSERT_EQ(out.size(), 6u);
  EXPECT_EQ(out[2].pixels, (std::vector<uint16_t>{0, 0, 0, 0}));
  EXPECT_EQ(out[3].prm.TimeMs, 100);
  EXPECT_EQ(out[4].prm.TimeMs, 150);  // 50 + the last time of a.xkv
  EXPECT_EQ(out[5].prm.TimeMs, 250);
  EXPECT_EQ(r.Texts(MessageKind::kNotice), std::vector<std::string>{"Done"});

  f = FuseRecords({dir.Path("a.xkv"), dir.Path("missing.xkv"), dir.Path("b.xkv")},
                  dir.Path("ab.xkv"), false, "", {}, r);
  EXPECT_FALSE(f.ok);
  EXPECT_EQ(test::ReadRecord(dir.Path("ab.xkv")).size(), 2u) << "what was written stays";
  EXPECT_EQ(r.Texts(MessageKind::kModal), std::vector<std::string>{"Can not open XKV file"});

  const auto before = test::FileBytes(dir.Path("b.xkv"));
  EXPECT_FALSE(FuseRecords(in, dir.Path("b.xkv"), true, "", {}, r).ok);
  EXPECT_EQ(test::FileBytes(dir.Path("b.xkv")), before);
  EXPECT_FALSE(FuseRecords(in, dir.Path("no/dir/x.xkv"), true, "", {}, r).ok);
  EXPECT_EQ(r.Texts(MessageKind::kModal).back(), kCanNotOpenOutput);
}

}  // namespace
}  // namespace lumetra
