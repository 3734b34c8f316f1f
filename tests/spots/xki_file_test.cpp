// XKI track files: byte layout, round trips of both layouts, files of the
// manual tracking window, and damaged or hostile files.
#include "spots/xki_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "spots/spots_messages.h"

namespace lumetra {
namespace {

std::vector<uint8_t> Floats(const std::vector<float>& v) {
  std::vector<uint8_t> b(v.size() * 4);
  std::memcpy(b.data(), v.data(), b.size());  // the tests run on little-endian hosts
  return b;
}

// Two finished tracks, one open and one not good (neither is written).
std::unique_ptr<TrackStore> Sample() {
  auto s = std::make_unique<TrackStore>();
  s->Reset(10);
  auto add = [&](int32_t slot, int32_t first, int32_t n, bool completed, bool good) {
    TrackRec& t = s->Use(slot);
    t.completed = completed;
    t.good = good;
    t.first_frame = first;
    t.point_count = n;
    t.X = 30 + slot;
    t.Y = 40 + slot;
    for (int32_t i = 0; i <= n; ++i) {
      t.intensity[first + i] = 100.5f + i;
      t.x[first + i] = 0.01f * i;
      t.y[first + i] = -0.02f * i;
      t.z[first + i] = 7.0f + i;
    }
  };
  add(0, 2, 3, true, true);
  add(1, 0, 2, false, true);
  add(2, 1, 2, true, false);
  add(3, 5, 4, true, true);
  s->track_count = 4;
  s->completed_count = 3;
  return s;
}

TEST(XkiFile, CurrentLayoutBytes) {
  const auto s = Sample();
  XkiWriteOptions o;
  o.parameter = 100;
  const auto bytes = EncodeXki(*s, o);
  const std::vector<float> first = {0,      0,      100,   30,    40,    3,     2,      100.5f,
                                    101.5f, 102.5f, 0.00f, 0.01f, 0.02f, -0.0f, -0.02f, -0.04f};
  ASSERT_EQ(bytes.size(), (16u + 7u + 3u * 4u) * 4u);
  const auto expected = Floats(first);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bytes.begin()));
}

TEST(XkiFile, RoundTripsBothLayouts) {
  const auto s = Sample();
  for (XkiLayout layout : {XkiLayout::kCurrent, XkiLayout::kOlder}) {
    XkiWriteOptions o;
    o.layout = layout;
    const auto bytes = EncodeXki(*s, o);
    auto back = std::make_unique<TrackStore>();
    CollectingReporter rep;
    ASSERT_EQ(DecodeXki(bytes, *back, 10, false, rep), 2);
    EXPECT_TRUE(rep.messages().empty());
    EXPECT_EQ(back->track_count, 2);
    EXPECT_EQ(back->completed_count, 2);
    const TrackRec& t = back->Slot(1);
    EXPECT_EQ(t.first_frame, 5);
    EXPECT_EQ(t.point_count, 4);
    EXPECT_EQ(t.X, 33);
    EXPECT_EQ(t.Y, 43);
    EXPECT_FLOAT_EQ(t.intensity[8], 103.5f);
    EXPECT_FLOAT_EQ(t.y[6], -0.02f);
    EXPECT_EQ(EncodeXki(*back, o), bytes);
  }
}

TEST(XkiFile, SelectedOnlyAndZSeries) {
  auto s = Sample();
  s->Slot(3).selected = true;
  XkiWriteOptions o;
  o.selected_only = true;
  o.save_zpos = true;
  const auto bytes = EncodeXki(*s, o);
  ASSERT_EQ(bytes.size(), (7u + 12u) * 4u);
  float v;
  std::memcpy(&v, bytes.data() + 28, 4);
  EXPECT_FLOAT_EQ(v, 7.0f);
  auto back = std::make_unique<TrackStore>();
  CollectingReporter rep;
  ASSERT_EQ(DecodeXki(bytes, *back, 10, true, rep), 1);
  EXPECT_FLOAT_EQ(back->Slot(0).z[0], 7.0f);  // copied from element 0 on
  EXPECT_FLOAT_EQ(back->Slot(0).z[3], 10.0f);
}

TEST(XkiFile, ManualTrackingWindowFileReads) {
  // Parameter 0.0, start in pixels, intensity unset: object number 3 + 50.
  const auto bytes = Floats({0, 0, 0, 12.7f, 8.2f, 2, 4, 53, 53, 0, 0.1f, 0, -0.1f});
  auto s = std::make_unique<TrackStore>();
  CollectingReporter rep;
  ASSERT_EQ(DecodeXki(bytes, *s, 10, false, rep), 1);
  EXPECT_EQ(s->Slot(0).X, 12);
  EXPECT_EQ(s->Slot(0).Y, 8);
  EXPECT_FLOAT_EQ(s->Slot(0).intensity[4], 53.0f);
  EXPECT_FLOAT_EQ(s->Slot(0).y[5], -0.1f);
}

TEST(XkiFile, EmptyTimingErrorAndDamagedFiles) {
  auto s = std::make_unique<TrackStore>();
  CollectingReporter rep;
  EXPECT_EQ(DecodeXki({}, *s, 10, false, rep), 0);
  EXPECT_TRUE(rep.messages().empty());
  // The second track ends beyond the 10 frames: reading stops there.
  auto bytes = Floats({0, 0, 0, 10, 10, 1, 0, 5, 0, 0, 0, 0, 0, 10, 10, 2, 9, 5, 5, 0, 0, 0, 0});
  EXPECT_EQ(DecodeXki(bytes, *s, 10, false, rep), 1);
  EXPECT_EQ(rep.Texts(MessageKind::kModal),
            std::vector<std::string>{std::string(kTrackTimingError)});
  // Negative, NaN and huge counts, and a file cut inside a track.
  const float nan = std::nanf("");
  for (const auto& bad : {Floats({0, 0, 0, 1, 1, -3, 0}), Floats({0, 0, 0, 1, 1, nan, 0}),
                          Floats({0, 0, 0, 1, 1, 3e9f, 0}), Floats({0, 0, 0, 1, 1, 3, 0, 1, 2}),
                          Floats({5, 5, 1e9f, 0, 1, 1})}) {
    rep.Clear();
    EXPECT_EQ(DecodeXki(bad, *s, 10, false, rep), 0);
  }
  for (size_t cut = 0; cut < bytes.size(); ++cut) {
    std::vector<uint8_t> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
    EXPECT_LE(DecodeXki(part, *s, 10, false, rep), 1);
  }
}

TEST(XkiFile, ImpossibleCountsAreABrokenFile) {
  // Stored counts of both layouts that give fewer than 0 points, down to the
  // lowest float (an older file stores n + 1, so -2^31 would overflow n).
  const float nan = std::nanf("");
  struct Case {
    const char* what;
    std::vector<float> floats;
  };
  for (const Case& c :
       {Case{"current, -3", {0, 0, 0, 1, 1, -3, 0}}, Case{"current, NaN", {0, 0, 0, 1, 1, nan, 0}},
        Case{"older, 0", {5, 5, 0, 0, 1, 1, 1}}, Case{"older, -2^31", {5, 5, -2147483648.0f, 0}},
        Case{"older, -3e38", {5, 5, -3e38f, 0}}, Case{"older, -inf", {5, 5, -INFINITY, 0}}}) {
    SCOPED_TRACE(c.what);
    auto s = std::make_unique<TrackStore>();
    CollectingReporter rep;
    EXPECT_EQ(DecodeXki(Floats(c.floats), *s, 10, false, rep), 0);
    EXPECT_EQ(rep.Texts(MessageKind::kModal),
              std::vector<std::string>{std::string(kBrokenXkiFile)});
  }
  // A good track before the broken one stays.
  auto s = std::make_unique<TrackStore>();
  CollectingReporter rep;
  EXPECT_EQ(DecodeXki(Floats({5, 5, 2, 0, 1, 2, 3, 5, 5, -2147483648.0f, 0}), *s, 10, false, rep),
            1);
  EXPECT_TRUE(rep.Contains(kBrokenXkiFile));
}

// Zeros are tracks of no point: an endless source gives the store's 10000
// and is read no further.
TEST(XkiFile, AnEndlessSourceIsReadOnlyAsFarAsTracksCanReach) {
  TrackStore s;
  CollectingReporter rep;
  EXPECT_EQ(ReadXkiFile("/dev/zero", s, 10, false, rep), kMaxTracks);
}

TEST(XkiFile, WriteFailureIsReported) {
  const auto s = Sample();
  CollectingReporter rep;
  EXPECT_FALSE(WriteXkiFile("/nonexistent-dir/t.xki", *s, {}, rep));
  EXPECT_TRUE(rep.Contains(kCanNotOpenForWriting));
}

}  // namespace
}  // namespace lumetra
