#include "area/area_plot.h"

#include <algorithm>
#include <cmath>

#include "graph/auto_scale.h"

namespace lumetra {

void PutPlot(const AreaPlot& plot, AxisScaling scaling, std::vector<float>& matrix,
             GraphModel& model) {
  const int32_t points = static_cast<int32_t>(plot.x.size());
  const int32_t curves = std::min<int32_t>(static_cast<int32_t>(plot.curves.size()), kMaxCurves);
  matrix.assign(static_cast<size_t>(curves + 1) * points, 0.0f);
  std::copy(plot.x.begin(), plot.x.end(), matrix.begin());
  for (int32_t c = 0; c < curves; ++c) {
    const std::vector<float>& y = plot.curves[static_cast<size_t>(c)].y;
    for (int32_t i = 0; i < points; ++i) {
      const float v = i < static_cast<int32_t>(y.size()) ? y[static_cast<size_t>(i)] : NAN;
      // A gap: below both sentinels, so no line or circle touches it.
      matrix[static_cast<size_t>(c + 1) * points + i] = std::isfinite(v) ? v : -1.0e9f;
    }
  }
  model.SetData(matrix.data(), curves, points);
  for (int k = 1; k < kCurveRecords; ++k) {
    model.Curves[k].Show = false;
    model.Names[k].clear();
  }
  bool right = false;
  for (int32_t c = 0; c < curves; ++c) {
    const AreaCurve& ac = plot.curves[static_cast<size_t>(c)];
    GraphCurve& g = model.Curves[c + 1];
    g.Show = true;
    g.Y1 = ac.right;
    g.Type = ac.type;
    g.Color = ac.color;
    model.Names[c + 1] = ac.name;
    right = right || ac.right;
  }
  model.TitleX = plot.title_x;
  model.TitleY0 = plot.title_y0;
  model.TitleY1 = right ? plot.title_y1 : std::string();
  model.Notes = plot.notes;
  if (scaling != AxisScaling::kKeep && points > 0) {
    const double pad = scaling == AxisScaling::kStretched ? 0.02 : 0.05;
    if (const auto r = RowRange(model, 0)) FitAxis(model.X, r->first, r->second, 0.0, 6);
    for (int axis = 0; axis < 2; ++axis) {
      double lo = 1e300, hi = -1e300;
      for (int32_t c = 0; c < curves; ++c) {
        if (plot.curves[static_cast<size_t>(c)].right != (axis == 1)) continue;
        if (const auto r = RowRange(model, c + 1)) {
          lo = std::min(lo, r->first);
          hi = std::max(hi, r->second);
        }
      }
      if (lo > hi) continue;
      const bool from_zero =
          scaling == AxisScaling::kFromZero && !plot.y_over_data[static_cast<size_t>(axis)];
      if (from_zero) lo = std::min(lo, 0.0);
      GraphAxis& a = axis == 0 ? model.Y0 : model.Y1;
      FitAxis(a, lo, hi, pad, 6);
      // Starts on a whole tick too (FitAxis already ends on the last one).
      a.First = from_zero && lo >= 0 ? 0.0 : std::floor(a.First / a.Tick) * a.Tick;
    }
  }
  if (plot.fixed_y0) {
    model.Y0.First = plot.fixed_y0->First;
    model.Y0.Last = plot.fixed_y0->Last;
    model.Y0.Tick = plot.fixed_y0->Tick;
  }
}

}  // namespace lumetra
