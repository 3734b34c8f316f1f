// The main window's palette, zoom and Settings menu handlers, and the
// settings file. Each asks for its text, calls the core setter and shows the
// refusal or the new caption.
#include <QAction>
#include <QMenu>

#include "app/app_messages.h"
#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "display/gui/lut_form.h"
#include "settings/fwhm_preview.h"
#include "settings/settings_messages.h"

namespace lumetra {

void TMainForm::RebuildPalette() {
  const int32_t n = store_ ? store_->MaxLevel() : 1024;
  BuildPalette(palette_, n, palette_type_, reporter_);
  // The screen image is opaque: its top byte is 0xFF, the core's table has 0
  // there. The LUT editor's curve picks each count's colour from the palette.
  painter_.SetPalette(ApplyLut(palette_, lut_), 0xFF000000u);
  if (lut_form_) lut_form_->SetPalette(palette_);
  if (view_) ShowColourBar();
}

void TMainForm::ChoosePalette(int32_t type) {
  palette_type_ = type;
  for (QAction* a : {MenuItem("RYWpal"), MenuItem("BGYRpal"), MenuItem("GreyPal"),
                     MenuItem("GreenPal"), MenuItem("RedPal")})
    a->setChecked(false);
  const char* name = type == kPaletteRYW     ? "RYWpal"
                     : type == kPaletteBGYR  ? "BGYRpal"
                     : type == kPaletteGrey  ? "GreyPal"
                     : type == kPaletteGreen ? "GreenPal"
                                             : "RedPal";
  MenuItem(QString::fromLatin1(name))->setChecked(true);
  RebuildPalette();
  ShowFrame();
}

void TMainForm::RYWpalClick() {
  ChoosePalette(kPaletteRYW);
}
void TMainForm::BGYRpalClick() {
  ChoosePalette(kPaletteBGYR);
}
void TMainForm::GreyPalClick() {
  ChoosePalette(kPaletteGrey);
}
void TMainForm::GreenPalClick() {
  ChoosePalette(kPaletteGreen);
}
void TMainForm::RedPalClick() {
  ChoosePalette(kPaletteRed);
}

void TMainForm::ApplyZoom(int32_t zoom) {
  settings_.SetZoom(zoom);
  view_->SetZoom(settings_.values().Zoom);
  view_menu_->setTitle(Q(settings_.captions().View));
}

void TMainForm::ZoomInClick() {
  ApplyZoom(settings_.values().Zoom + 1);
}
void TMainForm::ZoomOutClick() {
  ApplyZoom(settings_.values().Zoom - 1);
}
void TMainForm::ZoomOneClick() {
  ApplyZoom(1);
}

void TMainForm::RefreshSettingCaptions() {
  for (SettingCommand c : kAllSettingCommands)
    MenuItem(Q(DialogOf(c).control))->setText(Q(CaptionOf(settings_.captions(), c)));
  view_menu_->setTitle(Q(settings_.captions().View));
}

void TMainForm::RunSettingCommand(SettingCommand command) {
  const SettingDialog& d = DialogOf(command);
  const auto typed = AskText(Q(d.title), Q(d.prompt), Q(OfferedText(settings_.values(), command)));
  if (!typed) return;  // cancelled: nothing changes
  const SetResult r = settings_.Set(command, S(*typed));
  if (!r.accepted) {
    reporter_.Modal(r.refusal);
    return;
  }
  const Settings& s = settings_.values();
  if (d.preview && store_ && store_->RecordLoaded())
    PaintFwhmPreview(store_->FrameBuffer(), store_->Width(), store_->Height(), s.FwhmNm,
                     store_->Prm().ScaleX);
  RefreshSettingCaptions();
  view_->SetScaleBar(s.ScaleBarSize, store_ ? store_->Prm().ScaleX : 100.0);
  view_->SetLine(line_, line_shown_, s.ProfileWidth);
  if (d.repaint) ShowFrame();
  emit SettingsChanged();
}

void TMainForm::SetFWHMClick() {
  RunSettingCommand(SettingCommand::kSetFWHM);
}
void TMainForm::SetStepClick() {
  RunSettingCommand(SettingCommand::kSetStep);
}
void TMainForm::SetVelocityStepClick() {
  RunSettingCommand(SettingCommand::kSetVelocityStep);
}
void TMainForm::RunningBufferSizeSetClick() {
  RunSettingCommand(SettingCommand::kRunningBufferSizeSet);
}
void TMainForm::ProfileWidthClick() {
  RunSettingCommand(SettingCommand::kProfileWidth);
}
void TMainForm::SetScaleBarSizeClick() {
  RunSettingCommand(SettingCommand::kSetScaleBarSize);
}
void TMainForm::SetPrintZoomClick() {
  RunSettingCommand(SettingCommand::kSetPrintZoom);
}
void TMainForm::SetLocalBackgrClick() {
  RunSettingCommand(SettingCommand::kSetLocalBackgr);
}
void TMainForm::SetSharpStrengthClick() {
  RunSettingCommand(SettingCommand::kSetSharpStrength);
}
void TMainForm::Shift68Click() {
  RunSettingCommand(SettingCommand::kShift68);
}
void TMainForm::SetTiffNmPerPixelClick() {
  RunSettingCommand(SettingCommand::kSetTiffNmPerPixel);
}
void TMainForm::SetTiffFrameMsClick() {
  RunSettingCommand(SettingCommand::kSetTiffFrameMs);
}

void TMainForm::OpenTimerTimer() {
  OpenTimer.stop();
  settings_.BeginStartupRead();
  ReadSettingsFileClick();
}

void TMainForm::ReadSettingsFileClick() {
  // While the start-up flag is set the default file is read without a dialog.
  const QString path = settings_.StartupRead()
                           ? Q(kDefaultIniName)
                           : AskOpenFile(Q(kReadSettingsCaption), DialogFilter(kIniFilter));
  if (path.isEmpty()) return;
  if (!settings_.ReadSettingsFile(S(path), reporter_)) return;
  RefreshSettingCaptions();
  view_->SetZoom(settings_.values().Zoom);
  view_->SetLine(line_, line_shown_, settings_.values().ProfileWidth);
  ShowFrame();
  emit SettingsChanged();
}

void TMainForm::SaveSettingsClick() {
  const QString path =
      AskSaveFile(Q(kSaveSettingsCaption), DialogFilter(kIniFilter), Q(kIniDefaultExt));
  if (path.isEmpty()) return;
  settings_.SaveSettingsFile(S(path), reporter_);
}

}  // namespace lumetra
