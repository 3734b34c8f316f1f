// The profile, kymograph, split, register and drift-correct commands end to
// end: what they print, their exit status and their files.
#include <gtest/gtest.h>

#include <filesystem>

#include "cli/cli_common.h"
#include "tests/processing/test_records.h"
#include "tests/support/cli_capture.h"

namespace lumetra {
namespace {

using testing::Call;
using testing::CliRun;

TEST(ProfileCommands, PrintTablesAndRefuseBadLines) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("r.xkv");
  test::WriteRecord(rec, 6, 4, {test::Ramp(6, 4, 0), test::Ramp(6, 4, 10)});
  CliRun r = Call(cli::RunProfile, {rec, "--line", "0,1,3,1", "--width", "1", "--index", "1"});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out,
            "distance_px\tdistance_nm\tx\ty\tmean\tpixels\n"
            "0\t0.0\t0.000\t1.000\t16.000\t1\n1\t100.0\t1.000\t1.000\t17.000\t1\n"
            "2\t200.0\t2.000\t1.000\t18.000\t1\n");
  r = Call(cli::RunProfile, {rec, "--line", "40,40,80,80"});
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.out, "distance_px\tdistance_nm\tx\ty\tmean\tpixels\n");
  EXPECT_NE(r.err.find("the profile is empty"), std::string::npos);
  EXPECT_EQ(Call(cli::RunProfile, {rec, "--line", "1,2,3"}).code, 2);
  EXPECT_EQ(Call(cli::RunProfile, {rec, "--line", "0,0,3,0", "--width", "0"}).code, 2);

  r = Call(cli::RunKymographCommand,
           {rec, "--line", "0,0,4,0", "--tsv", dir.Path("k.tsv"), "--png", dir.Path("k.png")});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "Kymograph: 2 frames of 4 points\n");
  EXPECT_TRUE(std::filesystem::exists(dir.Path("k.png")));
  EXPECT_EQ(Call(cli::RunKymographCommand, {rec, "--line", "0,0,4,0"}).code, 2);
  // No image of nothing: the line misses the frame.
  r = Call(cli::RunKymographCommand, {rec, "--line", "50,50,60,50", "--png", dir.Path("e.png")});
  EXPECT_EQ(r.code, 1);
  EXPECT_FALSE(std::filesystem::exists(dir.Path("e.png")));
}

TEST(TwoColourCommands, SplitRegisterAndDriftCorrect) {
  test::ScratchDir dir;
  const std::string rec = dir.Path("r.xkv");
  test::WriteRecord(rec, 7, 4, {test::Ramp(7, 4, 0), test::Ramp(7, 4, 10)});
  CliRun r = Call(cli::RunSplit, {rec, "--out", dir.Path("s.xkv")});
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "Channels written: 2 frames each, " + dir.Path("s-ch1.xkv") + " and " +
                       dir.Path("s-ch2.xkv") + "\n");
  EXPECT_EQ(test::ReadRecord(dir.Path("s-ch2.xkv"))[0].prm.Width, 3);
  EXPECT_EQ(Call(cli::RunSplit, {rec, "--layout", "diagonal"}).code, 2);

  // A given transform: a shift of one pixel to the right, written and applied.
  const std::string t = "coefficient\tvalue\nc0\t1\nc1\t1\nc2\t0\nc3\t0\nc4\t0\nc5\t1\n";
  test::WriteBytes(dir.Path("t.tsv"), std::vector<uint8_t>(t.begin(), t.end()));
  r = Call(cli::RunRegister, {dir.Path("s-ch1.xkv"), dir.Path("s-ch2.xkv"), "--use-transform",
                              dir.Path("t.tsv"), "--out", dir.Path("reg.xkv")});
  EXPECT_EQ(r.code, 0) << r.err;
  const auto reg = test::ReadRecord(dir.Path("reg.xkv"));
  const auto ch2 = test::ReadRecord(dir.Path("s-ch2.xkv"));
  ASSERT_EQ(reg.size(), 2u);
  EXPECT_EQ(reg[0].pixels[0], ch2[0].pixels[1]);
  r = Call(cli::RunRegister, {rec, dir.Path("s-ch2.xkv")});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("differ in frame size"), std::string::npos);

  // A drift table of whole pixels moves every frame by them.
  const std::string table = "frame\tdx_nm\tdy_nm\n0\t0\t0\n1\t100\t0\n";
  test::WriteBytes(dir.Path("d.tsv"), std::vector<uint8_t>(table.begin(), table.end()));
  r = Call(cli::RunDriftCorrect, {rec, "--drift", dir.Path("d.tsv"), "--out", dir.Path("dc.xkv")});
  EXPECT_EQ(r.code, 0) << r.err;
  const auto dc = test::ReadRecord(dir.Path("dc.xkv"));
  ASSERT_EQ(dc.size(), 2u);
  EXPECT_EQ(dc[1].pixels[0], 11);
  const std::string other = "frame\tx_nm\n0\t1\n";
  test::WriteBytes(dir.Path("o.tsv"), std::vector<uint8_t>(other.begin(), other.end()));
  r = Call(cli::RunDriftCorrect, {rec, "--drift", dir.Path("o.tsv"), "--out", dir.Path("x.xkv")});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("dx_nm"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(dir.Path("x.xkv")));
  // Two frames make no two blocks of ten.
  r = Call(cli::RunDriftCorrect, {rec, "--out", dir.Path("y.xkv")});
  EXPECT_EQ(r.code, 1);
  EXPECT_FALSE(std::filesystem::exists(dir.Path("y.xkv")));
}

}  // namespace
}  // namespace lumetra
