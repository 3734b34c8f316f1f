// The window's session on real records played through the store: Detect,
// the choice of objects, Tracking, the tests, the results text, and the
// refusals that must leave everything collected in place.
#include "steps/step_analysis.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>

#include "record/record_store.h"
#include "steps/steps_messages.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

using lumetra::testing::TempPath;
using lumetra::testing::TestHeader;
using lumetra::testing::XkvBuilder;

// A w x h 8-bit record, 50 ms a frame, pixel values from `value(f, x, y)`.
std::string MakeRecord(const std::string& name, int32_t w, int32_t h, int32_t frames,
                       const std::function<uint16_t(int32_t, int32_t, int32_t)>& value) {
  const std::string path = TempPath(name);
  XkvBuilder b;
  std::vector<uint16_t> px(static_cast<size_t>(w) * h);
  for (int32_t f = 0; f < frames; ++f) {
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) px[static_cast<size_t>(y) * w + x] = value(f, x, y);
    b.Frame(TestHeader(w, h, 8, f * 50), px);
  }
  b.Save(path);
  return path;
}

// 200 counts, +-3 frame to frame, dropping to 50 at `step`.
uint16_t Bleaching(int32_t f, int32_t step) {
  return static_cast<uint16_t>((f < step ? 200 : 50) + (f % 2 ? 3 : -3));
}

struct Session {
  CollectingReporter rep;
  std::unique_ptr<RecordStore> record = RecordStore::Create(rep);
  StepAnalysis analysis{rep, 2};
  explicit Session(const std::string& path) {
    EXPECT_TRUE(record->Open(path, rep));
    EXPECT_TRUE(analysis.OpenRecord(*record));
  }
};

TEST(StepAnalysis, ARecordTooShortGivesEmptyMapsAndSaysSo) {
  const std::string path = MakeRecord("short.xkv", 16, 16, 20,
                                      [](int32_t f, int32_t, int32_t) { return Bleaching(f, 10); });
  Session s(path);
  EXPECT_TRUE(s.analysis.StartTrClick(*s.record, 0));
  for (int32_t v : s.analysis.Maps().DropMap) ASSERT_EQ(v, 0);
  EXPECT_EQ(s.analysis.DetectReadOut(),
            "Record too short for step detection: 20 frames read, 21 needed - the maps are empty");
  EXPECT_EQ(s.analysis.CountText(), "0 spots above Thresh(10) (up to 10000 spots)");
  EXPECT_EQ(s.analysis.ShowTestsCaption(), "Drops");
  s.rep.Clear();
  EXPECT_FALSE(s.analysis.CollectClick(*s.record));
  EXPECT_EQ(s.rep.Texts(MessageKind::kModal), std::vector<std::string>{std::string(kNoObjects)});
  const std::string out = TempPath("short.txt");
  EXPECT_TRUE(s.analysis.SaveTXTClick(out));
  const auto bytes = lumetra::testing::ReadBytes(out);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), kResultsHeader);
}

TEST(StepAnalysis, LongRecordIsCappedAndASpotAtTheBoxEdgeIsScored) {
  // 10000 frames of 8 x 8. A 1 x 1 spot at (5, 5), the last column with box
  // sums, bleaches at frame 400; another at (2, 2) bleaches at frame 5000,
  // beyond the 1000 frames analysed.
  const std::string path = MakeRecord("long.xkv", 8, 8, 10000, [](int32_t f, int32_t x, int32_t y) {
    if (x == 5 && y == 5) return Bleaching(f, 400);
    if (x == 2 && y == 2) return Bleaching(f, 5000);
    return uint16_t{0};
  });
  Session s(path);
  EXPECT_TRUE(s.rep.Contains(kTooManyFramesSteps));
  EXPECT_EQ(s.analysis.Frames(), 1000);
  EXPECT_EQ(s.analysis.AllocatedText(), "0 Mb allocated - Click 'Detect'");
  s.analysis.SetSpotSize(0);
  ASSERT_TRUE(s.analysis.StartTrClick(*s.record, 0));
  const StepMaps& m = s.analysis.Maps();
  EXPECT_EQ(m.DropMap[m.Index(5, 5)], 150);
  EXPECT_EQ(m.DropFrame[m.Index(5, 5)], 400);
  EXPECT_EQ(m.DropMap[m.Index(2, 2)], 0);
  // The frame shown is the drop image.
  EXPECT_EQ(s.record->FrameBuffer()[5 * 8 + 5], 150);
  EXPECT_EQ(s.analysis.CountText(), "1 spots above Thresh(10) (up to 10000 spots)");
  s.analysis.SpotPixClick();
  EXPECT_EQ(s.analysis.CountText(), "1 pixs above Thresh(10) (up to 10000 pixs)");

  ASSERT_TRUE(s.analysis.CollectClick(*s.record));
  const TraceSet& t = s.analysis.Traces();
  ASSERT_EQ(t.objects.size(), 1u);
  EXPECT_EQ(t.frames, 1000);
  EXPECT_FLOAT_EQ(t.drop_time[0], 20.0f);  // frame 400 at 50 ms
  // No ring around a lone pixel: the trace is the pixel.
  EXPECT_FLOAT_EQ(t.Trace(0)[399], 203);
  EXPECT_FLOAT_EQ(t.Trace(0)[400], 47);
  ASSERT_TRUE(s.analysis.ShowStestClick());
  EXPECT_NEAR(s.analysis.Scores()[0].drop_amp, 150, 1e-3);
  EXPECT_GT(s.analysis.Scores()[0].s_test, 15);
  EXPECT_EQ(s.analysis.NextObject(-1), 0);
  EXPECT_EQ(s.analysis.NextObject(0), -1);
  EXPECT_EQ(s.analysis.AboveText(), "1 of 1 objects above S-test Thr=15");
  EXPECT_EQ(s.analysis.ObjectReadout(0).rfind("Stest=", 0), 0u);
  EXPECT_EQ(s.analysis.ObjectAt(6, 4, 1), 0);
  EXPECT_EQ(s.analysis.ObjectAt(7, 7, 1), -1);
  const std::vector<float> model = s.analysis.FittedModel(0);
  ASSERT_EQ(model.size(), 1000u);
  EXPECT_FLOAT_EQ(model[0], 200);
  EXPECT_FLOAT_EQ(model[500], 50);
  const Histogram times = s.analysis.TimeHistogram();
  EXPECT_EQ(times.start, 20);
  EXPECT_EQ(times.counts, std::vector<int32_t>{1});
}

TEST(StepAnalysis, RefusedCommandsKeepWhatWasCollected) {
  const std::string path = MakeRecord("keep.xkv", 16, 16, 80, [](int32_t f, int32_t x, int32_t y) {
    return (x == 8 && y == 8) ? Bleaching(f, 40) : uint16_t{10};
  });
  Session s(path);
  s.analysis.SetSpotSize(0);
  ASSERT_TRUE(s.analysis.StartTrClick(*s.record, 0));
  ASSERT_TRUE(s.analysis.CollectClick(*s.record));
  ASSERT_TRUE(s.analysis.ShowStestClick());
  const std::vector<float> trace(s.analysis.Traces().Trace(0), s.analysis.Traces().Trace(0) + 80);
  const float score = s.analysis.Scores()[0].s_test;
  ASSERT_GT(score, 0);

  struct Case {
    const char* name;
    std::function<bool()> command;
    std::string_view message;
  };
  StepAnalysis& a = s.analysis;
  const Case cases[] = {
      {"window 0", [&] { return a.WindLenClick("0"); }, kWindLenError},
      {"window 11", [&] { return a.WindLenClick("11"); }, kWindLenError},
      {"window not a number", [&] { return a.WindLenClick("ten"); }, kWindLenError},
      {"one step", [&] { return a.LimitNofStepsClick("1"); }, kMaxStepsError},
      {"ten steps", [&] { return a.LimitNofStepsClick("10"); }, kMaxStepsError},
      {"drop threshold 0", [&] { return a.InpThrClick("0"); }, kDropThrError},
      {"test threshold", [&] { return a.SetTestThreshold(StepTest::kS, "1001"); }, kTestThrError},
      {"time bin 0", [&] { return a.SetTimeBinClick("0"); }, kTimeBinError},
      {"amplitude bin", [&] { return a.SetAmplitudeBinClick("x"); }, kAmpBinError},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    s.rep.Clear();
    EXPECT_FALSE(c.command());
    EXPECT_EQ(s.rep.Texts(MessageKind::kModal), std::vector<std::string>{std::string(c.message)});
  }
  EXPECT_EQ(a.Params().window, 10);
  EXPECT_EQ(a.Params().max_steps, 9);
  EXPECT_EQ(a.Params().drop_threshold, 10);
  // A threshold that leaves no object: Tracking is refused, the traces stay.
  EXPECT_TRUE(a.InpThrClick("60000"));
  EXPECT_TRUE(a.Objects().empty());
  s.rep.Clear();
  EXPECT_FALSE(a.CollectClick(*s.record));
  EXPECT_EQ(s.rep.Texts(MessageKind::kModal), std::vector<std::string>{std::string(kNoObjects)});
  ASSERT_EQ(a.Traces().objects.size(), 1u);
  EXPECT_EQ(std::vector<float>(a.Traces().Trace(0), a.Traces().Trace(0) + 80), trace);
  EXPECT_EQ(a.Scores()[0].s_test, score);
  // A spot sent from elsewhere joins the choice; the next Tracking collects it.
  s.rep.Clear();
  EXPECT_FALSE(a.AddObjectClick(16, 3));
  EXPECT_EQ(s.rep.Texts(MessageKind::kModal), std::vector<std::string>{std::string(kOutsideFrame)});
  EXPECT_TRUE(a.AddObjectClick(8, 8));
  EXPECT_TRUE(a.AddObjectClick(8, 8));
  ASSERT_EQ(a.Objects().size(), 1u);
  EXPECT_EQ(a.Objects()[0].drop_frame, 40);
  ASSERT_TRUE(a.CollectClick(*s.record));
  EXPECT_EQ(std::vector<float>(a.Traces().Trace(0), a.Traces().Trace(0) + 80), trace);
  // Accepted values at the ends of their ranges.
  EXPECT_TRUE(a.WindLenClick("1"));
  EXPECT_TRUE(a.LimitNofStepsClick("2"));
  EXPECT_TRUE(a.SetTimeBinClick("0.5"));
}

TEST(StepAnalysis, WindowOfOneFrameAndTheSettingsFile) {
  const std::string path = MakeRecord("w1.xkv", 12, 12, 60, [](int32_t f, int32_t x, int32_t y) {
    return (x == 6 && y == 6) ? Bleaching(f, 30) : uint16_t{0};
  });
  Session s(path);
  Settings ini;
  ini.DetectWindow = 1;
  s.analysis.ApplySettings(ini);
  EXPECT_EQ(s.analysis.Params().window, 1);
  EXPECT_EQ(s.analysis.WindLenCaption(), "Window=1fr");
  EXPECT_EQ(s.analysis.SpotSizeCaption(), kSpotSizeCaptionStart);
  s.analysis.SetSpotSize(0);
  EXPECT_EQ(s.analysis.SpotSizeCaption(), "SpotSize(1X1)");
  ASSERT_TRUE(s.analysis.StartTrClick(*s.record, 0));
  const StepMaps& m = s.analysis.Maps();
  EXPECT_EQ(m.DropFrame[m.Index(6, 6)], 30);
  ASSERT_TRUE(s.analysis.CollectClick(*s.record));
  EXPECT_TRUE(s.analysis.ShowStestClick());
  EXPECT_TRUE(s.analysis.ShowPtestClick());
  EXPECT_TRUE(s.analysis.ShowMStestClick());
  EXPECT_EQ(s.analysis.Shown(), StepTest::kMS);
}

}  // namespace
}  // namespace lumetra
