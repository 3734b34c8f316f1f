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

std::string AutoQReadOut(const AutoQChoice& c) {
  char text[200];
  std::snprintf(text, sizeof text, "%.*s%d (background %.1f counts, noise %.2f counts, %.2f false spots per 512 x 512 frame)",
                static_cast<int>(kAutoQChose.size()), kAutoQChose.data(), c.q, c.level.background,
                c.level.noise, c.false_per_frame);
  return text;
}

}  // namespace lumetra
