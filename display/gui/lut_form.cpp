#include "display/gui/lut_form.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "display/display_messages.h"
#include "display/gui/input_box.h"

namespace lumetra {
namespace {

QString Q(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<int>(s.size())); }

constexpr int kStripHeight = 18;  // the palette strip under the histogram, pixels
constexpr int kGrab = 6;          // how near a handle a press takes it, pixels

}  // namespace

// The histogram with the curve over it, the handles, and the palette strip.
class LutPlot : public QWidget {
 public:
  explicit LutPlot(TLUTform* form) : QWidget(form), form_(form) {
    setMinimumSize(420, 200);
    setMouseTracking(false);
  }

  int XOf(int32_t count) const {
    return static_cast<int>(static_cast<int64_t>(count) * (width() - 1) /
                            std::max(1, form_->PlotTop()));
  }
  int32_t CountAt(int x) const {
    const int64_t c = static_cast<int64_t>(std::clamp(x, 0, width() - 1)) * form_->PlotTop() /
                      std::max(1, width() - 1);
    return static_cast<int32_t>(c);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    const int h = height() - kStripHeight - 2;
    p.fillRect(rect(), Qt::white);
    // Histogram, one bin a pixel column.
    const auto bins = BinHistogram(form_->histogram_, 0, form_->PlotTop(), width());
    const bool log = form_->log_scale_->isChecked();
    auto scale = [&](uint32_t v) { return log ? std::log1p(static_cast<double>(v)) : double(v); };
    double top = 1;
    for (uint32_t b : bins) top = std::max(top, scale(b));
    p.setPen(QColor(150, 150, 150));
    for (int x = 0; x < static_cast<int>(bins.size()); ++x)
      if (bins[x]) p.drawLine(x, h, x, h - static_cast<int>(scale(bins[x]) / top * (h - 4)));
    // The curve.
    const LutCurve& c = form_->curve_;
    QPainterPath path;
    for (int x = 0; x < width(); ++x) {
      const double y = h - CurveValue(c, CountAt(x)) * (h - 4);
      if (x == 0)
        path.moveTo(x, y);
      else
        path.lineTo(x, y);
    }
    p.setPen(QPen(Qt::black, 1.5));
    p.drawPath(path);
    // Handles: minimum blue, maximum red, threshold dashed.
    p.setPen(QPen(QColor(0, 0, 200), 2));
    p.drawLine(XOf(c.min), 0, XOf(c.min), h);
    p.setPen(QPen(QColor(200, 0, 0), 2));
    p.drawLine(XOf(c.max), 0, XOf(c.max), h);
    if (c.threshold_on) {
      p.setPen(QPen(QColor(0, 140, 0), 1, Qt::DashLine));
      p.drawLine(XOf(c.threshold), 0, XOf(c.threshold), h);
    }
    // PlotPal: the palette through the curve under the counts.
    const std::vector<uint32_t> table = ApplyLut(form_->palette_, c);
    for (int x = 0; x < width(); ++x) {
      p.setPen(QColor::fromRgb(table[CountAt(x)] | 0xFF000000u));
      p.drawLine(x, h + 2, x, height() - 1);
    }
  }

  void mousePressEvent(QMouseEvent* e) override {
    const int x = static_cast<int>(e->position().x());
    const LutCurve& c = form_->curve_;
    const int dmin = std::abs(x - XOf(c.min)), dmax = std::abs(x - XOf(c.max));
    if (c.threshold_on && std::abs(x - XOf(c.threshold)) <= kGrab &&
        std::abs(x - XOf(c.threshold)) < std::min(dmin, dmax))
      handle_ = 2;
    else
      handle_ = dmin <= dmax ? 0 : 1;
    form_->MoveHandle(handle_, CountAt(x));
  }
  void mouseMoveEvent(QMouseEvent* e) override {
    if (handle_ >= 0) form_->MoveHandle(handle_, CountAt(static_cast<int>(e->position().x())));
  }
  void mouseReleaseEvent(QMouseEvent*) override { handle_ = -1; }

 private:
  TLUTform* form_;
  int handle_ = -1;
};

TLUTform::TLUTform(Reporter& reporter, QWidget* parent)
    : QWidget(parent, Qt::Window), reporter_(reporter) {
  setWindowTitle(Q(kLutFormCaption));
  setObjectName(QStringLiteral("TLUTform"));
  AskText = [this](const QString& title, const QString& prompt, const QString& text) {
    return AskInputBox(this, title, prompt, text);
  };
  plot_ = new LutPlot(this);
  linear_ = new QRadioButton(QStringLiteral("Linear"));
  gamma_ = new QRadioButton(QStringLiteral("Gamma"));
  sigmoid_ = new QRadioButton(QStringLiteral("Sigmoid"));
  auto button = [this](void (TLUTform::*slot)()) {
    auto* b = new QPushButton;
    connect(b, &QPushButton::clicked, this, slot);
    return b;
  };
  min_ = button(&TLUTform::SetMinClick);
  max_ = button(&TLUTform::SetMaxClick);
  gamma_value_ = button(&TLUTform::SetGammaClick);
  steepness_ = button(&TLUTform::SetSteepnessClick);
  threshold_value_ = button(&TLUTform::SetThresholdClick);
  saturated_value_ = button(&TLUTform::SetSaturatedClick);
  QPushButton* autob = button(&TLUTform::AutoClick);
  autob->setText(QStringLiteral("Auto"));
  QPushButton* full = button(&TLUTform::FullRangeClick);
  full->setText(QStringLiteral("Full Range"));
  threshold_on_ = new QCheckBox(QStringLiteral("Threshold"));
  log_scale_ = new QCheckBox(QStringLiteral("Log Histogram"));
  log_scale_->setChecked(true);
  connect(linear_, &QRadioButton::clicked, this, &TLUTform::LinearClick);
  connect(gamma_, &QRadioButton::clicked, this, &TLUTform::GammaClick);
  connect(sigmoid_, &QRadioButton::clicked, this, &TLUTform::SigmoidClick);
  connect(threshold_on_, &QCheckBox::clicked, this, &TLUTform::ThresholdOnClick);
  connect(log_scale_, &QCheckBox::toggled, plot_, qOverload<>(&QWidget::update));

  auto* grid = new QGridLayout;
  grid->addWidget(linear_, 0, 0);
  grid->addWidget(gamma_, 0, 1);
  grid->addWidget(gamma_value_, 0, 2);
  grid->addWidget(sigmoid_, 0, 3);
  grid->addWidget(steepness_, 0, 4);
  grid->addWidget(min_, 1, 0);
  grid->addWidget(max_, 1, 1);
  grid->addWidget(autob, 1, 2);
  grid->addWidget(saturated_value_, 1, 3);
  grid->addWidget(full, 1, 4);
  grid->addWidget(threshold_on_, 2, 0);
  grid->addWidget(threshold_value_, 2, 1);
  grid->addWidget(log_scale_, 2, 3, 1, 2);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(plot_, 1);
  layout->addLayout(grid);
  RefreshControls();
}

int32_t TLUTform::PlotTop() const {
  // The counts the frame holds and the handles, with a little room above,
  // within the record's range: a 16-bit record of dim spots is not a spike
  // at the left edge.
  const int32_t top = std::max({frame_top_, curve_.max, curve_.threshold_on ? curve_.threshold : 0});
  return std::clamp(top + top / 20 + 1, 16, std::max(max_level_ - 1, top + 1));
}

void TLUTform::SetFrame(const uint16_t* pixels, size_t n, int32_t max_level) {
  max_level_ = max_level;
  FrameHistogram(pixels, n, histogram_);
  frame_top_ = 0;
  for (int32_t v = 65535; v > 0; --v)
    if (histogram_[v]) {
      frame_top_ = v;
      break;
    }
  plot_->update();
}

void TLUTform::SetPalette(const std::vector<uint32_t>& palette) {
  palette_ = palette;
  PlotPal();
}

void TLUTform::SetCurve(const LutCurve& curve) {
  curve_ = curve;
  RefreshControls();
}

void TLUTform::PlotPal() { plot_->update(); }

void TLUTform::RefreshControls() {
  linear_->setChecked(curve_.shape == LutShape::kLinear);
  gamma_->setChecked(curve_.shape == LutShape::kGamma);
  sigmoid_->setChecked(curve_.shape == LutShape::kSigmoid);
  auto text = [&](LutValue v) { return Q(OfferedText(curve_, saturated_, v)); };
  min_->setText(QStringLiteral("Min=") + text(LutValue::kMin));
  max_->setText(QStringLiteral("Max=") + text(LutValue::kMax));
  gamma_value_->setText(QStringLiteral("G=") + text(LutValue::kGamma));
  steepness_->setText(QStringLiteral("S=") + text(LutValue::kSteepness));
  threshold_value_->setText(QStringLiteral("T=") + text(LutValue::kThreshold));
  saturated_value_->setText(QStringLiteral("Saturated=") + text(LutValue::kSaturated) +
                            QStringLiteral("%"));
  threshold_on_->setChecked(curve_.threshold_on);
  plot_->update();
}

void TLUTform::CurveEdited() {
  RefreshControls();
  emit CurveChanged();
}

void TLUTform::LinearClick() {
  curve_.shape = LutShape::kLinear;
  CurveEdited();
}
void TLUTform::GammaClick() {
  curve_.shape = LutShape::kGamma;
  CurveEdited();
}
void TLUTform::SigmoidClick() {
  curve_.shape = LutShape::kSigmoid;
  CurveEdited();
}

void TLUTform::AskValue(LutValue value) {
  const LutValueDialog& d = DialogOf(value);
  const auto typed = AskText(Q(d.title), Q(d.prompt), Q(OfferedText(curve_, saturated_, value)));
  if (!typed) return;
  const std::string_view refusal =
      ApplyLutValue(curve_, saturated_, value, typed->toUtf8().toStdString());
  if (!refusal.empty()) {
    reporter_.Modal(refusal);
    return;
  }
  CurveEdited();
}

void TLUTform::SetMinClick() { AskValue(LutValue::kMin); }
void TLUTform::SetMaxClick() { AskValue(LutValue::kMax); }
void TLUTform::SetGammaClick() {
  AskValue(LutValue::kGamma);
  if (curve_.shape != LutShape::kGamma) GammaClick();
}
void TLUTform::SetSteepnessClick() {
  AskValue(LutValue::kSteepness);
  if (curve_.shape != LutShape::kSigmoid) SigmoidClick();
}
void TLUTform::SetThresholdClick() {
  AskValue(LutValue::kThreshold);
  if (!curve_.threshold_on) ThresholdOnClick(true);
}
void TLUTform::SetSaturatedClick() { AskValue(LutValue::kSaturated); }

void TLUTform::ThresholdOnClick(bool on) {
  curve_.threshold_on = on;
  CurveEdited();
}

void TLUTform::AutoClick() {
  std::tie(curve_.min, curve_.max) = AutoContrast(histogram_, saturated_);
  CurveEdited();
}

void TLUTform::FullRangeClick() {
  const LutCurve full = FullRangeCurve(max_level_);
  curve_.min = full.min;
  curve_.max = full.max;
  CurveEdited();
}

void TLUTform::MoveHandle(int handle, int32_t count) {
  count = std::clamp(count, 0, 65535);
  if (handle == 0) curve_.min = std::min(count, curve_.max - 1);
  if (handle == 1) curve_.max = std::max(count, curve_.min + 1);
  if (handle == 2) curve_.threshold = count;
  CurveEdited();
}

}  // namespace lumetra
