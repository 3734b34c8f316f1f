// The program's numeric settings with their defaults, the Settings menu
// commands as functions of (settings, typed text), the menu captions they
// write, and the start-up read of the settings file. The window only asks for
// the text and shows what comes back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/report.h"

namespace lumetra {

// Members are named after their key in the settings file where they have one.
struct Settings {
  double TrackingLimit = 0.1;  // fitting limit, pixels
  double FwhmNm = 250;         // FWHM of the point-spread function, nm (key "FWHM(nm)")
  int32_t VelocityStep = 3;    // frames
  int32_t RunningBufSize = 3;  // frames
  int32_t ProfileWidth = 3;    // pixels, odd when set from the menu
  double ScaleBarSize = 10;    // um
  int32_t PrintZoom = 4;
  int32_t LocalBackgrRad = 3;  // pixels
  int32_t Zoom = 1;            // display zoom, screen pixels per frame pixel
  // Single-particle tracking and step detection.
  double MaxTrackingJump = 5;      // maximum radius of a move between frames, pixels
  int32_t MinTrackLength = 10;     // steps
  int32_t Q_threshold = 8;         // sensitivity threshold of the detection
  int32_t ClusterThreshold = 500;  // counts/pixel, upper intensity limit of a track
  int32_t DetectWindow = 10;       // window length of the step detection, frames
  // Not in the file.
  double SharpStrength = 16;
  int32_t Shift68 = 0;  // counts per pixel
  // What a TIFF record that does not say its pixel size or frame interval is taken to have.
  double TiffNmPerPixel = 100;  // nm per pixel
  double TiffFrameMs = 50;      // ms between frames

  bool operator==(const Settings&) const = default;
};

// The Settings menu commands that take a typed value.
enum class SettingCommand {
  kSetFWHM,
  kSetStep,
  kSetVelocityStep,
  kRunningBufferSizeSet,
  kProfileWidth,
  kSetScaleBarSize,
  kSetPrintZoom,
  kSetLocalBackgr,
  kSetSharpStrength,
  kShift68,
  kSetTiffNmPerPixel,
  kSetTiffFrameMs,
};

inline constexpr SettingCommand kAllSettingCommands[] = {
    SettingCommand::kSetFWHM,          SettingCommand::kSetStep,
    SettingCommand::kSetVelocityStep,  SettingCommand::kRunningBufferSizeSet,
    SettingCommand::kProfileWidth,     SettingCommand::kSetScaleBarSize,
    SettingCommand::kSetPrintZoom,     SettingCommand::kSetLocalBackgr,
    SettingCommand::kSetSharpStrength, SettingCommand::kShift68,
    SettingCommand::kSetTiffNmPerPixel, SettingCommand::kSetTiffFrameMs,
};

// The input box of a command and what the window does after a change.
struct SettingDialog {
  std::string_view control;  // menu item name ("SetFWHM")
  std::string_view handler;  // "SetFWHMClick"
  std::string_view title;
  std::string_view prompt;
  bool repaint;  // the frame is repainted after a change
  bool preview;  // the FWHM preview spot is drawn first
};
const SettingDialog& DialogOf(SettingCommand command);

// The text the input box starts with: the current value, doubles truncated
// to an integer except the fitting limit and the sharpening strength.
std::string OfferedText(const Settings& settings, SettingCommand command);

struct SetResult {
  bool accepted = false;
  std::string_view refusal;  // the message box text when refused
};

// Converts the typed text, checks the range and stores the value. Text that
// is no number is refused with kNotANumber before the range check, except for
// the local background radius (counts as 1) and the 68-degree shift (counts
// as 0). A refused value leaves `settings` as it was.
SetResult ApplySetting(Settings& settings, SettingCommand command, std::string_view text);

// Menu captions, named after their menu item. The start captions follow the
// defaults; setters and the settings file rewrite them in their own forms
// ("Print Zom(5)" from the setter, "Print Zoom(5)" from the file).
struct MenuCaptions {
  std::string SetStep;
  std::string SetFWHM;
  std::string SetVelocityStep;
  std::string RunningBufferSizeSet;
  std::string ProfileWidth;
  std::string SetScaleBarSize;
  std::string SetPrintZoom;
  std::string SetLocalBackgr;
  std::string SetSharpStrength;
  std::string Shift68;
  std::string SetTiffNmPerPixel;
  std::string SetTiffFrameMs;
  std::string View;     // the View menu: "View (Z=2)" once the zoom was read or changed
  std::string WindLen;  // the step window's window length: "Window=10fr"
  bool operator==(const MenuCaptions&) const = default;
};
MenuCaptions StartCaptions(const Settings& settings);
const std::string& CaptionOf(const MenuCaptions& captions, SettingCommand command);

// Caption forms shared by the setters and the file reader.
std::string FittingLimitCaption(double limit);
std::string FwhmCaption(double fwhm_nm);
std::string VelocityStepCaption(int32_t step);
std::string RunningBufCaption(int32_t size);
std::string ProfileWidthCaption(int32_t width);
std::string LocalBackgrCaption(int32_t radius);
std::string ViewCaption(int32_t zoom);
std::string WindowCaption(int32_t frames);

// The settings of the main window with their captions and the start-up flag
// of the settings file.
class SettingsModel {
 public:
  SettingsModel() : captions_(StartCaptions(values_)) {}

  const Settings& values() const { return values_; }
  // For the setters of the tracking and step windows, whose keys live here
  // too but whose input boxes belong to those windows.
  Settings& mutable_values() { return values_; }
  const MenuCaptions& captions() const { return captions_; }

  // A Settings menu command with the typed text; the caption follows an accepted value.
  SetResult Set(SettingCommand command, std::string_view text);
  // The display zoom changed from the View menu (clamped to 1..30).
  void SetZoom(int32_t zoom);

  // The open timer: from now on the next read takes "Lumetra.ini" without a
  // dialog and says nothing when it is missing.
  void BeginStartupRead() { startup_ = true; }
  bool StartupRead() const { return startup_; }
  // ReadSettingsFileClick on a chosen path (or kDefaultIniName while the
  // start-up flag is set). A file that cannot be opened is reported unless
  // the start-up flag is set; the flag is cleared only after a file was read.
  bool ReadSettingsFile(const std::string& path, Reporter& reporter);
  // SaveSettingsClick on a chosen path.
  bool SaveSettingsFile(const std::string& path, Reporter& reporter) const;

 private:
  Settings values_;
  MenuCaptions captions_;
  bool startup_ = false;
};

}  // namespace lumetra
