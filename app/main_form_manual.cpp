// The manual tracking window and the 3D surface window: both work on the
// main window's record and frame. Clicks on the image mark objects while the
// tracking window is open; the 3D view follows every frame shown.
#include <QAction>
#include <QMenu>

#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "display/gui/tool_window.h"
#include "manual/gui/track_form.h"
#include "manual/manual_messages.h"
#include "spots/gui/spot_form.h"
#include "surface/gui/ddd_form.h"
#include "surface/surface_messages.h"

namespace lumetra {

void TMainForm::AddManualTools(QMenu* tools) {
  tools->addSeparator();
  for (auto [name, caption, slot] :
       {std::tuple{"ManualTracking", kTrackFormCaption, &TMainForm::ManualTrackingClick},
        std::tuple{"SurfaceView", kDDDFormCaption, &TMainForm::SurfaceViewClick}}) {
    QAction* a = tools->addAction(Q(caption), this, slot);
    a->setObjectName(QString::fromLatin1(name));
    items_[QString::fromLatin1(name)] = a;
    need_frame_.push_back(a);
  }
}

TTrackForm* TMainForm::TrackForm() const {
  return track_form_.data();
}

TDDDform* TMainForm::DDDform() const {
  return ddd_form_.data();
}

void TMainForm::ManualTrackingClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  if (!track_form_) {
    track_form_ = new TTrackForm(*store_, reporter_);
    track_form_->setAttribute(Qt::WA_DeleteOnClose);
    TrackFormHost host;
    // A playback moves on by itself; a click then marks the frame shown and stays.
    host.go_to_frame = [this](int32_t frame) {
      if (!RecordStreaming()) FrameTrackBarChange(frame);
    };
    host.fwhm_nm = [this] { return settings_.values().FwhmNm; };
    host.tracking_window_tracks = [this]() -> const TrackStore* {
      return spot_form_ ? &spot_form_->Tracks() : nullptr;
    };
    host.marks_changed = [this] { view_->viewport()->update(); };
    track_form_->SetHost(std::move(host));
    connect(view_, &ImageView::Clicked, track_form_.data(), &TTrackForm::ImageClickAt);
    connect(this, &TMainForm::FrameShown, track_form_.data(), &TTrackForm::FrameShown);
    TTrackForm* form = track_form_.data();
    view_->SetExtraMarks([form](QPainter& p, int zoom) { form->PaintMarks(p, zoom); });
    connect(form, &QObject::destroyed, this, [this] { view_->SetExtraMarks({}); });
    PlaceToolWindow(form, this);
  }
  track_form_->show();
  track_form_->raise();
  track_form_->activateWindow();
}

void TMainForm::SurfaceViewClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  if (!ddd_form_) {
    DDDFormHost host;
    host.region = [this] { return region_; };
    host.palette = [this]() -> const std::vector<uint32_t>& { return palette_; };
    ddd_form_ = new TDDDform(*store_, reporter_, std::move(host));
    ddd_form_->setAttribute(Qt::WA_DeleteOnClose);
    connect(this, &TMainForm::FrameShown, ddd_form_.data(), &TDDDform::FrameShown);
    connect(this, &TMainForm::RegionChanged, ddd_form_.data(), &TDDDform::FrameShown);
    PlaceToolWindow(ddd_form_.data(), this);
  }
  ddd_form_->show();
  ddd_form_->raise();
  ddd_form_->activateWindow();
  ddd_form_->FrameShown();
}

bool TMainForm::MayDropManualObjects() {
  return !track_form_ || track_form_->MayDropObjects();
}

void TMainForm::CloseManualWindows() {
  // The objects belong to this record; MayDropManualObjects asked before.
  if (track_form_) delete track_form_.data();
  if (ddd_form_) delete ddd_form_.data();
}

}  // namespace lumetra
