// Batch runs of the main window: the Batch Analysis menu, the tracking and
// step-test runs over a group of records, and the unattended tracking of the
// open record. Each record is opened here and driven through the tool
// window's own handlers, as a user would by hand, so a run does exactly what
// the windows do. What the windows say goes to the record's log instead of a
// box; one box at the end tells how the run went.
#include <QAction>
#include <QApplication>
#include <QEventLoop>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QTimer>

#include "app/app_messages.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "batch/batch_messages.h"
#include "spots/gui/spot_form.h"
#include "spots/tracking_settings.h"
#include "steps/gui/detect_form.h"

namespace lumetra {
namespace {

// While a run is on, every key of every window is held back but Esc, which
// stops the run (the tool windows' own Esc would end one pass only).
class BatchKeys final : public QObject {
 public:
  explicit BatchKeys(TMainForm* form) : QObject(form), form_(form) {}
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::ShortcutOverride)
      return false;
    if (event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape)
      form_->StopClick();
    event->accept();
    return true;
  }

 private:
  TMainForm* form_;
};

int64_t GoodTracks(const TrackStore& tracks) {
  int64_t n = 0;
  for (int32_t t = 0; t < tracks.track_count; ++t)
    n += tracks.Slot(t).completed && tracks.Slot(t).good;
  return n;
}

}  // namespace

void TMainForm::BuildBatchMenu() {
  QMenu* menu = menuBar()->addMenu(QStringLiteral("&") + Q(kBatchMenuCaption));
  struct Item {
    const char* name;
    std::string_view caption;
    void (TMainForm::*slot)();
  };
  const Item items[] = {
      {"DoSPTinFiles", kBatchSptCaption, &TMainForm::DoSPTinFilesClick},
      {"BatchStest", kBatchStestCaption, &TMainForm::BatchStestClick},
      {"BatchPtest", kBatchPtestCaption, &TMainForm::BatchPtestClick},
      {"MStest", kBatchMStestCaption, &TMainForm::MStestClick},
  };
  for (const Item& it : items) {
    QAction* a = menu->addAction(Q(it.caption), this, it.slot);
    a->setObjectName(QString::fromLatin1(it.name));
    items_[a->objectName()] = a;
    if (it.slot == &TMainForm::DoSPTinFilesClick) menu->addSeparator();
  }
}

void TMainForm::DoSPTinFilesClick() {
  RunSptBatch(AskOpenFiles(Q(kBatchSptTitle), Q(kRecordFilter)));
}

void TMainForm::BatchStestClick() {
  RunStepBatch(BatchKind::kStest, AskOpenFiles(Q(kBatchStepsTitle), Q(kRecordFilter)));
}

void TMainForm::BatchPtestClick() {
  RunStepBatch(BatchKind::kPtest, AskOpenFiles(Q(kBatchStepsTitle), Q(kRecordFilter)));
}

void TMainForm::MStestClick() {
  RunStepBatch(BatchKind::kMStest, AskOpenFiles(Q(kBatchMStestTitle), Q(kRecordFilter)));
}

QString TMainForm::BatchPanelText() const {
  return batch_panel_->text();
}

void TMainForm::ShowBatchProgress() {
  if (!batch_) return;
  const bool loaded = store_ && store_->RecordLoaded() && store_->FrameCount() > 0;
  batch_panel_->setText(Q(batch_->StatusText(loaded ? store_->CurrentFrame() + 1 : 0,
                                             loaded ? store_->FrameCount() : 0)));
}

void TMainForm::WaitWhile(const std::function<bool()>& busy) {
  while (busy()) {
    QEventLoop loop;
    // Back at the end of a pass, and now and then for the progress line.
    QTimer::singleShot(100, &loop, &QEventLoop::quit);
    connect(this, &TMainForm::PlaybackFinished, &loop, &QEventLoop::quit);
    if (spot_form_) connect(spot_form_.data(), &TSpotForm::PassEnded, &loop, &QEventLoop::quit);
    loop.exec();
    ShowBatchProgress();
  }
}

void TMainForm::BeginBatch(const BatchOptions& options, const QStringList& files) {
  std::vector<std::string> names;
  for (const QString& f : files) names.push_back(S(f));
  batch_ = std::make_unique<BatchSession>(options, std::move(names));
  batch_stop_ = false;
  batch_flag_ = false;
  reporter_.log = &batch_->Log();
  // Only Esc and Stop act while a run is on: the run owns the record.
  menuBar()->setEnabled(false);
  centralWidget()->setEnabled(false);
  batch_keys_ = new BatchKeys(this);
  qApp->installEventFilter(batch_keys_);
  RefreshMenus();
  batch_panel_->show();
  ShowBatchProgress();
}

void TMainForm::EndBatch(bool show_box) {
  if (batch_stop_) batch_->Stop();
  batch_flag_ = false;
  delete batch_keys_;
  batch_keys_ = nullptr;
  if (spot_form_) {
    spot_form_->SetBatchMode(false);
    spot_form_->Messages().log = nullptr;
    spot_form_->menuBar()->setEnabled(true);
  }
  if (detect_form_) {
    detect_form_->Messages().log = nullptr;
    detect_form_->menuBar()->setEnabled(true);
  }
  reporter_.log = nullptr;
  menuBar()->setEnabled(true);
  centralWidget()->setEnabled(true);
  last_batch_results_ = batch_->Results();
  last_batch_end_ = batch_->EndBox();
  batch_.reset();
  batch_panel_->hide();
  batch_panel_->clear();
  RefreshMenus();
  if (show_box) {
    // The box comes with the main window in front of the tool windows.
    raise();
    activateWindow();
    reporter_.Modal(last_batch_end_.title + "\n" + last_batch_end_.text, last_batch_end_.detail);
  }
  if (close_after_batch_) QTimer::singleShot(0, this, &QWidget::close);
}

void TMainForm::RunSptBatch(const QStringList& files) {
  if (files.isEmpty() || BatchRunning()) return;
  // A playback under way ends here: the run reads the records from now on.
  if (Playing()) EndPlayback();
  // Tracks not saved yet: saved or dropped now, or the run does not start.
  if ((spot_form_ && !spot_form_->MayDropTracks()) || !MayDropManualObjects()) return;
  // The tracking window's settings as they are now hold for every record
  // (each record opens its own window); without the window, those it opens with.
  TSpotForm::BatchSetup setup;
  if (spot_form_)
    setup = spot_form_->CurrentSetup();
  else
    setup.params = TrackingParamsFrom(settings_.values());
  BatchOptions options;
  options.kind = BatchKind::kTrack;
  options.tracking = setup.params;
  options.link_tracks = setup.link_in_batch;
  options.save_zpos = setup.save_zpos;
  options.median_frames = median_.MedianFrames();
  BeginBatch(options, files);
  for (int i = 0; i < files.size() && !batch_stop_; ++i) {
    batch_->BeginRecord(i);
    ShowBatchProgress();
    emit BatchRecordStarted(i);
    RunSptRecord(files[i], setup, true);
    // The batch flag is cleared after each record.
    batch_flag_ = false;
    if (spot_form_) spot_form_->SetBatchMode(false);
  }
  EndBatch(true);
}

// Open, set the batch flag, show the tracking window, Detect, Tracking, Link
// Tracks when "LinkTracks in Batch Mode" is checked, Save XKI: with the flag
// set the window writes to the record's batch name without a dialog. The
// window's ".txt" offer has no use here, as the run writes no text file.
bool TMainForm::OpenBatchRecord(const QString& path, const std::string& planned, bool open) {
  if (open && !OpenRecord(path)) {
    batch_->EndRecord(false, planned, -1, kRecordUnreadable);
    return false;
  }
  if (store_->FrameCount() <= 0 || !store_->HasFrame()) {
    batch_->EndRecord(false, planned, -1, kRecordNoFrame);
    return false;
  }
  return true;
}

void TMainForm::RunSptRecord(const QString& path, const TSpotForm::BatchSetup& setup, bool open) {
  const std::string planned = BatchOutputName(S(path), batch_->Options());
  if (!OpenBatchRecord(path, planned, open)) return;
  batch_flag_ = true;
  if (batch_stop_) return;
  SpotingClick();
  if (!spot_form_) {
    batch_->EndRecord(false, planned, -1, kBatchWindowClosed);
    return;
  }
  spot_form_->menuBar()->setEnabled(false);
  spot_form_->Messages().log = &batch_->Log();
  spot_form_->ApplySetup(setup);
  spot_form_->SetBatchMode(true, setup.link_in_batch);
  // One pass: Detect, or Link Tracks. False when the record ends here.
  auto played = [&] {
    WaitWhile([this] { return spot_form_ && spot_form_->Playing(); });
    if (batch_stop_) return false;
    if (!spot_form_) {
      batch_->EndRecord(false, planned, -1, kBatchWindowClosed);
      return false;
    }
    if (!spot_form_->PassCompleted()) {
      batch_->EndRecord(false, planned, -1, kRecordReadFailed);
      return false;
    }
    return true;
  };
  spot_form_->DetectClick();
  if (!played()) return;
  spot_form_->TrackingClick();
  if (setup.link_in_batch) {
    spot_form_->LinkTracksClick();
    if (!played()) return;
  }
  const std::string output = S(spot_form_->BatchXkiName());
  if (!spot_form_->SaveXKIfileClick()) {
    batch_->EndRecord(false, output, -1, kOutputNotWritten);
    return;
  }
  batch_->EndRecord(true, output, GoodTracks(spot_form_->Tracks()));
}

void TMainForm::RunStepBatch(BatchKind kind, const QStringList& files) {
  if (files.isEmpty() || kind == BatchKind::kTrack || BatchRunning()) return;
  if (Playing()) EndPlayback();
  if ((spot_form_ && !spot_form_->MayDropTracks()) || !MayDropManualObjects()) return;
  // The step window's settings as they are now hold for every record; each
  // record's window starts from them, so the object kind that SpotPixClick
  // switches is back where it was for the next record.
  batch_steps_.reset();
  BatchOptions options;
  options.kind = kind;
  options.steps.window = settings_.values().DetectWindow;
  if (detect_form_) {
    detect_form_->OfferToSave();
    batch_steps_ = detect_form_->Analysis().Params();
    options.steps = *batch_steps_;
  }
  options.median_frames = median_.MedianFrames();
  BeginBatch(options, files);
  for (int i = 0; i < files.size() && !batch_stop_; ++i) {
    batch_->BeginRecord(i);
    ShowBatchProgress();
    emit BatchRecordStarted(i);
    RunStepRecord(files[i]);
    batch_flag_ = false;
  }
  EndBatch(true);
}

// Set the flag, open, Detect (StartTr), the choice of objects for the test,
// Tracking (Collect), the test, SpotPix, then the results text under the
// record's batch name. Esc is looked at after opening, after Detect, after
// SpotPix and after writing.
void TMainForm::RunStepRecord(const QString& path) {
  const BatchKind kind = batch_->Options().kind;
  const std::string planned = BatchOutputName(S(path), batch_->Options());
  batch_flag_ = true;
  if (!OpenBatchRecord(path, planned, true)) return;
  if (batch_stop_) return;
  DetectingClick();
  if (!detect_form_) {
    batch_->EndRecord(false, planned, -1, kBatchWindowClosed);
    return;
  }
  detect_form_->menuBar()->setEnabled(false);
  detect_form_->Messages().log = &batch_->Log();
  if (batch_steps_) detect_form_->UseParams(*batch_steps_);
  auto played = [&] {
    WaitWhile([this] { return detect_form_ && detect_form_->Playing(); });
    if (!detect_form_) {
      if (!batch_stop_) batch_->EndRecord(false, planned, -1, kBatchWindowClosed);
      return false;
    }
    if (!detect_form_->LastPassFinished() && !batch_stop_) {
      batch_->EndRecord(false, planned, -1, kRecordReadFailed);
      return false;
    }
    return true;
  };
  detect_form_->StartTrClick();
  if (!played() || batch_stop_) return;
  TDetectForm* d = detect_form_;
  switch (kind) {
    case BatchKind::kStest:
      d->SubtrMaxRiseClick();
      break;
    case BatchKind::kPtest:
      d->AddMaxRiseClick();
      break;
    default:
      d->UseDropMapClick();  // the MS-test scores the drops alone
      break;
  }
  if (!d->Analysis().Objects().empty()) {
    d->CollectClick();
    if (!played()) return;
    d = detect_form_;
  }
  if (!d->Analysis().Traces().objects.empty()) {
    if (kind == BatchKind::kStest)
      d->ShowStestClick();
    else if (kind == BatchKind::kPtest)
      d->ShowPtestClick();
    else
      d->ShowMStestClick();
  }
  // SpotPix switches the object kind the window shows; the results text
  // does not depend on it. Switched back after writing, so the window (and a
  // run started from it) holds the kind every record began with.
  const ObjectKind kind_before = d->Analysis().Params().kind;
  d->SpotPixClick();
  auto restore_kind = [&] {
    if (detect_form_ && detect_form_->Analysis().Params().kind != kind_before)
      detect_form_->SpotPixClick();
  };
  if (batch_stop_) {
    restore_kind();
    return;
  }
  const std::string output = StepBatchFileName(S(path), kind, d->Analysis().Params());
  const bool written = d->SaveResults(Q(output));
  restore_kind();
  if (!written) {
    batch_->EndRecord(false, output, -1, kOutputNotWritten);
    return;
  }
  int64_t above = 0;
  for (size_t i = 0; i < d->Analysis().Scores().size(); ++i) above += d->Analysis().AboveThreshold(i);
  batch_->EndRecord(true, output, above);
}

bool TMainForm::AutoTrack() {
  // The stored settings: "Lumetra.ini" is read first when start-up has not yet.
  if (OpenTimer.isActive()) {
    OpenTimer.stop();
    OpenTimerTimer();
  }
  if (!store_ || !store_->RecordLoaded() || BatchRunning() || RecordStreaming()) return false;
  BatchOptions options = AutoTrackOptions(settings_.values());
  options.median_frames = median_.MedianFrames();
  TSpotForm::BatchSetup setup;
  setup.params = options.tracking;
  const QString path = Q(store_->RecordFileName());
  if (spot_form_ && !spot_form_->MayDropTracks()) return false;
  BeginBatch(options, {path});
  batch_->BeginRecord(0);
  emit BatchRecordStarted(0);
  RunSptRecord(path, setup, false);
  // Quietly, while the run is on: the tracks are in the file or the run failed.
  CloseRecordWindows();
  EndBatch(false);
  return last_batch_results_.size() == 1 && last_batch_results_[0].status == RecordStatus::kOk;
}

}  // namespace lumetra
