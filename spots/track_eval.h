// Scoring a track table against the truth table of a simulated record:
// detection recall and precision (a point matches a true particle of the same
// frame within a radius, one to one, nearest pairs first), localisation error
// of the matched points, the fraction of true frame-to-frame links that one
// track reproduces, and the maximum-likelihood limit of the localisation
// error (Mortensen et al. 2010) to compare against.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/line_reader.h"
#include "spots/track_series.h"

namespace lumetra {

struct TrackPoint {
  int32_t track = 0;
  int32_t frame = 0;
  double x = 0, y = 0;  // pixels, x = column
  // The reported bound of each centre (nm); NaN where the table has none.
  double sigma_x_nm = NAN, sigma_y_nm = NAN;
};

struct TruthPoint {
  int32_t frame = 0;
  int32_t particle = 0;
  double x = 0, y = 0;  // pixels, pixel centres at whole numbers
  double photons = 0;   // 0: not visible (bleached)
  int32_t population = -1;  // simulated population; -1 when the table has none
  double d_um2_s = NAN;     // the particle's true D when the table has it
};

// Tab-separated tables with a header line naming the columns (track, frame,
// x_px, y_px, with sigma_x_nm and sigma_y_nm read when present; and frame, particle, x, y, photons, with population and D_um2_s
// read when present). False with `error` set on
// a missing column or a line that is not numbers.
bool ParseTrackTable(LineSource& lines, std::vector<TrackPoint>& out, std::string& error);
bool ParseTruthTable(LineSource& lines, std::vector<TruthPoint>& out, std::string& error);
bool ParseTrackTable(std::string_view text, std::vector<TrackPoint>& out, std::string& error);
bool ParseTruthTable(std::string_view text, std::vector<TruthPoint>& out, std::string& error);

struct EvalResult {
  int64_t truth_points = 0;  // visible true positions
  int64_t track_points = 0;
  int64_t matched = 0;
  double sum_sq_px = 0;  // sum of dx^2 + dy^2 over matched points (pixels^2)
  int64_t true_links = 0;
  int64_t reproduced_links = 0;
  // Matched points with a finite reported bound on both axes: the bounds'
  // mean square, the errors' mean square in units of their own bound, and
  // the axes whose error lies within 1.96 bounds (95 % for honest bounds).
  int64_t bounded = 0;
  double sum_sigma_sq_nm = 0;  // sigma_x^2 + sigma_y^2
  double sum_z_sq = 0;         // (dx / sigma_x)^2 + (dy / sigma_y)^2
  int64_t axes_within_95 = 0;

  double Recall() const { return truth_points ? double(matched) / truth_points : 0; }
  double Precision() const { return track_points ? double(matched) / track_points : 0; }
  // Root mean square error per axis (pixels): sqrt(sum / (2 x matched)).
  double RmsePerAxisPx() const;
  double LinkFraction() const { return true_links ? double(reproduced_links) / true_links : 0; }
  // Root mean square of the reported bounds per axis (nm), the root mean
  // square of error over bound (1 when the bounds are honest), and the
  // fraction of axes within 1.96 bounds. NaN without bounded points.
  double BoundPerAxisNm() const;
  double ErrorOverBound() const;
  double Within95() const;
};

// `nm_per_pixel` turns the pixel errors into the bounds' unit.
EvalResult EvaluateTracks(const std::vector<TrackPoint>& points,
                          const std::vector<TruthPoint>& truth, double match_radius_px = 1.0,
                          double nm_per_pixel = 100.0);

// Limit of the per-axis localisation error (nm) of a maximum-likelihood fit of
// a pixelated Gaussian on a flat background, without excess noise:
//   var = (sa^2 / N) / (1 + integral_0^1 ln(t) / (1 + t / tau) dt),
//   sa^2 = s^2 + a^2 / 12,  tau = 2 pi sa^2 b / (N a^2),
// s = FWHM / 2.3548 (nm), a = pixel size (nm), N = photons of the spot,
// b = background variance per pixel (photons, read noise squared added).
double MortensenLimitNm(double photons, double background, double fwhm_nm, double nm_per_pixel);

// D of the tracks (covariance estimator, `set` built from `points`) against
// the truth, per simulated population: each track belongs to the particle its
// points match most often within the radius. Empty when the truth table has
// no D.
struct PopulationScore {
  int32_t population = 0;
  double true_d = 0;
  int32_t tracks = 0;
  double mean_d = NAN, d_low = NAN, d_high = NAN;  // the ensemble of the population's tracks
};
std::vector<PopulationScore> ScoreDiffusion(const TrackSet& set,
                                            const std::vector<TrackPoint>& points,
                                            const std::vector<TruthPoint>& truth,
                                            double match_radius_px);

}  // namespace lumetra
