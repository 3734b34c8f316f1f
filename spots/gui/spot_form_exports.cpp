// The tracking window's text exports of track statistics and of the spot map,
// the options of the column export, the Track Filaments and Build Spot Map
// options and the batch flag. Each handler asks for a file name, calls one
// core function and leaves the messages to the core.
#include <QAction>
#include <QMenu>

#include "spots/gui/spot_form.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"

namespace lumetra {

void TSpotForm::BuildExportItems(QMenu* file) {
  file->addSeparator();
  file->addAction(QStringLiteral("Save Velocity (TXT)"), this, &TSpotForm::SaveVelocityTXTClick);
  file->addAction(QStringLiteral("Save Dlat vs Distance to Outline (TXT)"), this,
                  &TSpotForm::SaveDlatOutlineDistTXTClick);
  file->addAction(QStringLiteral("Save Distributions (TXT)"), this,
                  &TSpotForm::SaveDistribTXTClick);
  file->addAction(QStringLiteral("Save Intensity Distribution in Record (TXT)"), this,
                  &TSpotForm::SaveIntensityDistributionInRecordClick);
  file->addAction(QStringLiteral("Save Spots in Map (TXT)"), this, &TSpotForm::SaveSpotsInMapClick);
}

void TSpotForm::BuildOptionItems() {
  // Both apply from the next Detect on.
  TrackFilaments = Settings_->addAction(QStringLiteral("Track Filaments"));
  TrackFilaments->setCheckable(true);
  connect(TrackFilaments, &QAction::toggled, this,
          [this](bool on) { params_.track_filaments = on; });
  SpotMap = Settings_->addAction(QStringLiteral("Build Spot Map"));
  SpotMap->setCheckable(true);
  connect(SpotMap, &QAction::toggled, this, [this](bool on) { params_.spot_map = on; });
}

void TSpotForm::ConnectColumnOptions() {
  // The items check themselves; the handlers say what each choice means, so
  // that a call from code acts as a click does.
  connect(SaveIntXYasTXT, &QAction::triggered, this, &TSpotForm::SaveIntXYasTXTClick);
  connect(SaveXYasTXT, &QAction::triggered, this, &TSpotForm::SaveXYasTXTClick);
  connect(SaveIntAsTXT, &QAction::triggered, this, &TSpotForm::SaveIntAsTXTClick);
  connect(SavePixelCoordinates, &QAction::triggered, this, &TSpotForm::SavePixelCoordinatesClick);
  connect(IncludeTime, &QAction::triggered, this, &TSpotForm::IncludeTimeClick);
}

void TSpotForm::SaveIntXYasTXTClick() {
  SaveIntXYasTXT->setChecked(true);
}
void TSpotForm::SaveXYasTXTClick() {
  SaveXYasTXT->setChecked(true);
}
void TSpotForm::SaveIntAsTXTClick() {
  SaveIntAsTXT->setChecked(true);
}
void TSpotForm::SavePixelCoordinatesClick() {
  // A click has toggled the item already; a call from code toggles it here.
  if (sender() != SavePixelCoordinates) SavePixelCoordinates->toggle();
}
void TSpotForm::IncludeTimeClick() {
  if (sender() != IncludeTime) IncludeTime->toggle();
}

TrackScale TSpotForm::Scale() const {
  return {record_.Prm().ScaleX, record_.Prm().ScaleY};
}

void TSpotForm::SaveText(const QString& title, const std::string& text,
                         std::string_view open_error) {
  const QString path = AskSaveFile(title, QStringLiteral("Text files (*.txt)"));
  if (path.isEmpty()) return;
  WriteTextFile(path.toStdString(), text, open_error, reporter_);
}

void TSpotForm::SaveVelocityTXTClick() {
  SaveText(QStringLiteral("Save Velocity"), VelocityText(*tracks_, Scale(), reporter_),
           kFileWritingError);
}

void TSpotForm::SaveDlatOutlineDistTXTClick() {
  Region outline{0, 0, record_.Width(), record_.Height(), true};
  if (OutlineRegion) {
    const Region r = OutlineRegion();
    if (r.active && r.FitsIn(record_.Width(), record_.Height())) outline = r;
  }
  SaveText(QStringLiteral("Save Dlat vs Distance to Outline"),
           DlatOutlineDistText(*tracks_, Scale(), outline, reporter_), kFileWritingError);
}

void TSpotForm::SaveDistribTXTClick() {
  const std::vector<SpotRec> none;
  SaveText(
      QStringLiteral("Save Distributions"),
      DistributionsText(*tracks_, Scale(), detect_ ? detect_->Finder().Objects() : none, reporter_),
      kCanNotOpenFileForWriting);
}

void TSpotForm::SaveIntensityDistributionInRecordClick() {
  if (!detect_) {
    reporter_.Modal(kVeryFewObjects);
    return;
  }
  SaveText(QStringLiteral("Save Intensity Distribution in Record"),
           IntensityDistributionText(detect_->Intensities()), kCanNotOpenFileForWriting);
}

void TSpotForm::SaveSpotsInMapClick() {
  if (!detect_ || !params_.spot_map || detect_->Map().Count() == 0) {
    reporter_.Modal(kSpotMapEmpty);
    return;
  }
  SaveText(QStringLiteral("Save Spots in Map"), SpotsInMapText(detect_->Map()), kFileWritingError);
}

void TSpotForm::SetBatchMode(bool on, bool link_tracks_in_batch) {
  batch_ = on;
  link_in_batch_ = link_tracks_in_batch;
}

bool TSpotForm::LinkTracksInBatch() const {
  return LinkTracksInBatchMode->isChecked();
}

TSpotForm::BatchSetup TSpotForm::CurrentSetup() const {
  return {params_, SaveZpos->isChecked(), SelectedOnly->isChecked(),
          LinkTracksInBatchMode->isChecked()};
}

void TSpotForm::ApplySetup(const BatchSetup& setup) {
  // The items first: their handlers copy their own option into params_.
  SubtractBkgr->setChecked(setup.params.subtract_background);
  ResolveClose->setChecked(setup.params.resolve_close);
  TrackFilaments->setChecked(setup.params.track_filaments);
  SpotMap->setChecked(setup.params.spot_map);
  SaveZpos->setChecked(setup.save_zpos);
  SelectedOnly->setChecked(setup.selected_only);
  LinkTracksInBatchMode->setChecked(setup.link_in_batch);
  FollowSettings(params_, setup.params, captions_);
  params_ = setup.params;
  UpdateCaptions();
  DetectionChanged();
}

QString TSpotForm::BatchXkiName() const {
  return QString::fromStdString(
      BatchTrackFileName(record_.RecordFileName(), params_, link_in_batch_, SaveZpos->isChecked()));
}

}  // namespace lumetra
