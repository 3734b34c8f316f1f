#include "display/gui/tool_window.h"

#include <QApplication>
#include <QScreen>
#include <QWidget>

#include "display/window_placement.h"

namespace lumetra {
namespace {

ScreenBox Box(const QRect& r) {
  return ScreenBox{r.x(), r.y(), r.width(), r.height()};
}

}  // namespace

void PlaceToolWindow(QWidget* tool, const QWidget* main) {
  if (!tool || !main) return;
  // A window never sized by its owner takes the size its layout asks for.
  if (!tool->testAttribute(Qt::WA_Resized)) tool->adjustSize();
  QScreen* screen = main->screen() ? main->screen() : QApplication::primaryScreen();
  if (!screen) return;
  // A window not shown yet has no frame: the main window's tells its size.
  const QSize extra = main->frameGeometry().size() - main->size();
  const ScreenBox placed =
      PlaceToolWindow(Box(main->frameGeometry()), tool->width() + extra.width(),
                      tool->height() + extra.height(), Box(screen->availableGeometry()));
  tool->resize(placed.width - extra.width(), placed.height - extra.height());
  tool->move(placed.left, placed.top);
}

}  // namespace lumetra
