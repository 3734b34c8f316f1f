// The tracks of the tracking window: 10000 slots, each with its flags, current
// position and four per-frame series, plus the run counters of both linking
// passes. Linking, the second pass, the track files and the exports all read
// and change this one store.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "spots/spot_params.h"

namespace lumetra {

struct TrackRec {
  uint8_t good = 1;
  uint8_t completed = 0;    // 0 open or free, 1 completed
  int32_t X = 0, Y = 0;     // current position (whole pixels); X = Y = 0 marks a free slot
  int32_t point_count = 0;  // successful links (steps) so far
  int32_t linked = -1;      // spot linked in the current frame, -1 when none
  int32_t first_frame = 0;
  float start_intensity = 0;   // counts/pixel
  float last_jump2 = 1000.0f;  // last squared jump (pixels^2), 1000 when unlinked
  bool selected = false;       // chosen by the user for "selected only" saves
  // Per analysed frame: intensity (counts/pixel), X and Y (whole pixels while
  // linking, um relative to the current position after the second pass), and
  // the fourth value of special acquisitions. 0.0 marks a frame without a point.
  // Allocated when the slot is first used.
  std::vector<float> intensity, x, y, z;
  // Per analysed frame: the Cramér-Rao bound of the fitted centre along x and
  // y (nm), NaN where no fit gave one. Not part of the XKI file.
  std::vector<float> sigma_x, sigma_y;
};

class TrackStore {
 public:
  // Resets every slot for a record of `frames` analysed frames (at most 10000)
  // and clears the counters.
  void Reset(int32_t frames);

  int32_t Frames() const { return frames_; }
  TrackRec& Slot(int32_t t) { return slots_[static_cast<size_t>(t)]; }
  const TrackRec& Slot(int32_t t) const { return slots_[static_cast<size_t>(t)]; }
  // Makes sure the slot's series exist (all 0.0).
  TrackRec& Use(int32_t t);
  bool HasSeries(int32_t t) const { return !slots_[static_cast<size_t>(t)].x.empty(); }
  // Sets the four series of a slot to 0.0 from frame `from` down to 0.
  void ClearBefore(int32_t t, int32_t from);

  int32_t track_count = 0;
  int32_t completed_count = 0;
  int32_t new_track_count = 0;
  int32_t too_bright = 0;
  int32_t too_big_radius = 0;
  int32_t truncated = 0;
  // True once the second pass has turned the positions into um.
  bool refined = false;
  // The tracks hold the dense detector's fitted centres (it may have been
  // chosen by "Q: automatic"): the second pass measures them, it does not refit.
  bool dense = false;
  // Frames the second pass has refined so far (it plays them in order):
  // while it runs, X and Y inside this range are um, outside it whole pixels.
  int32_t refine_from = 0, refine_to = -1;
  bool Refining() const { return refine_to >= 0; }
  // True when X and Y of frame f are in um (relative to the current position).
  bool InUm(int32_t f) const { return refined || (f >= refine_from && f <= refine_to); }
  // The tracks changed since they were last read from or written to a file.
  bool unsaved = false;
  // Time of each analysed frame (s).
  std::vector<float> frame_times;

 private:
  int32_t frames_ = 0;
  std::vector<TrackRec> slots_ = std::vector<TrackRec>(static_cast<size_t>(kMaxTracks));
};

}  // namespace lumetra
