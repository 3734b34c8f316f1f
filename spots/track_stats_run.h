// One run of every track statistic over a set of tracks, as the stats command
// and the Statistics menu of the tracking window both use it: the tracks are
// checked, optionally corrected for the drift, and then give D per track and
// for the ensemble, the MSD, the jump-distance fit and the distributions. The
// views are plot tables (first column X, then the curves) with the curve types
// and titles to draw them with.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/report.h"
#include "spots/diffusion_estimators.h"
#include "spots/drift.h"
#include "spots/jump_distance.h"
#include "spots/track_msd.h"
#include "spots/track_series.h"

namespace lumetra {

struct StatsOptions {
  DiffusionMethod method = DiffusionMethod::kCve;
  int32_t max_lag = 50;   // of the MSD
  int32_t states = 3;     // of the jump-distance fit: the most tried, or exactly this many
  bool fixed_states = false;
  bool correct_drift = false;
};

struct StatsRun {
  TrackSet set;  // as analysed: checked, and drift-corrected when asked
  PrepareCounts counts;
  DiffusionResult diffusion;  // by the chosen estimator
  DiffusionResult cve;        // the covariance estimator's (sigma for the rest)
  MsdCurve ensemble_msd;
  std::vector<double> jumps;
  JumpFitResult jump_fit;
  DriftCurve drift;  // estimated when asked
  bool drift_applied = false;
  double blur_r = 0;
  int64_t points = 0;
};

// False (after the reporter has said why) when no statistic can be made.
bool RunTrackStatistics(TrackSet set, const StatsOptions& options, StatsRun& run,
                        Reporter& reporter);

// The summary the stats command prints: "D=<value> um2/s [<low>, <high>]"
// first, then sigma, snr, tracks and points, the method, the frame timing,
// the jump-distance states and the drift.
std::string StatsSummary(const StatsRun& run, bool auto_states);

// The MSD table under kMsdHeader: the ensemble (track "ensemble") and every
// track, with the modelled error bars of each track.
std::string MsdTableText(const StatsRun& run);

struct StatsPlot {
  std::string table;               // tab-separated, header line first
  std::vector<std::string> types;  // curve types by name ("variation", "line", "bar")
  std::string title_x, title_y, note;
};
enum class StatsView { kMsd, kDiffusion, kJumps, kDrift, kVelocity, kIntensity };
// Empty table when the run has nothing for the view.
StatsPlot StatsPlotFor(const StatsRun& run, StatsView view);

// Positions of every point binned into a square grid (counts), the image the
// density map shows; row 0 at the smallest y.
struct DensityMap {
  int32_t width = 0, height = 0;
  double x0_um = 0, y0_um = 0, bin_um = 0;
  std::vector<uint32_t> counts;
};
DensityMap BuildDensityMap(const TrackSet& set, double bin_um);
// As an 8-bit binary PGM, scaled to the largest count.
std::string DensityMapPgm(const DensityMap& map);

}  // namespace lumetra
