#include "area/area_session.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "area/area_messages.h"
#include "record/playback.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

// A 16 x 12 record whose pixels 4..7 x 3..6 fade from 200 counts; the rest stays at 10.
std::string FadingRecord(int frames, bool stage) {
  const std::string path =
      (std::filesystem::temp_directory_path() / ("area_fade_" + std::to_string(frames) + ".xkv"))
          .string();
  testing::XkvBuilder b;
  for (int f = 0; f < frames; ++f) {
    PRM_INFO p = testing::TestHeader(16, 12, 8, f * 100);
    p.ScaleX = p.ScaleY = 100.0f;
    std::vector<uint16_t> px(16 * 12, 10);
    const uint16_t v = static_cast<uint16_t>(10 + 190 * std::exp(-0.5 * f * 0.1));
    for (int y = 3; y < 7; ++y)
      for (int x = 4 + (f % 2); x < 8 + (f % 2); ++x) px[y * 16 + x] = v;
    ADD_INFO add;
    add.StageX = 1000 + f;
    add.Focus = 50;
    b.Frame(p, px, stage ? &add : nullptr);
  }
  b.Save(path);
  return path;
}

AreaTrace Collect(AreaSession& s, const std::string& path, Region r, CollectingReporter& rep,
                  std::optional<Region> reference = std::nullopt) {
  auto store = RecordStore::Create(rep);
  EXPECT_TRUE(store->Open(path, rep));
  AreaCollectPass* pass = s.BeginCollect(r, store->Width(), store->Height(), reference,
                                         TrackingParams{}, "test");
  if (!pass) return {};
  Playback play(*store, {pass});
  const int32_t n = play.Run(rep);
  s.FinishCollect(play.Completed(), n);
  return s.Trace();
}

TEST(AreaSession, CollectsEveryCurveOfTheRegion) {
  CollectingReporter rep;
  AreaSession s(rep);
  const AreaTrace t = Collect(s, FadingRecord(30, true), Region{3, 2, 9, 8, true}, rep);
  ASSERT_EQ(t.Points(), 30);
  EXPECT_FLOAT_EQ(t.time[3], 0.3f);
  // 16 bright pixels of 36; the ring around stays at 10 counts.
  EXPECT_NEAR(t.intensity[0], (16 * 200.0 + 20 * 10.0) / 36.0, 1e-3);
  EXPECT_NEAR(t.above[0], t.intensity[0] - 10.0f, 1e-3);
  // Weighted centre: pixels 4..7 (then 5..8) at 100 nm a pixel.
  EXPECT_NEAR(t.x_nm[0], 550.0f, 1e-2);
  EXPECT_NEAR(t.x_nm[1], 650.0f, 1e-2);
  EXPECT_NEAR(t.y_nm[0], 450.0f, 1e-2);
  ASSERT_EQ(t.spots.size(), 30u);
  ASSERT_EQ(t.stage_x.size(), 30u);
  EXPECT_EQ(t.stage_x[4], 1004.0f);
  EXPECT_EQ(t.stage_z[4], 50.0f);

  EXPECT_TRUE(s.FitBleachingClick());
  EXPECT_EQ(s.ResultText().rfind("Bleach rate=", 0), 0u);
  // The XY view, stepping by 100 nm every frame: the MSD and diffusion read-outs.
  EXPECT_TRUE(s.MSDver_dTClick());
  EXPECT_EQ(s.ResultText().rfind("Fitted Dlat=", 0), 0u);
  const AreaPlot msd = s.Plot();
  EXPECT_EQ(msd.title_x, "dT (s)");
  EXPECT_EQ(msd.title_y0, "MSD (um2)");
  EXPECT_TRUE(s.CalcKdiffClick());
  // One step of 0.1 um in 0.1 s: D = 0.01 / (4 x 0.1).
  EXPECT_EQ(s.ResultText().rfind("Dlat=0.02", 0), 0u);
  EXPECT_EQ(s.ResultText().substr(s.ResultText().size() - 6), " um2/s");

  const std::string table = s.TableText();
  EXPECT_EQ(table.substr(0, table.find('\n')),
            "time_s\tintensity\tabove_background\tx_nm\ty_nm\tspots\tstage_x_nm\tstage_y_nm\t"
            "stage_z_nm\tfit");
  EXPECT_TRUE(s.CutTrackClick("3-10"));
  EXPECT_EQ(s.Trace().Points(), 8);
  EXPECT_FLOAT_EQ(s.Trace().time[0], 0.2f);
  EXPECT_FALSE(s.CutTrackClick("0-4"));
  EXPECT_FALSE(s.CutTrackClick("5-99"));
}

TEST(AreaSession, RecoverySetsTheLeftAxisAndRefusesNonsense) {
  CollectingReporter rep;
  AreaSession s(rep);
  AreaTrace t;
  for (int i = 0; i < 40; ++i) {
    t.time.push_back(i * 1.0f);
    const float v = i < 5 ? 400.0f : 200.0f + 100.0f * (1.0f - std::exp(-(i - 5) / 6.0f));
    t.intensity.push_back(v);
    t.above.push_back(v);
    t.x_nm.push_back(0);
    t.y_nm.push_back(0);
  }
  // Uneven timing: the MSD and diffusion commands refuse.
  t.time[20] += 0.5f;
  s.SetTrace(t, AreaSource::kRegion, "r");
  EXPECT_FALSE(s.MSDver_dTClick());
  EXPECT_FALSE(s.CalcKdiffClick());
  EXPECT_TRUE(rep.Contains("Timing out of Boundaries"));
  EXPECT_TRUE(rep.Contains("Wrong Timing"));
  t.time[20] -= 0.5f;
  s.SetTrace(t, AreaSource::kRegion, "r");

  EXPECT_TRUE(s.FitRecoveryClick());
  EXPECT_EQ(s.ResultText().rfind("Tau=", 0), 0u);
  EXPECT_FLOAT_EQ(s.Intensity()[5], 100.0f);
  std::vector<float> matrix;
  GraphModel g;
  PutPlot(s.Plot(), AxisScaling::kFromZero, matrix, g);
  EXPECT_EQ(g.Y0.First, 90.0);
  EXPECT_EQ(g.Y0.Last, 200.0);
  EXPECT_EQ(g.Y0.Tick, 10.0);
  EXPECT_EQ(g.Notes[3], s.ResultText());
  EXPECT_TRUE(g.Curves[2].Show);  // the fit through the data

  // No data at all, and no positions: the commands say so and change nothing.
  AreaSession empty(rep);
  rep.Clear();
  EXPECT_FALSE(empty.FitBleachingClick());
  EXPECT_FALSE(empty.MSDver_dTClick());
  EXPECT_FALSE(empty.UseTrack(TrackSeries{}, 0.1, AreaSource::kTrack, "t"));
  EXPECT_TRUE(rep.Contains(kNoTrack));
}

TEST(AreaSession, AwkwardRegionsAndShortRecords) {
  CollectingReporter rep;
  AreaSession s(rep);
  const std::string two = FadingRecord(2, false);
  // One pixel.
  AreaTrace t = Collect(s, two, Region{5, 4, 6, 5, true}, rep);
  ASSERT_EQ(t.Points(), 2);
  EXPECT_FLOAT_EQ(t.intensity[0], 200.0f);
  EXPECT_TRUE(t.stage_x.empty());
  EXPECT_TRUE(s.FitBleachingClick());
  EXPECT_FALSE(s.FitSpotsCurveClick());
  EXPECT_TRUE(rep.Contains(kTooFewPointsSpots));
  EXPECT_FALSE(s.Show(AreaView::kStage));
  // Partly off the frame: measured inside, with a warning.
  rep.Clear();
  t = Collect(s, two, Region{10, 8, 30, 30, true}, rep);
  EXPECT_EQ(t.Points(), 2);
  EXPECT_FLOAT_EQ(t.intensity[0], 10.0f);
  EXPECT_TRUE(rep.Contains(kRegionClipped));
  // Wholly off the frame, or none drawn.
  rep.Clear();
  EXPECT_EQ(Collect(s, two, Region{40, 40, 50, 50, true}, rep).Points(), 0);
  EXPECT_TRUE(rep.Contains(kRegionOutside));
  EXPECT_EQ(Collect(s, two, Region{}, rep).Points(), 0);
  EXPECT_TRUE(rep.Contains(kNoRegion));
  // One frame.
  rep.Clear();
  t = Collect(s, FadingRecord(1, false), Region{3, 2, 9, 8, true}, rep);
  EXPECT_EQ(t.Points(), 1);
  EXPECT_TRUE(s.FitBleachingClick());
  EXPECT_TRUE(s.FitRecoveryClick());
  EXPECT_FALSE(s.MSDver_dTClick());
  EXPECT_FALSE(s.FirstDerivativeClick());
}

TEST(AreaSession, SmoothingKeepsLengthAndSkipsGaps) {
  CollectingReporter rep;
  AreaSession s(rep);
  AreaTrace t;
  for (int i = 0; i < 9; ++i) {
    t.time.push_back(static_cast<float>(i));
    t.intensity.push_back(i == 4 ? 100.0f : static_cast<float>(i));
    t.above.push_back(i == 2 ? NAN : 1.0f);
    t.x_nm.push_back(0);
    t.y_nm.push_back(0);
  }
  s.SetTrace(t, AreaSource::kRegion, "r");
  ASSERT_TRUE(s.Smooth(Smoothing::kMed3));
  EXPECT_EQ(s.Trace().intensity[4], 5.0f);  // the spike goes
  EXPECT_EQ(s.Trace().intensity[0], 0.5f);  // two points at the end
  EXPECT_EQ(s.Trace().above[2], 1.0f);
  ASSERT_TRUE(s.Smooth(Smoothing::kDemp5));
  EXPECT_EQ(s.Trace().intensity.size(), 9u);
}

}  // namespace
}  // namespace lumetra
