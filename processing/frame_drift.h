// Drift of the whole field without tracks: the record is summed in blocks of
// frames, and every block is compared with the first by cross-correlation.
// The shift of the best match, refined to a fraction of a pixel by a parabola
// through the peak and its neighbours on each axis, is the block's drift; a
// frame takes the drift interpolated linearly between block centres (before
// the first and after the last centre along the nearest segment), measured
// from frame 0.
//
// Each block is searched within `max_step` pixels of the block before it, so
// the drift may grow without bound while it moves slowly. The scores of the
// shifts are independent and run on all cores; they are the same numbers for
// any number of threads.
//
// The drift table and the shifts follow the tracks' drift: the field at frame
// f lies (dx, dy) from where it was at the start, and the drift-corrected
// record reads frame f at (x + dx, y + dy).
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/report.h"
#include "record/record_store.h"

namespace lumetra {

struct FrameDriftOptions {
  int32_t block = 10;    // frames summed per block
  int32_t max_step = 3;  // pixels a block may move from the block before, per axis
  int workers = 0;       // threads for the shift scores (0: every core)
};

struct FrameDrift {
  std::vector<double> dx_px, dy_px;  // per frame of the record
  std::vector<double> block_dx, block_dy;  // per block
  std::vector<double> block_peak;          // normalised correlation of each block with the first
};

// Zero-mean normalised cross-correlation of `img` shifted by (sx, sy) against
// `ref` over their overlap: sum(ref(x) img(x + s)) / sqrt(sum ref^2 sum img^2)
// with both made zero-mean over the overlap. 0 for an empty overlap.
double ShiftCorrelation(const std::vector<double>& ref, const std::vector<double>& img,
                        int32_t width, int32_t height, int32_t sx, int32_t sy);

// The drift of one block against the reference, searched within max_step of
// (from_x, from_y); nothing when the best score lies on the edge of the search
// (the field moved further than the search reaches).
std::optional<std::pair<double, double>> BlockShift(const std::vector<double>& ref,
                                                    const std::vector<double>& img,
                                                    int32_t width, int32_t height,
                                                    double from_x, double from_y,
                                                    const FrameDriftOptions& options,
                                                    double* peak = nullptr);

// Streams the record once from its first frame (through the chain) and
// estimates the drift. `progress` gets (frames read, frame count). Nothing
// after a message (too few frames, the field lost, a read error) or on Esc
// (`stopped` set).
std::optional<FrameDrift> EstimateFrameDrift(RecordStore& store, const FrameDriftOptions& options,
                                             Reporter& reporter, const std::atomic<bool>* stop,
                                             const std::function<void(int32_t, int32_t)>& progress,
                                             bool& stopped);

// The drift as a table under the tracks' drift header (frame, time_s, dx_nm,
// dy_nm, pairs); pairs holds the frames summed in the frame's block.
std::string FrameDriftText(const FrameDrift& drift, const std::vector<float>& frame_times_s,
                           double nm_per_pixel_x, double nm_per_pixel_y, int32_t block);

// Reads a drift table (columns frame, dx_nm and dy_nm found by name, any order,
// extra columns ignored) into shifts in pixels for `frames` frames: a frame the
// table lacks takes the frame before it; frames before the first row none.
// False with `error` naming the line or the missing column.
bool DriftShiftsFromTable(std::string_view text, double nm_per_pixel_x, double nm_per_pixel_y,
                          int32_t frames, std::vector<double>& dx_px, std::vector<double>& dy_px,
                          std::string& error);

}  // namespace lumetra
