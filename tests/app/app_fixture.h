// The one QApplication of the GUI tests (offscreen platform), with settings
// kept in a temporary folder so tests never touch the user's configuration.
#pragma once

#include <QApplication>
#include <QDir>
#include <QSettings>
#include <QStandardPaths>
#include <string>

#include "record/simulator.h"
#include "tests/support/xkv_builder.h"

namespace lumetra::testing {

inline QApplication& App() {
  static int argc = 1;
  static char name[] = "app_tests";
  static char* argv[] = {name, nullptr};
  static QApplication* app = [] {
    QStandardPaths::setTestModeEnabled(true);
    auto* a = new QApplication(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("LumetraTests"));
    QApplication::setApplicationName(QStringLiteral("Lumetra32Tests"));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                       QDir::tempPath() + QStringLiteral("/lumetra-test-settings-") +
                           QString::number(QCoreApplication::applicationPid()));
    QSettings().clear();
    return a;
  }();
  return *app;
}

// A small simulated record: 64 x 40 pixels, `frames` frames of 50 ms.
inline std::string SimulatedRecord(const std::string& name, int frames = 6) {
  SimulationParams p;
  p.width = 64;
  p.height = 40;
  p.frames = frames;
  p.spots = 3;
  p.seed = 9;
  const std::string path = TempPath(name);
  NullReporter quiet;
  SimulateRecord(p, path, quiet);
  return path;
}

}  // namespace lumetra::testing
