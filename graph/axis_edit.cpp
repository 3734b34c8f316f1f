#include "graph/axis_edit.h"

#include <algorithm>

#include "common/text_format.h"
#include "graph/graph_messages.h"

namespace lumetra {

std::optional<AxisEdit> ParseAxisEdit(int axis, std::string_view first, std::string_view last,
                                      std::string_view tick, std::string& message) {
  const std::string name(kAxisNames[static_cast<size_t>(std::clamp(axis, 0, 2))]);
  const auto f = ParseReal(first), l = ParseReal(last), t = ParseReal(tick);
  auto refuse = [&](std::string text) {
    message = name + ": " + text;
    return std::nullopt;
  };
  if (!f) return refuse("First value " + std::string(kNotANumber));
  if (!l) return refuse("Last value " + std::string(kNotANumber));
  if (!t) return refuse("Tick " + std::string(kNotANumber));
  if (!(*f < *l)) return refuse(std::string(kFirstNotBelowLast));
  if (!(*t > 0)) return refuse(std::string(kTickNotPositive));
  if ((*l - *f) / *t > static_cast<double>(kMaxTicksPerAxis))
    return refuse(std::string(kTooManyTicks));
  return AxisEdit{*f, *l, *t};
}

}  // namespace lumetra
