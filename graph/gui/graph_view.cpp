#include "graph/gui/graph_view.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>

#include "graph/gui/graph_output.h"
#include "graph/gui/xk_graph.h"
#include "graph/gui/xk_graph_dlg_form.h"

namespace lumetra {

GraphView::GraphView(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
  setAttribute(Qt::WA_OpaquePaintEvent);
  setMinimumSize(200, 150);
}

void GraphView::SetGraph(TXKgraph* graph) {
  if (graph_ != nullptr && graph_->Target() == this) graph_->SetTarget(nullptr);
  graph_ = graph;
  bitmap_ = nullptr;
  if (graph_ != nullptr) {
    graph_->SetTarget(this);
    graph_->Repaint();
  }
  update();
}

void GraphView::Present(const QImage& bitmap, const QRect& source, QPoint at) {
  bitmap_ = &bitmap;
  source_ = source;
  at_ = at;
  update();
}

void GraphView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), palette().window());
  if (graph_ != nullptr && bitmap_ != nullptr) p.drawImage(at_, *bitmap_, source_);
}

void GraphView::resizeEvent(QResizeEvent*) {
  if (graph_ != nullptr) graph_->Repaint();
}

void GraphView::mouseMoveEvent(QMouseEvent* event) {
  if (graph_ == nullptr || !graph_->Readout.Enabled) return;
  const QPoint pos = event->position().toPoint();
  graph_->HitTest(pos.x(), pos.y());
  graph_->Repaint();
  emit ReadoutChanged();
}

void GraphView::mouseDoubleClickEvent(QMouseEvent*) {
  OpenSettings();
}

void GraphView::contextMenuEvent(QContextMenuEvent* event) {
  if (graph_ == nullptr) return;
  QMenu menu(this);
  menu.addAction(tr("Graph Settings..."), this, &GraphView::OpenSettings);
  menu.addAction(tr("Save Graph As..."), this, &GraphView::SaveAs);
  menu.addAction(tr("Print Graph..."), this, &GraphView::Print);
  menu.exec(event->globalPos());
}

void GraphView::OpenSettings() {
  if (graph_ == nullptr) return;
  TXKgraphDlgForm dialog(*graph_, nullptr, this);
  dialog.exec();
}

void GraphView::SaveAs() {
  if (graph_ != nullptr) SaveGraphAs(*graph_, this);
}

void GraphView::Print() {
  if (graph_ != nullptr) PrintGraph(*graph_, this);
}

}  // namespace lumetra
