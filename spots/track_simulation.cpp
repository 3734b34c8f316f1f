#include "spots/track_simulation.h"

#include <algorithm>
#include <cmath>

#include "common/random.h"

namespace lumetra {

SimulatedTracks SimulateTracks(const TrackSimulation& s) {
  SimulatedTracks out;
  out.set.timing.frame_s = s.frame_s;
  out.set.timing.exposure_s = s.exposure_s;
  out.set.timing.nm_per_pixel = 100;
  Rng rng(s.seed, 0x7AC5);
  double total = 0;
  for (double f : s.fractions) total += f;
  // Sub-steps of the exposure: enough that the averaged path is the integral
  // to far below the localisation error.
  constexpr int32_t kSub = 16;
  const double blur = std::clamp(s.exposure_s / s.frame_s, 0.0, 1.0);
  for (int32_t k = 0; k < s.tracks; ++k) {
    double u = rng.Uniform() * total;
    size_t pop = 0;
    while (pop + 1 < s.fractions.size() && u >= s.fractions[pop]) u -= s.fractions[pop++];
    const double d = s.diffusion[std::min(pop, s.diffusion.size() - 1)];
    TrackSeries t;
    t.id = k;
    t.first_frame = s.start_spread > 0
                        ? static_cast<int32_t>(rng.Uniform() * (s.start_spread + 1))
                        : 0;
    double x = rng.Uniform() * s.field_um, y = rng.Uniform() * s.field_um;
    const double step = std::sqrt(2 * d * s.frame_s);
    t.x_um.resize(static_cast<size_t>(s.points));
    t.y_um.resize(t.x_um.size());
    t.intensity.assign(t.x_um.size(), 100.0);
    const double rest = std::sqrt(2 * d * s.frame_s * (1 - blur));
    const double sub = std::sqrt(2 * d * s.frame_s * blur / kSub);
    for (int32_t i = 0; i < s.points; ++i) {
      // The frame is exposed from its start for a fraction `blur` of the
      // interval: what it shows is the path averaged over that stretch.
      double mx = x, my = y;
      if (blur > 0) {
        double ax = 0, ay = 0;
        for (int32_t j = 0; j < kSub; ++j) {
          const double nx = x + sub * rng.Normal(), ny = y + sub * rng.Normal();
          ax += 0.5 * (x + nx);
          ay += 0.5 * (y + ny);
          x = nx;
          y = ny;
        }
        mx = ax / kSub;
        my = ay / kSub;
      }
      x += (blur > 0 ? rest : step) * rng.Normal();
      y += (blur > 0 ? rest : step) * rng.Normal();
      const int32_t f = t.first_frame + i;
      t.x_um[static_cast<size_t>(i)] = mx + s.sigma_um * rng.Normal() + f * s.drift_x_um;
      t.y_um[static_cast<size_t>(i)] = my + s.sigma_um * rng.Normal() + f * s.drift_y_um;
    }
    out.set.frames = std::max(out.set.frames, t.first_frame + s.points);
    out.set.tracks.push_back(std::move(t));
    out.population.push_back(static_cast<int32_t>(pop));
  }
  return out;
}

}  // namespace lumetra
