// Text exports: the current spots, the tidy table and the column export with
// its caps.
#include "spots/track_export.h"

#include <gtest/gtest.h>

#include <memory>

#include "spots/distance_histogram.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

// `count` refined tracks: track k starts at frame k % 3 with 2 steps.
std::unique_ptr<TrackStore> Refined(int32_t count) {
  auto s = std::make_unique<TrackStore>();
  s->Reset(6);
  for (int32_t f = 0; f < 6; ++f) s->frame_times[static_cast<size_t>(f)] = 0.05f * f;
  for (int32_t k = 0; k < count; ++k) {
    TrackRec& t = s->Use(k);
    t.completed = 1;
    t.first_frame = k % 3;
    t.point_count = 2;
    t.X = 10 + k;
    t.Y = 20;
    for (int32_t i = 0; i <= 2; ++i) {
      t.intensity[t.first_frame + i] = 50.5f;
      t.x[t.first_frame + i] = 0.01f * i;  // um: 0.1 pixel a frame at 100 nm
      t.y[t.first_frame + i] = 0.0f;
    }
  }
  s->track_count = s->completed_count = count;
  s->refined = true;
  return s;
}

TEST(TrackExport, TidyTableHasAbsolutePixelsAndTimes) {
  const auto s = Refined(2);
  s->Slot(1).sigma_x[2] = 4.125f;
  s->Slot(1).sigma_y[2] = 5.5f;
  EXPECT_EQ(TidyTracksText(*s, 100, 100, 3),
            "track\tframe\ttime_s\tx_px\ty_px\tintensity\tsigma_x_nm\tsigma_y_nm\tq\n"
            "0\t0\t0.000\t10.0000\t20.0000\t50.50\tnan\tnan\t3\n"
            "0\t1\t0.050\t10.1000\t20.0000\t50.50\tnan\tnan\t3\n"
            "0\t2\t0.100\t10.2000\t20.0000\t50.50\tnan\tnan\t3\n"
            "1\t1\t0.050\t11.0000\t20.0000\t50.50\tnan\tnan\t3\n"
            "1\t2\t0.100\t11.1000\t20.0000\t50.50\t4.12\t5.50\t3\n"
            "1\t3\t0.150\t11.2000\t20.0000\t50.50\tnan\tnan\t3\n");
  // Without a Q (the dense detector) the column says so.
  EXPECT_NE(TidyTracksText(*s, 100, 100).find("\tnan\n"), std::string::npos);
}

TEST(TrackExport, CurrentSpots) {
  std::vector<SpotRec> spots(2);
  spots[0] = {12, 30, 0, false, 81.25f, 1.0f};
  spots[1] = {40, 7, 1, false, 100.0f, 1.0f};
  EXPECT_EQ(CurrentSpotsText(spots), "Intensity\tX-coor\tY-coor\n81.25\t12\t30\n100\t40\t7\n");
}

TEST(TrackExport, ColumnsWithTimeAndEmptyCells) {
  const auto s = Refined(2);
  CollectingReporter rep;
  ColumnExportOptions o;
  o.include_time = true;
  o.pixel_coordinates = true;
  const std::string text = TrackColumnsText(*s, o, 100, 100, rep);
  EXPECT_EQ(text,
            "Time(s)\tIntens(AU)\tObj-X(pix)\tobj-Y(pix)\tIntens(AU)\tObj-X(pix)\tobj-Y(pix)\t\n"
            "0.0000\t50.5\t10.0000\t20.0000\t\t\t\t\n"
            "0.0500\t50.5\t10.1000\t20.0000\t50.5\t11.0000\t20.0000\t\n"
            "0.1000\t50.5\t10.2000\t20.0000\t50.5\t11.1000\t20.0000\t\n"
            "0.1500\t\t\t\t50.5\t11.2000\t20.0000\t\n");
  EXPECT_TRUE(rep.messages().empty());
}

TEST(TrackExport, ColumnExportHoldsAtMost252Tracks) {
  const auto s = Refined(260);
  CollectingReporter rep;
  ColumnExportOptions o;
  o.positions = false;
  const std::string text = TrackColumnsText(*s, o, 100, 100, rep);
  EXPECT_TRUE(rep.Contains(kTooManyColumnObjects));
  const std::string header = text.substr(0, text.find('\n'));
  size_t groups = 0;
  for (size_t at = header.find("Intens(AU)"); at != std::string::npos;
       at = header.find("Intens(AU)", at + 1))
    ++groups;
  EXPECT_EQ(groups, 252u);
}

TEST(DistanceHistogram, BinsAndLoneObjects) {
  std::vector<SpotRec> spots(4);
  spots[0].nn_dist_um = 0.05f;
  spots[1].nn_dist_um = 0.25f;
  spots[2].nn_dist_um = 7.0f;     // beyond the last bin
  spots[3].nn_dist_um = 1000.0f;  // alone in the frame
  const std::vector<float> m = DistanceHistogram(spots);
  ASSERT_EQ(m.size(), 2u * kDistanceBins);
  EXPECT_FLOAT_EQ(m[0], 0.05f);
  EXPECT_FLOAT_EQ(m[kDistanceBins + 0], 1.0f);
  EXPECT_FLOAT_EQ(m[kDistanceBins + 2], 1.0f);
  EXPECT_FLOAT_EQ(m[2 * kDistanceBins - 1], 1.0f);
  float total = 0;
  for (int i = 0; i < kDistanceBins; ++i) total += m[kDistanceBins + i];
  EXPECT_FLOAT_EQ(total, 3.0f);
}

}  // namespace
}  // namespace lumetra
