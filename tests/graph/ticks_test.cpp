// Tick distances, the asymmetric first and last tick rules and tick labels.
#include "graph/ticks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "common/random.h"
#include "graph/auto_scale.h"
#include "graph/graph_model.h"

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

std::vector<std::string> Labels(const TickSpan& span) {
  std::vector<std::string> labels;
  ForEachTick(span, [&](float v) { labels.push_back(TickLabelText(v)); });
  return labels;
}

TEST(AxisTicks, WorkedExamples) {
  struct Case {
    double first, last, tick;
    double first_tick, last_tick;
    int64_t count;
  };
  const Case cases[] = {
      {2, 10, 1, 3, 10, 8},        {-2.5, 10, 1, -2, 10, 13},  {-2, 10, 1, -1, 10, 12},
      {0, 10, 1, 0, 10, 11},       {0, 9.5, 1, 0, 10, 11},     {0.5, 7.2, 0.5, 1, 7.5, 14},
      {-10, -2.5, 1, -9, -3, 7},   {-10, 0, 2, -8, 0, 5},      {-0.35, 0.42, 0.1, -0.3, 0.5, 9},
      {3, 4, 1, 4, 4, 1},          {0, 9.5, 2, 0, 10, 6},      {0, 18, 5, 0, 20, 5},
      {-2, -1.5, 1, 0, 0, 0},  // first tick -1 above the last tick -2: none
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.first << ".." << c.last << " by " << c.tick);
    const TickSpan s = AxisTicks(c.first, c.last, c.tick);
    EXPECT_EQ(s.Count(), c.count);
    if (s.Count() == 0) continue;
    EXPECT_NEAR(s.first, c.first_tick, 1e-6);
    EXPECT_NEAR(s.last, c.last_tick, 1e-6);
  }
}

// The last tick past the axis's end is one of the ticks drawn.
TEST(AxisTicks, LastTickPastTheEndIsLabelled) {
  EXPECT_EQ(Labels(AxisTicks(0, 9.5, 2)), (std::vector<std::string>{"0", "2", "4", "6", "8", "10"}));
  EXPECT_EQ(Labels(AxisTicks(0, 18, 5)), (std::vector<std::string>{"0", "5", "10", "15", "20"}));
}

// Ticks are sums of the distance in single precision, labelled by truncation.
// Known answers: a product n * distance (in single or double precision) or a
// label rounded to the nearest unit would read differently.
TEST(AxisTicks, StepByAddingTheDistanceInSinglePrecision) {
  struct Case {
    double first, last, tick;
    size_t index;
    const char* label;
  };
  const Case cases[] = {
      {0, 0.6, 0.01, 29, "0.28"},  // 0.29 as 29 sums of 0.01f lies just below it
      {0, 0.6, 0.01, 10, "0.0999"},
      {0, 0.6, 0.01, 7, "0.0699"},  // 7 * 0.01f reads "0.07"
      {0, 0.6, 0.01, 18, "0.18"},   // 18 * 0.01f reads "0.17"
      {0, 3, 0.1, 7, "0.7"},        // 7 * 0.1f reads "0.69"
      {0, 3, 0.1, 24, "2.39"},      // 2.4 in double reads "2.4"
      {0, 3, 0.1, 30, "2.99"},
      {0, 3, 0.1, 31, "3.09"},  // 30 sums stay below 3, so the last tick is one more
      {-1, 1, 0.2, 5, "0.19"},  // up from the first tick -0.8, not from 0
      {-1, 1, 0.2, 9, "0.99"},
      {-3, 0, 0.1, 0, "-2.99"},  // the first tick from 0 by subtracting
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.first << ".." << c.last << " by " << c.tick << " tick "
                                    << c.index);
    const std::vector<std::string> labels = Labels(AxisTicks(c.first, c.last, c.tick));
    ASSERT_LT(c.index, labels.size());
    EXPECT_EQ(labels[c.index], c.label);
  }
  EXPECT_EQ(AxisTicks(0, 3, 0.1).Count(), 32);
  EXPECT_EQ(Labels(AxisTicks(-0.35, 0.42, 0.1)),
            (std::vector<std::string>{"-0.3", "-0.2", "-0.1", "0", "0.0999", "0.19", "0.29",
                                      "0.39", "0.49"}));
}

TEST(AxisTicks, ManyTicksAllCounted) {
  const TickSpan s = AxisTicks(0, 5000, 1);
  EXPECT_EQ(s.Count(), 5001);
  const std::vector<std::string> labels = Labels(s);
  EXPECT_EQ(labels.front(), "0");
  EXPECT_EQ(labels[1234], "1234");
  EXPECT_EQ(labels.back(), "5000");
  const TickSpan far = AxisTicks(1e6, 1e6 + 10, 1);
  EXPECT_EQ(far.Count(), 10);
  EXPECT_EQ(far.first, 1e6f + 1);
}

// Loops that adding the distance can no longer move end with no ticks
// instead of running for ever.
TEST(AxisTicks, UnreachableEndsGiveNoTicks) {
  struct Case {
    double first, last, tick;
  };
  const Case cases[] = {
      {1e12, 1e12 + 10, 1},  // 1 added to 2^24 in single precision is 2^24
      {-1e12, 0, 1},         {0, 1e300, 1e-300},  // the distance is 0 in single precision
      {0, 10, 0},            {0, 10, -1},         {0, 10, NAN},
      {-INFINITY, 0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.first << ".." << c.last << " by " << c.tick);
    EXPECT_EQ(AxisTicks(c.first, c.last, c.tick).Count(), 0);
  }
  EXPECT_FALSE(FirstTickWalk(1e12, 1).reached);
  EXPECT_TRUE(LastTickWalk(1e6, 1).reached);
}

// Auto-scaled axes end on their last tick, whatever the data's range: the tick
// loop from 0 then stops exactly at the axis end and no label is drawn past it.
TEST(FitAxis, PositiveEndsLandOnTheLastTick) {
  Rng rng(7);
  for (int i = 0; i < 2000; ++i) {
    const double scale = std::pow(10.0, static_cast<int>(rng.Uniform() * 9) - 4);
    const double lo = (rng.Uniform() * 100 - 50) * scale;
    const double hi = lo + (0.001 + rng.Uniform() * 100) * scale;
    GraphAxis axis;
    FitAxis(axis, lo, hi, i % 2 ? 0.05 : 0.0, 6);
    SCOPED_TRACE(testing::Message() << lo << ".." << hi);
    ASSERT_LE(axis.First, lo);
    ASSERT_GE(axis.Last, hi);
    if (axis.Last <= 0) continue;
    const TickSpan span = AxisTicks(axis.First, axis.Last, axis.Tick);
    ASSERT_GT(span.Count(), 0);
    EXPECT_EQ(static_cast<double>(LastTickWalk(axis.Last, span.step).value), axis.Last);
    EXPECT_LE(axis.Last - hi, (hi - lo) * 0.05 + axis.Tick * 1.0001);  // at most a tick more
  }
  GraphAxis drift;
  FitAxis(drift, 0, 0.33, 0, 6);  // 0.05 apart: ends on 0.35, not at 0.33 with 0.35 past it
  EXPECT_FLOAT_EQ(static_cast<float>(drift.Last), 0.35f);
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
      {0.57, "0.56"},  // 56.99999999999999 truncates to 56
      {0.29, "0.28"},
      {0.1 + 0.2, "0.3"},  // 30.000000000000004
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

}  // namespace
}  // namespace lumetra
