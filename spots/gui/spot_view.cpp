#include "spots/gui/spot_view.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

#include "spots/spots_messages.h"
#include "spots/track_export.h"

namespace lumetra {

SpotView::SpotView(const RecordStore& record, const TrackStore& tracks, QWidget* parent)
    : QWidget(parent), record_(record), tracks_(tracks) {
  setMinimumSize(128, 128);
}

void SpotView::SetMode(SpotViewMode mode) {
  mode_ = mode;
  update();
}

void SpotView::Refresh() {
  const int32_t w = record_.Width(), h = record_.Height();
  if (!record_.RecordLoaded() || w <= 0 || h <= 0) {
    frame_ = QImage();
    frame_number_ = -1;
    update();
    return;
  }
  const uint16_t* px = record_.FrameBuffer();
  const size_t n = static_cast<size_t>(w) * h;
  const auto [lo, hi] = std::minmax_element(px, px + n);
  const int32_t low = *lo, span = std::max(1, *hi - *lo);
  frame_number_ = record_.CurrentFrame();
  if (frame_.width() != w || frame_.height() != h) frame_ = QImage(w, h, QImage::Format_Grayscale8);
  for (int32_t y = 0; y < h; ++y) {
    uchar* row = frame_.scanLine(y);
    const uint16_t* src = px + static_cast<size_t>(y) * w;
    for (int32_t x = 0; x < w; ++x) row[x] = static_cast<uchar>((src[x] - low) * 255 / span);
  }
  update();
}

QRectF SpotView::ImageRect() const {
  if (frame_.isNull()) return {};
  const double scale = std::min(width() / static_cast<double>(frame_.width()),
                                height() / static_cast<double>(frame_.height()));
  const double w = frame_.width() * scale, h = frame_.height() * scale;
  return {(width() - w) / 2, (height() - h) / 2, w, h};
}

void SpotView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), palette().window());
  if (frame_.isNull()) return;
  const QRectF area = ImageRect();
  p.translate(area.topLeft());
  p.scale(area.width() / frame_.width(), area.height() / frame_.height());
  p.drawImage(0, 0, frame_);
  // Pixel centres lie at whole numbers + 0.5 in paint coordinates.
  auto at = [](double x, double y) { return QPointF(x + 0.5, y + 0.5); };
  if (mode_ == SpotViewMode::kCurrentSpots) {
    // Spots of another frame would sit on the wrong image.
    if (!spots_ || spots_frame_ != frame_number_) return;
    p.setPen(QPen(Qt::green, 0));
    for (const SpotRec& s : *spots_) p.drawEllipse(at(s.X, s.Y), 3.0, 3.0);
    // Which frame the spots come from, in the image's top-left corner.
    p.resetTransform();
    const QString note =
        QString::fromUtf8(kSpotsOfFrame.data(), static_cast<qsizetype>(kSpotsOfFrame.size())) +
        QString::number(spots_frame_);
    const QSizeF size = QSizeF(p.fontMetrics().size(0, note)) + QSizeF(8, 4);
    const QRectF box(area.topLeft() + QPointF(4, 4), size);
    p.fillRect(box, QColor(0, 0, 0, 160));
    p.setPen(Qt::white);
    p.drawText(box, Qt::AlignCenter, note);
    return;
  }
  const PRM_INFO& prm = record_.Prm();
  const int32_t now = record_.CurrentFrame();
  for (int32_t t = 0; t < tracks_.track_count; ++t) {
    const TrackRec& r = tracks_.Slot(t);
    if (!tracks_.HasSeries(t) || (!r.completed && r.X == 0)) continue;
    const int32_t end = mode_ == SpotViewMode::kTracksInTime ? std::min(now, tracks_.Frames() - 1)
                                                             : tracks_.Frames() - 1;
    QPainterPath path;
    bool open = false;
    for (int32_t f = 0; f <= end; ++f) {
      double x, y;
      if (!TrackPointAt(tracks_, t, f, prm.ScaleX, prm.ScaleY, x, y)) {
        open = false;
        continue;
      }
      if (open)
        path.lineTo(at(x, y));
      else
        path.moveTo(at(x, y));
      open = true;
    }
    p.setPen(QPen(r.completed ? QColor(255, 200, 0) : QColor(0, 200, 255), 0));
    p.drawPath(path);
  }
}

}  // namespace lumetra
