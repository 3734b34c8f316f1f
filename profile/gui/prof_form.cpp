#include "profile/gui/prof_form.h"

#include <QCloseEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QImage>
#include <QKeyEvent>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPixmap>
#include <QScrollArea>
#include <QSplitter>
#include <QStatusBar>
#include <algorithm>
#include <cmath>

#include "common/text_format.h"
#include "graph/auto_scale.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "processing/text_output.h"
#include "profile/profile_messages.h"

namespace lumetra {
namespace {

QString Q(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string S(const QString& text) {
  return text.toStdString();
}

}  // namespace

TProfForm::TProfForm(RecordStore& record, Reporter& reporter, QWidget* parent)
    : QMainWindow(parent), record_(record), reporter_(reporter), graph_(std::make_unique<TXKgraph>()) {
  setWindowTitle(Q(kProfFormCaption));
  setObjectName(QStringLiteral("TProfForm"));
  auto* split = new QSplitter(Qt::Vertical, this);
  graph_view_ = new GraphView(split);
  graph_view_->setMinimumSize(420, 220);
  graph_view_->SetGraph(graph_.get());
  kymo_scroll_ = new QScrollArea(split);
  kymo_label_ = new QLabel(kymo_scroll_);
  kymo_label_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  kymo_label_->setText(Q(kNoKymograph));
  kymo_scroll_->setWidget(kymo_label_);
  kymo_scroll_->setWidgetResizable(true);
  split->addWidget(graph_view_);
  split->addWidget(kymo_scroll_);
  split->setSizes({330, 290});
  setCentralWidget(split);
  status_ = new QLabel(this);
  statusBar()->addWidget(status_, 1);
  graph_->TitleX = "distance along the line (pixels)";
  graph_->TitleY0 = "band mean (counts)";
  graph_->Curves[1].Show = true;
  graph_->Curves[1].Type = 3;  // LineCircle: a gap where the band leaves the frame
  graph_->Curves[1].Size = 2;
  graph_->Curves[1].Width = 1;
  AskSaveFile = [this](const QString& title, const QString& filter, const QString& offered) {
    return QFileDialog::getSaveFileName(this, title, offered, filter);
  };
  AskYesNo = [this](const QString& question) {
    return QMessageBox::question(this, windowTitle(), question) == QMessageBox::Yes;
  };
  BuildMenus();
  resize(640, 620);
}

TProfForm::~TProfForm() {
  if (playing_ && host_.stop) host_.stop(true);
}

void TProfForm::BuildMenus() {
  QMenu* prof = menuBar()->addMenu(QStringLiteral("&Profile"));
  auto add = [this](QMenu* m, const char* name, const QString& caption, void (TProfForm::*slot)(),
                    const QKeySequence& key = {}) {
    QAction* a = m->addAction(caption, this, slot);
    a->setObjectName(QString::fromLatin1(name));
    if (!key.isEmpty()) a->setShortcut(key);
    return a;
  };
  add(prof, "RefreshProfile", QStringLiteral("Profile of the Frame Shown"), &TProfForm::ShowProfile,
      QKeySequence(Qt::Key_F5));
  add(prof, "MakeKymograph", QStringLiteral("Kymograph over the Record"),
      &TProfForm::KymographClick, QKeySequence(QStringLiteral("Ctrl+K")));
  add(prof, "StopKymograph", QStringLiteral("Stop (Esc)"), &TProfForm::StopClick);
  prof->addSeparator();
  add(prof, "SaveProfile", QStringLiteral("Save Profile (TSV)..."), &TProfForm::SaveProfileClick,
      QKeySequence::Save);
  add(prof, "SaveKymographPng", QStringLiteral("Save Kymograph (PNG)..."),
      &TProfForm::SaveKymographPngClick);
  add(prof, "SaveKymographTsv", QStringLiteral("Save Kymograph (TSV)..."),
      &TProfForm::SaveKymographTsvClick);
}

void TProfForm::SetStatus(const QString& text) {
  status_->setText(text);
}

QString TProfForm::StatusText() const {
  return status_->text();
}

void TProfForm::ShowProfile() {
  const std::optional<ProfileBand> line = host_.line ? host_.line() : std::nullopt;
  if (!line || !record_.HasFrame()) {
    profile_ = LineProfile{};
    if (!playing_) SetStatus(Q(kNoProfileLine));
  } else {
    profile_ = MeasureLineProfile(record_.FrameBuffer(), record_.Width(), record_.Height(), *line);
    if (!playing_)
      SetStatus(profile_.Empty() ? Q(kEmptyProfile)
                                 : QStringLiteral("Profile: %1 points, width %2 pixels, frame %3")
                                       .arg(profile_.mean.size())
                                       .arg(line->width)
                                       .arg(record_.CurrentFrame()));
  }
  if (playing_ && kymograph_)
    SetStatus(Q(kKymographProgress)
                  .arg(record_.CurrentFrame() + 1)
                  .arg(record_.PlayLastFrame() + 1));
  DrawProfile();
}

void TProfForm::DrawProfile() {
  TXKgraph& g = *graph_;
  const size_t n = profile_.mean.size();
  if (n == 0) {
    g.SetData(nullptr, 0, 0);
    g.Notes = {"NO DATA", "", "", ""};
    g.Repaint();
    return;
  }
  matrix_.assign(2 * n, 0.0f);
  double lo = INFINITY, hi = -INFINITY;
  for (size_t c = 0; c < n; ++c) {
    matrix_[c] = static_cast<float>(c);
    const double v = profile_.mean[c];
    matrix_[n + c] = std::isnan(v) ? -1.0e9f : static_cast<float>(v);
    if (!std::isnan(v)) {
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
  }
  g.SetData(matrix_.data(), 1, static_cast<int>(n));
  g.Notes = {"", "", "", ""};
  FitAxis(g.X, 0, std::max<double>(1, static_cast<double>(n - 1)), 0, 6);
  FitAxis(g.Y0, lo, hi, 0.05, 5);
  g.Repaint();
}

void TProfForm::KymographClick() {
  if (playing_ || !host_.play) return;
  if (unsaved_ && !AskYesNo(Q(kDropKymographQuestion))) return;
  const std::optional<ProfileBand> line = host_.line ? host_.line() : std::nullopt;
  if (!line || ProfileBand(*line).Length() <= 0) {
    reporter_.Modal(kNoProfileLine);
    return;
  }
  kymograph_ = std::make_unique<KymographBuilder>(*line);
  unsaved_ = false;
  playing_ = true;
  if (!host_.play({kymograph_.get()})) {
    playing_ = false;
    kymograph_.reset();
  }
}

void TProfForm::StopClick() {
  if (playing_ && host_.stop) host_.stop(false);
}

void TProfForm::PlaybackEnded(bool completed) {
  if (!playing_) return;
  playing_ = false;
  if (!kymograph_) return;
  unsaved_ = kymograph_->Rows() > 0 && kymograph_->Points() > 0;
  const int32_t total = record_.PlayLastFrame() - record_.PlayFirstFrame() + 1;
  if (kymograph_->Points() == 0)
    SetStatus(Q(kEmptyProfile));
  else if (completed)
    SetStatus(Q(kKymographDone).arg(kymograph_->Rows()).arg(kymograph_->Points()));
  else
    SetStatus(Q(kKymographStopped).arg(kymograph_->Rows()).arg(total));
  ShowKymographImage();
}

void TProfForm::ShowKymographImage() {
  if (!kymograph_ || kymograph_->Rows() == 0 || kymograph_->Points() == 0) {
    kymo_label_->setPixmap(QPixmap());
    kymo_label_->setText(Q(kNoKymograph));
    return;
  }
  const std::vector<uint32_t> pixels = KymographImage(*kymograph_);
  QImage image(kymograph_->Points(), kymograph_->Rows(), QImage::Format_RGB32);
  for (int y = 0; y < image.height(); ++y)
    std::copy_n(pixels.data() + static_cast<size_t>(y) * image.width(), image.width(),
                reinterpret_cast<uint32_t*>(image.scanLine(y)));
  // Whole-number zoom, so every frame and point stays a block of equal pixels.
  const int zoom = std::clamp(500 / std::max(1, image.width()), 1, 8);
  // The default scaling: both sides as given, nearest pixel.
  kymo_label_->setPixmap(
      QPixmap::fromImage(image.scaled(image.width() * zoom, image.height() * zoom)));
}

QString TProfForm::OfferedName(const char* suffix, const char* ext) const {
  if (!record_.RecordLoaded()) return QString();
  return Q(RecordBaseName(record_.RecordFileName())) + QString::fromLatin1(suffix) +
         QLatin1Char('.') + QString::fromLatin1(ext);
}

void TProfForm::SaveProfileClick() {
  if (profile_.Empty()) {
    reporter_.Modal(kEmptyProfile);
    return;
  }
  const QString path =
      AskSaveFile(Q(kSaveProfileTitle), Q(kTsvFilter), OfferedName("-profile", "tsv"));
  if (path.isEmpty()) return;
  if (WriteTextAtomically(S(path), ProfileText(profile_, record_.Prm().ScaleX), reporter_))
    SetStatus(QStringLiteral("Profile written: %1").arg(path));
}

void TProfForm::SaveKymographPngClick() {
  if (!kymograph_ || kymograph_->Rows() == 0 || kymograph_->Points() == 0) {
    reporter_.Modal(kNoKymograph);
    return;
  }
  const QString path =
      AskSaveFile(Q(kSaveKymographPngTitle), Q(kPngFilter), OfferedName("-kymograph", "png"));
  if (path.isEmpty()) return;
  const std::vector<uint32_t> image = KymographImage(*kymograph_);
  if (WritePngAtomically(S(path), image.data(), kymograph_->Points(), kymograph_->Rows(),
                         reporter_)) {
    unsaved_ = false;
    SetStatus(QStringLiteral("Kymograph written: %1").arg(path));
  }
}

void TProfForm::SaveKymographTsvClick() {
  if (!kymograph_ || kymograph_->Rows() == 0 || kymograph_->Points() == 0) {
    reporter_.Modal(kNoKymograph);
    return;
  }
  const QString path =
      AskSaveFile(Q(kSaveKymographTsvTitle), Q(kTsvFilter), OfferedName("-kymograph", "tsv"));
  if (path.isEmpty()) return;
  if (WriteTextAtomically(S(path), KymographText(*kymograph_), reporter_)) {
    unsaved_ = false;
    SetStatus(QStringLiteral("Kymograph written: %1").arg(path));
  }
}

void TProfForm::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    StopClick();
    return;
  }
  QMainWindow::keyPressEvent(event);
}

void TProfForm::closeEvent(QCloseEvent* event) {
  if (unsaved_ && !AskYesNo(Q(kDropKymographQuestion))) {
    event->ignore();
    return;
  }
  // The kymograph goes with the window: the playback must not outlive it.
  if (playing_ && host_.stop) host_.stop(true);
  event->accept();
}

}  // namespace lumetra
