#include "area/gui/area_form.h"

#include <QCloseEvent>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QTimer>

#include "area/area_messages.h"
#include "common/text_format.h"
#include "display/gui/input_box.h"
#include "graph/gui/graph_output.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "steps/step_results.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

constexpr std::string_view kSaveTxtTitle = "Save Time Course (TXT)";
constexpr std::string_view kTableFilter = "Tab-separated text (*.txt *.tsv)";
constexpr std::string_view kUnsavedTitle = "Time course not saved";
constexpr std::string_view kUnsavedDrop = "The time course is not saved (File > Save TXT). Drop it?";
constexpr std::string_view kUnsavedOffer =
    "The time course is not saved. Save it before the window closes?";
constexpr std::string_view kSaved = "Time course saved to %1";
constexpr std::string_view kTrackPrompt = "Track number (1-%1)";
constexpr std::string_view kTrackTitle = "Tracked Object";
constexpr std::string_view kTrackOutOfRange = "Track number out of range (1-%1)";
constexpr std::string_view kNoTracks = "The tracking window holds no completed track";
constexpr std::string_view kReferenceSet = "Reference region %1,%2 - %3,%4: collect again to measure it";
constexpr std::string_view kBusy = "The record is playing - Esc stops it first";

}  // namespace

void AreaFormReporter::Report(MessageKind kind, std::string_view text) {
  if (kind == MessageKind::kModal || kind == MessageKind::kWarning) {
    if (show_modal)
      show_modal(Q(text));
    else
      QMessageBox::information(parent, Q(kAreaFormCaption), Q(text));
    return;
  }
  if (status) status->setText(Q(text));
}

// "Collecting: frame i of n (Esc stops)" a few times a second.
class TAreaForm::Progress final : public FrameConsumer {
 public:
  Progress(QLabel* label, int32_t frames) : label_(label), frames_(frames) { clock_.start(); }
  void OnFrame(const RecordStore&) override {
    ++seen_;
    if (seen_ == 1 || seen_ >= frames_ || clock_.elapsed() > 100) {
      label_->setText(Q(kCollectProgress).arg(seen_).arg(frames_));
      clock_.restart();
    }
  }
  int32_t Seen() const { return seen_; }
  int32_t Frames() const { return frames_; }

 private:
  QLabel* label_;
  int32_t frames_;
  int32_t seen_ = 0;
  QElapsedTimer clock_;
};

TAreaForm::TAreaForm(RecordStore& record, QWidget* parent)
    : QMainWindow(parent), record_(record), session_(reporter_) {
  setWindowTitle(Q(kAreaFormCaption));
  status_ = new QLabel(this);
  progress_label_ = new QLabel(this);
  statusBar()->addWidget(status_, 1);
  statusBar()->addPermanentWidget(progress_label_);
  reporter_.parent = this;
  reporter_.status = status_;
  view_ = new GraphView(this);
  graph_ = std::make_unique<TXKgraph>();
  graph_->Readout.Enabled = true;
  view_->SetGraph(graph_.get());
  setCentralWidget(view_);
  own_playback_ = std::make_unique<WindowPlayback>(nullptr, reporter_,
                                                   [this](bool completed) { PlaybackEnded(completed); });
  AskText = [this](const QString& title, const QString& prompt, const QString& text) {
    return AskInputBox(this, title, prompt, text);
  };
  AskSaveFile = [this](const QString& title, const QString& filter, const QString& offered) {
    QString path = QFileDialog::getSaveFileName(this, title, offered, filter);
    if (!path.isEmpty() && QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".txt");
    return path;
  };
  AskYesNo = [this](const QString& title, const QString& question) {
    return QMessageBox::question(this, title, question) == QMessageBox::Yes;
  };
  BuildMenus();
  UpdateEnabled();
  Redraw(AxisScaling::kFromZero);
  resize(820, 560);
}

TAreaForm::~TAreaForm() {
  own_playback_.reset();
  if (playing_ && host_.stop) {
    playing_ = false;
    host_.stop(true);
  }
}

QAction* TAreaForm::Add(QMenu* menu, const char* name, const char* caption,
                        void (TAreaForm::*slot)()) {
  QAction* a = menu->addAction(QString::fromUtf8(caption), this, slot);
  a->setObjectName(QString::fromLatin1(name));
  items_[a->objectName()] = a;
  return a;
}

QAction* TAreaForm::Item(const QString& name) const {
  const auto it = items_.find(name);
  return it == items_.end() ? nullptr : it->second;
}

void TAreaForm::BuildMenus() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
  Add(file, "SaveTXT", "Save TXT...", &TAreaForm::SaveTXTClick)->setShortcut(QKeySequence::Save);
  Add(file, "SaveBmp", "Save Graph (PNG/BMP)...", &TAreaForm::SaveBmpClick);
  Add(file, "Print", "Print...", &TAreaForm::PrintClick)->setShortcut(QKeySequence::Print);
  file->addSeparator();
  file->addAction(QStringLiteral("Close"), this, &QWidget::close);

  QMenu* run = menuBar()->addMenu(QStringLiteral("&Collect"));
  Add(run, "Collect", "Region Time Course", &TAreaForm::CollectClick);
  Add(run, "RefRegion", "Use Region as Reference", &TAreaForm::RefRegionClick);
  Add(run, "TrackedObject", "Tracked Object...", &TAreaForm::TrackedObjectClick);
  Add(run, "Stop", "Stop", &TAreaForm::StopClick)->setShortcut(QKeySequence(Qt::Key_Escape));

  QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
  Add(view, "ShowIntens", "Intensity", &TAreaForm::ShowIntensClick);
  Add(view, "ShowXY", "X and Y", &TAreaForm::ShowXYClick);
  Add(view, "ShowIntXY", "Intensity and XY", &TAreaForm::ShowIntXYClick);
  Add(view, "ShowSpotInt", "Spots and Intensity", &TAreaForm::ShowSpotIntClick);
  Add(view, "Show1ver2", "Y versus X", &TAreaForm::Show1ver2Click);
  Add(view, "ShowRMSDverTime", "Squared Displacement", &TAreaForm::ShowRMSDverTimeClick);
  Add(view, "ShowVelocity", "Velocity", &TAreaForm::ShowVelocityClick);
  Add(view, "ShowStageXYZ", "Stage XYZ", &TAreaForm::ShowStageXYZClick);
  view->addSeparator();
  QAction* abs = Add(view, "ShowAbsVals", "Absolute Values", &TAreaForm::ShowAbsValsClick);
  abs->setCheckable(true);
  abs->setChecked(true);

  QMenu* curve = menuBar()->addMenu(QStringLiteral("C&urve"));
  Add(curve, "Demp5", "Smooth 5 Points", &TAreaForm::Demp5Click);
  Add(curve, "Demp10", "Smooth 10 Points", &TAreaForm::Demp10Click);
  Add(curve, "Med3pt", "Median 3 Points", &TAreaForm::Med3ptClick);
  Add(curve, "Med5pt", "Median 5 Points", &TAreaForm::Med5ptClick);
  Add(curve, "Med7pt", "Median 7 Points", &TAreaForm::Med7ptClick);
  curve->addSeparator();
  Add(curve, "FirstDerivative", "First Derivative", &TAreaForm::FirstDerivativeClick);
  Add(curve, "CutTrack", "Cut Track...", &TAreaForm::CutTrackClick);
  curve->addSeparator();
  Add(curve, "FullScale", "Full Scale Normalisation", &TAreaForm::FullScaleClick);
  Add(curve, "DoubleNorm", "Double Normalisation", &TAreaForm::DoubleNormClick);

  QMenu* fit = menuBar()->addMenu(QStringLiteral("F&it"));
  Add(fit, "FitBleaching", "Fit Bleaching", &TAreaForm::FitBleachingClick);
  Add(fit, "FitRecovery", "Fit Recovery", &TAreaForm::FitRecoveryClick);
  Add(fit, "FitSpotsCurve", "Fit Spots Curve", &TAreaForm::FitSpotsCurveClick);
  Add(fit, "FitDoubleBleaching", "Fit Bleaching, Two Rates", &TAreaForm::FitDoubleBleachingClick);

  QMenu* diff = menuBar()->addMenu(QStringLiteral("&Diffusion"));
  Add(diff, "MSDver_dT", "MSD versus dT", &TAreaForm::MSDver_dTClick);
  Add(diff, "CalcVar", "Variance", &TAreaForm::CalcVarClick);
  Add(diff, "CalcKdiff", "Diffusion Coefficient", &TAreaForm::CalcKdiffClick);

  QMenu* graph = menuBar()->addMenu(QStringLiteral("&Graph"));
  QAction* stretched =
      Add(graph, "StretchedGraphs", "Stretched Graphs", &TAreaForm::StretchedGraphsClick);
  stretched->setCheckable(true);
  Add(graph, "StretchGraph", "Stretch Graph Now", &TAreaForm::StretchGraphClick);
  QAction* autos = Add(graph, "AutoScaling", "Auto Scaling", &TAreaForm::AutoScalingClick);
  autos->setCheckable(true);
  autos->setChecked(true);
  Add(graph, "SetAxis", "Set Axis...", &TAreaForm::SetAxisClick);
}

QString TAreaForm::StatusText() const {
  return status_->text();
}
QString TAreaForm::ProgressText() const {
  return progress_label_->text();
}

void TAreaForm::UpdateEnabled() {
  const bool idle = !playing_;
  for (auto& [name, a] : items_)
    if (name != QLatin1String("Stop")) a->setEnabled(idle);
  Item(QStringLiteral("Stop"))->setEnabled(!idle);
}

void TAreaForm::Redraw(std::optional<AxisScaling> scaling) {
  if (!scaling) {
    scaling = !Item(QStringLiteral("AutoScaling"))->isChecked()     ? AxisScaling::kKeep
              : Item(QStringLiteral("StretchedGraphs"))->isChecked() ? AxisScaling::kStretched
                                                                     : AxisScaling::kFromZero;
  }
  PutPlot(session_.Plot(), *scaling, matrix_, *graph_);
  graph_->Repaint();
  view_->update();
}

// --- Collecting ---------------------------------------------------------------

bool TAreaForm::DropUnsaved() {
  if (!session_.Unsaved()) return true;
  if (!AskYesNo(Q(kUnsavedTitle), Q(kUnsavedDrop))) return false;
  session_.MarkSaved();
  return true;
}

void TAreaForm::CollectClick() {
  if (playing_) return;
  if (!record_.RecordLoaded() || record_.FrameCount() == 0 || !record_.HasFrame()) {
    reporter_.Modal(kNoData);
    return;
  }
  if (!DropUnsaved()) return;
  const Region region = host_.region ? host_.region() : Region{};
  const std::optional<TrackingParams> params =
      host_.spot_params ? host_.spot_params() : std::optional<TrackingParams>(TrackingParams{});
  const std::string name = QFileInfo(QString::fromStdString(record_.RecordFileName())).fileName().toStdString();
  const std::string what = "Region " + std::to_string(region.left) + "," +
                           std::to_string(region.top) + " - " + std::to_string(region.right) +
                           "," + std::to_string(region.bottom) + " of " + name;
  AreaCollectPass* pass =
      session_.BeginCollect(region, record_.Width(), record_.Height(), reference_, params, what);
  if (!pass) return;
  progress_ = std::make_unique<Progress>(progress_label_,
                                         record_.PlayLastFrame() - record_.PlayFirstFrame() + 1);
  std::vector<FrameConsumer*> consumers{pass, progress_.get()};
  playing_ = true;
  UpdateEnabled();
  if (!own_playback_->Play(host_.play, record_, consumers) && playing_) {
    playing_ = false;
    UpdateEnabled();
    reporter_.Modal(kBusy);
  }
}

void TAreaForm::FinishPlayback() {
  own_playback_->RunToEnd();
}

void TAreaForm::PlaybackEnded(bool completed) {
  if (!playing_) return;
  playing_ = false;
  const int32_t seen = progress_ ? progress_->Seen() : 0;
  const int32_t frames = progress_ ? progress_->Frames() : 0;
  session_.FinishCollect(completed, frames);
  progress_label_->setText(completed ? QStringLiteral("Finished: %1 frames").arg(seen)
                                     : QStringLiteral("Stopped at frame %1 of %2").arg(seen).arg(frames));
  progress_.reset();
  UpdateEnabled();
  session_.Show(AreaView::kIntens);
  Redraw();
}

void TAreaForm::StopClick() {
  if (!playing_) return;
  if (host_.stop)
    host_.stop(false);
  else
    own_playback_->Stop();
}

void TAreaForm::RefRegionClick() {
  const Region r = host_.region ? host_.region() : Region{};
  if (!r.active) {
    reporter_.Modal(kNoRegion);
    return;
  }
  reference_ = r;
  reporter_.Status(Q(kReferenceSet).arg(r.left).arg(r.top).arg(r.right).arg(r.bottom).toStdString());
}

void TAreaForm::TrackedObjectClick() {
  if (playing_) return;
  const TrackSet set = host_.tracks ? host_.tracks() : TrackSet{};
  if (set.tracks.empty()) {
    reporter_.Modal(kNoTracks);
    return;
  }
  const auto typed = AskText(Q(kTrackTitle), Q(kTrackPrompt).arg(set.tracks.size()),
                             QStringLiteral("1"));
  if (!typed) return;
  const auto n = ParseInteger(typed->toStdString());
  if (!n || *n < 1 || *n > static_cast<int64_t>(set.tracks.size())) {
    reporter_.Modal(Q(kTrackOutOfRange).arg(set.tracks.size()).toStdString());
    return;
  }
  if (!DropUnsaved()) return;
  const TrackSeries& track = set.tracks[static_cast<size_t>(*n - 1)];
  if (session_.UseTrack(track, set.timing.frame_s, AreaSource::kTrack,
                        "Track " + std::to_string(track.id + 1)))
    Redraw();
}

void TAreaForm::ShowBead(int index) {
  if (playing_ || !host_.bead) return;
  const TrackSeries bead = host_.bead(index);
  if (bead.Points() == 0 || !DropUnsaved()) return;
  const double frame_s = record_.FrameInterval();
  if (session_.UseTrack(bead, frame_s, AreaSource::kBead, "Bead " + std::to_string(index + 1)))
    ShowXYClick();
}

// --- Views and commands -------------------------------------------------------

void TAreaForm::ShowView(AreaView view) {
  if (session_.Show(view)) Redraw();
}

void TAreaForm::ShowIntensClick() { ShowView(AreaView::kIntens); }
void TAreaForm::ShowXYClick() { ShowView(AreaView::kXY); }
void TAreaForm::ShowIntXYClick() { ShowView(AreaView::kIntXY); }
void TAreaForm::ShowSpotIntClick() { ShowView(AreaView::kSpotInt); }
void TAreaForm::Show1ver2Click() { ShowView(AreaView::kOneVer2); }
void TAreaForm::ShowRMSDverTimeClick() { ShowView(AreaView::kRmsd); }
void TAreaForm::ShowVelocityClick() { ShowView(AreaView::kVelocity); }
void TAreaForm::ShowStageXYZClick() { ShowView(AreaView::kStage); }

void TAreaForm::ShowAbsValsClick() {
  session_.SetAbsVals(Item(QStringLiteral("ShowAbsVals"))->isChecked());
  Redraw();
}

void TAreaForm::Run(bool (AreaSession::*command)()) {
  if (playing_) return;
  if ((session_.*command)()) Redraw();
}

// A fit runs with the busy cursor.
void TAreaForm::RunFit(bool (AreaSession::*command)()) {
  if (playing_) return;
  setCursor(Qt::WaitCursor);
  const bool ok = (session_.*command)();
  unsetCursor();
  if (ok) Redraw();
}

void TAreaForm::Demp5Click() {
  if (session_.Smooth(Smoothing::kDemp5)) Redraw();
}
void TAreaForm::Demp10Click() {
  if (session_.Smooth(Smoothing::kDemp10)) Redraw();
}
void TAreaForm::Med3ptClick() {
  if (session_.Smooth(Smoothing::kMed3)) Redraw();
}
void TAreaForm::Med5ptClick() {
  if (session_.Smooth(Smoothing::kMed5)) Redraw();
}
void TAreaForm::Med7ptClick() {
  if (session_.Smooth(Smoothing::kMed7)) Redraw();
}
void TAreaForm::FirstDerivativeClick() { Run(&AreaSession::FirstDerivativeClick); }
void TAreaForm::FitBleachingClick() { RunFit(&AreaSession::FitBleachingClick); }
void TAreaForm::FitRecoveryClick() { RunFit(&AreaSession::FitRecoveryClick); }
void TAreaForm::FitSpotsCurveClick() { RunFit(&AreaSession::FitSpotsCurveClick); }
void TAreaForm::FitDoubleBleachingClick() { RunFit(&AreaSession::FitDoubleBleachingClick); }
void TAreaForm::FullScaleClick() { Run(&AreaSession::FullScaleClick); }
void TAreaForm::DoubleNormClick() { Run(&AreaSession::DoubleNormClick); }
void TAreaForm::MSDver_dTClick() { Run(&AreaSession::MSDver_dTClick); }
void TAreaForm::CalcVarClick() { Run(&AreaSession::CalcVarClick); }
void TAreaForm::CalcKdiffClick() { Run(&AreaSession::CalcKdiffClick); }

void TAreaForm::CutTrackClick() {
  if (playing_ || !session_.HasData()) {
    reporter_.Modal(kNoData);
    return;
  }
  const auto typed = AskText(Q(kCutTitle), Q(kCutPrompt),
                             QStringLiteral("1-%1").arg(session_.Trace().Points()));
  if (!typed) return;
  if (session_.CutTrackClick(typed->toStdString())) Redraw();
}

void TAreaForm::StretchedGraphsClick() { Redraw(); }
void TAreaForm::StretchGraphClick() { Redraw(AxisScaling::kStretched); }
void TAreaForm::AutoScalingClick() { Redraw(); }

// The graph's settings dialog: the axes stay as set there until auto scaling is on again.
void TAreaForm::SetAxisClick() {
  Item(QStringLiteral("AutoScaling"))->setChecked(false);
  view_->OpenSettings();
}

void TAreaForm::SaveTXTClick() {
  if (!session_.HasData()) {
    reporter_.Modal(kNoData);
    return;
  }
  const QString offered =
      QString::fromStdString(RecordBaseName(record_.RecordFileName())) + QStringLiteral(".area.txt");
  const QString path = AskSaveFile(Q(kSaveTxtTitle), Q(kTableFilter), offered);
  if (path.isEmpty()) return;
  SaveTable(path);
}

bool TAreaForm::SaveTable(const QString& path) {
  if (!WriteTextAtomically(path.toStdString(), session_.TableText(), reporter_)) return false;
  session_.MarkSaved();
  reporter_.Status(Q(kSaved).arg(path).toStdString());
  return true;
}

void TAreaForm::SaveBmpClick() { SaveGraphAs(*graph_, this); }
void TAreaForm::PrintClick() { PrintGraph(*graph_, this); }

void TAreaForm::OfferToSave() {
  if (!session_.Unsaved()) return;
  if (AskYesNo(Q(kUnsavedTitle), Q(kUnsavedOffer))) SaveTXTClick();
  session_.MarkSaved();
}

void TAreaForm::closeEvent(QCloseEvent* event) {
  StopClick();
  OfferToSave();
  event->accept();
}

}  // namespace lumetra
