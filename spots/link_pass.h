// The second pass over the completed tracks ("Link Tracks"): for every frame
// of each track, the intensity is measured again, tracks that are too bright
// or reach the frame border are dropped, the position is refined to sub-pixel
// accuracy (um relative to the track's current position), and tracks that
// jump further than R are cut, moved to start later or dropped.
#pragma once

#include <cstdint>
#include <string>

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

// Refines frame `frame.f` of every completed track that covers it, on the
// pool's threads too when one is given (the result is the same).
void RefineFrame(TrackStore& store, const LinkPassFrame& frame, const TrackingParams& params,
                 WorkerPool* pool = nullptr);

// "57 completed tracks (0 - too bright,1 - too big radius,2 - truncated)"
std::string LinkPassReadOut(const TrackStore& store);

// Spot sigma in pixels for a FWHM (nm) and a scale (nm per pixel).
double SigmaPixels(double fwhm_nm, double nm_per_pixel);

}  // namespace lumetra
