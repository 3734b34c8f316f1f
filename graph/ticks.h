// Tick distances, tick positions and tick label texts of the graph's axes.
// Ticks lie on whole multiples of the tick distance counted from 0, and the
// first and last tick follow deliberately asymmetric rules (see FirstTick).
#pragma once

#include <cstdint>
#include <string>

namespace lumetra {

// A tick distance of 1, 2 or 5 times a power of ten for about `count` ticks
// over `range`. Count 0, and a range that gives no positive distance, give 1.
double NiceTickDistance(double range, double count);

// The ticks of one axis as whole multiples first_n..last_n of `tick`.
struct TickSpan {
  int64_t first_n = 0;
  int64_t last_n = -1;
  double tick = 1;
  int64_t Count() const { return last_n >= first_n ? last_n - first_n + 1 : 0; }
  double Value(int64_t n) const { return static_cast<double>(n) * tick; }
  double FirstTick() const { return Value(first_n); }
  double LastTick() const { return Value(last_n); }
};

// First tick. For a first value above 0: the smallest multiple strictly
// greater than it (2 with distance 1 gives 3). For 0 or less: the largest
// multiple not greater than first + tick, and never above 0 (-2.5 gives -2,
// -2 gives -1, 0 gives 0).
int64_t FirstTickMultiple(double first, double tick);
// Last tick. For a last value above 0: the smallest multiple not less than it.
// For 0 or less: the largest multiple not greater than it.
int64_t LastTickMultiple(double last, double tick);
// Both rules together. `tick` must be positive. Ranges so far from 0 that the
// multiples do not fit in 53 bits give an empty span.
TickSpan AxisTicks(double first, double last, double tick);

// Label text of a tick value: truncated toward zero to 4 decimals strictly
// between -0.1 and 0.1, to 2 decimals elsewhere; plain decimal, no exponent
// (0.123456 reads "0.12", 0.0123456 reads "0.0123", 250 reads "250").
std::string TickLabelText(double value);

}  // namespace lumetra
