#include "graph/curve_geometry.h"

#include <algorithm>

namespace lumetra {
namespace {

struct Walker {
  const GraphModel& model;
  const GraphLayout& layout;
  int k;
  bool right;

  PixelPoint At(int i) const {
    return {layout.PixelX(model.Data.Value(0, i)), layout.PixelY(model.Data.Value(k, i), right)};
  }
};

void StartRun(CurveGeometry& g) {
  g.run_starts.push_back(static_cast<int32_t>(g.line.size()));
}

// "Line": one polyline, skipping a point that lands on the pixel last drawn.
void BuildLine(const Walker& w, int first, int last, CurveGeometry& g) {
  StartRun(g);
  for (int i = first; i < last; ++i) {
    const PixelPoint p = w.At(i);
    if (!g.line.empty() && g.line.back() == p) continue;
    g.line.push_back(p);
  }
}

// "LineCircle": segments only between neighbours that both lie above the line
// sentinel, so a sentinel value breaks the line (a run of one point draws no
// segment); circles at every value at or above the circle sentinel.
void BuildLineCircle(const Walker& w, int first, int last, CurveGeometry& g) {
  bool in_run = false;
  for (int i = first; i < last; ++i) {
    const float v = w.model.Data.Value(w.k, i);
    const PixelPoint p = w.At(i);
    if (v > kLineGapValue) {
      if (!in_run) StartRun(g);
      in_run = true;
      g.line.push_back(p);
    } else {
      in_run = false;
    }
    if (v >= kCircleGapValue) g.symbols.push_back(p);
  }
}

void BuildVariation(const Walker& w, int first, int last, CurveGeometry& g) {
  const bool has_spread = w.k < w.model.CurveCount();
  for (int i = first; i < last; ++i) {
    const float v = w.model.Data.Value(w.k, i);
    const float spread = has_spread ? w.model.Data.Value(w.k + 1, i) : 0.0f;
    const int32_t x = w.layout.PixelX(w.model.Data.Value(0, i));
    const int32_t hi = w.layout.PixelY(static_cast<double>(v) + spread, w.right);
    const int32_t lo = w.layout.PixelY(static_cast<double>(v) - spread, w.right);
    g.strokes.push_back({{x, hi}, {x, lo}});
    g.strokes.push_back({{x - g.half, hi}, {x + g.half, hi}});
    g.strokes.push_back({{x - g.half, lo}, {x + g.half, lo}});
  }
}

}  // namespace

void CurveGeometry::Clear() {
  line.clear();
  run_starts.clear();
  shape = SymbolShape::kNone;
  symbols.clear();
  half = 0;
  bars.clear();
  strokes.clear();
}

void BuildCurveGeometry(const GraphModel& model, const GraphLayout& layout, int k,
                        CurveGeometry& g) {
  g.Clear();
  if (k < 1 || k > model.CurveCount()) return;
  const GraphCurve& c = model.Curves[k];
  const Walker w{model, layout, k, c.Y1};
  const int first = model.FirstPoint(), last = model.LastPoint();
  g.half = std::max(c.Size, 0) / 2;
  switch (c.Type) {
    case kCurveLine:
      BuildLine(w, first, last, g);
      break;
    case kCurveCircle:
      g.shape = SymbolShape::kCircle;
      for (int i = first; i < last; ++i) {
        const PixelPoint p = w.At(i);
        if (g.symbols.empty() || !(g.symbols.back() == p)) g.symbols.push_back(p);
      }
      break;
    case kCurveCross:
      g.shape = SymbolShape::kCross;
      for (int i = first; i < last; ++i) g.symbols.push_back(w.At(i));
      break;
    case kCurveLineCircle:
      g.shape = SymbolShape::kCircle;
      BuildLineCircle(w, first, last, g);
      break;
    case kCurveLineCross:
      g.shape = SymbolShape::kCross;
      StartRun(g);
      for (int i = first; i < last; ++i) g.line.push_back(w.At(i));
      g.symbols = g.line;
      break;
    case kCurveBar:
      for (int i = first; i < last; ++i) {
        const PixelPoint p = w.At(i);
        const int32_t bottom = layout.PlotBottom();
        g.bars.push_back(
            {p.x - g.half, std::min(p.y, bottom), p.x + g.half, std::max(p.y, bottom)});
      }
      break;
    case kCurveVariation:
      BuildVariation(w, first, last, g);
      break;
    default:  // an unknown type draws nothing
      break;
  }
}

}  // namespace lumetra
