// Checking the axis values typed into the graph settings dialog: first and
// last value and tick distance, refused with a message that names the axis.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumetra {

// The settings dialog refuses axis values that give more ticks than this.
inline constexpr int64_t kMaxTicksPerAxis = 1000;

struct AxisEdit {
  double first = 0, last = 10, tick = 1;
};

// axis: 0 X, 1 left Y, 2 right Y. Nothing, with `message` set, when a text is
// not a number, the first value is not below the last, the tick distance is
// not positive, or it would give more than 1000 ticks.
std::optional<AxisEdit> ParseAxisEdit(int axis, std::string_view first, std::string_view last,
                                      std::string_view tick, std::string& message);

}  // namespace lumetra
