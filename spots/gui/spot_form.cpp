#include "spots/gui/spot_form.h"

#include <QActionGroup>
#include <QDateTime>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>
#include <algorithm>

#include "graph/auto_scale.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "spots/distance_histogram.h"
#include "spots/gui/spot_view.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

}  // namespace

void SpotFormReporter::Report(MessageKind kind, std::string_view text) {
  const QString t = Q(text);
  if (kind == MessageKind::kModal) {
    if (show_modal)
      show_modal(t);
    else
      QMessageBox::information(parent, Q(kSpotFormCaption), t);
    return;
  }
  if (status) status->setText(t);
}

// Redraws the view and the distance histogram after each frame the playback hands on.
class TSpotForm::ViewRefresh final : public FrameConsumer {
 public:
  explicit ViewRefresh(TSpotForm* form) : form_(form) {}
  void OnFrame(const RecordStore&) override {
    form_->view_->Refresh();
    form_->CalcDist(false);
  }

 private:
  TSpotForm* form_;
};

TSpotForm::TSpotForm(RecordStore& record, QWidget* parent)
    : QMainWindow(parent), record_(record), tracks_(std::make_unique<TrackStore>()) {
  setWindowTitle(Q(kSpotFormCaption));
  status_ = new QLabel(this);
  statusBar()->addWidget(status_, 1);
  reporter_.parent = this;
  reporter_.status = status_;
  auto* split = new QSplitter(Qt::Vertical, this);
  view_ = new SpotView(record_, *tracks_, split);
  graph_view_ = new GraphView(split);
  graph_ = std::make_unique<TXKgraph>();
  graph_->TitleX = std::string(kMinDistanceTitle);
  graph_->TitleY0 = "Objects";
  graph_->Curves[1].Show = true;
  graph_->Curves[1].Type = kCurveBar;
  graph_->Curves[1].Color = MakeColor(0, 0, 200);
  graph_view_->SetGraph(graph_.get());
  split->addWidget(view_);
  split->addWidget(graph_view_);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 1);
  setCentralWidget(split);
  refresh_ = std::make_unique<ViewRefresh>(this);
  timer_ = new QTimer(this);
  timer_->setInterval(0);
  connect(timer_, &QTimer::timeout, this, &TSpotForm::Tick);
  AskText = [this](const QString& title, const QString& prompt,
                   const QString& text) -> std::optional<QString> {
    bool ok = false;
    const QString typed = QInputDialog::getText(this, title, prompt, QLineEdit::Normal, text, &ok);
    if (!ok) return std::nullopt;
    return typed;
  };
  AskOpenFile = [this](const QString& title, const QString& filter) {
    return QFileDialog::getOpenFileName(this, title, QString(), filter);
  };
  AskSaveFile = [this](const QString& title, const QString& filter) {
    return QFileDialog::getSaveFileName(this, title, QString(), filter);
  };
  BuildMenus();
  SetTrackCommandsEnabled(false);
  view_->Refresh();
  resize(600, 640);
}

TSpotForm::~TSpotForm() {
  timer_->stop();
  if (playback_) playback_->Finish();
}

void TSpotForm::BuildFileMenu() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
  SaveXKIfile = file->addAction(QStringLiteral("Save X-Y-Int Data (XKI)"), this,
                                &TSpotForm::SaveXKIfileClick);
  file->addAction(QStringLiteral("Read X-Y-Int Data (XKI)"), this, &TSpotForm::ReadXKIfileClick);
  SelectedOnly = file->addAction(QStringLiteral("Selected Only"));
  SelectedOnly->setCheckable(true);
  SaveZpos = file->addAction(QStringLiteral("Save Z-position"));
  SaveZpos->setCheckable(true);
  file->addSeparator();
  file->addAction(QStringLiteral("Save Current Spots (TXT)"), this, &TSpotForm::SaveCurSpotsClick);
  QMenu* columns = file->addMenu(QStringLiteral("Save Tracks as Columns (TXT)"));
  auto* what = new QActionGroup(this);
  SaveIntXYasTXT = columns->addAction(QStringLiteral("Intensity, X and Y"));
  SaveXYasTXT = columns->addAction(QStringLiteral("X and Y"));
  SaveIntAsTXT = columns->addAction(QStringLiteral("Intensity"));
  for (QAction* a : {SaveIntXYasTXT, SaveXYasTXT, SaveIntAsTXT}) {
    a->setCheckable(true);
    what->addAction(a);
  }
  SaveIntXYasTXT->setChecked(true);
  SavePixelCoordinates = columns->addAction(QStringLiteral("Pixel Coordinates"));
  SavePixelCoordinates->setCheckable(true);
  IncludeTime = columns->addAction(QStringLiteral("Include Time"));
  IncludeTime->setCheckable(true);
  columns->addSeparator();
  columns->addAction(QStringLiteral("Save..."), this, &TSpotForm::SaveXYIntColumnsClick);
}

void TSpotForm::BuildMenus() {
  BuildFileMenu();

  QMenu* run = menuBar()->addMenu(QStringLiteral("&Tracking"));
  run->addAction(QStringLiteral("Detect"), this, &TSpotForm::DetectClick);
  LinkTracks = run->addAction(QStringLiteral("Link Tracks"), this, &TSpotForm::LinkTracksClick);
  Tracking = run->addAction(QStringLiteral("Tracking"), this, &TSpotForm::TrackingClick);
  QAction* stop = run->addAction(QStringLiteral("Stop"), this, &TSpotForm::StopClick);
  stop->setShortcut(QKeySequence(Qt::Key_Escape));

  QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
  view->addAction(QStringLiteral("Current Spots"), this, &TSpotForm::CurrentSpotsClick)
      ->setShortcut(QKeySequence(Qt::Key_F8));
  view->addAction(QStringLiteral("Show Tracks"), this, &TSpotForm::ShowTracksClick)
      ->setShortcut(QKeySequence(Qt::Key_F4));
  view->addAction(QStringLiteral("Tracks in Time"), this, &TSpotForm::TracksInTimeClick)
      ->setShortcut(QKeySequence(Qt::Key_F5));
  view->addAction(QStringLiteral("Refresh"), this, &TSpotForm::RefreshClick)
      ->setShortcut(QKeySequence(Qt::Key_F7));
  view->addSeparator();
  view->addAction(Q(kSendTrackCaption), this, &TSpotForm::SendTrackToStepsClick);

  Settings_ = menuBar()->addMenu(Q(kSettingsMenuStartCaption));
  MaxRadius = Settings_->addAction(QString(), this, &TSpotForm::MaxRadiusClick);
  MinTrack = Settings_->addAction(QString(), this, &TSpotForm::MinTrackClick);
  SensThr = Settings_->addAction(QString(), this, &TSpotForm::SensThrClick);
  ClustThr = Settings_->addAction(QString(), this, &TSpotForm::ClustThrClick);
  SubtractBkgr = Settings_->addAction(QStringLiteral("Subtract Background"));
  SubtractBkgr->setCheckable(true);
  connect(SubtractBkgr, &QAction::toggled, this,
          [this](bool on) { params_.subtract_background = on; });
  // Off by default: Detect then gives the plain detection and linking.
  ResolveClose = Settings_->addAction(QStringLiteral("Resolve Close Spots"));
  ResolveClose->setCheckable(true);
  connect(ResolveClose, &QAction::toggled, this, [this](bool on) { params_.resolve_close = on; });
  UpdateCaptions();
  // Until a setting changes, the menu keeps its caption of the start.
  Settings_->setTitle(Q(kSettingsMenuStartCaption));
}

void TSpotForm::UseSettings(Settings* settings) {
  settings_ = settings;
  if (settings_) params_ = TrackingParamsFrom(*settings_, params_);
  UpdateCaptions();
}

void TSpotForm::UpdateCaptions() {
  MaxRadius->setText(Q(CommandCaption(TrackingCommand::kMaxRadius, params_)));
  MinTrack->setText(Q(CommandCaption(TrackingCommand::kMinTrack, params_)));
  SensThr->setText(Q(CommandCaption(TrackingCommand::kSensThr, params_)));
  ClustThr->setText(Q(CommandCaption(TrackingCommand::kClustThr, params_)));
  Settings_->setTitle(Q(SettingsMenuCaption(params_)));
}

void TSpotForm::SetTrackCommandsEnabled(bool on) {
  LinkTracks->setEnabled(on && !tracks_->refined);
  SaveXKIfile->setEnabled(on);
  Tracking->setEnabled(on);
}

QString TSpotForm::StatusText() const {
  return status_->text();
}

bool TSpotForm::Playing() const {
  return playback_ != nullptr;
}

void TSpotForm::StartPlayback(FrameConsumer* pass) {
  if (playback_ || !record_.RecordLoaded()) return;
  stop_ = false;
  playback_ = std::make_unique<Playback>(record_, std::vector<FrameConsumer*>{pass, refresh_.get()},
                                         &stop_);
  if (!playback_->Begin(reporter_)) {
    EndPlayback();
    return;
  }
  timer_->start();
}

void TSpotForm::Tick() {
  if (playback_ && !playback_->Step(reporter_)) EndPlayback();
}

void TSpotForm::EndPlayback() {
  timer_->stop();
  if (!playback_) return;
  playback_->Finish();
  playback_.reset();
  view_->SetSpots(detect_ ? &detect_->Finder().Objects() : nullptr);
  SetTrackCommandsEnabled(tracks_->completed_count > 0);
  view_->update();
  CalcDist(true);
}

void TSpotForm::CalcDist(bool now) {
  const int64_t ms = QDateTime::currentMSecsSinceEpoch();
  if (!now && ms - last_graph_ms_ < 250) return;
  last_graph_ms_ = ms;
  histogram_ = DistanceHistogram(detect_ ? detect_->Finder().Objects() : std::vector<SpotRec>{});
  graph_->SetData(histogram_.data(), 1, kDistanceBins);
  graph_->Notes[0] = std::to_string(detect_ ? detect_->Finder().ObjectCount() : 0) + " objects";
  const float most = *std::max_element(histogram_.begin() + kDistanceBins, histogram_.end());
  FitAxis(graph_->X, 0, kDistanceBins * kDistanceBinUm, 0, 5);
  FitAxis(graph_->Y0, 0, std::max(most, 1.0f), 0.05, 5);
  graph_->Repaint();
}

void TSpotForm::FinishPlayback() {
  while (playback_) Tick();
}

void TSpotForm::DetectClick() {
  if (playback_) return;
  SetTrackCommandsEnabled(false);
  detect_ = std::make_unique<DetectPass>(*tracks_, params_, reporter_);
  view_->SetSpots(&detect_->Finder().Objects());
  StartPlayback(detect_.get());
}

void TSpotForm::LinkTracksClick() {
  if (playback_ || tracks_->refined || tracks_->completed_count == 0) return;
  link_ = std::make_unique<LinkTracksPass>(*tracks_, params_, reporter_);
  StartPlayback(link_.get());
}

void TSpotForm::TrackingClick() {
  if (!detect_ || detect_->Finder().ObjectCount() < 3) {
    reporter_.Modal(kTooFewObjects);
    return;
  }
  reporter_.Status(std::to_string(tracks_->completed_count) + std::string(kCompletedTracks));
}

void TSpotForm::StopClick() {
  stop_ = true;
}

void TSpotForm::SaveXKIfileClick() {
  const QString path =
      AskSaveFile(QStringLiteral("Save X-Y-Int Data (XKI)"), QStringLiteral("XKI files (*.xki)"));
  if (path.isEmpty()) return;
  XkiWriteOptions o;
  o.parameter = record_.Prm().ScaleX;
  o.selected_only = SelectedOnly->isChecked();
  o.save_zpos = SaveZpos->isChecked();
  WriteXkiFile(path.toStdString(), *tracks_, o, reporter_);
}

void TSpotForm::ReadXKIfileClick() {
  if (playback_) return;
  const QString path = AskOpenFile(QStringLiteral("Read X-Y-Int Data (XKI)"),
                                   QStringLiteral("XKI files (*.xki);;All Files (*)"));
  if (path.isEmpty()) return;
  const int32_t frames = record_.RecordLoaded() ? record_.FrameCount() : kMaxTrackFrames;
  if (ReadXkiFile(path.toStdString(), *tracks_, frames, SaveZpos->isChecked(), reporter_) < 0)
    return;
  const std::vector<float>& times = record_.FrameTimes();
  for (size_t f = 0; f < tracks_->frame_times.size() && f < times.size(); ++f)
    tracks_->frame_times[f] = times[f];
  reporter_.Status(std::to_string(tracks_->completed_count) + std::string(kCompletedTracks));
  SetTrackCommandsEnabled(tracks_->completed_count > 0);
  view_->update();
}

void TSpotForm::SaveCurSpotsClick() {
  if (!detect_) return;
  const QString path =
      AskSaveFile(QStringLiteral("Save Current Spots"), QStringLiteral("Text files (*.txt)"));
  if (path.isEmpty()) return;
  WriteTextFile(path.toStdString(), CurrentSpotsText(detect_->Finder().Objects()),
                kFileWritingError, reporter_);
}

void TSpotForm::SaveXYIntColumnsClick() {
  const QString path =
      AskSaveFile(QStringLiteral("Save Tracks as Columns"), QStringLiteral("Text files (*.txt)"));
  if (path.isEmpty()) return;
  ColumnExportOptions o;
  o.intensity = !SaveXYasTXT->isChecked();
  o.positions = !SaveIntAsTXT->isChecked();
  o.pixel_coordinates = SavePixelCoordinates->isChecked();
  o.include_time = IncludeTime->isChecked();
  const PRM_INFO& prm = record_.Prm();
  WriteTextFile(path.toStdString(),
                TrackColumnsText(*tracks_, o, prm.ScaleX, prm.ScaleY, reporter_), kFileWritingError,
                reporter_);
}

void TSpotForm::SetCommand(TrackingCommand command) {
  const TrackingPrompt prompt = PromptFor(command);
  const auto typed = AskText(Q(prompt.title), Q(prompt.label),
                             QString::fromStdString(OfferedText(command, params_)));
  if (!typed) return;
  if (!ApplyTrackingSetting(command, typed->toStdString(), params_, reporter_)) return;
  if (settings_) StoreTrackingParams(params_, *settings_);
  UpdateCaptions();
}

void TSpotForm::MaxRadiusClick() {
  SetCommand(TrackingCommand::kMaxRadius);
}
void TSpotForm::MinTrackClick() {
  SetCommand(TrackingCommand::kMinTrack);
}
void TSpotForm::SensThrClick() {
  SetCommand(TrackingCommand::kSensThr);
}
void TSpotForm::ClustThrClick() {
  SetCommand(TrackingCommand::kClustThr);
}

void TSpotForm::TracksInTimeClick() {
  view_->SetMode(SpotViewMode::kTracksInTime);
}
void TSpotForm::ShowTracksClick() {
  view_->SetMode(SpotViewMode::kShowTracks);
}
void TSpotForm::CurrentSpotsClick() {
  view_->SetMode(SpotViewMode::kCurrentSpots);
}
void TSpotForm::RefreshClick() {
  view_->Refresh();
}

void TSpotForm::SendTrackToStepsClick() {
  if (!SendSpotToSteps || playback_) return;
  int32_t first = -1;
  for (int32_t t = 0; t < tracks_->track_count && first < 0; ++t)
    if (tracks_->Slot(t).completed) first = t;
  if (first < 0) {
    reporter_.Modal(kNoTrackToSend);
    return;
  }
  const auto typed = AskText(Q(kSendTrackTitle), Q(kSendTrackLabel), QString::number(first + 1));
  if (!typed) return;
  bool ok = false;
  const int32_t t = typed->trimmed().toInt(&ok) - 1;
  if (!ok || t < 0 || t >= tracks_->track_count || !tracks_->Slot(t).completed) {
    reporter_.Modal(kNoTrackToSend);
    return;
  }
  SendSpotToSteps(tracks_->Slot(t).X, tracks_->Slot(t).Y);
}

void TSpotForm::RunKeyCommand(SpotWindowCommand command) {
  switch (command) {
    case SpotWindowCommand::kTracksInTime:
      TracksInTimeClick();
      break;
    case SpotWindowCommand::kShowTracks:
      ShowTracksClick();
      break;
    case SpotWindowCommand::kRefresh:
      RefreshClick();
      break;
    case SpotWindowCommand::kCurrentSpots:
      CurrentSpotsClick();
      break;
    case SpotWindowCommand::kNone:
      break;
  }
}

}  // namespace lumetra
