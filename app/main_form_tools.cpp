// The tool windows the main window opens on its record: the single-particle
// tracking window. They share the record store, the settings and the keys.
#include <QAction>
#include <QMenu>
#include <QMenuBar>

#include "app/main_form.h"
#include "app/qt_text.h"
#include "display/gui/tool_window.h"
#include "spots/gui/spot_form.h"
#include "spots/spots_messages.h"

namespace lumetra {

void TMainForm::BuildToolsMenu() {
  QMenu* tools = menuBar()->addMenu(QStringLiteral("&Tools"));
  QAction* spoting = tools->addAction(Q(kSpotFormCaption), this, &TMainForm::SpotingClick);
  spoting->setObjectName(QStringLiteral("Spoting"));
  items_[QStringLiteral("Spoting")] = spoting;
  need_frame_.push_back(spoting);
}

TSpotForm* TMainForm::SpotForm() const {
  return spot_form_.data();
}

bool TMainForm::RecordStreaming() const {
  return Playing() || (spot_form_ && spot_form_->Playing());
}

void TMainForm::SpotingClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  if (!spot_form_) {
    spot_form_ = new TSpotForm(*store_);
    spot_form_->setAttribute(Qt::WA_DeleteOnClose);
    spot_form_->UseSettings(&settings_.mutable_values());
    connect(this, &TMainForm::SpotWindowCommandRequested, spot_form_.data(),
            &TSpotForm::RunKeyCommand);
    // Reading tracks sets the time read-out to the current frame's time.
    connect(spot_form_.data(), &TSpotForm::TracksRead, this, [this] { ShowFrame(); });
    spot_form_->OutlineRegion = [this] { return region_; };
    // The window follows the main window's frame and its tracking settings.
    connect(this, &TMainForm::FrameShown, spot_form_.data(), &TSpotForm::ShowCurrentFrame);
    connect(this, &TMainForm::SettingsChanged, spot_form_.data(), &TSpotForm::MainSettingsChanged);
    // Its passes play the record: afterwards this window shows where they stopped.
    connect(spot_form_.data(), &TSpotForm::PassEnded, this, [this] { ShowFrame(); });
    // Closing the window ends the keys that reach it (T/F5, S/F4, F7, F8).
    connect(spot_form_.data(), &QObject::destroyed, this, [this] { spot_window_open_ = false; });
    PlaceToolWindow(spot_form_.data(), this);
  }
  spot_window_open_ = true;
  spot_form_->show();
  spot_form_->raise();
  spot_form_->activateWindow();
}

void TMainForm::CloseRecordWindows() {
  if (spot_form_) {
    spot_form_->StopClick();
    delete spot_form_.data();
  }
  spot_window_open_ = false;
}

}  // namespace lumetra
