// Where the scale bar goes over the image. The header info lines sit in the
// bottom-left corner of the visible image and the bar in the bottom-right
// one; the bar's box never covers the info lines. A bar too long for the room
// beside them moves above them, and one too long for the whole image gives
// way to the longest 1-2-5 length that fits, so a bar is shown at every zoom.
#pragma once

#include <cstdint>
#include <string>

#include "display/screen_box.h"

namespace lumetra {

struct ScaleBarRequest {
  ScreenBox anchor;    // the visible image (or the whole area), screen pixels
  ScreenBox info_box;  // the info lines' box; empty when they are hidden
  double bar_um = 10;  // the scale bar size setting, um
  double nm_per_pixel = 100;
  int32_t zoom = 1;  // screen pixels per frame pixel
  int32_t text_height = 12;
  int32_t char_width = 7;  // the advance of the fixed-pitch overlay font
  int32_t margin = 6;      // between the boxes and the edges
};

struct ScaleBarLayout {
  bool shown = false;
  double um = 0;        // the length drawn, um (the setting, or the length that fits)
  std::string label;    // "10 um"
  ScreenBox box;        // the dark box behind bar and label
  ScreenBox bar;        // the white bar, 3 pixels high
  ScreenBox label_box;  // the label, centred above the bar
};

// Nothing is shown for a size of 0 or a bar shorter than 2 screen pixels.
ScaleBarLayout PlaceScaleBar(const ScaleBarRequest& request);

}  // namespace lumetra
