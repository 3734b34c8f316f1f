// The import window's core: field checks, and raw files, raw sequences and
// bitmap sequences turned into XKV records.
#include "record/raw_import.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "processing/bmp_writer.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

ImportRun RunOf(ImportType type, int32_t w, int32_t h) {
  ImportRun run;
  run.type = type;
  run.settings.width = w;
  run.settings.height = h;
  run.settings.interval_ms = 40;
  run.settings.scale_x = 65.0f;
  run.settings.scale_y = 70.0f;
  return run;
}

TEST(RawImport, OneByteFileOfThreeFrames) {
  test::ScratchDir dir;
  std::vector<uint8_t> bytes(300);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i);
  test::WriteBytes(dir.Path("a.raw"), bytes);
  CollectingReporter r;
  const ImportResult res =
      RunImport(RunOf(ImportType::kRawFile, 10, 10), dir.Path("a.raw"), dir.Path("a.xkv"), r);
  ASSERT_TRUE(res.ok);
  EXPECT_EQ(res.source_short_at, 0);
  const auto out = test::ReadRecord(dir.Path("a.xkv"));
  ASSERT_EQ(out.size(), 3u);
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(out[k].prm.TimeMs, 40 * k);
    EXPECT_EQ(out[k].prm.ExposureMs, 40);
    EXPECT_EQ(out[k].prm.Width, 10);
    EXPECT_FLOAT_EQ(out[k].prm.ScaleY, 70.0f);
    EXPECT_EQ(out[k].pixels[5], 100 * k + 5);
  }
  EXPECT_EQ(r.Texts(MessageKind::kStatus).back(), "3 frames written");
  EXPECT_TRUE(r.Texts(MessageKind::kModal).empty());
}

TEST(RawImport, OffsetAndFrameHeadersAreSkipped) {
  test::ScratchDir dir;
  // 7 bytes of file header, then frames of 3 header bytes and 5 x 5 pixels.
  std::vector<uint8_t> bytes(7, 0xEE);
  for (int f = 0; f < 2; ++f) {
    bytes.insert(bytes.end(), 3, 0xDD);
    for (int i = 0; i < 25; ++i) bytes.push_back(static_cast<uint8_t>(f * 100 + i));
  }
  test::WriteBytes(dir.Path("h.raw"), bytes);
  ImportRun run = RunOf(ImportType::kRawFile, 5, 5);
  run.settings.offset = 7;
  run.settings.frame_header = 3;
  CollectingReporter r;
  ASSERT_TRUE(RunImport(run, dir.Path("h.raw"), dir.Path("h.xkv"), r).ok);
  const auto out = test::ReadRecord(dir.Path("h.xkv"));
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0].pixels.front(), 0);
  EXPECT_EQ(out[1].pixels.back(), 124);
}

TEST(RawImport, BigEndianFileDropsTheCutFrame) {
  test::ScratchDir dir;
  std::vector<uint8_t> bytes;
  for (int i = 0; i < 2 * 25; ++i) {
    bytes.push_back(static_cast<uint8_t>(i));  // high byte first
    bytes.push_back(0x34);
  }
  bytes.insert(bytes.end(), 31, 1);  // a third frame cut short
  test::WriteBytes(dir.Path("be.raw"), bytes);
  ImportRun run = RunOf(ImportType::kRawFile, 5, 5);
  run.settings.two_bytes = true;
  run.settings.little_endian = false;
  CollectingReporter r;
  const ImportResult res = RunImport(run, dir.Path("be.raw"), dir.Path("be.xkv"), r);
  ASSERT_TRUE(res.ok);
  const auto out = test::ReadRecord(dir.Path("be.xkv"));
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0].pixels[1], 0x0134);
  EXPECT_EQ(out[1].pixels[24], 49 * 256 + 0x34);
}

// The little-endian import does not test its read: past the end of the source
// the last data are written again up to the 9999-frame bound.
TEST(RawImport, LittleEndianRepeatsTheLastFrameToTheBound) {
  test::ScratchDir dir;
  std::vector<uint8_t> bytes(2, 0xAA);  // offset
  for (int f = 0; f < 2; ++f) {
    bytes.push_back(0xBB);  // frame header
    for (int i = 0; i < 25; ++i) {
      const uint16_t v = static_cast<uint16_t>(1000 * (f + 1) + i);
      bytes.push_back(static_cast<uint8_t>(v));
      bytes.push_back(static_cast<uint8_t>(v >> 8));
    }
  }
  test::WriteBytes(dir.Path("le.raw"), bytes);
  ImportRun run = RunOf(ImportType::kRawFile, 5, 5);
  run.settings.two_bytes = true;
  run.settings.offset = 2;
  run.settings.frame_header = 1;
  CollectingReporter r;
  const ImportResult res = RunImport(run, dir.Path("le.raw"), dir.Path("le.xkv"), r);
  ASSERT_TRUE(res.ok);
  EXPECT_EQ(res.frames_written, 9999);
  EXPECT_EQ(res.source_short_at, 3);
  const auto out = test::ReadRecord(dir.Path("le.xkv"));
  ASSERT_EQ(out.size(), 9999u);
  EXPECT_EQ(out[0].pixels[0], 1000);
  EXPECT_EQ(out[1].pixels[24], 2024);
  EXPECT_EQ(out[9998].pixels, out[1].pixels);
  EXPECT_EQ(out[9998].prm.TimeMs, 9998 * 40);

  std::atomic<bool> stop{true};  // Esc: the check after the first frame ends it
  run.stop = &stop;
  EXPECT_EQ(RunImport(run, dir.Path("le.raw"), dir.Path("le.xkv"), r).frames_written, 1);
}

TEST(RawImport, FieldChecksKeepThePreviousValue) {
  ImportSettings s;
  CollectingReporter r;
  EXPECT_FALSE(SetImportWidth(s, "4", r));
  EXPECT_EQ(s.width, 512);
  EXPECT_TRUE(SetImportHeight(s, "2000", r));
  EXPECT_TRUE(SetImportWidth(s, "2000", r));
  EXPECT_FALSE(SetImportWidth(s, "2001", r));
  EXPECT_EQ(s.width, 2000);
  EXPECT_FALSE(SetImportHeight(s, "4", r));
  EXPECT_FALSE(SetImportInterval(s, "0", r));
  EXPECT_TRUE(SetImportInterval(s, "1000000", r));
  EXPECT_FALSE(SetImportScaleX(s, "0.0005", r));
  EXPECT_TRUE(SetImportScaleX(s, "0.001", r));
  EXPECT_FALSE(SetImportScaleY(s, "2e6", r));
  EXPECT_FALSE(SetImportOffset(s, "-1", r));
  EXPECT_FALSE(SetImportFrameHeader(s, "x", r));
  EXPECT_TRUE(SetImportFrameHeader(s, "16", r));
  EXPECT_EQ(s.frame_header, 16);
  EXPECT_EQ(r.Texts(MessageKind::kModal),
            (std::vector<std::string>{"Image Width is too small", "Image Size is too Big (>4 Mpix)",
                                      "Image Height is too Small", "Wrong time interval",
                                      "Scale X is out of order", "Scale Y is out of order",
                                      "Offset size should be >= 0 bytes",
                                      "Frame header should be >= 0 bytes"}));
}

TEST(RawImport, SequenceNamesCountUpWithLeadingZeros) {
  EXPECT_EQ(SequenceFileName("d1/img0099.raw", 0), "d1/img0099.raw");
  EXPECT_EQ(SequenceFileName("d1/img0099.raw", 1), "d1/img0100.raw");
  EXPECT_EQ(SequenceFileName("d/b7c.raw", 3), "d/b10c.raw");
  EXPECT_EQ(SequenceFileName("d/frame.raw", 1), "");
  EXPECT_EQ(SequenceFileName("d/f9998.raw", 2), "");
}

TEST(RawImport, SequenceRunsUpToTheNumber9999Inclusive) {
  // From 0000 that is 10000 files: every one is read, f9999 too.
  test::ScratchDir dir;
  char name[32];
  for (int k = 0; k <= 9999; ++k) {
    std::snprintf(name, sizeof name, "f%04d.raw", k);
    test::WriteBytes(dir.Path(name), std::vector<uint8_t>(25, static_cast<uint8_t>(k % 251)));
  }
  CollectingReporter r;
  const ImportResult res = RunImport(RunOf(ImportType::kRawSequence, 5, 5), dir.Path("f0000.raw"),
                                     dir.Path("all.xkv"), r);
  ASSERT_TRUE(res.ok);
  EXPECT_EQ(res.frames_written, 10000);
  const auto out = test::ReadRecord(dir.Path("all.xkv"));
  ASSERT_EQ(out.size(), 10000u);
  EXPECT_EQ(out.back().pixels[0], 9999 % 251);
}

TEST(RawImport, RawAndBitmapSequences) {
  test::ScratchDir dir;
  for (int k = 1; k <= 3; ++k)
    test::WriteBytes(dir.Path(std::string("f0").append(std::to_string(k)).append(".raw")),
                     std::vector<uint8_t>(25, static_cast<uint8_t>(k)));
  CollectingReporter r;
  ImportResult res =
      RunImport(RunOf(ImportType::kRawSequence, 5, 5), dir.Path("f01.raw"), dir.Path("seq.xkv"), r);
  ASSERT_TRUE(res.ok);
  auto out = test::ReadRecord(dir.Path("seq.xkv"));
  ASSERT_EQ(out.size(), 3u);  // ends at the missing f04.raw
  EXPECT_EQ(out[2].pixels[0], 3);
  EXPECT_EQ(out[2].prm.TimeMs, 80);

  for (int k = 1; k <= 2; ++k) {
    RgbImage img;
    img.Resize(5, 5, 0);
    img.At(1, 0) = 0x0A0A0A * static_cast<uint32_t>(k);  // grey 10 or 20
    img.At(4, 4) = 0xFF0000;                             // pure red
    ASSERT_TRUE(WriteBmp(dir.Path(std::string("g").append(std::to_string(k)).append(".bmp")), img));
  }
  res = RunImport(RunOf(ImportType::kBmpSequence, 5, 5), dir.Path("g1.bmp"), dir.Path("g.xkv"), r);
  ASSERT_TRUE(res.ok);
  out = test::ReadRecord(dir.Path("g.xkv"));
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[1].pixels[1], 20);   // row 0 at the top
  EXPECT_EQ(out[0].pixels[24], 76);  // 0.299 x 255, rounded
  res = RunImport(RunOf(ImportType::kBmpSequence, 6, 5), dir.Path("g1.bmp"), dir.Path("g.xkv"), r);
  EXPECT_FALSE(res.ok);
  EXPECT_EQ(r.Texts(MessageKind::kModal).back(), kBmpSizeDiffers);
}

// Damaged bitmaps are refused before anything is read past their end.
TEST(RawImport, DamagedBitmapsAreRefused) {
  test::ScratchDir dir;
  RgbImage img;
  img.Resize(5, 5, 0x808080);
  ASSERT_TRUE(WriteBmp(dir.Path("h1.bmp"), img));
  const std::vector<uint8_t> good = test::FileBytes(dir.Path("h1.bmp"));
  auto put32 = [](std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
  };
  std::vector<std::vector<uint8_t>> bad(5, good);
  bad[0].resize(good.size() - 1);  // cut short
  put32(bad[1], 18, 0x7FFFFFFF);   // absurd width
  put32(bad[2], 10, 0xFFFFFFF0);   // pixel data beyond the file
  bad[3][28] = 4;                  // 4 bits per pixel
  put32(bad[4], 30, 1);            // run-length compressed
  for (size_t k = 0; k < bad.size(); ++k) {
    SCOPED_TRACE(k);
    test::WriteBytes(dir.Path("h1.bmp"), bad[k]);
    CollectingReporter r;
    const ImportResult res =
        RunImport(RunOf(ImportType::kBmpSequence, 5, 5), dir.Path("h1.bmp"), dir.Path("h.xkv"), r);
    EXPECT_FALSE(res.ok);
    EXPECT_EQ(res.frames_written, 0);
    EXPECT_EQ(r.Texts(MessageKind::kModal),
              std::vector<std::string>{std::string(kBmpNotSupported)});
  }
}

TEST(RawImport, OpenFailuresAndTheSourceAsOutput) {
  test::ScratchDir dir;
  test::WriteBytes(dir.Path("a.raw"), std::vector<uint8_t>(25, 1));
  CollectingReporter r;
  const ImportRun run = RunOf(ImportType::kRawFile, 5, 5);
  EXPECT_FALSE(RunImport(run, dir.Path("none.raw"), dir.Path("a.xkv"), r).ok);
  EXPECT_FALSE(RunImport(run, dir.Path("a.raw"), dir.Path("no/dir/a.xkv"), r).ok);
  EXPECT_FALSE(RunImport(run, dir.Path("a.raw"), dir.Path("a.raw"), r).ok);
  EXPECT_EQ(test::FileBytes(dir.Path("a.raw")).size(), 25u);
  EXPECT_EQ(r.Texts(MessageKind::kModal),
            (std::vector<std::string>{"RAW File Open Error!", "XKV File Open Error!",
                                      std::string(kImportOutputIsSource)}));
}

}  // namespace
}  // namespace lumetra
