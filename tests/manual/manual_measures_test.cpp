// Marking, speeds, distances and the tables of the manual tracking window,
// and its files in the track statistics.
#include "manual/manual_measures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "cli/cli_common.h"
#include "manual/manual_marking.h"
#include "manual/manual_xki.h"
#include "tests/support/cli_capture.h"

namespace lumetra {
namespace {

// Object 1 walks 3-4-5 steps (500 nm a frame), object 2 stands still; 0.1 s frames.
ManualTracks Walk(int32_t frames, std::vector<float>& times) {
  ManualTracks t;
  t.Reset(frames, 100, 100);
  times.clear();
  for (int32_t f = 0; f < frames; ++f) {
    times.push_back(0.1f * f);
    t.Mark(0, f, 1000.0f + 300.0f * f, 2000.0f + 400.0f * f, 10.0f);
    t.Mark(1, f, 1000.0f, 2000.0f, 0.0f);
  }
  return t;
}

TEST(ManualMarking, ClicksSetCorrectAndRemovePoints) {
  ManualTracks t;
  t.Reset(5, 100, 100);
  EXPECT_EQ(t.Mark(0, 1, 50, 50, 3), MarkResult::kSet);
  EXPECT_EQ(t.Mark(0, 1, 60, 50, 3), MarkResult::kCorrected);
  EXPECT_EQ(t.Object(0).x[1], 60.0f);
  EXPECT_EQ(t.Mark(0, 5, 60, 50, 3), MarkResult::kRefused);  // beyond the record
  EXPECT_EQ(t.Mark(0, 2, 0, 50, 3), MarkResult::kRefused);   // X = 0 would read as no point
  EXPECT_TRUE(t.unsaved);
  EXPECT_TRUE(t.RemovePoint(0, 1));
  EXPECT_FALSE(t.RemovePoint(0, 1));
  EXPECT_EQ(t.UsedCount(), 0);
  t.PreviousObject();
  EXPECT_EQ(t.Current(), kManualObjects - 1);
  t.NextObject();
  EXPECT_EQ(t.Current(), 0);
  EXPECT_EQ(MarkStatus(2, 4, 5, MarkResult::kCorrected),
            "object 3, frame 4 of 5: point corrected (last frame)");
}

TEST(ManualMarking, SnapFindsTheSpotCentreTheClickMissed) {
  constexpr int32_t w = 40, h = 30;
  constexpr double cx = 20.3, cy = 15.7, sigma = 1.2;
  std::vector<uint16_t> frame(static_cast<size_t>(w) * h);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      frame[static_cast<size_t>(y) * w + x] =
          static_cast<uint16_t>(100 + 2000 * std::exp(-((x - cx) * (x - cx) + (y - cy) * (y - cy)) /
                                                      (2 * sigma * sigma)));
  const double fwhm = sigma * 2.3548200450309493 * 100;
  const auto plain = PointFromClick(frame.data(), w, h, 21, 15, 100, 100, false, fwhm);
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->x_nm, 2150.0f);  // the pixel's centre
  EXPECT_EQ(plain->y_nm, 1550.0f);
  EXPECT_EQ(plain->value, frame[15 * w + 21]);
  const auto snapped = PointFromClick(frame.data(), w, h, 21, 15, 100, 100, true, fwhm);
  ASSERT_TRUE(snapped);
  EXPECT_TRUE(snapped->fitted);
  EXPECT_NEAR(snapped->x_nm, (cx + 0.5) * 100, 5);
  EXPECT_NEAR(snapped->y_nm, (cy + 0.5) * 100, 5);
  EXPECT_FALSE(PointFromClick(frame.data(), w, h, w, 0, 100, 100, true, fwhm));
}

TEST(ManualMeasures, SpeedsDistancesAndSummaries) {
  std::vector<float> times;
  ManualTracks t = Walk(6, times);
  t.RemovePoint(0, 3);
  const std::vector<double> v = SpeedSeries(t, 0, times);
  EXPECT_TRUE(std::isnan(v[0]));
  EXPECT_NEAR(v[1], 5.0, 1e-4);  // 0.5 um in 0.1 s
  EXPECT_TRUE(std::isnan(v[3]));
  EXPECT_TRUE(std::isnan(v[4]));  // no point in the frame before
  EXPECT_NEAR(v[5], 5.0, 1e-4);
  const std::vector<double> d = DistanceSeries(t, 0, 1);
  EXPECT_NEAR(d[2], 1.0, 1e-6);
  EXPECT_TRUE(std::isnan(d[3]));
  const std::vector<ObjectSummary> s = SummariseObjects(t, times);
  ASSERT_EQ(s.size(), 2u);
  EXPECT_EQ(s[0].points, 5);
  EXPECT_EQ(s[0].last_frame, 5);
  EXPECT_NEAR(s[0].path_um, 1.5, 1e-6);  // three steps across no gap
  EXPECT_NEAR(s[0].net_um, 2.5, 1e-6);
  EXPECT_NEAR(s[0].mean_speed, 5.0, 1e-4);
  EXPECT_EQ(s[1].path_um, 0);

  const std::vector<ObjectPoint> pts = ObjectPoints(t, 0, times);
  ASSERT_EQ(pts.size(), 5u);
  EXPECT_EQ(pts[3].frame, 4);
  EXPECT_NEAR(pts[3].x_px, 21.5, 1e-4);  // 2200 nm on 100 nm pixels
  EXPECT_EQ(pts[3].nearest, 1);
  EXPECT_NEAR(pts[3].nearest_um, 2.0, 1e-6);
  EXPECT_TRUE(std::isnan(pts[3].speed));  // no point in frame 3
  EXPECT_EQ(ObjectPoints(t, 1, times)[3].speed, 0.0);

  const ManualGraph g = BuildManualGraph(t, times, ManualGraphKind::kDistances);
  ASSERT_EQ(g.curves, 1);
  EXPECT_EQ(g.objects[0], 1);
  EXPECT_FLOAT_EQ(g.matrix[5], 0.5f);  // time row
  EXPECT_EQ(g.matrix[6 + 3], kGraphGap);
  EXPECT_FLOAT_EQ(g.matrix[6 + 2], 1.0f);
}

TEST(ManualMeasures, TablesAreTidyAndTheStatisticsReadThem) {
  std::vector<float> times;
  ManualTracks t = Walk(12, times);
  const std::string table = ManualTracksTable(t, times);
  EXPECT_EQ(table.substr(0, table.find('\n') + 1),
            "track\tframe\ttime_s\tx_px\ty_px\tintensity\tx_um\ty_um\tspeed_um_s\n");
  EXPECT_NE(table.find("\n1\t0\t0\t9.5000\t19.5000\t10\t1.00000\t2.00000\tnan\n"),
            std::string::npos);
  EXPECT_NE(table.find("\n1\t1\t0.1\t12.5000\t23.5000\t10\t1.30000\t2.40000\t5\n"),
            std::string::npos);
  const std::string dist = ManualDistancesTable(t, times);
  EXPECT_NE(dist.find("\n2\t0.2\t1\t2\t1.00000\n"), std::string::npos);

  const auto dir = std::filesystem::temp_directory_path();
  const std::string xki = (dir / "manual_stats.xki").string(),
                    tsv = (dir / "manual_stats.tsv").string();
  CollectingReporter r;
  ASSERT_TRUE(WriteManualXki(xki, t, r));
  std::ofstream(tsv) << table;
  for (const std::string& file : {xki, tsv}) {
    SCOPED_TRACE(file);
    const auto run =
        testing::Call(cli::RunStats, {file, "--frame-s", "0.1", "--nm-per-pixel", "100"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.out.find("D="), std::string::npos) << run.out;
  }
  std::filesystem::remove(xki);
  std::filesystem::remove(tsv);
}

}  // namespace
}  // namespace lumetra
