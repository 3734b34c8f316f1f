// The manual tracking window's side of the XKI file. It writes the current
// layout through the tracking window's writer and reads through its reader,
// then rebuilds positions in nm: objects become tracks and back.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "manual/manual_tracks.h"
#include "spots/track_store.h"

namespace lumetra {

// An object whose points stop at a gap and go on later: the XKI track ends at
// the gap.
struct XkiGap {
  int32_t object = 0;  // 0-based
  int32_t frame = 0;   // first frame after the gap that holds a point
};

// Every object in use: first frame = the first frame whose X is greater than
// 0, n = the frames from there up to the first frame whose X is 0 or less (or
// the end of the record). Start X and Y = the first position (nm) / nm per
// pixel, as floats; parameter word 0.0; intensity = the frame's value where it
// is greater than 0, else the object's number (as shown, from 1) + 50.0; X and
// Y relative to the first position in um. Gaps found are added to `gaps`.
std::vector<uint8_t> EncodeManualXki(const ManualTracks& tracks, std::vector<XkiGap>* gaps);

// SaveXKIfileClick after the file was chosen: warns about each gap, writes
// under a temporary name and renames. False after a failed write (or when no
// object holds a point: nothing is written then).
bool WriteManualXki(const std::string& path, ManualTracks& tracks, Reporter& reporter);

// ReadXKIfileClick after the file was chosen: resets the objects for a record
// of `frames` frames; refuses an older-layout file ("Old type XKI file -
// Aborting"); stops at a track beyond the record ("ERROR track timing outside
// record length - ABORT") and after 100 objects ("Too many tracks. Data
// truncated"). Start pixels are truncated; positions are rebuilt as value x
// 1000 + nm per pixel x 0.5 + nm per pixel x start pixel. The first 11 objects
// are shown. Returns the objects read.
int32_t DecodeManualXki(const std::vector<uint8_t>& bytes, ManualTracks& tracks, int32_t frames,
                        double nm_per_pixel_x, double nm_per_pixel_y, Reporter& reporter);
// The same from a file; -1 after "File open ERROR" (the objects unchanged).
int32_t ReadManualXki(const std::string& path, ManualTracks& tracks, int32_t frames,
                      double nm_per_pixel_x, double nm_per_pixel_y, Reporter& reporter);

// The completed, good tracks of the tracking window (only the selected ones
// when asked), taken as if written to an XKI file there and read here. -1
// after "no linked tracks" (the objects unchanged).
int32_t TakeTrackingWindowTracks(const TrackStore& store, bool selected_only, ManualTracks& tracks,
                                 int32_t frames, double nm_per_pixel_x, double nm_per_pixel_y,
                                 Reporter& reporter);

}  // namespace lumetra
