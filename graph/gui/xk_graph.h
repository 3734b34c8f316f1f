// TXKgraph: the plotting class every analysis window draws with. It holds the
// graph's settings (GraphModel), renders them with the caller's matrix into a
// 3000 x 2000 off-screen bitmap and copies the drawn part onto its canvas.
#pragma once

#include <QFont>
#include <QImage>
#include <QPoint>
#include <string>
#include <vector>

#include "common/report.h"
#include "graph/curve_geometry.h"
#include "graph/graph_layout.h"
#include "graph/graph_model.h"

namespace lumetra {

class GraphCanvas;

class TXKgraph : public GraphModel {
 public:
  TXKgraph();
  TXKgraph(const TXKgraph&) = delete;
  TXKgraph& operator=(const TXKgraph&) = delete;

  // The canvas is not owned; nullptr detaches (Repaint then does nothing).
  // The graph covers the canvas from (left, top) to its right and bottom edges,
  // at most 3000 x 2000 pixels.
  void SetTarget(GraphCanvas* canvas, int left = 0, int top = 0);
  GraphCanvas* Target() const { return canvas_; }
  QPoint Position() const { return position_; }

  // Validates, and when everything was valid draws the graph into the bitmap;
  // then copies the bitmap onto the canvas. The call after a repair draws
  // nothing new.
  void Repaint();

  // Cursor readout for the mouse at (x, y) in canvas pixels; uses the layout
  // of the last Repaint. True when x lies within the plot.
  bool HitTest(int x, int y);

  const GraphLayout& Layout() const { return layout_; }
  const QImage& Bitmap() const { return bitmap_; }
  // The drawn part of the bitmap, as large as the graph on its canvas.
  QImage Picture() const;
  // Saves Picture() as PNG or BMP, chosen by the file name's ending. Failures
  // go to the reporter as a modal message.
  bool SaveToFile(const std::string& path, Reporter& reporter) const;

  // The graph's font at its current size and style.
  QFont GraphFont() const;

  // Threads that draw the curves (0: every core). The picture is the same for any number.
  void SetWorkers(int workers) { workers_ = workers; }

 private:
  void RunLayout(int width, int height);
  void Draw();

  QImage bitmap_;
  GraphCanvas* canvas_ = nullptr;
  QPoint position_;
  GraphLayout layout_;
  std::vector<CurveGeometry> geometry_;  // per curve, reused between repaints
  int workers_ = 0;                      // threads drawing the curves, 0: every core
};

}  // namespace lumetra
