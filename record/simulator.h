// A simulated single-molecule record with its ground truth: Gaussian spots
// (pixel-integrated) with Poisson photon noise on a Poisson background, camera
// read noise, Brownian motion and optional single-step bleaching; for step
// detection, spots of several fluorophores that bleach one by one and spots
// that bind at a random frame. The same seed gives the same record everywhere.
// Tests, the demo and the benchmarks all use it.
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
  double bleach_prob = 0;  // per spot and frame; per fluorophore and frame with the step model
  uint64_t seed = 1;
  // The step model: each spot holds a whole number of fluorophores drawn
  // uniformly from [fluorophores_min, fluorophores_max], each worth `photons`
  // and bleaching on its own with `bleach_prob` per frame. With binding_rate
  // above 0 every spot starts unbound (invisible) and binds with that
  // probability per frame, from frame 1 on; bound, it shows all its
  // fluorophores and they start bleaching from the next frame.
  int32_t fluorophores_min = 1;
  int32_t fluorophores_max = 1;
  double binding_rate = 0;
  // Mixtures: with two or more entries, each particle belongs to population k
  // with probability fractions[k] (normalised) and diffuses with
  // diffusions[k] (um^2/s) instead of `diffusion`. Empty: one population.
  std::vector<double> diffusions;
  std::vector<double> fractions;
  // A constant drift of the whole field (nm per frame), added to every
  // position after the particles' own motion.
  double drift_x_nm = 0, drift_y_nm = 0;
};

// True when the truth table carries the population and D columns: with a
// mixture or a drift. Records made without them stay as they always were.
bool HasPopulationTruth(const SimulationParams& p);

// True when the parameters ask for the step model (more than one fluorophore
// or binding); otherwise a spot is one fluorophore, visible from frame 0.
bool UsesStepModel(const SimulationParams& p);

// Bleaching probability per fluorophore and frame for step data when none is
// given: 3 / frames, so a fluorophore lives a third of the record on average
// and about 5 % outlive it.
double DefaultStepBleachProb(int32_t frames);

struct TruthRow {
  int32_t frame;
  int32_t particle;
  double x;        // column, pixel centres at whole numbers
  double y;        // row
  double photons;  // of the fluorophores lit; 0 before binding and once all have bleached
  int32_t population = 0;  // index into SimulationParams::diffusions (0 without a mixture)
};

// One change of a spot's brightness: `frame` is the first frame that shows
// the new level (0-based).
struct StepRow {
  int32_t particle;
  double x;  // position at `frame`: column
  double y;  // row
  int32_t frame;
  bool rise;  // binding (brighter); otherwise a drop (bleaching)
  double photons_before;
  double photons_after;
};

// Why the parameters cannot make a record, or nothing.
std::optional<std::string> CheckSimulationParams(const SimulationParams& p);

// The path of the truth table beside a record: "demo.xkv" -> "demo.truth.tsv".
std::string TruthPathFor(const std::string& xkv_path);
// The step table beside it: "demo.xkv" -> "demo.steps.tsv".
std::string StepsPathFor(const std::string& xkv_path);

// Spot positions and brightness of every frame, without the pixels.
// Rows are frame-major: row f * spots + i is particle i at frame f.
std::vector<TruthRow> SimulateTruth(const SimulationParams& p);

// The steps the truth rows contain: every frame at which a particle's photons
// differ from the frame before, in order of particle, then frame.
std::vector<StepRow> StepsFromTruth(const std::vector<TruthRow>& rows, int32_t spots);

// Renders one frame of counts (width x height, row-major) for the truth rows
// of that frame. Rows of the frame are split over the cores; every row has its
// own random stream, so the result does not depend on the number of threads.
void RenderSimulatedFrame(const SimulationParams& p, int32_t frame, const TruthRow* rows,
                          size_t row_count, std::vector<float>& expected_scratch, uint16_t* out);

// Writes the record, its truth table and its step table (the header alone
// when nothing changes brightness). False after reporting the problem.
bool SimulateRecord(const SimulationParams& p, const std::string& xkv_path, Reporter& reporter);

}  // namespace lumetra
