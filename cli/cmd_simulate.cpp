// lumetra-cli simulate OUT.xkv [options]
#include <algorithm>
#include <climits>
#include <iostream>

#include "cli/cli_common.h"
#include "record/simulator.h"

namespace lumetra::cli {

int RunSimulate(const std::vector<std::string>& args) {
  SimulationParams d;
  ArgParser p("simulate",
              "Writes a simulated single-molecule record: pixel-integrated Gaussian spots with\n"
              "Poisson photon noise on a Poisson background, camera read noise, Brownian\n"
              "motion and optional single-step bleaching. The same seed gives the same record.\n"
              "Beside it, OUT.truth.tsv holds frame, particle, x (column), y (row) in pixels\n"
              "(pixel centres at whole numbers) and photons (0 once bleached).");
  p.Positional("OUT.xkv", "the record to write")
      .Option("width", "PIXELS", "frame width", "512")
      .Option("height", "PIXELS", "frame height", "512")
      .Option("frames", "N", "number of frames", "200")
      .Option("spots", "N", "number of particles", "60")
      .Option("fwhm-nm", "NM", "FWHM of the point-spread function", "250")
      .Option("nm-per-pixel", "NM", "pixel size", "100")
      .Option("photons", "N", "photons per spot and frame", "2000")
      .Option("background", "N", "background photons per pixel and frame", "100")
      .Option("read-noise", "COUNTS", "camera read noise, standard deviation", "2")
      .Option("diffusion", "UM2_PER_S", "diffusion coefficient", "0.1")
      .Option("frame-ms", "MS", "time between frames", "50")
      .Option("bleach-prob", "P", "probability per spot and frame of bleaching in one step", "0")
      .Option("seed", "N", "random seed", "1");
  if (auto code = ParseOrExit(p, args)) return *code;

  std::string error;
  int64_t width = d.width, height = d.height, frames = d.frames, spots = d.spots, seed = 1;
  SimulationParams s;
  bool ok = p.Int("width", width, error) && p.Int("height", height, error) &&
            p.Int("frames", frames, error) && p.Int("spots", spots, error) &&
            p.Int("seed", seed, error, INT64_MIN, INT64_MAX) && p.Real("fwhm-nm", s.fwhm_nm, error) &&
            p.Real("nm-per-pixel", s.nm_per_pixel, error) && p.Real("photons", s.photons, error) &&
            p.Real("background", s.background, error) &&
            p.Real("read-noise", s.read_noise, error) && p.Real("diffusion", s.diffusion, error) &&
            p.Real("frame-ms", s.frame_ms, error) && p.Real("bleach-prob", s.bleach_prob, error);
  if (!ok) return Fail("simulate", error, 2);
  auto narrow = [](int64_t v) {
    return static_cast<int32_t>(std::clamp<int64_t>(v, -1, INT32_MAX));
  };
  s.width = narrow(width);
  s.height = narrow(height);
  s.frames = narrow(frames);
  s.spots = narrow(spots);
  s.seed = static_cast<uint64_t>(seed);

  ConsoleReporter console;
  if (!SimulateRecord(s, p.Arg(0), console)) return 1;
  std::cout << "wrote " << p.Arg(0) << " (" << s.frames << " frames of " << s.width << " x "
            << s.height << ", " << s.spots << " spots) and " << TruthPathFor(p.Arg(0)) << '\n';
  return 0;
}

}  // namespace lumetra::cli
