// Drift through the whole chain: a simulated record whose field drifts is
// tracked, the drift estimated from the tracks (as the window holds them and
// as the track table gives them back) is the simulated one on both axes, and
// the record shifted back by it tracks again without drift. The shift of a
// single frame: whole pixels move exactly, fractions interpolate, and the
// uncovered border takes the frame's mean.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <numeric>
#include <vector>

#include "common/line_reader.h"
#include "processing/shift_export.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "record/simulator.h"
#include "spots/drift.h"
#include "spots/track_export.h"
#include "spots/track_series.h"
#include "spots/tracking_passes.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

// Both passes over a record; the drift of its tracks (nm per frame) read
// through the window's track set and through the tidy table.
struct TrackedDrift {
  double window_x = 0, window_y = 0, table_x = 0, table_y = 0;
  int32_t tracks = 0;
  DriftCurve curve;  // the window's
};
TrackedDrift TrackAndEstimate(const std::string& path) {
  TrackedDrift out;
  CollectingReporter rep;
  auto record = RecordStore::Create(rep);
  EXPECT_TRUE(record && record->Open(path, rep));
  auto store = std::make_unique<TrackStore>();
  TrackingParams params;
  DetectPass detect(*store, params, rep, 2);
  Playback(*record, {&detect}).Run(rep);
  LinkTracksPass link(*store, params, rep, 2);
  Playback(*record, {&link}).Run(rep);
  const TrackSet window = TrackSetFromStore(*store, 100, 100);
  out.tracks = static_cast<int32_t>(window.tracks.size());
  out.curve = EstimateDrift(window);
  out.window_x = out.curve.rate_x_um * 1000;
  out.window_y = out.curve.rate_y_um * 1000;
  const std::string text = TidyTracksText(*store, 100, 100);
  TextLines lines(text);
  std::vector<TidyPoint> points;
  std::string error;
  TrackSet table;
  EXPECT_TRUE(ParseTidyTracks(lines, points, error)) << error;
  EXPECT_TRUE(TrackSetFromTidy(points, 100, table, error)) << error;
  const DriftCurve b = EstimateDrift(table);
  out.table_x = b.rate_x_um * 1000;
  out.table_y = b.rate_y_um * 1000;
  return out;
}

class DriftRecord : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("lumetra_drift_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path dir_;
};

// Slow diffusion and many particles keep the estimate's own scatter (the
// particles' steps averaged over all of them) near 0.15 nm per frame, well
// inside the 0.5 asked of it; drift of opposite signs on the two axes shows
// a flipped or swapped axis.
TEST_F(DriftRecord, SimulatedDriftComesBackThroughTheTrackerAndTheCorrectedRecordHasNone) {
  SimulationParams p;
  p.width = p.height = 256;
  p.frames = 300;
  p.spots = 100;
  p.diffusion = 0.01;
  p.frame_ms = 50;
  p.drift_x_nm = 5;
  p.drift_y_nm = -2.5;
  p.seed = 5;
  const std::string record = (dir_ / "drift.xkv").string();
  CollectingReporter rep;
  ASSERT_TRUE(SimulateRecord(p, record, rep));

  const TrackedDrift d = TrackAndEstimate(record);
  ASSERT_GE(d.tracks, 80);
  EXPECT_NEAR(d.window_x, 5, 0.5);
  EXPECT_NEAR(d.window_y, -2.5, 0.5);
  EXPECT_NEAR(d.table_x, 5, 0.5);
  EXPECT_NEAR(d.table_y, -2.5, 0.5);

  // The record shifted back by the drift the tracks show.
  auto store = RecordStore::Create(rep);
  ASSERT_TRUE(store && store->Open(record, rep));
  std::vector<double> dx, dy;
  DriftShiftsPx(d.curve, 100, 100, store->FrameCount(), dx, dy);
  ASSERT_EQ(dx.size(), 300u);
  const std::string corrected = (dir_ / "drift-driftcorr.xkv").string();
  ExportJob job{*store, rep, {}, {}, nullptr, {}};
  const ExportResult r = ExportShifted(job, corrected, dx, dy);
  ASSERT_TRUE(r.ok);
  EXPECT_EQ(r.frames_written, 300);
  EXPECT_FALSE(fs::exists(corrected + ".part"));
  const TrackedDrift c = TrackAndEstimate(corrected);
  ASSERT_GE(c.tracks, 80);
  EXPECT_NEAR(c.window_x, 0, 0.5);
  EXPECT_NEAR(c.window_y, 0, 0.5);

  // The record itself is refused as the output.
  CollectingReporter refused;
  ExportJob self{*store, refused, {}, {}, nullptr, {}};
  EXPECT_FALSE(ExportShifted(self, record, dx, dy).ok);
}

TEST(ShiftFrame, WholePixelsMoveExactlyFractionsInterpolateAndTheBorderTakesTheMean) {
  const int32_t w = 4, h = 3;
  std::vector<uint16_t> in(w * h);
  std::iota(in.begin(), in.end(), uint16_t{10});  // 10..21, mean 15.5 -> 16
  std::vector<uint16_t> out(in.size());
  // The field drifted by (+1, +1): output (x, y) shows input (x + 1, y + 1).
  ShiftFrameBilinear(in.data(), out.data(), w, h, 1, 1);
  EXPECT_EQ(out[0], in[1 * w + 1]);
  EXPECT_EQ(out[1 * w + 2], in[2 * w + 3]);
  EXPECT_EQ(out[3], 16);          // column 3 has no source
  EXPECT_EQ(out[2 * w + 0], 16);  // nor has row 2
  // A negative shift uncovers the other side.
  ShiftFrameBilinear(in.data(), out.data(), w, h, -2, 0);
  EXPECT_EQ(out[0], 16);
  EXPECT_EQ(out[1], 16);
  EXPECT_EQ(out[2], in[0]);
  // Half a pixel in x: the mean of the two neighbours (ramp 1 per column).
  ShiftFrameBilinear(in.data(), out.data(), w, h, 0.5, 0);
  EXPECT_EQ(out[0], 11);  // (10 + 11) / 2 = 10.5, rounded away from zero
  EXPECT_EQ(out[3], 16);
  // No shift: the frame itself.
  ShiftFrameBilinear(in.data(), out.data(), w, h, 0, 0);
  EXPECT_EQ(out, in);
}

}  // namespace
}  // namespace lumetra
