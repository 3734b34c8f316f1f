// Tracks without images: Brownian motion of one or more populations, Gaussian
// localisation error, optional motion blur over the exposure and a constant
// drift, each track starting at a random place. The ground truth the
// statistics are tested and benchmarked against; the same seed gives the same
// tracks everywhere.
#pragma once

#include <cstdint>
#include <vector>

#include "spots/track_series.h"

namespace lumetra {

struct TrackSimulation {
  int32_t tracks = 1000;
  int32_t points = 50;
  std::vector<double> diffusion = {0.1};  // um^2/s, one per population
  std::vector<double> fractions = {1.0};  // of the tracks, one per population
  double sigma_um = 0.03;                 // localisation error per axis
  double frame_s = 0.02;
  double exposure_s = 0;                  // > 0: positions averaged over the exposure
  double drift_x_um = 0, drift_y_um = 0;  // per frame
  double field_um = 50;                   // starts uniform in a square of this side
  int32_t start_spread = 0;               // first frames uniform in 0 .. start_spread
  uint64_t seed = 1;
};

struct SimulatedTracks {
  TrackSet set;
  std::vector<int32_t> population;  // per track
};

SimulatedTracks SimulateTracks(const TrackSimulation& s);

}  // namespace lumetra
