// The export, fuse and import commands end to end: what they print and their
// exit status, run in-process with stdout and stderr captured.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "cli/cli_common.h"
#include "tests/processing/test_records.h"
#include "tests/support/cli_capture.h"

namespace lumetra {
namespace {

using testing::Call;
using testing::CliRun;

TEST(CliExport, WritesTheTransformAndRefusesBadRequests) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("r.xkv");
  test::WriteRecord(rec, 4, 3, {test::Ramp(4, 3, 0), test::Ramp(4, 3, 1), test::Ramp(4, 3, 2)});
  CliRun r = Call(cli::RunExport, {rec, "--out", dir.Path("s.xkv"), "--transform", "sum:2"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, dir.Path("s.xkv") + ": 1 of 3 frames written\n");

  r = Call(cli::RunExport,
           {rec, "--out", dir.Path("a.raw"), "--transform", "raw", "--region", "1,1,3,3"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "RAW file was written in 1 byte/pixel format\n" + dir.Path("a.raw") +
                       ": 3 of 3 frames written\n");
  EXPECT_EQ(test::FileBytes(dir.Path("a.raw")).size(), 3u * 4);

  r = Call(cli::RunExport, {rec, "--out", rec, "--transform", "invert"});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "The output file is the open record: choose another file name\n");
  r = Call(cli::RunExport, {rec, "--out", dir.Path("p.xkv"), "--transform", "part:5,6"});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "First Frame Out of Range\n");
  EXPECT_EQ(Call(cli::RunExport, {rec, "--out", "x", "--transform", "sum:3"}).code, 2);
  EXPECT_EQ(
      Call(cli::RunExport, {rec, "--out", "x", "--transform", "invert", "--region", "0,0,9,9"})
          .code,
      2);
  EXPECT_EQ(
      Call(cli::RunExport, {rec, "--out", "x", "--transform", "invert", "--temporal-median", "4"})
          .code,
      2);
  EXPECT_EQ(
      Call(cli::RunExport, {dir.Path("none.xkv"), "--out", "x", "--transform", "invert"}).code, 1);
}

// The BMP exports paint through the display's own palette table.
TEST(CliExport, BitmapsUseTheDisplayPalette) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("r.xkv");
  test::WriteRecord(rec, 3, 2, {{0, 100, 200, 255, 7, 8}});
  CliRun r = Call(cli::RunExport,
                  {rec, "--out", dir.Path("g.bmp"), "--transform", "bmp-seq", "--palette", "grey"});
  ASSERT_EQ(r.code, 0) << r.err;
  const std::vector<uint8_t> b = test::FileBytes(dir.Path("g1.bmp"));
  ASSERT_EQ(b.size(), 54u + 2 * 12);
  // Row 0 is stored last (bottom-up): pixel (1, 0) = 100 is grey 100 in an
  // 8-bit record, blue, green, red.
  EXPECT_EQ(std::vector<uint8_t>(b.begin() + 54 + 12 + 3, b.begin() + 54 + 12 + 6),
            (std::vector<uint8_t>{100, 100, 100}));
  r = Call(cli::RunExport,
           {rec, "--out", dir.Path("g.bmp"), "--transform", "page", "--palette", "purple"});
  EXPECT_EQ(r.code, 2);
  // Through the LUT curve: 100 in the middle of 50..150 is grey 128, 255
  // above the maximum is white, 0 under the threshold black.
  r = Call(cli::RunExport, {rec, "--out", dir.Path("l.bmp"), "--transform", "bmp-seq",
                            "--palette", "grey", "--range", "50,150", "--threshold", "60"});
  ASSERT_EQ(r.code, 0) << r.err;
  const std::vector<uint8_t> l = test::FileBytes(dir.Path("l1.bmp"));
  ASSERT_EQ(l.size(), 54u + 2 * 12);
  EXPECT_EQ(std::vector<uint8_t>(l.begin() + 54 + 12, l.begin() + 54 + 12 + 9),
            (std::vector<uint8_t>{0, 0, 0, 128, 128, 128, 255, 255, 255}));
}

// --filter runs on every frame streamed, from an empty ring at frame 0: the
// previous-frame subtraction of ramps 0, 1, 2 gives 0, 1, 1 everywhere.
TEST(CliExport, FiltersEveryFrameStreamed) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("r.xkv");
  test::WriteRecord(rec, 4, 3, {test::Ramp(4, 3, 0), test::Ramp(4, 3, 1), test::Ramp(4, 3, 2)});
  CliRun r = Call(cli::RunExport, {rec, "--out", dir.Path("d.xkv"), "--transform", "thin:0,1",
                                   "--filter", "prev"});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto frames = test::ReadRecord(dir.Path("d.xkv"));
  ASSERT_EQ(frames.size(), 3u);
  for (int f = 0; f < 3; ++f)
    EXPECT_EQ(frames[f].pixels, std::vector<uint16_t>(12, f == 0 ? 0 : 1)) << f;
  EXPECT_EQ(Call(cli::RunExport, {rec, "--out", dir.Path("x.xkv"), "--transform", "invert",
                                  "--filter", "sobel,median9"})
                .code,
            2);
}

TEST(CliFuseAndImport, PrintTheirResults) {
  test::ScratchDir dir;
  test::WriteRecord(dir.Path("a.xkv"), 2, 2, {{1, 2, 3, 4}});
  test::WriteRecord(dir.Path("b.xkv"), 2, 2, {{5, 6, 7, 8}});
  CliRun r = Call(cli::RunFuse, {dir.Path("a.xkv"), dir.Path("b.xkv"), "--out", dir.Path("ab.xkv"),
                                 "--no-blank"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "Done\n" + dir.Path("ab.xkv") + ": 2 frames from 2 files\n");

  // Two little-endian frames of 5 x 5: the import goes on to frame 9999.
  std::vector<uint8_t> bytes(100, 0);
  test::WriteBytes(dir.Path("le.raw"), bytes);
  const std::vector<std::string> fields = {"--width",       "5",   "--height",  "5",
                                           "--interval-ms", "10",  "--scale-x", "100",
                                           "--scale-y",     "100", "--out",     dir.Path("le.xkv")};
  std::vector<std::string> args = {"raw", dir.Path("le.raw"), "--two-bytes"};
  args.insert(args.end(), fields.begin(), fields.end());
  r = Call(cli::RunImport, args);
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err,
            "warning: the source held 2 complete frames; the little-endian import wrote its last "
            "data again up to frame 9999\n");
  args[0] = "raw";
  args[2] = "--big-endian";  // one byte per pixel: four whole frames, no warning
  r = Call(cli::RunImport, args);
  EXPECT_EQ(r.out, dir.Path("le.xkv") + ": 4 frames written\n");
  EXPECT_EQ(r.err, "");
  args[4] = "4";  // the width
  r = Call(cli::RunImport, args);
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "Image Width is too small\n");
  // A source shorter than one frame leaves an empty record: said, and exit 1.
  args[4] = "30";
  r = Call(cli::RunImport, args);
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "lumetra-cli import: the source holds no complete frame of 30 x 5 pixels\n");
}

}  // namespace
}  // namespace lumetra
