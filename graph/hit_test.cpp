#include "graph/hit_test.h"

namespace lumetra {

bool GraphHitTest(GraphModel& model, const GraphLayout& layout, int x, int y) {
  GraphReadout& r = model.Readout;
  const int curves = model.CurveCount();
  for (int row = 0; row <= curves; ++row) r.Values[row] = 0;
  r.Index = -1;
  r.NearestCurve = 0;
  if (!r.Enabled || x <= layout.PlotLeft || x > layout.PlotRight()) return false;

  const int last = model.LastPoint();
  for (int i = model.FirstPoint(); i < last; ++i) {
    if (layout.PixelX(model.Data.Value(0, i)) > x) {
      r.Index = i;
      break;
    }
  }
  if (r.Index < 0) return true;
  for (int row = 0; row <= curves; ++row) r.Values[row] = model.Data.Value(row, r.Index);
  for (int k = 1; k <= curves; ++k) {
    if (!model.Curves[k].Show) continue;
    const int py = layout.PixelY(model.Data.Value(k, r.Index), model.Curves[k].Y1);
    if (py > y - 2 && py <= y + 2) {
      r.NearestCurve = k;
      break;
    }
  }
  return true;
}

}  // namespace lumetra
