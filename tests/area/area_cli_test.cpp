#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/cli_capture.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

std::string Write(const std::string& name, const std::string& text) {
  const std::string path = (fs::temp_directory_path() / name).string();
  std::ofstream(path) << text;
  return path;
}

std::string Read(const std::string& path) {
  std::ifstream f(path);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

TEST(AreaCli, FitPrintsTheWindowTextThenTheGridValues) {
  std::string table = "time_s\tintensity\n";
  for (int i = 0; i < 50; ++i) {
    const double t = i * 0.2;
    table += std::to_string(t) + '\t' + std::to_string(900 * std::exp(-0.4 * t) + 100) + '\n';
  }
  const std::string in = Write("area_fit_in.tsv", table);
  const std::string out = (fs::temp_directory_path() / "area_fit_out.tsv").string();
  const auto run = testing::Call(cli::RunFit, {in, "--model", "bleaching", "--curve", out});
  ASSERT_EQ(run.code, 0) << run.err;
  std::istringstream lines(run.out);
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "Bleach rate=0.4 s-1");
  std::vector<std::string> names;
  while (std::getline(lines, line)) names.push_back(line.substr(0, line.find('=')));
  EXPECT_EQ(names, (std::vector<std::string>{"A", "B", "k", "cost", "k_low95", "k_high95"}));
  const std::string curve = Read(out);
  EXPECT_EQ(curve.substr(0, curve.find('\n')), "time_s\tvalue\tfit");
  EXPECT_EQ(std::count(curve.begin(), curve.end(), '\n'), 51);

  // A recovery whose maximum is its minimum: a result text, a message, status 1.
  const std::string down = Write("area_fit_down.tsv", "0 5\n1 4\n2 3\n");
  const auto none = testing::Call(cli::RunFit, {down, "--model", "recovery"});
  EXPECT_EQ(none.code, 1);
  EXPECT_EQ(none.out.substr(0, none.out.find('\n')), "Tau=0  Bleach rate=0");
  EXPECT_NE(none.err.find("maximum comes right at the minimum"), std::string::npos);
}

TEST(AreaCli, BadTablesAndOptionsAreNamed) {
  const std::string bad = Write("area_fit_bad.tsv", "t\tv\n0\t1\n0.1\tabc\n");
  const auto run = testing::Call(cli::RunFit, {bad, "--model", "bleaching"});
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.err.find("line 3: 'abc' is not a number"), std::string::npos);
  const std::string one = Write("area_fit_one.tsv", "0\t1\n0.1\n");
  EXPECT_NE(testing::Call(cli::RunFit, {one, "--model", "spots"}).err.find("line 2: needs two"),
            std::string::npos);
  EXPECT_EQ(testing::Call(cli::RunFit, {bad, "--model", "linear"}).code, 2);
  EXPECT_EQ(testing::Call(cli::RunFit, {bad}).code, 2);
  EXPECT_EQ(testing::Call(cli::RunArea, {bad, "--region", "5,5,2,9"}).code, 2);
  EXPECT_EQ(testing::Call(cli::RunFit, {"/nonexistent/x.tsv", "--model", "spots"}).code, 1);
}

TEST(AreaCli, AreaCollectsFitsAndWritesTheTable) {
  const std::string rec = (fs::temp_directory_path() / "area_cli.xkv").string();
  testing::XkvBuilder b;
  for (int f = 0; f < 40; ++f) {
    PRM_INFO p = testing::TestHeader(16, 16, 16, f * 100);
    std::vector<uint16_t> px(256, 100);
    for (int y = 5; y < 10; ++y)
      for (int x = 5; x < 10; ++x)
        px[y * 16 + x] = static_cast<uint16_t>(100 + 2000 * std::exp(-0.5 * f * 0.1));
    b.Frame(p, px);
  }
  b.Save(rec);
  const std::string tsv = (fs::temp_directory_path() / "area_cli.tsv").string();
  const auto run =
      testing::Call(cli::RunArea, {rec, "--region", "5,5,10,10", "--fit", "bleaching", "--tsv", tsv});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out.rfind("Bleach rate=0.5 s-1\n", 0), 0u) << run.out;
  const std::string table = Read(tsv);
  EXPECT_EQ(table.substr(0, table.find('\n')),
            "time_s\tintensity\tabove_background\tx_nm\ty_nm\tspots\tfit");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 41);
  // Off the frame: a clear message and status 1.
  const auto off = testing::Call(cli::RunArea, {rec, "--region", "40,40,50,50"});
  EXPECT_EQ(off.code, 1);
  EXPECT_NE(off.err.find("outside the frame"), std::string::npos);
}

}  // namespace
}  // namespace lumetra
