// lumetra-cli bench stats: the track statistics on simulated tracks, beside a
// floor of one pass over every coordinate.
#include <iostream>

#include "cli/bench_common.h"
#include "cli/cli_common.h"
#include "common/text_format.h"
#include "spots/diffusion_estimators.h"
#include "spots/track_msd.h"
#include "spots/track_simulation.h"

namespace lumetra::cli {

int BenchStats(const std::vector<std::string>& args) {
  ArgParser p("bench stats",
              "Times the track statistics on one core: the ensemble MSD up to --max-lag\n"
              "and both diffusion estimators (covariance and MSD fit) of every track, on\n"
              "simulated tracks (D 0.1 um2/s, sigma 30 nm, 20 ms frames). The floor is one\n"
              "pass summing every coordinate.");
  p.Positional("stats", "the kind of benchmark")
      .Option("tracks", "N", "tracks", "10000")
      .Option("points", "N", "points per track", "100")
      .Option("max-lag", "N", "longest MSD lag", "50")
      .Option("repeats", "N", "runs to take the median of", "5");
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t tracks = 10000, points = 100, max_lag = 50, repeats = 5;
  if (!p.Int("tracks", tracks, error, 1, 1000000) || !p.Int("points", points, error, 3, 100000) ||
      !p.Int("max-lag", max_lag, error, 1, 100000) || !p.Int("repeats", repeats, error, 1, 100))
    return Fail("bench", error, 2);
  TrackSimulation sim;
  sim.tracks = static_cast<int32_t>(tracks);
  sim.points = static_cast<int32_t>(points);
  sim.sigma_um = 0.03;
  const TrackSet set = SimulateTracks(sim).set;
  std::vector<double> floor_s, msd_s, cve_s, fit_s;
  double sink = 0;
  for (int64_t r = 0; r < repeats; ++r) {
    auto t0 = Clock::now();
    for (const TrackSeries& t : set.tracks)
      for (size_t i = 0; i < t.x_um.size(); ++i) sink += t.x_um[i] + t.y_um[i];
    auto t1 = Clock::now();
    const MsdCurve e = EnsembleMsd(set, static_cast<int32_t>(max_lag));
    auto t2 = Clock::now();
    const DiffusionResult c = EstimateDiffusion(set, DiffusionMethod::kCve);
    auto t3 = Clock::now();
    const DiffusionResult m = EstimateDiffusion(set, DiffusionMethod::kMsdFit);
    auto t4 = Clock::now();
    sink += e.msd_um2[0] + c.ensemble.d_um2_s + m.ensemble.d_um2_s;
    floor_s.push_back(Seconds(t0, t1));
    msd_s.push_back(Seconds(t1, t2));
    cve_s.push_back(Seconds(t2, t3));
    fit_s.push_back(Seconds(t3, t4));
  }
  const double total = Median(msd_s) + Median(cve_s) + Median(fit_s);
  std::cout << tracks << " tracks of " << points << " points, one core (median of " << repeats
            << " runs)\n"
            << "ensemble MSD, lags 1-" << max_lag << ": " << FormatFixed(Median(msd_s), 4) << " s\n"
            << "covariance estimator: " << FormatFixed(Median(cve_s), 4) << " s\n"
            << "MSD fit (optimal points, with interval): " << FormatFixed(Median(fit_s), 4)
            << " s\n"
            << "total: " << FormatFixed(total, 4) << " s\n"
            << "floor (one pass over the coordinates): " << FormatFixed(Median(floor_s), 4)
            << " s (checksum " << static_cast<int64_t>(sink) % 1000 << ")\n";
  return 0;
}

}  // namespace lumetra::cli
