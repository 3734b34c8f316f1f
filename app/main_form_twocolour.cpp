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

void TMainForm::BuildTwoColourMenu(QMenu* file, QMenu* save) {
  save->addSeparator();
  auto add = [this](QMenu* menu, const char* name, const QString& caption,
                    void (TMainForm::*slot)()) {
    QAction* a = menu->addAction(caption, this, slot);
    items_[QString::fromLatin1(name)] = a;
    return a;
  };
  QMenu* mask = file->addMenu(QStringLiteral("Mask and Ghost"));
  need_frame_.push_back(mask->menuAction());
  add(mask, "LoadMask", QStringLiteral("Load Mask File..."), &TMainForm::LoadMaskClick);
  for (const auto& [name, caption] :
       {std::pair{"BooleanMask", "Boolean Mask"}, std::pair{"SubtractMask", "Subtract Mask"},
        std::pair{"Equalizer", "Equalizer"}}) {
    QAction* a = add(mask, name, QString::fromLatin1(caption), &TMainForm::MaskModeClick);
    a->setCheckable(true);
  }
  add(mask, "ClearMask", QStringLiteral("Clear Mask"), &TMainForm::ClearMaskClick);
  mask->addSeparator();
  add(mask, "KeepGhost", QStringLiteral("Keep Frame as Ghost"), &TMainForm::KeepGhostClick);
  add(mask, "LoadGhost", QStringLiteral("Load Ghost Frame..."), &TMainForm::LoadGhostClick);
  add(mask, "ClearGhost", QStringLiteral("Clear Ghost"), &TMainForm::ClearGhostClick);
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
      return PlayWithConsumers(consumers);
    };
    host.stop = [this](bool now) { StopPlayback(now); };
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

// The frame shown passes the chain again, so a new mask shows at once.
void TMainForm::RereadShownFrame() {
  if (!store_ || !store_->RecordLoaded() || RecordStreaming()) return;
  RereadThroughChain(*store_, median_, reporter_);
  ShowFrame();
}

void TMainForm::LoadMaskClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  const QString path = AskOpenFile(Q(kLoadMaskTitle), Q(kXkvFilter));
  if (path.isEmpty()) return;
  auto mask = ReadMaskFile(S(path), reporter_);
  if (!mask || !MaskFitsRecord(*mask, store_->Width(), store_->Height(), reporter_)) return;
  const int64_t set = mask->Set(), all = static_cast<int64_t>(mask->pixels.size());
  mask_step_.SetMask(std::move(*mask));
  store_->RemoveStep(&mask_step_);
  store_->AddStep(&mask_step_);
  if (!MenuItem(QStringLiteral("SubtractMask"))->isChecked() &&
      !MenuItem(QStringLiteral("Equalizer"))->isChecked())
    MenuItem(QStringLiteral("BooleanMask"))->setChecked(true);
  MaskModeClick();
  statusBar()->showMessage(Q(kMaskLoaded).arg(path).arg(set).arg(all));
}

void TMainForm::MaskModeClick() {
  mask_step_.boolean_ = MenuItem(QStringLiteral("BooleanMask"))->isChecked();
  mask_step_.subtract_ = MenuItem(QStringLiteral("SubtractMask"))->isChecked();
  mask_step_.equalize_ = MenuItem(QStringLiteral("Equalizer"))->isChecked();
  RereadShownFrame();
}

void TMainForm::ClearMaskClick() {
  mask_step_.Clear();
  if (store_) store_->RemoveStep(&mask_step_);
  RereadShownFrame();
}

bool TMainForm::GhostShown() const {
  return view_->ShowsGhost();
}

void TMainForm::ShowGhost(GhostFrame ghost) {
  const std::vector<uint32_t> overlay = GhostOverlay(ghost);
  QImage image(ghost.width, ghost.height, QImage::Format_ARGB32);
  for (int y = 0; y < ghost.height; ++y)
    std::copy_n(overlay.data() + static_cast<size_t>(y) * ghost.width, ghost.width,
                reinterpret_cast<uint32_t*>(image.scanLine(y)));
  view_->SetGhost(image);
  statusBar()->showMessage(Q(kGhostShown).arg(Q(ghost.source)));
}

void TMainForm::KeepGhostClick() {
  if (!store_ || !store_->HasFrame()) return;
  GhostFrame g;
  g.width = store_->Width();
  g.height = store_->Height();
  g.pixels.assign(store_->FrameBuffer(), store_->FrameBuffer() + static_cast<size_t>(g.width) * g.height);
  g.source = "frame " + std::to_string(store_->CurrentFrame());
  ShowGhost(std::move(g));
}

void TMainForm::LoadGhostClick() {
  if (!store_ || !store_->HasFrame()) return;
  const QString path = AskOpenFile(Q(kLoadGhostTitle), Q(kXkvFilter));
  if (path.isEmpty()) return;
  auto ghost = ReadGhostFile(S(path), reporter_);
  if (!ghost) return;
  if (ghost->width != store_->Width() || ghost->height != store_->Height()) {
    reporter_.Modal(kGhostSizeDiffers, S(path) + ": " + std::to_string(ghost->width) + " x " +
                                           std::to_string(ghost->height));
    return;
  }
  ShowGhost(std::move(*ghost));
}

void TMainForm::ClearGhostClick() {
  view_->SetGhost(QImage());
}

}  // namespace lumetra
