#include "processing/frame_drift.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/parallel.h"
#include "common/text_format.h"
#include "graph/plot_table.h"
#include "processing/two_colour_messages.h"

namespace lumetra {

double ShiftCorrelation(const std::vector<double>& ref, const std::vector<double>& img,
                        int32_t width, int32_t height, int32_t sx, int32_t sy) {
  const int32_t x0 = std::max(0, -sx), x1 = std::min(width, width - sx);
  const int32_t y0 = std::max(0, -sy), y1 = std::min(height, height - sy);
  if (x1 <= x0 || y1 <= y0) return 0;
  double sr = 0, si = 0, srr = 0, sii = 0, sri = 0;
  for (int32_t y = y0; y < y1; ++y) {
    const double* r = ref.data() + static_cast<size_t>(y) * width;
    const double* m = img.data() + static_cast<size_t>(y + sy) * width + sx;
    for (int32_t x = x0; x < x1; ++x) {
      const double a = r[x], b = m[x];
      sr += a;
      si += b;
      srr += a * a;
      sii += b * b;
      sri += a * b;
    }
  }
  const double n = static_cast<double>(x1 - x0) * (y1 - y0);
  const double cov = sri - sr * si / n;
  const double vr = srr - sr * sr / n, vi = sii - si * si / n;
  if (!(vr > 0) || !(vi > 0)) return 0;
  return cov / std::sqrt(vr * vi);
}

namespace {

// Offset of the parabola's top through three scores around the middle one.
double ParabolaPeak(double left, double mid, double right) {
  const double d = left - 2 * mid + right;
  if (!(d < 0)) return 0;
  return std::clamp(0.5 * (left - right) / d, -0.5, 0.5);
}

}  // namespace

std::optional<std::pair<double, double>> BlockShift(const std::vector<double>& ref,
                                                    const std::vector<double>& img,
                                                    int32_t width, int32_t height,
                                                    double from_x, double from_y,
                                                    const FrameDriftOptions& options,
                                                    double* peak) {
  const int32_t m = std::max(1, options.max_step);
  const int32_t side = 2 * m + 1;
  int32_t cx = static_cast<int32_t>(std::lround(from_x));
  int32_t cy = static_cast<int32_t>(std::lround(from_y));
  std::vector<double> score(static_cast<size_t>(side) * side);
  // A best score on the edge of the search moves the search there, a few times.
  for (int attempt = 0; attempt < 5; ++attempt) {
    ParallelChunks(
        static_cast<int64_t>(score.size()),
        [&](int64_t b, int64_t e) {
          for (int64_t k = b; k < e; ++k) {
            const int32_t sx = cx + static_cast<int32_t>(k % side) - m;
            const int32_t sy = cy + static_cast<int32_t>(k / side) - m;
            score[static_cast<size_t>(k)] = ShiftCorrelation(ref, img, width, height, sx, sy);
          }
        },
        1, options.workers);
    size_t best = 0;
    for (size_t k = 1; k < score.size(); ++k)
      if (score[k] > score[best]) best = k;
    const int32_t bx = static_cast<int32_t>(best % side), by = static_cast<int32_t>(best / side);
    if (bx == 0 || by == 0 || bx == side - 1 || by == side - 1) {
      cx += bx - m;
      cy += by - m;
      continue;
    }
    auto at = [&](int32_t x, int32_t y) { return score[static_cast<size_t>(y) * side + x]; };
    if (peak) *peak = at(bx, by);
    const double fx = ParabolaPeak(at(bx - 1, by), at(bx, by), at(bx + 1, by));
    const double fy = ParabolaPeak(at(bx, by - 1), at(bx, by), at(bx, by + 1));
    return std::make_pair(cx + bx - m + fx, cy + by - m + fy);
  }
  return std::nullopt;
}

std::optional<FrameDrift> EstimateFrameDrift(RecordStore& store, const FrameDriftOptions& options,
                                             Reporter& reporter, const std::atomic<bool>* stop,
                                             const std::function<void(int32_t, int32_t)>& progress,
                                             bool& stopped) {
  stopped = false;
  const int32_t frames = store.FrameCount();
  const int32_t block = std::max(1, options.block);
  if (frames < 2 * block) {
    reporter.Modal(kDriftTooShort, std::to_string(frames) + " frames, blocks of " +
                                       std::to_string(block));
    return std::nullopt;
  }
  if (!store.RestartStream(-1, reporter)) return std::nullopt;
  FrameDrift drift;
  std::vector<double> ref, sum;
  std::vector<double> centres;
  int32_t width = 0, height = 0, in_block = 0, first_in_block = 0;
  double sum_index = 0;
  auto close_block = [&]() -> bool {
    if (in_block == 0) return true;
    const double centre = sum_index / in_block;
    if (ref.empty()) {
      ref = sum;
      drift.block_dx.push_back(0);
      drift.block_dy.push_back(0);
      drift.block_peak.push_back(1);
    } else {
      double peak = 0;
      const auto s = BlockShift(ref, sum, width, height, drift.block_dx.back(),
                                drift.block_dy.back(), options, &peak);
      if (!s) {
        reporter.Modal(kDriftLost, "frames " + std::to_string(first_in_block) + "-" +
                                       std::to_string(first_in_block + in_block - 1));
        return false;
      }
      drift.block_dx.push_back(s->first);
      drift.block_dy.push_back(s->second);
      drift.block_peak.push_back(peak);
    }
    centres.push_back(centre);
    std::fill(sum.begin(), sum.end(), 0.0);
    in_block = 0;
    sum_index = 0;
    return true;
  };
  for (int32_t f = 0; f < frames; ++f) {
    if (stop && stop->load()) {
      stopped = true;
      return std::nullopt;
    }
    const FrameReadStatus st = store.ReadNext(reporter);
    if (st != FrameReadStatus::kOk) {
      if (st != FrameReadStatus::kEndOfRecord) return std::nullopt;
      break;
    }
    if (f == 0) {
      width = store.Width();
      height = store.Height();
      sum.assign(static_cast<size_t>(width) * height, 0.0);
    }
    if (store.Width() == width && store.Height() == height) {
      if (in_block == 0) first_in_block = f;
      const uint16_t* p = store.FrameBuffer();
      for (size_t i = 0; i < sum.size(); ++i) sum[i] += p[i];
      ++in_block;
      sum_index += f;
    }
    if ((f + 1) % block == 0 && !close_block()) return std::nullopt;
    if (progress) progress(f + 1, frames);
  }
  if (!close_block()) return std::nullopt;
  if (centres.size() < 2) {
    reporter.Modal(kDriftTooShort);
    return std::nullopt;
  }
  drift.dx_px.assign(static_cast<size_t>(frames), 0);
  drift.dy_px.assign(static_cast<size_t>(frames), 0);
  // Linear between block centres, and along the first (last) segment before
  // the first (after the last) centre; then measured from frame 0.
  size_t k = 0;
  for (int32_t f = 0; f < frames; ++f) {
    while (k + 2 < centres.size() && centres[k + 1] <= f) ++k;
    const double w = (f - centres[k]) / (centres[k + 1] - centres[k]);
    drift.dx_px[static_cast<size_t>(f)] =
        drift.block_dx[k] + w * (drift.block_dx[k + 1] - drift.block_dx[k]);
    drift.dy_px[static_cast<size_t>(f)] =
        drift.block_dy[k] + w * (drift.block_dy[k + 1] - drift.block_dy[k]);
  }
  const double x0 = drift.dx_px[0], y0 = drift.dy_px[0];
  for (size_t f = 0; f < drift.dx_px.size(); ++f) {
    drift.dx_px[f] -= x0;
    drift.dy_px[f] -= y0;
  }
  return drift;
}

std::string FrameDriftText(const FrameDrift& drift, const std::vector<float>& frame_times_s,
                           double nm_x, double nm_y, int32_t block) {
  std::string s(kDriftTableHeader);
  char line[160];
  for (size_t f = 0; f < drift.dx_px.size(); ++f) {
    const double t = f < frame_times_s.size() ? frame_times_s[f] - frame_times_s[0] : 0.0;
    std::snprintf(line, sizeof line, "%zu\t%.4f\t%.3f\t%.3f\t%d\n", f, t, drift.dx_px[f] * nm_x,
                  drift.dy_px[f] * nm_y, block);
    s += line;
  }
  return s;
}

bool DriftShiftsFromTable(std::string_view text, double nm_x, double nm_y, int32_t frames,
                          std::vector<double>& dx_px, std::vector<double>& dy_px,
                          std::string& error) {
  const auto table = ParsePlotTable(text, error);
  if (!table) return false;
  int col_frame = -1, col_dx = -1, col_dy = -1;
  for (size_t c = 0; c < table->names.size(); ++c) {
    if (table->names[c] == "frame") col_frame = static_cast<int>(c);
    if (table->names[c] == "dx_nm") col_dx = static_cast<int>(c);
    if (table->names[c] == "dy_nm") col_dy = static_cast<int>(c);
  }
  if (col_frame < 0 || col_dx < 0 || col_dy < 0 || !(nm_x > 0) || !(nm_y > 0)) {
    error = std::string(kDriftTableUnreadable);
    return false;
  }
  const size_t n = static_cast<size_t>(std::max(frames, 0));
  dx_px.assign(n, 0);
  dy_px.assign(n, 0);
  std::vector<char> known(n, 0);
  const size_t points = static_cast<size_t>(table->points);
  auto at = [&](int col, size_t i) { return table->matrix[static_cast<size_t>(col) * points + i]; };
  for (size_t i = 0; i < points; ++i) {
    const float f = at(col_frame, i), dx = at(col_dx, i), dy = at(col_dy, i);
    if (f <= kMissingValue || dx <= kMissingValue || dy <= kMissingValue) continue;
    if (!(f >= 0) || f >= static_cast<float>(n) || f != std::floor(f)) continue;
    const size_t k = static_cast<size_t>(f);
    dx_px[k] = dx / nm_x;
    dy_px[k] = dy / nm_y;
    known[k] = 1;
  }
  for (size_t f = 1; f < n; ++f)
    if (!known[f] && known[f - 1]) {
      dx_px[f] = dx_px[f - 1];
      dy_px[f] = dy_px[f - 1];
      known[f] = 1;
    }
  return true;
}

}  // namespace lumetra
