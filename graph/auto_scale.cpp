#include "graph/auto_scale.h"

#include <cmath>

#include "graph/ticks.h"

namespace lumetra {

std::optional<std::pair<double, double>> RowRange(const GraphModel& model, int row) {
  if (row < 0 || row > model.CurveCount()) return std::nullopt;
  bool any = false;
  double lo = 0, hi = 0;
  for (int i = model.FirstPoint(); i < model.LastPoint(); ++i) {
    const float v = model.Data.Value(row, i);
    if (!std::isfinite(v) || v <= kLineGapValue) continue;
    if (!any || v < lo) lo = v;
    if (!any || v > hi) hi = v;
    any = true;
  }
  if (!any) return std::nullopt;
  return std::make_pair(lo, hi);
}

void FitAxis(GraphAxis& axis, double lo, double hi, double pad, double tick_count) {
  if (!(hi > lo)) {
    const double half = lo != 0 ? std::fabs(lo) * 0.5 : 0.5;
    lo -= half;
    hi += half;
  }
  const double margin = (hi - lo) * pad;
  axis.First = lo - margin;
  axis.Last = hi + margin;
  axis.Tick = NiceTickDistance(axis.Last - axis.First, tick_count);
  // The last tick is the first one at or past the last value, so a last value
  // between ticks would put a label beyond the plot's edge. End the axis on
  // that tick instead, as the tick loop itself reaches it.
  if (axis.Last > 0) {
    const TickWalk end = LastTickWalk(axis.Last, static_cast<float>(axis.Tick));
    if (end.reached && end.value >= axis.Last) axis.Last = end.value;
  }
}

}  // namespace lumetra
