// Repaint speed of the graph: fourteen curves of 10,000 points drawn into the
// full 3000 x 2000 bitmap, against the floor of only filling the bitmap. Wall
// time, since the curves are drawn on every core.
#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QPainter>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "common/random.h"
#include "graph/gui/graph_canvas.h"
#include "graph/gui/xk_graph.h"

namespace lumetra {
namespace {

constexpr int kPoints = 10000;

// Fourteen noisy, drifting traces, as a step window shows them.
std::vector<float> MakeMatrix() {
  std::vector<float> m(static_cast<size_t>(kMaxCurves + 1) * kPoints);
  Rng rng(7);
  for (int i = 0; i < kPoints; ++i) m[i] = static_cast<float>(i) * 0.01f;
  for (int k = 1; k <= kMaxCurves; ++k)
    for (int i = 0; i < kPoints; ++i)
      m[static_cast<size_t>(k) * kPoints + i] =
          static_cast<float>(k * 5 + 3 * std::sin(i * 0.002 * k) + rng.Normal());
  return m;
}

// The mixed set: curves 1 to 7 take the seven types in order, 8 to 14 again.
// Row 8 (a line near 0) is the spread of the "Variation" curve 7, and every
// hundredth point of the "LineCircle" curve 4 is a gap.
void MakeMixed(std::vector<float>& m) {
  for (int i = 0; i < kPoints; ++i) {
    m[8 * kPoints + i] = static_cast<float>(0.5 + 0.1 * std::sin(i * 0.01));
    if (i % 100 == 50) m[4 * kPoints + i] = -2000000.0f;
  }
}

void Configure(TXKgraph& g, const std::vector<float>& m, bool mixed, int width) {
  g.SetData(m.data(), kMaxCurves, kPoints);
  g.X.Last = 100;
  g.X.Tick = 10;
  g.Y0.First = -5;
  g.Y0.Last = 80;
  g.Y0.Tick = 10;
  for (int k = 1; k <= kMaxCurves; ++k) {
    g.Curves[k].Show = true;
    g.Curves[k].Width = width;
    g.Curves[k].Type = mixed ? (k - 1) % 7 : kCurveLine;
  }
}

// Like a window's view: Repaint hands it the bitmap, nothing is copied.
class ViewCanvas final : public GraphCanvas {
 public:
  QSize CanvasSize() const override { return QSize(kBitmapWidth, kBitmapHeight); }
  void Present(const QImage& bitmap, const QRect&, QPoint) override { shown = &bitmap; }
  const QImage* shown = nullptr;
};

void Repaint(benchmark::State& state, bool mixed, int width, int workers, bool to_image) {
  auto m = MakeMatrix();
  if (mixed) MakeMixed(m);
  TXKgraph g;
  ViewCanvas view;
  ImageCanvas image(QSize(kBitmapWidth, kBitmapHeight));
  g.SetTarget(to_image ? static_cast<GraphCanvas*>(&image) : &view);
  g.SetWorkers(workers);
  Configure(g, m, mixed, width);
  for (auto _ : state) {
    g.Repaint();
    benchmark::DoNotOptimize(g.Bitmap().constBits());
  }
}

void BM_RepaintLines(benchmark::State& s) {
  Repaint(s, false, 2, 0, false);
}
void BM_RepaintLinesOneThread(benchmark::State& s) {
  Repaint(s, false, 2, 1, false);
}
void BM_RepaintLinesWidth1(benchmark::State& s) {
  Repaint(s, false, 1, 0, false);
}
void BM_RepaintAllTypes(benchmark::State& s) {
  Repaint(s, true, 2, 0, false);
}
void BM_RepaintLinesIntoImage(benchmark::State& s) {
  Repaint(s, false, 2, 0, true);
}

// Floor: what every repaint of the full bitmap costs at least, filling it.
void BM_FloorFillBitmap(benchmark::State& state) {
  QImage bitmap(kBitmapWidth, kBitmapHeight, QImage::Format_RGB32);
  for (auto _ : state) {
    bitmap.fill(QColor(255, 251, 240));
    benchmark::DoNotOptimize(bitmap.constBits());
  }
}

BENCHMARK(BM_FloorFillBitmap)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RepaintLines)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RepaintLinesOneThread)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RepaintLinesWidth1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RepaintAllTypes)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RepaintLinesIntoImage)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace lumetra

int main(int argc, char** argv) {
  if (std::getenv("DISPLAY") == nullptr && std::getenv("QT_QPA_PLATFORM") == nullptr)
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QGuiApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
