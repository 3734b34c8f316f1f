// A ghost: one frame kept to compare the frames shown against (the frame
// shown when it was kept, or the first frame of another record). It is drawn
// over the image in cyan, transparent up to its median and more opaque the
// brighter it is, so its spots and edges show where they were.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/report.h"

namespace lumetra {

struct GhostFrame {
  int32_t width = 0, height = 0;
  std::vector<uint16_t> pixels;  // counts, row-major
  std::string source;            // what it was taken from, for the status line
};

// The first frame of a record file (XKV or TIFF), read as the record store reads it.
std::optional<GhostFrame> ReadGhostFile(const std::string& path, Reporter& reporter);

// The overlay, one 0xAARRGGBB value per pixel (not premultiplied): cyan with
// alpha 0 at and below the median, rising linearly to 200 at the largest count.
std::vector<uint32_t> GhostOverlay(const GhostFrame& ghost);

}  // namespace lumetra
