// "Sequence of BMP files" and "Seqence of BMPs on Page": every frame painted
// through the display palette as the screen shows it, cut to the user's
// rectangle: one bitmap per frame, or all frames as tiles of one bitmap.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "processing/bmp_writer.h"
#include "processing/export_stream.h"

namespace lumetra {

// Tiles per row of a page, and the margin around and between tiles (pixels).
inline constexpr int32_t kPageColumns = 8;
inline constexpr int32_t kPageMargin = 4;
// Largest page side, pixels.
inline constexpr int32_t kMaxPageSide = 2500;
inline constexpr uint32_t kPageBackground = 0xFFFFFF;

// The screen rectangle that is saved: the rectangle's screen position
// (rectangle x zoom - scroll) when it is in use, else the whole control.
ScreenRect SavedScreenRect(const Region& roi, const ScreenView& view);

// Page size for `frames` tiles of w x h: ((w + 4) x 8 + 4) by
// ((frames / 8 + 1) x (h + 4) + 4).
void PageSize(int32_t w, int32_t h, int32_t frames, int32_t& page_width, int32_t& page_height);

// One bitmap per frame: NumberedName(chosen, frame number from 1, ".bmp").
// Refuses a rectangle that is wholly off the screen ("Error - nonvisible ROI")
// or partly ("Error - part of ROI nonvisible").
ExportResult ExportBmpSequence(ExportJob& job, const std::string& chosen_path,
                               const std::vector<uint32_t>& palette, const ScreenView& view);

// All frames as tiles of one bitmap, row-major in frame order. Refuses a
// rectangle that leaves the screen and a page side above 2500 pixels ("Too
// many frames or too big ROI size").
ExportResult ExportBmpPage(ExportJob& job, const std::string& out_path,
                           const std::vector<uint32_t>& palette, const ScreenView& view);

}  // namespace lumetra
