// "Resolve Close Spots": the split of clusters that hold two separate maxima,
// the linking rules that let a track share a neighbour's spot, and a
// simulated record with close pairs scored against its truth with the option
// on and off.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "common/text_format.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "record/simulator.h"
#include "spots/link_pass.h"
#include "spots/spot_finder.h"
#include "spots/track_eval.h"
#include "spots/track_export.h"
#include "spots/track_linker.h"
#include "spots/tracking_passes.h"
#include "test_frames.h"

namespace lumetra {
namespace {

using testing::MakeFrame;
using testing::TestSpot;

constexpr int32_t kW = 64, kH = 48;

// Objects of one frame, with the option on or off.
std::vector<SpotRec> Objects(const std::vector<uint16_t>& px, bool resolve) {
  SpotFinder finder(1);
  TrackingParams params;
  params.resolve_close = resolve;
  CollectingReporter rep;
  finder.DetectFrame(px.data(), kW, kH, 100, params, rep);
  return finder.Objects();
}

bool Near(const SpotRec& o, double x, double y, double within) {
  return std::hypot(o.X - x, o.Y - y) <= within;
}

TEST(CloseSpots, PairFivePixelsApartIsOneObjectByDefaultAndTwoWithTheOption) {
  // A third spot far away: a frame whose candidates form one cluster reports
  // no objects at all.
  for (uint64_t noise : {0, 11, 12, 13}) {
    const auto px =
        MakeFrame(kW, kH, 100, {{20, 20, 300}, {25, 20, 300}, {45, 33, 300}}, 1.06, noise);
    const auto plain = Objects(px, false);
    ASSERT_EQ(plain.size(), 2u) << noise;
    EXPECT_TRUE(Near(plain[0], 22.5, 20, 1.5)) << noise;  // the pair, as one
    const auto split = Objects(px, true);
    ASSERT_EQ(split.size(), 3u) << noise;
    // The pair's parts come first, as their cluster did; each has its own
    // centre (truncated mean of its pixels) and the spot intensity there.
    EXPECT_TRUE(Near(split[0], 20, 20, 1.5)) << noise;
    EXPECT_TRUE(Near(split[1], 25, 20, 1.5)) << noise;
    EXPECT_EQ(split[2].X, plain[1].X);
    EXPECT_EQ(split[2].Y, plain[1].Y);
    EXPECT_EQ(split[2].number, 2);
    EXPECT_EQ(split[0].intensity, SpotIntensity(px.data(), kW, split[0].X, split[0].Y, false));
    EXPECT_NEAR(split[0].nn_dist_um,
                std::hypot(split[1].X - split[0].X, split[1].Y - split[0].Y) * 0.1, 1e-5);
  }
}

TEST(CloseSpots, SingleSpotsAndTouchingPairsStayWhole) {
  // Noisy single spots never show two separate maxima; a pair 2 pixels apart
  // is one blob with one maximum, and stays one object.
  for (uint64_t noise = 1; noise <= 20; ++noise) {
    const auto px = MakeFrame(
        kW, kH, 100, {{18, 16, 300}, {42, 30, 120}, {20, 34, 300}, {22, 34, 300}}, 1.06, noise);
    const auto plain = Objects(px, false);
    const auto split = Objects(px, true);
    ASSERT_EQ(split.size(), plain.size()) << noise;
    for (size_t i = 0; i < plain.size(); ++i) {
      EXPECT_EQ(split[i].X, plain[i].X);
      EXPECT_EQ(split[i].Y, plain[i].Y);
    }
  }
}

TEST(CloseSpots, FramesWithoutObjectsAreLeftAlone) {
  std::vector<Candidate> none;
  CloseSpotSplitter splitter;
  const auto px = MakeFrame(kW, kH, 100, {{20, 20, 300}});
  EXPECT_EQ(splitter.Split(none, 0, px.data(), kW, kH, CloseSpotRules{}), 0);
  // A frame reporting 0 objects (one cluster) is left alone.
  std::vector<Candidate> one = {{20, 20, 0, 400, 0, 90, 40}, {21, 20, 1, 390, 0, 85, 30}};
  EXPECT_EQ(splitter.Split(one, 0, px.data(), kW, kH, CloseSpotRules{}), 0);
  EXPECT_EQ(one[0].label, 0);
}

// Spots and a label map of a 64 x 64 frame for the linker.
struct LinkFrame {
  std::vector<SpotRec> spots;
  std::vector<uint16_t> labels = std::vector<uint16_t>(64 * 64, kNoSpot);
  explicit LinkFrame(std::vector<std::pair<int32_t, int32_t>> at) {
    for (const auto& [x, y] : at) {
      SpotRec s;
      s.X = x;
      s.Y = y;
      s.number = static_cast<int32_t>(spots.size());
      s.intensity = 50;
      labels[static_cast<size_t>(y * 64 + x)] = static_cast<uint16_t>(s.number);
      spots.push_back(s);
    }
  }
};

// Links the frames in turn; returns the store.
std::unique_ptr<TrackStore> LinkAll(TrackLinker& linker, const std::vector<LinkFrame>& frames,
                                    bool resolve) {
  auto store = std::make_unique<TrackStore>();
  store->Reset(static_cast<int32_t>(frames.size()));
  linker.Prepare(64, 64);
  TrackingParams params;
  params.resolve_close = resolve;
  params.min_track = 3;
  CollectingReporter rep;
  for (size_t f = 0; f < frames.size(); ++f)
    linker.LinkFrame(*store, static_cast<int32_t>(f), f == 0, frames[f].spots, frames[f].labels,
                     params, rep);
  return store;
}

TEST(CloseLinks, TrackSharesItsNeighboursSpotUntilThePairParts) {
  // Two particles 4 pixels apart meet in frame 1 (one spot between them) and
  // part again in frame 2.
  const std::vector<LinkFrame> frames = {LinkFrame({{20, 30}, {24, 30}}), LinkFrame({{22, 30}}),
                                         LinkFrame({{20, 30}, {24, 30}})};
  TrackLinker plain_linker, close_linker;
  auto plain = LinkAll(plain_linker, frames, false);
  // Without the option track 1 ends in frame 1 and a new track takes (24, 30).
  EXPECT_EQ(plain->Slot(1).point_count, 0);
  EXPECT_EQ(plain->Slot(1).x[1], 0.0f);
  EXPECT_EQ(plain->new_track_count, 1);
  auto close = LinkAll(close_linker, frames, true);
  EXPECT_EQ(close->new_track_count, 0);
  for (int32_t t : {0, 1}) {
    EXPECT_EQ(close->Slot(t).point_count, 2);
    EXPECT_EQ(close->Slot(t).x[1], 22.0f);  // both hold the shared spot
  }
  EXPECT_EQ(close->Slot(0).x[2], 20.0f);
  EXPECT_EQ(close->Slot(1).x[2], 24.0f);
}

TEST(CloseLinks, SharedPointsGoWhenTheTrackNeverFindsItsOwnSpotAgain) {
  // Frames 1-6 hold only the merged spot: track 1 shares it for 5 frames,
  // then ends and loses those points (freed: no steps of its own).
  std::vector<LinkFrame> frames = {LinkFrame({{20, 30}, {24, 30}})};
  for (int i = 0; i < 6; ++i) frames.push_back(LinkFrame({{22, 30}}));
  TrackLinker linker;
  auto store = LinkAll(linker, frames, true);
  EXPECT_EQ(store->Slot(0).point_count, 6);
  EXPECT_EQ(store->Slot(1).point_count, 0);
  EXPECT_EQ(store->Slot(1).X, 0);
  for (int f = 1; f <= 6; ++f) EXPECT_EQ(store->Slot(1).x[static_cast<size_t>(f)], 0.0f) << f;
  // A track still sharing when the record ends loses its shared points too.
  frames.erase(frames.begin() + 3, frames.end());
  TrackLinker again;
  store = LinkAll(again, frames, true);
  EXPECT_EQ(store->Slot(1).point_count, 2);
  again.FinishShares(*store);
  EXPECT_EQ(store->Slot(1).point_count, 0);
  EXPECT_EQ(store->Slot(1).x[2], 0.0f);
  EXPECT_EQ(store->Slot(1).x[0], 24.0f);
}

TEST(CloseLinks, CrossingPairKeepsItsTracks) {
  // Track 0 at (20, 30) and track 1 at (22, 34) cross. Spot (22, 32) is
  // nearest to track 0 (8 squared pixels) but nearer still to track 1 (4),
  // which takes it first in row-major order on its tie with (20, 34); track 0
  // is refused. Plain linking ends track 0. With the option the two swap: the
  // squared steps then add up to 8 + 4 instead of 16 + 4.
  const std::vector<LinkFrame> frames = {LinkFrame({{20, 30}, {22, 34}}),
                                         LinkFrame({{22, 32}, {20, 34}})};
  TrackLinker plain_linker, close_linker;
  auto plain = LinkAll(plain_linker, frames, false);
  EXPECT_EQ(plain->Slot(0).point_count, 0);  // a new track on (20, 34) in the freed slot
  EXPECT_EQ(plain->new_track_count, 1);
  EXPECT_EQ(plain->Slot(1).x[1], 22.0f);
  auto store = LinkAll(close_linker, frames, true);
  EXPECT_EQ(store->Slot(0).x[1], 22.0f);
  EXPECT_EQ(store->Slot(0).y[1], 32.0f);
  EXPECT_EQ(store->Slot(1).x[1], 20.0f);
  EXPECT_EQ(store->Slot(1).y[1], 34.0f);
  EXPECT_EQ(store->new_track_count, 0);
}

// Link Tracks over two tracks: track 0 stays on a spot at (20.3, 24.4); track
// 1 follows a spot at 24.5, which is missing in frame 5, shares track 0's
// spot there (its fit lands on it, 4.2 pixels off) and goes on to the spot
// again at 27.3: a step of 7 pixels, more than R, out of the shared spot.
std::unique_ptr<TrackStore> RefineSharedPair(bool resolve) {
  constexpr int32_t kFrames = 12;
  auto store = std::make_unique<TrackStore>();
  store->Reset(kFrames);
  for (int32_t ti : {0, 1}) {
    TrackRec& t = store->Use(ti);
    t.completed = 1;
    t.point_count = kFrames - 1;
    for (int32_t f = 0; f < kFrames; ++f) {
      t.x[f] = ti == 0 || f == 5 ? 20.0f : (f < 5 ? 24.0f : 27.0f);
      t.y[f] = 24.0f;
    }
    t.X = TruncToInt(t.x[0]);
    t.Y = 24;
  }
  store->track_count = store->completed_count = 2;
  TrackingParams params;
  params.min_track = 3;
  params.resolve_close = resolve;
  SharedPoints shared;
  for (int32_t f = 0; f < kFrames; ++f) {
    std::vector<TestSpot> spots = {{20.3, 24.4, 300}};
    if (f != 5) spots.push_back({f < 5 ? 24.5 : 27.3, 24.4, 300});
    const auto px = MakeFrame(kW, kH, 100, spots);
    RefineFrame(*store, {px.data(), kW, kH, 100, 100, f}, params, nullptr, &shared);
  }
  return store;
}

TEST(CloseLinks, StepOutOfASharedSpotDoesNotCutTheTrack) {
  const auto plain = RefineSharedPair(false);
  EXPECT_EQ(plain->truncated, 1);
  EXPECT_EQ(plain->Slot(1).point_count, 6);  // cut after frame 6
  const auto close = RefineSharedPair(true);
  EXPECT_EQ(close->truncated, 0);
  EXPECT_EQ(close->Slot(1).point_count, 11);
  // On the shared spot track 1's fit is the spot of track 0.
  EXPECT_NEAR(close->Slot(1).X + close->Slot(1).x[5] / 0.1, 20.3, 0.1);
  EXPECT_NEAR(close->Slot(1).X + close->Slot(1).x[6] / 0.1, 27.3, 0.1);
}

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Both passes over a record; the tidy table.
std::string TrackRecord(const std::string& path, bool resolve, int workers) {
  CollectingReporter rep;
  auto store = RecordStore::Create(rep);
  EXPECT_TRUE(store && store->Open(path, rep));
  auto tracks = std::make_unique<TrackStore>();
  TrackingParams params;
  params.resolve_close = resolve;
  DetectPass detect(*tracks, params, rep, workers);
  Playback(*store, {&detect}).Run(rep);
  LinkTracksPass link(*tracks, params, rep, workers);
  Playback(*store, {&link}).Run(rep);
  return TidyTracksText(*tracks, 100, 100);
}

TEST(CloseSpots, CrowdedRecordReproducesMoreLinks) {
  const fs::path dir = fs::temp_directory_path() / "lumetra_close_spots_test";
  fs::create_directories(dir);
  SimulationParams p;
  p.width = p.height = 96;
  p.frames = 40;
  p.spots = 20;  // about one spot per 20 x 20 pixels: pairs meet often
  p.seed = 3;
  const std::string path = (dir / "crowd.xkv").string();
  CollectingReporter rep;
  ASSERT_TRUE(SimulateRecord(p, path, rep));
  std::vector<TruthPoint> truth;
  std::string error;
  ASSERT_TRUE(ParseTruthTable(ReadAll(TruthPathFor(path)), truth, error)) << error;
  auto score = [&](const std::string& table) {
    std::vector<TrackPoint> points;
    EXPECT_TRUE(ParseTrackTable(table, points, error)) << error;
    return EvaluateTracks(points, truth);
  };
  const EvalResult plain = score(TrackRecord(path, false, 1));
  const std::string table = TrackRecord(path, true, 1);
  EXPECT_EQ(TrackRecord(path, true, 2), table);  // the same on one core and on two
  const EvalResult close = score(table);
  EXPECT_GT(close.LinkFraction(), plain.LinkFraction() + 0.03);
  EXPECT_GT(close.Recall(), plain.Recall());
  EXPECT_GE(close.Precision(), 0.99);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace lumetra
