#include "area/grid_fits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "common/random.h"

namespace lumetra {
namespace {

std::vector<float> Times(int n, float dt) {
  std::vector<float> t(n);
  for (int i = 0; i < n; ++i) t[i] = i * dt;
  return t;
}

TEST(GridFits, GridsRunWhileLessThanInFloatSteps) {
  EXPECT_EQ(BleachingKGrid().size(), 500u);
  EXPECT_EQ(RecoveryTauGrid().size(), 496u);  // accumulated 0.2f steps stay below 100
  EXPECT_EQ(RecoveryAGrid().size(), 46u);
  EXPECT_EQ(SpotsKGrid().size(), 201u);
  EXPECT_EQ(BleachingAGrid(1000.0f).size(), 2u);
  EXPECT_EQ(BleachingBGrid(1000.0f).size(), 100u);
  // A curve scaled to nothing gives no grid instead of an endless loop.
  EXPECT_TRUE(BleachingBGrid(1e-44f).empty());
  EXPECT_TRUE(BleachingAGrid(0.0f).empty());
  EXPECT_TRUE(BleachingAGrid(-5.0f).empty());
}

TEST(GridFits, BleachingFindsTheRateAndTruncatesTheText) {
  const std::vector<float> t = Times(100, 0.1f);
  std::vector<float> v(100);
  for (int i = 0; i < 100; ++i) v[i] = 800.0f * std::exp(-0.37f * t[i]) + 200.0f;
  const BleachingFit fit = FitBleaching(t.data(), v.data(), 100);
  ASSERT_TRUE(fit.found);
  EXPECT_NEAR(fit.k, 0.37f, 0.011f);
  EXPECT_EQ(BleachingText(fit).rfind("Bleach rate=", 0), 0u);
  BleachingFit shown;
  shown.k = 0.0125f;  // k x 1000.01 = 12.50012, truncated to 12
  EXPECT_EQ(BleachingText(shown), "Bleach rate=0.012 s-1");
  shown.k = 0.03f;  // 29.99999 in float, lifted past 30 by the 0.01
  EXPECT_EQ(BleachingText(shown), "Bleach rate=0.03 s-1");
  shown.k = 1.25f;
  EXPECT_EQ(BleachingText(shown), "Bleach rate=1.25 s-1");
}

TEST(GridFits, RecoveryRewritesTheCurveAndHandlesItsEdges) {
  const std::vector<float> t = Times(50, 1.0f);
  std::vector<float> v(50);
  for (int i = 0; i < 50; ++i)
    v[i] = i < 10 ? 500.0f : 250.0f + 150.0f * (1.0f - std::exp(-(i - 10) / 8.0f));
  const RecoveryFit fit = FitRecovery(t.data(), v.data(), 50);
  EXPECT_EQ(fit.min_index, 10);
  EXPECT_EQ(fit.minimum, 250.0f);
  EXPECT_EQ(v[10], 100.0f);  // rewritten in percent of the minimum
  EXPECT_FLOAT_EQ(v[0], 200.0f);
  ASSERT_TRUE(fit.found);
  EXPECT_NEAR(fit.tau, 8.0f, 0.5f);
  EXPECT_NEAR(fit.a, 0.4f, 0.03f);
  RecoveryFit shown;
  shown.tau = 12.4f;
  shown.a = 0.42f;
  EXPECT_EQ(RecoveryText(shown), "Tau=12.4  Bleach rate=0.42");

  // A minimum of 0 is divided as 0.001.
  std::vector<float> z = {5.0f, 0.0f, 1.0f, 2.0f};
  const std::vector<float> tz = Times(4, 1.0f);
  const RecoveryFit fz = FitRecovery(tz.data(), z.data(), 4);
  EXPECT_EQ(fz.minimum, 0.001f);
  EXPECT_FLOAT_EQ(z[2], 1.0f / 0.001f * 100.0f);

  // The maximum right at the minimum: nothing fitted, the curve stays 100.
  std::vector<float> down = {9, 8, 7, 6, 5};
  const std::vector<float> td = Times(5, 1.0f);
  const RecoveryFit none = FitRecovery(td.data(), down.data(), 5);
  EXPECT_EQ(none.min_index, 4);
  EXPECT_EQ(none.max_index, 4);
  EXPECT_FALSE(none.found);
  EXPECT_EQ(none.tau, 0.0f);
  EXPECT_EQ(none.a, 0.0f);
  std::vector<float> curve(5, -1.0f);
  RecoveryCurve(none, td.data(), 5, curve.data());
  for (float c : curve) EXPECT_EQ(c, 100.0f);
}

TEST(GridFits, SpotsScaleLeavesOutTheFirstTwoPoints) {
  const std::vector<float> t = Times(40, 0.5f);
  std::vector<float> n(40);
  for (int i = 0; i < 40; ++i) n[i] = std::round(30.0f * std::exp(-0.1f * t[i]) + 3.0f);
  n[0] = 500;  // would wreck the scale if it counted
  n[1] = 0;
  const SpotsFit fit = FitSpotsCurve(t.data(), n.data(), 40);
  EXPECT_FLOAT_EQ(fit.M, (n[2] + n[3] + n[4]) / 3.0f);
  EXPECT_TRUE(fit.found);
  SpotsFit shown;
  shown.k = 0.05f;
  shown.A = 12.3456f;
  shown.B = 0.3f;
  EXPECT_EQ(SpotsText(shown), "Off Rate=0.05 s-1, FittedMax=12.34 Offset=0.3");
  EXPECT_FALSE(FitSpotsCurve(t.data(), n.data(), 4).found);
}

TEST(GridFits, BadCurvesGiveAResultWithoutHanging) {
  const std::vector<float> t = Times(6, 1.0f);
  const std::vector<float> flat(6, 0.0f), nan_curve = {5, NAN, 4, 3, 2, 1};
  EXPECT_FALSE(FitBleaching(t.data(), flat.data(), 6).found);
  EXPECT_FALSE(FitSpotsCurve(t.data(), flat.data(), 6).found);
  for (FitMethod m : {FitMethod::kPlain, FitMethod::kFast}) {
    const BleachingFit f = FitBleaching(t.data(), nan_curve.data(), 6, m);
    EXPECT_FALSE(f.found);
    EXPECT_EQ(f.cost, 1e12f);
  }
  const std::vector<float> one = {100.0f};
  EXPECT_TRUE(FitBleaching(t.data(), one.data(), 1).found);
  EXPECT_FALSE(FitBleaching(t.data(), one.data(), 0).found);
}

// The fast search must pick the very same combination, with the very same
// cost and curve bits, as the plain triple loop.
TEST(GridFits, FastSearchEqualsThePlainLoopBitForBit) {
  Rng rng(20261123);
  for (int trial = 0; trial < 12; ++trial) {
    SCOPED_TRACE(trial);
    const int n = 15 + static_cast<int>(rng.Uniform() * 30);
    const float dt = static_cast<float>(0.05 + rng.Uniform() * 0.5);
    const std::vector<float> t = Times(n, dt);
    const double amp = 50 + rng.Uniform() * 3000, off = rng.Uniform() * amp;
    const double k = rng.Uniform() * 3, noise = (trial % 4) * 0.02 * amp;
    std::vector<float> v(n), s(n);
    for (int i = 0; i < n; ++i) {
      v[i] = static_cast<float>(amp * std::exp(-k * t[i]) + off + noise * rng.Normal());
      s[i] = static_cast<float>(std::round(40 * std::exp(-k * 0.2 * t[i]) + rng.Uniform() * 3));
    }
    if (trial == 5) std::fill(v.begin(), v.end(), 300.0f);  // flat
    const BleachingFit bp = FitBleaching(t.data(), v.data(), n, FitMethod::kPlain);
    // On two threads every other trial: the same bits either way.
    const int workers = 1 + trial % 2;
    const BleachingFit bf = FitBleaching(t.data(), v.data(), n, FitMethod::kFast, workers);
    EXPECT_EQ(bp.found, bf.found);
    EXPECT_EQ(bp.A, bf.A);
    EXPECT_EQ(bp.B, bf.B);
    EXPECT_EQ(bp.k, bf.k);
    EXPECT_EQ(bp.cost, bf.cost);

    const SpotsFit sp = FitSpotsCurve(t.data(), s.data(), n, FitMethod::kPlain);
    const SpotsFit sf = FitSpotsCurve(t.data(), s.data(), n, FitMethod::kFast, workers);
    EXPECT_EQ(sp.A, sf.A);
    EXPECT_EQ(sp.B, sf.B);
    EXPECT_EQ(sp.k, sf.k);
    EXPECT_EQ(sp.cost, sf.cost);

    // A dip and a recovery.
    std::vector<float> r(n);
    const int dip = n / 4;
    const double tau = 1 + rng.Uniform() * 20 * dt * n / 10;
    for (int i = 0; i < n; ++i)
      r[i] = static_cast<float>(
          (i < dip ? amp : amp * 0.4 + amp * 0.4 * (1 - std::exp(-(t[i] - t[dip]) / tau))) +
          noise * 0.3 * rng.Normal());
    std::vector<float> r2 = r;
    const RecoveryFit rp = FitRecovery(t.data(), r.data(), n, FitMethod::kPlain);
    const RecoveryFit rf = FitRecovery(t.data(), r2.data(), n, FitMethod::kFast, workers);
    EXPECT_EQ(r, r2);
    EXPECT_EQ(rp.tau, rf.tau);
    EXPECT_EQ(rp.a, rf.a);
    EXPECT_EQ(rp.cost, rf.cost);
    EXPECT_EQ(rp.found, rf.found);
  }
}

}  // namespace
}  // namespace lumetra
