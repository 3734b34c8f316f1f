// The manual tracking window's XKI files: what it writes, round trips through
// both windows, the older layout's refusal, the 100-object cap and the
// tracking window's tracks taken in.
#include "manual/manual_xki.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "manual/manual_messages.h"
#include "spots/spots_messages.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

constexpr double kNmX = 160.0, kNmY = 120.0;

std::vector<float> AsFloats(const std::vector<uint8_t>& b) {
  std::vector<float> v(b.size() / 4);
  std::memcpy(v.data(), b.data(), v.size() * 4);  // the tests run on little-endian hosts
  return v;
}

std::vector<uint8_t> AsBytes(const std::vector<float>& v) {
  std::vector<uint8_t> b(v.size() * 4);
  std::memcpy(b.data(), v.data(), b.size());
  return b;
}

// Object 1 (index 0) at pixel centres from frame 2, with a value only in its
// first frame; object 3 (index 2) off-centre from frame 0.
ManualTracks Sample() {
  ManualTracks t;
  t.Reset(20, kNmX, kNmY);
  for (int32_t f = 2; f < 6; ++f)
    t.Mark(0, f, static_cast<float>((10 + f + 0.5) * kNmX), static_cast<float>((7.5) * kNmY),
           f == 2 ? 300.0f : 0.0f);
  t.Mark(2, 0, 1000.0f, 2000.0f, 55.0f);
  t.Mark(2, 1, 1100.0f, 1900.0f, 56.0f);
  return t;
}

TEST(ManualXki, WritesTheCurrentLayoutWithNumberPlus50ForUnsetValues) {
  ManualTracks t = Sample();
  const std::vector<float> f = AsFloats(EncodeManualXki(t, nullptr));
  // Two records: 7 + 3 x 4 and 7 + 3 x 2 floats.
  ASSERT_EQ(f.size(), 19u + 13u);
  EXPECT_EQ(f[0], 0.0f);
  EXPECT_EQ(f[1], 0.0f);
  EXPECT_EQ(f[2], 0.0f);         // the parameter word
  EXPECT_FLOAT_EQ(f[3], 12.5f);  // start X = first position / nm per pixel
  EXPECT_FLOAT_EQ(f[4], 7.5f);
  EXPECT_EQ(f[5], 4.0f);  // n
  EXPECT_EQ(f[6], 2.0f);  // first frame
  EXPECT_EQ(f[7], 300.0f);
  EXPECT_EQ(f[8], 51.0f);  // object 1 + 50
  EXPECT_EQ(f[10], 51.0f);
  EXPECT_FLOAT_EQ(f[11], 0.0f);  // X relative to the first point, um
  EXPECT_FLOAT_EQ(f[14], static_cast<float>(3 * kNmX * 0.001));
  EXPECT_FLOAT_EQ(f[15], 0.0f);  // Y stays
  EXPECT_FLOAT_EQ(f[19 + 3], 1000.0f / 160.0f);
  EXPECT_EQ(f[19 + 5], 2.0f);
  EXPECT_EQ(f[19 + 6], 0.0f);
  EXPECT_FLOAT_EQ(f[19 + 10], 0.1f);
  EXPECT_FLOAT_EQ(f[19 + 12], -0.1f);
}

TEST(ManualXki, RoundTripsThroughThisWindowAndTheTrackingWindow) {
  ManualTracks t = Sample();
  const std::vector<uint8_t> first = EncodeManualXki(t, nullptr);
  CollectingReporter r;
  ManualTracks back;
  ASSERT_EQ(DecodeManualXki(first, back, 20, kNmX, kNmY, r), 2);
  EXPECT_TRUE(r.messages().empty());
  // Pixel-centred points come back where they were, in nm.
  for (int32_t f = 2; f < 6; ++f) {
    SCOPED_TRACE(f);
    EXPECT_NEAR(back.Object(0).x[f], t.Object(0).x[f], 0.01);
    EXPECT_NEAR(back.Object(0).y[f], t.Object(0).y[f], 0.01);
  }
  EXPECT_FALSE(back.HasPoint(0, 1));
  EXPECT_FALSE(back.HasPoint(0, 6));
  EXPECT_EQ(back.Object(0).value[3], 51.0f);  // the unset value reads back as number + 50
  // An off-centre first point moves to its pixel's centre, the track keeps its shape.
  EXPECT_NEAR(back.Object(1).x[0], (6 + 0.5) * kNmX, 0.01);
  EXPECT_NEAR(back.Object(1).x[1] - back.Object(1).x[0], 100.0, 0.01);
  // The object numbers close up: object 3 is read as object 2.
  EXPECT_EQ(back.Object(1).value[0], 55.0f);
  EXPECT_TRUE(back.Object(0).shown);
  // From there on the file is stable byte for byte.
  const std::vector<uint8_t> second = EncodeManualXki(back, nullptr);
  ManualTracks again;
  DecodeManualXki(second, again, 20, kNmX, kNmY, r);
  EXPECT_EQ(EncodeManualXki(again, nullptr), second);

  // The tracking window reads the file too, and its tracks come back here.
  TrackStore store;
  ASSERT_EQ(DecodeXki(first, store, 20, false, r), 2);
  EXPECT_EQ(store.Slot(0).X, 12);
  EXPECT_EQ(store.Slot(0).first_frame, 2);
  EXPECT_EQ(store.Slot(0).point_count, 4);
  ManualTracks taken;
  ASSERT_EQ(TakeTrackingWindowTracks(store, false, taken, 20, kNmX, kNmY, r), 2);
  EXPECT_EQ(EncodeManualXki(taken, nullptr), second);
}

TEST(ManualXki, GapsEndTheTrackAndAreReported) {
  ManualTracks t = Sample();
  t.RemovePoint(0, 4);
  std::vector<XkiGap> gaps;
  const std::vector<float> f = AsFloats(EncodeManualXki(t, &gaps));
  EXPECT_EQ(f[5], 2.0f);  // frames 2 and 3 only
  ASSERT_EQ(gaps.size(), 1u);
  EXPECT_EQ(gaps[0].object, 0);
  EXPECT_EQ(gaps[0].frame, 5);

  const std::string path = (std::filesystem::temp_directory_path() / "manual_gap.xki").string();
  CollectingReporter r;
  ASSERT_TRUE(WriteManualXki(path, t, r));
  EXPECT_FALSE(t.unsaved);
  ASSERT_EQ(r.Texts(MessageKind::kWarning).size(), 1u);
  EXPECT_EQ(r.Texts(MessageKind::kWarning)[0],
            std::string(kGapNotSaved) + "1" + std::string(kGapAtFrame) + "5");
  ManualTracks back;
  EXPECT_EQ(ReadManualXki(path, back, 20, kNmX, kNmY, r), 2);
  std::filesystem::remove(path);
  EXPECT_EQ(ReadManualXki(path, back, 20, kNmX, kNmY, r), -1);
  EXPECT_TRUE(r.Contains(kFileOpenError));

  ManualTracks empty;
  empty.Reset(5, kNmX, kNmY);
  r.Clear();
  EXPECT_FALSE(WriteManualXki(path, empty, r));
  EXPECT_EQ(r.Texts(), std::vector<std::string>{std::string(kNoObjectToSave)});
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ManualXki, RefusesTheOlderLayoutAndTracksBeyondTheRecord) {
  CollectingReporter r;
  ManualTracks t = Sample();
  // Older layout: start X, start Y, n + 1, first frame, then triplets.
  EXPECT_EQ(DecodeManualXki(AsBytes({12, 7, 2, 0, 100, 0.1f, 0.2f}), t, 20, kNmX, kNmY, r), 0);
  EXPECT_EQ(r.Texts(), std::vector<std::string>{std::string(kOldTypeXki)});
  EXPECT_EQ(t.UsedCount(), 0);  // the objects were reset first

  r.Clear();
  t = Sample();
  std::vector<uint8_t> bytes = EncodeManualXki(t, nullptr);
  ManualTracks back;
  // Frames 2..5 do not fit a record of 5 frames: the first track stops the reading.
  EXPECT_EQ(DecodeManualXki(bytes, back, 5, kNmX, kNmY, r), 0);
  EXPECT_EQ(r.Texts(), std::vector<std::string>{std::string(kTrackTimingError)});
  // A file of zero bytes holds no object.
  r.Clear();
  EXPECT_EQ(DecodeManualXki({}, back, 5, kNmX, kNmY, r), 0);
  EXPECT_TRUE(r.messages().empty());
}

TEST(ManualXki, StopsAfter100ObjectsEvenFromTenThousandTracks) {
  // A file of the tracking window's full 10000 tracks (one point each), and
  // files just at and just over the 100 objects this window holds.
  for (int32_t tracks : {100, 101, 10000}) {
    SCOPED_TRACE(tracks);
    std::vector<float> f;
    for (int32_t i = 0; i < tracks; ++i)
      for (float v : {0.0f, 0.0f, 0.0f, 5.0f + i % 50, 6.0f, 1.0f, 3.0f, 80.0f, 0.0f, 0.0f})
        f.push_back(v);
    // A broken track after the 100th is never reached.
    for (float v : {0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f, 99.0f, 1.0f, 0.0f, 0.0f}) f.push_back(v);
    CollectingReporter r;
    ManualTracks t;
    EXPECT_EQ(DecodeManualXki(AsBytes(f), t, 10, kNmX, kNmY, r), 100);
    EXPECT_EQ(r.Texts(), std::vector<std::string>{std::string(kTooManyTracksTruncated)});
    EXPECT_EQ(t.UsedCount(), 100);
    EXPECT_TRUE(t.Object(10).shown);
    EXPECT_FALSE(t.Object(11).shown);
    EXPECT_NEAR(t.Object(99).x[3], (5 + 99 % 50 + 0.5) * kNmX, 0.01);
  }
}

TEST(ManualXki, TakesOnlyLinkedTracksOfTheTrackingWindow) {
  TrackStore store;
  store.Reset(10);
  CollectingReporter r;
  ManualTracks t = Sample();
  EXPECT_EQ(TakeTrackingWindowTracks(store, false, t, 10, kNmX, kNmY, r), -1);
  EXPECT_EQ(r.Texts(), std::vector<std::string>{std::string(kNoLinkedTracks)});
  EXPECT_EQ(t.UsedCount(), 2);  // unchanged
  for (int32_t s = 0; s < 3; ++s) {
    TrackRec& rec = store.Use(s);
    rec.completed = 1;
    rec.X = 20 + s;
    rec.Y = 30;
    rec.first_frame = 1;
    rec.point_count = 2;
    rec.selected = s == 1;
    rec.x[1] = 0.0f;
    rec.x[2] = 0.016f;  // a tenth of a pixel
    rec.intensity[1] = rec.intensity[2] = 400.0f;
  }
  store.track_count = store.completed_count = 3;
  store.refined = true;
  EXPECT_EQ(TakeTrackingWindowTracks(store, true, t, 10, kNmX, kNmY, r), 1);
  EXPECT_NEAR(t.Object(0).x[1], 21.5 * kNmX, 0.01);
  EXPECT_NEAR(t.Object(0).x[2], 21.6 * kNmX, 0.01);
  EXPECT_EQ(t.Object(0).value[2], 400.0f);
  EXPECT_EQ(TakeTrackingWindowTracks(store, false, t, 10, kNmX, kNmY, r), 3);
}

}  // namespace
}  // namespace lumetra
