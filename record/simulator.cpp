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

// Frames until an event of probability `prob` per frame first happens (1 when
// it happens on the very next frame); kNever when it cannot happen.
constexpr int32_t kNever = INT32_MAX;
int32_t FramesUntil(Rng& rng, double prob) {
  if (!(prob > 0)) return kNever;
  if (prob >= 1) return 1;
  const double u = 1.0 - rng.Uniform();  // (0, 1]
  const double g = 1.0 + std::floor(std::log(u) / std::log1p(-prob));
  return g < 1e9 ? static_cast<int32_t>(g) : kNever;
}

// When one spot of the step model binds and when each of its fluorophores bleaches.
struct SpotPlan {
  int32_t bind = 0;             // first frame it shows; kNever: never binds
  std::vector<int32_t> bleach;  // first dark frame of each fluorophore

  int32_t LitAt(int32_t frame) const {
    if (bind == kNever || frame < bind) return 0;
    int32_t lit = 0;
    for (int32_t b : bleach) lit += b > frame;
    return lit;
  }
};

// Every spot draws from its own stream, apart from the one that moves the
// particles, so the positions do not depend on the step options.
SpotPlan PlanSpot(const SimulationParams& p, size_t index) {
  Rng rng(p.seed, (0x57E9ull << 48) | index);
  SpotPlan plan;
  const int32_t span = p.fluorophores_max - p.fluorophores_min + 1;
  const int32_t n =
      std::min(p.fluorophores_max,
               p.fluorophores_min + static_cast<int32_t>(std::floor(rng.Uniform() * span)));
  plan.bind = p.binding_rate > 0 ? FramesUntil(rng, p.binding_rate) : 0;
  plan.bleach.resize(static_cast<size_t>(n));
  for (int32_t& b : plan.bleach) {
    const int32_t g = FramesUntil(rng, p.bleach_prob);
    b = plan.bind == kNever || g == kNever || g > kNever - plan.bind ? kNever : plan.bind + g;
  }
  return plan;
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
  if (p.diffusions.size() != p.fractions.size() && !p.fractions.empty())
    return "give one fraction for every diffusion coefficient";
  if (p.diffusions.size() > 10) return "at most 10 populations";
  for (double d : p.diffusions)
    if (!(d >= 0)) return "diffusion must not be negative";
  double total = 0;
  for (double f : p.fractions) {
    if (!(f >= 0)) return "fractions must not be negative";
    total += f;
  }
  if (!p.fractions.empty() && !(total > 0)) return "the fractions must add up to more than 0";
  if (!std::isfinite(p.drift_x_nm) || !std::isfinite(p.drift_y_nm) ||
      std::abs(p.drift_x_nm) > 1000 || std::abs(p.drift_y_nm) > 1000)
    return "drift must be within 1000 nm per frame";
  if (!(p.frame_ms >= 1) || p.frame_ms * p.frames > 2e9) return "frame time must be at least 1 ms";
  if (!(p.bleach_prob >= 0 && p.bleach_prob <= 1)) return "bleach probability must be 0 to 1";
  if (p.fluorophores_min < 1 || p.fluorophores_max > 100 || p.fluorophores_min > p.fluorophores_max)
    return "fluorophores per spot must be 1 to 100, the smaller number first";
  if (!(p.binding_rate >= 0 && p.binding_rate <= 1)) return "binding rate must be 0 to 1";
  return std::nullopt;
}

bool HasPopulationTruth(const SimulationParams& p) {
  return !p.diffusions.empty() || p.drift_x_nm != 0 || p.drift_y_nm != 0;
}

bool UsesStepModel(const SimulationParams& p) {
  return p.fluorophores_min != 1 || p.fluorophores_max != 1 || p.binding_rate > 0;
}

double DefaultStepBleachProb(int32_t frames) {
  return frames > 3 ? 3.0 / frames : 1.0;
}

namespace {

std::string WithoutXkvExtension(const std::string& xkv_path) {
  std::string base = xkv_path;
  if (base.size() > 4) {
    std::string ext = base.substr(base.size() - 4);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (ext == ".xkv") base.resize(base.size() - 4);
  }
  return base;
}

}  // namespace

std::string TruthPathFor(const std::string& xkv_path) {
  return WithoutXkvExtension(xkv_path) + ".truth.tsv";
}

std::string StepsPathFor(const std::string& xkv_path) {
  return WithoutXkvExtension(xkv_path) + ".steps.tsv";
}

std::vector<TruthRow> SimulateTruth(const SimulationParams& p) {
  std::vector<TruthRow> rows;
  rows.reserve(static_cast<size_t>(p.frames) * p.spots);
  Rng rng(p.seed, 0xA11CE);
  const double x_lo = kEdgeMargin, x_hi = p.width - 1 - kEdgeMargin;
  const double y_lo = kEdgeMargin, y_hi = p.height - 1 - kEdgeMargin;
  struct Particle {
    double x, y;
    bool bleached;  // single-step bleaching without the step model
  };
  std::vector<Particle> parts(static_cast<size_t>(p.spots));
  for (Particle& q : parts) {
    q.x = x_lo + rng.Uniform() * (x_hi - x_lo);
    q.y = y_lo + rng.Uniform() * (y_hi - y_lo);
    q.bleached = false;
  }
  const bool step_model = UsesStepModel(p);
  std::vector<SpotPlan> plans;
  if (step_model)
    for (size_t i = 0; i < parts.size(); ++i) plans.push_back(PlanSpot(p, i));
  // Brownian step per axis: sqrt(2 D dt), um -> pixels.
  auto step_for = [&](double d) { return std::sqrt(2.0 * d * p.frame_ms * 1e-3) * 1000.0 / p.nm_per_pixel; };
  // Populations from a stream of their own, so the paths of a record without
  // a mixture stay what they were.
  std::vector<int32_t> population(parts.size(), 0);
  std::vector<double> step(parts.size(), step_for(p.diffusion));
  if (!p.diffusions.empty()) {
    Rng pick(p.seed, 0xD1FF05E);
    double total = 0;
    for (size_t k = 0; k < p.diffusions.size(); ++k)
      total += p.fractions.empty() ? 1.0 : p.fractions[k];
    for (size_t i = 0; i < parts.size(); ++i) {
      double u = pick.Uniform() * total;
      size_t k = 0;
      while (k + 1 < p.diffusions.size() && u >= (p.fractions.empty() ? 1.0 : p.fractions[k]))
        u -= p.fractions.empty() ? 1.0 : p.fractions[k++];
      population[i] = static_cast<int32_t>(k);
      step[i] = step_for(p.diffusions[k]);
    }
  }
  const double drift_x = p.drift_x_nm / p.nm_per_pixel, drift_y = p.drift_y_nm / p.nm_per_pixel;
  for (int32_t f = 0; f < p.frames; ++f) {
    for (size_t i = 0; i < parts.size(); ++i) {
      Particle& q = parts[i];
      if (f > 0) {
        q.x = Reflect(q.x + step[i] * rng.Normal(), x_lo, x_hi);
        q.y = Reflect(q.y + step[i] * rng.Normal(), y_lo, y_hi);
        // Drawn with the step model too, so the paths stay those of a plain record.
        if (!q.bleached && p.bleach_prob > 0 && rng.Uniform() < p.bleach_prob) q.bleached = true;
      }
      const double photons =
          step_model ? plans[i].LitAt(f) * p.photons : (q.bleached ? 0.0 : p.photons);
      rows.push_back({f, static_cast<int32_t>(i), q.x + f * drift_x, q.y + f * drift_y, photons,
                      population[i]});
    }
  }
  return rows;
}

std::vector<StepRow> StepsFromTruth(const std::vector<TruthRow>& rows, int32_t spots) {
  std::vector<StepRow> steps;
  if (spots <= 0) return steps;
  const size_t n = static_cast<size_t>(spots);
  for (size_t i = 0; i < n; ++i)
    for (size_t k = i + n; k < rows.size(); k += n) {
      const TruthRow& was = rows[k - n];
      const TruthRow& now = rows[k];
      if (now.photons == was.photons) continue;
      steps.push_back({now.particle, now.x, now.y, now.frame, now.photons > was.photons,
                       was.photons, now.photons});
    }
  return steps;
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
  const std::string steps_path = StepsPathFor(xkv_path);
  FileHandle steps_file = OpenFile(steps_path, "w");
  if (!steps_file) {
    reporter.Modal(std::string(kCanNotOpenForWriting) + ": " + steps_path);
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
  const bool populations = HasPopulationTruth(p);
  bool ok = std::fputs(populations ? "frame\tparticle\tx\ty\tphotons\tpopulation\tD_um2_s\n"
                                   : "frame\tparticle\tx\ty\tphotons\n",
                       truth.get()) >= 0;
  for (int32_t f = 0; f < p.frames && ok; ++f) {
    const TruthRow* first = rows.data() + static_cast<size_t>(f) * p.spots;
    RenderSimulatedFrame(p, f, first, static_cast<size_t>(p.spots), scratch, frame.data());
    prm.TimeMs = static_cast<int32_t>(std::lround(f * p.frame_ms));
    ok = WriteXKVFrame(out.get(), prm, add, frame.data(), FrameWriteOptions{});
    for (int32_t s = 0; s < p.spots && ok; ++s) {
      const TruthRow& t = first[s];
      ok = std::fprintf(truth.get(), "%d\t%d\t%.4f\t%.4f\t%.6g", t.frame, t.particle, t.x, t.y,
                        t.photons) > 0;
      if (ok && populations) {
        const double d = p.diffusions.empty() ? p.diffusion
                                              : p.diffusions[static_cast<size_t>(t.population)];
        ok = std::fprintf(truth.get(), "\t%d\t%.6g", t.population, d) > 0;
      }
      ok = ok && std::fputc('\n', truth.get()) != EOF;
    }
  }
  ok = ok && std::fputs("particle\tx\ty\tframe\tkind\tphotons_before\tphotons_after\n",
                        steps_file.get()) >= 0;
  for (const StepRow& s : ok ? StepsFromTruth(rows, p.spots) : std::vector<StepRow>{}) {
    ok =
        std::fprintf(steps_file.get(), "%d\t%.4f\t%.4f\t%d\t%s\t%.6g\t%.6g\n", s.particle, s.x, s.y,
                     s.frame, s.rise ? "rise" : "drop", s.photons_before, s.photons_after) > 0;
    if (!ok) break;
  }
  ok = ok && std::fflush(out.get()) == 0 && std::fflush(truth.get()) == 0 &&
       std::fflush(steps_file.get()) == 0;
  if (!ok) {
    reporter.Modal("File write error: " + xkv_path);
    return false;
  }
  return true;
}

}  // namespace lumetra
