// The region read-out of the status bar: the region's position and size and
// its mean counts per pixel, absolute and relative to the whole frame.
#pragma once

#include <cstdint>
#include <string>

#include "common/region.h"

namespace lumetra {

struct RegionStats {
  double mean = 0;      // counts per pixel over the part of the region inside the frame
  double relative = 0;  // that mean over the mean of the whole frame (0 for a black frame)
};

// The region may reach past the frame (its keys are bounded on the screen,
// not by the frame); only the pixels inside the frame are averaged.
RegionStats MeasureRegion(const uint16_t* frame, int32_t width, int32_t height,
                          const Region& region);

// "Left=10, Width=20, Top=5, Height=20 pixels, 123.4 Cnt/Pix (1.234 REL Cnt/Pix)";
// the mean is truncated to one decimal and the relative mean to three.
std::string RegionReadout(const Region& region, const RegionStats& stats);

}  // namespace lumetra
