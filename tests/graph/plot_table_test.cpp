// Reading the plot command's table and setting a graph up from it.
#include "graph/plot_table.h"

#include <gtest/gtest.h>

#include "graph/graph_messages.h"
#include "graph/plot_setup.h"

namespace lumetra {
namespace {

TEST(PlotTable, HeaderNamesAndColumnsInMatrixLayout) {
  std::string error;
  auto t =
      ParsePlotTable("# made by hand\ntime\tA\tB\r\n0\t1\t10\n\n0.5\t2\t20\n1\t3\t30\n", error);
  ASSERT_TRUE(t) << error;
  EXPECT_EQ(t->names, (std::vector<std::string>{"time", "A", "B"}));
  EXPECT_EQ(t->points, 3);
  EXPECT_EQ(t->matrix, (std::vector<float>{0, 0.5f, 1, 1, 2, 3, 10, 20, 30}));
}

TEST(PlotTable, WithoutHeaderAndBlankSeparated) {
  std::string error;
  auto t = ParsePlotTable("1  2   3\n4 5 6\n", error);
  ASSERT_TRUE(t) << error;
  EXPECT_EQ(t->names, (std::vector<std::string>{"X", "1", "2"}));
  EXPECT_EQ(t->Curves(), 2);
  EXPECT_EQ(t->matrix[5], 6);
}

TEST(PlotTable, MissingValuesBecomeGaps) {
  std::string error;
  auto t = ParsePlotTable("x\ty\n1\t\n2\tnan\n3\t-\n4\t7\n", error);
  ASSERT_TRUE(t) << error;
  EXPECT_EQ(t->matrix[4], kMissingValue);
  EXPECT_EQ(t->matrix[6], kMissingValue);
  EXPECT_EQ(t->matrix[7], 7);
}

TEST(PlotTable, RefusesBrokenTablesNamingTheLine) {
  struct Case {
    const char* text;
    const char* fragment;
  };
  const Case cases[] = {
      {"", "no data line"},
      {"x\ty\n", "no data line"},
      {"# only a comment\n", "no data line"},
      {"1\n2\n", "line 1: the table needs an X column"},
      {"x\ty\n1\t2\n3\n", "line 3: wrong number of columns (1 instead of 2)"},
      {"x\ty\n1\t2\n3\tabc\n", "line 3, column 2: not a number (\"abc\")"},
      {"a\tb\tc\td\te\tf\tg\th\ti\tj\tk\tl\tm\tn\to\tp\n", "at most 14 curve columns"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    std::string error;
    EXPECT_FALSE(ParsePlotTable(c.text, error));
    EXPECT_NE(error.find(c.fragment), std::string::npos) << error;
  }
}

TEST(PlotSetup, CurveTypeNamesInAnyCase) {
  EXPECT_EQ(CurveTypeFromName("line"), kCurveLine);
  EXPECT_EQ(CurveTypeFromName("LineCircle"), kCurveLineCircle);
  EXPECT_EQ(CurveTypeFromName("VARIATION"), kCurveVariation);
  EXPECT_FALSE(CurveTypeFromName("lines"));
}

PlotTable Table() {
  std::string error;
  return *ParsePlotTable(
      "t\tcount\tmean\tsd\n0\t5\t10\t1\n1\t8\t12\t2\n2\t-3\t11\t1\n3\t4\t-2000000\t1\n", error);
}

TEST(PlotSetup, FitsAxesToTheShownCurves) {
  const PlotTable t = Table();
  GraphModel m;
  PlotOptions o;
  o.types = {kCurveBar, kCurveVariation};
  o.right = {2};
  ASSERT_FALSE(SetUpPlot(m, t, o));
  EXPECT_TRUE(m.Validate());
  EXPECT_EQ(m.X.First, 0);
  EXPECT_EQ(m.X.Last, 3);
  EXPECT_TRUE(m.Curves[1].Show);
  EXPECT_FALSE(m.Curves[3].Show) << "the spread of the variation curve is not drawn";
  EXPECT_LT(m.Y0.First, -3);  // bars: 0 and the values inside
  EXPECT_GT(m.Y0.Last, 8);
  // Right axis: mean 10..12 widened by the largest spread 2, the gap value left out.
  EXPECT_LT(m.Y1.First, 8.01);
  EXPECT_GT(m.Y1.Last, 13.99);
  EXPECT_GT(m.Y1.First, 7);
  EXPECT_EQ(m.TitleX, "t");
  EXPECT_EQ(m.TitleY0, "count");
  EXPECT_EQ(m.TitleY1, "mean");
  EXPECT_EQ(m.Notes[0], "");
  EXPECT_EQ(m.Names[2], "mean");
}

TEST(PlotSetup, RefusesOptionsThatDoNotFitTheTable) {
  const PlotTable t = Table();
  GraphModel m;
  PlotOptions o;
  o.types = {0, 0, 0, 0};
  EXPECT_TRUE(SetUpPlot(m, t, o));
  o.types.clear();
  o.right = {4};
  EXPECT_EQ(*SetUpPlot(m, t, o), "--right: there is no curve 4 (1-3)");
  o.right.clear();
  o.y_range = std::make_pair(5.0, 5.0);
  EXPECT_EQ(*SetUpPlot(m, t, o), kFirstNotBelowLast);
  o.y_range.reset();
  o.width = 0;
  EXPECT_TRUE(SetUpPlot(m, t, o));
}

}  // namespace
}  // namespace lumetra
