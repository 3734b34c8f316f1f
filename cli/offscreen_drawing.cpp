#include "cli/offscreen_drawing.h"

#include <QGuiApplication>
#include <cstdlib>
#include <iostream>

namespace lumetra::cli {
namespace {

// Qt's own chatter ("XDG_RUNTIME_DIR not set") is not for the user of a
// command line tool; real failures come back as results.
void QuietQtMessages(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtFatalMsg || type == QtCriticalMsg) std::cerr << text.toStdString() << '\n';
}

}  // namespace

std::unique_ptr<QGuiApplication> StartDrawing() {
  if (QGuiApplication::instance() == nullptr && std::getenv("QT_QPA_PLATFORM") == nullptr &&
      std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr)
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
  static int argc = 1;
  static char name[] = "lumetra-cli";
  static char* argv[] = {name, nullptr};
  qInstallMessageHandler(QuietQtMessages);
  if (QGuiApplication::instance() != nullptr) return nullptr;
  return std::make_unique<QGuiApplication>(argc, argv);
}

}  // namespace lumetra::cli
