// TDDDform: the region of the current frame as a tilted 3D surface or block
// plot in the main window's palette. Sliders (or a drag on the picture) turn
// and tilt it, a box sets the height scale; it follows the frame during
// playback and saves PNG or BMP pictures at a chosen size. The drawing is the
// core's (surface/surface_render.h).
#pragma once

#include <QImage>
#include <QMainWindow>
#include <functional>
#include <optional>
#include <vector>

#include "common/region.h"
#include "common/report.h"
#include "record/record_store.h"
#include "surface/surface_render.h"

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QSlider;

namespace lumetra {

struct DDDFormHost {
  std::function<Region()> region;                         // the user's region
  std::function<const std::vector<uint32_t>&()> palette;  // the display palette
};

class TDDDform final : public QMainWindow {
  Q_OBJECT

 public:
  TDDDform(const RecordStore& record, Reporter& reporter, DDDFormHost host,
           QWidget* parent = nullptr);

  // Tests script the dialogs: nothing / an empty path is a cancel.
  std::function<std::optional<QString>(const QString& title, const QString& prompt,
                                       const QString& text)>
      AskText;
  std::function<QString(const QString& title, const QString& filter, const QString& name)>
      AskSaveFile;

  const SurfaceView& View() const { return view_; }
  const QImage& Picture() const { return shown_; }
  QString StatusText() const;
  void SetView(const SurfaceView& view);

 public slots:
  // The main window shows another frame, or the region or palette changed.
  void FrameShown();
  void SaveBMPClick();
  void SavePNGClick();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void Redraw();
  void Save(const char* suffix, const QString& filter);
  // Renders the current frame's region at w x h; false when there is nothing to draw.
  bool RenderAt(int32_t w, int32_t h, RgbImage& out);

  const RecordStore& record_;
  Reporter& reporter_;
  DDDFormHost host_;
  SurfaceView view_;
  SurfaceRenderer renderer_;
  RgbImage picture_;
  QImage shown_;
  QLabel* image_ = nullptr;
  QLabel* status_ = nullptr;
  QSlider* turn_ = nullptr;
  QSlider* tilt_ = nullptr;
  QDoubleSpinBox* height_ = nullptr;
  QCheckBox* blocks_ = nullptr;
  QPoint drag_from_;
  bool syncing_ = false;
};

}  // namespace lumetra
