// The tracking window's setting commands: ranges, refusal messages, captions,
// and the settings file's keys.
#include "spots/tracking_settings.h"

#include <gtest/gtest.h>

#include "spots/spots_messages.h"

namespace lumetra {
namespace {

TEST(TrackingSettings, RangesAndMessages) {
  struct Case {
    TrackingCommand command;
    const char* text;
    bool accepted;
    std::string_view error;
  };
  const Case cases[] = {
      {TrackingCommand::kMaxRadius, "0", true, ""},
      {TrackingCommand::kMaxRadius, "30", true, ""},
      {TrackingCommand::kMaxRadius, "31", false, kMaxRadiusError},
      {TrackingCommand::kMinTrack, "3", true, ""},
      {TrackingCommand::kMinTrack, "2", false, kMinTrackError},
      {TrackingCommand::kMinTrack, "101", false, kMinTrackError},
      {TrackingCommand::kSensThr, "2", true, ""},
      {TrackingCommand::kSensThr, "abc", false, kThresholdError},  // a non-number is 0
      {TrackingCommand::kSensThr, "10001", false, kThresholdError},
      {TrackingCommand::kClustThr, "65000", true, ""},
      {TrackingCommand::kClustThr, "2", false, kThresholdError},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    TrackingParams p;
    const TrackingParams before = p;
    CollectingReporter rep;
    EXPECT_EQ(ApplyTrackingSetting(c.command, c.text, p, rep), c.accepted);
    if (c.accepted) {
      EXPECT_EQ(OfferedText(c.command, p), c.text);
    } else {
      EXPECT_EQ(rep.Texts(MessageKind::kModal), std::vector<std::string>{std::string(c.error)});
      EXPECT_EQ(OfferedText(c.command, p), OfferedText(c.command, before));
    }
  }
}

TEST(TrackingSettings, CaptionsAndSettingsKeys) {
  TrackingParams p;
  EXPECT_EQ(CommandCaption(TrackingCommand::kMaxRadius, p), "Max.(R)adius=5 pix");
  EXPECT_EQ(CommandCaption(TrackingCommand::kMinTrack, p), "Track(L)en>=10 steps");
  EXPECT_EQ(CommandCaption(TrackingCommand::kSensThr, p), "(Q)-Thresh=8");
  EXPECT_EQ(CommandCaption(TrackingCommand::kClustThr, p), "(C)lastThr=500 counts/pixel");
  EXPECT_EQ(SettingsMenuCaption(p), "Settings(R5,FWHM250)");
  EXPECT_EQ(PromptFor(TrackingCommand::kSensThr).title, "Set Sensetivity Threshold");
  Settings s;
  s.MaxTrackingJump = 7;
  s.MinTrackLength = 20;
  s.Q_threshold = 4;
  s.ClusterThreshold = 900;
  s.FwhmNm = 300;
  const TrackingParams q = TrackingParamsFrom(s);
  EXPECT_EQ(q.max_radius, 7);
  EXPECT_EQ(q.min_track, 20);
  EXPECT_EQ(q.q_threshold, 4);
  EXPECT_EQ(q.cluster_threshold, 900);
  EXPECT_EQ(q.fwhm_nm, 300);
  Settings back;
  StoreTrackingParams(q, back);
  EXPECT_EQ(back, s);
}

}  // namespace
}  // namespace lumetra
