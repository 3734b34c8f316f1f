// The main window's menus: captions and handler names of the program, each
// item registered under its control name.
#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QToolBar>

#include "app/app_messages.h"
#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "common/version.h"
#include "display/display_messages.h"
#include "record/record_messages.h"
#include "settings/settings_messages.h"

namespace lumetra {

void TMainForm::BuildMenus() {
  BuildFileMenu();
  BuildPlayMenu();
  BuildViewMenu();
  BuildTempFiltMenu();
  BuildPaletteMenu();
  BuildSettingsMenu();
  BuildToolsMenu();
  BuildBatchMenu();
  QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
  help->addAction(QStringLiteral("Keys and Mouse"), this, [this] {
    QMessageBox::information(this, QStringLiteral("Keys and Mouse"), Q(kKeysHelp));
  });
  help->addAction(QStringLiteral("About Lumetra"), this, [this] {
    QMessageBox::about(this, Q(kProgramTitle),
                       QStringLiteral("Lumetra %1\nSingle-molecule fluorescence records: "
                                      "false-colour display, tracking and step analysis.")
                           .arg(Q(Version())));
  });

  QToolBar* bar = addToolBar(QStringLiteral("Frames"));
  bar->setObjectName(QStringLiteral("FramesToolBar"));
  bar->setMovable(false);
  for (const char* name : {"FirstFrame", "PrevFr", "NextFr", "Play", "Stop"}) {
    QAction* a = MenuItem(QString::fromLatin1(name));
    bar->addAction(a);
  }
  bar->addSeparator();
  for (const char* name : {"ZoomOut", "ZoomIn"})
    bar->addAction(MenuItem(QString::fromLatin1(name)));
}

void TMainForm::BuildFileMenu() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
  QAction* open =
      file->addAction(QStringLiteral("Open Data File (xkv)"), this, &TMainForm::OpenClick);
  open->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_O));
  items_[QStringLiteral("Open")] = open;
  recent_menu_ = file->addMenu(QStringLiteral("Recent Files"));
  RebuildRecentMenu();
  file->addSeparator();
  QAction* save = file->addAction(Q(kSaveFrameTitle), this, &TMainForm::SaveAsClick);
  items_[QStringLiteral("SaveAs")] = save;
  need_frame_.push_back(save);
  SaveXKV_2bytes = file->addAction(QStringLiteral("Save XKV 2bytes/pix"));
  SaveXKV_2bytes->setCheckable(true);
  items_[QStringLiteral("SaveXKV_2bytes")] = SaveXKV_2bytes;
  BuildSaveRecordMenu(file);
  file->addSeparator();
  file->addAction(QStringLiteral("E&xit"), QKeySequence(Qt::CTRL | Qt::Key_Q), this,
                  &QWidget::close);
}

void TMainForm::BuildPlayMenu() {
  QMenu* play = menuBar()->addMenu(QStringLiteral("&Play"));
  struct Item {
    const char* name;
    const char* caption;
    QKeySequence key;
    void (TMainForm::*slot)();
  };
  const Item items[] = {
      {"Play", "Play", QKeySequence(Qt::Key_P), &TMainForm::PlayClick},
      {"Stop", "Stop (Esc)", QKeySequence(), &TMainForm::StopClick},
      {"NextFr", "Next Frame", QKeySequence(Qt::Key_Period), &TMainForm::NextFrClick},
      {"PrevFr", "Previous Frame", QKeySequence(Qt::Key_Comma), &TMainForm::PrevFrClick},
      {"FirstFrame", "First Frame", QKeySequence(Qt::Key_Home), &TMainForm::FirstFrameClick},
  };
  for (const Item& it : items) {
    QAction* a = play->addAction(QString::fromLatin1(it.caption), this, it.slot);
    a->setShortcut(it.key);
    items_[QString::fromLatin1(it.name)] = a;
    need_frame_.push_back(a);
  }
  QAction* paced = play->addAction(QStringLiteral("Play at Record Speed"));
  paced->setCheckable(true);
  paced->setChecked(true);  // frames as they were taken; the analyses play as fast as they can
  items_[QStringLiteral("RealTimePlay")] = paced;
  play->addSeparator();
  UsePartOfRecord =
      play->addAction(QStringLiteral("Use Part of Record"), this, &TMainForm::UsePartOfRecordClick);
  UsePartOfRecord->setCheckable(true);
  items_[QStringLiteral("UsePartOfRecord")] = UsePartOfRecord;
  SelectPartOfRec = play->addMenu(QStringLiteral("Select Part of Record"));
  items_[QStringLiteral("SelectFirstFrame")] = SelectPartOfRec->addAction(
      QStringLiteral("Select First Frame"), this, &TMainForm::SelectFirstFrameClick);
  items_[QStringLiteral("SelectLastFrame")] = SelectPartOfRec->addAction(
      QStringLiteral("Select Last Frame"), this, &TMainForm::SelectLastFrameClick);
  SelectPartOfRec->setEnabled(false);
}

void TMainForm::BuildViewMenu() {
  view_menu_ = menuBar()->addMenu(Q(settings_.captions().View));
  QAction* in = view_menu_->addAction(QStringLiteral("Zoom In"), this, &TMainForm::ZoomInClick);
  in->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Plus), QKeySequence(Qt::CTRL | Qt::Key_Equal)});
  QAction* out = view_menu_->addAction(QStringLiteral("Zoom Out"), this, &TMainForm::ZoomOutClick);
  out->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Minus));
  QAction* one = view_menu_->addAction(QStringLiteral("Zoom 1:1"), this, &TMainForm::ZoomOneClick);
  one->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_0));
  items_[QStringLiteral("ZoomIn")] = in;
  items_[QStringLiteral("ZoomOut")] = out;
  items_[QStringLiteral("ZoomOne")] = one;
  view_menu_->addSeparator();
  QAction* info = view_menu_->addAction(QStringLiteral("Show Header Info"));
  QAction* bar = view_menu_->addAction(QStringLiteral("Show Time and Scale Bar"));
  for (QAction* a : {info, bar}) {
    a->setCheckable(true);
    a->setChecked(true);
    connect(a, &QAction::toggled, this,
            [this, info, bar] { view_->SetOverlays(info->isChecked(), bar->isChecked()); });
  }
  items_[QStringLiteral("ShowInfo")] = info;
  items_[QStringLiteral("ShowTimeAndBar")] = bar;
  view_menu_->addSeparator();
  items_[QStringLiteral("ClearRegion")] =
      view_menu_->addAction(QStringLiteral("Clear Region"), this, [this] { SetRegion(Region{}); });
  items_[QStringLiteral("ClearLine")] =
      view_menu_->addAction(QStringLiteral("Clear Profile Line"), this, [this] {
        line_shown_ = false;
        view_->SetLine(line_, false, settings_.values().ProfileWidth);
      });
  BuildBeadMenu(view_menu_);
  AddLutItems(view_menu_);
}

void TMainForm::BuildPaletteMenu() {
  QMenu* menu = menuBar()->addMenu(QStringLiteral("P&alette"));
  palette_group_ = new QActionGroup(this);
  struct Item {
    const char* name;
    std::string_view caption;
    int32_t type;
    void (TMainForm::*slot)();
  };
  const Item items[] = {
      {"RYWpal", kRYWpalCaption, kPaletteRYW, &TMainForm::RYWpalClick},
      {"BGYRpal", kBGYRpalCaption, kPaletteBGYR, &TMainForm::BGYRpalClick},
      {"GreyPal", kGreyPalCaption, kPaletteGrey, &TMainForm::GreyPalClick},
      {"GreenPal", kGreenPalCaption, kPaletteGreen, &TMainForm::GreenPalClick},
      {"RedPal", kRedPalCaption, kPaletteRed, &TMainForm::RedPalClick},
  };
  for (const Item& it : items) {
    QAction* a = menu->addAction(Q(it.caption), this, it.slot);
    a->setCheckable(true);
    a->setChecked(it.type == palette_type_);
    palette_group_->addAction(a);
    items_[QString::fromLatin1(it.name)] = a;
  }
}

void TMainForm::BuildSettingsMenu() {
  QMenu* menu = menuBar()->addMenu(QStringLiteral("&Settings"));
  using C = SettingCommand;
  const std::pair<C, void (TMainForm::*)()> items[] = {
      {C::kSetFWHM, &TMainForm::SetFWHMClick},
      {C::kSetStep, &TMainForm::SetStepClick},
      {C::kSetVelocityStep, &TMainForm::SetVelocityStepClick},
      {C::kRunningBufferSizeSet, &TMainForm::RunningBufferSizeSetClick},
      {C::kProfileWidth, &TMainForm::ProfileWidthClick},
      {C::kSetScaleBarSize, &TMainForm::SetScaleBarSizeClick},
      {C::kSetPrintZoom, &TMainForm::SetPrintZoomClick},
      {C::kSetLocalBackgr, &TMainForm::SetLocalBackgrClick},
      {C::kSetSharpStrength, &TMainForm::SetSharpStrengthClick},
      {C::kShift68, &TMainForm::Shift68Click},
      {C::kSetTiffNmPerPixel, &TMainForm::SetTiffNmPerPixelClick},
      {C::kSetTiffFrameMs, &TMainForm::SetTiffFrameMsClick},
  };
  for (const auto& [command, slot] : items) {
    QAction* a = menu->addAction(Q(CaptionOf(settings_.captions(), command)), this, slot);
    items_[Q(DialogOf(command).control)] = a;
  }
  menu->addSeparator();
  items_[QStringLiteral("ReadSettingsFile")] =
      menu->addAction(Q(kReadSettingsCaption), this, &TMainForm::ReadSettingsFileClick);
  items_[QStringLiteral("SaveSettings")] =
      menu->addAction(Q(kSaveSettingsCaption), this, &TMainForm::SaveSettingsClick);
  AddProcessingSettings(menu);
}

}  // namespace lumetra
