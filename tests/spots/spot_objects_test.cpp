// Clustering quirks, object centres, intensities, the label map and the
// nearest-neighbour distances.
#include "spots/spot_objects.h"

#include <gtest/gtest.h>

#include "spots/spot_finder.h"
#include "test_frames.h"

namespace lumetra {
namespace {

std::vector<Candidate> Cands(std::vector<std::pair<int32_t, int32_t>> xy) {
  // Row-major, as the scan lists them.
  std::sort(xy.begin(), xy.end(), [](auto a, auto b) {
    return a.second < b.second || (a.second == b.second && a.first < b.first);
  });
  std::vector<Candidate> c;
  for (auto [x, y] : xy) {
    Candidate k;
    k.X = x;
    k.Y = y;
    k.index = static_cast<int32_t>(c.size());
    c.push_back(k);
  }
  return c;
}

std::vector<int32_t> Labels(const std::vector<Candidate>& c) {
  std::vector<int32_t> l;
  for (const Candidate& k : c) l.push_back(k.label);
  return l;
}

TEST(Clustering, SingleClusterAndEmptyFrameReportZeroObjects) {
  auto one = Cands({{10, 10}, {11, 10}, {10, 11}});
  EXPECT_EQ(ClusterCandidates(one), 0);
  EXPECT_EQ(Labels(one), (std::vector<int32_t>{0, 0, 0}));
  std::vector<Candidate> none;
  EXPECT_EQ(ClusterCandidates(none), 0);
}

TEST(Clustering, DiagonalTouchJoinsAndGapsSplit) {
  auto c = Cands({{10, 10}, {11, 11}, {20, 10}, {22, 10}});
  EXPECT_EQ(ClusterCandidates(c), 3);
  EXPECT_EQ(Labels(c), (std::vector<int32_t>{0, 1, 2, 0}));
}

TEST(Clustering, GrowthIsOneForwardSweep) {
  // S(8,5) reaches m(7,6), m reaches i(6,7), i labels j(5,6) after the sweep
  // has passed j, so j's neighbour k(4,7) is not reached and starts label 1.
  for (bool use_map : {false, true}) {
    auto c = Cands({{8, 5}, {5, 6}, {7, 6}, {4, 7}, {6, 7}});
    std::vector<int32_t> map(20 * 20, -1);
    EXPECT_EQ(ClusterCandidates(c, use_map ? &map : nullptr, 20), 2);
    EXPECT_EQ(Labels(c), (std::vector<int32_t>{0, 0, 0, 1, 0}));
    EXPECT_TRUE(std::all_of(map.begin(), map.end(), [](int32_t v) { return v == -1; }));
  }
}

TEST(DetectCenters, CentresIntensitiesLabelMapAndDistances) {
  const int32_t w = 40, h = 30;
  std::vector<uint16_t> px(static_cast<size_t>(w) * h, 100);
  // Object 0: candidates (10,10), (11,10), (11,11) -> mean (10.67, 10.33) -> (10, 10).
  // Object 1: (13,14) alone -> (13, 14); 3 x 4 pixels away: 0.5 um at 100 nm.
  auto c = Cands({{10, 10}, {11, 10}, {11, 11}, {13, 14}});
  ASSERT_EQ(ClusterCandidates(c), 2);
  px[14 * w + 13] = 121;  // disc sum + 21: intensity 101 counts/pixel
  std::vector<SpotRec> objects;
  std::vector<uint16_t> map(static_cast<size_t>(w) * h, kNoSpot);
  std::vector<int32_t> written;
  DetectCenters(c, 2, px.data(), w, false, 100, objects, map, written);
  ASSERT_EQ(objects.size(), 2u);
  EXPECT_EQ(objects[0].X, 10);
  EXPECT_EQ(objects[0].Y, 10);
  EXPECT_EQ(objects[1].X, 13);
  EXPECT_EQ(objects[1].Y, 14);
  EXPECT_FLOAT_EQ(objects[0].intensity, 100.0f);
  EXPECT_FLOAT_EQ(objects[1].intensity, 101.0f);
  EXPECT_FLOAT_EQ(objects[0].nn_dist_um, 0.5f);
  EXPECT_FLOAT_EQ(objects[1].nn_dist_um, 0.5f);
  EXPECT_EQ(map[10 * w + 10], 0);
  EXPECT_EQ(map[14 * w + 13], 1);
  EXPECT_EQ(std::count(map.begin(), map.end(), kNoSpot), w * h - 2);
  // With the background ring subtracted: 101 - 100 = 1, and never below 0.
  EXPECT_FLOAT_EQ(SpotIntensity(px.data(), w, 13, 14, true), 1.0f);
  px[14 * w + 13] = 100;
  px[9 * w + 13] = 400;  // a ring pixel of (13, 14): disc below ring
  EXPECT_FLOAT_EQ(SpotIntensity(px.data(), w, 13, 14, true), 0.0f);
}

TEST(DetectCenters, LoneObjectDistanceIsFromStartValue) {
  std::vector<SpotRec> one(1);
  NearestNeighbourDistances(one, 100);
  EXPECT_FLOAT_EQ(one[0].nn_dist_um, 1000.0f);  // sqrt(1e8) x 0.001 x 100
}

TEST(SpotFinder, FrameWithOneSpotReportsNoObjects) {
  const auto one = testing::MakeFrame(64, 64, 100, {{30.2, 31.6, 300}});
  const auto two = testing::MakeFrame(64, 64, 100, {{20.2, 21.6, 300}, {40.7, 44.1, 300}});
  SpotFinder finder(1);
  TrackingParams params;
  CollectingReporter rep;
  EXPECT_GT(finder.DetectFrame(one.data(), 64, 64, 100, params, rep), 0);
  EXPECT_EQ(finder.ObjectCount(), 0);
  EXPECT_GT(finder.DetectFrame(two.data(), 64, 64, 100, params, rep), 0);
  ASSERT_EQ(finder.ObjectCount(), 2);
  EXPECT_NEAR(finder.Objects()[0].X, 20, 1);
  EXPECT_NEAR(finder.Objects()[1].Y, 44, 1);
  EXPECT_EQ(finder.ReadOut(3).substr(0, 11), "2 objects (");
  EXPECT_NE(finder.ReadOut(3).find("cnts/pix),3 completed tracks"), std::string::npos);
  // The label map of the previous frame is cleared.
  EXPECT_EQ(std::count_if(finder.LabelMap().begin(), finder.LabelMap().end(),
                          [](uint16_t v) { return v != kNoSpot; }),
            2);
}

}  // namespace
}  // namespace lumetra
