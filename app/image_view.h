// The image area of the main window: paints the visible part of the current
// frame through the palette at the display zoom, with scroll bars, and draws
// the overlays (region outline, profile line, scale bar, frame time, header
// info lines, short notices). The left mouse button draws the region, the
// right one the profile line. The frame's top-left pixel sits at the top-left
// corner of the area, so frame column x lies at screen x * zoom - scroll.
#pragma once

#include <QAbstractScrollArea>
#include <QFontMetrics>
#include <QPointF>
#include <QStringList>
#include <QTimer>
#include <array>
#include <functional>
#include <optional>
#include <vector>

#include "common/region.h"
#include "display/frame_painter.h"
#include "display/key_commands.h"
#include "display/overlay_layout.h"

class QPainter;

namespace lumetra {

// The keypad's plus and minus, with or without Ctrl: the keys that resize the
// region. They win over the Ctrl+plus and Ctrl+minus zoom shortcuts.
bool IsKeypadRegionKey(const class QKeyEvent& event);

class ImageView : public QAbstractScrollArea {
  Q_OBJECT

 public:
  explicit ImageView(QWidget* parent = nullptr);

  // The frame to show (not owned; 16-bit counts, row-major) and the painter
  // holding the palette. A null frame shows the hint text.
  void SetFrame(const uint16_t* pixels, int32_t width, int32_t height, const FramePainter* painter);
  void SetZoom(int32_t zoom);
  int32_t Zoom() const { return zoom_; }
  void SetRegion(const Region& region);
  void SetLine(const ProfileLine& line, bool shown, int32_t width_pixels);
  // A cross marking frame pixel (x, y); x < 0 takes it away.
  void SetCross(int32_t x, int32_t y);
  QPoint Cross() const { return cross_; }
  void SetInfoLines(const QStringList& lines) { info_lines_ = lines; }
  // What is shown: a frame (or the hint when none) and the header lines.
  bool ShowsFrame() const { return pixels_ != nullptr; }
  const QStringList& InfoLines() const { return info_lines_; }
  // A bead track in frame pixels, and its point in the frame shown (if any);
  // an empty track hides it.
  void SetBeadTrack(std::vector<QPointF> points, std::optional<QPointF> current);
  const std::vector<QPointF>& BeadTrack() const { return bead_track_; }
  // Marks a tool window draws over the frame: called with the painter in frame
  // pixels times `zoom` (frame pixel x spans x * zoom .. (x + 1) * zoom). An
  // empty function draws nothing.
  void SetExtraMarks(std::function<void(QPainter& p, int zoom)> marks) {
    extra_marks_ = std::move(marks);
    viewport()->update();
  }
  void SetTimeText(const QString& text) { time_text_ = text; }
  // A ghost frame drawn over the image (ARGB, the frame's size; a null image
  // or one of another size draws nothing).
  void SetGhost(const QImage& ghost);
  bool ShowsGhost() const { return !ghost_.isNull() && ghost_.width() == width_ && ghost_.height() == height_; }
  // Scale bar of `um` micrometres on pixels of `nm_per_pixel`; 0 um hides it.
  void SetScaleBar(double um, double nm_per_pixel);
  void SetHint(const QString& hint) { hint_ = hint; }
  // Which of the texts over the image are drawn.
  void SetOverlays(bool info_lines, bool time_and_scale_bar);
  // The colour bar at the right edge: the colours from the bottom (the
  // LUT's minimum) to the top (its maximum) and the two counts; empty colours hide it.
  void SetColourBar(std::vector<uint32_t> colours, const QString& top, const QString& bottom);
  bool ShowsColourBar() const { return !bar_colours_.empty(); }
  // A short text drawn over the image for a few seconds ("Done").
  void ShowNotice(const QString& text);
  QString Notice() const { return notice_; }

  // Zoom, scroll offsets and image-area size, as the key rules need them.
  KeyView View() const;
  // Frame pixel under a point of the image area (may lie outside the frame).
  QPoint FramePixelAt(const QPoint& viewport_pos) const;
  // Where the scale bar is drawn now, and the info lines' box it keeps clear of.
  ScaleBarLayout ShownScaleBar() const;
  QRect ShownInfoBox() const;

 signals:
  void RegionDrawn(const lumetra::Region& region);
  void LineDrawn(const lumetra::ProfileLine& line);
  // A left click without a drag on frame pixel (x, y).
  void Clicked(int x, int y);
  // Frame pixel under the mouse, or (-1, -1) when it left the frame.
  void CursorMoved(int x, int y);
  void KeyPressed(int key, Qt::KeyboardModifiers modifiers, const QString& text);
  // Ctrl + wheel: +1 to zoom in, -1 to zoom out.
  void ZoomStepRequested(int step);

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;

 private:
  void UpdateScrollBars();
  void PaintFrame(class QPainter& p, const QRect& visible);
  void PaintMarkers(class QPainter& p);
  void PaintTexts(class QPainter& p);
  QRect InfoBox(const QRect& anchor, const QFontMetrics& fm) const;
  void PaintInfoLines(class QPainter& p, const QRect& box, const QFontMetrics& fm);
  void PaintTimeAndBar(class QPainter& p, const QRect& anchor, const QRect& info_box,
                       const QFontMetrics& fm);
  void PaintNotice(class QPainter& p, const QRect& viewport_rect);
  void PaintColourBar(class QPainter& p);
  QPoint ClampToFrame(QPoint frame_pixel) const;
  // Texts sit in the corners of this rectangle of the area.
  QRect TextAnchor() const;
  QFont TextFont() const;
  ScaleBarLayout ScaleBar(const QRect& anchor, const QRect& info_box, const QFontMetrics& fm) const;

  const uint16_t* pixels_ = nullptr;
  int32_t width_ = 0;
  int32_t height_ = 0;
  const FramePainter* painter_ = nullptr;
  int32_t zoom_ = 1;
  Region region_;
  ProfileLine line_;
  QImage ghost_;
  bool line_shown_ = false;
  QPoint cross_{-1, -1};
  int32_t line_width_ = 1;
  QStringList info_lines_;
  std::vector<QPointF> bead_track_;
  std::optional<QPointF> bead_point_;
  std::function<void(QPainter&, int)> extra_marks_;
  QString time_text_;
  double scale_bar_um_ = 0;
  double nm_per_pixel_ = 100;
  QString hint_;
  bool show_info_ = true;
  bool show_time_and_bar_ = true;
  QString notice_;
  QTimer notice_timer_;
  std::vector<uint32_t> bar_colours_;
  QString bar_top_, bar_bottom_;
  // Painted pixels of the visible part; grows to the largest area shown, never per frame.
  std::vector<uint32_t> buffer_;
  enum class Drag { kNone, kRegion, kLine } drag_ = Drag::kNone;
  QPoint drag_start_;
  bool drag_moved_ = false;
};

}  // namespace lumetra
