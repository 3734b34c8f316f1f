#include "graph/gui/xk_graph.h"

#include <QFontMetrics>
#include <QImageWriter>
#include <QPainter>
#include <algorithm>
#include <cctype>

#include "graph/curve_raster.h"
#include "graph/graph_messages.h"
#include "graph/gui/graph_canvas.h"
#include "graph/gui/graph_painter.h"
#include "graph/hit_test.h"

namespace lumetra {
namespace {

class FontMeasure final : public TextMeasure {
 public:
  explicit FontMeasure(const QFont& font, QPaintDevice* device) : metrics_(font, device) {}
  int TextWidth(std::string_view text) const override {
    return metrics_.horizontalAdvance(QString::fromUtf8(text.data(), text.size()));
  }
  int TextHeight(std::string_view text) const override {
    return metrics_.boundingRect(QString::fromUtf8(text.data(), text.size())).height();
  }

 private:
  QFontMetrics metrics_;
};

bool EndsWith(const std::string& s, std::string_view tail) {
  if (s.size() < tail.size()) return false;
  return std::equal(tail.rbegin(), tail.rend(), s.rbegin(), [](char a, char b) {
    return a == std::tolower(static_cast<unsigned char>(b));
  });
}

}  // namespace

// 24-bit colour held in 32-bit pixels (0xFFRRGGBB), the layout both the curve
// rasteriser and Qt's painter write fastest; saved files carry no alpha.
TXKgraph::TXKgraph() : bitmap_(kBitmapWidth, kBitmapHeight, QImage::Format_RGB32) {
  bitmap_.fill(ToQColor(PanelColor));
}

void TXKgraph::SetTarget(GraphCanvas* canvas, int left, int top) {
  canvas_ = canvas;
  position_ = QPoint(left, top);
}

QFont TXKgraph::GraphFont() const {
  QFont font(QString::fromStdString(FontName));
  font.setStyleHint(QFont::SansSerif);
  font.setPointSize(std::max(FontSize, 1));
  font.setBold((FontStyle & kFontBold) != 0);
  font.setItalic((FontStyle & kFontItalic) != 0);
  return font;
}

void TXKgraph::RunLayout(int width, int height) {
  RaiseFontSize();
  const FontMeasure measure(GraphFont(), &bitmap_);
  layout_ = ComputeLayout(*this, width, height, measure);
}

void TXKgraph::Draw() {
  {
    QPainter p(&bitmap_);
    DrawBackground(p, *this, layout_);
    if (layout_.HasPlot()) DrawTickLines(p, *this, layout_);
  }
  // No painter is active on the bitmap while the curves are written into it.
  RasterCurves(reinterpret_cast<uint32_t*>(bitmap_.bits()),
               static_cast<int32_t>(bitmap_.bytesPerLine() / 4), *this, layout_, geometry_,
               workers_);
  QPainter p(&bitmap_);
  p.setFont(GraphFont());
  DrawFrameAndLabels(p, *this, layout_);
  if (layout_.HasPlot()) {
    DrawNotesAndLegend(p, *this, layout_);
    if (Readout.Enabled) DrawReadout(p, *this, layout_);
  }
}

void TXKgraph::Repaint() {
  if (canvas_ == nullptr) return;
  const QSize canvas = canvas_->CanvasSize();
  const int width = std::clamp(canvas.width() - position_.x(), 0, kBitmapWidth);
  const int height = std::clamp(canvas.height() - position_.y(), 0, kBitmapHeight);
  if (Validate()) {
    RunLayout(width, height);
    Draw();
  }
  canvas_->Present(bitmap_, QRect(0, 0, width, height), position_);
}

bool TXKgraph::HitTest(int x, int y) {
  return GraphHitTest(*this, layout_, x - position_.x(), y - position_.y());
}

QImage TXKgraph::Picture() const {
  return bitmap_.copy(0, 0, layout_.Width, layout_.Height);
}

bool TXKgraph::SaveToFile(const std::string& path, Reporter& reporter) const {
  const char* format = EndsWith(path, ".png") ? "PNG" : EndsWith(path, ".bmp") ? "BMP" : nullptr;
  if (format == nullptr) {
    reporter.Modal(kGraphFormatError);
    return false;
  }
  QImageWriter writer(QString::fromStdString(path), format);
  if (layout_.Width <= 0 || layout_.Height <= 0 || !writer.write(Picture())) {
    reporter.Modal(std::string(kGraphSaveError) + " (" + path + ")");
    return false;
  }
  return true;
}

}  // namespace lumetra
