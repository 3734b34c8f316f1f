// lumetra-cli eval TRACKS.tsv TRUTH.tsv: how well a track table reproduces
// the truth of a simulated record.
#include <algorithm>
#include <iostream>

#include "cli/cli_common.h"
#include "common/common_messages.h"
#include "common/line_reader.h"
#include "common/text_format.h"
#include "spots/track_eval.h"
#include "spots/track_series.h"
#include <cmath>

namespace lumetra::cli {
namespace {

double MedianPhotons(const std::vector<TruthPoint>& truth) {
  std::vector<double> v;
  for (const TruthPoint& t : truth)
    if (t.photons > 0) v.push_back(t.photons);
  if (v.empty()) return 0;
  std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2), v.end());
  return v[v.size() / 2];
}

}  // namespace

int RunEval(const std::vector<std::string>& args) {
  ArgParser p("eval",
              "Scores a track table (lumetra-cli track --tsv) against the truth table of a\n"
              "simulated record (lumetra-cli simulate). A track point matches a true particle\n"
              "of the same frame within --radius pixels, one to one, nearest pairs first.\n"
              "Prints recall, precision, the localisation RMSE per axis of the matched points\n"
              "in nm with its ratio to the maximum-likelihood limit, and the fraction of true\n"
              "frame-to-frame links that one track reproduces. Where the table has the\n"
              "columns sigma_x_nm and sigma_y_nm, it checks those bounds against the errors:\n"
              "their root mean square, the root mean square of error over bound (1 for\n"
              "honest bounds) and the share of axes within 1.96 bounds (0.95). The limit (Mortensen et al.\n"
              "2010, no excess noise) is\n"
              "  var = (sa^2/N) / (1 + integral_0^1 ln(t) / (1 + t/tau) dt),\n"
              "  sa^2 = s^2 + a^2/12, tau = 2 pi sa^2 b / (N a^2),\n"
              "with s = FWHM/2.3548, a the pixel size, N the photons per spot and frame (the\n"
              "median of the truth table unless --photons), b = background + read noise^2.\n"
              "When the truth table has the columns population and D_um2_s (simulate with a\n"
              "mixture or a drift), it also scores D: each track belongs to the particle it\n"
              "matches most, and per population the mean covariance-estimator D of its\n"
              "tracks (with its 95 % interval) is printed beside the true D.");
  p.Positional("TRACKS.tsv", "table with columns track, frame, x_px, y_px")
      .Positional("TRUTH.tsv", "table with columns frame, particle, x, y, photons")
      .Option("radius", "PIXELS", "match radius", "1")
      .Option("photons", "N", "photons per spot and frame (default: from the truth table)")
      .Option("background", "N", "background photons per pixel and frame", "100")
      .Option("read-noise", "COUNTS", "camera read noise, standard deviation", "2")
      .Option("fwhm-nm", "NM", "FWHM of the spots", "250")
      .Option("nm-per-pixel", "NM", "pixel size", "100")
      .Option("frame-s", "S", "time between frames for D (default: from the table's time_s)");
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  double radius = 1, photons = 0, background = 100, read_noise = 2, fwhm = 250, scale = 100;
  if (!p.Real("radius", radius, error) || !p.Real("background", background, error) ||
      !p.Real("read-noise", read_noise, error) || !p.Real("fwhm-nm", fwhm, error) ||
      !p.Real("nm-per-pixel", scale, error) ||
      (p.Has("photons") && !p.Real("photons", photons, error)))
    return Fail("eval", error, 2);
  if (!(radius > 0) || !(scale > 0) || !(fwhm > 0))
    return Fail("eval", "radius, FWHM and pixel size must be above 0", 2);
  // Read line by line: a huge or endless input is refused at its first overlong line.
  FileLines tracks_lines, truth_lines;
  if (!tracks_lines.Open(p.Arg(0)))
    return Fail("eval", std::string(kFileOpenError) + ": " + tracks_lines.Error());
  if (!truth_lines.Open(p.Arg(1)))
    return Fail("eval", std::string(kFileOpenError) + ": " + truth_lines.Error());
  std::vector<TrackPoint> points;
  std::vector<TruthPoint> truth;
  if (!ParseTrackTable(tracks_lines, points, error)) return Fail("eval", p.Arg(0) + ": " + error);
  if (!ParseTruthTable(truth_lines, truth, error)) return Fail("eval", p.Arg(1) + ": " + error);
  if (!p.Has("photons")) photons = MedianPhotons(truth);

  const EvalResult r = EvaluateTracks(points, truth, radius, scale);
  const double rmse_nm = r.RmsePerAxisPx() * scale;
  const double limit = MortensenLimitNm(photons, background + read_noise * read_noise, fwhm, scale);
  std::cout << "true positions: " << r.truth_points << ", track points: " << r.track_points
            << ", matched: " << r.matched << '\n'
            << "recall: " << FormatFixed(r.Recall(), 4) << '\n'
            << "precision: " << FormatFixed(r.Precision(), 4) << '\n'
            << "RMSE per axis: " << FormatFixed(rmse_nm, 2) << " nm\n"
            << "ML limit per axis: " << FormatFixed(limit, 2)
            << " nm (N = " << FormatGeneral(photons)
            << " photons, b = " << FormatGeneral(background + read_noise * read_noise)
            << " per pixel)\n"
            << "RMSE / limit: " << (limit > 0 ? FormatFixed(rmse_nm / limit, 3) : "n/a") << '\n'
            << "links reproduced: " << r.reproduced_links << " of " << r.true_links << " ("
            << FormatFixed(r.LinkFraction(), 4) << ")\n";
  if (r.bounded > 0)
    std::cout << "reported bound per axis: " << FormatFixed(r.BoundPerAxisNm(), 2) << " nm ("
              << r.bounded << " of " << r.matched << " matched points have one)\n"
              << "error / bound: " << FormatFixed(r.ErrorOverBound(), 3) << '\n'
              << "within 1.96 bounds: " << FormatFixed(r.Within95(), 4) << '\n';
  if (!truth.empty() && !std::isnan(truth.front().d_um2_s)) {
    // The tracks as the statistics read them.
    FileLines again;
    std::vector<TidyPoint> tidy;
    TrackSet set;
    if (!again.Open(p.Arg(0)) || !ParseTidyTracks(again, tidy, error) ||
        !TrackSetFromTidy(tidy, scale, set, error))
      return Fail("eval", p.Arg(0) + ": " + error);
    set.timing.frame_s = FrameIntervalFromTidy(tidy);
    if (p.Has("frame-s") && !p.Real("frame-s", set.timing.frame_s, error))
      return Fail("eval", error, 2);
    NullReporter quiet;
    if (!PrepareForStatistics(set, quiet))
      return Fail("eval", "no track to score D on (a frame interval above 0 and tracks of 3 points "
                          "are needed; --frame-s gives the interval)");
    for (const PopulationScore& s : ScoreDiffusion(set, points, truth, radius))
      std::cout << "population " << s.population << ": true D " << FormatGeneral(s.true_d)
                << " um2/s, tracks " << s.tracks << ", D " << FormatFixed(s.mean_d, 4) << " ["
                << FormatFixed(s.d_low, 4) << ", " << FormatFixed(s.d_high, 4) << "] ("
                << FormatFixed(s.true_d > 0 ? 100 * (s.mean_d / s.true_d - 1) : 0, 1) << " %)\n";
  }
  return 0;
}

}  // namespace lumetra::cli
