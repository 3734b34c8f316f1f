// Linking for the dense detector: the assignment against every matching of
// small random problems, the tracks it makes where one-by-one linking cuts
// them (long steps, lost spots, crossings), and a lost spot through both
// passes and the track table.
#include "spots/global_linker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>

#include "common/random.h"
#include "common/report.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "spots/track_eval.h"
#include "spots/track_export.h"
#include "spots/track_series.h"
#include "spots/tracking_passes.h"
#include "spots/xki_file.h"
#include "tests/spots/test_frames.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

// Most pairs, then least cost, over every matching.
void BruteForce(const std::vector<double>& cost, int rows, int cols, int row, std::vector<int>& used,
                int pairs, double sum, int& best_pairs, double& best_sum) {
  if (row == rows) {
    if (pairs > best_pairs || (pairs == best_pairs && sum < best_sum - 1e-9)) {
      best_pairs = pairs;
      best_sum = sum;
    }
    return;
  }
  BruteForce(cost, rows, cols, row + 1, used, pairs, sum, best_pairs, best_sum);
  for (int c = 0; c < cols; ++c) {
    const double v = cost[static_cast<size_t>(row * cols + c)];
    if (v < 0 || used[static_cast<size_t>(c)]) continue;
    used[static_cast<size_t>(c)] = 1;
    BruteForce(cost, rows, cols, row + 1, used, pairs + 1, sum + v, best_pairs, best_sum);
    used[static_cast<size_t>(c)] = 0;
  }
}

TEST(GlobalLinker, AssignmentHasTheMostPairsThenTheLeastCost) {
  Rng rng(7);
  for (int trial = 0; trial < 300; ++trial) {
    const int rows = 1 + static_cast<int>(rng.Uniform() * 5);
    const int cols = 1 + static_cast<int>(rng.Uniform() * 6);
    std::vector<double> cost(static_cast<size_t>(rows * cols));
    for (double& c : cost) c = rng.Uniform() < 0.4 ? -1.0 : std::floor(rng.Uniform() * 30);
    const std::vector<int32_t> m = BestAssignment(cost, rows, cols);
    int pairs = 0;
    double sum = 0;
    std::vector<int> used(static_cast<size_t>(cols), 0);
    for (int r = 0; r < rows; ++r) {
      const int32_t c = m[static_cast<size_t>(r)];
      if (c < 0) continue;
      ASSERT_GE(cost[static_cast<size_t>(r * cols + c)], 0) << "a forbidden pair, trial " << trial;
      ASSERT_EQ(used[static_cast<size_t>(c)]++, 0) << "a column twice, trial " << trial;
      ++pairs;
      sum += cost[static_cast<size_t>(r * cols + c)];
    }
    int best_pairs = -1;
    double best_sum = 0;
    std::fill(used.begin(), used.end(), 0);
    BruteForce(cost, rows, cols, 0, used, 0, 0, best_pairs, best_sum);
    EXPECT_EQ(pairs, best_pairs) << "trial " << trial;
    EXPECT_NEAR(sum, best_sum, 1e-9) << "trial " << trial;
  }
}

// Frames of spots from paths: path[p](f) gives particle p's place in frame f,
// or nothing (x < 0) where it is not seen.
std::vector<std::vector<LinkSpot>> Frames(int frames,
                                          const std::vector<std::function<LinkSpot(int)>>& paths) {
  std::vector<std::vector<LinkSpot>> out(static_cast<size_t>(frames));
  for (int f = 0; f < frames; ++f)
    for (const auto& p : paths) {
      const LinkSpot s = p(f);
      if (s.x >= 0) out[static_cast<size_t>(f)].push_back(s);
    }
  return out;
}

TEST(GlobalLinker, LongStepsLostSpotsAndCrossingsKeepOneTrackEach) {
  GlobalLinkRules rules;
  rules.max_radius = 5;
  rules.min_track = 10;
  // One particle stepping 1 pixel a frame, with one step of 6.5 (over R)
  // at frame 8, and missing in frames 12-13 (two frames: closed) and 20-22
  // (three: cut).
  auto walker = [](int f) -> LinkSpot {
    if ((f >= 12 && f <= 13) || (f >= 20 && f <= 22)) return {-1, -1};
    return {static_cast<float>(30 + f + (f >= 8 ? 5.5 : 0)), 40.0f};
  };
  auto tracks = LinkGlobally(Frames(40, {walker}), rules);
  ASSERT_EQ(tracks.size(), 2u);
  EXPECT_EQ(tracks[0].first_frame, 0);
  EXPECT_EQ(tracks[0].LastFrame(), 19);
  EXPECT_EQ(tracks[0].spot[12], -1);
  EXPECT_EQ(tracks[0].spot[13], -1);
  EXPECT_EQ(tracks[0].spot[14], 0);
  EXPECT_EQ(tracks[1].first_frame, 23);
  EXPECT_EQ(tracks[1].LastFrame(), 39);

  // Two particles that cross 1 pixel apart: each keeps its own track, where
  // taking the nearest spot track by track would swap or cut them.
  auto right = [](int f) -> LinkSpot { return {static_cast<float>(20 + 1.5 * f), 50.0f}; };
  auto left = [](int f) -> LinkSpot { return {static_cast<float>(50 - 1.5 * f), 51.0f}; };
  tracks = LinkGlobally(Frames(30, {right, left}), rules);
  ASSERT_EQ(tracks.size(), 2u);
  for (const LinkedTrack& t : tracks) {
    EXPECT_EQ(t.first_frame, 0);
    EXPECT_EQ(t.LastFrame(), 29);
  }
  const std::vector<std::vector<LinkSpot>> frames = Frames(30, {right, left});
  for (const LinkedTrack& t : tracks) {
    const float dir = frames[29][static_cast<size_t>(t.spot[29])].x -
                      frames[0][static_cast<size_t>(t.spot[0])].x;
    EXPECT_GT(std::fabs(dir), 40.0f) << "a track turned back at the crossing";
  }

  // Length: a track needs more than L steps (frames 0-11 are 11).
  auto short_lived = [](int f) -> LinkSpot {
    return f < 12 ? LinkSpot{10.0f + 0.1f * f, 10.0f} : LinkSpot{-1, -1};
  };
  auto shorter = [](int f) -> LinkSpot {
    return f < 11 ? LinkSpot{80.0f, 10.0f} : LinkSpot{-1, -1};
  };
  tracks = LinkGlobally(Frames(20, {short_lived, shorter}), rules);
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_EQ(tracks[0].LastFrame(), 11);
  EXPECT_TRUE(LinkGlobally({}, rules).empty());
}

// A spot lost for one frame: one track through both passes, the frame
// without a point left out of the table, and the rest where the spot is.
TEST(GlobalLinker, ALostSpotLeavesAGapThroughBothPasses) {
  namespace fs = std::filesystem;
  const std::string path = (fs::temp_directory_path() / "global_linker_gap.xkv").string();
  lumetra::testing::XkvBuilder b;
  for (int f = 0; f < 16; ++f) {
    std::vector<lumetra::testing::TestSpot> spots;
    if (f != 6) spots.push_back({20.3 + 0.4 * f, 24.6, 300});
    b.Frame(lumetra::testing::TestHeader(48, 48, 12, f * 50),
            lumetra::testing::MakeFrame(48, 48, 100, spots, 250.0 / (100 * 2.355), 11 + f));
  }
  b.Save(path);
  CollectingReporter rep;
  auto record = RecordStore::Create(rep);
  ASSERT_TRUE(record->Open(path, rep));
  TrackingParams params;
  params.detector = SpotDetectorKind::kDense;
  TrackStore store;
  DetectPass detect(store, params, rep, 1);
  Playback(*record, {&detect}).Run(rep);
  LinkTracksPass link(store, params, rep, 1);
  Playback(*record, {&link}).Run(rep);
  std::vector<TrackPoint> points;
  std::string error;
  ASSERT_TRUE(ParseTrackTable(TidyTracksText(store, 100, 100, detect.QUsed()), points, error))
      << error;
  ASSERT_EQ(points.size(), 15u);
  for (const TrackPoint& p : points) {
    EXPECT_EQ(p.track, points[0].track);
    EXPECT_NE(p.frame, 6);
    EXPECT_NEAR(p.x, 20.3 + 0.4 * p.frame, 0.15) << "frame " << p.frame;
    EXPECT_NEAR(p.y, 24.6, 0.15) << "frame " << p.frame;
  }
  // The gap stays a gap through an XKI file (which holds point-count values
  // from the first frame, so the last point stays behind, as for any track).
  TrackStore back;
  ASSERT_EQ(DecodeXki(EncodeXki(store, {}), back, 16, false, rep), 1);
  const TrackSet set = TrackSetFromStore(back, 100, 100);
  ASSERT_EQ(set.tracks.size(), 1u);
  EXPECT_EQ(set.tracks[0].Points(), 14);
  EXPECT_FALSE(set.tracks[0].Has(static_cast<size_t>(6 - set.tracks[0].first_frame)));
  fs::remove(path);
}

}  // namespace
}  // namespace lumetra
