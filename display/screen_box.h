// A rectangle on the screen in screen pixels (left and top inclusive, width
// and height in pixels), for the layout decisions the windows take from the core.
#pragma once

#include <cstdint>

namespace lumetra {

struct ScreenBox {
  int32_t left = 0;
  int32_t top = 0;
  int32_t width = 0;
  int32_t height = 0;

  int32_t Right() const { return left + width; }   // exclusive
  int32_t Bottom() const { return top + height; }  // exclusive
  bool Empty() const { return width <= 0 || height <= 0; }
  bool Intersects(const ScreenBox& o) const {
    return !Empty() && !o.Empty() && left < o.Right() && o.left < Right() && top < o.Bottom() &&
           o.top < Bottom();
  }
  bool Contains(const ScreenBox& o) const {
    return o.left >= left && o.top >= top && o.Right() <= Right() && o.Bottom() <= Bottom();
  }
  bool operator==(const ScreenBox&) const = default;
};

}  // namespace lumetra
