#include "record/simulator.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/common_messages.h"
#include "common/file_handle.h"
#include "common/parallel.h"
#include "common/random.h"
#include "record/xkv_format.h"
#include "record/xkv_writer.h"

namespace lumetra {
namespace {

// Particles stay this far from the frame edge (pixels), where the detector can see them.
constexpr double kEdgeMargin = 8.0;

double Sigma(const SimulationParams& p) {
  return p.fwhm_nm / (2.0 * std::sqrt(2.0 * std::log(2.0))) / p.nm_per_pixel;
}

double Reflect(double v, double lo, double hi) {
  const double span = hi - lo;
  if (span <= 0) return lo;
  double t = std::fmod(v - lo, 2 * span);
  if (t < 0) t += 2 * span;
  return lo + (t <= span ? t : 2 * span - t);
}

}  // namespace

std::optional<std::string> CheckSimulationParams(const SimulationParams& p) {
  if (p.width < 2 * kEdgeMargin + 2 || p.height < 2 * kEdgeMargin + 2)
    return "width and height must be at least 18 pixels";
  if (static_cast<int64_t>(p.width) * p.height > kMaxFramePixels)
    return "width x height must not exceed 4000000 pixels";
  if (p.frames < 1 || p.frames > 100000) return "frames must be 1 to 100000";
  if (p.spots < 0 || p.spots > 10000) return "spots must be 0 to 10000";
  if (!(p.fwhm_nm > 0) || !(p.nm_per_pixel >= 1))
    return "FWHM must be above 0 and nm per pixel at least 1";
  if (!(p.photons >= 0) || !(p.background >= 0) || !(p.read_noise >= 0))
    return "photons, background and read noise must not be negative";
  if (!(p.diffusion >= 0)) return "diffusion must not be negative";
  if (!(p.frame_ms >= 1) || p.frame_ms * p.frames > 2e9) return "frame time must be at least 1 ms";
  if (!(p.bleach_prob >= 0 && p.bleach_prob <= 1)) return "bleach probability must be 0 to 1";
  return std::nullopt;
}

std::string TruthPathFor(const std::string& xkv_path) {
  std::string base = xkv_path;
  if (base.size() > 4) {
    std::string ext = base.substr(base.size() - 4);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (ext == ".xkv") base.resize(base.size() - 4);
  }
  return base + ".truth.tsv";
}

std::vector<TruthRow> SimulateTruth(const SimulationParams& p) {
  std::vector<TruthRow> rows;
  rows.reserve(static_cast<size_t>(p.frames) * p.spots);
  Rng rng(p.seed, 0xA11CE);
  const double x_lo = kEdgeMargin, x_hi = p.width - 1 - kEdgeMargin;
  const double y_lo = kEdgeMargin, y_hi = p.height - 1 - kEdgeMargin;
  struct Particle {
    double x, y;
    bool bleached;
  };
  std::vector<Particle> parts(static_cast<size_t>(p.spots));
  for (Particle& q : parts) {
    q.x = x_lo + rng.Uniform() * (x_hi - x_lo);
    q.y = y_lo + rng.Uniform() * (y_hi - y_lo);
    q.bleached = false;
  }
  // Brownian step per axis: sqrt(2 D dt), um -> pixels.
  const double step_px = std::sqrt(2.0 * p.diffusion * p.frame_ms * 1e-3) * 1000.0 / p.nm_per_pixel;
  for (int32_t f = 0; f < p.frames; ++f) {
    for (size_t i = 0; i < parts.size(); ++i) {
      Particle& q = parts[i];
      if (f > 0) {
        q.x = Reflect(q.x + step_px * rng.Normal(), x_lo, x_hi);
        q.y = Reflect(q.y + step_px * rng.Normal(), y_lo, y_hi);
        if (!q.bleached && p.bleach_prob > 0 && rng.Uniform() < p.bleach_prob) q.bleached = true;
      }
      rows.push_back({f, static_cast<int32_t>(i), q.x, q.y, q.bleached ? 0.0 : p.photons});
    }
  }
  return rows;
}

void RenderSimulatedFrame(const SimulationParams& p, int32_t frame, const TruthRow* rows,
                          size_t row_count, std::vector<float>& expected, uint16_t* out) {
  const int32_t w = p.width, h = p.height;
  expected.assign(static_cast<size_t>(w) * h, static_cast<float>(p.background));
  const double sigma = Sigma(p);
  const double inv = 1.0 / (std::sqrt(2.0) * sigma);
  const int32_t reach = static_cast<int32_t>(std::ceil(5 * sigma)) + 1;
  std::vector<double> ex(static_cast<size_t>(2 * reach + 1)), ey(ex.size());
  for (size_t k = 0; k < row_count; ++k) {
    const TruthRow& t = rows[k];
    if (t.photons <= 0) continue;
    const int32_t cx = static_cast<int32_t>(std::lround(t.x)),
                  cy = static_cast<int32_t>(std::lround(t.y));
    // Fraction of the spot's photons falling in each pixel column and row.
    for (int32_t d = -reach; d <= reach; ++d) {
      const double c = cx + d - t.x, r = cy + d - t.y;
      ex[d + reach] = 0.5 * (std::erf((c + 0.5) * inv) - std::erf((c - 0.5) * inv));
      ey[d + reach] = 0.5 * (std::erf((r + 0.5) * inv) - std::erf((r - 0.5) * inv));
    }
    for (int32_t dy = -reach; dy <= reach; ++dy) {
      const int32_t y = cy + dy;
      if (y < 0 || y >= h) continue;
      float* row = expected.data() + static_cast<size_t>(y) * w;
      for (int32_t dx = -reach; dx <= reach; ++dx) {
        const int32_t x = cx + dx;
        if (x < 0 || x >= w) continue;
        row[x] += static_cast<float>(t.photons * ex[dx + reach] * ey[dy + reach]);
      }
    }
  }
  ParallelChunks(
      h,
      [&](int64_t y0, int64_t y1) {
        for (int64_t y = y0; y < y1; ++y) {
          Rng rng(p.seed, (static_cast<uint64_t>(frame) << 20) ^ static_cast<uint64_t>(y) ^
                              0x5EEDull << 44);
          const float* e = expected.data() + y * w;
          uint16_t* o = out + y * w;
          for (int32_t x = 0; x < w; ++x) {
            double v = static_cast<double>(rng.Poisson(e[x]));
            if (p.read_noise > 0) v += p.read_noise * rng.Normal();
            v = std::nearbyint(v);
            o[x] = static_cast<uint16_t>(std::clamp(v, 0.0, 65535.0));
          }
        }
      },
      32);
}

bool SimulateRecord(const SimulationParams& p, const std::string& xkv_path, Reporter& reporter) {
  if (auto why = CheckSimulationParams(p)) {
    reporter.Modal("Simulation parameters refused: " + *why);
    return false;
  }
  FileHandle out = OpenFile(xkv_path, "wb");
  if (!out) {
    reporter.Modal(std::string(kCanNotOpenForWriting) + ": " + xkv_path);
    return false;
  }
  const std::string truth_path = TruthPathFor(xkv_path);
  FileHandle truth = OpenFile(truth_path, "w");
  if (!truth) {
    reporter.Modal(std::string(kCanNotOpenForWriting) + ": " + truth_path);
    return false;
  }
  const std::vector<TruthRow> rows = SimulateTruth(p);

  PRM_INFO prm = DefaultPrmInfo();
  prm.Width = p.width;
  prm.Height = p.height;
  prm.PixelCount = p.width * p.height;
  prm.ExposureMs = static_cast<int32_t>(std::lround(p.frame_ms));
  prm.ScaleX = prm.ScaleY = static_cast<float>(p.nm_per_pixel);
  prm.TempTenths = 250;
  ADD_INFO add;
  std::vector<uint16_t> frame(static_cast<size_t>(prm.PixelCount));
  std::vector<float> scratch;
  bool ok = std::fputs("frame\tparticle\tx\ty\tphotons\n", truth.get()) >= 0;
  for (int32_t f = 0; f < p.frames && ok; ++f) {
    const TruthRow* first = rows.data() + static_cast<size_t>(f) * p.spots;
    RenderSimulatedFrame(p, f, first, static_cast<size_t>(p.spots), scratch, frame.data());
    prm.TimeMs = static_cast<int32_t>(std::lround(f * p.frame_ms));
    ok = WriteXKVFrame(out.get(), prm, add, frame.data(), FrameWriteOptions{});
    for (int32_t s = 0; s < p.spots && ok; ++s) {
      const TruthRow& t = first[s];
      ok = std::fprintf(truth.get(), "%d\t%d\t%.4f\t%.4f\t%.6g\n", t.frame, t.particle, t.x, t.y,
                        t.photons) > 0;
    }
  }
  ok = ok && std::fflush(out.get()) == 0 && std::fflush(truth.get()) == 0;
  if (!ok) {
    reporter.Modal("File write error: " + xkv_path);
    return false;
  }
  return true;
}

}  // namespace lumetra
