// Tab-separated text exports of the tracking window: the spots of the current
// frame, and the tidy table of every track point that the command line writes.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "spots/spot_objects.h"
#include "spots/track_store.h"

namespace lumetra {

// Absolute position (pixels, x = column) of track slot `t` at frame `f`, from
// whole pixels while linking or from the refined um once the second pass has
// reached the frame. False when the track has no point there; from the second
// pass on, tracks that are not completed and frames outside a track's range
// hold none.
bool TrackPointAt(const TrackStore& store, int32_t t, int32_t f, double nm_per_pixel_x,
                  double nm_per_pixel_y, double& x, double& y);

// SaveCurSpotsClick: "Intensity\tX-coor\tY-coor" and one row per object
// (counts/pixel, whole pixels).
std::string CurrentSpotsText(const std::vector<SpotRec>& spots);

// One row per point of every completed, good track (tracks numbered from 0 in
// the order of the XKI file): track, frame, time (s), x and y (absolute
// sub-pixel position in pixels of the frame, x = column), intensity
// (counts/pixel). A track's points are its frames first_frame ..
// first_frame + point_count; frames whose intensity, X and Y are all 0.0 hold
// no point. `nm_per_pixel_*` turn refined positions (um) back into pixels.
// Then sigma_x_nm and sigma_y_nm, the Cramér-Rao bound of the fitted centre
// (nan where no fit gave one), and q, the Q the detection used (nan: none).
std::string TidyTracksText(const TrackStore& store, double nm_per_pixel_x, double nm_per_pixel_y,
                           double q = NAN);

// The column export (SaveXYIntColumnsClick): one group of columns per
// completed, good track ("Intens(AU)\t", "Obj-X(um)\tobj-Y(um)\t" or
// "Obj-X(pix)\tobj-Y(pix)\t"), "Time(s)" first when asked. One row per frame
// from the earliest first point to the latest last point; a track's cells are
// empty where it has no point. At most 252 tracks ("Too many objects (>252)
// -> Data will be truncated") and 10000 rows ("Tracks are too long -> Data
// will be truncated").
struct ColumnExportOptions {
  bool intensity = true;           // SaveIntAsTXT / SaveIntXYasTXT
  bool positions = true;           // SaveXYasTXT / SaveIntXYasTXT
  bool pixel_coordinates = false;  // SavePixelCoordinates: absolute pixels instead of um
  bool include_time = false;       // IncludeTime
};
std::string TrackColumnsText(const TrackStore& store, const ColumnExportOptions& options,
                             double nm_per_pixel_x, double nm_per_pixel_y, Reporter& reporter);

// The name a save dialog offers for an export of the record: the record's
// path with `extension` ("xki", "txt") in place of its own
// ("/data/cell3.xkv" -> "/data/cell3.xki"). Empty without a record.
std::string ExportNameFor(std::string_view record_path, std::string_view extension);

// Writes a text export. False after `open_error` (or "File Writing Error").
bool WriteTextFile(const std::string& path, const std::string& text, std::string_view open_error,
                   Reporter& reporter);

}  // namespace lumetra
