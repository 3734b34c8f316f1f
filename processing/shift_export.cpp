#include "processing/shift_export.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "processing/processing_messages.h"

namespace lumetra {

void ShiftFrameBilinear(const uint16_t* in, uint16_t* out, int32_t width, int32_t height,
                        double dx, double dy) {
  const size_t n = static_cast<size_t>(width) * static_cast<size_t>(height);
  if (n == 0) return;
  double sum = 0;
  for (size_t i = 0; i < n; ++i) sum += in[i];
  const uint16_t fill = static_cast<uint16_t>(std::lround(sum / static_cast<double>(n)));
  // The source column of output column x is x + dx = x + ix + fx, 0 <= fx < 1.
  const double fdx = std::floor(dx), fdy = std::floor(dy);
  const int64_t ix = static_cast<int64_t>(fdx), iy = static_cast<int64_t>(fdy);
  const double fx = dx - fdx, fy = dy - fdy;
  const double w00 = (1 - fx) * (1 - fy), w10 = fx * (1 - fy), w01 = (1 - fx) * fy, w11 = fx * fy;
  // A weight of zero needs no neighbour: a whole-pixel shift loses no row or
  // column more than the shift itself.
  const int64_t reach_x = fx > 0 ? 1 : 0, reach_y = fy > 0 ? 1 : 0;
  for (int64_t y = 0; y < height; ++y) {
    uint16_t* row = out + static_cast<size_t>(y) * static_cast<size_t>(width);
    const int64_t sy = y + iy;
    const bool y_in = sy >= 0 && sy + reach_y < height;
    for (int64_t x = 0; x < width; ++x) {
      const int64_t sx = x + ix;
      if (!y_in || sx < 0 || sx + reach_x >= width) {
        row[x] = fill;
        continue;
      }
      const uint16_t* p = in + static_cast<size_t>(sy) * static_cast<size_t>(width) +
                          static_cast<size_t>(sx);
      double v = w00 * p[0];
      if (reach_x) v += w10 * p[1];
      if (reach_y) v += w01 * p[width];
      if (reach_x && reach_y) v += w11 * p[width + 1];
      row[x] = static_cast<uint16_t>(std::lround(v));
    }
  }
}

ExportResult ExportShifted(ExportJob& job, const std::string& out_path,
                           const std::vector<double>& dx_px, const std::vector<double>& dy_px) {
  if (RefuseRecordAsOutput(job.store, out_path, job.reporter)) return {};
  const std::string part = out_path + ".part";
  XkvExportStream s(job);
  if (!s.Open(part, -1)) return {};
  RecordStore& store = s.Store();
  std::vector<uint16_t> shifted;
  auto at = [](const std::vector<double>& v, int32_t f) {
    if (v.empty()) return 0.0;
    const size_t i = static_cast<size_t>(std::max(f, 0));
    return i < v.size() ? v[i] : v.back();
  };
  while (s.Next()) {
    const int32_t w = store.Width(), h = store.Height();
    shifted.resize(static_cast<size_t>(w) * static_cast<size_t>(h));
    const int32_t f = s.Counter();
    ShiftFrameBilinear(store.FrameBuffer(), shifted.data(), w, h, at(dx_px, f), at(dy_px, f));
    s.Write(store.Prm(), shifted.data());
  }
  ExportResult r = s.Finish();
  std::error_code ec;
  if (r.ok && !r.stopped) {
    std::filesystem::rename(part, out_path, ec);
    if (ec) {
      job.reporter.Modal(kExportFileOpenError, out_path + ": " + ec.message());
      r.ok = false;
    }
  }
  if (!r.ok || r.stopped) std::filesystem::remove(part, ec);
  return r;
}

}  // namespace lumetra
