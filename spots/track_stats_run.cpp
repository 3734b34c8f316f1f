#include "spots/track_stats_run.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/text_format.h"
#include "spots/spots_messages.h"
#include "spots/track_statistics.h"

namespace lumetra {
bool RunTrackStatistics(TrackSet set, const StatsOptions& o, StatsRun& run, Reporter& reporter) {
  run = StatsRun{};
  if (!PrepareForStatistics(set, reporter, &run.counts)) return false;
  const double dt = set.timing.frame_s;
  run.blur_r = MotionBlurCoefficient(dt, set.timing.exposure_s);
  if (o.correct_drift) {
    run.drift = EstimateDrift(set);
    if (!run.drift.Known()) reporter.Warning(kStatNoDrift);
    ApplyDrift(set, run.drift);
    run.drift_applied = true;
  }
  run.set = std::move(set);
  for (const TrackSeries& t : run.set.tracks) run.points += t.Points();
  run.cve = EstimateDiffusion(run.set, DiffusionMethod::kCve);
  run.diffusion = o.method == DiffusionMethod::kCve
                      ? run.cve
                      : EstimateDiffusion(run.set, DiffusionMethod::kMsdFit);
  run.ensemble_msd = EnsembleMsd(run.set, std::max(o.max_lag, 1));
  run.jumps = JumpDistances(run.set);
  run.jump_fit = FitJumpDistances(run.jumps, dt, run.cve.ensemble.sigma2_um2, run.blur_r, o.states,
                                  o.fixed_states);
  if (run.jump_fit.fits.empty()) reporter.Warning(kStatNoJumps);
  return true;
}

std::string StatsSummary(const StatsRun& run, bool auto_states) {
  std::string s = DiffusionSummary(run.diffusion.ensemble, run.points);
  int32_t low = 0;
  for (const DiffusionEstimate& e : run.diffusion.tracks) low += e.LowSnr();
  s += "tracks with snr below 1: " + std::to_string(low) + "\n";
  const TrackTiming& t = run.set.timing;
  s += "frame_s=" + FormatTable(t.frame_s) + " exposure_s=" + FormatTable(t.exposure_s) +
       " nm_per_pixel=" + FormatTable(t.nm_per_pixel) + "\n";
  if (!run.jump_fit.fits.empty()) {
    const JumpFit& c = run.jump_fit.Chosen();
    s += "jumps=" + std::to_string(run.jump_fit.jumps) + " states=" + std::to_string(c.states) +
         (auto_states ? " (BIC)" : "") + "\n";
    for (size_t k = 0; k < c.s.size(); ++k)
      s += "state " + std::to_string(k + 1) + ": D=" + FormatTable(c.s[k].d_um2_s) +
           " um2/s fraction=" + FormatTable(c.s[k].fraction, "%.3f") + "\n";
  }
  if (run.drift_applied)
    s += "drift=" + FormatTable(run.drift.rate_x_um * 1000, "%.3f") + ", " +
         FormatTable(run.drift.rate_y_um * 1000, "%.3f") + " nm/frame\n";
  return s;
}

std::string MsdTableText(const StatsRun& run) {
  std::string s(kMsdHeader);
  const double dt = run.set.timing.frame_s;
  char line[160];
  auto rows = [&](const std::string& track, const MsdCurve& c) {
    for (int32_t n = 1; n <= c.MaxLag(); ++n) {
      const size_t i = static_cast<size_t>(n - 1);
      if (!c.pairs[i]) continue;
      std::snprintf(line, sizeof line, "\t%d\t%.6g\t%.6g\t%.6g\t%lld\n", n, n * dt, c.msd_um2[i],
                    c.sem_um2[i], static_cast<long long>(c.pairs[i]));
      s += track;
      s += line;
    }
  };
  rows("ensemble", run.ensemble_msd);
  for (size_t k = 0; k < run.set.tracks.size(); ++k) {
    const TrackSeries& t = run.set.tracks[k];
    MsdCurve c = TrackMsd(t, run.ensemble_msd.MaxLag());
    const DiffusionEstimate& e = run.cve.tracks[k];
    if (e.valid)
      MsdErrorBars(c, t.Points(), e.d_um2_s, run.cve.ensemble.sigma2_um2, run.blur_r, dt);
    rows(std::to_string(t.id), c);
  }
  return s;
}

namespace {

StatsPlot Histogram(const std::vector<double>& values, double width, int32_t bins,
                    const std::string& title_x, const std::string& title_y) {
  StatsPlot p;
  if (values.empty()) return p;
  const std::vector<int32_t> counts = BinCounts(values, width, bins);
  p.table = title_x + "\t" + title_y + "\n";
  for (int32_t b = 0; b < bins; ++b)
    p.table += FormatTable((b + 0.5) * width, "%.6g") + "\t" +
               std::to_string(counts[static_cast<size_t>(b)]) + "\n";
  p.types = {"bar"};
  p.title_x = title_x;
  p.title_y = title_y;
  return p;
}

}  // namespace

StatsPlot StatsPlotFor(const StatsRun& run, StatsView view) {
  StatsPlot p;
  const double dt = run.set.timing.frame_s;
  switch (view) {
    case StatsView::kMsd: {
      const MsdCurve& e = run.ensemble_msd;
      const DiffusionEstimate& d = run.diffusion.ensemble;
      const double s2 = run.cve.ensemble.sigma2_um2;
      p.table = "lag_s\tMSD_um2\tsem\tfit\n";
      for (int32_t n = 1; n <= e.MaxLag(); ++n) {
        const size_t i = static_cast<size_t>(n - 1);
        if (!e.pairs[i]) continue;
        const double lag = n * dt;
        p.table +=
            FormatTable(lag, "%.6g") + "\t" + FormatTable(e.msd_um2[i], "%.6g") + "\t" +
            (std::isfinite(e.sem_um2[i]) ? FormatTable(e.sem_um2[i], "%.6g") : "0") + "\t" +
            FormatTable(4 * d.d_um2_s * lag + 4 * s2 - 8 * run.blur_r * d.d_um2_s * dt, "%.6g") +
            "\n";
      }
      p.types = {"variation", "line"};
      p.title_x = "lag (s)";
      p.title_y = "MSD (um2)";
      p.note = "D=" + FormatTable(d.d_um2_s) + " um2/s [" + FormatTable(d.d_low) + ", " +
               FormatTable(d.d_high) + "]";
      return p;
    }
    case StatsView::kDiffusion: {
      std::vector<double> ds;
      for (const DiffusionEstimate& e : run.diffusion.tracks)
        if (e.valid) ds.push_back(e.d_um2_s);
      if (ds.empty()) return p;
      std::sort(ds.begin(), ds.end());
      const double hi = ds[ds.size() * 99 / 100];
      const int32_t bins = 40;
      // Negative estimates (noise) are left out of the bars.
      return Histogram(ds, hi > 0 ? hi / bins : 1, bins, "D (um2/s)", "tracks");
    }
    case StatsView::kJumps: {
      if (run.jump_fit.fits.empty()) return p;
      const std::string j = JumpHistogramText(run.jumps, run.jump_fit);
      // Without the count column: the data's density beside each fit's.
      size_t pos = 0;
      while (pos < j.size()) {
        const size_t end = j.find('\n', pos);
        const std::string line = j.substr(pos, end - pos);
        const size_t a = line.find('\t'), b = line.find('\t', a + 1);
        p.table += line.substr(0, a) + line.substr(b) + "\n";
        pos = end + 1;
      }
      p.types = {"bar"};
      for (size_t k = 0; k < run.jump_fit.fits.size(); ++k) p.types.push_back("line");
      p.title_x = "jump (um)";
      p.title_y = "density (1/um)";
      const JumpFit& c = run.jump_fit.Chosen();
      p.note = std::to_string(c.states) + " state(s) by BIC:";
      for (const JumpState& s : c.s)
        p.note += " D=" + FormatTable(s.d_um2_s) + " (" + FormatTable(s.fraction, "%.2f") + ")";
      return p;
    }
    case StatsView::kDrift: {
      if (!run.drift_applied) return p;
      p.table = "time_s\tdx_nm\tdy_nm\n";
      for (size_t f = 0; f < run.drift.x_um.size(); ++f)
        p.table += FormatTable(f * dt, "%.6g") + "\t" +
                   FormatTable(run.drift.x_um[f] * 1000, "%.6g") + "\t" +
                   FormatTable(run.drift.y_um[f] * 1000, "%.6g") + "\n";
      p.types = {"line", "line"};
      p.title_x = "time (s)";
      p.title_y = "drift (nm)";
      p.note = "drift " + FormatTable(run.drift.rate_x_um * 1000, "%.2f") + ", " +
               FormatTable(run.drift.rate_y_um * 1000, "%.2f") + " nm/frame";
      return p;
    }
    case StatsView::kVelocity: {
      std::vector<double> v;
      for (const TrackSeries& t : run.set.tracks) {
        size_t a = 0, b = t.x_um.size();
        while (a < b && !t.Has(a)) ++a;
        while (b > a && !t.Has(b - 1)) --b;
        if (b - a < 2) continue;
        const double dx = t.x_um[b - 1] - t.x_um[a], dy = t.y_um[b - 1] - t.y_um[a];
        v.push_back(std::sqrt(dx * dx + dy * dy) / ((b - 1 - a) * dt));
      }
      return Histogram(v, kVelocityBinWidth, kStatBins, "velocity (um/s)", "tracks");
    }
    case StatsView::kIntensity: {
      std::vector<double> v;
      for (const TrackSeries& t : run.set.tracks) {
        double sum = 0;
        int32_t n = 0;
        for (size_t i = 0; i < t.intensity.size(); ++i)
          if (t.Has(i) && std::isfinite(t.intensity[i])) {
            sum += t.intensity[i];
            ++n;
          }
        if (n) v.push_back(sum / n);
      }
      return Histogram(v, kIntensityBinWidth, kIntensityBins, "intensity (counts/pixel)", "tracks");
    }
  }
  return p;
}

DensityMap BuildDensityMap(const TrackSet& set, double bin_um) {
  DensityMap m;
  if (!(bin_um > 0)) return m;
  double x0 = INFINITY, y0 = INFINITY, x1 = -INFINITY, y1 = -INFINITY;
  for (const TrackSeries& t : set.tracks)
    for (size_t i = 0; i < t.x_um.size(); ++i)
      if (t.Has(i)) {
        x0 = std::min(x0, t.x_um[i]);
        x1 = std::max(x1, t.x_um[i]);
        y0 = std::min(y0, t.y_um[i]);
        y1 = std::max(y1, t.y_um[i]);
      }
  if (!(x1 >= x0)) return m;
  // At most 4096 bins a side: a wider field gets coarser bins.
  bin_um = std::max({bin_um, (x1 - x0) / 4096, (y1 - y0) / 4096});
  m.bin_um = bin_um;
  m.x0_um = x0;
  m.y0_um = y0;
  m.width = static_cast<int32_t>((x1 - x0) / bin_um) + 1;
  m.height = static_cast<int32_t>((y1 - y0) / bin_um) + 1;
  m.counts.assign(static_cast<size_t>(m.width) * static_cast<size_t>(m.height), 0);
  for (const TrackSeries& t : set.tracks)
    for (size_t i = 0; i < t.x_um.size(); ++i)
      if (t.Has(i)) {
        const auto cx = std::min(static_cast<int32_t>((t.x_um[i] - x0) / bin_um), m.width - 1);
        const auto cy = std::min(static_cast<int32_t>((t.y_um[i] - y0) / bin_um), m.height - 1);
        ++m.counts[static_cast<size_t>(cy) * static_cast<size_t>(m.width) +
                   static_cast<size_t>(cx)];
      }
  return m;
}

std::string DensityMapPgm(const DensityMap& m) {
  std::string s = "P5\n" + std::to_string(m.width) + " " + std::to_string(m.height) + "\n255\n";
  uint32_t top = 1;
  for (uint32_t c : m.counts) top = std::max(top, c);
  s.reserve(s.size() + m.counts.size());
  for (uint32_t c : m.counts) s += static_cast<char>(static_cast<uint8_t>(255.0 * c / top + 0.5));
  return s;
}

}  // namespace lumetra
