// "Q: automatic": the sensitivity threshold chosen from the record itself.
// The background and its noise are measured on the first frames; frames of
// pure noise of that level go through the template detector, and Q is the
// smallest whole number that leaves about one false spot per 512 x 512 frame.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lumetra {

inline constexpr int32_t kAutoQFrames = 5;  // frames measured before detection starts

struct NoiseLevel {
  double background = 0;  // median count
  double noise = 0;       // standard deviation of one pixel (counts)
};

// Median and noise of the frames (row-major, `width` x `height` each). The
// noise comes from differences of horizontal neighbours, so the slow changes
// of the background do not count; the few large differences at spots are left out.
NoiseLevel MeasureNoise(const std::vector<const uint16_t*>& frames, int32_t width, int32_t height);

struct AutoQChoice {
  int32_t q = 2;
  NoiseLevel level;
  double false_per_frame = 0;  // spots in a 512 x 512 frame of pure noise at that Q
  // The record's spots as the dense detector fits them in the first frames
  // (median counts, 0 when too few were found), the share of such spots the
  // template finds at Q, and whether that was too few, so that Dense Field
  // Detection took over.
  double spot_counts = 0;
  double template_finds = 1;
  bool dense = false;
};

// The template must find at least this share of the record's spots at the
// chosen Q; below it "Q: automatic" hands the record to the dense detector
// (a track of 100 frames survives only if nearly every frame finds its spot).
inline constexpr double kAutoQMinFound = 0.99;
// Fewer fitted spots than this in the first frames: nothing to judge by.
inline constexpr int32_t kAutoQMinSpots = 10;

// Share of spots of `counts` (pixel-integrated Gaussians of this FWHM, on the
// background and noise of `level`, with their own shot noise) that the
// template detector finds within 1.5 pixels at `q`, over a grid of 288 spots
// in two 512 x 512 frames. The same for any number of workers.
double TemplateFinds(const NoiseLevel& level, double counts, double fwhm_nm, double nm_per_pixel,
                     int32_t q, int workers = 0);

// The Q for that noise with the template of this FWHM and scale. `workers`
// as for the detector; the choice is the same for any number.
AutoQChoice ChooseQ(const NoiseLevel& level, double fwhm_nm, double nm_per_pixel, int workers = 0);

// "Q: automatic, chose Q=3 (background 100.2 counts, noise 10.3 counts, 0.8
// false spots per 512 x 512 frame)", and when the dense detector took over
// "; spots of about 305 counts, of which the template finds 91 % at Q=3:
// Dense Field Detection used".
std::string AutoQReadOut(const AutoQChoice& choice);

}  // namespace lumetra
