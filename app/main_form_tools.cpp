// The tool windows the main window opens on its record: the single-particle
// tracking window, the step-detection window and the region window. They share the record store,
// the settings, the playback and the keys.
#include <QAction>
#include <QMenu>
#include <QMenuBar>

#include "app/main_form.h"
#include "app/qt_text.h"
#include "display/gui/tool_window.h"
#include "spots/gui/spot_form.h"
#include "spots/spots_messages.h"
#include "app/image_view.h"
#include "steps/gui/detect_form.h"
#include "steps/steps_messages.h"
#include "area/area_messages.h"
#include "area/gui/area_form.h"
#include "spots/tracking_settings.h"

namespace lumetra {

void TMainForm::BuildToolsMenu() {
  QMenu* tools = menuBar()->addMenu(QStringLiteral("&Tools"));
  QAction* spoting = tools->addAction(Q(kSpotFormCaption), this, &TMainForm::SpotingClick);
  spoting->setObjectName(QStringLiteral("Spoting"));
  items_[QStringLiteral("Spoting")] = spoting;
  need_frame_.push_back(spoting);
  QAction* steps = tools->addAction(Q(kDetectFormCaption), this, &TMainForm::DetectingClick);
  steps->setObjectName(QStringLiteral("StepDetection"));
  items_[QStringLiteral("StepDetection")] = steps;
  need_frame_.push_back(steps);
  QAction* area = tools->addAction(Q(kAreaFormCaption), this, &TMainForm::AreaClick);
  area->setObjectName(QStringLiteral("RegionTimeCourse"));
  items_[QStringLiteral("RegionTimeCourse")] = area;
  need_frame_.push_back(area);
  AddManualTools(tools);
  AddProfilesItem(tools);
}

TAreaForm* TMainForm::AreaForm() const {
  return area_form_.data();
}

void TMainForm::AreaClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  if (!area_form_) {
    area_form_ = new TAreaForm(*store_);
    area_form_->setAttribute(Qt::WA_DeleteOnClose);
    area_form_->AskText = AskText;
    AreaHost host;
    // Collecting rides on this window's playback, as the step window's passes do.
    host.play = [this](std::vector<FrameConsumer*> passes) {
      return PlayWithConsumers(std::move(passes));
    };
    host.stop = [this](bool now) { StopPlayback(now); };
    host.region = [this] { return region_; };
    // Spots are counted with the tracking window's detector and settings.
    host.spot_params = [this]() -> std::optional<TrackingParams> {
      if (spot_form_) return spot_form_->Params();
      return TrackingParamsFrom(settings_.values());
    };
    host.tracks = [this] {
      if (!spot_form_) return TrackSet{};
      TrackSet set =
          TrackSetFromStore(spot_form_->Tracks(), store_->Prm().ScaleX, store_->Prm().ScaleY);
      set.timing.frame_s = store_->FrameInterval();
      return set;
    };
    host.bead = [this](int index) { return BeadSeries(index); };
    area_form_->SetHost(std::move(host));
    connect(this, &TMainForm::PlaybackFinished, area_form_.data(), &TAreaForm::PlaybackEnded);
    // Page Up / Page Down with Show Beads: the region window redraws its XY view.
    connect(this, &TMainForm::BeadViewsRequested, area_form_.data(), &TAreaForm::ShowBead);
    PlaceToolWindow(area_form_.data(), this);
  }
  area_form_->show();
  area_form_->raise();
  area_form_->activateWindow();
}

TDetectForm* TMainForm::DetectForm() const {
  return detect_form_.data();
}

void TMainForm::DetectingClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  if (!detect_form_) {
    detect_form_ = new TDetectForm(*store_);
    detect_form_->setAttribute(Qt::WA_DeleteOnClose);
    detect_form_->AskText = AskText;
    detect_form_->UseSettings(&settings_.mutable_values());
    DetectHost host;
    // The window's passes ride on this window's playback: frames are shown
    // here as they are analysed, and Esc in either window stops them.
    host.play = [this](std::vector<FrameConsumer*> passes) { return PlayWithConsumers(passes); };
    host.stop = [this](bool now) { StopPlayback(now); };
    host.show_frame = [this] { ShowFrame(); };
    host.go_to_frame = [this](int32_t frame) { FrameTrackBarChange(frame); };
    host.mark = [this](int32_t x, int32_t y) { view_->SetCross(x, y); };
    host.median_frames = [this] { return median_.MedianFrames(); };
    detect_form_->SetHost(std::move(host));
    connect(this, &TMainForm::PlaybackFinished, detect_form_.data(), &TDetectForm::PlaybackEnded);
    // A click on an object in the image shows its trace and its drop.
    connect(view_, &ImageView::Clicked, detect_form_.data(), &TDetectForm::ImageClickAt);
    PlaceToolWindow(detect_form_.data(), this);
    detect_form_->show();
    detect_form_->OpenOnRecord();
  }
  detect_form_->show();
  detect_form_->raise();
  detect_form_->activateWindow();
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
    // A track's spot goes to the step-detection window for its trace and step scores.
    spot_form_->SendSpotToSteps = [this](int32_t x, int32_t y) {
      DetectingClick();
      if (detect_form_) detect_form_->AnalyseSpotAt(x, y);
    };
  }
  spot_window_open_ = true;
  spot_form_->show();
  spot_form_->raise();
  spot_form_->activateWindow();
}

void TMainForm::CloseRecordWindows() {
  CloseManualWindows();
  if (spot_form_) {
    spot_form_->StopClick();
    delete spot_form_.data();
  }
  spot_window_open_ = false;
  if (area_form_) {
    area_form_->StopClick();
    area_form_->OfferToSave();
    delete area_form_.data();
  }
  if (detect_form_) {
    // A batch run has written the results or counts the record as failed.
    if (!BatchRunning()) detect_form_->OfferToSave();
    delete detect_form_.data();
  }
}

}  // namespace lumetra
