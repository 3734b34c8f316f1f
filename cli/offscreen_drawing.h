// Drawing graphs from the command line: the graph's fonts need a
// QGuiApplication, which runs on the offscreen platform when there is no
// display, so the commands that draw work from a plain shell.
#pragma once

#include <memory>

class QGuiApplication;

namespace lumetra::cli {

// The application to draw with (null when one runs already); keep it alive
// while drawing. Qt's chatter about the environment is silenced.
std::unique_ptr<QGuiApplication> StartDrawing();

}  // namespace lumetra::cli
