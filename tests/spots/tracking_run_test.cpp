// The whole chain on a small simulated record: Detect and Link Tracks driven
// by playback, the XKI file and the tidy table, scored against the truth; and
// the track and eval commands.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "cli/cli_common.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "record/simulator.h"
#include "spots/spots_messages.h"
#include "spots/track_eval.h"
#include "spots/track_export.h"
#include "spots/tracking_passes.h"
#include "spots/xki_file.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

class TrackingRun : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("lumetra_spots_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
            "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
    SimulationParams p;
    p.width = p.height = 128;
    p.frames = 20;
    p.spots = 6;
    p.seed = 3;
    record_ = (dir_ / "sim.xkv").string();
    CollectingReporter rep;
    ASSERT_TRUE(SimulateRecord(p, record_, rep));
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Both passes; returns the tidy table.
  std::string Track(int workers, std::vector<uint8_t>* xki) {
    CollectingReporter rep;
    auto store = RecordStore::Create(rep);
    EXPECT_TRUE(store && store->Open(record_, rep));
    auto tracks = std::make_unique<TrackStore>();
    TrackingParams params;
    DetectPass detect(*tracks, params, rep, workers);
    EXPECT_EQ(Playback(*store, {&detect}).Run(rep), 20);
    EXPECT_NE(detect.EndReadOut().find(" completed tracks"), std::string::npos);
    LinkTracksPass link(*tracks, params, rep, workers);
    Playback(*store, {&link}).Run(rep);
    EXPECT_NE(link.EndReadOut().find(" - truncated)"), std::string::npos);
    if (xki) *xki = EncodeXki(*tracks, {});
    return TidyTracksText(*tracks, 100, 100);
  }

  fs::path dir_;
  std::string record_;
};

TEST_F(TrackingRun, TracksMatchTheTruth) {
  std::vector<uint8_t> one, two;
  const std::string table = Track(1, &one);
  EXPECT_EQ(Track(2, &two), table);  // the same on one core and on two
  EXPECT_EQ(one, two);
  std::vector<TrackPoint> points;
  std::vector<TruthPoint> truth;
  std::string error;
  ASSERT_TRUE(ParseTrackTable(table, points, error)) << error;
  ASSERT_TRUE(ParseTruthTable(ReadAll(TruthPathFor(record_)), truth, error)) << error;
  const EvalResult r = EvaluateTracks(points, truth);
  EXPECT_GE(r.Recall(), 0.9);
  EXPECT_GE(r.Precision(), 0.99);
  EXPECT_GE(r.LinkFraction(), 0.9);
  EXPECT_LT(r.RmsePerAxisPx() * 100, 1.5 * MortensenLimitNm(2000, 104, 250, 100));
}

// Every point the views draw and the exports write lies near the whole-pixel
// position Detect linked, while the second pass runs and after it: refined
// frames are um and the rest pixels, and a stopped pass leaves only the
// refined frames in the tracks.
TEST_F(TrackingRun, PointsStayOnTheTrackDuringAndAfterTheSecondPass) {
  for (const int32_t stop_after : {-1, 15}) {
    SCOPED_TRACE(stop_after);
    CollectingReporter rep;
    auto record = RecordStore::Create(rep);
    ASSERT_TRUE(record && record->Open(record_, rep));
    auto tracks = std::make_unique<TrackStore>();
    TrackingParams params;
    DetectPass detect(*tracks, params, rep, 1);
    Playback(*record, {&detect}).Run(rep);
    ASSERT_GE(tracks->completed_count, 3);
    std::vector<std::vector<std::pair<double, double>>> linked(
        static_cast<size_t>(tracks->track_count));
    for (int32_t t = 0; t < tracks->track_count; ++t)
      for (int32_t f = 0; f < tracks->Frames(); ++f) {
        double x = -1, y = -1;
        TrackPointAt(*tracks, t, f, 100, 100, x, y);
        linked[static_cast<size_t>(t)].emplace_back(x, y);
      }
    auto check_points = [&](const char* when) {
      SCOPED_TRACE(when);
      int32_t points = 0;
      for (int32_t t = 0; t < tracks->track_count; ++t)
        for (int32_t f = 0; f < tracks->Frames(); ++f) {
          double x, y;
          if (!TrackPointAt(*tracks, t, f, 100, 100, x, y)) continue;
          const auto [lx, ly] = linked[static_cast<size_t>(t)][static_cast<size_t>(f)];
          ASSERT_GE(lx, 0) << "track " << t << " frame " << f << " had no point";
          ASSERT_NEAR(x, lx, 2.0) << "track " << t << " frame " << f;
          ASSERT_NEAR(y, ly, 2.0) << "track " << t << " frame " << f;
          ++points;
        }
      EXPECT_GT(points, 0);
    };
    std::atomic<bool> stop{false};
    LinkTracksPass link(*tracks, params, rep, 1);
    Playback play(*record, {&link}, &stop);
    ASSERT_TRUE(play.Begin(rep));
    do {
      check_points("while the pass runs");
      if (play.FramesPlayed() == stop_after) stop = true;
    } while (play.Step(rep));
    play.Finish();
    EXPECT_TRUE(tracks->refined);
    check_points("after the pass");
    int32_t completed = 0;
    for (int32_t t = 0; t < tracks->track_count; ++t) {
      const TrackRec& r = tracks->Slot(t);
      if (!r.completed) continue;
      ++completed;
      EXPECT_GT(r.point_count, params.min_track);
      if (stop_after > 0) {
        EXPECT_LE(r.first_frame + r.point_count, stop_after - 1);
      }
    }
    EXPECT_EQ(completed, tracks->completed_count);
    if (stop_after > 0) {
      EXPECT_GT(tracks->truncated, 0);
    }
  }
}

TEST(TrackEval, MatchingIsOneToOneAndLinksNeedOneTrack) {
  // Particle 0 is found in frames 0-2 by track 7, then by track 8 in frame 3;
  // particle 1 in frame 0 only, by a point 1.5 pixels off (no match).
  std::vector<TruthPoint> truth = {{0, 0, 10, 10, 100}, {1, 0, 11, 10, 100}, {2, 0, 12, 10, 100},
                                   {3, 0, 13, 10, 100}, {0, 1, 30, 30, 100}, {1, 1, 30, 30, 0}};
  std::vector<TrackPoint> points = {{7, 0, 10.1, 10}, {7, 1, 11, 10.2}, {7, 2, 12, 10},
                                    {8, 3, 13, 10},   {9, 3, 13.1, 10}, {5, 0, 31.5, 30}};
  const EvalResult r = EvaluateTracks(points, truth);
  EXPECT_EQ(r.truth_points, 5);
  EXPECT_EQ(r.matched, 4);
  EXPECT_EQ(r.track_points, 6);
  EXPECT_EQ(r.true_links, 3);
  EXPECT_EQ(r.reproduced_links, 2);
  EXPECT_NEAR(r.RmsePerAxisPx(), std::sqrt((0.01 + 0.04) / 8), 1e-12);
  std::string error;
  std::vector<TrackPoint> parsed;
  EXPECT_FALSE(ParseTrackTable("track\tframe\tx_px\n1\t2\t3\n", parsed, error));
  EXPECT_FALSE(ParseTrackTable("track\tframe\tx_px\ty_px\n1\t2\tx\t4\n", parsed, error));
  EXPECT_TRUE(std::isnan(r.ErrorOverBound()));  // a table without bounds

  // The bounds: "nan" where a point has none; errors over bound at 100 nm a
  // pixel are 1 (x) and 3 (y) for one point, 0.5 and 0.5 for the other.
  ASSERT_TRUE(ParseTrackTable("track\tframe\tx_px\ty_px\tsigma_x_nm\tsigma_y_nm\n"
                              "7\t0\t10.1\t10\t10\tnan\n"
                              "7\t1\t11.1\t10.3\t10\t10\n"
                              "7\t2\t12.1\t10.1\t20\t20\n",
                              parsed, error))
      << error;
  ASSERT_EQ(parsed.size(), 3u);
  EXPECT_TRUE(std::isnan(parsed[0].sigma_y_nm));
  const EvalResult b = EvaluateTracks(parsed, truth, 1.0, 100.0);
  EXPECT_EQ(b.matched, 3);
  EXPECT_EQ(b.bounded, 2);
  EXPECT_NEAR(b.BoundPerAxisNm(), std::sqrt((100 + 100 + 400 + 400) / 4.0), 1e-9);
  EXPECT_NEAR(b.ErrorOverBound(), std::sqrt((1 + 9 + 0.25 + 0.25) / 4.0), 1e-9);
  EXPECT_DOUBLE_EQ(b.Within95(), 0.75);
  // A word where a bound belongs is still an error.
  EXPECT_FALSE(ParseTrackTable("track\tframe\tx_px\ty_px\tsigma_x_nm\n1\t2\t3\t4\tabc\n",
                               parsed, error));
}

TEST_F(TrackingRun, TrackAndEvalCommands) {
  const std::string xki = (dir_ / "t.xki").string(), tsv = (dir_ / "t.tsv").string();
  ::testing::internal::CaptureStdout();
  const int code = cli::RunTrack({record_, "--out", xki, "--tsv", tsv});
  const std::string out = ::testing::internal::GetCapturedStdout();
  ASSERT_EQ(code, 0);
  EXPECT_NE(out.find(" objects ("), std::string::npos);
  EXPECT_NE(out.find(" - too big radius,"), std::string::npos);
  EXPECT_NE(out.find("tracks: "), std::string::npos);
  EXPECT_EQ(ReadAll(tsv).rfind(
                "track\tframe\ttime_s\tx_px\ty_px\tintensity\tsigma_x_nm\tsigma_y_nm\tq\n", 0),
            0u);
  EXPECT_GT(fs::file_size(xki), 0u);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(cli::RunEval({tsv, TruthPathFor(record_)}), 0);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("RMSE / limit: "), std::string::npos);
  // The settings file's Q of 999 finds nothing; --q given after it wins.
  const std::string ini = (dir_ / "t.ini").string();
  std::ofstream(ini) << "Q_threshold 999\nMinTrackLength 5\n";
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(cli::RunTrack({record_, "--out", xki, "--ini", ini}), 0);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("tracks: 0\n"), std::string::npos);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(cli::RunTrack({record_, "--out", xki, "--ini", ini, "--q", "8"}), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout().find("tracks: 0\n"), std::string::npos);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(cli::RunTrack({record_, "--out", xki, "--ini", (dir_ / "none.ini").string()}), 2);
  EXPECT_EQ(cli::RunTrack({record_, "--out", xki, "--q", "1"}), 2);
  EXPECT_EQ(cli::RunTrack({record_}), 2);
  EXPECT_EQ(cli::RunEval({tsv, (dir_ / "missing.tsv").string()}), 1);
  ::testing::internal::GetCapturedStderr();
}

TEST_F(TrackingRun, StatisticsExportsOfTheTrackCommand) {
  const std::string xki = (dir_ / "t.xki").string();
  const std::string map = (dir_ / "map.txt").string(), vel = (dir_ / "v.txt").string();
  const std::string dist = (dir_ / "dist.txt").string(), ints = (dir_ / "int.txt").string();
  const std::string dlat = (dir_ / "dlat.txt").string();
  ::testing::internal::CaptureStdout();
  ASSERT_EQ(cli::RunTrack({record_, "--out", xki, "--spot-map", map, "--velocity", vel, "--dlat",
                           dlat, "--distributions", dist, "--intensities", ints}),
            0);
  const std::string out = ::testing::internal::GetCapturedStdout();
  // The last frame's read-out ends with the map count.
  const size_t tail = out.find(" Spots in Map)\n");
  ASSERT_NE(tail, std::string::npos);
  const std::string map_text = ReadAll(map);
  const size_t rows = static_cast<size_t>(std::count(map_text.begin(), map_text.end(), '\n')) - 1;
  const size_t count_at = out.find_last_not_of("0123456789", tail - 1) + 1;
  EXPECT_EQ(out.substr(count_at, tail - count_at), std::to_string(rows));
  EXPECT_EQ(map_text.rfind("FrNum\tInt(c/pix)\tX(um)\tY(um)\n0\t", 0), 0u);
  // Every spot of the map is in the intensity distribution of the record.
  std::istringstream in(ReadAll(ints));
  std::string header;
  std::getline(in, header);
  EXPECT_EQ(header, "Intensity_Distribution");
  double centre, count, total = 0;
  while (in >> centre >> count) total += count;
  EXPECT_EQ(total, static_cast<double>(rows));
  // The simulated particles diffuse at 0.1 um^2/s.
  std::istringstream d(ReadAll(dlat));
  std::getline(d, header);
  EXPECT_EQ(header, "DistanceToEdge\tMobility(Dlat(um2/s)");
  double edge, mobility, sum = 0;
  int tracks = 0;
  while (d >> edge >> mobility) {
    EXPECT_GE(edge, 0.5);  // spots lie at least 5 pixels inside the frame
    sum += mobility;
    ++tracks;
  }
  ASSERT_GT(tracks, 3);
  EXPECT_NEAR(sum / tracks, 0.1, 0.04);
  EXPECT_EQ(ReadAll(vel).rfind("Velocity(um/s)\tTrack_Length\n", 0), 0u);
  EXPECT_NE(ReadAll(dist).find("\n\nDistance/Dlat/velocity_Distributoin\n"), std::string::npos);
}

TEST_F(TrackingRun, TooSmallFramesAreSaidOnceAndStayOnTheStatusLine) {
  const std::string tiny = (dir_ / "tiny.xkv").string();
  lumetra::testing::XkvBuilder b;
  for (int32_t f = 0; f < 3; ++f) b.Flat(lumetra::testing::TestHeader(12, 40, 8, 50 * f), 100);
  b.Save(tiny);
  CollectingReporter rep;
  for (bool filaments : {false, true}) {
    SCOPED_TRACE(filaments);
    rep.Clear();
    auto store = RecordStore::Create(rep);
    ASSERT_TRUE(store && store->Open(tiny, rep));
    auto tracks = std::make_unique<TrackStore>();
    TrackingParams params;
    params.track_filaments = filaments;
    DetectPass detect(*tracks, params, rep, 1);
    Playback(*store, {&detect}).Run(rep);
    const std::string_view text = filaments ? kAreaTooSmallFilaments : kAreaTooSmall;
    EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{std::string(text)});
    // No frame read-out replaces the message on the status line.
    EXPECT_EQ(detect.FrameReadOut(), "");
    const auto status = rep.Texts(MessageKind::kStatus);
    EXPECT_EQ(status, std::vector<std::string>{"0 completed tracks"});
  }
  // The command says it once and fails: there is nothing to track.
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(cli::RunTrack({tiny, "--out", (dir_ / "t.xki").string(), "--filaments"}), 1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), std::string(kAreaTooSmallFilaments) + "\n");
}

}  // namespace
}  // namespace lumetra
