// TLUTform, the LUT editor: the histogram of the current frame with the curve
// drawn over it, minimum and maximum handles (and the threshold) dragged over
// it with the mouse, the palette strip through the curve (PlotPal), the
// curve's shape, auto-contrast and the threshold. The curve itself and every
// check are in display/lut_curve.h; the window shows and asks.
#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <vector>

#include "common/report.h"
#include "display/lut_curve.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QRadioButton;

namespace lumetra {

class LutPlot;

class TLUTform : public QWidget {
  Q_OBJECT

 public:
  // `reporter` hears the refusals of the input boxes; it must outlive the window.
  TLUTform(Reporter& reporter, QWidget* parent = nullptr);

  // The frame whose histogram is shown (16-bit counts, not owned; read at
  // once) and the record's count range.
  void SetFrame(const uint16_t* pixels, size_t n, int32_t max_level);
  // The palette the curve spreads over (MaxLevel entries).
  void SetPalette(const std::vector<uint32_t>& palette);
  void SetCurve(const LutCurve& curve);
  const LutCurve& Curve() const { return curve_; }
  double SaturatedPercent() const { return saturated_; }
  const std::vector<uint32_t>& Histogram() const { return histogram_; }
  // The counts the plot spans, 0 .. PlotTop().
  int32_t PlotTop() const;

  // Every input box goes through this, so tests can script it; nothing when cancelled.
  std::function<std::optional<QString>(const QString& title, const QString& prompt,
                                       const QString& text)>
      AskText;

  // Handlers of the window's controls.
  void LinearClick();
  void GammaClick();
  void SigmoidClick();
  void SetMinClick();
  void SetMaxClick();
  void SetGammaClick();
  void SetSteepnessClick();
  void SetThresholdClick();
  void SetSaturatedClick();
  void ThresholdOnClick(bool on);
  void AutoClick();
  void FullRangeClick();
  // Redraws the palette strip through the curve.
  void PlotPal();
  // A handle dragged on the plot to `count` (0: minimum, 1: maximum, 2: threshold).
  void MoveHandle(int handle, int32_t count);

 signals:
  // The curve changed (a control, a drag, auto-contrast).
  void CurveChanged();

 private:
  void AskValue(LutValue value);
  void CurveEdited();
  void RefreshControls();

  Reporter& reporter_;
  LutCurve curve_;
  double saturated_ = 0.35;  // percent, auto-contrast
  int32_t max_level_ = 1024;
  int32_t frame_top_ = 0;  // highest count in the frame
  std::vector<uint32_t> histogram_;
  std::vector<uint32_t> palette_;
  LutPlot* plot_ = nullptr;
  QRadioButton* linear_ = nullptr;
  QRadioButton* gamma_ = nullptr;
  QRadioButton* sigmoid_ = nullptr;
  QPushButton* min_ = nullptr;
  QPushButton* max_ = nullptr;
  QPushButton* gamma_value_ = nullptr;
  QPushButton* steepness_ = nullptr;
  QPushButton* threshold_value_ = nullptr;
  QPushButton* saturated_value_ = nullptr;
  QCheckBox* threshold_on_ = nullptr;
  QCheckBox* log_scale_ = nullptr;

  friend class LutPlot;
};

}  // namespace lumetra
