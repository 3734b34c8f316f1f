#include "record/gui/record_busy.h"

#include <QApplication>
#include <QKeyEvent>

namespace lumetra {

RecordBusy::RecordBusy(std::atomic<bool>& stop) : stop_(stop) {
  stop_ = false;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  qApp->installEventFilter(this);
  since_tick_.start();
}

RecordBusy::~RecordBusy() {
  qApp->removeEventFilter(this);
  QApplication::restoreOverrideCursor();
}

void RecordBusy::Tick() {
  if (since_tick_.elapsed() < kTickMs) return;
  QCoreApplication::processEvents();
  since_tick_.restart();
}

bool RecordBusy::eventFilter(QObject* watched, QEvent* event) {
  // A message box raised during the run must be answerable; it blocks the
  // other windows itself.
  if (QApplication::activeModalWidget()) return QObject::eventFilter(watched, event);
  switch (event->type()) {
    case QEvent::KeyPress:
      if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) stop_ = true;
      return true;
    case QEvent::Close:
      // Closing a window stops the run; the window stays until it has ended.
      stop_ = true;
      event->ignore();
      return true;
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
    case QEvent::Shortcut:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::ContextMenu:
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Drop:
    case QEvent::TouchBegin:
    case QEvent::TabletPress:
      return true;
    default:
      return QObject::eventFilter(watched, event);
  }
}

}  // namespace lumetra
