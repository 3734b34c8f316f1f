#include "app/main_form.h"
#include "profile/gui/prof_form.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QSettings>
#include <QSlider>
#include <QStatusBar>
#include <QVBoxLayout>

#include "app/app_messages.h"
#include "app/image_view.h"
#include "app/qt_text.h"
#include "common/file_handle.h"
#include "common/text_format.h"
#include "display/gui/input_box.h"
#include "display/gui/lut_form.h"
#include "processing/output_names.h"
#include "record/record_messages.h"
#include "record/xkv_writer.h"
#include "settings/settings_messages.h"
#include "spots/gui/spot_form.h"

namespace lumetra {
namespace {

constexpr int kMaxRecentFiles = 8;
const char* const kRecentKey = "RecentFiles";
const char* const kGeometryKey = "MainWindow/geometry";

bool IsRecordPath(const QString& path) {
  for (const char* ext : {".xkv", ".tif", ".tiff"})
    if (path.endsWith(QLatin1String(ext), Qt::CaseInsensitive)) return true;
  return false;
}

}  // namespace

TMainForm::TMainForm(QWidget* parent) : QMainWindow(parent), reporter_(this, nullptr) {
  setWindowTitle(Q(kProgramTitle));
  setAcceptDrops(true);
  reporter_ = QtReporter(this, statusBar());
  // Every frame-sized buffer is allocated here once, for the largest frame.
  store_ = RecordStore::Create(reporter_);
  BuildLayout();
  InstallDialogs();
  BuildMenus();
  RebuildPalette();
  RefreshMenus();
  resize(820, 720);
  restoreGeometry(QSettings().value(kGeometryKey).toByteArray());

  // The open timer reads "Lumetra.ini" once the window is up.
  OpenTimer.setSingleShot(true);
  connect(&OpenTimer, &QTimer::timeout, this, &TMainForm::OpenTimerTimer);
  OpenTimer.start(0);
}

void TMainForm::BuildLayout() {
  frame_panel_ = new QLabel(this);
  time_panel_ = new QLabel(this);
  region_panel_ = new QLabel(this);
  cursor_panel_ = new QLabel(this);
  batch_panel_ = new QLabel(this);
  batch_panel_->setObjectName(QStringLiteral("BatchPanel"));
  batch_panel_->hide();
  for (QLabel* panel : {batch_panel_, cursor_panel_, region_panel_, frame_panel_, time_panel_})
    statusBar()->addPermanentWidget(panel);

  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(2);
  view_ = new ImageView;
  view_->SetHint(Q(kOpenHint));
  FrameTrackBar = new QSlider(Qt::Horizontal);
  FrameTrackBar->setObjectName(QStringLiteral("FrameTrackBar"));
  FrameTrackBar->setRange(0, 0);
  FrameTrackBar->installEventFilter(this);
  layout->addWidget(view_, 1);
  layout->addWidget(FrameTrackBar);
  setCentralWidget(central);
  view_->setFocus();
  reporter_.show_notice = [this](const QString& t) { view_->ShowNotice(t); };

  connect(FrameTrackBar, &QSlider::valueChanged, this, &TMainForm::FrameTrackBarChange);
  connect(view_, &ImageView::KeyPressed, this,
          [this](int key, Qt::KeyboardModifiers mods, const QString&) { FormKeyDown(key, mods); });
  connect(view_, &ImageView::RegionDrawn, this, &TMainForm::SetRegion);
  connect(view_, &ImageView::LineDrawn, this, &TMainForm::SetLine);
  connect(view_, &ImageView::CursorMoved, this, &TMainForm::ShowCursorReadout);
  connect(view_, &ImageView::ZoomStepRequested, this,
          [this](int step) { ApplyZoom(settings_.values().Zoom + step); });
  connect(&play_timer_, &QTimer::timeout, this, &TMainForm::PlayTick);
}

void TMainForm::InstallDialogs() {
  AskText = [this](const QString& title, const QString& prompt, const QString& text) {
    return AskInputBox(this, title, prompt, text);
  };
  AskOpenFile = [this](const QString& title, const QString& filter) {
    return QFileDialog::getOpenFileName(DialogParent(), title, last_folder_, filter);
  };
  AskSaveFile = [this](const QString& title, const QString& filter, const QString& suffix) {
    const QFileInfo offered(save_name_);
    QFileDialog dialog(DialogParent(), title,
                       save_name_.isEmpty() ? last_folder_ : offered.absolutePath(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(suffix);
    if (!save_name_.isEmpty()) dialog.selectFile(offered.fileName());
    return dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty()
               ? dialog.selectedFiles().first()
               : QString();
  };
}

QWidget* TMainForm::DialogParent() {
  if (dialog_owner_) return dialog_owner_;
  QWidget* active = QApplication::activeWindow();
  return active ? active : this;
}

QString TMainForm::AskSaveFileNamed(const QString& title, const QString& filter,
                                    const QString& suffix, const QString& name) {
  QWidget* asking = DialogParent();
  save_name_ = name;
  const QString path = AskSaveFile(title, filter, suffix);
  save_name_.clear();
  // Closing the dialog must not leave a tool window behind the main window.
  if (asking != this) {
    asking->raise();
    asking->activateWindow();
  }
  return path;
}

TMainForm::~TMainForm() {
  CloseRecordWindows();
}

QAction* TMainForm::MenuItem(const QString& name) const {
  const auto it = items_.find(name);
  return it == items_.end() ? nullptr : it->second;
}

bool TMainForm::OpenRecord(const QString& path) {
  if (Playing()) EndPlayback();
  if (!store_) return false;
  // Tracks not saved yet: the user saves, drops them, or keeps this record.
  // A batch run has written them or counts the record as failed.
  if (spot_form_ && !BatchRunning() && !spot_form_->MayDropTracks()) return false;
  if (!BatchRunning() && !MayDropManualObjects()) return false;
  // A TIFF that does not say its scale or timing gets the Settings menu's.
  TiffReadOptions tiff = store_->TiffOptions();
  tiff.nm_per_pixel = settings_.values().TiffNmPerPixel;
  tiff.frame_ms = settings_.values().TiffFrameMs;
  store_->SetTiffOptions(tiff);
  // A file that is no readable record leaves the open one as it was.
  if (!store_->Open(S(path), reporter_)) {
    ForgetRecentFile(QFileInfo(path).absoluteFilePath());
    return false;
  }
  CloseRecordWindows();
  setWindowTitle(Q(store_->Caption()));
  region_ = Region{};  // a new record starts without a region
  beads_.reset();      // bead tracks belong to the record they were found in
  bead_count_ = bead_index_ = 0;
  view_->SetRegion(region_);
  if (line_shown_) {
    // Keep the line's ends inside the new frame.
    const int32_t mx = std::max(0, store_->Width() - 1), my = std::max(0, store_->Height() - 1);
    SetLine(ProfileLine{std::min(line_.x0, mx), std::min(line_.y0, my), std::min(line_.x1, mx),
                        std::min(line_.y1, my)});
  }
  region_panel_->clear();
  // The LUT keeps its shape and threshold; its range is the new record's whole range.
  const LutCurve full = FullRangeCurve(store_->MaxLevel());
  lut_.min = full.min;
  lut_.max = full.max;
  if (lut_form_) lut_form_->SetCurve(lut_);
  RebuildPalette();
  moving_track_bar_ = true;
  FrameTrackBar->setRange(0, std::max(0, store_->FrameCount() - 1));
  FrameTrackBar->setValue(0);
  moving_track_bar_ = false;
  AddRecentFile(QFileInfo(path).absoluteFilePath());
  last_folder_ = QFileInfo(path).absolutePath();
  RefreshMenus();
  ShowFrame();
  return true;
}

void TMainForm::OpenClick() {
  const QString path = AskOpenFile(Q(kOpenDialogTitle), Q(kRecordFilter));
  if (path.isEmpty()) return;
  OpenRecord(path);
}

void TMainForm::SaveAsClick() {
  if (!store_ || !store_->RecordLoaded() || store_->CurrentFrame() < 0) return;
  const QString path =
      AskSaveFileNamed(Q(kSaveFrameTitle), Q(kXkvSaveFilter), QStringLiteral("xkv"),
                       Q(DefaultFrameName(store_->RecordFileName(), store_->CurrentFrame())));
  if (path.isEmpty()) return;
  if (QFileInfo(path).absoluteFilePath() ==
      QFileInfo(Q(store_->RecordFileName())).absoluteFilePath()) {
    reporter_.Modal(kCanNotOpenForWriting);  // never overwrite the open record
    return;
  }
  FileHandle out = OpenFile(S(path), "wb");
  if (!out) {
    reporter_.Modal(kCanNotOpenForWriting);
    return;
  }
  FrameWriteOptions options;
  options.region = region_;
  options.save_2bytes = SaveXKV_2bytes->isChecked();
  bool ok = WriteXKVFrame(out.get(), store_->Prm(), store_->Add(), store_->FrameBuffer(), options);
  ok = std::fclose(out.release()) == 0 && ok;
  if (!ok) {
    reporter_.Modal(kFileWriteError);
    return;
  }
  reporter_.Status(S(Q(kFrameSavedAs).arg(store_->CurrentFrame()).arg(path)));
}

void TMainForm::NextFrClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  store_->NextFrame(reporter_);
  ShowFrame();
}

void TMainForm::PrevFrClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  store_->PrevFrame(reporter_);
  ShowFrame();
}

void TMainForm::FirstFrameClick() {
  if (!store_ || !store_->RecordLoaded()) return;
  store_->FirstFrame(reporter_);
  ShowFrame();
}

void TMainForm::FrameTrackBarChange(int position) {
  if (moving_track_bar_ || !store_ || Playing()) return;
  store_->GoToFrame(position, reporter_);
  ShowFrame();
}

void TMainForm::UsePartOfRecordClick() {
  store_->SetUsePartOfRecord(!store_->UsePartOfRecord());
  UsePartOfRecord->setChecked(store_->UsePartOfRecord());
  SelectPartOfRec->setEnabled(store_->UsePartOfRecord());
}

void TMainForm::SelectFirstFrameClick() {
  const auto typed = AskText(Q(kSelectFirstFrameTitle), Q(kSelectFramePrompt),
                             QString::number(store_->SelFirstFrame()));
  if (typed) store_->SetSelFirstFrameText(S(*typed), reporter_);
}

void TMainForm::SelectLastFrameClick() {
  const auto typed = AskText(Q(kSelectLastFrameTitle), Q(kSelectFramePrompt),
                             QString::number(store_->SelLastFrame()));
  if (typed) store_->SetSelLastFrameText(S(*typed), reporter_);
}

QString TMainForm::FramePanelText() const {
  return QStringLiteral("Frame=%1").arg(store_ ? store_->CurrentFrame() : 0);
}

QString TMainForm::TimePanelText() const {
  return QStringLiteral("Time=%1 s").arg(Q(FormatGeneral(store_ ? store_->CurrentTimeS() : 0.0)));
}

QString TMainForm::RegionPanelText() const {
  return region_panel_->text();
}

const QImage& TMainForm::FrameImage() const {
  if (!image_stale_ || !store_ || !store_->RecordLoaded() || !store_->HasFrame()) return image_;
  const int32_t w = store_->Width(), h = store_->Height();
  if (image_.width() != w || image_.height() != h) image_ = QImage(w, h, QImage::Format_RGB32);
  painter_.Paint(store_->FrameBuffer(), w, FrameRect{0, 0, w, h}, 1,
                 reinterpret_cast<uint32_t*>(image_.bits()), image_.bytesPerLine() / 4);
  image_stale_ = false;
  return image_;
}

void TMainForm::ShowFrame() {
  // A record without a readable frame shows the hint, not a stale buffer.
  if (!store_ || !store_->RecordLoaded() || store_->FrameCount() == 0 || !store_->HasFrame()) {
    view_->SetFrame(nullptr, 0, 0, nullptr);
    view_->SetInfoLines({});
    view_->SetTimeText({});
    frame_panel_->setText(FramePanelText());
    time_panel_->setText(TimePanelText());
    return;
  }
  // The chain can raise MaxLevel on a deeper frame: the table follows it.
  if (static_cast<int32_t>(palette_.size()) != store_->MaxLevel()) RebuildPalette();
  const int32_t w = store_->Width(), h = store_->Height();
  image_stale_ = true;
  view_->SetFrame(store_->FrameBuffer(), w, h, &painter_);
  const auto lines = HeaderInfoLines(store_->Prm(), store_->Add());
  view_->SetInfoLines({Q(lines[0]), Q(lines[1]), Q(lines[2])});
  view_->SetTimeText(QStringLiteral("t=%1 s").arg(Q(FormatFixed(store_->CurrentTimeS(), 3))));
  view_->SetScaleBar(settings_.values().ScaleBarSize, store_->Prm().ScaleX);
  frame_panel_->setText(FramePanelText());
  time_panel_->setText(TimePanelText());
  moving_track_bar_ = true;
  FrameTrackBar->setValue(std::max(0, store_->CurrentFrame()));
  moving_track_bar_ = false;
  if (region_.active) UpdateRegionReadout();
  ShowBeadTrack();
  if (BatchRunning()) ShowBatchProgress();
  emit FrameShown();
}

void TMainForm::RefreshMenus() {
  const bool frame = store_ && store_->RecordLoaded() && store_->FrameCount() > 0;
  for (QAction* a : need_frame_) a->setEnabled(frame && !Playing() && !BatchRunning());
  // During playback only Stop works; stepping would break the played sequence.
  if (QAction* stop = MenuItem(QStringLiteral("Stop")))
    stop->setEnabled(Playing() || BatchRunning());
}

void TMainForm::closeEvent(QCloseEvent* event) {
  // The window stays until the batch run under way has ended its record.
  if (BatchRunning()) {
    close_after_batch_ = true;
    StopClick();
    event->ignore();
    return;
  }
  if ((spot_form_ && !spot_form_->MayDropTracks()) || !MayDropManualObjects()) {
    event->ignore();
    return;
  }
  // The profile window asks before an unsaved kymograph goes with it.
  if (prof_form_ && !prof_form_->close()) {
    event->ignore();
    return;
  }
  stop_ = true;
  if (Playing()) EndPlayback();
  CloseRecordWindows();
  QSettings().setValue(kGeometryKey, saveGeometry());
  QMainWindow::closeEvent(event);
}

void TMainForm::dragEnterEvent(QDragEnterEvent* event) {
  if (!event->mimeData()->hasUrls()) return;
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile() && IsRecordPath(url.toLocalFile())) {
      event->acceptProposedAction();
      return;
    }
  }
}

void TMainForm::dropEvent(QDropEvent* event) {
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile() && IsRecordPath(url.toLocalFile())) {
      event->acceptProposedAction();
      OpenRecord(url.toLocalFile());
      return;
    }
  }
  reporter_.Warning(kNotAnXkvFile);
}

QStringList TMainForm::RecentFiles() const {
  return QSettings().value(kRecentKey).toStringList();
}

void TMainForm::AddRecentFile(const QString& path) {
  QStringList files = RecentFiles();
  files.removeAll(path);
  files.prepend(path);
  while (files.size() > kMaxRecentFiles) files.removeLast();
  QSettings().setValue(kRecentKey, files);
  RebuildRecentMenu();
}

// A record that no longer opens leaves the list.
void TMainForm::ForgetRecentFile(const QString& path) {
  QStringList files = RecentFiles();
  if (files.removeAll(path) == 0) return;
  QSettings().setValue(kRecentKey, files);
  RebuildRecentMenu();
}

void TMainForm::RebuildRecentMenu() {
  recent_menu_->clear();
  const QStringList files = RecentFiles();
  for (int i = 0; i < files.size(); ++i) {
    const QString path = files[i];
    QAction* a = recent_menu_->addAction(QStringLiteral("&%1 %2").arg(i + 1).arg(path));
    connect(a, &QAction::triggered, this, [this, path] { OpenRecord(path); });
  }
  recent_menu_->setEnabled(!files.isEmpty());
}

}  // namespace lumetra
