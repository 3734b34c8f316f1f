// Where a tool window opens: beside the main window where the screen has room
// (right, then left), else against the screen edge of the wider side, covering
// as little of the main window as it can; always wholly
// on the screen the main window is on, made smaller when it is larger than
// that screen. All rectangles are frames (decoration included), screen pixels.
#pragma once

#include <cstdint>

#include "display/screen_box.h"

namespace lumetra {

ScreenBox PlaceToolWindow(const ScreenBox& main_frame, int32_t width, int32_t height,
                          const ScreenBox& screen);

}  // namespace lumetra
