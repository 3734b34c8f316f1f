// Bead tracks in the main window: tracks of fixed beads read from an XKI file,
// shown one at a time over the image. While "Show Beads" is checked, Page Up
// and Page Down choose the next and the previous one (the key rules), and the
// region window follows through BeadViewsRequested (its XY view).
#include <QAction>
#include <QMenu>
#include <QStatusBar>
#include <cmath>

#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "spots/track_export.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

constexpr std::string_view kLoadBeadTracksCaption = "Load Bead Tracks";
constexpr std::string_view kShowBeadsCaption = "Show Beads";
constexpr std::string_view kXkiFilter = "XKI Track Files (*.xki);;All Files (*)";
constexpr std::string_view kBeadShown = "Bead %1 of %2 (Page Up / Page Down)";

}  // namespace

void TMainForm::BuildBeadMenu(QMenu* menu) {
  menu->addSeparator();
  QAction* load = menu->addAction(Q(kLoadBeadTracksCaption), this, &TMainForm::LoadBeadTracksClick);
  items_[QStringLiteral("LoadBeadTracks")] = load;
  need_frame_.push_back(load);
  ShowBeads = menu->addAction(Q(kShowBeadsCaption), this, &TMainForm::ShowBeadsClick);
  ShowBeads->setCheckable(true);
  items_[QStringLiteral("ShowBeads")] = ShowBeads;
}

void TMainForm::LoadBeadTracksClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  const QString path = AskOpenFile(Q(kLoadBeadTracksCaption), Q(kXkiFilter));
  if (path.isEmpty()) return;
  auto beads = std::make_unique<TrackStore>();
  const int32_t n = ReadXkiFile(S(path), *beads, store_->FrameCount(), false, reporter_);
  if (n < 0) return;  // the file could not be opened: the loaded beads stay
  beads_ = std::move(beads);
  bead_count_ = n;
  bead_index_ = 0;
  ShowBeads->setChecked(n > 0);
  ShowBeadTrack(true);
  emit BeadViewsRequested(bead_index_);
}

// A click has already toggled the mark.
void TMainForm::ShowBeadsClick() {
  ShowBeadTrack(true);
  if (ShowBeads->isChecked()) emit BeadViewsRequested(bead_index_);
}

void TMainForm::ShowBeadTrack(bool announce) {
  if (!ShowBeads->isChecked() || !beads_ || bead_index_ >= bead_count_ || !store_) {
    view_->SetBeadTrack({}, std::nullopt);
    return;
  }
  const double sx = store_->Prm().ScaleX, sy = store_->Prm().ScaleY;
  std::vector<QPointF> track;
  std::optional<QPointF> current;
  for (int32_t f = 0; f < beads_->Frames(); ++f) {
    double x = 0, y = 0;
    if (!TrackPointAt(*beads_, bead_index_, f, sx, sy, x, y)) continue;
    track.emplace_back(x, y);
    if (f == store_->CurrentFrame()) current = QPointF(x, y);
  }
  view_->SetBeadTrack(std::move(track), current);
  if (announce) statusBar()->showMessage(Q(kBeadShown).arg(bead_index_ + 1).arg(bead_count_));
}

TrackSeries TMainForm::BeadSeries(int index) const {
  TrackSeries series;
  if (!beads_ || index < 0 || index >= bead_count_ || !store_) return series;
  const double sx = store_->Prm().ScaleX, sy = store_->Prm().ScaleY;
  series.id = index;
  const TrackRec& slot = beads_->Slot(index);
  for (int32_t f = 0; f < beads_->Frames(); ++f) {
    double x = 0, y = 0;
    const bool has = TrackPointAt(*beads_, index, f, sx, sy, x, y);
    series.x_um.push_back(has ? x * sx * 1e-3 : NAN);
    series.y_um.push_back(has ? y * sy * 1e-3 : NAN);
    series.intensity.push_back(has && f < static_cast<int32_t>(slot.intensity.size())
                                   ? slot.intensity[static_cast<size_t>(f)]
                                   : NAN);
  }
  return series;
}

}  // namespace lumetra
