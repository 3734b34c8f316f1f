#include "surface/gui/ddd_form.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>
#include <cmath>

#include "common/text_format.h"
#include "display/gui/input_box.h"
#include "surface/surface_messages.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

QSlider* MakeSlider(int lo, int hi, QWidget* parent) {
  auto* s = new QSlider(Qt::Horizontal, parent);
  s->setRange(lo, hi);
  s->setMinimumWidth(120);
  return s;
}

}  // namespace

TDDDform::TDDDform(const RecordStore& record, Reporter& reporter, DDDFormHost host, QWidget* parent)
    : QMainWindow(parent), record_(record), reporter_(reporter), host_(std::move(host)) {
  setWindowTitle(Q(kDDDFormCaption));
  auto* central = new QWidget(this);
  auto* column = new QVBoxLayout(central);
  auto* controls = new QHBoxLayout;
  turn_ = MakeSlider(-180, 180, central);
  tilt_ = MakeSlider(0, 90, central);
  height_ = new QDoubleSpinBox(central);
  height_->setRange(0, 5);
  height_->setSingleStep(0.05);
  height_->setDecimals(2);
  blocks_ = new QCheckBox(QStringLiteral("Blocks"), central);
  blocks_->setObjectName(QStringLiteral("BlockPlot"));
  controls->addWidget(new QLabel(QStringLiteral("Turn"), central));
  controls->addWidget(turn_);
  controls->addWidget(new QLabel(QStringLiteral("Tilt"), central));
  controls->addWidget(tilt_);
  controls->addWidget(new QLabel(QStringLiteral("Height"), central));
  controls->addWidget(height_);
  controls->addWidget(blocks_);
  auto* png = new QPushButton(QStringLiteral("Save PNG..."), central);
  auto* bmp = new QPushButton(QStringLiteral("Save BMP..."), central);
  controls->addWidget(png);
  controls->addWidget(bmp);
  column->addLayout(controls);
  image_ = new QLabel(central);
  image_->setMinimumSize(320, 240);
  image_->setAlignment(Qt::AlignCenter);
  image_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
  image_->installEventFilter(this);
  image_->setToolTip(QStringLiteral("Drag to turn (left-right) and tilt (up-down)"));
  column->addWidget(image_, 1);
  status_ = new QLabel(central);
  column->addWidget(status_);
  setCentralWidget(central);

  const auto changed = [this] {
    if (syncing_) return;
    view_.turn_deg = turn_->value();
    view_.tilt_deg = tilt_->value();
    view_.height_scale = height_->value();
    view_.blocks = blocks_->isChecked();
    Redraw();
  };
  connect(turn_, &QSlider::valueChanged, this, changed);
  connect(tilt_, &QSlider::valueChanged, this, changed);
  connect(height_, &QDoubleSpinBox::valueChanged, this, changed);
  connect(blocks_, &QCheckBox::toggled, this, changed);
  connect(png, &QPushButton::clicked, this, &TDDDform::SavePNGClick);
  connect(bmp, &QPushButton::clicked, this, &TDDDform::SaveBMPClick);
  AskText = [this](const QString& title, const QString& prompt, const QString& text) {
    return AskInputBox(this, title, prompt, text);
  };
  AskSaveFile = [this](const QString& title, const QString& filter, const QString& name) {
    return QFileDialog::getSaveFileName(this, title, name, filter);
  };
  SetView(view_);
  resize(760, 620);
}

void TDDDform::SetView(const SurfaceView& view) {
  view_ = view;
  syncing_ = true;
  turn_->setValue(static_cast<int>(std::lround(std::remainder(view.turn_deg, 360.0))));
  tilt_->setValue(static_cast<int>(std::lround(view.tilt_deg)));
  height_->setValue(view.height_scale);
  blocks_->setChecked(view.blocks);
  syncing_ = false;
  Redraw();
}

QString TDDDform::StatusText() const {
  return status_->text();
}

void TDDDform::FrameShown() {
  if (isVisible()) Redraw();
}

void TDDDform::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  Redraw();
}

bool TDDDform::RenderAt(int32_t w, int32_t h, RgbImage& out) {
  if (!record_.HasFrame()) return false;
  const Region user = host_.region ? host_.region() : Region{};
  const auto region = SurfaceRegion(user, record_.Width(), record_.Height());
  if (!region) return false;
  if (out.width != w || out.height != h) out.Resize(w, h, kSurfaceBackground);
  static const std::vector<uint32_t> kNone;
  renderer_.Render(record_.FrameBuffer(), record_.Width(), *region,
                   host_.palette ? host_.palette() : kNone, view_, out);
  return true;
}

void TDDDform::Redraw() {
  const int32_t w = std::max(image_->width(), 16), h = std::max(image_->height(), 16);
  if (!RenderAt(w, h, picture_)) {
    image_->clear();
    status_->setText(Q(kRegionOutsideFrame));
    return;
  }
  shown_ = QImage(reinterpret_cast<const uchar*>(picture_.pixels.data()), w, h, w * 4,
                  QImage::Format_RGB32);
  image_->setPixmap(QPixmap::fromImage(shown_));
  const Region user = host_.region ? host_.region() : Region{};
  const auto region = SurfaceRegion(user, record_.Width(), record_.Height());
  QString text = QStringLiteral("frame %1, region %2,%3 - %4,%5 (%6 x %7 pixels)")
                     .arg(record_.CurrentFrame())
                     .arg(region->left)
                     .arg(region->top)
                     .arg(region->right)
                     .arg(region->bottom)
                     .arg(region->Width())
                     .arg(region->Height());
  if (!user.active) text = Q(kNoRegionWholeFrame) + QStringLiteral("  |  ") + text;
  status_->setText(text);
}

bool TDDDform::eventFilter(QObject* watched, QEvent* event) {
  if (watched == image_ && event->type() == QEvent::MouseButtonPress) {
    drag_from_ = static_cast<QMouseEvent*>(event)->position().toPoint();
    return true;
  }
  if (watched == image_ && event->type() == QEvent::MouseMove) {
    const QPoint at = static_cast<QMouseEvent*>(event)->position().toPoint();
    const QPoint d = at - drag_from_;
    drag_from_ = at;
    // Half a degree a pixel; the sliders hold the view.
    int turn = turn_->value() + d.x() / 2;
    turn += turn > 180 ? -360 : turn < -180 ? 360 : 0;
    turn_->setValue(turn);
    tilt_->setValue(std::clamp(tilt_->value() + d.y() / 2, 0, 90));
    return true;
  }
  return QMainWindow::eventFilter(watched, event);
}

void TDDDform::Save(const char* suffix, const QString& filter) {
  const QString offer = QStringLiteral("%1 x %2").arg(picture_.width).arg(picture_.height);
  const auto text = AskText(Q(kSizeTitle), Q(kSizeLabel), offer);
  if (!text) return;
  const auto size = ParsePictureSize(text->toStdString(), reporter_);
  if (!size) return;
  const std::string base = RecordBaseName(record_.RecordFileName());
  const QString name = base.empty() ? QString() : Q(base + "-3d." + suffix);
  const QString path = AskSaveFile(QStringLiteral("Save 3D Picture"), filter, name);
  if (path.isEmpty()) return;
  RgbImage out;
  if (!RenderAt(size->first, size->second, out)) return;
  if (SaveSurfacePicture(path.toStdString(), out, reporter_))
    status_->setText(QStringLiteral("saved ") + path);
}

void TDDDform::SaveBMPClick() {
  Save("bmp", QStringLiteral("BMP pictures (*.bmp)"));
}

void TDDDform::SavePNGClick() {
  Save("png", QStringLiteral("PNG pictures (*.png)"));
}

}  // namespace lumetra
