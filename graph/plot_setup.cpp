#include "graph/plot_setup.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "graph/auto_scale.h"
#include "graph/graph_messages.h"
#include "graph/ticks.h"

namespace lumetra {
namespace {

constexpr double kTicksWished = 6;  // as the analysis windows fit their axes
constexpr double kPad = 0.05;       // of the value range, above and below

// Curves 6 to 14 are black in a new graph; a table of many columns would be
// unreadable, so the plot command gives them colours of their own.
constexpr uint32_t kLaterColors[] = {0xFF00FF, 0x808000, 0x0080FF, 0x800080, 0x004080,
                                     0x008080, 0x800000, 0x808080, 0x004000};

bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

// Fits `axis` to the shown curves scaled on it; bars reach from 0.
void FitValueAxis(GraphModel& m, GraphAxis& axis, bool right,
                  const std::optional<std::pair<double, double>>& range) {
  if (range) {
    axis.First = range->first;
    axis.Last = range->second;
    axis.Tick = NiceTickDistance(axis.Last - axis.First, kTicksWished);
    return;
  }
  bool any = false, bars = false;
  double lo = 0, hi = 0;
  for (int k = 1; k <= m.CurveCount(); ++k) {
    if (!m.Curves[k].Show || m.Curves[k].Y1 != right) continue;
    auto r = RowRange(m, k);
    if (!r) continue;
    if (m.Curves[k].Type == kCurveVariation && k < m.CurveCount()) {
      // Widen by the largest spread of the next row.
      auto spread = RowRange(m, k + 1);
      const double s = spread ? std::max(std::fabs(spread->first), std::fabs(spread->second)) : 0;
      r->first -= s;
      r->second += s;
    }
    bars = bars || m.Curves[k].Type == kCurveBar;
    lo = any ? std::min(lo, r->first) : r->first;
    hi = any ? std::max(hi, r->second) : r->second;
    any = true;
  }
  if (!any) return;
  if (bars) {
    lo = std::min(lo, 0.0);
    hi = std::max(hi, 0.0);
  }
  FitAxis(axis, lo, hi, kPad, kTicksWished);
  if (bars && lo == 0) axis.First = 0;
}

std::string JoinNames(const GraphModel& m, const PlotTable& t, bool right) {
  std::string joined;
  for (int k = 1; k <= m.CurveCount(); ++k) {
    if (!m.Curves[k].Show || m.Curves[k].Y1 != right) continue;
    if (!joined.empty()) joined += ", ";
    joined += t.names[k];
  }
  return joined;
}

}  // namespace

std::optional<int> CurveTypeFromName(std::string_view name) {
  for (size_t i = 0; i < kCurveTypeNames.size(); ++i)
    if (SameName(name, kCurveTypeNames[i])) return static_cast<int>(i);
  return std::nullopt;
}

std::optional<std::string> SetUpPlot(GraphModel& m, const PlotTable& t, const PlotOptions& o) {
  const int curves = t.Curves();
  if (static_cast<int>(o.types.size()) > curves)
    return "--types names " + std::to_string(o.types.size()) + " curves, the table holds " +
           std::to_string(curves);
  for (int k : o.right)
    if (k < 1 || k > curves)
      return "--right: there is no curve " + std::to_string(k) + " (1-" + std::to_string(curves) +
             ")";
  if (o.width < 1 || o.width > 20) return "--line-width must lie within 1-20";
  if (o.symbol < 2 || o.symbol > 30) return "--symbol-size must lie within 2-30";
  for (const auto* r : {&o.x_range, &o.y_range, &o.y1_range})
    if (*r && !((*r)->first < (*r)->second)) return std::string(kFirstNotBelowLast);

  m.SetData(t.matrix.data(), curves, t.points);
  for (int k = 1; k <= curves; ++k) {
    GraphCurve& c = m.Curves[k];
    c.Show = true;
    c.Type = k - 1 < static_cast<int>(o.types.size()) ? o.types[k - 1] : kCurveLine;
    if (k >= 6) c.Color = kLaterColors[k - 6];
    c.Width = o.width;
    c.Size = o.symbol;
    c.Y1 = std::find(o.right.begin(), o.right.end(), k) != o.right.end();
    m.Names[k] = t.names[k];
  }
  for (int k = 1; k < curves; ++k)
    if (m.Curves[k].Show && m.Curves[k].Type == kCurveVariation) m.Curves[k + 1].Show = false;

  if (o.x_range) {
    m.X.First = o.x_range->first;
    m.X.Last = o.x_range->second;
    m.X.Tick = NiceTickDistance(m.X.Last - m.X.First, kTicksWished);
  } else if (auto r = RowRange(m, 0)) {
    FitAxis(m.X, r->first, r->second, 0.0, kTicksWished);
  }
  FitValueAxis(m, m.Y0, false, o.y_range);
  FitValueAxis(m, m.Y1, true, o.y1_range);
  m.TitleX = o.title_x.value_or(t.names[0]);
  m.TitleY0 = o.title_y.value_or(JoinNames(m, t, false));
  m.TitleY1 = o.title_y1.value_or(JoinNames(m, t, true));
  m.Notes = {o.note, "", "", ""};
  return std::nullopt;
}

}  // namespace lumetra
