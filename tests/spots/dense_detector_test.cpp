// The dense field detector and the automatic Q: spots found and placed
// against the truth of synthetic frames, close pairs split, hostile frames,
// the same bits on one thread and two, and whole runs through the passes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "common/report.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "record/simulator.h"
#include "spots/auto_q.h"
#include "spots/dense_detector.h"
#include "spots/track_eval.h"
#include "spots/track_export.h"
#include "spots/tracking_passes.h"
#include "tests/spots/test_frames.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;
using testing::MakeFrame;
using testing::TestSpot;

constexpr double kSigma = 250.0 / (100 * 2.355);

// Nearest found spot to (x, y); its squared distance in `d2`.
const DenseSpot* Nearest(const DenseDetector& d, double x, double y, double& d2) {
  const DenseSpot* best = nullptr;
  d2 = INFINITY;
  for (const DenseSpot& s : d.Spots()) {
    const double e = (s.x - x) * (s.x - x) + (s.y - y) * (s.y - y);
    if (e < d2) {
      d2 = e;
      best = &s;
    }
  }
  return best;
}

TEST(DenseDetector, FindsAndPlacesSpotsAndSplitsClosePairs) {
  // Bright spots, one alone near each border and a pair 2 pixels apart.
  const std::vector<TestSpot> truth = {{40.3, 30.6, 150}, {1.4, 50.2, 150}, {90.7, 2.2, 150},
                                       {60.0, 70.0, 150}, {62.0, 70.4, 120}};
  const auto px = MakeFrame(100, 100, 100, truth, kSigma, 11);
  DenseDetector d(1);
  d.Detect(px.data(), 100, 100, kSigma);
  EXPECT_EQ(d.Spots().size(), truth.size());
  for (const TestSpot& t : truth) {
    SCOPED_TRACE(t.x);
    double d2;
    const DenseSpot* s = Nearest(d, t.x, t.y, d2);
    ASSERT_NE(s, nullptr);
    EXPECT_LT(std::sqrt(d2), 0.25);
    EXPECT_TRUE(s->fitted);
    // The bound is a fraction of a pixel for about 1000 photons on 100 counts.
    EXPECT_GT(s->sigma_x, 0.01);
    EXPECT_LT(s->sigma_x, 0.2);
  }
  EXPECT_GT(d.Noise(), 0.5);

  // Two particles passing 1.3 pixels apart make one maximum: the misfit of a
  // single spot there has it tried, and kept, as two. A lone spot stays one.
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    const std::vector<TestSpot> pair = {{30.0, 30.0, 400}, {30.9, 30.95, 400}, {70.2, 60.7, 800}};
    const auto frame = MakeFrame(100, 100, 100, pair, kSigma, seed);
    d.Detect(frame.data(), 100, 100, kSigma);
    // (The noise threshold lets a faint false spot through now and then.)
    EXPECT_EQ(std::count_if(d.Spots().begin(), d.Spots().end(),
                            [](const DenseSpot& s) { return s.photons > 500; }),
              3);
    for (const TestSpot& t : pair) {
      double d2;
      ASSERT_NE(Nearest(d, t.x, t.y, d2), nullptr);
      EXPECT_LT(std::sqrt(d2), 0.35) << t.x;
    }
  }
}

TEST(DenseDetector, HostileFramesGiveFewSpotsAndEnd) {
  const int32_t w = 128, h = 128;
  std::vector<uint16_t> zero(w * h, 0), saturated(w * h, 65535), noise = MakeFrame(w, h, 100, {}, kSigma, 5);
  std::vector<uint16_t> checker(w * h);
  for (int32_t i = 0; i < w * h; ++i) checker[i] = ((i / w + i % w) % 2) ? 65535 : 0;
  std::vector<uint16_t> hot(w * h, 0);
  hot[64 * w + 64] = 65535;
  DenseDetector d(1);
  const struct {
    const char* name;
    const std::vector<uint16_t>& px;
    size_t most;
  } cases[] = {{"zero", zero, 0}, {"saturated", saturated, 0}, {"noise", noise, 3},
               {"checker", checker, SIZE_MAX}, {"hot pixel", hot, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    // Returning at all is the point (the test's time limit catches a hang);
    // speed is the benchmark's business.
    d.Detect(c.px.data(), w, h, kSigma);
    EXPECT_LE(d.Spots().size(), c.most);
    // Every spot that fell back to its centroid is counted, and has no bound.
    int32_t centroids = 0;
    for (const DenseSpot& s : d.Spots()) {
      centroids += !s.fitted;
      if (!s.fitted) {
        EXPECT_TRUE(std::isnan(s.sigma_x));
      }
    }
    EXPECT_EQ(centroids, d.Fallbacks());
  }
  // Frames too small or a width of no spot give nothing rather than a crash.
  EXPECT_EQ(d.Detect(zero.data(), 2, 2, kSigma), 0);
  EXPECT_EQ(d.Detect(noise.data(), w, h, 0.0), 0);
}

TEST(DenseDetector, SameBitsOnOneThreadAndTwo) {
  std::vector<TestSpot> crowd;
  Rng rng(3);
  for (int i = 0; i < 150; ++i)
    crowd.push_back({4 + 248 * rng.Uniform(), 4 + 248 * rng.Uniform(), 40 + 100 * rng.Uniform()});
  const auto px = MakeFrame(256, 256, 100, crowd, kSigma, 9);
  DenseDetector one(1), two(2);
  one.Detect(px.data(), 256, 256, kSigma);
  two.Detect(px.data(), 256, 256, kSigma);
  ASSERT_EQ(one.Spots().size(), two.Spots().size());
  EXPECT_GT(one.Spots().size(), 120u);
  for (size_t i = 0; i < one.Spots().size(); ++i) {
    const DenseSpot &a = one.Spots()[i], &b = two.Spots()[i];
    EXPECT_EQ(std::memcmp(&a.x, &b.x, sizeof a.x), 0);
    EXPECT_EQ(std::memcmp(&a.y, &b.y, sizeof a.y), 0);
    EXPECT_EQ(std::memcmp(&a.sigma_x, &b.sigma_x, sizeof a.sigma_x), 0);
    EXPECT_EQ(a.fitted, b.fitted);
  }
  EXPECT_EQ(one.BandPassed(), two.BandPassed());
}

TEST(AutoQ, NoiseIsMeasuredAndQFollowsTheFalseSpots) {
  const auto flat = MakeFrame(256, 256, 400, {}, kSigma, 21);
  // Spots do not count as noise.
  const auto spotted = MakeFrame(256, 256, 400, {{50, 50, 300}, {120, 90, 300}}, kSigma, 21);
  for (const auto* px : {&flat, &spotted}) {
    const NoiseLevel n = MeasureNoise({px->data()}, 256, 256);
    EXPECT_NEAR(n.background, 400, 2);
    EXPECT_NEAR(n.noise, 20, 0.6);
  }
  const AutoQChoice c = ChooseQ({100, 10}, 250, 100, 1);
  EXPECT_GE(c.q, 2);
  EXPECT_LE(c.false_per_frame, 1.0);
  EXPECT_EQ(ChooseQ({100, 10}, 250, 100, 2).q, c.q);
  EXPECT_NE(AutoQReadOut(c).find("Q: automatic, chose Q="), std::string::npos);
  // A frame with no noise at all needs no more than the lowest Q.
  EXPECT_EQ(ChooseQ({0, 0}, 250, 100, 1).q, 2);
  // The template's share of spots grows with their brightness; bright ones are all found.
  const NoiseLevel level{100, 10};
  const double dim = TemplateFinds(level, 150, 250, 100, 3, 1);
  const double mid = TemplateFinds(level, 300, 250, 100, 3, 1);
  EXPECT_LT(dim, mid);
  EXPECT_LT(mid, kAutoQMinFound);
  EXPECT_GE(TemplateFinds(level, 2000, 250, 100, 3, 1), 0.99);
  EXPECT_EQ(TemplateFinds(level, 300, 250, 100, 3, 2), mid) << "the same on two threads";
}

class DenseRun : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("lumetra_dense_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
            "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string Simulate(int32_t spots, double photons, double diffusion, int32_t side = 128) {
    SimulationParams p;
    p.width = p.height = side;
    p.frames = 30;
    p.spots = spots;
    p.photons = photons;
    p.diffusion = diffusion;
    p.seed = 4;
    const std::string path = (dir_ / "sim.xkv").string();
    CollectingReporter rep;
    EXPECT_TRUE(SimulateRecord(p, path, rep));
    return path;
  }

  // Both passes; returns the track table. `rep` collects the messages.
  std::string Track(const std::string& path, const TrackingParams& params, int workers,
                    CollectingReporter& rep, DetectPass** kept = nullptr) {
    auto record = RecordStore::Create(rep);
    EXPECT_TRUE(record && record->Open(path, rep));
    tracks_ = std::make_unique<TrackStore>();
    detect_ = std::make_unique<DetectPass>(*tracks_, params, rep, workers);
    Playback(*record, {detect_.get()}).Run(rep);
    LinkTracksPass link(*tracks_, params, rep, workers);
    Playback(*record, {&link}).Run(rep);
    if (kept) *kept = detect_.get();
    return TidyTracksText(*tracks_, 100, 100, detect_->TableQ());
  }

  fs::path dir_;
  std::unique_ptr<TrackStore> tracks_;
  std::unique_ptr<DetectPass> detect_;
};

TEST_F(DenseRun, TracksMatchTheTruthWithBoundsAndSameBitsOnTwoThreads) {
  const std::string path = Simulate(15, 2000, 0.1);
  TrackingParams params;
  params.detector = SpotDetectorKind::kDense;
  CollectingReporter rep;
  DetectPass* pass = nullptr;
  const std::string table = Track(path, params, 1, rep, &pass);
  EXPECT_NE(pass->EndReadOut().find(" fits fell back to the centroid"), std::string::npos);
  CollectingReporter rep2;
  EXPECT_TRUE(Track(path, params, 2, rep2) == table);
  std::vector<TrackPoint> tracks;
  std::vector<TruthPoint> truth;
  std::string error;
  ASSERT_TRUE(ParseTrackTable(table, tracks, error)) << error;
  std::ifstream in(path.substr(0, path.size() - 4) + ".truth.tsv");
  const std::string truth_text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_TRUE(ParseTruthTable(truth_text, truth, error)) << error;
  const EvalResult score = EvaluateTracks(tracks, truth, 1.0);
  EXPECT_GT(score.Recall(), 0.95);
  EXPECT_GT(score.Precision(), 0.99);
  EXPECT_GT(score.LinkFraction(), 0.97);
  // Bounds of about 4-5 nm for 2000 photons, and the error near them.
  int bounded = 0, rows = 0;
  size_t at = table.find('\n') + 1;
  while (at < table.size()) {
    const size_t end = table.find('\n', at);
    double v[8];
    if (std::sscanf(table.c_str() + at, "%lf %lf %lf %lf %lf %lf %lf %lf", &v[0], &v[1], &v[2],
                    &v[3], &v[4], &v[5], &v[6], &v[7]) == 8 &&
        v[6] > 3 && v[6] < 7)
      ++bounded;
    ++rows;
    at = end + 1;
  }
  EXPECT_GT(bounded, rows * 9 / 10);
  EXPECT_LT(score.RmsePerAxisPx(), 0.07);
}

TEST_F(DenseRun, AutomaticQChoosesFromTheFirstFramesAndTracksAsThatQDoes) {
  const std::string path = Simulate(10, 600, 0.1);
  TrackingParams params;
  params.q_auto = true;
  CollectingReporter rep;
  DetectPass* pass = nullptr;
  const std::string automatic = Track(path, params, 1, rep, &pass);
  const int32_t chosen = pass->QChoice().q;
  ASSERT_GE(chosen, 2);
  EXPECT_EQ(pass->QUsed(), chosen);
  EXPECT_NE(pass->EndReadOut().find(AutoQReadOut(pass->QChoice())), std::string::npos);
  EXPECT_EQ(pass->DetectorUsed(), SpotDetectorKind::kTemplate) << pass->EndReadOut();
  EXPECT_FALSE(tracks_->dense);
  // Holding the first frames back changes nothing: the same tracks as that Q given.
  TrackingParams fixed;
  fixed.q_threshold = chosen;
  CollectingReporter rep2;
  EXPECT_TRUE(automatic == Track(path, fixed, 1, rep2));
}

// Spots too faint for the template at any Q that keeps false spots rare: the
// automatic choice hands the record to the dense detector, says so, and the
// tracks are those of Dense Field Detection chosen by hand.
TEST_F(DenseRun, AutomaticQHandsDimSpotsToTheDenseDetector) {
  const std::string path = Simulate(15, 300, 0.1);
  TrackingParams params;
  params.q_auto = true;
  CollectingReporter rep;
  DetectPass* pass = nullptr;
  const std::string automatic = Track(path, params, 1, rep, &pass);
  EXPECT_EQ(pass->DetectorUsed(), SpotDetectorKind::kDense);
  EXPECT_TRUE(pass->QChoice().dense);
  EXPECT_LT(pass->QChoice().template_finds, kAutoQMinFound);
  EXPECT_NEAR(pass->QChoice().spot_counts, 300, 60);
  EXPECT_NE(pass->EndReadOut().find("Dense Field Detection used"), std::string::npos)
      << pass->EndReadOut();
  EXPECT_TRUE(tracks_->dense);
  TrackingParams dense;
  dense.detector = SpotDetectorKind::kDense;
  CollectingReporter rep2;
  EXPECT_TRUE(automatic == Track(path, dense, 1, rep2));

  // A few bright spots among the noise's false ones (the record is written
  // anew): the false ones, seen in one frame only, do not make the spots look dim.
  CollectingReporter sparse_rep;
  DetectPass* sparse = nullptr;
  Track(Simulate(3, 2000, 0.1, 256), params, 1, sparse_rep, &sparse);
  EXPECT_EQ(sparse->DetectorUsed(), SpotDetectorKind::kTemplate) << sparse->EndReadOut();
}

}  // namespace
}  // namespace lumetra
