// lumetra-cli bench surface: repainting the 3D view of a 200 x 200 region
// (smooth surface and blocks) at two picture sizes, beside the floor of
// clearing the picture and its depth buffer.
#include <algorithm>
#include <cmath>
#include <ctime>
#include <iostream>

#include "cli/bench_common.h"
#include "cli/cli_common.h"
#include "common/text_format.h"
#include "display/palette.h"
#include "surface/surface_render.h"

namespace lumetra::cli {
namespace {

// Spots on a noisy background, the same every run.
std::vector<uint16_t> SpotFrame(int32_t side) {
  std::vector<uint16_t> f(static_cast<size_t>(side) * side);
  uint32_t seed = 12345;
  const auto next = [&] {
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) / 16777216.0;
  };
  std::vector<std::pair<double, double>> spots(60);
  for (auto& s : spots) s = {next() * side, next() * side};
  for (int32_t y = 0; y < side; ++y)
    for (int32_t x = 0; x < side; ++x) {
      double v = 100 + 20 * next();
      for (const auto& [sx, sy] : spots)
        v += 1500 * std::exp(-((x - sx) * (x - sx) + (y - sy) * (y - sy)) / 4.5);
      f[static_cast<size_t>(y) * side + x] = static_cast<uint16_t>(std::min(v, 4095.0));
    }
  return f;
}

}  // namespace

int BenchSurface(const std::vector<std::string>& args) {
  ArgParser p("bench surface",
              "Repaints the 3D view of a 200 x 200 region of a simulated 12-bit frame, as a\n"
              "surface and as blocks, at 640 x 480 and 1280 x 960, and prints the wall time\n"
              "of one repaint on every core and the processor time of one on a single\n"
              "thread (medians of the repeats), beside clearing the picture. The target is\n"
              "under 30 ms a repaint.");
  p.Option("repeats", "N", "runs to take the median of", "5");
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t repeats = 5;
  if (!p.Int("repeats", repeats, error, 1, 100)) return Fail("bench", error, 2);
  constexpr int32_t kSide = 200;
  const std::vector<uint16_t> frame = SpotFrame(kSide);
  std::vector<uint32_t> palette;
  NullReporter quiet;
  BuildPalette(palette, 4096, kPaletteRYW, quiet);
  const Region region{0, 0, kSide, kSide, true};
  SurfaceRenderer renderer;
  std::cout << "surface of a " << kSide << " x " << kSide << " region, 12-bit, RYW palette\n"
            << "picture\tview\tms_per_repaint\tcpu_ms_one_thread\tclear_ms\tratio\n";
  for (auto [w, h] : {std::pair{640, 480}, std::pair{1280, 960}}) {
    RgbImage picture;
    picture.Resize(w, h, kSurfaceBackground);
    std::vector<float> depth(picture.pixels.size());
    for (bool blocks : {false, true}) {
      SurfaceView view;
      view.blocks = blocks;
      std::vector<double> paint, one, clear;
      for (int64_t r = 0; r < repeats; ++r) {
        const int n = 20;
        auto t0 = Clock::now();
        for (int i = 0; i < n; ++i) {
          view.turn_deg = 30 + i;  // the user turning the view
          renderer.Render(frame.data(), kSide, region, palette, view, picture);
        }
        paint.push_back(Seconds(t0, Clock::now()) * 1e3 / n);
        // One thread, in processor time: what a repaint costs on an idle core
        // even when other programs share the machine.
        const std::clock_t c0 = std::clock();
        for (int i = 0; i < n; ++i) {
          view.turn_deg = 30 + i;
          renderer.Render(frame.data(), kSide, region, palette, view, picture, 1);
        }
        one.push_back(static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC * 1e3 / n);
        t0 = Clock::now();
        for (int i = 0; i < n; ++i) {
          std::fill(picture.pixels.begin(), picture.pixels.end(), kSurfaceBackground + i);
          std::fill(depth.begin(), depth.end(), static_cast<float>(i));
        }
        clear.push_back(Seconds(t0, Clock::now()) * 1e3 / n);
      }
      const double ms = Median(paint), floor = Median(clear);
      std::cout << w << 'x' << h << '\t' << (blocks ? "blocks" : "surface") << '\t'
                << FormatFixed(ms, 2) << '\t' << FormatFixed(Median(one), 2) << '\t'
                << FormatFixed(floor, 3) << '\t' << FormatFixed(ms / std::max(floor, 1e-6), 1)
                << '\n';
    }
  }
  return 0;
}

}  // namespace lumetra::cli
