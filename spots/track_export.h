// Tab-separated text exports of the tracking window: the spots of the current
// frame, and the tidy table of every track point that the command line writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "spots/spot_objects.h"
#include "spots/track_store.h"

namespace lumetra {

// SaveCurSpotsClick: "Intensity\tX-coor\tY-coor" and one row per object
// (counts/pixel, whole pixels).
std::string CurrentSpotsText(const std::vector<SpotRec>& spots);

// One row per point of every completed, good track (tracks numbered from 0 in
// the order of the XKI file): track, frame, time (s), x and y (absolute
// sub-pixel position in pixels of the frame, x = column), intensity
// (counts/pixel). A track's points are its frames first_frame ..
// first_frame + point_count; frames whose intensity, X and Y are all 0.0 hold
// no point. `nm_per_pixel_*` turn refined positions (um) back into pixels.
std::string TidyTracksText(const TrackStore& store, double nm_per_pixel_x, double nm_per_pixel_y);

// Writes a text export. False after `open_error` (or "File Writing Error").
bool WriteTextFile(const std::string& path, const std::string& text, std::string_view open_error,
                   Reporter& reporter);

}  // namespace lumetra
