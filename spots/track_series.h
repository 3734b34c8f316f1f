// The tracks as the statistics see them: per track a dense run of frames with
// the position in um (NaN in frames without a point), and the timing of the
// record. Built from the tracking window's store or from a tidy track table,
// and turned back into a store for the XKI file of drift-corrected tracks.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "common/line_reader.h"
#include "common/report.h"
#include "spots/track_store.h"

namespace lumetra {

struct TrackSeries {
  int32_t id = 0;           // the track's number (0-based, as in the tidy table)
  int32_t first_frame = 0;  // frame of x[0]
  // Frames first_frame .. first_frame + size - 1; NaN where the track has no point.
  std::vector<double> x_um, y_um;
  std::vector<double> intensity;  // counts/pixel; NaN where no point

  int32_t Frames() const { return static_cast<int32_t>(x_um.size()); }
  bool Has(size_t i) const { return !std::isnan(x_um[i]) && !std::isnan(y_um[i]); }
  int32_t Points() const;
};

// What the numbers mean in time and space.
struct TrackTiming {
  double frame_s = 0;       // time between frames
  double exposure_s = 0;    // camera exposure of a frame (0: instantaneous positions)
  double nm_per_pixel = 0;  // for positions given in pixels
};

struct TrackSet {
  std::vector<TrackSeries> tracks;
  TrackTiming timing;
  int32_t frames = 0;  // 1 + the last frame any track reaches
};

// The least points a track needs for the statistics: two displacements and the
// covariance of one consecutive pair.
inline constexpr int32_t kMinStatPoints = 3;

// Every completed, good track of the store, numbered as in the tidy table.
TrackSet TrackSetFromStore(const TrackStore& store, double nm_per_pixel_x, double nm_per_pixel_y);

// One row of a tidy track table (pixels).
struct TidyPoint {
  int32_t track = 0, frame = 0;
  double time_s = NAN;
  double x_px = 0, y_px = 0;
  double intensity = NAN;
};
// Reads a tab-separated table with a header naming at least the columns
// track, frame, x_px and y_px (time_s and intensity are used when present).
// False with `error` naming the line and the problem. NaN positions are kept
// (the statistics treat them as gaps).
bool ParseTidyTracks(LineSource& lines, std::vector<TidyPoint>& out, std::string& error);

// Groups the rows into tracks (positions turned into um with `nm_per_pixel`).
// Two rows of one track in one frame keep the later. A track spanning more than
// kMaxTrackFrames frames is refused: false with `error`.
bool TrackSetFromTidy(const std::vector<TidyPoint>& points, double nm_per_pixel, TrackSet& set,
                      std::string& error);

// The frame interval the table's times show: the median of time difference
// over frame difference between consecutive rows of a track; 0 when the table
// has no usable times.
double FrameIntervalFromTidy(const std::vector<TidyPoint>& points);

// What PrepareForStatistics left out, for the report.
struct PrepareCounts {
  int32_t short_tracks = 0;  // fewer than kMinStatPoints points
  int64_t nan_points = 0;    // NaN or infinite positions, made gaps
  int32_t gapped_tracks = 0; // tracks with missing frames (kept; their gaps are skipped)
};
// Checks the timing (a frame interval above 0 and finite; "Frame interval must
// be above 0 s" otherwise: false), turns non-finite positions into gaps, drops
// tracks with fewer than kMinStatPoints points and reports what it left out.
bool PrepareForStatistics(TrackSet& set, Reporter& reporter, PrepareCounts* counts = nullptr);

// A store holding the tracks (for the XKI file): each track in its own slot,
// its current position the first point's whole pixel, X and Y in um relative
// to it, completed and good. False with `error` when the tracks exceed the
// store (kMaxTracks tracks, kMaxTrackFrames frames).
bool StoreFromTrackSet(const TrackSet& set, TrackStore& store, std::string& error);

// The tidy table of the tracks ("track\tframe\ttime_s\tx_px\ty_px\tintensity").
std::string TidyTextFromTrackSet(const TrackSet& set);

}  // namespace lumetra
