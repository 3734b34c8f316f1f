#include "spots/auto_q.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/random.h"
#include "common/report.h"
#include "spots/spot_detector.h"
#include "spots/spot_objects.h"
#include "spots/spot_params.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

constexpr int32_t kNoiseSide = 512;  // the noise frames, and the frame "one per frame" means
constexpr int kNoiseFrames = 4;
constexpr double kFalsePerFrame = 1.0;
constexpr int32_t kSampleStep = 2;  // every second row is measured
constexpr uint64_t kNoiseSeed = 20240715;

double Median(std::vector<double>& v) {
  if (v.empty()) return 0;
  const auto mid = v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2);
  std::nth_element(v.begin(), mid, v.end());
  return *mid;
}

// Objects of a candidate list with the labels given by ClusterCandidates: one
// per label (the list's own count reports a single cluster as none).
int32_t CountClusters(std::vector<Candidate>& c) {
  if (c.empty()) return 0;
  ClusterCandidates(c);
  int32_t top = -1;
  for (const Candidate& k : c) top = std::max(top, k.label);
  return top + 1;
}

}  // namespace

NoiseLevel MeasureNoise(const std::vector<const uint16_t*>& frames, int32_t width,
                        int32_t height) {
  std::vector<double> values, diffs;
  for (const uint16_t* f : frames)
    for (int32_t y = 0; y < height; y += kSampleStep) {
      const uint16_t* row = f + static_cast<int64_t>(y) * width;
      for (int32_t x = 0; x + 1 < width; x += 2) {
        values.push_back(row[x]);
        diffs.push_back(static_cast<double>(row[x + 1]) - row[x]);
      }
    }
  NoiseLevel level;
  if (diffs.empty()) return level;
  level.background = Median(values);
  // Mean square of the differences within 5 robust deviations: smooth in the
  // noise even for whole-number counts, blind to the edges of spots.
  std::vector<double> spread(diffs.size());
  for (size_t i = 0; i < diffs.size(); ++i) spread[i] = std::fabs(diffs[i]);
  const double limit = 5.0 * 1.4826 * std::max(Median(spread), 0.5);
  double sum = 0;
  size_t n = 0;
  for (double d : diffs)
    if (std::fabs(d) <= limit) {
      sum += d * d;
      ++n;
    }
  level.noise = n > 0 ? std::sqrt(sum / static_cast<double>(n) / 2.0) : 0.0;
  return level;
}

AutoQChoice ChooseQ(const NoiseLevel& level, double fwhm_nm, double nm_per_pixel, int workers) {
  AutoQChoice choice;
  choice.level = level;
  const SpotTemplate tmpl = MakeSpotTemplate(fwhm_nm, nm_per_pixel);
  SpotDetector detector(workers);
  CollectingReporter quiet;
  std::vector<uint16_t> frame(static_cast<size_t>(kNoiseSide) * kNoiseSide);
  // The candidates at the lowest Q hold those of every higher one: a pixel
  // passes Q when A >= Q r.
  std::vector<std::vector<Candidate>> found;
  for (int i = 0; i < kNoiseFrames; ++i) {
    Rng rng(kNoiseSeed, static_cast<uint64_t>(i));
    for (uint16_t& v : frame)
      v = static_cast<uint16_t>(
          std::clamp(std::lround(level.background + level.noise * rng.Normal()), 0L, 65535L));
    detector.Detect(frame.data(), kNoiseSide, 0, kNoiseSide, 0, kNoiseSide, tmpl, kSensThrLow,
                    quiet);
    found.push_back(detector.Candidates());
  }
  std::vector<Candidate> kept;
  for (int32_t q = kSensThrLow; q <= kSensThrHigh; ++q) {
    int32_t objects = 0;
    for (const std::vector<Candidate>& list : found) {
      kept.clear();
      for (const Candidate& c : list)
        if (c.Q >= static_cast<float>(q)) kept.push_back(c);
      objects += CountClusters(kept);
    }
    choice.q = q;
    choice.false_per_frame = static_cast<double>(objects) / kNoiseFrames;
    if (choice.false_per_frame <= kFalsePerFrame) break;
  }
  return choice;
}

double TemplateFinds(const NoiseLevel& level, double counts, double fwhm_nm, double nm_per_pixel,
                     int32_t q, int workers) {
  constexpr int32_t kGrid = 12, kStep = 40, kFrames = 2;
  const SpotTemplate tmpl = MakeSpotTemplate(fwhm_nm, nm_per_pixel);
  const double sigma = fwhm_nm / (2.3548 * nm_per_pixel);
  SpotDetector detector(workers);
  CollectingReporter quiet;
  std::vector<uint16_t> frame(static_cast<size_t>(kNoiseSide) * kNoiseSide);
  std::vector<double> mean(frame.size());
  int32_t found = 0, total = 0;
  for (int i = 0; i < kFrames; ++i) {
    Rng rng(kNoiseSeed + 1, static_cast<uint64_t>(i));
    std::fill(mean.begin(), mean.end(), 0.0);
    std::vector<std::pair<double, double>> at;
    for (int32_t gy = 0; gy < kGrid; ++gy)
      for (int32_t gx = 0; gx < kGrid; ++gx) {
        const double cx = 30 + gx * kStep + rng.Uniform(), cy = 30 + gy * kStep + rng.Uniform();
        at.push_back({cx, cy});
        // Pixel-integrated: the share of the spot in each pixel of a 15 x 15 block.
        for (int32_t y = static_cast<int32_t>(cy) - 7; y <= static_cast<int32_t>(cy) + 7; ++y)
          for (int32_t x = static_cast<int32_t>(cx) - 7; x <= static_cast<int32_t>(cx) + 7; ++x) {
            auto share = [&](double c, int32_t p) {
              const double k = 1.0 / (std::sqrt(2.0) * sigma);
              return 0.5 * (std::erf((p + 0.5 - c) * k) - std::erf((p - 0.5 - c) * k));
            };
            mean[static_cast<size_t>(y) * kNoiseSide + static_cast<size_t>(x)] +=
                counts * share(cx, x) * share(cy, y);
          }
      }
    for (size_t p = 0; p < frame.size(); ++p)
      frame[p] = static_cast<uint16_t>(std::clamp(
          std::lround(level.background + mean[p] +
                      std::sqrt(level.noise * level.noise + mean[p]) * rng.Normal()),
          0L, 65535L));
    detector.Detect(frame.data(), kNoiseSide, 0, kNoiseSide, 0, kNoiseSide, tmpl, q, quiet);
    for (const auto& [cx, cy] : at) {
      ++total;
      for (const Candidate& c : detector.Candidates())
        if (c.Q >= static_cast<float>(q) && std::fabs(c.X - cx) <= 1.5 && std::fabs(c.Y - cy) <= 1.5) {
          ++found;
          break;
        }
    }
  }
  return total > 0 ? static_cast<double>(found) / total : 0.0;
}

std::string AutoQReadOut(const AutoQChoice& c) {
  char text[320];
  int n = std::snprintf(text, sizeof text, "%.*s%d (background %.1f counts, noise %.2f counts, %.2f false spots per 512 x 512 frame)",
                        static_cast<int>(kAutoQChose.size()), kAutoQChose.data(), c.q,
                        c.level.background, c.level.noise, c.false_per_frame);
  if (c.dense && n > 0 && static_cast<size_t>(n) < sizeof text)
    std::snprintf(text + n, sizeof text - static_cast<size_t>(n),
                  "; spots of about %.0f counts, of which the template finds %.0f %% at Q=%d: %.*s",
                  c.spot_counts, 100.0 * c.template_finds, c.q,
                  static_cast<int>(kAutoQDenseUsed.size()), kAutoQDenseUsed.data());
  return text;
}

}  // namespace lumetra
