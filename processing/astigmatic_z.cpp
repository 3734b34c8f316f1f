#include "processing/astigmatic_z.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "common/text_format.h"

namespace lumetra {

double AstigmatismCalibration::WidthX(double z) const {
  const double u = (z - cx_nm) / d_nm;
  return sigma0_nm * std::sqrt(1 + u * u);
}

double AstigmatismCalibration::WidthY(double z) const {
  const double u = (z - cy_nm) / d_nm;
  return sigma0_nm * std::sqrt(1 + u * u);
}

namespace {

constexpr int kHalf = 4;

// Gaussian standard deviation through three samples 1 pixel apart, or 0.
double WidthOfThree(double l, double c, double r) {
  if (!(l > 0 && c > 0 && r > 0)) return 0;
  const double d = std::log(l) - 2 * std::log(c) + std::log(r);
  if (!(d < 0)) return 0;
  const double var = -1 / d - 1.0 / 12;
  return var > 0 ? std::sqrt(var) : 0;
}

}  // namespace

SpotWidths MeasureSpotWidths(const uint16_t* frame, int32_t width, int32_t height, double x,
                             double y) {
  SpotWidths w;
  const int32_t cx = static_cast<int32_t>(std::floor(x + 0.5));
  const int32_t cy = static_cast<int32_t>(std::floor(y + 0.5));
  if (cx - kHalf < 0 || cy - kHalf < 0 || cx + kHalf >= width || cy + kHalf >= height) return w;
  std::vector<double> border;
  for (int32_t dy = -kHalf; dy <= kHalf; ++dy)
    for (int32_t dx = -kHalf; dx <= kHalf; ++dx)
      if (std::abs(dx) == kHalf || std::abs(dy) == kHalf)
        border.push_back(frame[static_cast<size_t>(cy + dy) * width + (cx + dx)]);
  std::nth_element(border.begin(), border.begin() + static_cast<std::ptrdiff_t>(border.size() / 2),
                   border.end());
  const double bg = border[border.size() / 2];
  double col[2 * kHalf + 1] = {}, row[2 * kHalf + 1] = {};
  for (int32_t dy = -kHalf; dy <= kHalf; ++dy)
    for (int32_t dx = -kHalf; dx <= kHalf; ++dx) {
      const double v = frame[static_cast<size_t>(cy + dy) * width + (cx + dx)] - bg;
      col[dx + kHalf] += v;
      row[dy + kHalf] += v;
    }
  // The peak of each profile within a pixel of the spot's own pixel.
  auto peak = [](const double* p) {
    int best = kHalf;
    for (int k = kHalf - 1; k <= kHalf + 1; ++k)
      if (p[k] > p[best]) best = k;
    return best;
  };
  const int px = peak(col), py = peak(row);
  w.sx_px = WidthOfThree(col[px - 1], col[px], col[px + 1]);
  w.sy_px = WidthOfThree(row[py - 1], row[py], row[py + 1]);
  w.ok = w.sx_px > 0 && w.sy_px > 0;
  return w;
}

double ZFromWidths(double sx_nm, double sy_nm, const AstigmatismCalibration& cal) {
  if (!(sx_nm > 0) || !(sy_nm > 0)) return std::numeric_limits<double>::quiet_NaN();
  const double rx = std::sqrt(sx_nm), ry = std::sqrt(sy_nm);
  int best = 0;
  double best_cost = std::numeric_limits<double>::infinity();
  for (int z = -1000; z <= 1000; ++z) {
    const double ex = rx - std::sqrt(cal.WidthX(z)), ey = ry - std::sqrt(cal.WidthY(z));
    const double cost = ex * ex + ey * ey;
    if (cost < best_cost) {
      best_cost = cost;
      best = z;
    }
  }
  if (best == -1000 || best == 1000) return std::numeric_limits<double>::quiet_NaN();
  return best;
}

bool ReadOutZ(RecordStore& store, std::vector<ZPoint>& points, const AstigmatismCalibration& cal,
              Reporter& reporter, const std::atomic<bool>* stop, bool& stopped) {
  stopped = false;
  std::vector<size_t> order(points.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return points[a].frame < points[b].frame; });
  if (!store.RestartStream(-1, reporter)) return false;
  size_t next = 0;
  while (next < order.size() && points[order[next]].frame < 0) ++next;
  for (int32_t f = 0; next < order.size(); ++f) {
    if (stop && stop->load()) {
      stopped = true;
      return false;
    }
    if (store.ReadNext(reporter) != FrameReadStatus::kOk) break;
    const double nm_x = store.Prm().ScaleX, nm_y = store.Prm().ScaleY;
    for (; next < order.size() && points[order[next]].frame == f; ++next) {
      ZPoint& p = points[order[next]];
      const SpotWidths w =
          MeasureSpotWidths(store.FrameBuffer(), store.Width(), store.Height(), p.x_px, p.y_px);
      if (!w.ok) continue;
      p.sx_nm = w.sx_px * nm_x;
      p.sy_nm = w.sy_px * nm_y;
      p.z_nm = ZFromWidths(p.sx_nm, p.sy_nm, cal);
    }
  }
  return true;
}

std::string ZTableText(const std::vector<ZPoint>& points) {
  std::string s = "track\tframe\tx_px\ty_px\tsigma_x_nm\tsigma_y_nm\tz_nm\n";
  for (const ZPoint& p : points)
    s += std::to_string(p.track) + '\t' + std::to_string(p.frame) + '\t' +
         FormatTable(p.x_px, "%.3f") + '\t' + FormatTable(p.y_px, "%.3f") + '\t' +
         FormatTable(p.sx_nm, "%.1f") + '\t' + FormatTable(p.sy_nm, "%.1f") + '\t' +
         FormatTable(p.z_nm, "%.0f") + '\n';
  return s;
}

}  // namespace lumetra
