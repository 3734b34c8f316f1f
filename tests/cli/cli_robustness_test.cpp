// What the commands do with inputs that are broken, endless or out of range:
// a message naming the file or option and the reason, the right exit status,
// and no output file that holds no frame.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cli/cli_common.h"
#include "tests/support/cli_capture.h"
#include "tests/support/xkv_builder.h"

namespace lumetra::cli {
namespace {

namespace fs = std::filesystem;
using lumetra::testing::Call;
using lumetra::testing::CliRun;
using lumetra::testing::TempPath;
using lumetra::testing::TestHeader;
using lumetra::testing::XkvBuilder;

bool StartsWith(const std::string& s, const std::string& prefix) {
  return s.rfind(prefix, 0) == 0;
}

// A record of `frames` flat 8-bit frames of w x h pixels.
std::string Record(const std::string& name, int32_t w, int32_t h, int frames) {
  XkvBuilder b;
  for (int i = 0; i < frames; ++i) b.Flat(TestHeader(w, h, 8, i * 10), 7);
  const std::string path = TempPath(name);
  b.Save(path);
  return path;
}

TEST(CliRobustness, ARecordWhoseFirstFrameCannotBeReadIsRefused) {
  // Cut inside the pixels of frame 0, as "head -c" of a longer record gives.
  const std::string cut = TempPath("cut0.xkv");
  XkvBuilder b;
  b.Flat(TestHeader(32, 32, 8, 0), 7).Flat(TestHeader(32, 32, 8, 10), 7);
  b.Truncate(2 * (48 + 1024) - 500).Save(cut);
  const std::string text = TempPath("notes.xkv");
  XkvBuilder().Raw(std::vector<uint8_t>(200, 'a')).Save(text);

  struct Case {
    std::string path, err_start;
  };
  const Case cases[] = {
      {cut, "Frame Reading Error: " + cut +
                ": frame 0 needs 1024 bytes of pixel data, the file holds 452\n"},
      {text, "Broken Frame Header"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    CliRun r = Call(RunInfo, {c.path});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.out, "") << "no header of a frame that was never read";
    EXPECT_TRUE(StartsWith(r.err, c.err_start)) << r.err;
    r = Call(RunTrack, {c.path, "--out", TempPath("cut0.xki")});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(StartsWith(r.err, c.err_start)) << r.err;
  }
}

TEST(CliRobustness, WholeNumbersBeyond32BitsAreRefusedByName) {
  const std::string rec = Record("small.xkv", 8, 8, 2);
  const std::string out = TempPath("never.out");
  struct Case {
    CommandFn fn;
    std::vector<std::string> args;
    std::string message;
  };
  const Case cases[] = {
      {RunFrame,
       {rec, "--out", out, "--region", "4294967298,0,3,3"},
       "--region: 4294967298 is out of range"},
      {RunFrame, {rec, "--out", out, "--index", "4294967296"}, "--index: 4294967296 is out"},
      {RunRender, {rec, "--out", out, "--index", "-4294967296"}, "--index: -4294967296 is out"},
      {RunRender, {rec, "--out", out, "--zoom", "4294967297"}, "--zoom: 4294967297 is out"},
      {RunExport,
       {rec, "--out", out, "--transform", "raw", "--region", "0,0,2,4294967300"},
       "--region: 4294967300 is out"},
      {RunSimulate, {out, "--frames", "4294967298"}, "--frames: 4294967298 is out"},
      {RunTrack, {rec, "--out", out, "--q", "4294967304"}, "--q: 4294967304 is out"},
      {RunPlot, {rec, "--out", out, "--size", "4294967396,800"}, "--size: 4294967396 is out"},
      {RunPlot, {rec, "--out", out, "--right", "1,4294967297"}, "--right: 4294967297 is out"},
      {RunPlot, {rec, "--out", out, "--line-width", "4294967298"}, "--line-width: 4294967298"},
      {RunBench, {"read", rec, "--repeats", "4294967297"}, "--repeats: 4294967297 is out"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    const CliRun r = Call(c.fn, c.args);
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
  }
  EXPECT_FALSE(fs::exists(out));
}

TEST(CliRobustness, ExportsThatWouldHoldNoFrameWriteNothing) {
  const std::string four = Record("four.xkv", 4, 4, 4);
  const std::string three = Record("three.xkv", 4, 4, 3);
  struct Case {
    std::string record, transform, message;
  };
  const Case cases[] = {
      {four, "sum:5",
       "The record holds fewer frames than one sum: no frame was written (5 frames needed, the "
       "record holds 4)"},
      {three, "median5", "Median of 5 needs at least 4 frames: no frame was written"},
      {four, "bin:5", "The frame is smaller than the binning: nothing to save"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.transform);
    const std::string out = TempPath("empty-export.xkv");
    fs::remove(out);
    const CliRun r = Call(RunExport, {c.record, "--out", out, "--transform", c.transform});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(r.out.find("0 frames written"), std::string::npos) << r.out;
    EXPECT_TRUE(!fs::exists(out) || fs::file_size(out) == 0) << "no frame was written";
  }
  // The whole groups of a longer record are still written.
  const CliRun r = Call(RunExport, {four, "--out", TempPath("sum2.xkv"), "--transform", "sum:2"});
  EXPECT_EQ(r.code, 0) << r.err;
}

TEST(CliRobustness, FuseRefusesFoldersAndInputsWithoutFrames) {
  const std::string rec = Record("fuse-a.xkv", 4, 4, 2);
  const std::string folder = TempPath("fuse-folder");
  fs::create_directories(folder);
  const std::string empty1 = TempPath("fuse-e1.xkv"), empty2 = TempPath("fuse-e2.xkv");
  XkvBuilder().Save(empty1);
  XkvBuilder().Save(empty2);
  const std::string out = TempPath("fused.xkv");

  CliRun r = Call(RunFuse, {folder, rec, "--out", out});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("Can not open XKV file: " + folder + ": Is a directory"), std::string::npos)
      << r.err;
  EXPECT_FALSE(fs::exists(out));

  r = Call(RunFuse, {empty1, empty2, "--out", out});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "The selected files hold no frame: nothing was fused\n");
  EXPECT_EQ(r.out, "");
  EXPECT_FALSE(fs::exists(out));
}

// Endless sources: each is refused after a bounded read, naming the file.
TEST(CliRobustness, EndlessInputsAreReadOnlyUpToACap) {
  const std::string rec = Record("endless.xkv", 8, 8, 2);
  CliRun r = Call(RunTrack, {rec, "--out", TempPath("endless.xki"), "--ini", "/dev/zero"});
  EXPECT_NE(r.code, 0);
  EXPECT_NE(r.err.find("The settings file is too large (over 1 MB): nothing was read: /dev/zero"),
            std::string::npos)
      << r.err;

  r = Call(RunPlot, {"/dev/zero", "--out", TempPath("endless.png")});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("/dev/zero: line 1 is longer than 65536 bytes"), std::string::npos) << r.err;

  const std::string tracks = TempPath("endless-tracks.tsv");
  XkvBuilder().Raw(std::vector<uint8_t>{'t', 'r', 'a', 'c', 'k', '\n'}).Save(tracks);
  r = Call(RunEval, {tracks, "/dev/zero"});
  EXPECT_EQ(r.code, 1);
  // The track table is read first, line by line too.
  EXPECT_NE(r.err.find(tracks + ": the header has no column 'frame'"), std::string::npos) << r.err;
  r = Call(RunEval, {"/dev/zero", tracks});
  EXPECT_NE(r.err.find("/dev/zero: line 1 is longer than 65536 bytes"), std::string::npos) << r.err;
  r = Call(RunEval, {TempPath("no-tracks.tsv"), tracks});
  EXPECT_EQ(r.err, "lumetra-cli eval: File open ERROR: " + TempPath("no-tracks.tsv") +
                       ": No such file or directory\n");
}

TEST(CliRobustness, ImportOffsetsAreSoughtOrRefused) {
  const std::string raw = TempPath("short.raw");
  XkvBuilder().Raw(std::vector<uint8_t>(100, 1)).Save(raw);
  const std::vector<std::string> fields = {"--width",     "5",         "--height",
                                           "5",           "--interval-ms", "10",
                                           "--scale-x",   "100",       "--scale-y",
                                           "100",         "--offset",  "1000000000000000000"};
  std::vector<std::string> args = {"raw", raw, "--out", TempPath("offset.xkv")};
  args.insert(args.end(), fields.begin(), fields.end());
  CliRun r = Call(RunImport, args);
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err,
            "Offset is beyond the end of the RAW file (1000000000000000000 bytes, the file holds "
            "100)\n");

  // A device has no size: the offset is sought over and the frame limit ends it.
  args[1] = "/dev/zero";
  r = Call(RunImport, args);
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("9999 frames written"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace lumetra::cli
