#include "spots/gui/spot_form.h"

#include <QActionGroup>
#include <QCloseEvent>
#include <QDateTime>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QRegularExpression>
#include <QScreen>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>
#include <algorithm>
#include <cmath>

#include "display/gui/input_box.h"
#include "graph/auto_scale.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "batch/batch_messages.h"
#include "spots/distance_histogram.h"
#include "spots/gui/spot_view.h"
#include "spots/spots_messages.h"
#include "graph/plot_table.h"
#include "spots/track_export.h"
#include "spots/track_stats_run.h"
#include "spots/xki_file.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

}  // namespace

void SpotFormReporter::ReportDetailed(MessageKind kind, std::string_view text,
                                      std::string_view detail) {
  if (!log) {
    Reporter::ReportDetailed(kind, text, detail);
    return;
  }
  log->ReportDetailed(kind, text, detail);
  if (kind == MessageKind::kModal) return;
  // The status line too, without handing it on twice.
  Reporter* keep = log;
  log = nullptr;
  Report(kind, text);
  log = keep;
}

void SpotFormReporter::Report(MessageKind kind, std::string_view text) {
  const QString t = Q(text);
  if (log) {
    log->Report(kind, text);
    if (kind == MessageKind::kModal) return;
  }
  if (kind == MessageKind::kModal) {
    if (show_modal)
      show_modal(t);
    else
      QMessageBox::information(parent, Q(kSpotFormCaption), t);
    return;
  }
  if (!status) return;
  status->setText(t);
  // The whole read-out, where the status bar has to cut it.
  status->setToolTip(t);
}

// Redraws the view and the distance histogram after each frame the playback hands on.
class TSpotForm::ViewRefresh final : public FrameConsumer {
 public:
  explicit ViewRefresh(TSpotForm* form) : form_(form) {}
  void OnFrame(const RecordStore& record) override {
    if (form_->detect_ && form_->playback_pass_ == form_->detect_.get())
      form_->view_->SetSpots(&form_->detect_->Finder().Objects(), record.CurrentFrame());
    else if (form_->view_->Mode() == SpotViewMode::kCurrentSpots)
      form_->view_->SetSpots(&form_->CurrentFrameSpots(), record.CurrentFrame());
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
  // A long read-out is cut, not widening the window.
  status_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  statusBar()->addWidget(status_, 1);
  progress_ = new QLabel(this);
  statusBar()->addPermanentWidget(progress_);
  reporter_.parent = this;
  reporter_.status = status_;
  split_ = new QSplitter(Qt::Vertical, this);
  QSplitter* split = split_;
  view_ = new SpotView(record_, *tracks_, split);
  graph_view_ = new GraphView(split);
  graph_ = std::make_unique<TXKgraph>();
  graph_->TitleX = std::string(kMinDistanceTitle);
  graph_->TitleY0 = "Objects";
  graph_->Curves[1].Show = true;
  graph_->Curves[1].Type = kCurveBar;
  graph_->Curves[1].Color = MakeColor(0, 0, 200);
  // Before any spots: the histogram's own X range and a few Y ticks, so the
  // empty graph's labels stay apart in the short pane.
  FitAxis(graph_->X, 0, kDistanceBins * kDistanceBinUm, 0, 5);
  FitAxis(graph_->Y0, 0, 10, 0, 2);
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
  AskText = [this](const QString& title, const QString& prompt, const QString& text) {
    return AskInputBox(this, title, prompt, text);
  };
  AskOpenFile = [this](const QString& title, const QString& filter) {
    return QFileDialog::getOpenFileName(this, title, QString(), filter);
  };
  AskSaveFile = [this](const QString& title, const QString& filter) {
    QFileDialog dialog(this, title, QString(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    const QString offer = save_offer_.isEmpty() ? DefaultSaveName(filter) : save_offer_;
    if (!offer.isEmpty()) {
      dialog.setDefaultSuffix(QFileInfo(offer).suffix());
      dialog.setDirectory(QFileInfo(offer).absolutePath());
      dialog.selectFile(QFileInfo(offer).fileName());
    }
    return dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty()
               ? dialog.selectedFiles().first()
               : QString();
  };
  AskUnsavedTracks = [this] {
    const auto b = QMessageBox::question(
        this, Q(kUnsavedTracksTitle), Q(kUnsavedTracksQuestion),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    return b == QMessageBox::Save      ? UnsavedAnswer::kSave
           : b == QMessageBox::Discard ? UnsavedAnswer::kDiscard
                                       : UnsavedAnswer::kCancel;
  };
  BuildMenus();
  SetTrackCommandsEnabled(false);
  view_->Refresh();
  FitToFrame();
}

void TSpotForm::FitToFrame() {
  constexpr int kGraphHeight = 190;
  const QImage& frame = view_->Frame();
  const QRect screen_area = screen() ? screen()->availableGeometry() : QRect(0, 0, 1400, 1000);
  // Menu bar, status bar, splitter handle and window frame around the two panes.
  const int chrome = menuBar()->sizeHint().height() + statusBar()->sizeHint().height() +
                     split_->handleWidth() + 40;
  if (frame.isNull()) {
    split_->setSizes({512, kGraphHeight});
    resize(512, 512 + kGraphHeight + chrome - 40);
    return;
  }
  const double fit = std::min(
      (screen_area.width() - 40) / static_cast<double>(frame.width()),
      (screen_area.height() - chrome - kGraphHeight) / static_cast<double>(frame.height()));
  // Small frames grow by whole steps (crisp pixels), up to about 600 pixels a side.
  double scale =
      std::min(fit, std::max(1.0, std::floor(600.0 / std::max(frame.width(), frame.height()))));
  if (scale > 1) scale = std::floor(scale);
  const int w = std::max(360, static_cast<int>(frame.width() * scale));
  const int h = static_cast<int>(frame.height() * scale);
  split_->setSizes({h, kGraphHeight});
  resize(w, h + kGraphHeight + chrome - 40);
}

TSpotForm::~TSpotForm() {
  timer_->stop();
  if (playback_) playback_->Finish();
}

void TSpotForm::BuildFileMenu() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
  SaveXKIfile = file->addAction(QStringLiteral("Save X-Y-Int Data (XKI)"), this,
                                &TSpotForm::SaveXKIfileClick);
  ReadXKIfile = file->addAction(QStringLiteral("Read X-Y-Int Data (XKI)"), this,
                                &TSpotForm::ReadXKIfileClick);
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
  ConnectColumnOptions();
  BuildExportItems(file);
}

void TSpotForm::BuildMenus() {
  BuildFileMenu();

  QMenu* run = menuBar()->addMenu(QStringLiteral("&Tracking"));
  Detect = run->addAction(QStringLiteral("Detect"), this, &TSpotForm::DetectClick);
  LinkTracks = run->addAction(QStringLiteral("Link Tracks"), this, &TSpotForm::LinkTracksClick);
  Tracking = run->addAction(QStringLiteral("Tracking"), this, &TSpotForm::TrackingClick);
  LinkTracksInBatchMode = run->addAction(Q(kLinkTracksInBatchCaption));
  LinkTracksInBatchMode->setCheckable(true);
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
  connect(SubtractBkgr, &QAction::toggled, this, [this](bool on) {
    params_.subtract_background = on;
    DetectionChanged();
  });
  // Off by default: Detect then gives the plain detection and linking.
  ResolveClose = Settings_->addAction(QStringLiteral("Resolve Close Spots"));
  ResolveClose->setCheckable(true);
  connect(ResolveClose, &QAction::toggled, this, [this](bool on) {
    params_.resolve_close = on;
    DetectionChanged();
  });
  // Q from the record's noise at the next Detect; the choice is shown then.
  QAutomatic = Settings_->addAction(Q(kQAutomaticCaption));
  QAutomatic->setCheckable(true);
  connect(QAutomatic, &QAction::toggled, this, [this](bool on) {
    params_.q_auto = on;
    DetectionChanged();
  });
  DenseDetection = Settings_->addAction(Q(kDenseDetectionCaption));
  DenseDetection->setCheckable(true);
  connect(DenseDetection, &QAction::toggled, this, [this](bool on) {
    params_.detector = on ? SpotDetectorKind::kDense : SpotDetectorKind::kTemplate;
    DetectionChanged();
  });
  BuildOptionItems();
  BuildStatisticsMenu();
  UpdateCaptions();
}

void TSpotForm::UseSettings(Settings* settings) {
  settings_ = settings;
  MainSettingsChanged();
}

void TSpotForm::MainSettingsChanged() {
  if (!settings_) return;
  const TrackingParams now = TrackingParamsFrom(*settings_, params_);
  if (!FollowSettings(params_, now, captions_)) return;
  params_ = now;
  UpdateCaptions();
  DetectionChanged();
}

void TSpotForm::UpdateCaptions() {
  MaxRadius->setText(Q(captions_.max_radius));
  MinTrack->setText(Q(captions_.min_track));
  SensThr->setText(Q(captions_.sens_thr));
  ClustThr->setText(Q(captions_.clust_thr));
  Settings_->setTitle(Q(captions_.settings));
}

void TSpotForm::SetTrackCommandsEnabled(bool on) {
  LinkTracks->setEnabled(on && !tracks_->refined);
  SaveXKIfile->setEnabled(on);
  Tracking->setEnabled(on);
  // A pass under way owns the tracks: only Stop acts on them.
  Detect->setEnabled(!playback_);
  ReadXKIfile->setEnabled(!playback_);
}

QString TSpotForm::StatusText() const {
  return status_->text();
}

QString TSpotForm::ProgressText() const {
  return progress_->text();
}

QString TSpotForm::DefaultSaveName(const QString& filter) const {
  static const QRegularExpression pattern(QStringLiteral("\\*\\.(\\w+)"));
  const QRegularExpressionMatch m = pattern.match(filter);
  if (!m.hasMatch() || !record_.RecordLoaded()) return {};
  return QString::fromStdString(
      ExportNameFor(record_.RecordFileName(), m.captured(1).toStdString()));
}

bool TSpotForm::HasUnsavedTracks() const {
  return tracks_->unsaved && tracks_->completed_count > 0;
}

bool TSpotForm::MayDropTracks() {
  if (playback_) {
    StopClick();
    FinishPlayback();
  }
  if (!HasUnsavedTracks()) return true;
  switch (AskUnsavedTracks()) {
    case UnsavedAnswer::kSave:
      return SaveTracks();
    case UnsavedAnswer::kDiscard:
      return true;
    case UnsavedAnswer::kCancel:
      break;
  }
  return false;
}

void TSpotForm::closeEvent(QCloseEvent* event) {
  if (!MayDropTracks()) {
    event->ignore();
    return;
  }
  QMainWindow::closeEvent(event);
}

bool TSpotForm::Playing() const {
  return playback_ != nullptr;
}

void TSpotForm::StartPlayback(FrameConsumer* pass) {
  if (playback_ || !record_.RecordLoaded()) return;
  stop_ = false;
  pass_completed_ = false;
  playback_pass_ = pass;
  playback_ = std::make_unique<Playback>(record_, std::vector<FrameConsumer*>{pass, refresh_.get()},
                                         &stop_);
  SetTrackCommandsEnabled(false);
  if (!playback_->Begin(reporter_)) {
    EndPlayback();
    return;
  }
  ShowProgress();
  timer_->start();
}

void TSpotForm::ShowProgress() {
  if (!playback_) return;
  progress_->setText(Q(PassProgress(playback_->FramesPlayed(),
                                    playback_->LastFrame() - playback_->FirstFrame() + 1)));
}

// One frame a tick. The timer rests while the frame is read: a message box
// about a broken frame runs its own event loop, and the next tick must not
// read on behind it.
void TSpotForm::Tick() {
  timer_->stop();
  if (!playback_) return;
  if (!playback_->Step(reporter_)) {
    EndPlayback();
    return;
  }
  ShowProgress();
  if (playback_) timer_->start();
}

void TSpotForm::EndPlayback() {
  timer_->stop();
  if (!playback_) return;
  const int32_t total = playback_->LastFrame() - playback_->FirstFrame() + 1;
  playback_->Finish();
  pass_completed_ = playback_->Completed();
  progress_->setText(playback_->Completed() ? QString()
                                            : Q(PassStopped(playback_->FramesPlayed(), total)));
  playback_.reset();
  playback_pass_ = nullptr;
  SetTrackCommandsEnabled(tracks_->completed_count > 0);
  view_->update();
  CalcDist(true);
  emit PassEnded();
}

void TSpotForm::CalcDist(bool now) {
  const int64_t ms = QDateTime::currentMSecsSinceEpoch();
  if (!now && ms - last_graph_ms_ < 250) return;
  last_graph_ms_ = ms;
  // The spots of the frame the view shows.
  const std::vector<SpotRec> none;
  const std::vector<SpotRec>& spots = view_->Spots() ? *view_->Spots() : none;
  histogram_ = DistanceHistogram(spots);
  graph_->SetData(histogram_.data(), 1, kDistanceBins);
  graph_->Notes[0] = std::to_string(spots.size()) + " objects";
  const float most = *std::max_element(histogram_.begin() + kDistanceBins, histogram_.end());
  FitAxis(graph_->X, 0, kDistanceBins * kDistanceBinUm, 0, 5);
  // About one Y tick per 40 pixels of the pane: labels of a short pane stay apart.
  const double y_ticks = std::clamp(graph_view_->height() / 40, 2, 5);
  FitAxis(graph_->Y0, 0, std::max(most, 1.0f), 0.05, y_ticks);
  graph_->Repaint();
}

void TSpotForm::FinishPlayback() {
  while (playback_) Tick();
}

void TSpotForm::DetectClick() {
  if (playback_) return;
  SetTrackCommandsEnabled(false);
  detect_ = std::make_unique<DetectPass>(*tracks_, params_, reporter_);
  view_->SetSpots(nullptr, -1);
  frame_spots_at_ = -1;
  detect_spots_valid_ = true;
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

bool TSpotForm::SaveXKIfileClick() {
  return SaveTracks();
}

bool TSpotForm::SaveTracks() {
  if (playback_) return false;
  const QString path = batch_ ? BatchXkiName()
                              : AskSaveFile(QStringLiteral("Save X-Y-Int Data (XKI)"),
                                            QStringLiteral("XKI files (*.xki)"));
  if (path.isEmpty()) return false;
  XkiWriteOptions o;
  o.parameter = record_.Prm().ScaleX;
  o.selected_only = SelectedOnly->isChecked();
  o.save_zpos = SaveZpos->isChecked();
  if (!WriteXkiFile(path.toStdString(), *tracks_, o, reporter_)) return false;
  tracks_->unsaved = false;
  return true;
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
  emit TracksRead();
}

void TSpotForm::SaveCurSpotsClick() {
  if (playback_ || !record_.RecordLoaded()) return;
  const QString path =
      AskSaveFile(QStringLiteral("Save Current Spots"), QStringLiteral("Text files (*.txt)"));
  if (path.isEmpty()) return;
  WriteTextFile(path.toStdString(), CurrentSpotsText(CurrentFrameSpots()), kFileWritingError,
                reporter_);
}

const std::vector<SpotRec>& TSpotForm::CurrentFrameSpots() {
  const int32_t f = record_.CurrentFrame();
  // Detect's own spots while they are those of this frame with these settings.
  if (detect_ && detect_spots_valid_ && detect_->LastFrame() == f)
    return detect_->Finder().Objects();
  if (frame_spots_at_ != f) {
    frame_spots_.DetectFrame(record_.FrameBuffer(), record_.Width(), record_.Height(),
                             record_.Prm().ScaleX, params_, reporter_);
    frame_spots_at_ = f;
    reporter_.Status(frame_spots_.ReadOut(tracks_->completed_count));
  }
  return frame_spots_.Objects();
}

void TSpotForm::DetectionChanged() {
  detect_spots_valid_ = false;
  ShowCurrentFrame();
}

void TSpotForm::ShowCurrentFrame() {
  if (playback_ || !record_.RecordLoaded()) return;
  // The same frame may show other counts now (filters of the main window).
  frame_spots_at_ = -1;
  // Detection is needed only where spots are drawn.
  if (view_->Mode() == SpotViewMode::kCurrentSpots) {
    view_->SetSpots(&CurrentFrameSpots(), record_.CurrentFrame());
    CalcDist(true);
  }
  view_->Refresh();
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
  RebuildCaption(command, params_, captions_);
  UpdateCaptions();
  DetectionChanged();
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
  ShowCurrentFrame();
}
void TSpotForm::RefreshClick() {
  if (playback_)
    view_->Refresh();
  else
    ShowCurrentFrame();
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
