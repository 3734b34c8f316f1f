#include "area/curve_table.h"

#include <gtest/gtest.h>

#include <cmath>

#include "area/area_plot.h"
#include "area/area_trace.h"

namespace lumetra {
namespace {

TEST(CurveTable, HeaderOptionalBlanksCommentsAndNaN) {
  std::string error;
  const auto plain = ParseCurveTable("0 10\n0.5   8 extra\n\n# note\n1\tnan\n", error);
  ASSERT_TRUE(plain) << error;
  EXPECT_EQ(plain->time, (std::vector<float>{0.0f, 0.5f, 1.0f}));
  EXPECT_EQ(plain->values[1], 8.0f);
  EXPECT_TRUE(std::isnan(plain->values[2]));
  const auto headed = ParseCurveTable("time_s\tI\r\n0\t1\r\n", error);
  ASSERT_TRUE(headed) << error;
  EXPECT_EQ(headed->values, (std::vector<float>{1.0f}));

  struct Case {
    const char* text;
    const char* error;
  } bad[] = {
      {"t\tv\n", "the table holds no data line"},
      {"0\t1\nnan\t2\n", "line 2: the time is not a finite number"},
      {"0\t1\n\n1\t2x\n", "line 3: '2x' is not a number"},
      {"a\tb\nc\td\n", "line 2: 'c' is not a number"},
  };
  for (const Case& c : bad) {
    SCOPED_TRACE(c.text);
    EXPECT_FALSE(ParseCurveTable(c.text, error));
    EXPECT_EQ(error, c.error);
  }
}

TEST(AreaPlot, GapsAxesAndKeptScaling) {
  AreaPlot p;
  p.x = {0, 1, 2, 3};
  p.curves.push_back({"I", {10, NAN, 30, 40}, false, kCurveLineCircle, 0});
  p.curves.push_back({"X", {-5, 5, 0, 1}, true, kCurveLine, 0});
  p.title_y1 = "nm";
  p.notes[3] = "Bleach rate=0.1 s-1";
  std::vector<float> matrix;
  GraphModel g;
  PutPlot(p, AxisScaling::kFromZero, matrix, g);
  EXPECT_EQ(g.Data.CurveCount, 2);
  EXPECT_LT(g.Data.Value(1, 1), kCircleGapValue);  // NaN is a gap, never a value
  EXPECT_TRUE(g.Curves[2].Y1);
  EXPECT_EQ(g.TitleY1, "nm");
  EXPECT_EQ(g.Notes[3], "Bleach rate=0.1 s-1");
  EXPECT_EQ(g.Y0.First, 0.0);  // from 0: the intensities are not negative
  EXPECT_GE(g.Y0.Last, 40.0);
  EXPECT_LE(g.Y1.First, -5.0);
  // Ends on whole ticks.
  EXPECT_EQ(std::fmod(g.Y0.Last, g.Y0.Tick), 0.0);
  // Positions far from the corner: that axis spans the path, the other still starts at 0.
  AreaPlot path = p;
  path.curves[1].y = {11200, 11400, 11300, 11250};
  path.y_over_data[1] = true;
  PutPlot(path, AxisScaling::kFromZero, matrix, g);
  EXPECT_EQ(g.Y0.First, 0.0);
  EXPECT_GE(g.Y1.First, 11000.0);
  EXPECT_LE(g.Y1.First, 11200.0);
  // Automatic scaling off: the axes stay as the user set them.
  g.Y0.First = 7;
  g.Y0.Last = 9;
  PutPlot(p, AxisScaling::kKeep, matrix, g);
  EXPECT_EQ(g.Y0.First, 7.0);
  EXPECT_EQ(g.Y0.Last, 9.0);
}

TEST(AreaTrace, TrackGapsAreLeftOutAndPositionsAreFromTheCorner) {
  TrackSeries s;
  s.first_frame = 4;
  s.x_um = {1.0, NAN, 1.2};
  s.y_um = {2.0, NAN, 2.1};
  s.intensity = {50, NAN, 40};
  const AreaTrace t = TraceFromTrack(s, 0.5);
  ASSERT_EQ(t.Points(), 2);
  EXPECT_FLOAT_EQ(t.time[0], 2.0f);
  EXPECT_FLOAT_EQ(t.time[1], 3.0f);
  EXPECT_FLOAT_EQ(t.x_nm[1], 1200.0f);
  EXPECT_FLOAT_EQ(t.y_nm[1], 2100.0f);
  EXPECT_TRUE(t.spots.empty());
  EXPECT_EQ(TraceFromTrack(TrackSeries{}, 0.5).Points(), 0);
}

}  // namespace
}  // namespace lumetra
