#include "graph/gui/graph_output.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>

#include "graph/graph_messages.h"
#include "graph/gui/xk_graph.h"

namespace lumetra {
namespace {

class BoxReporter final : public Reporter {
 public:
  explicit BoxReporter(QWidget* parent) : parent_(parent) {}
  void Report(MessageKind, std::string_view text) override {
    QMessageBox::warning(parent_, QString::fromUtf8(kGraphSaveError.data(), kGraphSaveError.size()),
                         QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
  }

 private:
  QWidget* parent_;
};

}  // namespace

bool SaveGraphAs(TXKgraph& graph, QWidget* parent) {
  const QString png = QObject::tr("PNG image (*.png)"), bmp = QObject::tr("Bitmap (*.bmp)");
  QString filter = png;
  QString name = QFileDialog::getSaveFileName(
      parent, QString::fromUtf8(kSaveGraphTitle.data(), kSaveGraphTitle.size()), QString(),
      png + ";;" + bmp, &filter);
  if (name.isEmpty()) return false;
  if (QFileInfo(name).suffix().isEmpty()) name += filter == bmp ? ".bmp" : ".png";
  BoxReporter boxes(parent);
  return graph.SaveToFile(name.toStdString(), boxes);
}

bool PrintGraph(TXKgraph& graph, QWidget* parent) {
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageOrientation(QPageLayout::Landscape);
  QPrintDialog dialog(&printer, parent);
  dialog.setWindowTitle(QString::fromUtf8(kPrintGraphTitle.data(), kPrintGraphTitle.size()));
  if (dialog.exec() != QDialog::Accepted) return false;
  const QImage picture = graph.Picture();
  if (picture.isNull()) return false;
  QPainter p(&printer);
  const QRect page = p.viewport();
  QSize size = picture.size();
  size.scale(page.size(), Qt::KeepAspectRatio);
  p.setViewport(page.x(), page.y(), size.width(), size.height());
  p.setWindow(picture.rect());
  p.drawImage(0, 0, picture);
  return true;
}

}  // namespace lumetra
