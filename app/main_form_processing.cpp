// Record processing in the main window: the temporal filter submenu, the
// "Save Record As" transforms, "Fuse Records" and the import window. Each
// handler asks for its values and file, lets the core check and stream the
// record, and shows the core's messages; the record stays open afterwards.
#include <QAction>
#include <QApplication>
#include <QFileDialog>
#include <QMenu>
#include <QMenuBar>
#include <QSlider>
#include <QStatusBar>
#include <QToolBar>

#include "app/app_messages.h"
#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "common/text_format.h"
#include "display/gui/tool_window.h"
#include "processing/bmp_export.h"
#include "processing/export_transform.h"
#include "processing/output_names.h"
#include "processing/part_export.h"
#include "processing/processing_messages.h"
#include "processing/record_fusion.h"
#include "processing/temp_filt_menu.h"
#include "record/gui/com_form.h"
#include "record/gui/record_busy.h"

namespace lumetra {
namespace {

TransformRequest Request(TransformKind kind, int32_t n = 0) {
  TransformRequest s;
  s.kind = kind;
  s.n = n;
  return s;
}

// "*.xkv" of the program's dialog texts as the suffix a Qt dialog appends.
QString Suffix(std::string_view default_ext) {
  QString s = Q(default_ext);
  return s.startsWith(QStringLiteral("*.")) ? s.mid(2) : s;
}

// The part of the image control that shows the frame: the BMP exports' "whole
// image" when no region is in use.
ScreenView ShownView(const KeyView& v, int32_t frame_width, int32_t frame_height) {
  return {static_cast<double>(v.zoom), v.scroll_x, v.scroll_y,
          std::min(v.client_width, frame_width * v.zoom - v.scroll_x),
          std::min(v.client_height, frame_height * v.zoom - v.scroll_y)};
}

}  // namespace

// While a record streams the input is held back anyway; the menus, tool bar
// and track bar say so by looking disabled.
void HoldControls(QMainWindow* window, bool busy) {
  window->menuBar()->setEnabled(!busy);
  for (QToolBar* bar : window->findChildren<QToolBar*>()) bar->setEnabled(!busy);
  if (auto* track = window->findChild<QSlider*>(QStringLiteral("FrameTrackBar")))
    track->setEnabled(!busy);
}

void TMainForm::BuildTempFiltMenu() {
  TempFilt = menuBar()->addMenu(Q(kTempFiltCaption));
  const std::pair<const char*, void (TMainForm::*)()> items[] = {
      {"By3frames", &TMainForm::By3framesClick},
      {"By5frames", &TMainForm::By5framesClick},
      {"By7frames", &TMainForm::By7framesClick},
  };
  int frames = 3;
  for (const auto& [name, slot] : items) {
    QAction* a = TempFilt->addAction(QStringLiteral("Median of %1 Frames").arg(frames));
    frames += 2;
    a->setCheckable(true);
    // A click has already toggled the mark; the named handler toggles it itself.
    connect(a, &QAction::triggered, this, &TMainForm::RebuildTempFilt);
    items_[QString::fromLatin1(name)] = a;
  }
  AddFilterItems();
}

void TMainForm::RebuildTempFilt() {
  TempFiltChecks checks;
  checks.by3frames = MenuItem(QStringLiteral("By3frames"))->isChecked();
  checks.by5frames = MenuItem(QStringLiteral("By5frames"))->isChecked();
  checks.by7frames = MenuItem(QStringLiteral("By7frames"))->isChecked();
  checks.running_buffer_size = settings_.values().RunningBufSize;
  const FilterChoice choice = MenuFilterChoice();
  checks.running_sum = choice[FrameFilter::kRunningSum];
  checks.running_average = choice[FrameFilter::kRunningAverage];
  checks.subtr_prev_frame = choice[FrameFilter::kSubtrPrevFrame];
  const TempFiltMenu m = RebuildTempFiltMenu(checks);
  QString caption = Q(m.caption);
  for (FrameFilter f : {FrameFilter::kSDimON, FrameFilter::kAccumulate})
    if (choice[f]) caption += Q(InfoOf(f).suffix);
  TempFilt->setTitle(caption);
  if (!store_) return;
  const FilterChoice choice_before = filters_.Choice();
  const int32_t median_before = median_.MedianFrames();
  UseTemporalMedian(*store_, median_, m.median_frames);
  filters_.SetChoice(choice);
  filters_.Attach(*store_);
  TempFilt->setEnabled(median_.MenuEnabled());
  // The frame shown follows the new chain at once, not at the next step,
  // read again after the frames the filters depend on; a playback under way
  // shows it with its next frame instead. A settings change that leaves the
  // chain as it was leaves the frame alone.
  const bool changed =
      !(choice_before == filters_.Choice()) || median_before != median_.MedianFrames();
  if (changed && !RecordStreaming() && store_->RecordLoaded()) {
    RereadWithHistory(*store_, ChainHistory(filters_, median_.MedianFrames()),
                      [this] {
                        median_.Restart();
                        filters_.Restart();
                      },
                      reporter_);
    ShowFrame();
  }
  ShowFilterChoice();
}

// The named handlers toggle their own check mark, as a click does.
void TMainForm::By3framesClick() {
  MenuItem(QStringLiteral("By3frames"))->toggle();
  RebuildTempFilt();
}

void TMainForm::By5framesClick() {
  MenuItem(QStringLiteral("By5frames"))->toggle();
  RebuildTempFilt();
}

void TMainForm::By7framesClick() {
  MenuItem(QStringLiteral("By7frames"))->toggle();
  RebuildTempFilt();
}

void TMainForm::BuildSaveRecordMenu(QMenu* file) {
  // The open dialog with multiple selection that only "Fuse Records" uses.
  AskOpenFiles = [this](const QString& title, const QString& filter) {
    return QFileDialog::getOpenFileNames(this, title, last_folder_, filter);
  };
  QMenu* save = file->addMenu(QStringLiteral("Save Record As"));
  need_frame_.push_back(save->menuAction());
  items_[QStringLiteral("SaveRecordAs")] = save->menuAction();
  auto add = [this](QMenu* menu, const char* name, const QString& caption,
                    void (TMainForm::*slot)()) {
    QAction* a = menu->addAction(caption, this, slot);
    items_[QString::fromLatin1(name)] = a;
  };
  QMenu* every = save->addMenu(QStringLiteral("Every Frame as:"));
  QMenu* sum = every->addMenu(QStringLiteral("Sum of:"));
  struct Sum {
    const char* name;
    const char* caption;
    void (TMainForm::*slot)();
  };
  const Sum sums[] = {
      {"N2fr", "2 frames", &TMainForm::N2frClick},
      {"N5fr", "5 frames", &TMainForm::N5frClick},
      {"N10fr", "10 frames", &TMainForm::N10frClick},
      {"N20fr", "20 frames", &TMainForm::N20frClick},
      {"N50frames", "50 frames", &TMainForm::N50framesClick},
      {"N100frames", "100 frames", &TMainForm::N100framesClick},
      {"N150frames", "150 frames", &TMainForm::N150framesClick},
      {"N200frames", "200 frames", &TMainForm::N200framesClick},
  };
  for (const Sum& it : sums) add(sum, it.name, QString::fromLatin1(it.caption), it.slot);
  add(every, "SaveSeqMed5", QStringLiteral("Median of 5"), &TMainForm::SaveSeqMed5Click);
  add(save, "SavePartOfSeq", QStringLiteral("Part of the Record"), &TMainForm::SavePartOfSeqClick);
  QMenu* bin = save->addMenu(QStringLiteral("Record with Binning"));
  add(bin, "bin2X2", QStringLiteral("2X2 bin"), &TMainForm::bin2X2Click);
  add(bin, "bin3X3", QStringLiteral("3X3 bin"), &TMainForm::bin3X3Click);
  add(bin, "bin5X5", QStringLiteral("5X5 bin"), &TMainForm::bin5X5Click);
  add(bin, "Rev3x3bin", QStringLiteral("Expand 3X3"), &TMainForm::Rev3x3binClick);
  add(save, "SaveSeqThresh", QStringLiteral("Rec with Thresh. subtr."),
      &TMainForm::SaveSeqThreshClick);
  add(save, "RecInverseIntens", QStringLiteral("Rec with Inverse Intens."),
      &TMainForm::RecInverseIntensClick);
  add(save, "ThinOutRec", QStringLiteral("Thin Out Record"), &TMainForm::ThinOutRecClick);
  save->addSeparator();
  add(save, "SaveAsRAW", QStringLiteral("RAW data file"), &TMainForm::SaveAsRAWClick);
  add(save, "SaveAsRAWseq", QStringLiteral("Sequence of RAW files"), &TMainForm::SaveAsRAWseqClick);
  add(save, "SaveAsBMPSeq", QStringLiteral("Sequence of BMP files"), &TMainForm::SaveAsBMPSeqClick);
  add(save, "SeqOnPage", QStringLiteral("Seqence of BMPs on Page"), &TMainForm::SeqOnPageClick);
  add(save, "SaveProfileFile", QStringLiteral("Profile as XKV"), &TMainForm::SaveProfileFileClick);
  save->addSeparator();
  add(save, "SaveAsTiff", QStringLiteral("TIFF Stack (16 bit)..."), &TMainForm::SaveAsTiffClick);
  add(save, "SaveAsOmeTiff", QStringLiteral("OME-TIFF Stack..."), &TMainForm::SaveAsOmeTiffClick);
  BuildTwoColourMenu(file, save);

  file->addSeparator();
  add(file, "FuseRecords", QStringLiteral("Fuse Records"), &TMainForm::FuseRecordsClick);
  add(file, "ImportData", QStringLiteral("Import Data..."), &TMainForm::ImportDataClick);
}

void TMainForm::AddProcessingSettings(QMenu* settings) {
  settings->addSeparator();
  AddBlankFrame = settings->addAction(QStringLiteral("Add 2 Blank Frames"));
  AddBlankFrame->setCheckable(true);
  AddBlankFrame->setChecked(true);
  items_[QStringLiteral("AddBlankFrame")] = AddBlankFrame;
}

void TMainForm::AddBlankFrameClick() {
  AddBlankFrame->toggle();
}

// The skeleton of every "Save Record As" item once its values are known: the
// save dialog, the record streamed with the hourglass and a progress read-out,
// then the frame that was shown is read again.
void TMainForm::SaveRecordAs(const TransformRequest& request) {
  if (!store_ || !store_->RecordLoaded() || store_->FrameCount() == 0) return;
  if (Playing()) EndPlayback();
  const SaveDialogSetup setup = SaveDialogFor(request);
  const bool bmp = request.kind == TransformKind::kBmpSeq || request.kind == TransformKind::kPage;
  const QString out =
      AskSaveFileNamed(Q(setup.title), bmp ? Q(kBmpSaveFilter) : DialogFilter(setup.filter),
                       bmp ? QStringLiteral("bmp") : Suffix(setup.default_ext),
                       Q(DefaultTransformName(store_->RecordFileName(), request)));
  if (out.isEmpty()) return;

  const int32_t shown = std::max(0, store_->CurrentFrame());
  const int32_t frames = store_->FrameCount();
  ExportResult r;
  {
    RecordBusy busy(stop_);
    HoldControls(this, true);
    ExportJob job{*store_, reporter_, region_, {}, &stop_, {}};
    if (region_.active) job.write.region = region_;
    job.write.save_2bytes = SaveXKV_2bytes->isChecked();
    job.progress = [&](int32_t n) {
      statusBar()->showMessage(Q(kSavingRecordProgress).arg(n).arg(frames));
      busy.Tick();
    };
    TransformContext context;
    context.median = &median_;
    context.thin_out = &thin_out_;
    context.palette = DisplayTable();
    // The filters start empty with the record's first frame, as in a playback from it.
    filters_.Restart();
    context.view = ShownView(view_->View(), store_->Width(), store_->Height());
    r = RunTransform(job, request, S(out), context);
    HoldControls(this, false);
  }
  store_->FirstFrame(reporter_);
  if (shown > 0) store_->GoToFrame(shown, reporter_);
  ShowFrame();
  if (r.stopped)
    statusBar()->showMessage(Q(kExportStopped).arg(r.frames_read).arg(out));
  else if (r.ok && request.kind != TransformKind::kRaw && request.kind != TransformKind::kRawSeq)
    statusBar()->showMessage(Q(kExportWritten).arg(r.frames_written).arg(out));
}

void TMainForm::SaveAsTiffClick() {
  SaveRecordAs(Request(TransformKind::kTiff, 0));
}
void TMainForm::SaveAsOmeTiffClick() {
  SaveRecordAs(Request(TransformKind::kTiff, 1));
}
void TMainForm::N2frClick() {
  SaveRecordAs(Request(TransformKind::kSum, 2));
}
void TMainForm::N5frClick() {
  SaveRecordAs(Request(TransformKind::kSum, 5));
}
void TMainForm::N10frClick() {
  SaveRecordAs(Request(TransformKind::kSum, 10));
}
void TMainForm::N20frClick() {
  SaveRecordAs(Request(TransformKind::kSum, 20));
}
void TMainForm::N50framesClick() {
  SaveRecordAs(Request(TransformKind::kSum, 50));
}
void TMainForm::N100framesClick() {
  SaveRecordAs(Request(TransformKind::kSum, 100));
}
void TMainForm::N150framesClick() {
  SaveRecordAs(Request(TransformKind::kSum, 150));
}
void TMainForm::N200framesClick() {
  SaveRecordAs(Request(TransformKind::kSum, 200));
}
void TMainForm::SaveSeqMed5Click() {
  SaveRecordAs(Request(TransformKind::kMedian5));
}
void TMainForm::bin2X2Click() {
  SaveRecordAs(Request(TransformKind::kBinning, 2));
}
void TMainForm::bin3X3Click() {
  SaveRecordAs(Request(TransformKind::kBinning, 3));
}
void TMainForm::bin5X5Click() {
  SaveRecordAs(Request(TransformKind::kBinning, 5));
}
void TMainForm::Rev3x3binClick() {
  SaveRecordAs(Request(TransformKind::kBinning, -3));
}
void TMainForm::RecInverseIntensClick() {
  SaveRecordAs(Request(TransformKind::kInverse));
}
void TMainForm::SaveAsRAWClick() {
  SaveRecordAs(Request(TransformKind::kRaw));
}
void TMainForm::SaveAsRAWseqClick() {
  SaveRecordAs(Request(TransformKind::kRawSeq));
}

void TMainForm::SavePartOfSeqClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  const int32_t frames = store_->FrameCount();
  TransformRequest request = Request(TransformKind::kPart);
  const auto first = AskText(Q(kSavePartTitle), Q(kSaveFromFramePrompt), QStringLiteral("0"));
  if (!first || !CheckPartFirst(S(*first), frames, request.first, reporter_)) return;
  const auto last = AskText(Q(kSavePartTitle), Q(kSaveToFramePrompt), QString::number(frames));
  if (!last || !CheckPartLast(S(*last), request.first, frames, request.second, reporter_)) return;
  SaveRecordAs(request);
}

void TMainForm::ThinOutRecClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  const int32_t frames = store_->FrameCount();
  const auto first =
      AskText(Q(kSaveThinOutTitle), Q(kSaveFromFramePrompt), QString::number(thin_out_.first));
  if (!first || !CheckThinFirst(S(*first), frames, thin_out_, reporter_)) return;
  const auto n =
      AskText(Q(kSaveThinOutTitle), Q(kOneFrameOfNPrompt), QString::number(thin_out_.one_of_n));
  if (!n || !CheckThinOneOfN(S(*n), frames, thin_out_, reporter_)) return;
  TransformRequest request = Request(TransformKind::kThinOut);
  request.first = thin_out_.first;
  request.second = thin_out_.one_of_n;
  SaveRecordAs(request);
}

void TMainForm::SaveSeqThreshClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  const auto typed =
      AskText(Q(kThreshInputTitle), Q(kThreshInputPrompt), QString::number(lut_threshold_));
  if (!typed) return;
  const int32_t t = IntegerOr(S(*typed), 0);
  if (t < 0 || t > 65535) {
    reporter_.Modal(kThreshOutOfScope);
    return;
  }
  lut_threshold_ = t;
  SaveRecordAs(Request(TransformKind::kThreshold, t));
}

// The rectangle the BMP exports copy must be on the screen; checked before
// the save dialog so that nobody picks a file name for nothing.
bool TMainForm::BmpRectVisible(bool page) {
  const KeyView v = view_->View();
  const ScreenView view{static_cast<double>(v.zoom), v.scroll_x, v.scroll_y, v.client_width,
                        v.client_height};
  const ScreenRect r = SavedScreenRect(region_, view);
  if (r.left >= 0 && r.top >= 0 && r.right <= v.client_width && r.bottom <= v.client_height)
    return true;
  const bool none =
      r.right <= 0 || r.bottom <= 0 || r.left >= v.client_width || r.top >= v.client_height;
  reporter_.Modal(none && !page ? kNonvisibleRoi : kPartOfRoiNonvisible);
  return false;
}

void TMainForm::SaveAsBMPSeqClick() {
  if (!store_ || !store_->RecordLoaded() || !BmpRectVisible(false)) return;
  SaveRecordAs(Request(TransformKind::kBmpSeq));
}

void TMainForm::SeqOnPageClick() {
  if (!store_ || !store_->RecordLoaded() || !BmpRectVisible(true)) return;
  const ScreenRect r =
      SavedScreenRect(region_, ShownView(view_->View(), store_->Width(), store_->Height()));
  int32_t page_width = 0, page_height = 0;
  PageSize(r.Width(), r.Height(), store_->FrameCount(), page_width, page_height);
  if (page_width > kMaxPageSide || page_height > kMaxPageSide) {
    reporter_.Modal(kTooManyFramesForPage);
    return;
  }
  SaveRecordAs(Request(TransformKind::kPage));
}

void TMainForm::SaveProfileFileClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  TransformRequest request = Request(TransformKind::kProfile);
  if (line_shown_)
    request.line = ProfileBand{static_cast<double>(line_.x0), static_cast<double>(line_.y0),
                               static_cast<double>(line_.x1), static_cast<double>(line_.y1),
                               settings_.values().ProfileWidth};
  if (request.line.Length() < 5) {
    reporter_.Modal(kDrawProfileFirst);
    return;
  }
  if (request.line.width < 3) {
    reporter_.Modal(kProfileTooNarrow);
    return;
  }
  SaveRecordAs(request);
}

void TMainForm::FuseRecordsClick() {
  const QStringList inputs = AskOpenFiles(Q(kFuseOpenTitle), Q(kXkvFilter));
  if (inputs.isEmpty()) return;
  const QString out = AskSaveFileNamed(Q(kFuseSaveTitle), Q(kXkvSaveFilter), QStringLiteral("xkv"),
                                       Q(DefaultFusedName(S(inputs.first()))));
  if (out.isEmpty()) return;
  if (Playing()) EndPlayback();
  std::vector<std::string> files;
  for (const QString& f : inputs) files.push_back(S(f));
  FrameWriteOptions write;
  if (region_.active) write.region = region_;
  write.save_2bytes = SaveXKV_2bytes->isChecked();
  const std::string open_record = store_ && store_->RecordLoaded() ? store_->RecordFileName() : "";
  FusionResult r;
  {
    RecordBusy busy(stop_);
    HoldControls(this, true);  // the File menu above all
    statusBar()->showMessage(Q(kFusingRecords));
    r = FuseRecords(files, S(out), AddBlankFrame->isChecked(), open_record, write, reporter_,
                    &stop_);
    HoldControls(this, false);
  }
  if (r.frames_written > 0)
    statusBar()->showMessage(Q(kFuseWritten).arg(r.frames_written).arg(r.files_fused).arg(out));
}

TComForm* TMainForm::ComForm() {
  if (com_form_) return com_form_;
  ComFormHooks hooks;
  // The import window's dialogs are its own: it stays in front when they close.
  hooks.ask_save_file = [this](const QString& t, const QString& f, const QString& s) {
    dialog_owner_ = com_form_;
    const QString path = AskSaveFileNamed(t, f, s, Q(DefaultImportName(S(com_form_->Source()))));
    dialog_owner_ = nullptr;
    return path;
  };
  hooks.ask_open_file = [this](const QString& t, const QString& f) {
    dialog_owner_ = com_form_;
    const QString path = AskOpenFile(t, f);
    dialog_owner_ = nullptr;
    com_form_->raise();
    com_form_->activateWindow();
    return path;
  };
  hooks.header_template = [this] { return store_ ? store_->Prm() : DefaultPrmInfo(); };
  hooks.save_2bytes = [this] { return SaveXKV_2bytes->isChecked(); };
  hooks.clear_region = [this] { SetRegion(Region{}); };
  hooks.open_record = [this] {
    return store_ && store_->RecordLoaded() ? Q(store_->RecordFileName()) : QString();
  };
  hooks.open_in_main = [this](const QString& path) { OpenRecord(path); };
  com_form_ = new TComForm(std::move(hooks), this);
  return com_form_;
}

void TMainForm::ImportDataClick() {
  const bool first = com_form_ == nullptr;
  TComForm* form = ComForm();
  if (first) PlaceToolWindow(form, this);
  form->show();
  form->raise();
  form->activateWindow();
}

}  // namespace lumetra
