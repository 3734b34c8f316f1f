// lumetra-cli simulate OUT.xkv [options]
#include <algorithm>
#include <climits>
#include <iostream>

#include "cli/cli_common.h"
#include "common/text_format.h"
#include "record/simulator.h"

namespace lumetra::cli {
namespace {

// "N" or "A-B" (fluorophores per spot). False when the text is neither.
bool ParseCountRange(const std::string& text, int32_t& lo, int32_t& hi) {
  const size_t dash = text.find('-', 1);
  const auto a = ParseInteger(std::string_view(text).substr(0, dash));
  const auto b =
      dash == std::string::npos ? a : ParseInteger(std::string_view(text).substr(dash + 1));
  if (!a || !b || *a < INT32_MIN || *a > INT32_MAX || *b < INT32_MIN || *b > INT32_MAX)
    return false;
  lo = static_cast<int32_t>(*a);
  hi = static_cast<int32_t>(*b);
  return true;
}

// "A,B,C" as reals; an empty text gives an empty list.
bool RealList(const std::string& text, const char* name, std::vector<double>& out,
              std::string& error) {
  out.clear();
  size_t pos = 0;
  while (pos <= text.size() && !text.empty()) {
    const size_t comma = std::min(text.find(',', pos), text.size());
    const auto v = ParseReal(std::string_view(text).substr(pos, comma - pos));
    if (!v) {
      error = std::string("--") + name + " expects numbers separated by commas, not '" + text + "'";
      return false;
    }
    out.push_back(*v);
    pos = comma + 1;
  }
  return true;
}

}  // namespace

int RunSimulate(const std::vector<std::string>& args) {
  SimulationParams d;
  ArgParser p("simulate",
              "Writes a simulated single-molecule record: pixel-integrated Gaussian spots with\n"
              "Poisson photon noise on a Poisson background, camera read noise, Brownian\n"
              "motion and optional single-step bleaching. The same seed gives the same record.\n"
              "Beside it, OUT.truth.tsv holds frame, particle, x (column), y (row) in pixels\n"
              "(pixel centres at whole numbers) and photons (0 while not visible).\n"
              "\n"
              "Step data: with --fluorophores above 1 each spot holds that many fluorophores\n"
              "(a range A-B draws the number per spot, uniformly), each worth --photons and\n"
              "bleaching on its own with --bleach-prob per frame, so the spot dims in steps\n"
              "of --photons. Without --bleach-prob the probability is then 3 / frames: a\n"
              "fluorophore lives a third of the record on average. With --binding-rate R\n"
              "every spot starts unbound (invisible) and binds with probability R per frame,\n"
              "from frame 1 on; it appears with all its fluorophores, which bleach from the\n"
              "next frame on (R = 0.01 at 1000 frames: mean binding frame 100, and about 1 in\n"
              "23000 spots never binds). --diffusion 0 keeps the spots in place.\n"
              "OUT.steps.tsv lists every change of a spot's brightness, one row each:\n"
              "particle, x, y (position at that frame), frame (0-based, the first frame\n"
              "showing the new level), kind (drop or rise), photons_before, photons_after.\n"
              "It is always written; a record without steps gets the header only.\n"
              "Mixtures: --diffusion 0.05,0.5 --fractions 0.7,0.3 gives each particle one of\n"
              "the coefficients with those probabilities; --drift-nm-per-frame DX,DY moves\n"
              "the whole field. With either, the truth table gains the columns population\n"
              "(0-based index into the list) and D_um2_s.");
  p.Positional("OUT.xkv", "the record to write")
      .Option("width", "PIXELS", "frame width", "512")
      .Option("height", "PIXELS", "frame height", "512")
      .Option("frames", "N", "number of frames", "200")
      .Option("spots", "N", "number of particles", "60")
      .Option("fwhm-nm", "NM", "FWHM of the point-spread function", "250")
      .Option("nm-per-pixel", "NM", "pixel size", "100")
      .Option("photons", "N", "photons per spot (per fluorophore) and frame", "2000")
      .Option("background", "N", "background photons per pixel and frame", "100")
      .Option("read-noise", "COUNTS", "camera read noise, standard deviation", "2")
      .Option("diffusion", "UM2_PER_S[,...]", "diffusion coefficient, or one per population",
              "0.1")
      .Option("frame-ms", "MS", "time between frames", "50")
      .Option("bleach-prob", "P", "bleaching probability per frame, per spot or fluorophore",
              "0; 3/frames with several fluorophores")
      .Option("fluorophores", "N|A-B", "fluorophores per spot, or a range drawn per spot", "1")
      .Option("binding-rate", "R", "probability per frame that an unbound spot binds", "0")
      .Option("seed", "N", "random seed", "1")
      .Option("fractions", "F1,F2,...", "share of the particles in each population (default equal)")
      .Option("drift-nm-per-frame", "DX,DY", "constant drift of the whole field");
  if (auto code = ParseOrExit(p, args)) return *code;

  std::string error;
  int64_t width = d.width, height = d.height, frames = d.frames, spots = d.spots, seed = 1;
  SimulationParams s;
  bool ok = p.Int("width", width, error) && p.Int("height", height, error) &&
            p.Int("frames", frames, error) && p.Int("spots", spots, error) &&
            p.Int("seed", seed, error, INT64_MIN, INT64_MAX) && p.Real("fwhm-nm", s.fwhm_nm, error) &&
            p.Real("nm-per-pixel", s.nm_per_pixel, error) && p.Real("photons", s.photons, error) &&
            p.Real("background", s.background, error) &&
            p.Real("read-noise", s.read_noise, error) &&
            RealList(p.Value("diffusion"), "diffusion", s.diffusions, error) &&
            p.Real("frame-ms", s.frame_ms, error) &&
            (!p.Has("bleach-prob") || p.Real("bleach-prob", s.bleach_prob, error)) &&
            p.Real("binding-rate", s.binding_rate, error);
  if (ok && p.Has("fluorophores") &&
      !ParseCountRange(p.Value("fluorophores"), s.fluorophores_min, s.fluorophores_max)) {
    error = "--fluorophores expects N or A-B, not '" + p.Value("fluorophores") + "'";
    ok = false;
  }
  std::vector<double> drift;
  ok = ok && RealList(p.Value("fractions"), "fractions", s.fractions, error) &&
       RealList(p.Value("drift-nm-per-frame"), "drift-nm-per-frame", drift, error);
  if (ok && !drift.empty() && drift.size() != 2) {
    error = "--drift-nm-per-frame expects DX,DY";
    ok = false;
  }
  if (!ok) return Fail("simulate", error, 2);
  if (drift.size() == 2) {
    s.drift_x_nm = drift[0];
    s.drift_y_nm = drift[1];
  }
  // One coefficient is the plain record; a list is a mixture.
  if (s.diffusions.size() == 1 && s.fractions.size() <= 1) {
    s.diffusion = s.diffusions[0];
    s.diffusions.clear();
    s.fractions.clear();
  }
  if (!s.fractions.empty() && s.fractions.size() != s.diffusions.size())
    return Fail("simulate", "--fractions needs one value for every coefficient of --diffusion", 2);
  auto narrow = [](int64_t v) {
    return static_cast<int32_t>(std::clamp<int64_t>(v, -1, INT32_MAX));
  };
  s.width = narrow(width);
  s.height = narrow(height);
  s.frames = narrow(frames);
  s.spots = narrow(spots);
  s.seed = static_cast<uint64_t>(seed);
  if (!p.Has("bleach-prob") && s.fluorophores_max > 1)
    s.bleach_prob = DefaultStepBleachProb(s.frames);

  ConsoleReporter console;
  if (!SimulateRecord(s, p.Arg(0), console)) return 1;
  std::cout << "wrote " << p.Arg(0) << " (" << s.frames << " frames of " << s.width << " x "
            << s.height << ", " << s.spots << " spots), " << TruthPathFor(p.Arg(0)) << " and "
            << StepsPathFor(p.Arg(0)) << '\n';
  return 0;
}

}  // namespace lumetra::cli
