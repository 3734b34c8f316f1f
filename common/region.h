// The user's rectangle in frame pixels. Left and top are inclusive, right and
// bottom exclusive; `active` says whether it is in use.
#pragma once

#include <cstdint>

namespace lumetra {

struct Region {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  bool active = false;

  int32_t Width() const { return right - left; }
  int32_t Height() const { return bottom - top; }
  // True when the rectangle is non-empty and lies inside a frame of this size.
  bool FitsIn(int32_t width, int32_t height) const {
    return left >= 0 && top >= 0 && right > left && bottom > top && right <= width &&
           bottom <= height;
  }
};

}  // namespace lumetra
