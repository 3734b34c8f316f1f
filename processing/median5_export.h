// "Median of 5": one frame of every five, each the per-pixel median of the
// temporal filter's five-frame buffer.
#pragma once

#include <string>

#include "processing/export_stream.h"
#include "processing/temporal_median.h"

namespace lumetra {

// Streams the record through the five slots of `filter`'s buffer (allocated
// here if absent). Frame f (1-based) goes into slot (f - 1) mod 5; after each
// frame that fills slot 3 the median of all five slots is written. So the
// first frame is written after 4 frames, then one for every 5, and slot 4
// still holds the fifth frame of the previous group (for the first write, the
// buffer's earlier content). This staggered grouping is the program's known
// behaviour. The filter's own chain mode is switched off while the record
// streams and restored afterwards.
ExportResult ExportMedian5(ExportJob& job, const std::string& out_path, TemporalMedian& filter);

}  // namespace lumetra
