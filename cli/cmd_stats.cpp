// lumetra-cli stats TRACKS.xki|TRACKS.tsv [...]: diffusion coefficients, MSD,
// jump distances and drift of a set of tracks.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "cli/cli_common.h"
#include "common/common_messages.h"
#include "common/line_reader.h"
#include "common/text_format.h"
#include "record/record_store.h"
#include "spots/diffusion_estimators.h"
#include "spots/drift.h"
#include "spots/jump_distance.h"
#include "spots/spot_params.h"
#include "spots/spots_messages.h"
#include "spots/track_export.h"
#include "spots/track_msd.h"
#include "spots/track_series.h"
#include "spots/xki_file.h"

namespace lumetra::cli {
namespace {

bool EndsWith(std::string s, std::string_view end) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
  return s.size() >= end.size() && s.compare(s.size() - end.size(), end.size(), end) == 0;
}

std::string FramesMismatch(int32_t track_frames, int32_t record_frames) {
  return std::string(kStatFrameMismatch) + std::string(kStatTrackFramesPart) +
         std::to_string(track_frames - 1) + " (" + std::to_string(track_frames) +
         std::string(kStatFramesWord) + ")" + std::string(kStatRecordFramesPart) +
         std::to_string(record_frames) + std::string(kStatFramesWord);
}

// The XKI file's tracks; `scale_nm` receives the parameter word (the record's
// nm per pixel when the tracking window wrote it), 0 when absent.
bool LoadXki(const std::string& path, int32_t record_frames, TrackSet& set, double& scale_nm,
             Reporter& reporter) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    reporter.Modal(kFileOpenError, path);
    return false;
  }
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
  scale_nm = 0;
  float head[3] = {1, 1, 0};
  if (bytes.size() >= 12) std::memcpy(head, bytes.data(), 12);
  if (head[0] == 0.0f && head[1] == 0.0f && head[2] >= 1.0f && head[2] < 1e6f) scale_nm = head[2];
  // Read against the longest record first, so that tracks beyond the record
  // are named with both counts rather than cut off.
  auto store = std::make_unique<TrackStore>();
  DecodeXki(bytes, *store, kMaxTrackFrames, false, reporter);
  const double nm = scale_nm > 0 ? scale_nm : 100;
  set = TrackSetFromStore(*store, nm, nm);
  if (record_frames > 0 && set.frames > record_frames) {
    reporter.Modal(FramesMismatch(set.frames, record_frames));
    return false;
  }
  return true;
}

// Four significant digits, as the summary prints them.
std::string G4(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%.4g", v);
  return b;
}

std::string Fixed(double v, int decimals) {
  if (!std::isfinite(v)) return v != v ? "nan" : (v > 0 ? "inf" : "-inf");
  return FormatFixed(v, decimals);
}

// Draws a table through `lumetra-cli plot`.
int Plot(const std::string& table, const std::string& out, std::vector<std::string> options) {
  const std::string tmp = out + ".plot.tsv";
  {
    std::ofstream f(tmp);
    f << table;
    if (!f) return Fail("stats", std::string(kFileWritingError) + ": " + tmp);
  }
  options.insert(options.begin(), {tmp, "--out", out});
  const int code = RunPlot(options);
  std::remove(tmp.c_str());
  return code;
}

}  // namespace

int RunStats(const std::vector<std::string>& args) {
  ArgParser p("stats",
              "Diffusion statistics of tracks: prints the ensemble diffusion coefficient with\n"
              "its 95 % interval (first line: D=<value> um2/s [<low>, <high>]), the\n"
              "localisation error sigma, the signal-to-noise ratio sqrt(D dt)/sigma, the\n"
              "numbers of tracks and points, the jump-distance states and the drift, and\n"
              "writes the tables asked for. The frame interval, pixel size and exposure\n"
              "come from the record (the XKI file gives the pixel size, a track table its\n"
              "times); the options override them. Tracks of fewer than 3 points are left\n"
              "out, NaN positions and missing frames are gaps that no displacement spans.\n"
              "\n"
              "Estimators: cve, the covariance estimator (Vestergaard et al. 2014),\n"
              "corrected for localisation error and for motion blur over the exposure;\n"
              "msd, a line through the first MSD points, as many as Michalet (2010) finds\n"
              "optimal. The ensemble D is the mean of the tracks' D weighted by their\n"
              "displacements, its interval 1.96 standard errors across tracks.\n"
              "With --drift the tracks are corrected for the drift before any statistic.");
  p.Positional("TRACKS", "an XKI file, or a track table (track, frame, time_s, x_px, y_px)")
      .Option("record", "FILE.xkv", "the record the tracks come from")
      .Option("frame-s", "S", "time between frames (s)")
      .Option("nm-per-pixel", "NM", "pixel size")
      .Option("exposure-s", "E", "exposure of a frame (s); 0 for instantaneous positions")
      .Option("estimator", "cve|msd", "the per-track estimator", "cve")
      .Option("msd", "MSD.tsv", "write the MSD per track and of the ensemble (track 'ensemble')")
      .Option("max-lag", "N", "longest lag of the MSD table (frames)", "50")
      .Option("diffusion", "D.tsv", "write D per track")
      .Option("jumps", "J.tsv", "write the jump-distance histogram with the fitted densities")
      .Option("jump-states", "S.tsv", "write the states of each jump-distance fit")
      .Option("states", "1|2|3|auto", "states of the jump-distance fit; auto picks by BIC", "auto")
      .Option("drift", "DRIFT.tsv", "estimate the drift, write it, and correct the tracks")
      .Option("corrected", "TRACKS.xki", "write the drift-corrected tracks as an XKI file")
      .Option("corrected-tsv", "TRACKS.tsv", "write the drift-corrected tracks as a track table")
      .Option("plot", "PREFIX", "draw PREFIX-msd.png, -diffusion.png, -jumps.png (-drift.png)");
  if (auto code = ParseOrExit(p, args)) return *code;
  ConsoleReporter reporter;
  std::string error;
  const std::string path = p.Arg(0);

  TrackTiming timing;
  int32_t record_frames = 0;
  if (p.Has("record")) {
    auto record = RecordStore::Create(reporter);
    if (!record) return 1;
    if (!record->Open(p.Value("record"), reporter)) return 1;
    record_frames = record->FrameCount();
    // The time stamps themselves: the store's interval carries a small offset.
    const std::vector<float>& times = record->FrameTimes();
    timing.frame_s = times.size() > 1 ? (times.back() - times.front()) / double(times.size() - 1)
                                      : record->FrameInterval();
    timing.nm_per_pixel = record->Prm().ScaleX;
    timing.exposure_s = record->Prm().ExposureMs * 0.001;
  }
  TrackSet set;
  std::vector<TidyPoint> tidy;
  if (EndsWith(path, ".xki")) {
    double scale = 0;
    if (!LoadXki(path, record_frames, set, scale, reporter)) return 1;
    if (!(timing.nm_per_pixel > 0) && scale > 0) timing.nm_per_pixel = scale;
    // The XKI positions are um already; the scale only places them.
    if (!(timing.nm_per_pixel > 0)) timing.nm_per_pixel = set.timing.nm_per_pixel;
  } else {
    FileLines lines;
    if (!lines.Open(path)) return Fail("stats", std::string(kFileOpenError) + ": " + lines.Error());
    if (!ParseTidyTracks(lines, tidy, error)) return Fail("stats", path + ": " + error);
    if (!(timing.frame_s > 0)) timing.frame_s = FrameIntervalFromTidy(tidy);
  }
  double v = 0;
  if (p.Has("frame-s")) {
    if (!p.Real("frame-s", v, error)) return Fail("stats", error, 2);
    timing.frame_s = v;
  }
  if (p.Has("nm-per-pixel")) {
    if (!p.Real("nm-per-pixel", v, error) || !(v > 0))
      return Fail("stats", error.empty() ? "--nm-per-pixel must be above 0" : error, 2);
    timing.nm_per_pixel = v;
  }
  if (p.Has("exposure-s")) {
    if (!p.Real("exposure-s", v, error) || v < 0)
      return Fail("stats", error.empty() ? "--exposure-s must not be negative" : error, 2);
    timing.exposure_s = v;
  }
  if (!p.Has("frame-s") && !(timing.frame_s > 0))
    return Fail("stats", std::string(kStatNoFrameInterval) + " (--record or --frame-s)");
  if (!tidy.empty() || !EndsWith(path, ".xki")) {
    if (!(timing.nm_per_pixel > 0))
      return Fail("stats", std::string(kStatNoScale) + " (--record or --nm-per-pixel)");
    if (!TrackSetFromTidy(tidy, timing.nm_per_pixel, set, error))
      return Fail("stats", path + ": " + error);
    if (record_frames > 0 && set.frames > record_frames)
      return Fail("stats", FramesMismatch(set.frames, record_frames));
  }
  set.timing = timing;
  const std::string estimator = p.Value("estimator");
  if (estimator != "cve" && estimator != "msd")
    return Fail("stats", "--estimator must be cve or msd", 2);
  const std::string states_text = p.Value("states");
  const bool auto_states = states_text == "auto";
  int32_t states = 3;
  if (!auto_states) {
    const auto k = ParseInteger(states_text);
    if (!k || *k < 1 || *k > 3) return Fail("stats", "--states must be 1, 2, 3 or auto", 2);
    states = static_cast<int32_t>(*k);
  }
  int64_t max_lag = 50;
  if (!p.Int("max-lag", max_lag, error, 1, kMaxTrackFrames)) return Fail("stats", error, 2);

  PrepareCounts counts;
  if (!PrepareForStatistics(set, reporter, &counts)) return 1;
  if (counts.short_tracks || counts.nan_points || counts.gapped_tracks)
    std::cerr << "lumetra-cli stats: " << counts.short_tracks
              << " tracks under 3 points left out, " << counts.nan_points
              << " NaN points made gaps, " << counts.gapped_tracks << " tracks with gaps\n";

  DriftCurve drift;
  if (p.Has("drift")) {
    drift = EstimateDrift(set);
    if (!drift.Known()) reporter.Warning(kStatNoDrift);
    if (!WriteTextFile(p.Value("drift"), DriftText(drift, timing.frame_s), kFileWritingError,
                       reporter))
      return 1;
    ApplyDrift(set, drift);
    if (p.Has("corrected")) {
      auto store = std::make_unique<TrackStore>();
      if (!StoreFromTrackSet(set, *store, error)) return Fail("stats", error);
      XkiWriteOptions xki;
      xki.parameter = static_cast<float>(timing.nm_per_pixel);
      if (!WriteXkiFile(p.Value("corrected"), *store, xki, reporter)) return 1;
    }
    if (p.Has("corrected-tsv") &&
        !WriteTextFile(p.Value("corrected-tsv"), TidyTextFromTrackSet(set), kFileWritingError,
                       reporter))
      return 1;
  } else if (p.Has("corrected") || p.Has("corrected-tsv")) {
    return Fail("stats", "--corrected and --corrected-tsv need --drift", 2);
  }

  const DiffusionMethod method = estimator == "cve" ? DiffusionMethod::kCve : DiffusionMethod::kMsdFit;
  const DiffusionResult diff = EstimateDiffusion(set, method);
  int64_t points = 0;
  for (const TrackSeries& t : set.tracks) points += t.Points();
  std::cout << DiffusionSummary(diff.ensemble, points);
  int32_t low = 0;
  for (const DiffusionEstimate& e : diff.tracks) low += e.LowSnr();
  std::cout << "tracks with snr below 1: " << low << '\n';
  std::cout << "frame_s=" << G4(timing.frame_s) << " exposure_s=" << G4(timing.exposure_s)
            << " nm_per_pixel=" << G4(timing.nm_per_pixel) << '\n';

  const double blur_r = MotionBlurCoefficient(timing.frame_s, timing.exposure_s);
  // sigma for the jump fit and the MSD error bars: the covariance estimator's,
  // whichever estimator reports D.
  const DiffusionResult cve =
      method == DiffusionMethod::kCve ? diff : EstimateDiffusion(set, DiffusionMethod::kCve);
  const std::vector<double> jumps = JumpDistances(set);
  const JumpFitResult jfit = FitJumpDistances(jumps, timing.frame_s, cve.ensemble.sigma2_um2,
                                              blur_r, states, !auto_states);
  if (jfit.fits.empty()) {
    reporter.Warning(kStatNoJumps);
  } else {
    const JumpFit& c = jfit.Chosen();
    std::cout << "jumps=" << jfit.jumps << " states=" << c.states
              << (auto_states ? " (BIC)" : "") << '\n';
    for (size_t k = 0; k < c.s.size(); ++k)
      std::cout << "state " << k + 1 << ": D=" << G4(c.s[k].d_um2_s)
                << " um2/s fraction=" << Fixed(c.s[k].fraction, 3) << '\n';
  }
  if (p.Has("drift"))
    std::cout << "drift=" << Fixed(drift.rate_x_um * 1000, 3) << ", "
              << Fixed(drift.rate_y_um * 1000, 3) << " nm/frame\n";

  const int32_t lags = static_cast<int32_t>(max_lag);
  const MsdCurve ens = EnsembleMsd(set, lags);
  if (p.Has("msd")) {
    std::string s(kMsdHeader);
    char line[160];
    auto rows = [&](const std::string& track, const MsdCurve& c) {
      for (int32_t n = 1; n <= c.MaxLag(); ++n) {
        const size_t i = static_cast<size_t>(n - 1);
        if (!c.pairs[i]) continue;
        std::snprintf(line, sizeof line, "\t%d\t%.6g\t%.6g\t%.6g\t%lld\n", n, n * timing.frame_s,
                      c.msd_um2[i], c.sem_um2[i], static_cast<long long>(c.pairs[i]));
        s += track;
        s += line;
      }
    };
    rows("ensemble", ens);
    for (size_t k = 0; k < set.tracks.size(); ++k) {
      MsdCurve c = TrackMsd(set.tracks[k], lags);
      const DiffusionEstimate& e = cve.tracks[k];
      if (e.valid)
        MsdErrorBars(c, set.tracks[k].Points(), e.d_um2_s, cve.ensemble.sigma2_um2, blur_r,
                     timing.frame_s);
      rows(std::to_string(set.tracks[k].id), c);
    }
    if (!WriteTextFile(p.Value("msd"), s, kFileWritingError, reporter)) return 1;
  }
  if (p.Has("diffusion") &&
      !WriteTextFile(p.Value("diffusion"), DiffusionText(diff.tracks), kFileWritingError, reporter))
    return 1;
  if (p.Has("jumps") && !WriteTextFile(p.Value("jumps"), JumpHistogramText(jumps, jfit),
                                       kFileWritingError, reporter))
    return 1;
  if (p.Has("jump-states") && !WriteTextFile(p.Value("jump-states"), JumpStatesText(jfit),
                                             kFileWritingError, reporter))
    return 1;

  if (p.Has("plot")) {
    const std::string prefix = p.Value("plot");
    // MSD with its error bars and the line of the ensemble D and sigma.
    std::string t = "lag_s\tMSD_um2\tsem\tfit\n";
    const double d = diff.ensemble.d_um2_s, s2 = cve.ensemble.sigma2_um2;
    for (int32_t n = 1; n <= ens.MaxLag(); ++n) {
      const size_t i = static_cast<size_t>(n - 1);
      if (!ens.pairs[i]) continue;
      const double lag = n * timing.frame_s;
      t += FormatGeneral(lag) + '\t' + FormatGeneral(ens.msd_um2[i]) + '\t' +
           (std::isfinite(ens.sem_um2[i]) ? FormatGeneral(ens.sem_um2[i]) : "0") + '\t' +
           FormatGeneral(4 * d * lag + 4 * s2 - 8 * blur_r * d * timing.frame_s) + '\n';
    }
    if (int c = Plot(t, prefix + "-msd.png",
                     {"--types", "variation,line", "--title-x", "lag (s)", "--title-y",
                      "MSD (um2)", "--note",
                      "D=" + G4(d) + " um2/s [" + G4(diff.ensemble.d_low) + ", " +
                          G4(diff.ensemble.d_high) + "]"}))
      return c;
    // Distribution of the tracks' D.
    std::vector<double> ds;
    for (const DiffusionEstimate& e : diff.tracks)
      if (e.valid) ds.push_back(e.d_um2_s);
    std::sort(ds.begin(), ds.end());
    if (!ds.empty()) {
      const double lo = std::min(0.0, ds[ds.size() / 100]), hi = ds[ds.size() * 99 / 100];
      const int32_t bins = 40;
      const double w = hi > lo ? (hi - lo) / bins : 1;
      std::vector<int64_t> count(bins, 0);
      for (double x : ds)
        ++count[static_cast<size_t>(std::clamp<int64_t>(static_cast<int64_t>((x - lo) / w), 0, bins - 1))];
      std::string h = "D_um2_s\ttracks\n";
      for (int32_t b = 0; b < bins; ++b)
        h += FormatGeneral(lo + (b + 0.5) * w) + '\t' + std::to_string(count[static_cast<size_t>(b)]) + '\n';
      if (int c = Plot(h, prefix + "-diffusion.png",
                       {"--types", "bar", "--title-x", "D (um2/s)", "--title-y", "tracks"}))
        return c;
    }
    if (!jfit.fits.empty()) {
      std::string j = JumpHistogramText(jumps, jfit);
      // Drop the count column: density of the data against that of each fit.
      std::string out;
      size_t pos = 0;
      while (pos < j.size()) {
        const size_t end = j.find('\n', pos);
        std::string line = j.substr(pos, end - pos);
        const size_t a = line.find('\t'), b = line.find('\t', a + 1);
        out += line.substr(0, a) + line.substr(b) + '\n';
        pos = end + 1;
      }
      std::string types = "bar";
      for (size_t k = 0; k < jfit.fits.size(); ++k) types += ",line";
      if (int c = Plot(out, prefix + "-jumps.png",
                       {"--types", types, "--title-x", "jump (um)", "--title-y", "density (1/um)"}))
        return c;
    }
    if (p.Has("drift")) {
      std::string dr = "time_s\tdx_nm\tdy_nm\n";
      for (size_t f = 0; f < drift.x_um.size(); ++f)
        dr += FormatGeneral(f * timing.frame_s) + '\t' + FormatGeneral(drift.x_um[f] * 1000) +
              '\t' + FormatGeneral(drift.y_um[f] * 1000) + '\n';
      if (int c = Plot(dr, prefix + "-drift.png",
                       {"--types", "line,line", "--title-x", "time (s)", "--title-y", "drift (nm)"}))
        return c;
    }
  }
  return 0;
}

}  // namespace lumetra::cli
