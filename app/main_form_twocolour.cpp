// Profiles and kymographs (the TProfForm tool window), and the records made
// from the open one beyond the plain transforms: the two channels of a
// two-colour record, a channel registered onto the open record, and the
// drift-corrected record from a drift table or by cross-correlation.
#include <QAction>
#include <QMenu>
#include <QMessageBox>
#include <QStatusBar>

#include "app/app_messages.h"
#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "common/text_format.h"
#include "display/gui/tool_window.h"
#include "processing/frame_drift.h"
#include "processing/registration.h"
#include "processing/shift_export.h"
#include "processing/text_output.h"
#include "processing/two_colour.h"
#include "processing/two_colour_messages.h"
#include "profile/gui/prof_form.h"
#include "profile/profile_messages.h"
#include "record/gui/record_busy.h"

namespace lumetra {

// The menus, tool bar and track bar look disabled while a record streams
// (main_form_processing.cpp).
void HoldControls(QMainWindow* window, bool busy);

namespace {

inline constexpr std::string_view kStoppedNothingWritten =
    "Stopped at frame %1 of %2: nothing written";
inline constexpr std::string_view kDriftTableFilter =
    "Tab-separated text (*.tsv *.txt);;All Files (*)";

}  // namespace

void TMainForm::AddProfilesItem(QMenu* tools) {
  QAction* a = tools->addAction(Q(kProfFormCaption), this, &TMainForm::ProfilesClick);
  a->setObjectName(QStringLiteral("Profiles"));
  items_[QStringLiteral("Profiles")] = a;
  need_frame_.push_back(a);
}

void TMainForm::BuildTwoColourMenu(QMenu* save) {
  save->addSeparator();
  auto add = [this](QMenu* menu, const char* name, const QString& caption,
                    void (TMainForm::*slot)()) {
    QAction* a = menu->addAction(caption, this, slot);
    items_[QString::fromLatin1(name)] = a;
  };
  add(save, "TwoColorSplitRec", QStringLiteral("Split Two-Colour Record..."),
      &TMainForm::SplitTwoColourClick);
  add(save, "RegisterChannel", QStringLiteral("Register Channel onto this Record..."),
      &TMainForm::RegisterChannelClick);
  QMenu* drift = save->addMenu(QStringLiteral("Save Drift-Corrected Record"));
  add(drift, "DriftCorrectedRec", QStringLiteral("From Drift Table..."),
      &TMainForm::DriftTableRecClick);
  add(drift, "DriftCorrectedXcorr", QStringLiteral("By Cross-Correlation of Frames..."),
      &TMainForm::DriftXcorrRecClick);
}

TProfForm* TMainForm::ProfForm() const {
  return prof_form_.data();
}

void TMainForm::ProfilesClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  if (!prof_form_) {
    prof_form_ = new TProfForm(*store_, reporter_);
    prof_form_->setAttribute(Qt::WA_DeleteOnClose);
    ProfHost host;
    host.line = [this]() -> std::optional<ProfileBand> {
      if (!line_shown_) return std::nullopt;
      return ProfileBand{static_cast<double>(line_.x0), static_cast<double>(line_.y0),
                         static_cast<double>(line_.x1), static_cast<double>(line_.y1),
                         settings_.values().ProfileWidth};
    };
    // The kymograph rides on this window's playback: the frames show here as
    // they are measured, and Esc in either window stops it.
    host.play = [this](std::vector<FrameConsumer*> consumers) {
      if (Playing()) return false;
      std::vector<FrameConsumer*> others = std::move(consumers_);
      consumers_ = std::move(consumers);
      PlayClick();
      consumers_ = std::move(others);
      return Playing();
    };
    host.stop = [this](bool now) {
      stop_ = true;
      if (now) EndPlayback();
    };
    prof_form_->SetHost(std::move(host));
    connect(this, &TMainForm::FrameShown, prof_form_.data(), &TProfForm::ShowProfile);
    connect(this, &TMainForm::SettingsChanged, prof_form_.data(), &TProfForm::ShowProfile);
    connect(view_, &ImageView::LineDrawn, prof_form_.data(), [this] {
      if (prof_form_) prof_form_->ShowProfile();
    });
    connect(this, &TMainForm::PlaybackFinished, prof_form_.data(), &TProfForm::PlaybackEnded);
    PlaceToolWindow(prof_form_.data(), this);
  }
  prof_form_->show();
  prof_form_->raise();
  prof_form_->activateWindow();
  prof_form_->ShowProfile();
}

ExportResult TMainForm::StreamRecordJob(RecordStore& store,
                                        const std::function<ExportResult(ExportJob&)>& run) {
  if (Playing()) EndPlayback();
  const int32_t shown = std::max(0, store_->CurrentFrame());
  const int32_t frames = store.FrameCount();
  ExportResult r;
  {
    RecordBusy busy(stop_);
    HoldControls(this, true);
    ExportJob job{store, reporter_, region_, {}, &stop_, {}};
    job.write.save_2bytes = SaveXKV_2bytes->isChecked();
    job.progress = [&](int32_t n) {
      statusBar()->showMessage(Q(kSavingRecordProgress).arg(n).arg(frames));
      busy.Tick();
    };
    r = run(job);
    HoldControls(this, false);
  }
  store_->FirstFrame(reporter_);
  if (shown > 0) store_->GoToFrame(shown, reporter_);
  ShowFrame();
  if (r.stopped) statusBar()->showMessage(Q(kStoppedNothingWritten).arg(r.frames_read).arg(frames));
  return r;
}

void TMainForm::SplitTwoColourClick() {
  if (!store_ || !store_->RecordLoaded() || store_->FrameCount() == 0) return;
  const auto typed = AskText(Q(kSplitTitle), Q(kSplitLayoutPrompt), QStringLiteral("1"));
  if (!typed) return;
  const int32_t choice = IntegerOr(S(*typed), 0);
  if (choice != 1 && choice != 2) {
    reporter_.Modal(kSplitLayoutOutOfRange);
    return;
  }
  const QString out =
      AskSaveFileNamed(Q(kSplitSaveTitle), Q(kXkvSaveFilter), QStringLiteral("xkv"),
                       Q(RecordBaseName(store_->RecordFileName()) + ".xkv"));
  if (out.isEmpty()) return;
  const std::string first = ChannelName(S(out), 1), second = ChannelName(S(out), 2);
  SplitResult split;
  const ExportResult r = StreamRecordJob(*store_, [&](ExportJob& job) {
    split = SplitTwoColourRecord(job, first, second,
                                 choice == 1 ? SplitLayout::kLeftRight : SplitLayout::kTopBottom);
    return split.export_result;
  });
  if (r.ok && !r.stopped)
    statusBar()->showMessage(
        Q(kSplitWritten).arg(r.frames_written).arg(Q(first)).arg(Q(second)));
}

void TMainForm::RegisterChannelClick() {
  if (!store_ || !store_->RecordLoaded() || store_->FrameCount() == 0) return;
  const QString other = AskOpenFile(Q(kRegisterOpenTitle), Q(kXkvFilter));
  if (other.isEmpty()) return;
  auto channel = RecordStore::Create(reporter_);
  if (!channel || !channel->Open(S(other), reporter_) || channel->FrameCount() == 0) return;
  if (channel->Width() != store_->Width() || channel->Height() != store_->Height()) {
    reporter_.Modal(kChannelSizesDiffer, S(other));
    return;
  }
  const QString out =
      AskSaveFileNamed(Q(kRegisterSaveTitle), Q(kXkvSaveFilter), QStringLiteral("xkv"),
                       Q(RecordBaseName(S(other)) + "-registered.xkv"));
  if (out.isEmpty()) return;
  if (Playing()) EndPlayback();
  // Beads: the bright spots of the first 20 frames of each channel.
  int32_t w = 0, h = 0;
  const auto a = MeanImage(*store_, 20, reporter_, w, h);
  const auto b = MeanImage(*channel, 20, reporter_, w, h);
  const auto reg = RegisterPoints({FindBeads(a, store_->Width(), store_->Height())},
                                  {FindBeads(b, channel->Width(), channel->Height())}, {});
  if (!reg) {
    reporter_.Modal(kTooFewBeads, S(other));
    ShowFrame();
    return;
  }
  const ExportResult r =
      StreamRecordJob(*channel, [&](ExportJob& job) { return ExportRegistered(job, S(out), reg->transform); });
  if (!r.ok || r.stopped) return;
  const std::string table = RecordBaseName(S(out)) + "-transform.tsv";
  WriteTextAtomically(table, TransformText(*reg), reporter_);
  statusBar()->showMessage(Q(kRegistered)
                               .arg(reg->pairs.size())
                               .arg(FormatFixed(reg->rms_px, 3).c_str())
                               .arg(out));
}

void TMainForm::SaveDriftCorrected(const std::vector<double>& dx, const std::vector<double>& dy) {
  const QString out =
      AskSaveFileNamed(Q(kDriftSaveTitle), Q(kXkvSaveFilter), QStringLiteral("xkv"),
                       Q(RecordBaseName(store_->RecordFileName()) + "-driftcorr.xkv"));
  if (out.isEmpty()) return;
  const ExportResult r =
      StreamRecordJob(*store_, [&](ExportJob& job) { return ExportShifted(job, S(out), dx, dy); });
  if (r.ok && !r.stopped)
    statusBar()->showMessage(Q(kDriftWritten).arg(r.frames_written).arg(out));
}

void TMainForm::DriftTableRecClick() {
  if (!store_ || !store_->RecordLoaded() || store_->FrameCount() == 0) return;
  const QString table = AskOpenFile(Q(kDriftTableTitle), Q(kDriftTableFilter));
  if (table.isEmpty()) return;
  std::string text, error;
  FileHandle f = OpenFile(S(table), "rb");
  if (!f) {
    reporter_.Modal(kDriftTableUnreadable, OpenFailureDetail(S(table), errno));
    return;
  }
  char buf[65536];
  size_t n = 0;
  while ((n = std::fread(buf, 1, sizeof buf, f.get())) > 0 && text.size() < (64u << 20))
    text.append(buf, n);
  std::vector<double> dx, dy;
  if (!DriftShiftsFromTable(text, store_->Prm().ScaleX, store_->Prm().ScaleY,
                            store_->FrameCount(), dx, dy, error)) {
    reporter_.Modal(kDriftTableUnreadable, S(table) + ": " + error);
    return;
  }
  SaveDriftCorrected(dx, dy);
}

void TMainForm::DriftXcorrRecClick() {
  if (!store_ || !store_->RecordLoaded() || store_->FrameCount() == 0) return;
  if (Playing()) EndPlayback();
  std::optional<FrameDrift> drift;
  bool stopped = false;
  const int32_t shown = std::max(0, store_->CurrentFrame());
  {
    RecordBusy busy(stop_);
    HoldControls(this, true);
    drift = EstimateFrameDrift(*store_, FrameDriftOptions{}, reporter_, &stop_,
                               [&](int32_t done, int32_t total) {
                                 statusBar()->showMessage(Q(kDriftEstimating).arg(done).arg(total));
                                 busy.Tick();
                               },
                               stopped);
    HoldControls(this, false);
  }
  store_->FirstFrame(reporter_);
  if (shown > 0) store_->GoToFrame(shown, reporter_);
  ShowFrame();
  if (stopped) {
    statusBar()->showMessage(Q(kStoppedNothingWritten).arg(0).arg(store_->FrameCount()));
    return;
  }
  if (!drift) return;
  SaveDriftCorrected(drift->dx_px, drift->dy_px);
}

}  // namespace lumetra
