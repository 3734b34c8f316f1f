// Placing the tool windows of the program on the screen.
#pragma once

class QWidget;

namespace lumetra {

// Moves (and if need be shrinks) the tool window `tool` so that it opens
// beside `main` and wholly on the screen `main` is on.
void PlaceToolWindow(QWidget* tool, const QWidget* main);

}  // namespace lumetra
