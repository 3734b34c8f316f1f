#include "area/fit_extras.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "common/random.h"

namespace lumetra {
namespace {

TEST(FitExtras, StudentPointsMatchTables) {
  EXPECT_NEAR(StudentT975(1), 12.706, 1e-3);
  EXPECT_NEAR(StudentT975(5), 2.571, 2e-3);
  EXPECT_NEAR(StudentT975(10), 2.228, 1e-3);
  EXPECT_NEAR(StudentT975(57), 2.002, 1e-3);
}

// The intervals must hold the true rate in about 95 of 100 noisy curves.
TEST(FitExtras, BleachingIntervalsCoverTheTrueRate) {
  const Coverage c = BleachingIntervalCoverage(1000, 7);
  EXPECT_EQ(c.curves, 1000);
  EXPECT_GE(c.Fraction(), 0.93);
  EXPECT_LE(c.Fraction(), 0.97);
  EXPECT_GT(c.mean_width, 0.02);  // wider than the grid step: the coverage is the profile's
}

TEST(FitExtras, IntervalsOfRecoveryAndSpotsHoldTheirRates) {
  std::vector<float> t(80), r(80), s(80);
  Rng rng(3);
  for (int i = 0; i < 80; ++i) {
    t[i] = i * 0.5f;
    r[i] = static_cast<float>(100 + 60 * (1 - std::exp(-t[i] / 6.0)) + rng.Normal());
    s[i] = static_cast<float>(30 * std::exp(-0.08 * t[i]) + 4 + rng.Normal());
  }
  const RateInterval tau = RecoveryTauInterval(t.data(), r.data(), 0, 80);
  ASSERT_TRUE(tau.valid);
  EXPECT_LT(tau.low, 6.0);
  EXPECT_GT(tau.high, 6.0);
  EXPECT_LT(tau.high - tau.low, 3.0);
  const RateInterval k = SpotsRateInterval(t.data(), s.data(), 80);
  ASSERT_TRUE(k.valid);
  EXPECT_LT(k.low, 0.08);
  EXPECT_GT(k.high, 0.08);
  // Too few points for any interval.
  EXPECT_FALSE(BleachingRateInterval(t.data(), s.data(), 3).valid);
  EXPECT_EQ(IntervalText(RateInterval{}, "k"), "k: no 95% interval (too few points)");
  RateInterval open{true, 0.1, 0.0, 0.25, true, false};
  EXPECT_EQ(IntervalText(open, "k"), "k=0.1, 95%: <0 - 0.25");
}

TEST(FitExtras, DoubleBleachingSeparatesTwoRates) {
  std::vector<float> t(200), v(200);
  for (int i = 0; i < 200; ++i) {
    t[i] = i * 0.05f;
    v[i] = static_cast<float>(600 * std::exp(-2.0 * t[i]) + 300 * std::exp(-0.2 * t[i]) + 100);
  }
  const DoubleBleachingFit f = FitDoubleBleaching(t.data(), v.data(), 200);
  ASSERT_TRUE(f.found);
  EXPECT_NEAR(f.k1, 0.2f, 0.021f);
  EXPECT_NEAR(f.k2, 2.0f, 0.021f);
  EXPECT_NEAR(f.A1 + f.A2 + f.B, 1000.0f, 5.0f);
  EXPECT_EQ(DoubleBleachingText(f).rfind("Bleach rates=", 0), 0u);
}

TEST(FitExtras, NormalisationsAndTheirRefusals) {
  const std::vector<float> c = {10, 10, 2, 4, 6}, ref = {20, 20, 18, 18, 18};
  std::string message;
  const auto full = FullScaleNormalised(c, message);
  ASSERT_TRUE(full);
  EXPECT_FLOAT_EQ((*full)[0], 1.0f);
  EXPECT_FLOAT_EQ((*full)[2], 0.0f);
  EXPECT_FLOAT_EQ((*full)[4], 0.5f);
  const auto dbl = DoubleNormalised(c, ref, message);
  ASSERT_TRUE(dbl);
  EXPECT_FLOAT_EQ((*dbl)[4], (6.0f / 10.0f) / (18.0f / 20.0f));

  EXPECT_FALSE(FullScaleNormalised({1, 2, 3}, message));  // the minimum comes first
  EXPECT_NE(message.find("first point"), std::string::npos);
  EXPECT_FALSE(DoubleNormalised(c, {1, 2}, message));
  EXPECT_FALSE(DoubleNormalised({-1, -1, -5, 0}, {1, 1, 1, 1}, message));
}

}  // namespace
}  // namespace lumetra
