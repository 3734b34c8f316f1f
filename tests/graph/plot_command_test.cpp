// The plot command end to end: a table in, a picture of the asked size out,
// and clear refusals of bad command lines.
#include <gtest/gtest.h>

#include <QImage>
#include <fstream>

#include "cli/cli_common.h"

namespace lumetra {
namespace {

std::string WriteTable(const std::string& name, const std::string& text) {
  const std::string path = testing::TempDir() + name;
  std::ofstream(path) << text;
  return path;
}

TEST(PlotCommand, DrawsATableIntoAPictureOfTheAskedSize) {
  const std::string table = WriteTable("plot.tsv", "t\ta\tb\n0\t1\t5\n1\t2\t4\n2\t4\t\n3\t8\t2\n");
  const std::string out = testing::TempDir() + "plot.png";
  std::remove(out.c_str());
  EXPECT_EQ(cli::RunPlot({table, "--out", out, "--size", "400,300", "--types", "bar,linecircle",
                          "--right", "2", "--title-x", "time (s)"}),
            0);
  QImage picture(QString::fromStdString(out));
  EXPECT_EQ(picture.size(), QSize(400, 300));
}

TEST(PlotCommand, RefusesBadCommandLines) {
  const std::string table = WriteTable("plot2.tsv", "x\ty\n0\t1\n1\t2\n");
  const std::string out = testing::TempDir() + "plot2.png";
  EXPECT_EQ(cli::RunPlot({table}), 2) << "--out is required";
  EXPECT_EQ(cli::RunPlot({table, "--out", out, "--types", "wiggle"}), 2);
  EXPECT_EQ(cli::RunPlot({table, "--out", out, "--right", "2"}), 2);
  EXPECT_EQ(cli::RunPlot({table, "--out", out, "--x-range", "5"}), 2);
  EXPECT_EQ(cli::RunPlot({table, "--out", out, "--y-range", "3,1"}), 2);
  EXPECT_EQ(cli::RunPlot({table, "--out", out, "--size", "5000,100"}), 2);
  EXPECT_EQ(cli::RunPlot({testing::TempDir() + "missing.tsv", "--out", out}), 1);
  EXPECT_EQ(cli::RunPlot({WriteTable("bad.tsv", "x\ty\n1\tz\n"), "--out", out}), 1);
  EXPECT_EQ(cli::RunPlot({table, "--out", testing::TempDir() + "plot.gif"}), 1);
}

}  // namespace
}  // namespace lumetra
