#include "app/main_form.h"

#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QPixmap>
#include <QScrollArea>
#include <QSlider>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

#include "common/file_handle.h"
#include "common/text_format.h"
#include "record/record_messages.h"
#include "record/xkv_writer.h"

namespace lumetra {

TMainForm::TMainForm(QWidget* parent) : QMainWindow(parent), reporter_(this, nullptr) {
  setWindowTitle(QStringLiteral("Lumetra32"));
  auto* status = statusBar();
  reporter_ = QtReporter(this, status);
  frame_panel_ = new QLabel(this);
  time_panel_ = new QLabel(this);
  status->addPermanentWidget(frame_panel_);
  status->addPermanentWidget(time_panel_);

  store_ = RecordStore::Create(reporter_);

  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  view_ = new QLabel;
  view_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  scroll_ = new QScrollArea;
  scroll_->setWidget(view_);
  scroll_->setWidgetResizable(true);
  FrameTrackBar = new QSlider(Qt::Horizontal);
  FrameTrackBar->setObjectName(QStringLiteral("FrameTrackBar"));
  FrameTrackBar->setRange(0, 0);
  layout->addWidget(scroll_, 1);
  layout->addWidget(FrameTrackBar);
  setCentralWidget(central);
  connect(FrameTrackBar, &QSlider::valueChanged, this, &TMainForm::FrameTrackBarChange);

  AskText = [this](const QString& title, const QString& prompt,
                   const QString& text) -> std::optional<QString> {
    bool ok = false;
    const QString typed = QInputDialog::getText(this, title, prompt, QLineEdit::Normal, text, &ok);
    if (!ok) return std::nullopt;
    return typed;
  };
  BuildMenus();
  resize(760, 680);
}

TMainForm::~TMainForm() = default;

void TMainForm::BuildMenus() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
  QAction* open =
      file->addAction(QStringLiteral("Open Data File (xkv)"), this, &TMainForm::OpenClick);
  open->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_O));
  file->addAction(QString::fromUtf8(kSaveFrameTitle.data(), kSaveFrameTitle.size()), this,
                  &TMainForm::SaveAsClick);
  file->addSeparator();
  file->addAction(QStringLiteral("E&xit"), this, &QWidget::close);

  QMenu* play = menuBar()->addMenu(QStringLiteral("&Play"));
  UsePartOfRecord =
      play->addAction(QStringLiteral("Use Part of Record"), this, &TMainForm::UsePartOfRecordClick);
  UsePartOfRecord->setCheckable(true);
  SelectPartOfRec = play->addMenu(QStringLiteral("Select Part of Record"));
  SelectPartOfRec->addAction(QStringLiteral("Select First Frame"), this,
                             &TMainForm::SelectFirstFrameClick);
  SelectPartOfRec->addAction(QStringLiteral("Select Last Frame"), this,
                             &TMainForm::SelectLastFrameClick);
  SelectPartOfRec->setEnabled(false);

  QToolBar* bar = addToolBar(QStringLiteral("Frames"));
  bar->addAction(QStringLiteral("|<"), this, &TMainForm::FirstFrameClick)
      ->setToolTip(QStringLiteral("First frame"));
  bar->addAction(QStringLiteral("<"), this, &TMainForm::PrevFrClick)
      ->setToolTip(QStringLiteral("Previous frame"));
  bar->addAction(QStringLiteral(">"), this, &TMainForm::NextFrClick)
      ->setToolTip(QStringLiteral("Next frame"));
}

bool TMainForm::OpenRecord(const QString& path) {
  if (!store_ || !store_->Open(path.toStdString(), reporter_)) return false;
  setWindowTitle(QString::fromStdString(store_->Caption()));
  moving_track_bar_ = true;
  FrameTrackBar->setRange(0, std::max(0, store_->FrameCount() - 1));
  FrameTrackBar->setValue(0);
  moving_track_bar_ = false;
  ShowFrame();
  return true;
}

void TMainForm::OpenClick() {
  const QString path = QFileDialog::getOpenFileName(
      this, QString::fromUtf8(kOpenDialogTitle.data(), kOpenDialogTitle.size()), QString(),
      QStringLiteral("XKV Data Files (*.xkv);;All Files (*)"));
  if (path.isEmpty()) return;
  OpenRecord(path);
}

void TMainForm::SaveAsClick() {
  if (!store_ || !store_->RecordLoaded() || store_->CurrentFrame() < 0) return;
  const QString path = QFileDialog::getSaveFileName(
      this, QString::fromUtf8(kSaveFrameTitle.data(), kSaveFrameTitle.size()), QString(),
      QStringLiteral("XKV Data Files (*.xkv)"));
  if (path.isEmpty()) return;
  FileHandle out = OpenFile(path.toStdString(), "wb");
  if (!out) {
    reporter_.Modal("Can not Open File for Writing");
    return;
  }
  WriteXKVFrame(out.get(), store_->Prm(), store_->Add(), store_->FrameBuffer(),
                FrameWriteOptions{});
}

void TMainForm::NextFrClick() {
  if (!store_) return;
  store_->NextFrame(reporter_);
  ShowFrame();
}

void TMainForm::PrevFrClick() {
  if (!store_) return;
  store_->PrevFrame(reporter_);
  ShowFrame();
}

void TMainForm::FirstFrameClick() {
  if (!store_) return;
  store_->FirstFrame(reporter_);
  ShowFrame();
}

void TMainForm::FrameTrackBarChange(int position) {
  if (moving_track_bar_ || !store_) return;
  store_->GoToFrame(position, reporter_);
  ShowFrame();
}

void TMainForm::UsePartOfRecordClick() {
  store_->SetUsePartOfRecord(!store_->UsePartOfRecord());
  UsePartOfRecord->setChecked(store_->UsePartOfRecord());
  SelectPartOfRec->setEnabled(store_->UsePartOfRecord());
}

void TMainForm::SelectFirstFrameClick() {
  const auto typed =
      AskText(QString::fromUtf8(kSelectFirstFrameTitle.data(), kSelectFirstFrameTitle.size()),
              QString::fromUtf8(kSelectFramePrompt.data(), kSelectFramePrompt.size()),
              QString::number(store_->SelFirstFrame()));
  if (typed) store_->SetSelFirstFrameText(typed->toStdString(), reporter_);
}

void TMainForm::SelectLastFrameClick() {
  const auto typed =
      AskText(QString::fromUtf8(kSelectLastFrameTitle.data(), kSelectLastFrameTitle.size()),
              QString::fromUtf8(kSelectFramePrompt.data(), kSelectFramePrompt.size()),
              QString::number(store_->SelLastFrame()));
  if (typed) store_->SetSelLastFrameText(typed->toStdString(), reporter_);
}

QString TMainForm::FramePanelText() const {
  return QStringLiteral("Frame=%1").arg(store_ ? store_->CurrentFrame() : 0);
}

QString TMainForm::TimePanelText() const {
  return QStringLiteral("Time=%1 s")
      .arg(QString::fromStdString(FormatGeneral(store_ ? store_->CurrentTimeS() : 0.0)));
}

// Grey levels over the record's count range; the false-colour palettes
// replace this with their own table.
void TMainForm::ShowFrame() {
  if (!store_ || !store_->RecordLoaded()) return;
  const int w = store_->Width(), h = store_->Height();
  const int top = std::max(1, store_->MaxLevel() - 1);
  image_ = QImage(w, h, QImage::Format_Grayscale8);
  const uint16_t* px = store_->FrameBuffer();
  for (int y = 0; y < h; ++y) {
    uchar* row = image_.scanLine(y);
    for (int x = 0; x < w; ++x)
      row[x] = static_cast<uchar>(std::min(255, px[static_cast<size_t>(y) * w + x] * 255 / top));
  }
  view_->setPixmap(QPixmap::fromImage(image_));
  frame_panel_->setText(FramePanelText());
  time_panel_->setText(TimePanelText());
  moving_track_bar_ = true;
  FrameTrackBar->setValue(std::max(0, store_->CurrentFrame()));
  moving_track_bar_ = false;
}

}  // namespace lumetra
