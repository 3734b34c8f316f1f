#include "app/image_view.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPolygonF>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace lumetra {
namespace {

const QColor kBackground(48, 48, 52);
const QColor kRegionColour(255, 255, 0);
const QColor kLineColour(0, 230, 255);
const QColor kBeadColour(255, 80, 255);
constexpr int kNoticeMs = 2500;
constexpr int kMargin = 6;  // screen pixels between texts and the edges

ScreenBox ToBox(const QRect& r) {
  return r.isEmpty() ? ScreenBox{} : ScreenBox{r.x(), r.y(), r.width(), r.height()};
}

QRect Rect(const ScreenBox& b) {
  return QRect(b.left, b.top, b.width, b.height);
}

}  // namespace

bool IsKeypadRegionKey(const QKeyEvent& event) {
  return (event.key() == Qt::Key_Plus || event.key() == Qt::Key_Minus) &&
         (event.modifiers() & Qt::KeypadModifier);
}

ImageView::ImageView(QWidget* parent) : QAbstractScrollArea(parent) {
  setFocusPolicy(Qt::StrongFocus);
  viewport()->setMouseTracking(true);
  viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
  notice_timer_.setSingleShot(true);
  connect(&notice_timer_, &QTimer::timeout, this, [this] {
    notice_.clear();
    viewport()->update();
  });
}

void ImageView::SetFrame(const uint16_t* pixels, int32_t width, int32_t height,
                         const FramePainter* painter) {
  const bool resized = width != width_ || height != height_;
  pixels_ = pixels;
  width_ = pixels ? width : 0;
  height_ = pixels ? height : 0;
  painter_ = painter;
  if (resized) UpdateScrollBars();
  viewport()->update();
}

void ImageView::SetZoom(int32_t zoom) {
  zoom = std::clamp(zoom, kMinZoom, kMaxZoom);
  if (zoom == zoom_) return;
  // Keep the frame point at the centre of the area where it was.
  // A frame narrower (or lower) than the area keeps its own centre instead.
  double cx = (horizontalScrollBar()->value() + viewport()->width() / 2.0) / zoom_;
  double cy = (verticalScrollBar()->value() + viewport()->height() / 2.0) / zoom_;
  if (width_ * zoom_ < viewport()->width()) cx = width_ / 2.0;
  if (height_ * zoom_ < viewport()->height()) cy = height_ / 2.0;
  zoom_ = zoom;
  UpdateScrollBars();
  horizontalScrollBar()->setValue(static_cast<int>(cx * zoom_ - viewport()->width() / 2.0));
  verticalScrollBar()->setValue(static_cast<int>(cy * zoom_ - viewport()->height() / 2.0));
  viewport()->update();
}

void ImageView::SetRegion(const Region& region) {
  region_ = region;
  viewport()->update();
}

void ImageView::SetLine(const ProfileLine& line, bool shown, int32_t width_pixels) {
  line_ = line;
  line_shown_ = shown;
  line_width_ = std::max(1, width_pixels);
  viewport()->update();
}

void ImageView::SetBeadTrack(std::vector<QPointF> points, std::optional<QPointF> current) {
  bead_track_ = std::move(points);
  bead_point_ = bead_track_.empty() ? std::nullopt : current;
  viewport()->update();
}

void ImageView::SetScaleBar(double um, double nm_per_pixel) {
  scale_bar_um_ = um;
  nm_per_pixel_ = nm_per_pixel >= 1.0 ? nm_per_pixel : 1.0;
  viewport()->update();
}

void ImageView::SetOverlays(bool info_lines, bool time_and_scale_bar) {
  show_info_ = info_lines;
  show_time_and_bar_ = time_and_scale_bar;
  viewport()->update();
}

void ImageView::ShowNotice(const QString& text) {
  notice_ = text;
  notice_timer_.start(kNoticeMs);
  viewport()->update();
}

KeyView ImageView::View() const {
  return KeyView{zoom_, horizontalScrollBar()->value(), verticalScrollBar()->value(),
                 viewport()->width(), viewport()->height()};
}

QPoint ImageView::FramePixelAt(const QPoint& pos) const {
  const int x = pos.x() + horizontalScrollBar()->value();
  const int y = pos.y() + verticalScrollBar()->value();
  return QPoint(x >= 0 ? x / zoom_ : -1, y >= 0 ? y / zoom_ : -1);
}

QPoint ImageView::ClampToFrame(QPoint p) const {
  return QPoint(std::clamp(p.x(), 0, std::max(0, width_ - 1)),
                std::clamp(p.y(), 0, std::max(0, height_ - 1)));
}

void ImageView::UpdateScrollBars() {
  const int w = width_ * zoom_, h = height_ * zoom_;
  const QSize vp = viewport()->size();
  horizontalScrollBar()->setRange(0, std::max(0, w - vp.width()));
  horizontalScrollBar()->setPageStep(vp.width());
  horizontalScrollBar()->setSingleStep(std::max(zoom_, 8));
  verticalScrollBar()->setRange(0, std::max(0, h - vp.height()));
  verticalScrollBar()->setPageStep(vp.height());
  verticalScrollBar()->setSingleStep(std::max(zoom_, 8));
}

void ImageView::resizeEvent(QResizeEvent* event) {
  QAbstractScrollArea::resizeEvent(event);
  UpdateScrollBars();
}

void ImageView::scrollContentsBy(int, int) {
  viewport()->update();
}

void ImageView::SetGhost(const QImage& ghost) {
  ghost_ = ghost;
  viewport()->update();
}

void ImageView::paintEvent(QPaintEvent*) {
  QPainter p(viewport());
  p.fillRect(viewport()->rect(), kBackground);
  if (pixels_ && painter_) {
    PaintFrame(p, viewport()->rect());
    if (ShowsGhost()) {
      p.save();
      p.translate(-horizontalScrollBar()->value(), -verticalScrollBar()->value());
      p.scale(zoom_, zoom_);
      p.drawImage(0, 0, ghost_);
      p.restore();
    }
    PaintMarkers(p);
    PaintColourBar(p);
  } else if (!hint_.isEmpty()) {
    p.setPen(QColor(200, 200, 200));
    p.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextWordWrap, hint_);
  }
  PaintTexts(p);
}

void ImageView::SetColourBar(std::vector<uint32_t> colours, const QString& top,
                             const QString& bottom) {
  bar_colours_ = std::move(colours);
  bar_top_ = top;
  bar_bottom_ = bottom;
  viewport()->update();
}

// A strip 14 pixels wide at the right edge, centred in height, the counts
// above and below it on a dark box.
void ImageView::PaintColourBar(QPainter& p) {
  if (bar_colours_.empty()) return;
  const QRect area = viewport()->rect();
  const QFontMetrics fm(TextFont());
  const int h = std::clamp(area.height() - 4 * fm.height() - 16, 16, 256);
  const int x = area.right() - 14 - 8, y = area.center().y() - h / 2;
  p.setFont(TextFont());
  const int label_w = std::max(fm.horizontalAdvance(bar_top_), fm.horizontalAdvance(bar_bottom_));
  const QRect top_box(area.right() - 8 - label_w, y - fm.height() - 4, label_w, fm.height());
  const QRect bottom_box(area.right() - 8 - label_w, y + h + 4, label_w, fm.height());
  p.fillRect(top_box.adjusted(-3, -1, 3, 1), QColor(0, 0, 0, 160));
  p.fillRect(bottom_box.adjusted(-3, -1, 3, 1), QColor(0, 0, 0, 160));
  p.setPen(Qt::white);
  p.drawText(top_box, Qt::AlignRight | Qt::AlignVCenter, bar_top_);
  p.drawText(bottom_box, Qt::AlignRight | Qt::AlignVCenter, bar_bottom_);
  const size_t n = bar_colours_.size();
  for (int k = 0; k < h; ++k) {
    const size_t i = static_cast<size_t>(h - 1 - k) * (n - 1) / std::max(1, h - 1);
    p.setPen(QColor::fromRgb(bar_colours_[i] | 0xFF000000u));
    p.drawLine(x, y + k, x + 13, y + k);
  }
  p.setPen(Qt::white);
  p.drawRect(x - 1, y - 1, 15, h + 1);
}

// Only the frame pixels that reach the area are looked up and zoomed.
void ImageView::PaintFrame(QPainter& p, const QRect& visible) {
  const int sx = horizontalScrollBar()->value(), sy = verticalScrollBar()->value();
  const FrameRect area =
      ClipToFrame(FrameRect{sx / zoom_, sy / zoom_, (sx + visible.width()) / zoom_ + 1,
                            (sy + visible.height()) / zoom_ + 1},
                  width_, height_);
  if (area.Empty()) return;
  const int w = area.Width() * zoom_, h = area.Height() * zoom_;
  const size_t need = static_cast<size_t>(w) * static_cast<size_t>(h);
  if (buffer_.size() < need) buffer_.resize(need);
  painter_->Paint(pixels_, width_, area, zoom_, buffer_.data(), w);
  const QImage image(reinterpret_cast<const uchar*>(buffer_.data()), w, h, w * 4,
                     QImage::Format_RGB32);
  p.drawImage(QPoint(area.left * zoom_ - sx, area.top * zoom_ - sy), image);
}

void ImageView::PaintMarkers(QPainter& p) {
  p.save();
  p.translate(-horizontalScrollBar()->value(), -verticalScrollBar()->value());
  const int z = zoom_;
  if (region_.active) {
    p.setPen(QPen(kRegionColour, 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(region_.left * z, region_.top * z, region_.Width() * z - 1,
               region_.Height() * z - 1);
  }
  if (line_shown_) {
    const QPointF a(line_.x0 * z + z / 2.0, line_.y0 * z + z / 2.0);
    const QPointF b(line_.x1 * z + z / 2.0, line_.y1 * z + z / 2.0);
    p.setRenderHint(QPainter::Antialiasing);
    if (line_width_ > 1) {
      // The band the profile averages over, ProfileWidth pixels wide.
      QColor band = kLineColour;
      band.setAlpha(60);
      p.setPen(QPen(band, line_width_ * z, Qt::SolidLine, Qt::FlatCap));
      p.drawLine(a, b);
    }
    p.setPen(QPen(kLineColour, 1));
    p.drawLine(a, b);
  }
  if (!bead_track_.empty()) {
    // Pixel centres: frame pixel x spans x * z .. (x + 1) * z on the screen.
    QPolygonF track;
    for (const QPointF& q : bead_track_) track << QPointF((q.x() + 0.5) * z, (q.y() + 0.5) * z);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(kBeadColour, 1));
    p.setBrush(Qt::NoBrush);
    p.drawPolyline(track);
    if (bead_point_) {
      const QPointF c((bead_point_->x() + 0.5) * z, (bead_point_->y() + 0.5) * z);
      const double r = std::max(4.0, 1.5 * z);
      p.setPen(QPen(kBeadColour, 2));
      p.drawEllipse(c, r, r);
    }
  }
  if (cross_.x() >= 0) {
    // A cross of 7 pixels each side around the pixel's centre, with a gap over the spot.
    const double cx = cross_.x() * z + z / 2.0, cy = cross_.y() * z + z / 2.0;
    const double gap = 3 * z, arm = gap + 7 * std::max(1, z / 2);
    p.setPen(QPen(QColor(0, 255, 255), 1));
    p.drawLine(QPointF(cx - arm, cy), QPointF(cx - gap, cy));
    p.drawLine(QPointF(cx + gap, cy), QPointF(cx + arm, cy));
    p.drawLine(QPointF(cx, cy - arm), QPointF(cx, cy - gap));
    p.drawLine(QPointF(cx, cy + gap), QPointF(cx, cy + arm));
  }
  // A tool window's own marks (the manual tracking window's objects).
  if (extra_marks_) extra_marks_(p, z);
  p.restore();
}

void ImageView::SetCross(int32_t x, int32_t y) {
  cross_ = x < 0 ? QPoint(-1, -1) : QPoint(x, y);
  if (x >= 0) {
    // A marked pixel out of sight is brought to the middle of the area.
    QScrollBar* h = horizontalScrollBar();
    QScrollBar* v = verticalScrollBar();
    const QSize area = viewport()->size();
    const int px = x * zoom_ + zoom_ / 2, py = y * zoom_ + zoom_ / 2;
    if (!QRect(QPoint(h->value(), v->value()), area).contains(px, py)) {
      h->setValue(px - area.width() / 2);
      v->setValue(py - area.height() / 2);
    }
  }
  viewport()->update();
}

QFont ImageView::TextFont() const {
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSizeF(std::max(7.0, font.pointSizeF() * 0.9));
  return font;
}

// The visible image, or the whole area when the image is too small to hold the texts.
QRect ImageView::TextAnchor() const {
  const QRect vp = viewport()->rect();
  const QRect image = QRect(-horizontalScrollBar()->value(), -verticalScrollBar()->value(),
                            width_ * zoom_, height_ * zoom_) &
                      vp;
  return image.width() >= 360 && image.height() >= 160 ? image : vp;
}

void ImageView::PaintTexts(QPainter& p) {
  const QFont font = TextFont();
  p.setFont(font);
  const QFontMetrics fm(font);
  if (pixels_) {
    const QRect anchor = TextAnchor();
    const QRect info_box = InfoBox(anchor, fm);
    PaintInfoLines(p, info_box, fm);
    if (show_time_and_bar_) PaintTimeAndBar(p, anchor, info_box, fm);
  }
  if (!notice_.isEmpty()) PaintNotice(p, viewport()->rect());
}

QRect ImageView::ShownInfoBox() const {
  return pixels_ ? InfoBox(TextAnchor(), QFontMetrics(TextFont())) : QRect();
}

ScaleBarLayout ImageView::ShownScaleBar() const {
  if (!pixels_ || !show_time_and_bar_) return {};
  const QFontMetrics fm(TextFont());
  const QRect anchor = TextAnchor();
  return ScaleBar(anchor, InfoBox(anchor, fm), fm);
}

// The info lines' box: bottom-left corner of `anchor`; empty when they are hidden.
QRect ImageView::InfoBox(const QRect& anchor, const QFontMetrics& fm) const {
  if (!show_info_ || info_lines_.isEmpty()) return QRect();
  const int lh = fm.height();
  int tw = 0;
  for (const QString& l : info_lines_) tw = std::max(tw, fm.horizontalAdvance(l));
  const int h = lh * static_cast<int>(info_lines_.size()) + 4;
  return QRect(anchor.left() + kMargin, anchor.bottom() + 1 - kMargin - h, tw + 8, h);
}

void ImageView::PaintInfoLines(QPainter& p, const QRect& box, const QFontMetrics& fm) {
  if (box.isEmpty()) return;
  p.fillRect(box, QColor(0, 0, 0, 150));
  p.setPen(Qt::white);
  for (int i = 0; i < info_lines_.size(); ++i)
    p.drawText(box.left() + 4, box.top() + 2 + fm.ascent() + i * fm.height(), info_lines_[i]);
}

void ImageView::PaintTimeAndBar(QPainter& p, const QRect& anchor, const QRect& info_box,
                                const QFontMetrics& fm) {
  const int lh = fm.height();
  if (!time_text_.isEmpty()) {
    const int tw = fm.horizontalAdvance(time_text_) + 8;
    const QRect box(anchor.right() + 1 - kMargin - tw, anchor.top() + kMargin, tw, lh + 4);
    p.fillRect(box, QColor(0, 0, 0, 150));
    p.setPen(Qt::white);
    p.drawText(box, Qt::AlignCenter, time_text_);
  }
  const ScaleBarLayout bar = ScaleBar(anchor, info_box, fm);
  if (!bar.shown) return;
  p.fillRect(Rect(bar.box), QColor(0, 0, 0, 110));
  p.fillRect(Rect(bar.bar), Qt::white);
  p.setPen(Qt::white);
  p.drawText(Rect(bar.label_box), Qt::AlignCenter, QString::fromStdString(bar.label));
}

ScaleBarLayout ImageView::ScaleBar(const QRect& anchor, const QRect& info_box,
                                   const QFontMetrics& fm) const {
  ScaleBarRequest r;
  r.anchor = ToBox(anchor);
  r.info_box = ToBox(info_box);
  r.bar_um = scale_bar_um_;
  r.nm_per_pixel = nm_per_pixel_;
  r.zoom = zoom_;
  r.text_height = fm.height();
  r.char_width = fm.horizontalAdvance(QLatin1Char('0'));
  r.margin = kMargin;
  return PlaceScaleBar(r);
}

void ImageView::PaintNotice(QPainter& p, const QRect& vp) {
  QFont big = p.font();
  big.setPointSizeF(big.pointSizeF() * 1.6);
  big.setBold(true);
  p.setFont(big);
  const QFontMetrics bm(big);
  const int tw = bm.horizontalAdvance(notice_) + 24, th = bm.height() + 12;
  const QRect box((vp.width() - tw) / 2, (vp.height() - th) / 2, tw, th);
  p.fillRect(box, QColor(0, 0, 0, 170));
  p.setPen(QColor(255, 255, 140));
  p.drawText(box, Qt::AlignCenter, notice_);
}

void ImageView::mousePressEvent(QMouseEvent* event) {
  if (!pixels_) return;
  const QPoint at = ClampToFrame(FramePixelAt(event->position().toPoint()));
  drag_start_ = at;
  drag_moved_ = false;
  if (event->button() == Qt::LeftButton) {
    drag_ = Drag::kRegion;
  } else if (event->button() == Qt::RightButton) {
    drag_ = Drag::kLine;
  }
}

void ImageView::mouseMoveEvent(QMouseEvent* event) {
  const QPoint raw = FramePixelAt(event->position().toPoint());
  const bool inside =
      pixels_ && raw.x() >= 0 && raw.y() >= 0 && raw.x() < width_ && raw.y() < height_;
  emit CursorMoved(inside ? raw.x() : -1, inside ? raw.y() : -1);
  if (drag_ == Drag::kNone) return;
  const QPoint at = ClampToFrame(raw);
  if (at != drag_start_) drag_moved_ = true;
  if (!drag_moved_) return;
  if (drag_ == Drag::kRegion) {
    emit RegionDrawn(Region{std::min(at.x(), drag_start_.x()), std::min(at.y(), drag_start_.y()),
                            std::max(at.x(), drag_start_.x()) + 1,
                            std::max(at.y(), drag_start_.y()) + 1, true});
  } else {
    emit LineDrawn(ProfileLine{drag_start_.x(), drag_start_.y(), at.x(), at.y()});
  }
}

void ImageView::mouseReleaseEvent(QMouseEvent* event) {
  if (drag_ == Drag::kNone) return;
  mouseMoveEvent(event);
  // A click without a drag clears the marker of that button.
  if (!drag_moved_) {
    if (drag_ == Drag::kRegion) {
      emit RegionDrawn(Region{});
      emit Clicked(drag_start_.x(), drag_start_.y());
    }
    if (drag_ == Drag::kLine)
      emit LineDrawn(
          ProfileLine{drag_start_.x(), drag_start_.y(), drag_start_.x(), drag_start_.y()});
  }
  drag_ = Drag::kNone;
}

bool ImageView::event(QEvent* event) {
  if (event->type() == QEvent::ShortcutOverride &&
      IsKeypadRegionKey(*static_cast<QKeyEvent*>(event))) {
    event->accept();  // delivered as a key press, not as a zoom shortcut
    return true;
  }
  return QAbstractScrollArea::event(event);
}

void ImageView::keyPressEvent(QKeyEvent* event) {
  // The window's key handler sees every key first; arrows never scroll.
  emit KeyPressed(event->key(), event->modifiers(), event->text());
  event->accept();
}

void ImageView::wheelEvent(QWheelEvent* event) {
  if (!(event->modifiers() & Qt::ControlModifier)) {
    QAbstractScrollArea::wheelEvent(event);
    return;
  }
  const int dy = event->angleDelta().y();
  if (dy != 0) emit ZoomStepRequested(dy > 0 ? 1 : -1);
  event->accept();
}

}  // namespace lumetra
