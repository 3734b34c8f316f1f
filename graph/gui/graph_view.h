// A window area that shows a TXKgraph: it is the graph's canvas, repaints it
// when resized, follows the mouse with the cursor readout, and offers the
// settings dialog, saving and printing from its context menu.
#pragma once

#include <QWidget>

#include "graph/gui/graph_canvas.h"

namespace lumetra {

class TXKgraph;

class GraphView : public QWidget, public GraphCanvas {
  Q_OBJECT

 public:
  explicit GraphView(QWidget* parent = nullptr);
  // Shows `graph` (not owned; nullptr shows nothing) and becomes its canvas.
  void SetGraph(TXKgraph* graph);
  TXKgraph* Graph() const { return graph_; }

  QSize CanvasSize() const override { return size(); }
  void Present(const QImage& bitmap, const QRect& source, QPoint at) override;

  // Context menu commands.
  void OpenSettings();
  void SaveAs();
  void Print();

 signals:
  // After the readout changed under the mouse.
  void ReadoutChanged();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  TXKgraph* graph_ = nullptr;
  const QImage* bitmap_ = nullptr;  // the graph's, shown from `source_`
  QRect source_;
  QPoint at_;
};

}  // namespace lumetra
