// A simulated single-molecule record with its ground truth: Gaussian spots
// (pixel-integrated) with Poisson photon noise on a Poisson background, camera
// read noise, Brownian motion and optional single-step bleaching. The same
// seed gives the same record everywhere. Tests, the demo and the benchmarks
// all use it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/report.h"

namespace lumetra {

struct SimulationParams {
  int32_t width = 512;   // pixels
  int32_t height = 512;  // pixels
  int32_t frames = 200;
  int32_t spots = 60;
  double fwhm_nm = 250;  // of the point-spread function
  double nm_per_pixel = 100;
  double photons = 2000;    // per spot and frame
  double background = 100;  // photons per pixel and frame
  double read_noise = 2;    // counts, standard deviation
  double diffusion = 0.1;   // um^2/s
  double frame_ms = 50;
  double bleach_prob = 0;  // per spot and frame
  uint64_t seed = 1;
};

struct TruthRow {
  int32_t frame;
  int32_t particle;
  double x;        // column, pixel centres at whole numbers
  double y;        // row
  double photons;  // 0 once bleached
};

// Why the parameters cannot make a record, or nothing.
std::optional<std::string> CheckSimulationParams(const SimulationParams& p);

// The path of the truth table beside a record: "demo.xkv" -> "demo.truth.tsv".
std::string TruthPathFor(const std::string& xkv_path);

// Spot positions and brightness of every frame, without the pixels.
std::vector<TruthRow> SimulateTruth(const SimulationParams& p);

// Renders one frame of counts (width x height, row-major) for the truth rows
// of that frame. Rows of the frame are split over the cores; every row has its
// own random stream, so the result does not depend on the number of threads.
void RenderSimulatedFrame(const SimulationParams& p, int32_t frame, const TruthRow* rows,
                          size_t row_count, std::vector<float>& expected_scratch, uint16_t* out);

// Writes the record and its truth table. False after reporting the problem.
bool SimulateRecord(const SimulationParams& p, const std::string& xkv_path, Reporter& reporter);

}  // namespace lumetra
