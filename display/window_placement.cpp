#include "display/window_placement.h"

#include <algorithm>

namespace lumetra {
namespace {

constexpr int32_t kGap = 8;  // between the main window and the tool window

}  // namespace

ScreenBox PlaceToolWindow(const ScreenBox& main_frame, int32_t width, int32_t height,
                          const ScreenBox& screen) {
  ScreenBox box{0, main_frame.top, std::min(width, screen.width), std::min(height, screen.height)};
  if (main_frame.Right() + kGap + box.width <= screen.Right())
    box.left = main_frame.Right() + kGap;
  else if (main_frame.left - kGap - box.width >= screen.left)
    box.left = main_frame.left - kGap - box.width;
  else if (screen.Right() - main_frame.Right() >= main_frame.left - screen.left)
    box.left = screen.Right() - box.width;  // on the wider side, covering as little as it can
  else
    box.left = screen.left;
  box.left = std::clamp(box.left, screen.left, screen.Right() - box.width);
  box.top = std::clamp(box.top, screen.top, screen.Bottom() - box.height);
  return box;
}

}  // namespace lumetra
