#include "graph/ticks.h"

#include <cmath>
#include <cstdio>

namespace lumetra {
namespace {

// Multiples beyond 2^53 are no longer whole numbers apart.
constexpr double kMaxMultiple = 9007199254740992.0;

bool Representable(double v, double tick) {
  const double q = v / tick;
  return std::isfinite(q) && std::fabs(q) < kMaxMultiple - 2;
}

double At(int64_t n, double tick) {
  return static_cast<double>(n) * tick;
}

}  // namespace

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

// The loops step in whole distances from 0; here they start from a division
// and then correct by single steps, so each rule holds exactly for the
// products n * tick that are drawn.
int64_t FirstTickMultiple(double first, double tick) {
  if (!Representable(first, tick)) return 0;
  if (first > 0) {
    auto n = static_cast<int64_t>(std::floor(first / tick));
    while (At(n, tick) > first) --n;
    while (At(n, tick) <= first) ++n;
    return n;
  }
  auto n = static_cast<int64_t>(std::floor((first + tick) / tick));
  if (n > 0) n = 0;
  while (n < 0 && !(first + tick < At(n + 1, tick))) ++n;
  while (first + tick < At(n, tick)) --n;
  return n;
}

int64_t LastTickMultiple(double last, double tick) {
  if (!Representable(last, tick)) return 0;
  if (last > 0) {
    auto n = static_cast<int64_t>(std::ceil(last / tick));
    while (n > 0 && At(n - 1, tick) >= last) --n;
    while (At(n, tick) < last) ++n;
    return n;
  }
  auto n = static_cast<int64_t>(std::floor(last / tick));
  if (n > 0) n = 0;
  while (n < 0 && !(last < At(n + 1, tick))) ++n;
  while (last < At(n, tick)) --n;
  return n;
}

TickSpan AxisTicks(double first, double last, double tick) {
  TickSpan span;
  span.tick = tick;
  if (!(tick > 0) || !Representable(first, tick) || !Representable(last, tick)) return span;
  span.first_n = FirstTickMultiple(first, tick);
  span.last_n = LastTickMultiple(last, tick);
  return span;
}

std::string TickLabelText(double value) {
  if (!std::isfinite(value)) return value != value ? "NAN" : (value > 0 ? "INF" : "-INF");
  const bool near_zero = value > -0.1 && value < 0.1;
  const int64_t unit = near_zero ? 10000 : 100;
  double scaled = value * static_cast<double>(unit);
  char buf[400];
  if (std::fabs(scaled) >= 9.0e18) {  // beyond int64: already a whole number
    std::snprintf(buf, sizeof buf, "%.0f", value);
    return buf;
  }
  // A tick such as 0.57 is stored just below itself; a product within a
  // billionth of a whole unit counts as that unit before truncating.
  const double whole = std::round(scaled);
  if (std::fabs(scaled - whole) <= 1e-9 * std::fmax(1.0, std::fabs(scaled))) scaled = whole;
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
