// User-facing texts of the Settings menu and the settings file: input box
// titles and prompts, refusal messages, caption pieces and file messages.
// They keep their own wording, including stated ranges that differ from the
// ranges the setters accept.
#pragma once

#include <string_view>

#include "common/common_messages.h"

namespace lumetra {

// Typed text that is no number at all, refused before any range check.
inline constexpr std::string_view kNotANumber = "not a number";

// Input boxes: title, prompt and refusal of each setter.
inline constexpr std::string_view kFwhmTitle = "Set new FWHM value";
inline constexpr std::string_view kFwhmPrompt = "FWHM (nm)=";
inline constexpr std::string_view kFwhmRefusal = "Too small FWHM";
inline constexpr std::string_view kStepTitle = "Set Fitting Limit (0.005-0.5 pixel)";
inline constexpr std::string_view kStepPrompt = "limit=";
inline constexpr std::string_view kStepRefusal = "Too small or large step";
inline constexpr std::string_view kVelocityStepTitle = "Interval for Velocity Measurements";
inline constexpr std::string_view kVelocityStepPrompt = "interval (in frames)";
inline constexpr std::string_view kVelocityStepRefusal = "Velocity Step is out of order";
inline constexpr std::string_view kRunningBufTitle = "Running Buffer Size";
inline constexpr std::string_view kRunningBufPrompt = "N=(frames)";
inline constexpr std::string_view kRunningBufRefusal = "Running Sum Number is out of scope (2-10)";
inline constexpr std::string_view kProfileWidthTitle = "Set Profile Width (ODD NUMBER 1-49)";
inline constexpr std::string_view kProfileWidthPrompt = "Width (in pixels)";
inline constexpr std::string_view kProfileWidthRefusal = "Profile Width is out of order";
inline constexpr std::string_view kScaleBarTitle = "Set Scale Bar Size";
inline constexpr std::string_view kScaleBarPrompt = "Scale Bar Size (um)";
inline constexpr std::string_view kScaleBarRefusal = "Scale Bar Size is out of order";
inline constexpr std::string_view kPrintZoomTitle = "Set print zoom (1-10)";
inline constexpr std::string_view kPrintZoomPrompt = "Zoom=";
inline constexpr std::string_view kPrintZoomRefusal = "Print Zoom out of order";
inline constexpr std::string_view kLocalBackgrTitle = "Set Radius for local Background Filter";
inline constexpr std::string_view kLocalBackgrPrompt = "Radius (pixels)=";
inline constexpr std::string_view kLocalBackgrRefusal =
    "The radius of Local Background Filter is Out of Order (1-20)";
inline constexpr std::string_view kSharpTitle = "Set Strength for Sharpening filter (0.2-20)";
inline constexpr std::string_view kSharpPrompt = "Strength=";
inline constexpr std::string_view kSharpRefusal = "Strength Value Out of Order";
inline constexpr std::string_view kShift68Title = "Set Shift for 68deg imahe";
inline constexpr std::string_view kShift68Prompt = "counts/pix";
inline constexpr std::string_view kShift68Refusal = "Shift value out of order (-1000 1000";
inline constexpr std::string_view kTiffNmTitle = "Pixel size of TIFF records without one (1-100000 nm)";
inline constexpr std::string_view kTiffNmPrompt = "nm/pix=";
inline constexpr std::string_view kTiffNmRefusal = "Pixel size out of order (1-100000 nm";
inline constexpr std::string_view kTiffMsTitle = "Frame time of TIFF records without one (0.01-100000 ms)";
inline constexpr std::string_view kTiffMsPrompt = "ms=";
inline constexpr std::string_view kTiffMsRefusal = "Frame time out of order (0.01-100000 ms";

// Menu captions: the fixed ones and the pieces the others are built from.
inline constexpr std::string_view kScaleBarCaption = "Scale Bar Size";
inline constexpr std::string_view kStartPrintZoomCaption = "Print Zoom (4)";
inline constexpr std::string_view kViewCaption = "View";

// The settings file.
inline constexpr std::string_view kDefaultIniName = "Lumetra.ini";
// Settings dialogs: filter in "name|pattern" pairs and the extension added to a bare name.
inline constexpr std::string_view kIniFilter = "INI file|*.ini";
inline constexpr std::string_view kIniDefaultExt = "ini";
inline constexpr std::string_view kReadSettingsCaption = "Read Settings (INI)";
inline constexpr std::string_view kSaveSettingsCaption = "Save Settings (INI)";
inline constexpr std::string_view kCanNotOpenFile = "Can not open file";
// Fourteen short lines make a settings file; anything far longer (a device,
// a data file chosen by mistake) is left unread and nothing changes.
inline constexpr std::string_view kIniFileTooLarge =
    "The settings file is too large (over 1 MB): nothing was read";

}  // namespace lumetra
