#include "settings/settings_model.h"

#include <gtest/gtest.h>

#include "settings/settings_messages.h"

namespace lumetra {
namespace {

using C = SettingCommand;

TEST(SettingsModel, DialogsKeepTheirOwnWording) {
  struct Row {
    C command;
    const char* handler;
    const char* title;
    const char* prompt;
  };
  const Row rows[] = {
      {C::kSetFWHM, "SetFWHMClick", "Set new FWHM value", "FWHM (nm)="},
      {C::kSetStep, "SetStepClick", "Set Fitting Limit (0.005-0.5 pixel)", "limit="},
      {C::kSetVelocityStep, "SetVelocityStepClick", "Interval for Velocity Measurements",
       "interval (in frames)"},
      {C::kRunningBufferSizeSet, "RunningBufferSizeSetClick", "Running Buffer Size", "N=(frames)"},
      {C::kProfileWidth, "ProfileWidthClick", "Set Profile Width (ODD NUMBER 1-49)",
       "Width (in pixels)"},
      {C::kSetScaleBarSize, "SetScaleBarSizeClick", "Set Scale Bar Size", "Scale Bar Size (um)"},
      {C::kSetPrintZoom, "SetPrintZoomClick", "Set print zoom (1-10)", "Zoom="},
      {C::kSetLocalBackgr, "SetLocalBackgrClick", "Set Radius for local Background Filter",
       "Radius (pixels)="},
      {C::kSetSharpStrength, "SetSharpStrengthClick", "Set Strength for Sharpening filter (0.2-20)",
       "Strength="},
      {C::kShift68, "Shift68Click", "Set Shift for 68deg imahe", "counts/pix"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.handler);
    EXPECT_EQ(DialogOf(r.command).handler, r.handler);
    EXPECT_EQ(DialogOf(r.command).title, r.title);
    EXPECT_EQ(DialogOf(r.command).prompt, r.prompt);
  }
  EXPECT_TRUE(DialogOf(C::kSetFWHM).preview);
  EXPECT_TRUE(DialogOf(C::kProfileWidth).repaint);
  EXPECT_FALSE(DialogOf(C::kSetPrintZoom).repaint);
}

// One row per boundary: the typed text, whether it is taken, and the value
// read back through the offered text (or the refusal).
struct SetCase {
  C command;
  const char* text;
  const char* stored;  // offered text afterwards; nullptr when refused
  const char* refusal;
};

TEST(SettingsModel, SetterBoundaries) {
  const SetCase cases[] = {
      {C::kSetFWHM, "10", "10", nullptr},
      {C::kSetFWHM, "9", nullptr, "Too small FWHM"},
      {C::kSetFWHM, "100000", "100000", nullptr},
      // Text that is no number is named so before the range check.
      {C::kSetFWHM, "abc", nullptr, "not a number"},
      {C::kSetVelocityStep, "x", nullptr, "not a number"},
      {C::kRunningBufferSizeSet, "two", nullptr, "not a number"},
      {C::kProfileWidth, "3a", nullptr, "not a number"},
      {C::kSetScaleBarSize, "-", nullptr, "not a number"},
      {C::kSetSharpStrength, "strong", nullptr, "not a number"},
      {C::kSetFWHM, "250.5", nullptr, "Too small FWHM"},
      {C::kSetStep, "0.005", "0.005", nullptr},
      {C::kSetStep, "0.0049", nullptr, "Too small or large step"},
      {C::kSetStep, "0.00491", "0.00491", nullptr},  // below the stated 0.005
      {C::kSetStep, "0.5", "0.5", nullptr},
      {C::kSetStep, "0.50001", nullptr, "Too small or large step"},
      {C::kSetStep, "x", nullptr, "not a number"},
      {C::kSetVelocityStep, "1", "1", nullptr},
      {C::kSetVelocityStep, "0", nullptr, "Velocity Step is out of order"},
      {C::kSetVelocityStep, "100", "100", nullptr},
      {C::kSetVelocityStep, "101", nullptr, "Velocity Step is out of order"},
      {C::kRunningBufferSizeSet, "2", "2", nullptr},
      {C::kRunningBufferSizeSet, "1", nullptr, "Running Sum Number is out of scope (2-10)"},
      {C::kRunningBufferSizeSet, "10", "10", nullptr},
      {C::kRunningBufferSizeSet, "11", "11", nullptr},  // despite the message
      {C::kRunningBufferSizeSet, "50", "50", nullptr},
      {C::kRunningBufferSizeSet, "51", nullptr, "Running Sum Number is out of scope (2-10)"},
      {C::kProfileWidth, "1", "1", nullptr},
      {C::kProfileWidth, "4", "5", nullptr},
      {C::kProfileWidth, "49", "49", nullptr},
      {C::kProfileWidth, "50", "51", nullptr},
      {C::kProfileWidth, "51", nullptr, "Profile Width is out of order"},
      {C::kProfileWidth, "0", nullptr, "Profile Width is out of order"},
      {C::kSetScaleBarSize, "1", "1", nullptr},
      {C::kSetScaleBarSize, "0", nullptr, "Scale Bar Size is out of order"},
      {C::kSetScaleBarSize, "100000", "100000", nullptr},
      {C::kSetScaleBarSize, "100001", nullptr, "Scale Bar Size is out of order"},
      {C::kSetPrintZoom, "1", "1", nullptr},
      {C::kSetPrintZoom, "10", "10", nullptr},
      {C::kSetPrintZoom, "11", nullptr, "Print Zoom out of order"},
      {C::kSetPrintZoom, "", nullptr, "not a number"},
      {C::kSetLocalBackgr, "1", "1", nullptr},
      {C::kSetLocalBackgr, "20", "20", nullptr},
      {C::kSetLocalBackgr, "21", nullptr,
       "The radius of Local Background Filter is Out of Order (1-20)"},
      {C::kSetLocalBackgr, "0", nullptr,
       "The radius of Local Background Filter is Out of Order (1-20)"},
      {C::kSetLocalBackgr, "five", "1", nullptr},  // here a non-number counts as 1
      {C::kSetSharpStrength, "0.2", nullptr, "Strength Value Out of Order"},
      {C::kSetSharpStrength, "0.21", "0.21", nullptr},
      {C::kSetSharpStrength, "20", "20", nullptr},
      {C::kSetSharpStrength, "20.01", nullptr, "Strength Value Out of Order"},
      {C::kShift68, "-1000", "-1000", nullptr},
      {C::kShift68, "1000", "1000", nullptr},
      {C::kShift68, "-1001", nullptr, "Shift value out of order (-1000 1000"},
      {C::kShift68, "1001", nullptr, "Shift value out of order (-1000 1000"},
      {C::kShift68, "junk", "0", nullptr},
      {C::kShift68, " 12 ", "12", nullptr},
      {C::kSetTiffNmPerPixel, "106.7", "106.7", nullptr},
      {C::kSetTiffNmPerPixel, "0.5", nullptr, "Pixel size out of order (1-100000 nm"},
      {C::kSetTiffFrameMs, "0.01", "0.01", nullptr},
      {C::kSetTiffFrameMs, "100001", nullptr, "Frame time out of order (0.01-100000 ms"},
      {C::kSetTiffFrameMs, "fast", nullptr, "not a number"},
      {C::kShift68, "99999999999", "0", nullptr},  // beyond 32 bits: not a number
  };
  for (const SetCase& c : cases) {
    SCOPED_TRACE(std::string(DialogOf(c.command).handler) + " '" + c.text + "'");
    Settings s;
    s.Shift68 = 7;  // a value a refusal must keep
    const Settings before = s;
    const SetResult r = ApplySetting(s, c.command, c.text);
    if (c.stored) {
      EXPECT_TRUE(r.accepted);
      EXPECT_TRUE(r.refusal.empty());
      EXPECT_EQ(OfferedText(s, c.command), c.stored);
    } else {
      EXPECT_FALSE(r.accepted);
      EXPECT_EQ(r.refusal, c.refusal);
      EXPECT_EQ(s, before);
    }
  }
}

TEST(SettingsModel, StartCaptions) {
  const MenuCaptions c = SettingsModel().captions();
  EXPECT_EQ(c.SetStep, "Set Fitting Limit (0.1)");
  EXPECT_EQ(c.SetFWHM, "Set FWHM (250nm)");
  EXPECT_EQ(c.SetVelocityStep, "Set Velocity Step (3)");
  EXPECT_EQ(c.RunningBufferSizeSet, "Running Buf. Size=3");
  EXPECT_EQ(c.ProfileWidth, "Profile Width (3)");
  EXPECT_EQ(c.SetScaleBarSize, "Scale Bar Size");
  EXPECT_EQ(c.SetPrintZoom, "Print Zoom (4)");
  EXPECT_EQ(c.SetLocalBackgr, "Local Backgr Rad=3");
  EXPECT_EQ(c.SetSharpStrength, "Sharp=16");
  EXPECT_EQ(c.Shift68, "68deg Shift=0(c/p)");
  EXPECT_EQ(c.WindLen, "Window=10fr");
  EXPECT_EQ(c.View, "View");
}

TEST(SettingsModel, CaptionsFollowAcceptedValuesOnly) {
  SettingsModel m;
  const std::pair<C, const char*> steps[] = {
      {C::kSetFWHM, "300"},          {C::kSetStep, "0.25"},
      {C::kSetVelocityStep, "7"},    {C::kRunningBufferSizeSet, "12"},
      {C::kProfileWidth, "50"},      {C::kSetScaleBarSize, "5"},
      {C::kSetPrintZoom, "5"},       {C::kSetLocalBackgr, "9"},
      {C::kSetSharpStrength, "2.5"}, {C::kShift68, "-40"},
  };
  for (const auto& [command, text] : steps) ASSERT_TRUE(m.Set(command, text).accepted) << text;
  const MenuCaptions& c = m.captions();
  EXPECT_EQ(c.SetFWHM, "Set FWHM (300nm)");
  EXPECT_EQ(c.SetStep, "Set Fitting Limit (0.25)");
  EXPECT_EQ(c.SetVelocityStep, "Set Velocity Step (7)");
  EXPECT_EQ(c.RunningBufferSizeSet, "Running Buf. Size=12");
  EXPECT_EQ(c.ProfileWidth, "Profile Width (51)");
  EXPECT_EQ(c.SetScaleBarSize, "Scale Bar Size");
  EXPECT_EQ(c.SetPrintZoom, "Print Zom(5)");
  EXPECT_EQ(c.SetLocalBackgr, "Local Backgr Rad=9");
  EXPECT_EQ(c.SetSharpStrength, "Sharp=2.5");
  EXPECT_EQ(c.Shift68, "68deg Shift=-40(c/p)");
  const MenuCaptions before = m.captions();
  EXPECT_FALSE(m.Set(C::kSetPrintZoom, "0").accepted);
  EXPECT_EQ(m.captions(), before);
  EXPECT_EQ(CaptionOf(m.captions(), C::kSetPrintZoom), "Print Zom(5)");
}

TEST(SettingsModel, OfferedTextTruncatesDoublesExceptLimitAndStrength) {
  Settings s;
  EXPECT_EQ(OfferedText(s, C::kSetFWHM), "250");
  EXPECT_EQ(OfferedText(s, C::kSetStep), "0.1");
  EXPECT_EQ(OfferedText(s, C::kSetScaleBarSize), "10");
  EXPECT_EQ(OfferedText(s, C::kSetSharpStrength), "16");
  s.FwhmNm = 312.9;
  s.ScaleBarSize = 2.7;
  s.SharpStrength = 0.75;
  EXPECT_EQ(OfferedText(s, C::kSetFWHM), "312");
  EXPECT_EQ(OfferedText(s, C::kSetScaleBarSize), "2");
  EXPECT_EQ(OfferedText(s, C::kSetSharpStrength), "0.75");
}

TEST(SettingsModel, ZoomFromTheViewMenuIsClampedAndShown) {
  SettingsModel m;
  m.SetZoom(40);
  EXPECT_EQ(m.values().Zoom, 30);
  EXPECT_EQ(m.captions().View, "View (Z=30)");
  m.SetZoom(0);
  EXPECT_EQ(m.values().Zoom, 1);
}

}  // namespace
}  // namespace lumetra
