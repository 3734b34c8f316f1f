// Track read-outs and the text exports built on them: velocity, Dlat and
// distance to the outline against hand-computed answers, the distributions,
// the spot map, the batch file name and the filament variant of detection.
#include "spots/track_statistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <sstream>

#include "spots/filament_detector.h"
#include "spots/spot_finder.h"
#include "spots/spots_messages.h"
#include "test_frames.h"

namespace lumetra {
namespace {

// Frames 0.1 s apart. Track 0 moves 1 pixel a frame along X from (10, 20)
// over frames 2-6; track 1 stands at (40, 30) over frames 0-3; track 2 is open.
std::unique_ptr<TrackStore> Moving(float dt = 0.1f) {
  auto s = std::make_unique<TrackStore>();
  s->Reset(10);
  for (int32_t f = 0; f < 10; ++f) s->frame_times[static_cast<size_t>(f)] = dt * f;
  auto add = [&](int32_t slot, int32_t first, int32_t steps, int32_t x0, int32_t y0, int32_t vx,
                 bool completed) {
    TrackRec& t = s->Use(slot);
    t.completed = completed;
    t.first_frame = first;
    t.point_count = steps;
    for (int32_t i = 0; i <= steps; ++i) {
      t.x[first + i] = static_cast<float>(x0 + vx * i);
      t.y[first + i] = static_cast<float>(y0);
      t.intensity[first + i] = 100.0f + 10 * i;
    }
  };
  add(0, 2, 4, 10, 20, 1, true);
  add(1, 0, 3, 40, 30, 0, true);
  add(2, 0, 5, 50, 50, 1, false);
  s->track_count = 3;
  s->completed_count = 2;
  return s;
}

constexpr TrackScale kScale{100, 100};

TEST(TrackStatistics, VelocityDlatAndDistanceKnownAnswers) {
  const auto s = Moving();
  const auto sum = SummariseTracks(*s, kScale);
  ASSERT_EQ(sum.size(), 2u);
  // 0.4 um in 0.4 s; each step 0.01 um^2 / (4 x 0.1 s).
  EXPECT_NEAR(sum[0].velocity_um_s, 1.0, 1e-5);
  EXPECT_NEAR(sum[0].dlat_um2_s, 0.025, 1e-6);
  EXPECT_NEAR(sum[0].mean_intensity, 120.0, 1e-9);
  EXPECT_NEAR(sum[0].mean_x_um, 1.2, 1e-9);
  EXPECT_EQ(sum[1].velocity_um_s, 0.0);
  CollectingReporter rep;
  EXPECT_EQ(VelocityText(*s, kScale, rep), "Velocity(um/s)\tTrack_Length\n1.0000\t4\n0.0000\t3\n");
  // Outline 5..60 x 0..64 pixels: track 0's mean (12, 20) is 0.7 um from the
  // left edge; track 1's (40, 30) 2.0 um from the right.
  EXPECT_EQ(DlatOutlineDistText(*s, kScale, Region{5, 0, 60, 64, true}, rep),
            "DistanceToEdge\tMobility(Dlat(um2/s)\n0.7000\t0.0250\n2.0000\t0.0000\n");
  EXPECT_TRUE(rep.messages().empty());
}

TEST(TrackStatistics, MissingTracksAndTimesAreReported) {
  struct Case {
    const char* what;
    bool tracks;
    float dt;
    std::string_view message;
  };
  for (const Case& c : {Case{"no tracks", false, 0.1f, kVeryFewObjects},
                        Case{"no times", true, 0.0f, kTimeError}}) {
    SCOPED_TRACE(c.what);
    auto s = Moving(c.dt);
    if (!c.tracks) s->Reset(10);
    CollectingReporter rep;
    EXPECT_EQ(VelocityText(*s, kScale, rep), std::string(kVelocityHeader));
    EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{std::string(c.message)});
  }
}

TEST(TrackStatistics, HistogramBinsAndDistributionText) {
  EXPECT_EQ(BinCounts({0, 0.99, 1, 2.5, 99, -1, NAN}, 1.0, 3), (std::vector<int32_t>{2, 1, 2}));
  const auto s = Moving();
  std::vector<SpotRec> objects(2);
  objects[0].nn_dist_um = 0.25f;
  objects[1].nn_dist_um = 1000.0f;  // alone: left out
  CollectingReporter rep;
  const std::string text = DistributionsText(*s, kScale, objects, rep);
  ASSERT_EQ(text.rfind("Intensity_Distribution\n5.0000\t0\n", 0), 0u);
  // Mean intensities 120 and 115 fall in the bins 110-120 and 120-130.
  EXPECT_NE(text.find("\n115.0000\t1\n125.0000\t1\n"), std::string::npos);
  const size_t second = text.find("\n\nDistance/Dlat/velocity_Distributoin\n");
  ASSERT_NE(second, std::string::npos);
  // Distance 0.25 um, Dlat 0 and 0.025, velocity 0 and 1.0.
  const std::string rows = text.substr(second + 38);
  EXPECT_EQ(rows.substr(0, rows.find('\n')), "0.0500\t0\t0.0050\t1\t0.0250\t1");
  EXPECT_NE(rows.find("\n0.2500\t1\t0.0250\t1\t0.1250\t0\n"), std::string::npos);
  // Each column pair counts every value once: 1 distance, 2 Dlat, 2 velocities.
  std::istringstream in(rows);
  int32_t lines = 0, counts[3] = {0, 0, 0};
  double centre;
  int32_t n0, n1, n2;
  while (in >> centre >> n0 >> centre >> n1 >> centre >> n2) {
    ++lines;
    counts[0] += n0, counts[1] += n1, counts[2] += n2;
  }
  EXPECT_EQ(lines, kStatBins);
  EXPECT_EQ(counts[0], 1);
  EXPECT_EQ(counts[1], 2);
  EXPECT_EQ(counts[2], 2);
}

TEST(TrackStatistics, IntensityDistributionAndSpotMap) {
  std::vector<SpotRec> objects(3);
  objects[0].X = 10, objects[0].Y = 20, objects[0].intensity = 5.5f;
  objects[1].X = 11, objects[1].Y = 7, objects[1].intensity = 12000.0f;
  objects[2].X = 30, objects[2].Y = 40, objects[2].intensity = 15.0f;
  IntensityDistribution d;
  d.Add(objects);
  EXPECT_EQ(d.Total(), 3);
  const std::string text = IntensityDistributionText(d);
  EXPECT_EQ(text.rfind("Intensity_Distribution\n5.0000\t1\n15.0000\t1\n25.0000\t0\n", 0), 0u);
  EXPECT_NE(text.find("\n995.0000\t1\n"), std::string::npos);  // beyond the last bin

  SpotMap map(4);
  CollectingReporter rep;
  map.AddFrame(3, objects, {100, 50}, rep);
  map.AddFrame(4, objects, {100, 50}, rep);
  EXPECT_EQ(map.Count(), 4u);
  EXPECT_EQ(rep.Texts(MessageKind::kWarning), std::vector<std::string>{std::string(kSpotMapFull)});
  EXPECT_EQ(SpotsInMapText(map),
            "FrNum\tInt(c/pix)\tX(um)\tY(um)\n3\t5.5\t1\t1\n3\t12000\t1.1\t0.35\n3\t15\t3\t2\n"
            "4\t5.5\t1\t1\n");
}

TEST(TrackStatistics, BatchTrackFileName) {
  struct Case {
    const char* path;
    double radius;
    bool link, zpos;
    const char* name;
  };
  for (const Case& c :
       {Case{"rec.xkv", 5, false, false, "rec-R5L10q8c500.xki"},
        Case{"/data/cell.3/rec", 6.5, false, false, "/data/cell.3/rec-R6.5L10q8c500.xki"},
        Case{"C:\\a.b\\rec.v2.xkv", 5, true, true, "C:\\a.b\\rec.v2-R5L10q8c500-L-Z.xki"},
        Case{"/data/rec.", 5, true, false, "/data/rec-R5L10q8c500-L.xki"}}) {
    SCOPED_TRACE(c.path);
    TrackingParams p;
    p.max_radius = c.radius;
    EXPECT_EQ(BatchTrackFileName(c.path, p, c.link, c.zpos), c.name);
  }
  // The automatic Q and the dense detector are named before the run knows its Q.
  TrackingParams p;
  p.q_auto = true;
  EXPECT_EQ(BatchTrackFileName("rec.xkv", p, true, false), "rec-R5L10qautoc500-L.xki");
  p.q_auto = false;
  p.detector = SpotDetectorKind::kDense;
  EXPECT_EQ(BatchTrackFileName("rec.xkv", p, true, false), "rec-R5L10q8c500-dense-L.xki");
}

TEST(FilamentDetection, SmallAreaAndElongatedObjects) {
  CollectingReporter rep;
  std::vector<Candidate> cands;
  const std::vector<uint16_t> tiny(13 * 12, 100);
  EXPECT_EQ(DetectFilamentPixels(tiny.data(), 13, 0, 13, 0, 12, 8, cands, rep), -1);
  EXPECT_EQ(rep.Texts(MessageKind::kWarning),
            std::vector<std::string>{std::string(kAreaTooSmallFilaments)});
  // Two horizontal filaments 20 pixels long on a noisy background: each is one
  // object at its middle. Spot detection sees them as well, but not as two
  // whole objects centred on them.
  std::vector<testing::TestSpot> line;
  for (int32_t i = 0; i < 20; ++i) {
    line.push_back({15.0 + i, 20, 60});
    line.push_back({25.0 + i, 45, 60});
  }
  const auto frame = testing::MakeFrame(64, 64, 100, line, 1.06, 7);
  SpotFinder finder(1);
  TrackingParams p;
  p.track_filaments = true;
  ASSERT_GT(finder.DetectFrame(frame.data(), 64, 64, 100, p, rep), 0);
  ASSERT_EQ(finder.ObjectCount(), 2);
  EXPECT_NEAR(finder.Objects()[0].X, 24, 1);
  EXPECT_NEAR(finder.Objects()[0].Y, 20, 1);
  EXPECT_NEAR(finder.Objects()[1].X, 34, 1);
  EXPECT_NEAR(finder.Objects()[1].Y, 45, 1);
  // A flat frame gives no candidates at all.
  const std::vector<uint16_t> flat(64 * 64, 100);
  EXPECT_EQ(finder.DetectFrame(flat.data(), 64, 64, 100, p, rep), 0);
}

}  // namespace
}  // namespace lumetra
