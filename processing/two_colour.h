// "Split Two-Colour Record": a camera frame that holds two colour channels side
// by side (left | right) or one above the other (top / bottom) becomes two
// records, one per channel, streamed from the record in one pass. Each channel
// is half the frame, rounded down: of an odd width (or height) the middle
// column (row) belongs to neither channel, so both channels have the same size
// and the second starts where the first would end if the middle were not there.
// Channel 1 is the left (top) half. Each output header's X0 (Y0) says where
// the channel lies on the sensor.
#pragma once

#include <cstdint>
#include <string>

#include "common/region.h"
#include "processing/export_stream.h"

namespace lumetra {

enum class SplitLayout { kLeftRight, kTopBottom };

struct SplitRects {
  Region first, second;  // right and bottom exclusive
  bool Valid() const { return first.right > first.left && first.bottom > first.top; }
};

// The two channels of a `width` x `height` frame.
SplitRects SplitFrame(int32_t width, int32_t height, SplitLayout layout);

// The default names beside the chosen one: "cell3-split.xkv" ->
// "cell3-split-ch1.xkv" and "cell3-split-ch2.xkv".
std::string ChannelName(const std::string& chosen, int channel);

struct SplitResult {
  ExportResult export_result;
  std::string first_path, second_path;
};

// Streams the record once and writes both channels (under temporary names,
// renamed when complete: a stopped or failed split leaves neither). A frame
// narrower (lower) than 2 pixels cannot be split: "Frame too small to split".
// The writer's region option is not applied: each channel is a whole half.
SplitResult SplitTwoColourRecord(ExportJob& job, const std::string& first_path,
                                 const std::string& second_path, SplitLayout layout);

}  // namespace lumetra
