// Repaint speed of the graph: fourteen curves of 10,000 points drawn into the
// full 3000 x 2000 bitmap, against the floor of only filling the bitmap.
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

void Repaint(benchmark::State& state, bool mixed, int width) {
  auto m = MakeMatrix();
  if (mixed) MakeMixed(m);
  TXKgraph g;
  ImageCanvas canvas(QSize(kBitmapWidth, kBitmapHeight));
  g.SetTarget(&canvas);
  Configure(g, m, mixed, width);
  for (auto _ : state) {
    g.Repaint();
    benchmark::DoNotOptimize(g.Bitmap().constBits());
  }
}

void BM_RepaintLines(benchmark::State& s) {
  Repaint(s, false, 2);
}
void BM_RepaintLinesWidth1(benchmark::State& s) {
  Repaint(s, false, 1);
}
void BM_RepaintAllTypes(benchmark::State& s) {
  Repaint(s, true, 2);
}

// Floor: filling the bitmap once and copying it to the canvas.
void BM_FloorFillAndCopy(benchmark::State& state) {
  QImage bitmap(kBitmapWidth, kBitmapHeight, QImage::Format_RGB888);
  ImageCanvas canvas(QSize(kBitmapWidth, kBitmapHeight));
  for (auto _ : state) {
    bitmap.fill(QColor(255, 251, 240));
    canvas.Present(bitmap, bitmap.rect(), QPoint(0, 0));
    benchmark::DoNotOptimize(canvas.Image().constBits());
  }
}

BENCHMARK(BM_FloorFillAndCopy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RepaintLines)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RepaintLinesWidth1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RepaintAllTypes)->Unit(benchmark::kMillisecond);

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
