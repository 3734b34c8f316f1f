#include "graph/ticks.h"

#include <cmath>
#include <cstdio>

namespace lumetra {

double NiceTickDistance(double range, double count) {
  if (count == 0) return 1.0;
  const double d = range / count;
  if (!(d > 0) || !std::isfinite(d)) return 1.0;
  // The smallest power of ten not below d / 10, starting at 1e-17. Powers are
  // taken whole, and a product within rounding of a power counts as equal, so
  // d = 0.1 gives the step 0.01 (and the distance 0.05), not 0.1.
  int exponent = -17;
  double step = 1e-17;
  while (d / 10 > step * (1 + 1e-12)) step = std::pow(10.0, ++exponent);
  if (0.8 * step > d) return 5 * step;
  if (1.5 * step > d) return step;
  if (3 * step > d) return 2 * step;
  return 5 * step;
}

TickWalk FirstTickWalk(double first, float step) {
  TickWalk w;
  if (first > 0) {
    while (w.value <= first) {
      const float next = w.value + step;
      if (next == w.value) return {w.value, w.steps, false};
      w.value = next;
      ++w.steps;
    }
  } else {
    while (first + step < w.value) {
      const float next = w.value - step;
      if (next == w.value) return {w.value, w.steps, false};
      w.value = next;
      --w.steps;
    }
  }
  return w;
}

TickWalk LastTickWalk(double last, float step) {
  TickWalk w;
  if (last > 0) {
    while (w.value < last) {
      const float next = w.value + step;
      if (next == w.value) return {w.value, w.steps, false};
      w.value = next;
      ++w.steps;
    }
  } else {
    while (last < w.value) {
      const float next = w.value - step;
      if (next == w.value) return {w.value, w.steps, false};
      w.value = next;
      --w.steps;
    }
  }
  return w;
}

TickSpan AxisTicks(double first, double last, double tick) {
  TickSpan span;
  span.step = static_cast<float>(tick);
  if (!(span.step > 0)) return span;
  const TickWalk f = FirstTickWalk(first, span.step);
  const TickWalk l = LastTickWalk(last, span.step);
  if (!f.reached || !l.reached || l.steps < f.steps) return span;
  span.first = f.value;
  span.count = l.steps - f.steps + 1;
  // Stepping up from a first tick below 0 need not land exactly where the
  // last tick's own loop did; `last` is the value drawn.
  ForEachTick(span, [&](float v) { span.last = v; });
  return span;
}

std::string TickLabelText(double value) {
  if (!std::isfinite(value)) return value != value ? "NAN" : (value > 0 ? "INF" : "-INF");
  const bool near_zero = value > -0.1 && value < 0.1;
  const int64_t unit = near_zero ? 10000 : 100;
  const double scaled = value * static_cast<double>(unit);
  char buf[400];
  if (std::fabs(scaled) >= 9.0e18) {  // beyond int64: already a whole number
    std::snprintf(buf, sizeof buf, "%.0f", value);
    return buf;
  }
  const auto n = static_cast<int64_t>(scaled);  // truncates toward zero
  const uint64_t magnitude = n < 0 ? 0 - static_cast<uint64_t>(n) : static_cast<uint64_t>(n);
  std::string text = n < 0 ? "-" : "";
  text += std::to_string(magnitude / unit);
  uint64_t fraction = magnitude % unit;
  if (fraction != 0) {
    std::snprintf(buf, sizeof buf, near_zero ? "%04llu" : "%02llu",
                  static_cast<unsigned long long>(fraction));
    std::string digits = buf;
    while (digits.back() == '0') digits.pop_back();
    text += "." + digits;
  }
  return text;
}

}  // namespace lumetra
