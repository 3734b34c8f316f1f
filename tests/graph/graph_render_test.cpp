// TXKgraph on real pixels: where curves land, what a repaired repaint draws,
// saving, and the settings dialog editing a live graph.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <vector>

#include "graph/graph_messages.h"
#include "graph/gui/graph_canvas.h"
#include "graph/gui/graph_view.h"
#include "graph/gui/xk_graph.h"
#include "graph/gui/xk_graph_dlg_form.h"

namespace lumetra {
namespace {

QApplication& App() {
  static int argc = 1;
  static char name[] = "graph_render_tests";
  static char* argv[] = {name, nullptr};
  static QApplication app(argc, argv);
  return app;
}

constexpr uint32_t kRed = 0x0000FF;  // Windows colour value
const QRgb kRedPixel = qRgb(255, 0, 0);

// Counts the copies Repaint makes onto it.
class CountingCanvas final : public GraphCanvas {
 public:
  explicit CountingCanvas(QSize size) : image_(size) {}
  QSize CanvasSize() const override { return image_.CanvasSize(); }
  void Present(const QImage& b, const QRect& s, QPoint at) override {
    ++presents;
    image_.Present(b, s, at);
  }
  QRgb Pixel(int x, int y) const { return image_.Image().pixel(x, y); }
  const QImage& Image() const { return image_.Image(); }
  int presents = 0;

 private:
  ImageCanvas image_;
};

// X = 0..10 at whole numbers, curve 1 flat at 5, axes 0..10.
class RenderTest : public testing::Test {
 protected:
  void SetUp() override {
    App();
    data.assign(2 * kPoints, 5.0f);
    for (int i = 0; i < kPoints; ++i) data[i] = static_cast<float>(i);
    graph.SetData(data.data(), 1, kPoints);
    graph.Notes[0].clear();
    graph.Curves[1] = {true, false, kRed, kFillHollow, 1, 4, kCurveLine};
    graph.SetTarget(&canvas);
  }
  float& Y(int i) { return data[kPoints + i]; }
  static constexpr int kPoints = 11;
  std::vector<float> data;
  CountingCanvas canvas{QSize(600, 400)};
  TXKgraph graph;
};

TEST_F(RenderTest, HorizontalLineLandsOnItsRow) {
  graph.Repaint();
  const GraphLayout& l = graph.Layout();
  const int row = l.PixelY(5, false);
  for (int x = l.PixelX(0.5); x <= l.PixelX(9.5); ++x) {
    ASSERT_EQ(canvas.Pixel(x, row), kRedPixel) << x;
    ASSERT_NE(canvas.Pixel(x, row - 1), kRedPixel) << x;
    ASSERT_NE(canvas.Pixel(x, row + 1), kRedPixel) << x;
  }
}

TEST_F(RenderTest, BarFillsDownToThePlotBottom) {
  graph.Curves[1].Type = kCurveBar;
  graph.Curves[1].Size = 10;
  graph.Data.FirstPoint = 3;
  graph.Data.LastPoint = 4;  // one bar, at X = 3
  Y(3) = 6;
  graph.Repaint();
  const GraphLayout& l = graph.Layout();
  const int x = l.PixelX(3), top = l.PixelY(6, false);
  for (int y = top; y <= l.PlotBottom() - 1; ++y)
    for (int dx = -5; dx <= 5; ++dx)
      ASSERT_EQ(canvas.Pixel(x + dx, y), kRedPixel) << dx << "," << y;
  EXPECT_NE(canvas.Pixel(x, top - 1), kRedPixel);
  EXPECT_NE(canvas.Pixel(x - 6, top + 10), kRedPixel);
  EXPECT_NE(canvas.Pixel(x + 6, top + 10), kRedPixel);
}

TEST_F(RenderTest, LineCircleLeavesAGapAtASentinel) {
  graph.Curves[1].Type = kCurveLineCircle;
  Y(5) = -2000000.0f;
  graph.Repaint();
  const GraphLayout& l = graph.Layout();
  const int row = l.PixelY(5, false);
  auto red_between = [&](double a, double b) {
    int n = 0;
    for (int x = l.PixelX(a); x <= l.PixelX(b); ++x) n += canvas.Pixel(x, row) == kRedPixel;
    return n;
  };
  EXPECT_GT(red_between(1.2, 1.8), 10);
  EXPECT_EQ(red_between(4.2, 5.8), 0) << "segments 4-5 and 5-6 are gone";
  EXPECT_GT(red_between(7.2, 7.8), 10);
  // The sentinel's own segment would have run down to the bottom edge.
  EXPECT_NE(canvas.Pixel(l.PixelX(4.5), l.PlotBottom() - 2), kRedPixel);
}

TEST_F(RenderTest, RepairedSettingsDrawNothingThatOnce) {
  graph.Repaint();
  const QImage before = canvas.Image().copy();
  graph.X.First = 10;  // equal ends: repaired to 0..10, nothing drawn
  graph.Curves[1].Color = 0xFF0000;
  graph.Repaint();
  EXPECT_EQ(canvas.presents, 2) << "the old bitmap is still copied";
  EXPECT_EQ(canvas.Image(), before);
  EXPECT_EQ(graph.X.First, 0);
  graph.Repaint();
  EXPECT_NE(canvas.Image(), before);
}

TEST_F(RenderTest, NoTargetNoRepaint) {
  graph.SetTarget(nullptr);
  graph.Repaint();
  EXPECT_EQ(canvas.presents, 0);
  EXPECT_EQ(graph.Layout().Width, 0);
}

TEST_F(RenderTest, SmallFontIsRaisedAndOneOrManyThreadsDrawAlike) {
  graph.FontSize = 5;
  graph.Curves[1].Type = kCurveLineCircle;
  graph.Curves[1].Width = 3;
  graph.SetWorkers(1);
  graph.Repaint();
  EXPECT_EQ(graph.FontSize, 8);
  const QImage one = graph.Picture();
  graph.SetWorkers(3);
  graph.Repaint();
  EXPECT_EQ(graph.Picture(), one);
}

TEST_F(RenderTest, HitTestCountsFromTheStoredPosition) {
  graph.SetTarget(&canvas, 50, 30);
  graph.Readout.Enabled = true;
  graph.Repaint();
  const GraphLayout& l = graph.Layout();
  EXPECT_EQ(l.Width, 550);
  EXPECT_TRUE(graph.HitTest(50 + l.PixelX(2.5), 30 + l.PixelY(5, false)));
  EXPECT_EQ(graph.Readout.Index, 3);
  EXPECT_EQ(graph.Readout.NearestCurve, 1);
}

TEST_F(RenderTest, SavesPngAndBmpPixelForPixel) {
  graph.Repaint();
  CollectingReporter r;
  for (const char* name : {"graph.png", "graph.BMP"}) {
    const std::string path = testing::TempDir() + name;
    ASSERT_TRUE(graph.SaveToFile(path, r)) << name;
    QImage back(QString::fromStdString(path));
    ASSERT_EQ(back.size(), QSize(600, 400));
    EXPECT_EQ(back.convertToFormat(QImage::Format_RGB32), graph.Picture()) << name;
  }
  QFile bmp(QString::fromStdString(testing::TempDir() + "graph.BMP"));
  ASSERT_TRUE(bmp.open(QIODevice::ReadOnly));
  const QByteArray header = bmp.read(30);
  EXPECT_EQ(static_cast<int>(header[28]), 24) << "24 bits per pixel";
  EXPECT_FALSE(graph.SaveToFile(testing::TempDir() + "graph.jpg", r));
  EXPECT_FALSE(graph.SaveToFile("/nonexistent-folder/graph.png", r));
  EXPECT_EQ(r.Texts(MessageKind::kModal),
            (std::vector<std::string>{
                std::string(kGraphFormatError),
                std::string(kGraphSaveError) + " (/nonexistent-folder/graph.png)"}));
}

TEST_F(RenderTest, DialogEditsRepaintAndBadRangesAreRefused) {
  CollectingReporter r;
  TXKgraphDlgForm dialog(graph, &r);
  auto* first = dialog.findChild<QLineEdit*>("XFirst");
  auto* last = dialog.findChild<QLineEdit*>("XLast");
  auto* tick = dialog.findChild<QLineEdit*>("Y0Tick");
  ASSERT_TRUE(first && last && tick);
  EXPECT_EQ(first->text(), "0");

  first->setText("20");
  emit first->editingFinished();
  EXPECT_EQ(r.Texts(MessageKind::kModal),
            (std::vector<std::string>{"X axis: First value must be less than Last value"}));
  EXPECT_EQ(graph.X.First, 0);
  EXPECT_EQ(first->text(), "0");
  EXPECT_EQ(canvas.presents, 0);

  tick->setText("0.001");
  emit tick->editingFinished();
  EXPECT_EQ(r.Texts(MessageKind::kModal).back(), "Left Y axis: " + std::string(kTooManyTicks));
  tick->setText("abc");
  emit tick->editingFinished();
  EXPECT_EQ(r.Texts(MessageKind::kModal).back(), "Left Y axis: Tick is not a number");

  last->setText("50");
  emit last->editingFinished();
  EXPECT_EQ(graph.X.Last, 50);
  EXPECT_EQ(canvas.presents, 1);

  dialog.findChild<QComboBox*>("Curve1Type")->setCurrentIndex(kCurveBar);
  EXPECT_EQ(graph.Curves[1].Type, kCurveBar);
  dialog.findChild<QComboBox*>("Curve1Width")->setCurrentIndex(5);
  EXPECT_EQ(graph.Curves[1].Width, 7);
  dialog.findChild<QCheckBox*>("Curve2Show")->setChecked(true);
  EXPECT_TRUE(graph.Curves[2].Show);
  dialog.findChild<QComboBox*>("Y1TickStyle")->setCurrentIndex(kTickNone);
  EXPECT_EQ(graph.Y1.TickStyle, kTickNone);
  dialog.findChild<QLineEdit*>("XTitle")->textEdited("time (s)");
  EXPECT_EQ(graph.TitleX, "time (s)");
  EXPECT_EQ(canvas.presents, 6);
}

TEST(GraphView, IsTheCanvasOfItsGraph) {
  App();
  TXKgraph graph;
  GraphView view;
  view.resize(640, 360);
  view.SetGraph(&graph);
  EXPECT_EQ(graph.Target(), &view);
  EXPECT_EQ(graph.Layout().Width, 640);
  EXPECT_EQ(graph.Layout().Height, 360);
  view.SetGraph(nullptr);
  EXPECT_EQ(graph.Target(), nullptr);
}

}  // namespace
}  // namespace lumetra
