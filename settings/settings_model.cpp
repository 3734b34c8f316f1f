#include "settings/settings_model.h"

#include <algorithm>
#include <array>
#include <vector>

#include "common/text_format.h"
#include "display/frame_painter.h"
#include "settings/ini_file.h"
#include "settings/settings_messages.h"

namespace lumetra {
namespace {

constexpr std::array<SettingDialog, 12> kDialogs = {{
    {"SetFWHM", "SetFWHMClick", kFwhmTitle, kFwhmPrompt, true, true},
    {"SetStep", "SetStepClick", kStepTitle, kStepPrompt, false, false},
    {"SetVelocityStep", "SetVelocityStepClick", kVelocityStepTitle, kVelocityStepPrompt, false,
     false},
    {"RunningBufferSizeSet", "RunningBufferSizeSetClick", kRunningBufTitle, kRunningBufPrompt,
     false, false},
    {"ProfileWidth", "ProfileWidthClick", kProfileWidthTitle, kProfileWidthPrompt, true, false},
    // The scale bar is drawn over the image, so a new size shows at once.
    {"SetScaleBarSize", "SetScaleBarSizeClick", kScaleBarTitle, kScaleBarPrompt, true, false},
    {"SetPrintZoom", "SetPrintZoomClick", kPrintZoomTitle, kPrintZoomPrompt, false, false},
    {"SetLocalBackgr", "SetLocalBackgrClick", kLocalBackgrTitle, kLocalBackgrPrompt, false, false},
    {"SetSharpStrength", "SetSharpStrengthClick", kSharpTitle, kSharpPrompt, false, false},
    {"Shift68", "Shift68Click", kShift68Title, kShift68Prompt, false, false},
    {"SetTiffNmPerPixel", "SetTiffNmPerPixelClick", kTiffNmTitle, kTiffNmPrompt, false, false},
    {"SetTiffFrameMs", "SetTiffFrameMsClick", kTiffMsTitle, kTiffMsPrompt, false, false},
}};

std::string Whole(double v) {
  return std::to_string(TruncToInt(v));
}

// Typed reals: text that is not a number is refused like an out-of-range value.
std::optional<double> TypedReal(std::string_view text) {
  return ParseReal(text);
}

SetResult Refused(std::string_view message) {
  return SetResult{false, message};
}
SetResult Accepted() {
  return SetResult{true, {}};
}

}  // namespace

const SettingDialog& DialogOf(SettingCommand command) {
  return kDialogs[static_cast<size_t>(command)];
}

std::string OfferedText(const Settings& s, SettingCommand command) {
  switch (command) {
    case SettingCommand::kSetFWHM:
      return Whole(s.FwhmNm);
    case SettingCommand::kSetStep:
      return FormatGeneral(s.TrackingLimit);
    case SettingCommand::kSetVelocityStep:
      return std::to_string(s.VelocityStep);
    case SettingCommand::kRunningBufferSizeSet:
      return std::to_string(s.RunningBufSize);
    case SettingCommand::kProfileWidth:
      return std::to_string(s.ProfileWidth);
    case SettingCommand::kSetScaleBarSize:
      return Whole(s.ScaleBarSize);
    case SettingCommand::kSetPrintZoom:
      return std::to_string(s.PrintZoom);
    case SettingCommand::kSetLocalBackgr:
      return std::to_string(s.LocalBackgrRad);
    case SettingCommand::kSetSharpStrength:
      return FormatGeneral(s.SharpStrength);
    case SettingCommand::kShift68:
      return std::to_string(s.Shift68);
    case SettingCommand::kSetTiffNmPerPixel:
      return FormatGeneral(s.TiffNmPerPixel);
    case SettingCommand::kSetTiffFrameMs:
      return FormatGeneral(s.TiffFrameMs);
  }
  return {};
}

SetResult ApplySetting(Settings& s, SettingCommand command, std::string_view text) {
  // Text that is no number is named as such rather than as out of range. The
  // local background radius and the 68-degree shift keep their fallbacks
  // (1 and 0), which lie inside their ranges and so were always accepted.
  const bool keeps_fallback =
      command == SettingCommand::kSetLocalBackgr || command == SettingCommand::kShift68;
  if (!keeps_fallback && !ParseReal(text)) return Refused(kNotANumber);
  const int32_t n = IntegerOr(text, 0);
  switch (command) {
    case SettingCommand::kSetFWHM:
      if (n < 10) return Refused(kFwhmRefusal);
      s.FwhmNm = n;
      return Accepted();
    case SettingCommand::kSetStep: {
      // The title says 0.005, but anything above 0.0049 is taken.
      const auto v = TypedReal(text);
      if (!v || !(*v > 0.0049 && *v <= 0.5)) return Refused(kStepRefusal);
      s.TrackingLimit = *v;
      return Accepted();
    }
    case SettingCommand::kSetVelocityStep:
      if (n < 1 || n > 100) return Refused(kVelocityStepRefusal);
      s.VelocityStep = n;
      return Accepted();
    case SettingCommand::kRunningBufferSizeSet:
      // The message says 2-10; the buffers take up to 50.
      if (n < 2 || n > 50) return Refused(kRunningBufRefusal);
      s.RunningBufSize = n;
      return Accepted();
    case SettingCommand::kProfileWidth:
      // Made odd after the check, so 50 is taken and stored as 51.
      if (n < 1 || n > 50) return Refused(kProfileWidthRefusal);
      s.ProfileWidth = (n / 2) * 2 + 1;
      return Accepted();
    case SettingCommand::kSetScaleBarSize:
      if (n < 1 || n > 100000) return Refused(kScaleBarRefusal);
      s.ScaleBarSize = n;
      return Accepted();
    case SettingCommand::kSetPrintZoom:
      if (n < 1 || n > 10) return Refused(kPrintZoomRefusal);
      s.PrintZoom = n;
      return Accepted();
    case SettingCommand::kSetLocalBackgr: {
      const int32_t r = IntegerOr(text, 1);  // here a non-number counts as 1
      if (r < 1 || r > 20) return Refused(kLocalBackgrRefusal);
      s.LocalBackgrRad = r;
      return Accepted();
    }
    case SettingCommand::kSetSharpStrength: {
      const auto v = TypedReal(text);
      if (!v || !(*v > 0.2 && *v <= 20)) return Refused(kSharpRefusal);
      s.SharpStrength = *v;
      return Accepted();
    }
    case SettingCommand::kShift68:
      if (n < -1000 || n > 1000) return Refused(kShift68Refusal);
      s.Shift68 = n;
      return Accepted();
    case SettingCommand::kSetTiffNmPerPixel: {
      const auto v = TypedReal(text);
      if (!v || !(*v >= 1 && *v <= 100000)) return Refused(kTiffNmRefusal);
      s.TiffNmPerPixel = *v;
      return Accepted();
    }
    case SettingCommand::kSetTiffFrameMs: {
      const auto v = TypedReal(text);
      if (!v || !(*v >= 0.01 && *v <= 100000)) return Refused(kTiffMsRefusal);
      s.TiffFrameMs = *v;
      return Accepted();
    }
  }
  return Refused({});
}

std::string FittingLimitCaption(double limit) {
  return "Set Fitting Limit (" + FormatGeneral(limit) + ")";
}
std::string FwhmCaption(double fwhm_nm) {
  return "Set FWHM (" + FormatGeneral(fwhm_nm) + "nm)";
}
std::string VelocityStepCaption(int32_t step) {
  return "Set Velocity Step (" + std::to_string(step) + ")";
}
std::string RunningBufCaption(int32_t size) {
  return "Running Buf. Size=" + std::to_string(size);
}
std::string ProfileWidthCaption(int32_t width) {
  return "Profile Width (" + std::to_string(width) + ")";
}
std::string LocalBackgrCaption(int32_t radius) {
  return "Local Backgr Rad=" + std::to_string(radius);
}
std::string ViewCaption(int32_t zoom) {
  return "View (Z=" + std::to_string(zoom) + ")";
}
std::string TiffNmCaption(double nm) {
  return "TIFF without scale: " + FormatGeneral(nm) + " nm/pix";
}
std::string TiffMsCaption(double ms) {
  return "TIFF without timing: " + FormatGeneral(ms) + " ms/frame";
}
std::string WindowCaption(int32_t frames) {
  return "Window=" + std::to_string(frames) + "fr";
}

MenuCaptions StartCaptions(const Settings& s) {
  MenuCaptions c;
  c.SetStep = FittingLimitCaption(s.TrackingLimit);
  c.SetFWHM = FwhmCaption(s.FwhmNm);
  c.SetVelocityStep = VelocityStepCaption(s.VelocityStep);
  c.RunningBufferSizeSet = RunningBufCaption(s.RunningBufSize);
  c.ProfileWidth = ProfileWidthCaption(s.ProfileWidth);
  c.SetScaleBarSize = std::string(kScaleBarCaption);
  c.SetPrintZoom = "Print Zoom (" + std::to_string(s.PrintZoom) + ")";
  c.SetLocalBackgr = LocalBackgrCaption(s.LocalBackgrRad);
  c.SetSharpStrength = "Sharp=" + FormatGeneral(s.SharpStrength);
  c.Shift68 = "68deg Shift=" + std::to_string(s.Shift68) + "(c/p)";
  c.SetTiffNmPerPixel = TiffNmCaption(s.TiffNmPerPixel);
  c.SetTiffFrameMs = TiffMsCaption(s.TiffFrameMs);
  c.View = std::string(kViewCaption);
  c.WindLen = WindowCaption(s.DetectWindow);
  return c;
}

const std::string& CaptionOf(const MenuCaptions& c, SettingCommand command) {
  switch (command) {
    case SettingCommand::kSetFWHM:
      return c.SetFWHM;
    case SettingCommand::kSetStep:
      return c.SetStep;
    case SettingCommand::kSetVelocityStep:
      return c.SetVelocityStep;
    case SettingCommand::kRunningBufferSizeSet:
      return c.RunningBufferSizeSet;
    case SettingCommand::kProfileWidth:
      return c.ProfileWidth;
    case SettingCommand::kSetScaleBarSize:
      return c.SetScaleBarSize;
    case SettingCommand::kSetPrintZoom:
      return c.SetPrintZoom;
    case SettingCommand::kSetLocalBackgr:
      return c.SetLocalBackgr;
    case SettingCommand::kSetSharpStrength:
      return c.SetSharpStrength;
    case SettingCommand::kShift68:
      return c.Shift68;
    case SettingCommand::kSetTiffNmPerPixel:
      return c.SetTiffNmPerPixel;
    case SettingCommand::kSetTiffFrameMs:
      return c.SetTiffFrameMs;
  }
  return c.View;
}

SetResult SettingsModel::Set(SettingCommand command, std::string_view text) {
  const SetResult r = ApplySetting(values_, command, text);
  if (!r.accepted) return r;
  const Settings& s = values_;
  MenuCaptions& c = captions_;
  switch (command) {
    case SettingCommand::kSetFWHM:
      c.SetFWHM = FwhmCaption(s.FwhmNm);
      break;
    case SettingCommand::kSetStep:
      c.SetStep = FittingLimitCaption(s.TrackingLimit);
      break;
    case SettingCommand::kSetVelocityStep:
      c.SetVelocityStep = VelocityStepCaption(s.VelocityStep);
      break;
    case SettingCommand::kRunningBufferSizeSet:
      c.RunningBufferSizeSet = RunningBufCaption(s.RunningBufSize);
      break;
    case SettingCommand::kProfileWidth:
      c.ProfileWidth = ProfileWidthCaption(s.ProfileWidth);
      break;
    case SettingCommand::kSetScaleBarSize:
      break;  // the caption never changes
    // The setter's own caption form, kept as every earlier version wrote it.
    case SettingCommand::kSetPrintZoom:
      c.SetPrintZoom = "Print Zom(" + std::to_string(s.PrintZoom) + ")";
      break;
    case SettingCommand::kSetLocalBackgr:
      c.SetLocalBackgr = LocalBackgrCaption(s.LocalBackgrRad);
      break;
    case SettingCommand::kSetSharpStrength:
      c.SetSharpStrength = "Sharp=" + FormatGeneral(s.SharpStrength);
      break;
    case SettingCommand::kShift68:
      c.Shift68 = "68deg Shift=" + std::to_string(s.Shift68) + "(c/p)";
      break;
    case SettingCommand::kSetTiffNmPerPixel:
      c.SetTiffNmPerPixel = TiffNmCaption(s.TiffNmPerPixel);
      break;
    case SettingCommand::kSetTiffFrameMs:
      c.SetTiffFrameMs = TiffMsCaption(s.TiffFrameMs);
      break;
  }
  return r;
}

void SettingsModel::SetZoom(int32_t zoom) {
  values_.Zoom = std::clamp(zoom, kMinZoom, kMaxZoom);
  captions_.View = ViewCaption(values_.Zoom);
}

bool SettingsModel::ReadSettingsFile(const std::string& path, Reporter& reporter) {
  std::vector<IniKey> keys;
  if (!ReadIniFile(path, values_, reporter, startup_, &keys)) return false;
  // Every key met rewrites its caption from the current value, taken or not.
  const Settings& s = values_;
  MenuCaptions& c = captions_;
  for (IniKey key : keys) {
    switch (key) {
      case IniKey::kTrackingLimit:
        c.SetStep = FittingLimitCaption(s.TrackingLimit);
        break;
      case IniKey::kFwhmNm:
        c.SetFWHM = FwhmCaption(s.FwhmNm);
        break;
      case IniKey::kVelocityStep:
        c.SetVelocityStep = VelocityStepCaption(s.VelocityStep);
        break;
      case IniKey::kRunningBufSize:
        c.RunningBufferSizeSet = RunningBufCaption(s.RunningBufSize);
        break;
      case IniKey::kProfileWidth:
        c.ProfileWidth = ProfileWidthCaption(s.ProfileWidth);
        break;
      case IniKey::kPrintZoom:
        c.SetPrintZoom = "Print Zoom(" + std::to_string(s.PrintZoom) + ")";
        break;
      case IniKey::kLocalBackgrRad:
        c.SetLocalBackgr = LocalBackgrCaption(s.LocalBackgrRad);
        break;
      case IniKey::kZoom:
        c.View = ViewCaption(s.Zoom);
        break;
      case IniKey::kDetectWindow:
        c.WindLen = WindowCaption(s.DetectWindow);
        break;
      default:
        break;  // no caption of this window
    }
  }
  startup_ = false;
  return true;
}

bool SettingsModel::SaveSettingsFile(const std::string& path, Reporter& reporter) const {
  return WriteIniFile(path, values_, reporter);
}

}  // namespace lumetra
