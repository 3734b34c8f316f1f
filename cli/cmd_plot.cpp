// lumetra-cli plot DATA.tsv --out GRAPH.png: draws a text table with the
// graph every analysis window uses and saves it as PNG or BMP.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "cli/cli_common.h"
#include "common/common_messages.h"
#include "common/line_reader.h"
#include "common/text_format.h"
#include "graph/graph_messages.h"
#include "graph/plot_setup.h"
#include "graph/plot_table.h"

#if LUMETRA_CLI_PLOT
#include <QGuiApplication>

#include "cli/offscreen_drawing.h"
#include "graph/gui/graph_canvas.h"
#include "graph/gui/xk_graph.h"
#endif

namespace lumetra::cli {
namespace {

constexpr std::string_view kNoPlotting =
    "this lumetra-cli was built without Qt (LUMETRA_GUI=OFF) and cannot draw graphs";

// "A,B" as two reals.
bool RealPair(const ArgParser& p, const std::string& name,
              std::optional<std::pair<double, double>>& out, std::string& error) {
  if (!p.Has(name)) return true;
  const std::string v = p.Value(name);
  const size_t comma = v.find(',');
  std::optional<double> a, b;
  if (comma != std::string::npos) {
    a = ParseReal(std::string_view(v).substr(0, comma));
    b = ParseReal(std::string_view(v).substr(comma + 1));
  }
  if (!a || !b) {
    error = "--" + name + " needs two numbers as A,B (got '" + v + "')";
    return false;
  }
  out = std::make_pair(*a, *b);
  return true;
}

bool ReadOptions(const ArgParser& p, PlotOptions& o, std::string& error) {
  if (p.Has("types")) {
    std::stringstream list(p.Value("types"));
    std::string name;
    while (std::getline(list, name, ',')) {
      auto type = CurveTypeFromName(name);
      if (!type) {
        error = "--types: unknown curve type '" + name +
                "' (line, circle, cross, linecircle, linecross, bar, variation)";
        return false;
      }
      o.types.push_back(*type);
    }
  }
  std::vector<int64_t> right;
  if (p.Has("right") && !p.IntList("right", 0, right, error)) return false;
  for (int64_t k : right) o.right.push_back(static_cast<int>(std::clamp<int64_t>(k, -1, 99)));
  if (!RealPair(p, "x-range", o.x_range, error) || !RealPair(p, "y-range", o.y_range, error) ||
      !RealPair(p, "y1-range", o.y1_range, error))
    return false;
  if (p.Has("title-x")) o.title_x = p.Value("title-x");
  if (p.Has("title-y")) o.title_y = p.Value("title-y");
  if (p.Has("title-y1")) o.title_y1 = p.Value("title-y1");
  o.note = p.Value("note");
  int64_t width = 2, symbol = 4;
  if (!p.Int("line-width", width, error) || !p.Int("symbol-size", symbol, error)) return false;
  o.width = static_cast<int>(std::clamp<int64_t>(width, -1, 99));
  o.symbol = static_cast<int>(std::clamp<int64_t>(symbol, -1, 99));
  return true;
}

#if LUMETRA_CLI_PLOT
// Drawing needs a QGuiApplication for the fonts; without a display it runs on
// the offscreen platform, so plot works from a plain shell.
int DrawAndSave(const PlotTable& table, const PlotOptions& options, int width, int height,
                const std::string& out) {
  const std::unique_ptr<QGuiApplication> app = StartDrawing();

  TXKgraph graph;
  if (auto problem = SetUpPlot(graph, table, options)) return Fail("plot", *problem, 2);
  ImageCanvas canvas(QSize(width, height));
  graph.SetTarget(&canvas);
  graph.Repaint();
  ConsoleReporter console;
  if (!graph.SaveToFile(out, console)) return 1;
  std::cout << "wrote " << out << " (" << width << " x " << height << ", " << table.Curves()
            << (table.Curves() == 1 ? " curve" : " curves") << " of " << table.points
            << " points)\n";
  return 0;
}
#endif

}  // namespace

int RunPlot(const std::vector<std::string>& args) {
  ArgParser p("plot",
              "Draws a table as a graph and saves it as PNG or BMP (by the ending of --out).\n"
              "DATA.tsv: tab-separated columns, the first X, each further one a curve (at\n"
              "most 14); a header line names them. Empty fields, '-' and 'nan' are gaps\n"
              "(seen as gaps by the linecircle type). A variation curve draws error bars:\n"
              "value plus and minus the next column, which is not drawn itself.\n"
              "Axes not given are fitted to the data.");
  p.Positional("DATA.tsv", "the table to draw")
      .Option("out", "GRAPH.png", "the picture to write (.png or .bmp)")
      .Option("types", "T,T,...",
              "curve types in column order: line, circle, cross, linecircle, linecross, bar, "
              "variation (default line)")
      .Option("right", "N,N,...", "curve numbers (1 = second column) on the right Y axis")
      .Option("x-range", "A,B", "X axis from A to B")
      .Option("y-range", "A,B", "left Y axis from A to B")
      .Option("y1-range", "A,B", "right Y axis from A to B")
      .Option("title-x", "TEXT", "X axis title (default: the first column's name)")
      .Option("title-y", "TEXT", "left Y axis title (default: its curves' names)")
      .Option("title-y1", "TEXT", "right Y axis title (default: its curves' names)")
      .Option("note", "TEXT", "a note line drawn in the plot's top-left corner")
      .Option("line-width", "PIXELS", "pen width of the curves (1-20)", "2")
      .Option("symbol-size", "PIXELS", "size of circles, crosses, bars and bar ends (2-30)", "4")
      .Option("size", "W,H", "picture size in pixels, at most 3000,2000", "1200,800");
  if (auto code = ParseOrExit(p, args)) return *code;
  if (!p.Has("out")) return Fail("plot", "--out GRAPH.png is required", 2);

  std::string error;
  std::vector<int64_t> size;
  if (!p.IntList("size", 2, size, error)) return Fail("plot", error, 2);
  if (size[0] < 100 || size[0] > kBitmapWidth || size[1] < 100 || size[1] > kBitmapHeight)
    return Fail("plot", "--size must lie within 100,100 and 3000,2000", 2);
  PlotOptions options;
  if (!ReadOptions(p, options, error)) return Fail("plot", error, 2);

  // Read line by line: a huge or endless input is refused at its first overlong line.
  FileLines lines;
  if (!lines.Open(p.Arg(0))) return Fail("plot", std::string(kFileOpenError) + ": " + lines.Error());
  auto table = ParsePlotTable(lines, error);
  if (!table) return Fail("plot", p.Arg(0) + ": " + error);
#if LUMETRA_CLI_PLOT
  return DrawAndSave(*table, options, static_cast<int>(size[0]), static_cast<int>(size[1]),
                     p.Value("out"));
#else
  return Fail("plot", std::string(kNoPlotting));
#endif
}

}  // namespace lumetra::cli
