#include "graph/gui/graph_painter.h"

#include <QFontMetrics>
#include <QPen>
#include <algorithm>
#include <cmath>

#include "graph/ticks.h"

namespace lumetra {
namespace {

constexpr int kTickMark = 5;  // pixels of the short tick marks outside the frame

QString Text(const std::string& s) {
  return QString::fromStdString(s);
}

// Readout values: six significant digits are all a float holds reliably.
QString ReadoutValue(float v) {
  return QString::number(static_cast<double>(v), 'g', 6);
}

Qt::PenStyle PenStyleOf(int32_t tick_style) {
  switch (tick_style) {
    case kTickSolid:
      return Qt::SolidLine;
    case kTickDashed:
      return Qt::DashLine;
    case kTickDotted:
      return Qt::DotLine;
    default:
      return Qt::NoPen;
  }
}

// Draws text centred on x, kept within 0..width.
void TextCentredAt(QPainter& p, int x, int top, int width, const QString& text) {
  const int w = p.fontMetrics().horizontalAdvance(text);
  const int left = std::clamp(x - w / 2, 0, std::max(0, width - w));
  p.drawText(left, top + p.fontMetrics().ascent(), text);
}

void DrawVerticalTitle(QPainter& p, int x, int centre_y, double angle, const QString& text) {
  p.save();
  p.translate(x, centre_y);
  p.rotate(angle);
  const int w = p.fontMetrics().horizontalAdvance(text);
  p.drawText(-w / 2, p.fontMetrics().ascent(), text);
  p.restore();
}

// A short sample of curve k as its type draws it, centred in `box`.
void DrawLegendSample(QPainter& p, const GraphCurve& c, const QRect& box) {
  const QColor color = ToQColor(c.Color);
  const int half = std::clamp(c.Size / 2, 1, box.height() / 2);
  const int cx = box.center().x(), cy = box.center().y();
  p.setPen(QPen(color, std::clamp(c.Width, 1, std::max(1, box.height() / 3))));
  p.setBrush(Qt::NoBrush);
  const bool line = c.Type == kCurveLine || c.Type == kCurveLineCircle || c.Type == kCurveLineCross;
  if (line) p.drawLine(box.left(), cy, box.right(), cy);
  if (c.Type == kCurveCircle || c.Type == kCurveLineCircle) {
    p.setBrush(c.Style == kFillCurveColor ? QBrush(color) : QBrush(Qt::NoBrush));
    p.drawEllipse(QPoint(cx, cy), half, half);
  }
  if (c.Type == kCurveCross || c.Type == kCurveLineCross) {
    p.drawLine(cx - half, cy, cx + half, cy);
    p.drawLine(cx, cy - half, cx, cy + half);
  }
  if (c.Type == kCurveBar)
    p.fillRect(cx - half, box.top() + 2, 2 * half + 1, box.height() - 2, color);
  if (c.Type == kCurveVariation) {
    p.drawLine(cx, box.top() + 2, cx, box.bottom());
    p.drawLine(cx - half, box.top() + 2, cx + half, box.top() + 2);
    p.drawLine(cx - half, box.bottom(), cx + half, box.bottom());
  }
  p.setBrush(Qt::NoBrush);
}

// Named shown curves, each with a sample, in a box at the plot's top right.
void DrawLegend(QPainter& p, const GraphModel& m, const GraphLayout& l) {
  const QFontMetrics fm = p.fontMetrics();
  int widest = 0, rows = 0;
  for (int k = 1; k <= m.CurveCount(); ++k) {
    if (!m.Curves[k].Show || m.Names[k].empty()) continue;
    widest = std::max(widest, fm.horizontalAdvance(Text(m.Names[k])));
    ++rows;
  }
  if (rows == 0) return;
  const int sample = 2 * l.LineHeight;
  const QRect box(l.PlotRight() - widest - sample - 20, l.PlotTop + 4, widest + sample + 14,
                  rows * l.LineHeight + 4);
  p.fillRect(box, ToQColor(m.PanelColor));
  p.setPen(QPen(Qt::gray, 1));
  p.drawRect(box);
  int y = box.top() + 2;
  for (int k = 1; k <= m.CurveCount(); ++k) {
    if (!m.Curves[k].Show || m.Names[k].empty()) continue;
    DrawLegendSample(p, m.Curves[k], QRect(box.left() + 4, y + 2, sample, l.LineHeight - 4));
    p.setPen(Qt::black);
    p.drawText(box.left() + sample + 10, y + fm.ascent() + 1, Text(m.Names[k]));
    y += l.LineHeight;
  }
}

}  // namespace

void DrawBackground(QPainter& p, const GraphModel& m, const GraphLayout& l) {
  p.fillRect(0, 0, l.Width, l.Height, ToQColor(m.PanelColor));
}

void DrawTickLines(QPainter& p, const GraphModel& m, const GraphLayout& l) {
  auto pen_for = [](const GraphAxis& a) {
    QPen pen(ToQColor(a.Color), 1, PenStyleOf(a.TickStyle));
    pen.setCosmetic(true);
    return pen;
  };
  p.setPen(pen_for(m.X));
  ForEachTickX(l, [&](float, int x) { p.drawLine(x, l.PlotTop, x, l.PlotBottom()); });
  p.setPen(pen_for(m.Y0));
  ForEachTickY(l, false, [&](float, int y) { p.drawLine(l.PlotLeft, y, l.PlotRight(), y); });
  if (!l.RightAxis) return;
  p.setPen(pen_for(m.Y1));
  ForEachTickY(l, true, [&](float, int y) { p.drawLine(l.PlotLeft, y, l.PlotRight(), y); });
}

void DrawFrameAndLabels(QPainter& p, const GraphModel& m, const GraphLayout& l) {
  p.setPen(QPen(Qt::black, 1));
  p.setBrush(Qt::NoBrush);
  const QFontMetrics fm = p.fontMetrics();
  const int half_text = fm.ascent() / 2;
  if (l.HasPlot()) {
    p.drawRect(l.PlotLeft, l.PlotTop, l.PlotWidth, l.PlotHeight);
    ForEachTickX(l, [&](float v, int x) {
      p.drawLine(x, l.PlotBottom(), x, l.PlotBottom() + kTickMark);
      TextCentredAt(p, x, l.PlotBottom() + kTickMark, l.Width, Text(TickLabelText(v)));
    });
    ForEachTickY(l, false, [&](float v, int y) {
      const QString label = Text(TickLabelText(v));
      p.drawLine(l.PlotLeft - 3, y, l.PlotLeft, y);
      p.drawText(l.PlotLeft - 4 - fm.horizontalAdvance(label), y + half_text, label);
    });
    if (l.RightAxis) {
      ForEachTickY(l, true, [&](float v, int y) {
        p.drawLine(l.PlotRight(), y, l.PlotRight() + 2, y);
        p.drawText(l.PlotRight() + 3, y + half_text, Text(TickLabelText(v)));
      });
    }
  }
  const int centre_y = l.PlotTop + l.PlotHeight / 2;
  TextCentredAt(p, l.PlotLeft + l.PlotWidth / 2, l.Height - l.LineHeight - 1, l.Width,
                Text(m.TitleX));
  DrawVerticalTitle(p, 2, centre_y, -90, Text(m.TitleY0));
  if (l.RightAxis) DrawVerticalTitle(p, l.Width - 1, centre_y, 90, Text(m.TitleY1));
}

void DrawNotesAndLegend(QPainter& p, const GraphModel& m, const GraphLayout& l) {
  const QFontMetrics fm = p.fontMetrics();
  p.setPen(ToQColor(m.NotesColor));
  // A note stays readable where curves run under it: the panel colour, mostly
  // opaque, behind its text.
  QColor backing = ToQColor(m.PanelColor);
  backing.setAlpha(200);
  int y = l.PlotTop + 4;
  for (const std::string& note : m.Notes) {
    if (!note.empty()) {
      const QString text = Text(note);
      p.fillRect(l.PlotLeft + 4, y, fm.horizontalAdvance(text) + 4, fm.height(), backing);
      p.drawText(l.PlotLeft + 6, y + fm.ascent(), text);
    }
    y += l.LineHeight;
  }
  DrawLegend(p, m, l);
}

void DrawReadout(QPainter& p, const GraphModel& m, const GraphLayout& l) {
  const GraphReadout& r = m.Readout;
  if (r.Index < 0) return;
  const int x = l.PixelX(r.Values[0]);
  QPen guide(Qt::darkGray, 1, Qt::DashLine);
  p.setPen(guide);
  p.drawLine(x, l.PlotTop, x, l.PlotBottom());
  // One line of "X=.. 1=.. 2=..", each value in its curve's colour.
  const QFontMetrics fm = p.fontMetrics();
  const int y = l.PlotBottom() - 4 - fm.descent();
  int left = l.PlotLeft + 6;
  auto put = [&](const QString& s, const QColor& c) {
    const QRect box(left - 2, y - fm.ascent() - 1, fm.horizontalAdvance(s) + 4, fm.height() + 2);
    p.fillRect(box, ToQColor(m.PanelColor));
    p.setPen(c);
    p.drawText(left, y, s);
    left += fm.horizontalAdvance(s) + fm.horizontalAdvance(' ') * 2;
  };
  put("X=" + ReadoutValue(r.Values[0]), Qt::black);
  for (int k = 1; k <= m.CurveCount(); ++k) {
    if (!m.Curves[k].Show) continue;
    const QString mark = k == r.NearestCurve ? "*" : "";
    put(mark + QString::number(k) + "=" + ReadoutValue(r.Values[k]), ToQColor(m.Curves[k].Color));
  }
}

}  // namespace lumetra
