// Linking: the map and list searches, ties, exclusivity, completion and
// freeing, new tracks, the end-of-playback rules and the track cap.
#include "spots/track_linker.h"

#include <gtest/gtest.h>

#include <memory>

#include "spots/spots_messages.h"

namespace lumetra {
namespace {

constexpr int32_t kW = 64, kH = 64;

class Linking : public ::testing::Test {
 protected:
  void SetUp() override {
    store_ = std::make_unique<TrackStore>();
    store_->Reset(20);
    linker_.Prepare(kW, kH);
  }
  // Links frame f to spots at the given centres (listed in this order).
  void Frame(int32_t f, const std::vector<std::pair<int32_t, int32_t>>& xy, double radius = 5,
             int32_t min_track = 10) {
    std::vector<SpotRec> spots;
    std::vector<uint16_t> map(static_cast<size_t>(kW) * kH, kNoSpot);
    for (auto [x, y] : xy) {
      SpotRec s;
      s.X = x;
      s.Y = y;
      s.number = static_cast<int32_t>(spots.size());
      s.intensity = 50.0f + s.number;
      map[static_cast<size_t>(y) * kW + x] = static_cast<uint16_t>(s.number);
      spots.push_back(s);
    }
    TrackingParams p;
    p.max_radius = radius;
    p.min_track = min_track;
    linker_.LinkFrame(*store_, f, f == 0, spots, map, p, rep_);
  }
  const TrackRec& T(int32_t t) const { return store_->Slot(t); }

  std::unique_ptr<TrackStore> store_;
  TrackLinker linker_;
  CollectingReporter rep_;
};

TEST_F(Linking, TieGoesToRowMajorFirstInMapAndListFirstInList) {
  for (double radius : {5.0, 7.0}) {
    SCOPED_TRACE(radius);
    SetUp();
    Frame(0, {{20, 20}}, radius);
    // Both 2 pixels away; (20, 22) is first in the list, (22, 20) first row-major.
    Frame(1, {{20, 22}, {22, 20}}, radius);
    EXPECT_EQ(T(0).linked, radius < 7 ? 1 : 0);
    EXPECT_EQ(T(0).point_count, 1);
    EXPECT_FLOAT_EQ(T(0).last_jump2, 4.0f);
    // The other spot starts a new track in the next free slot.
    EXPECT_EQ(store_->track_count, 2);
    EXPECT_EQ(store_->new_track_count, 1);
    EXPECT_EQ(T(1).X, radius < 7 ? 20 : 22);
    EXPECT_FLOAT_EQ(T(1).x[1], static_cast<float>(T(1).X));
  }
}

TEST_F(Linking, SpotNearerToAnotherTrackIsRefused) {
  for (double radius : {5.0, 7.0}) {
    SCOPED_TRACE(radius);
    SetUp();
    Frame(0, {{20, 20}, {26, 20}}, radius);
    Frame(1, {{24, 20}}, radius);
    // Track 0 (4 pixels away) is refused: track 1 is 2 pixels away. It ends
    // with no steps and is freed; track 1 takes the spot.
    EXPECT_EQ(T(0).linked, -1);
    EXPECT_EQ(T(0).X, 0);
    EXPECT_EQ(T(0).Y, 0);
    EXPECT_EQ(T(1).linked, 0);
    EXPECT_EQ(T(1).X, 24);
    EXPECT_FLOAT_EQ(T(0).x[1], 0.0f);
  }
}

TEST_F(Linking, TrackOfExactlyLStepsIsFreedOneMoreIsCompleted) {
  // Track 0 makes 3 steps (frames 0-3), track 1 makes 4 (frames 0-4); L = 3.
  Frame(0, {{10, 10}, {40, 40}}, 5, 3);
  for (int32_t f = 1; f <= 3; ++f) Frame(f, {{10 + f, 10}, {40, 40 + f}}, 5, 3);
  Frame(4, {{40, 44}}, 5, 3);
  EXPECT_EQ(T(0).completed, 0);
  EXPECT_EQ(T(0).point_count, 0);
  EXPECT_EQ(T(0).X, 0);
  EXPECT_EQ(T(1).point_count, 4);
  Frame(5, {}, 5, 3);
  EXPECT_EQ(T(1).completed, 1);
  EXPECT_EQ(store_->completed_count, 1);
  EXPECT_FLOAT_EQ(T(1).x[5], 0.0f);
  EXPECT_FLOAT_EQ(T(1).y[4], 44.0f);
  EXPECT_FLOAT_EQ(T(1).intensity[0], 51.0f);
}

TEST_F(Linking, EndOfPlaybackCompletesLongTracksAndFindsFirstFrame) {
  // A track that starts at frame 2 and runs to the end; L = 3.
  Frame(0, {{10, 10}});
  Frame(1, {});
  for (int32_t f = 2; f < 8; ++f) Frame(f, {{30 + f, 30}}, 5, 3);
  TrackingParams p;
  p.min_track = 3;
  TrackLinker::FinishRecord(*store_, p);
  ASSERT_EQ(store_->completed_count, 1);
  const TrackRec& t = T(0);
  EXPECT_EQ(t.completed, 1);
  EXPECT_EQ(t.point_count, 5);
  EXPECT_EQ(t.first_frame, 2);
  EXPECT_EQ(t.X, 32);  // the current position goes back to the first point
  EXPECT_EQ(t.Y, 30);
}

TEST_F(Linking, MapSearchSeesPositionsLinkedEarlierInTheFrame) {
  // R = 5: track A at (20, 20) in slot 0, track B at (29, 20) in slot 1. A
  // links (24, 20); B's nearest spot (26, 20) lies at 9, but A's new position
  // lies at 4 from it, so B is refused. Without a history longer than L, B's
  // slot is freed and the spot starts a new track there. With one, B is
  // completed; the track count was fixed at the start of the frame (2), so
  // no slot is left and the spot waits for the next frame.
  for (int32_t history : {1, 5}) {
    SCOPED_TRACE(history);
    SetUp();
    for (int32_t f = 0; f < history; ++f) Frame(f, {{20, 20}, {29, 20}}, 5, 3);
    Frame(history, {{24, 20}, {26, 20}}, 5, 3);
    EXPECT_EQ(T(0).linked, 0);
    EXPECT_EQ(T(0).X, 24);
    EXPECT_EQ(T(1).linked, -1);
    EXPECT_EQ(store_->track_count, 2);
    if (history == 1) {
      EXPECT_EQ(T(1).completed, 0);
      EXPECT_EQ(store_->new_track_count, 1);
      EXPECT_EQ(T(1).X, 26);
      EXPECT_EQ(T(1).point_count, 0);
      EXPECT_FLOAT_EQ(T(1).last_jump2, 1000.0f);
      EXPECT_FLOAT_EQ(T(1).x[history], 26.0f);
    } else {
      EXPECT_EQ(T(1).completed, 1);
      EXPECT_EQ(T(1).point_count, 4);
      EXPECT_EQ(store_->new_track_count, 0);
      EXPECT_FLOAT_EQ(T(1).x[history], 0.0f);
    }
  }
}

TEST_F(Linking, ListSearchIgnoresTracksThatEndedInTheFrame) {
  // R = 7. A (slot 0) at (20, 20), E (slot 1) at (17, 20), D (slot 2) at
  // (27, 20). In frame 5 A's nearest spot (18, 20) is nearer to E, so A ends
  // first; D's nearest spot (23, 20) lies at 16 from D and at 9 from where A
  // stood, but A no longer counts and D links it. Completed (L = 3) or freed
  // (L = 10), A refuses nothing.
  for (int32_t min_track : {3, 10}) {
    SCOPED_TRACE(min_track);
    SetUp();
    for (int32_t f = 0; f < 5; ++f) Frame(f, {{20, 20}, {17, 20}, {27, 20}}, 7, min_track);
    Frame(5, {{18, 20}, {23, 20}}, 7, min_track);
    EXPECT_EQ(T(0).linked, -1);
    EXPECT_EQ(T(0).completed, min_track == 3 ? 1 : 0);
    EXPECT_EQ(T(1).linked, 0);
    EXPECT_EQ(T(2).linked, 1);
    EXPECT_EQ(T(2).X, 23);
    EXPECT_EQ(T(2).point_count, 5);
    EXPECT_FLOAT_EQ(T(2).last_jump2, 16.0f);
    EXPECT_EQ(store_->new_track_count, 0);
  }
}

TEST_F(Linking, TrackCapMessageDependsOnSearch) {
  for (double radius : {6.9, 7.0}) {
    SCOPED_TRACE(radius);
    SetUp();
    store_->completed_count = kMaxTracks - 1;
    Frame(1, {{10, 10}, {30, 30}}, radius);
    EXPECT_EQ(store_->track_count, kMaxTracks);
    EXPECT_TRUE(rep_.Contains(radius < 7 ? kTooManySpots : kRunOutOfSpots));
  }
}

}  // namespace
}  // namespace lumetra
