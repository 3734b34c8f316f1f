// Tick distances, tick positions and tick label texts of the graph's axes.
// Ticks are reached from 0 by adding or subtracting the tick distance in
// single precision, one distance at a time, and the first and last tick follow
// deliberately asymmetric rules (see AxisTicks).
#pragma once

#include <cstdint>
#include <string>

namespace lumetra {

// A tick distance of 1, 2 or 5 times a power of ten for about `count` ticks
// over `range`. Count 0, and a range that gives no positive distance, give 1.
double NiceTickDistance(double range, double count);

// The ticks of one axis: `count` values, the first one `first` and each next
// one the one before plus `step`, up to `last`.
struct TickSpan {
  float first = 0;
  float last = 0;
  float step = 1;  // the tick distance in single precision
  int64_t count = 0;
  int64_t Count() const { return count; }
};

// A tick as a stepping loop from 0 leaves it: the value and the signed number
// of distances added (negative when subtracted). `reached` is false when the
// loop could not go on because adding the distance no longer changes the
// value (a distance far below the value's precision).
struct TickWalk {
  float value = 0;
  int64_t steps = 0;
  bool reached = true;
};

// First tick. For a first value above 0: add the distance while the tick is
// not above the first value (first 2, distance 1: 3). For 0 or less: subtract
// it while first + distance is below the tick (-2.5 gives -2, -2 gives -1,
// 0 gives 0).
TickWalk FirstTickWalk(double first, float step);
// Last tick. For a last value above 0: add the distance while the tick is
// below it. For 0 or less: subtract it while the last value is below the tick.
TickWalk LastTickWalk(double last, float step);
// Both rules together; the ticks run from the first to the last inclusive.
// A distance that is not positive in single precision, or a loop that cannot
// reach its end, gives no ticks.
TickSpan AxisTicks(double first, double last, double tick);

// Calls fn(value) for every tick of the span, first to last, each value the
// one before plus the distance.
template <typename Fn>
void ForEachTick(const TickSpan& span, Fn fn) {
  float t = span.first;
  for (int64_t i = 0; i < span.count; ++i) {
    fn(t);
    t += span.step;
  }
}

// Label text of a tick value: multiplied by 10000 strictly between -0.1 and
// 0.1 (by 100 elsewhere), truncated toward zero and divided back, written as
// a plain decimal (0.123456 reads "0.12", 0.0123456 reads "0.0123", 250 reads
// "250"). A value stored just below a decimal reads one unit lower: the tick
// 0.29 reached by adding 0.01 in single precision reads "0.28".
std::string TickLabelText(double value);

}  // namespace lumetra
