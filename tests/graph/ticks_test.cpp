// Tick distances, the asymmetric first and last tick rules and tick labels.
#include "graph/ticks.h"

#include <gtest/gtest.h>

#include <cmath>

#include "common/random.h"

namespace lumetra {
namespace {

TEST(NiceTickDistance, WorkedExamples) {
  EXPECT_DOUBLE_EQ(NiceTickDistance(7, 10), 0.5);
  EXPECT_DOUBLE_EQ(NiceTickDistance(100, 10), 5);
  EXPECT_DOUBLE_EQ(NiceTickDistance(1, 10), 0.05);
  EXPECT_DOUBLE_EQ(NiceTickDistance(1, 0), 1);
  EXPECT_DOUBLE_EQ(NiceTickDistance(12, 6), 2);
  EXPECT_DOUBLE_EQ(NiceTickDistance(0.0042, 5), 0.0005);
  EXPECT_DOUBLE_EQ(NiceTickDistance(2.5e6, 25), 5e4);  // d = 1e5 is 10 steps of 1e4
  EXPECT_DOUBLE_EQ(NiceTickDistance(10, 10), 0.5);
}

TEST(NiceTickDistance, DegenerateRangesGiveOne) {
  EXPECT_DOUBLE_EQ(NiceTickDistance(0, 5), 1);
  EXPECT_DOUBLE_EQ(NiceTickDistance(-3, 5), 1);
  EXPECT_DOUBLE_EQ(NiceTickDistance(NAN, 5), 1);
  EXPECT_DOUBLE_EQ(NiceTickDistance(INFINITY, 5), 1);
}

// Over many ranges and the counts the windows use, the distance is 1, 2 or 5
// times a power of ten and lies between half and five thirds of range/count.
TEST(NiceTickDistance, IsOneTwoOrFiveTimesAPowerOfTenNearTheWish) {
  Rng rng(11);
  for (int i = 0; i < 3000; ++i) {
    const double range = std::pow(10.0, rng.Uniform() * 24 - 12) * (1 + rng.Uniform() * 9);
    for (double count : {5.0, 6.0, 25.0}) {
      SCOPED_TRACE(testing::Message() << "range " << range << " count " << count);
      const double t = NiceTickDistance(range, count);
      const double e = std::floor(std::log10(t) + 1e-9);
      const double mantissa = t / std::pow(10.0, e);
      EXPECT_TRUE(std::fabs(mantissa - 1) < 1e-9 || std::fabs(mantissa - 2) < 1e-9 ||
                  std::fabs(mantissa - 5) < 1e-9)
          << t;
      const double d = range / count;
      EXPECT_GE(t, 0.5 * d * (1 - 1e-12));
      EXPECT_LE(t, 5.0 / 3.0 * d * (1 + 1e-12));
    }
  }
}

TEST(AxisTicks, WorkedExamples) {
  struct Case {
    double first, last, tick;
    double first_tick, last_tick;
  };
  const Case cases[] = {
      {2, 10, 1, 3, 10},      {-2.5, 10, 1, -2, 10}, {-2, 10, 1, -1, 10},
      {0, 10, 1, 0, 10},      {0, 9.5, 1, 0, 10},    {0.5, 7.2, 0.5, 1, 7.5},
      {-10, -2.5, 1, -9, -3}, {-10, 0, 2, -8, 0},    {-0.35, 0.42, 0.1, -0.3, 0.5},
      {3, 4, 1, 4, 4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.first << ".." << c.last << " by " << c.tick);
    const TickSpan s = AxisTicks(c.first, c.last, c.tick);
    EXPECT_NEAR(s.FirstTick(), c.first_tick, 1e-12);
    EXPECT_NEAR(s.LastTick(), c.last_tick, 1e-12);
  }
}

// The rules as stepping loops from 0 over the products n * tick: the closed
// forms must agree for negative, fractional and exact-multiple ends.
int64_t LoopFirst(double first, double tick) {
  int64_t n = 0;
  if (first > 0) {
    while (n * tick <= first) ++n;
  } else {
    while (first + tick < n * tick) --n;
  }
  return n;
}

int64_t LoopLast(double last, double tick) {
  int64_t n = 0;
  if (last > 0) {
    while (n * tick < last) ++n;
  } else {
    while (last < n * tick) --n;
  }
  return n;
}

TEST(AxisTicks, AgreeWithTheSteppingLoops) {
  Rng rng(5);
  const double ticks[] = {0.05, 0.1, 0.2, 0.25, 0.5, 1, 2, 3, 5, 10, 0.001};
  for (int i = 0; i < 20000; ++i) {
    const double tick = ticks[i % std::size(ticks)];
    double v = (rng.Uniform() - 0.5) * 100 * tick;
    if (i % 3 == 0) v = std::round(v / tick) * tick;  // exactly on a multiple
    if (i % 7 == 0) v = std::round(v) * 0.1;          // decimal fractions
    SCOPED_TRACE(testing::Message() << "value " << v << " tick " << tick);
    EXPECT_EQ(FirstTickMultiple(v, tick), LoopFirst(v, tick));
    EXPECT_EQ(LastTickMultiple(v, tick), LoopLast(v, tick));
  }
}

TEST(AxisTicks, FarFromZeroStaysQuickAndUnrepresentableIsEmpty) {
  const TickSpan far = AxisTicks(1e12, 1e12 + 10, 1);
  EXPECT_EQ(far.Count(), 10);
  EXPECT_DOUBLE_EQ(far.FirstTick(), 1e12 + 1);
  EXPECT_EQ(AxisTicks(0, 1e300, 1e-300).Count(), 0);
  EXPECT_EQ(AxisTicks(0, 10, 0).Count(), 0);
}

TEST(TickLabelText, NearZeroFourDecimalsElsewhereTwo) {
  struct Case {
    double v;
    const char* text;
  };
  const Case cases[] = {
      {0.123456, "0.12"},
      {0.0123456, "0.0123"},
      {250, "250"},
      {0, "0"},
      {-0.05, "-0.05"},
      {0.1, "0.1"},
      {-0.1, "-0.1"},
      {0.0999, "0.0999"},
      {123.456, "123.45"},
      {-2.999, "-2.99"},
      {1e-5, "0"},
      {-1e-5, "0"},
      {0.57, "0.57"},
      {0.1 + 0.2, "0.3"},
      {7 * 0.1, "0.7"},
      {1e17, "100000000000000000"},
      {-1234567.891, "-1234567.89"},
      {0.00015, "0.0001"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.v);
    EXPECT_EQ(TickLabelText(c.v), c.text);
  }
}

TEST(TickLabelText, EveryMultipleOfANiceTickReadsBack) {
  for (double tick : {0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 0.0001, 0.0005}) {
    for (int n = -200; n <= 200; ++n) {
      const double v = n * tick;
      const double back = std::stod(TickLabelText(v));
      EXPECT_NEAR(back, v, 1e-12) << n << " x " << tick;
    }
  }
}

}  // namespace
}  // namespace lumetra
