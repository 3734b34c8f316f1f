// Where a graph's bitmap ends up: the surface a window shows, or a plain image
// for the command line and tests. Repaint copies the drawn part of the bitmap
// onto it at the graph's stored position.
#pragma once

#include <QImage>
#include <QPoint>
#include <QRect>
#include <QSize>

namespace lumetra {

class GraphCanvas {
 public:
  virtual ~GraphCanvas() = default;
  // Size of the surface, pixels.
  virtual QSize CanvasSize() const = 0;
  // Copies `source` of the bitmap so that its top-left lands at `at`.
  virtual void Present(const QImage& bitmap, const QRect& source, QPoint at) = 0;
};

// A canvas that is an image of fixed size, filled white until drawn on.
class ImageCanvas final : public GraphCanvas {
 public:
  explicit ImageCanvas(QSize size);
  QSize CanvasSize() const override { return image_.size(); }
  void Present(const QImage& bitmap, const QRect& source, QPoint at) override;
  const QImage& Image() const { return image_; }

 private:
  QImage image_;
};

}  // namespace lumetra
