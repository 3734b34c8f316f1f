// The second pass over the completed tracks ("Link Tracks"): for every frame
// of each track, the intensity is measured again, tracks that are too bright
// or reach the frame border are dropped, the position is refined to sub-pixel
// accuracy (um relative to the track's current position), and tracks that
// jump further than R are cut, moved to start later or dropped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "spots/spot_params.h"
#include "spots/track_store.h"
#include "spots/worker_pool.h"

namespace lumetra {

struct LinkPassFrame {
  const uint16_t* pixels;
  int32_t width;
  int32_t height;
  double nm_per_pixel_x;
  double nm_per_pixel_y;
  int32_t f;  // frame number in the record
};

// "Resolve Close Spots": the tracks whose point another track holds too (a
// spot two particles share), in the frame refined last and in this one.
struct SharedPoints {
  std::vector<uint8_t> before, now;
};

// Refines frame `frame.f` of every completed track that covers it, on the
// pool's threads too when one is given (the result is the same), and adds the
// frame to the store's refined range. `shared`
// carries the shared points from frame to frame when close spots are resolved.
void RefineFrame(TrackStore& store, const LinkPassFrame& frame, const TrackingParams& params,
                 WorkerPool* pool = nullptr, SharedPoints* shared = nullptr);

// Ends a second pass that did not refine every frame (stopped, or run over
// part of the record): each completed track keeps only its refined frames,
// counted as truncated, and is dropped when fewer than L + 1 steps remain.
// Afterwards every point of a completed track is in um.
void KeepRefinedFrames(TrackStore& store, const TrackingParams& params);

// "57 completed tracks (0 - too bright,1 - too big radius,2 - truncated)"
std::string LinkPassReadOut(const TrackStore& store);

// Spot sigma in pixels for a FWHM (nm) and a scale (nm per pixel).
double SigmaPixels(double fwhm_nm, double nm_per_pixel);

}  // namespace lumetra
