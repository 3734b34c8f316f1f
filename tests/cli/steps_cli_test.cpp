// lumetra-cli steps: the read-outs, the results text and the tables for
// scripts on a small record with one bleaching spot, and the refusals.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "cli/cli_common.h"
#include "tests/support/cli_capture.h"
#include "tests/support/xkv_builder.h"

namespace lumetra::cli {
namespace {

using lumetra::testing::Call;
using lumetra::testing::CliRun;
using lumetra::testing::TempPath;
using lumetra::testing::TestHeader;
using lumetra::testing::XkvBuilder;

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

// 16 x 16, 60 frames of 50 ms, background 10; the pixel (8, 8) holds 200 +-3
// and bleaches to 50 +-3 at frame 30.
std::string OneSpotRecord() {
  const std::string path = TempPath("one_spot.xkv");
  XkvBuilder b;
  for (int32_t f = 0; f < 60; ++f) {
    std::vector<uint16_t> px(256, 10);
    px[8 * 16 + 8] = static_cast<uint16_t>((f < 30 ? 200 : 50) + (f % 2 ? 3 : -3));
    b.Frame(TestHeader(16, 16, 8, f * 50), px);
  }
  b.Save(path);
  return path;
}

TEST(CliSteps, ReadOutsResultsTextAndTables) {
  const std::string record = OneSpotRecord();
  const std::string out = TempPath("r.txt"), tsv = TempPath("r.tsv"), traces = TempPath("t.tsv"),
                    maps = TempPath("m.tsv");
  const CliRun r = Call(RunSteps, {record, "--out", out, "--spot", "1", "--tsv", tsv, "--traces",
                                   traces, "--maps", maps});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out,
            "0 Mb allocated - Click 'Detect'\n"
            "1 spots above Thresh(10) (up to 10000 spots)\n"
            "1 of 1 objects above S-test Thr=15\n"
            "rejected: 0\n");
  // With a 1 x 1 spot the ring of 24 pixels of 10 is divided by 8: the trace
  // is the pixel less 30, so 170 before the drop and 20 after.
  EXPECT_EQ(ReadText(out),
            "drTm\t dropA\t rsTm\t riseA\t downA\t upSD\t dnSD\t S-test\t P-test\t Xpos\t Ypos\n"
            "30\t150.00\t0\t0.00\t20.00\t3.05\t3.05\t347.51\t0.00\t8\t8\n");
  const std::vector<std::string> rows = Lines(ReadText(tsv));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(
      rows[0].rfind("object\tx\ty\tdrop_frame\trise_frame\tdrop_time_s\trise_time_s\tupper\t"
                    "lower\tdrop_amp\trise_amp\tup_sd\tdn_sd\ts_test\tp_test\tms_test\tms_steps",
                    0),
      0u);
  EXPECT_EQ(rows[1].rfind("0\t8\t8\t30\t0\t1.500\t0.000\t170.00\t20.00\t150.00\t0.00\t3.05\t3.05\t"
                          "347.51\t0.00\t",
                          0),
            0u)
      << rows[1];
  const std::vector<std::string> trace_rows = Lines(ReadText(traces));
  ASSERT_EQ(trace_rows.size(), 61u);
  EXPECT_EQ(trace_rows[0], "object\tframe\ttime_s\tvalue");
  EXPECT_EQ(trace_rows[1], "0\t0\t0.000\t167.00");
  EXPECT_EQ(trace_rows[32], "0\t31\t1.550\t23.00");
  const std::vector<std::string> map_rows = Lines(ReadText(maps));
  ASSERT_EQ(map_rows.size(), 257u);
  EXPECT_EQ(map_rows[0], "x\ty\tdrop\tdrop_frame\trise\trise_frame");
  EXPECT_EQ(map_rows[1 + 8 * 16 + 8], "8\t8\t150\t30\t0\t0");
}

TEST(CliSteps, ShortRecordsSettingsFileAndTestChoice) {
  // 20 frames: too short, the maps stay empty and the results hold the header.
  const std::string short_record = TempPath("short.xkv");
  XkvBuilder b;
  for (int32_t f = 0; f < 20; ++f) b.Flat(TestHeader(16, 16, 8, f * 50), 10);
  b.Save(short_record);
  const std::string out = TempPath("short.txt");
  CliRun r = Call(RunSteps, {short_record, "--out", out});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out,
            "0 Mb allocated - Click 'Detect'\n"
            "Record too short for step detection: 20 frames read, 21 needed - the maps are empty\n"
            "0 spots above Thresh(10) (up to 10000 spots)\n");
  EXPECT_EQ(Lines(ReadText(out)).size(), 1u);

  // DetectWindow 1 from the settings file; --window overrides it.
  const std::string ini = TempPath("steps.ini");
  std::ofstream(ini) << "DetectWindow 1\n";
  const std::string record = OneSpotRecord();
  r = Call(RunSteps, {record, "--out", out, "--spot", "1", "--ini", ini, "--test", "p"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("objects above P-test Thr=15"), std::string::npos) << r.out;
  // The temporal median is in the chain: the 3-frame median moves the drop
  // one frame later, and the first computation waits 3 frames more.
  r = Call(RunSteps, {record, "--out", out, "--spot", "1", "--temporal-median", "3"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Lines(ReadText(out)).at(1).rfind("31\t", 0), 0u) << ReadText(out);
  r = Call(RunSteps, {record, "--out", out, "--ini", ini, "--window", "11"});
  EXPECT_EQ(r.code, 2);
  EXPECT_EQ(r.err, "Value out of Order (1-10)\n");
}

TEST(CliSteps, RefusesBadCommandLines) {
  const std::string record = OneSpotRecord(), out = TempPath("bad.txt");
  struct Case {
    std::vector<std::string> args;
    int code;
    std::string err;  // start of stderr
  };
  const Case cases[] = {
      {{record}, 2, "lumetra-cli steps: --out RESULTS.txt is required"},
      {{record, "--out", out, "--max-steps", "10"}, 2, "Steps Number must be between 2 and 9"},
      {{record, "--out", out, "--drop-threshold", "0"}, 2, "Drop Threshold Out of Range"},
      {{record, "--out", out, "--spot", "4"}, 2, "lumetra-cli steps: --spot must be 1, 3 or 5"},
      {{record, "--out", out, "--test", "q"}, 2, "lumetra-cli steps: --test must be s, p or ms"},
      {{record, "--out", out, "--objects", "blobs"}, 2, "lumetra-cli steps: --objects must be"},
      {{record, "--out", out, "--temporal-median", "4"}, 2, "lumetra-cli steps: --temporal-median"},
      {{TempPath("missing.xkv"), "--out", out}, 1, "File open ERROR"},
      {{record, "--out", TempPath("no/such/dir/r.txt")}, 1, "Can not Open File for Writing"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args.back());
    const CliRun r = Call(RunSteps, c.args);
    EXPECT_EQ(r.code, c.code);
    EXPECT_EQ(r.err.rfind(c.err, 0), 0u) << r.err;
  }
  // A record that cannot be opened is named with the reason.
  const CliRun missing = Call(RunSteps, {TempPath("missing.xkv"), "--out", out});
  EXPECT_NE(missing.err.find("missing.xkv: No such file or directory"), std::string::npos)
      << missing.err;
  const CliRun help = Call(RunSteps, {"--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("--traces TRACES.tsv"), std::string::npos);
}

}  // namespace
}  // namespace lumetra::cli
