// The statistics of tracks against the simulator's truth (fixed seeds): the
// covariance estimator's bias and interval coverage over a range of
// signal-to-noise ratios beside the MSD fit, the MSD and its error bars, the
// jump-distance fit of a two-state mixture, the drift, and the bad inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "common/line_reader.h"
#include "spots/track_series.h"

#include "spots/diffusion_estimators.h"
#include "spots/drift.h"
#include "spots/jump_distance.h"
#include "spots/spots_messages.h"
#include "spots/track_msd.h"
#include "spots/track_simulation.h"
#include "spots/track_stats_run.h"

namespace lumetra {
namespace {

struct Scores {
  double mean_rel = 0;  // mean D / true D
  double spread = 0;    // standard deviation of D / true D
  double coverage = 0;  // intervals holding the true D
};

Scores Score(const DiffusionResult& r, double truth) {
  Scores s;
  double sum = 0, sum2 = 0, hit = 0, n = 0;
  for (const DiffusionEstimate& e : r.tracks) {
    if (!e.valid) continue;
    const double q = e.d_um2_s / truth;
    sum += q;
    sum2 += q * q;
    hit += e.d_low <= truth && truth <= e.d_high;
    ++n;
  }
  s.mean_rel = sum / n;
  s.spread = std::sqrt(sum2 / n - s.mean_rel * s.mean_rel);
  s.coverage = hit / n;
  return s;
}

TEST(DiffusionEstimators, CveIntervalsCoverAcrossSignalToNoise) {
  const double d = 0.1, dt = 0.02;
  for (double snr : {0.5, 1.0, 2.0, 5.0}) {
    TrackSimulation sim;
    sim.tracks = 1000;
    sim.points = 50;
    sim.diffusion = {d};
    sim.frame_s = dt;
    sim.sigma_um = std::sqrt(d * dt) / snr;
    sim.seed = 11;
    const SimulatedTracks t = SimulateTracks(sim);
    const DiffusionResult cve = EstimateDiffusion(t.set, DiffusionMethod::kCve);
    const DiffusionResult msd = EstimateDiffusion(t.set, DiffusionMethod::kMsdFit);
    const Scores c = Score(cve, d), m = Score(msd, d);
    // The coverage of 1000 intervals scatters by 0.7 % (binomial) around the
    // true 95 %; five sets of 1000 tracks bring that to 0.3 %.
    double covered = c.coverage;
    for (uint64_t seed = 12; seed <= 15; ++seed) {
      sim.seed = seed;
      covered += Score(EstimateDiffusion(SimulateTracks(sim).set, DiffusionMethod::kCve), d).coverage;
    }
    covered /= 5;
    std::printf("snr %.1f: cve mean %.4f spread %.3f cover %.3f (5000 tracks %.4f); msd mean %.4f "
                "spread %.3f cover %.3f\n",
                snr, c.mean_rel, c.spread, c.coverage, covered, m.mean_rel, m.spread, m.coverage);
    EXPECT_GE(covered, 0.93) << "snr " << snr;
    EXPECT_LE(covered, 0.97) << "snr " << snr;
    // The MSD fit spreads as much or less at low signal-to-noise ratios.
    EXPECT_LT(m.spread, c.spread * 1.05) << "snr " << snr;
    // sigma^2 is the small difference of two sums at high signal-to-noise ratios.
    EXPECT_NEAR(cve.ensemble.SigmaNm(), sim.sigma_um * 1000,
                (snr > 2 ? 0.2 : 0.05) * sim.sigma_um * 1000);
    if (snr != 1) {
      EXPECT_EQ(cve.ensemble.LowSnr(), snr < 1) << "snr " << snr;
    }
  }
}

// The bias on 10 times the tracks, so that the mean's own scatter (2.5 % for
// 1000 tracks at 0.5) stays well inside the 2 % it is held to.
TEST(DiffusionEstimators, CveEnsembleMeanWithinTwoPercent) {
  const double d = 0.1, dt = 0.02;
  for (double snr : {0.5, 1.0, 2.0, 5.0}) {
    TrackSimulation sim;
    sim.tracks = 10000;
    sim.points = 50;
    sim.diffusion = {d};
    sim.frame_s = dt;
    sim.sigma_um = std::sqrt(d * dt) / snr;
    sim.seed = 21;
    const DiffusionResult cve = EstimateDiffusion(SimulateTracks(sim).set, DiffusionMethod::kCve);
    std::printf("snr %.1f, 10000 tracks: mean D / truth %.4f\n", snr, cve.ensemble.d_um2_s / d);
    EXPECT_NEAR(cve.ensemble.d_um2_s, d, 0.02 * d) << "snr " << snr;
    EXPECT_LE(cve.ensemble.d_low, d) << "snr " << snr;
    EXPECT_GE(cve.ensemble.d_high, d) << "snr " << snr;
  }
}

TEST(DiffusionEstimators, MotionBlurLeavesDAndRecoversSigma) {
  TrackSimulation sim;
  sim.tracks = 1000;
  sim.points = 50;
  sim.diffusion = {0.5};
  sim.frame_s = 0.02;
  sim.exposure_s = 0.02;
  sim.sigma_um = 0.04;
  sim.seed = 5;
  SimulatedTracks t = SimulateTracks(sim);
  const DiffusionResult r = EstimateDiffusion(t.set, DiffusionMethod::kCve);
  EXPECT_NEAR(r.ensemble.d_um2_s, 0.5, 0.02 * 0.5);
  EXPECT_NEAR(r.ensemble.SigmaNm(), 40, 3);
  // Without the exposure the blur reads as too little localisation error.
  t.set.timing.exposure_s = 0;
  const DiffusionResult blind = EstimateDiffusion(t.set, DiffusionMethod::kCve);
  EXPECT_LT(blind.ensemble.SigmaNm(), 30);
  const Scores c = Score(r, 0.5);
  EXPECT_GE(c.coverage, 0.93);
  EXPECT_LE(c.coverage, 0.97);
}


// The ensemble MSD as trackpy's emsd defines it: for each lag, the mean over
// all particles and all start frames of the squared displacement (a
// particle's frames missing at either end are skipped), here in um^2.
std::vector<double> EmsdReference(const TrackSet& set, int32_t max_lag) {
  std::vector<double> out;
  for (int32_t n = 1; n <= max_lag; ++n) {
    double sum = 0;
    int64_t count = 0;
    for (const TrackSeries& t : set.tracks)
      for (int32_t i = 0; i + n < t.Frames(); ++i) {
        if (!t.Has(size_t(i)) || !t.Has(size_t(i + n))) continue;
        const double dx = t.x_um[size_t(i + n)] - t.x_um[size_t(i)];
        const double dy = t.y_um[size_t(i + n)] - t.y_um[size_t(i)];
        sum += dx * dx + dy * dy;
        ++count;
      }
    out.push_back(count ? sum / double(count) : NAN);
  }
  return out;
}

TEST(TrackMsd, EnsembleAgreesWithEmsdDefinitionAndItsErrorBarsWithTheScatter) {
  TrackSimulation sim;
  sim.tracks = 400;
  sim.points = 40;
  sim.sigma_um = 0;
  sim.start_spread = 30;
  sim.seed = 3;
  SimulatedTracks t = SimulateTracks(sim);
  // Gaps: every 7th point of every 3rd track goes missing.
  for (size_t k = 0; k < t.set.tracks.size(); k += 3)
    for (size_t i = 3; i < t.set.tracks[k].x_um.size(); i += 7)
      t.set.tracks[k].x_um[i] = t.set.tracks[k].y_um[i] = NAN;
  const MsdCurve e = EnsembleMsd(t.set, 20);
  const std::vector<double> ref = EmsdReference(t.set, 20);
  for (int32_t n = 1; n <= 20; ++n) {
    EXPECT_NEAR(e.msd_um2[size_t(n - 1)], ref[size_t(n - 1)], 1e-12) << "lag " << n;
    // Without localisation error the MSD is 4 D t, within its error bar.
    const double truth = 4 * 0.1 * sim.frame_s * n;
    EXPECT_NEAR(e.msd_um2[size_t(n - 1)], truth, 3 * e.sem_um2[size_t(n - 1)]) << "lag " << n;
  }
  // A track's modelled error bar against the scatter of its MSD over many
  // tracks with localisation error (overlapping lags make it far wider than
  // the naive standard error).
  sim.tracks = 3000;
  sim.sigma_um = 0.03;
  sim.start_spread = 0;
  const SimulatedTracks u = SimulateTracks(sim);
  for (int32_t n : {1, 5, 15}) {
    double sum = 0, sum2 = 0;
    for (const TrackSeries& s : u.set.tracks) {
      const double m = TrackMsd(s, n).msd_um2[size_t(n - 1)];
      sum += m;
      sum2 += m * m;
    }
    const double mean = sum / 3000, sd = std::sqrt(sum2 / 3000 - mean * mean);
    MsdCurve c = TrackMsd(u.set.tracks[0], n);
    MsdErrorBars(c, sim.points, 0.1, 0.03 * 0.03, 0, sim.frame_s);
    EXPECT_NEAR(c.sem_um2[size_t(n - 1)], sd, 0.06 * sd) << "lag " << n;
    EXPECT_NEAR(mean, 4 * 0.1 * sim.frame_s * n + 4 * 0.03 * 0.03, 3 * sd / std::sqrt(3000.0));
  }
}

TEST(JumpDistance, TwoStateMixtureRecoveredAndChosen) {
  TrackSimulation sim;
  sim.tracks = 1000;
  sim.points = 30;
  sim.diffusion = {0.05, 0.5};
  sim.fractions = {0.7, 0.3};
  sim.sigma_um = 0.02;
  sim.frame_s = 0.02;
  sim.seed = 8;
  const SimulatedTracks t = SimulateTracks(sim);
  const DiffusionResult cve = EstimateDiffusion(t.set, DiffusionMethod::kCve);
  const JumpFitResult fit = FitJumpDistances(JumpDistances(t.set), sim.frame_s,
                                             cve.ensemble.sigma2_um2, 0, 3, false);
  ASSERT_EQ(fit.fits.size(), 3u);
  const JumpFit& two = fit.fits[1];
  std::printf("two states: D %.4f (%.3f), %.4f (%.3f); chosen %d states\n", two.s[0].d_um2_s,
              two.s[0].fraction, two.s[1].d_um2_s, two.s[1].fraction, fit.Chosen().states);
  EXPECT_NEAR(two.s[0].d_um2_s, 0.05, 0.005);
  EXPECT_NEAR(two.s[1].d_um2_s, 0.5, 0.05);
  EXPECT_NEAR(two.s[0].fraction, 0.7, 0.05);
  EXPECT_NEAR(two.s[1].fraction, 0.3, 0.05);
  EXPECT_EQ(fit.Chosen().states, 2);
  // One population: one state is chosen and it is the population's D.
  sim.diffusion = {0.2};
  sim.fractions = {1};
  const SimulatedTracks one = SimulateTracks(sim);
  const JumpFitResult f1 = FitJumpDistances(JumpDistances(one.set), sim.frame_s,
                                            sim.sigma_um * sim.sigma_um, 0, 3, false);
  EXPECT_EQ(f1.Chosen().states, 1);
  EXPECT_NEAR(f1.fits[0].s[0].d_um2_s, 0.2, 0.01);
  // A fixed number of states fits only that one; too few jumps fit nothing.
  EXPECT_EQ(FitJumpDistances(JumpDistances(one.set), sim.frame_s, 0, 0, 2, true).fits.size(), 1u);
  EXPECT_TRUE(FitJumpDistances({0.1, 0.2}, sim.frame_s, 0, 0, 3, false).fits.empty());
}

TEST(Drift, FivePerFrameRecoveredAndRemoved) {
  TrackSimulation sim;
  sim.tracks = 60;
  sim.points = 500;
  sim.diffusion = {0.05};
  sim.frame_s = 0.02;
  sim.sigma_um = 0.02;
  sim.drift_x_um = 0.005;
  sim.drift_y_um = -0.0025;
  sim.seed = 4;
  SimulatedTracks t = SimulateTracks(sim);
  const DriftCurve d = EstimateDrift(t.set);
  std::printf("drift: %.3f, %.3f nm per frame\n", d.rate_x_um * 1000, d.rate_y_um * 1000);
  EXPECT_NEAR(d.rate_x_um * 1000, 5, 0.5);
  EXPECT_NEAR(d.rate_y_um * 1000, -2.5, 0.5);
  ApplyDrift(t.set, d);
  const DriftCurve after = EstimateDrift(t.set);
  EXPECT_NEAR(after.rate_x_um * 1000, 0, 1e-6);
  // Corrected, D is the truth again, less the 1/60 of the tracks' own motion
  // the mean displacement holds.
  const DiffusionResult r = EstimateDiffusion(t.set, DiffusionMethod::kCve);
  std::printf("D after drift correction: %.5f (true 0.05)\n", r.ensemble.d_um2_s);
  EXPECT_NEAR(r.ensemble.d_um2_s, 0.05 * (1 - 1 / 60.0), 0.0015);
  EXPECT_FALSE(EstimateDrift(TrackSet{}).Known());
}

TEST(TrackSeries, BadInputGivesMessagesOrDocumentedSkips) {
  std::vector<TidyPoint> pts;
  std::string error;
  TextLines missing("track\tframe\tx_px\n0\t0\t1\n");
  EXPECT_FALSE(ParseTidyTracks(missing, pts, error));
  EXPECT_NE(error.find("y_px"), std::string::npos) << error;
  TextLines bad("track\tframe\tx_px\ty_px\n0\t0\tabc\t1\n");
  EXPECT_FALSE(ParseTidyTracks(bad, pts, error));
  EXPECT_NE(error.find("line 2"), std::string::npos) << error;
  // Track 0: 5 frames with a NaN and a gap; track 1: 2 points; track 2: 3.
  TextLines good(
      "track\tframe\ttime_s\tx_px\ty_px\n"
      "0\t0\t0\t1\t1\n0\t1\t0.05\tnan\t1\n0\t2\t0.1\t2\t2\n0\t4\t0.2\t3\t3\n"
      "0\t5\t0.25\t3\t4\n1\t0\t0\t5\t5\n1\t1\t0.05\t6\t5\n"
      "2\t3\t0.15\t8\t8\n2\t4\t0.2\t8\t9\n2\t5\t0.25\t9\t9\n");
  ASSERT_TRUE(ParseTidyTracks(good, pts, error)) << error;
  EXPECT_DOUBLE_EQ(FrameIntervalFromTidy(pts), 0.05);
  TrackSet set;
  ASSERT_TRUE(TrackSetFromTidy(pts, 100, set, error)) << error;
  CollectingReporter rep;
  PrepareCounts counts;
  EXPECT_FALSE(PrepareForStatistics(set, rep, &counts));  // no frame interval yet
  EXPECT_TRUE(rep.Contains(kStatBadFrameInterval));
  set.timing.frame_s = 0.05;
  ASSERT_TRUE(PrepareForStatistics(set, rep, &counts));
  EXPECT_EQ(counts.short_tracks, 1);
  EXPECT_EQ(counts.nan_points, 1);
  EXPECT_EQ(counts.gapped_tracks, 1);
  ASSERT_EQ(set.tracks.size(), 2u);
  // Track 0 keeps one displacement pair run (frames 4-5) and has no
  // consecutive pair of displacements: not enough for the covariance.
  EXPECT_FALSE(CveEstimate(set.tracks[0], 0.05, 0).valid);
  EXPECT_TRUE(CveEstimate(set.tracks[1], 0.05, 0).valid);
  // Round trip through the store the XKI file is written from.
  TrackStore store;
  ASSERT_TRUE(StoreFromTrackSet(set, store, error)) << error;
  const TrackSet back = TrackSetFromStore(store, 100, 100);
  ASSERT_EQ(back.tracks.size(), 2u);
  EXPECT_NEAR(back.tracks[1].x_um[2], 0.9, 1e-6);
  EXPECT_TRUE(std::isnan(back.tracks[0].x_um[3]));
  // Nothing left at all.
  TrackSet empty;
  empty.timing.frame_s = 0.05;
  rep.Clear();
  EXPECT_FALSE(PrepareForStatistics(empty, rep));
  EXPECT_TRUE(rep.Contains(kStatNoTracks));
}


TEST(TrackStatsRun, ViewsAndDensityMapOfOneRun) {
  TrackSimulation sim;
  sim.tracks = 100;
  sim.points = 30;
  sim.drift_x_um = 0.01;
  sim.seed = 2;
  StatsOptions o;
  o.max_lag = 10;
  o.correct_drift = true;
  StatsRun run;
  NullReporter quiet;
  ASSERT_TRUE(RunTrackStatistics(SimulateTracks(sim).set, o, run, quiet));
  EXPECT_EQ(StatsSummary(run, true).rfind("D=", 0), 0u);
  for (StatsView v : {StatsView::kMsd, StatsView::kDiffusion, StatsView::kJumps,
                      StatsView::kDrift, StatsView::kVelocity, StatsView::kIntensity}) {
    const StatsPlot p = StatsPlotFor(run, v);
    ASSERT_FALSE(p.table.empty()) << int(v);
    // Every row has the header's number of columns, and the curve types match.
    const size_t cols = size_t(std::count(p.table.begin(), p.table.begin() + p.table.find('\n'), '\t'));
    EXPECT_EQ(p.types.size(), cols - (v == StatsView::kMsd ? 1 : 0)) << int(v);
  }
  // MSD table: the ensemble's rows, then every track's.
  const std::string msd = MsdTableText(run);
  EXPECT_EQ(std::count(msd.begin(), msd.end(), '\n'), 1 + 10 + 100 * 10);
  const DensityMap map = BuildDensityMap(run.set, 0.5);
  uint64_t total = 0;
  for (uint32_t c : map.counts) total += c;
  EXPECT_EQ(total, 3000u);
  EXPECT_EQ(DensityMapPgm(map).rfind("P5\n", 0), 0u);
}

}  // namespace
}  // namespace lumetra
