// The command line's contract: exact outputs and exit codes of the
// subcommands, run in-process with stdout and stderr captured.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "cli/cli_common.h"
#include "record/xkv_reader.h"
#include "tests/support/cli_capture.h"
#include "tests/support/xkv_builder.h"

namespace lumetra::cli {
namespace {

using lumetra::testing::TempPath;
using lumetra::testing::TestHeader;
using lumetra::testing::XkvBuilder;

using lumetra::testing::Call;
using lumetra::testing::CliRun;

TEST(CliInfo, PrintsTheCaptionFiguresWarningsAndHeaderLines) {
  const std::string path = TempPath("info.xkv");
  PRM_INFO p = TestHeader(8, 4, 12, 0);
  p.X0 = 16;
  p.Gain = 2;
  p.ExposureMs = 30;
  p.TempTenths = 221;
  p.Flags |= kFlagLaser1;
  XkvBuilder b;
  b.Flat(p, 1000);
  p.TimeMs = 33;
  b.Flat(p, 1000);
  b.Flat(TestHeader(3, 3, 8, 66), 1);  // another size: the loader warns
  b.Save(path);
  const CliRun r = Call(RunInfo, {path});
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "Lumetra - " + path +
                       " (3 frames, 0 Mb)\n"
                       "FrameCount=3\n"
                       "FrameInterval=0.033100\n"
                       "MaxLevel=4096\n"
                       "DANGER! - Some Frames in Record have different X or Y dimensions\n"
                       "x0=16, Width=8, y0=0, Height=4, 100X100 nm/pix\n"
                       "Gain=2, Exp=30 ms, 12 bit/pix\n"
                       "T=22.1oC, Las1-ON, Las2OFF, LampOFF, \n");
}

TEST(CliInfo, FailsWithTheMessageOnStderr) {
  CliRun r = Call(RunInfo, {TempPath("missing.xkv")});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "File open ERROR: " + TempPath("missing.xkv") + ": No such file or directory\n");

  const std::string empty = TempPath("empty.xkv");
  XkvBuilder().Save(empty);
  r = Call(RunInfo, {empty});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "The record holds no frame\n");

  // Commands that work on frames fail the same way on a record without one.
  for (CommandFn fn : {RunTrack, RunRender, RunFrame}) {
    r = Call(fn, {empty, "--out", TempPath("none.out")});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "The record holds no frame\n");
  }

  r = Call(RunInfo, {});
  EXPECT_EQ(r.code, 2);
  EXPECT_NE(r.err.find("missing FILE.xkv"), std::string::npos);
}

TEST(CliFrame, WritesTheChosenFrameCroppedAndWidened) {
  const std::string src = TempPath("src.xkv"), out = TempPath("out.xkv");
  XkvBuilder b;
  for (int i = 0; i < 4; ++i) {
    std::vector<uint16_t> px(6 * 5);
    for (size_t k = 0; k < px.size(); ++k) px[k] = static_cast<uint16_t>(i * 10 + k % 6);
    b.Frame(TestHeader(6, 5, 8, i * 10), px);
  }
  b.Save(src);
  CliRun r = Call(RunFrame, {src, "--index", "2", "--out", out, "--region", "1,2,4,5", "--2bytes"});
  ASSERT_EQ(r.code, 0) << r.err;
  const auto bytes = lumetra::testing::ReadBytes(out);
  ASSERT_EQ(bytes.size(), 48u + 9 * 2);
  PrmBytes hb;
  std::copy(bytes.begin(), bytes.begin() + 48, hb.begin());
  const PRM_INFO h = DecodePrmInfo(hb);
  EXPECT_EQ(h.Width, 3);
  EXPECT_EQ(h.Height, 3);
  EXPECT_EQ(h.Y0, 2);
  EXPECT_EQ(h.TimeMs, 20);
  EXPECT_EQ(h.BitsPerPixel, 9);
  EXPECT_EQ(bytes[48], 21);  // frame 2, column 1

  r = Call(RunFrame, {src, "--index", "4", "--out", out});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("outside the record (0-3)"), std::string::npos);
  r = Call(RunFrame, {src, "--index", "0", "--out", out, "--region", "0,0,7,5"});
  EXPECT_EQ(r.code, 1);
  r = Call(RunFrame, {src, "--index", "0", "--out", src});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(lumetra::testing::ReadBytes(src).size(), 4u * (48 + 30)) << "the record is intact";
  r = Call(RunFrame, {src, "--index", "x", "--out", out});
  EXPECT_EQ(r.code, 2);
}

TEST(CliSimulate, WritesTheRecordAndRefusesBadOptions) {
  const std::string out = TempPath("sim.xkv");
  CliRun r =
      Call(RunSimulate, {out, "--width", "40", "--height", "30", "--frames", "3", "--spots", "2"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("3 frames of 40 x 30"), std::string::npos);
  EXPECT_FALSE(lumetra::testing::ReadBytes(TempPath("sim.truth.tsv")).empty());

  EXPECT_EQ(Call(RunSimulate, {out, "--frames", "many"}).code, 2);
  EXPECT_EQ(Call(RunSimulate, {out, "--colour", "red"}).code, 2);
  r = Call(RunSimulate, {out, "--width", "5"});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("at least 18 pixels"), std::string::npos);
  r = Call(RunSimulate, {"--help"});
  EXPECT_EQ(r.code, 0);
  for (const char* opt :
       {"--width", "--height", "--frames", "--spots", "--fwhm-nm", "--nm-per-pixel", "--photons",
        "--background", "--read-noise", "--diffusion", "--frame-ms", "--bleach-prob", "--seed"})
    EXPECT_NE(r.out.find(opt), std::string::npos) << opt;
}

}  // namespace
}  // namespace lumetra::cli
