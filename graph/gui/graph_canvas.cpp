#include "graph/gui/graph_canvas.h"

#include <QPainter>

namespace lumetra {

ImageCanvas::ImageCanvas(QSize size) : image_(size, QImage::Format_RGB32) {
  image_.fill(Qt::white);
}

void ImageCanvas::Present(const QImage& bitmap, const QRect& source, QPoint at) {
  QPainter p(&image_);
  p.drawImage(at, bitmap, source);
}

}  // namespace lumetra
