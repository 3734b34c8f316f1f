// The drawing steps of a graph on a QPainter: background, tick lines, curves,
// frame and labels, notes, legend and cursor readout (the curves themselves are
// rasterised straight into the bitmap). Used by TXKgraph only.
#pragma once

#include <QColor>
#include <QPainter>

#include "graph/curve_geometry.h"
#include "graph/graph_layout.h"
#include "graph/graph_model.h"

namespace lumetra {

inline QColor ToQColor(uint32_t windows_color) {
  return QColor(ColorRed(windows_color), ColorGreen(windows_color), ColorBlue(windows_color));
}

void DrawBackground(QPainter& p, const GraphModel& m, const GraphLayout& l);
void DrawTickLines(QPainter& p, const GraphModel& m, const GraphLayout& l);
void DrawFrameAndLabels(QPainter& p, const GraphModel& m, const GraphLayout& l);
void DrawNotesAndLegend(QPainter& p, const GraphModel& m, const GraphLayout& l);
void DrawReadout(QPainter& p, const GraphModel& m, const GraphLayout& l);

}  // namespace lumetra
