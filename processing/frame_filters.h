// The per-frame spatial filters of the processing chain, as plain functions on
// one frame of 16-bit counts: spatial medians of 3 x 3 and 5 x 5, smoothing,
// sharpening, Sobel edges and local background subtraction. All arithmetic is
// in whole numbers; results are clamped to 0..65535; pixels beyond the frame's
// edge take the value of the nearest edge pixel (the edge is repeated).
#pragma once

#include <cstdint>
#include <vector>

namespace lumetra {

// Sharpening strength (the "Sharp=" setting) as the whole-number weight the
// filter multiplies by: round(strength x 64). 16 gives 1024.
int32_t SharpWeight(double strength);

// Division of a whole number n < 2^27 by d (2 <= d <= 2048), rounded down,
// by one 64-bit multiplication and a shift; exact over that whole range.
struct ExactDivider {
  explicit ExactDivider(uint32_t d);
  uint32_t operator()(uint32_t n) const {
    return static_cast<uint32_t>((static_cast<uint64_t>(n) * multiplier) >> kShift);
  }
  static constexpr int kShift = 38;
  uint64_t multiplier;
};

// Work buffers of the filters, grown to the largest frame seen and then kept:
// no allocation per frame.
struct FilterScratch {
  std::vector<uint16_t> padded;  // the frame with its edges repeated
  std::vector<uint16_t> lines;   // sorted columns of the 5 x 5 median, per band
  std::vector<uint32_t> sums;    // column and box sums of the local background, per band
};

// Each filter reads `frame` (width x height, row-major) and writes the result
// back into it. `workers` above 1 splits the rows over threads; 0 lets frames
// of a million pixels or more use every core. The result is the same either way.

// Each pixel becomes the median of its 3 x 3 (5 x 5) neighbourhood.
void SpatialMedian3(uint16_t* frame, int32_t width, int32_t height, FilterScratch& scratch,
                    int workers = 0);
void SpatialMedian5(uint16_t* frame, int32_t width, int32_t height, FilterScratch& scratch,
                    int workers = 0);
// Mean of the 3 x 3 neighbourhood, rounded to the nearest count: (sum + 4) / 9.
void Smooth3(uint16_t* frame, int32_t width, int32_t height, FilterScratch& scratch,
             int workers = 0);
// p + round(L x weight / 4096), L = 8p - (sum of the 8 neighbours), halves
// rounded up; weight from SharpWeight (1024, strength 16: the 3 x 3 kernel of
// -1s around 12, divided by 4).
void Sharpen(uint16_t* frame, int32_t width, int32_t height, int32_t weight,
             FilterScratch& scratch, int workers = 0);
// floor(sqrt(gx^2 + gy^2)) of the 3 x 3 Sobel derivatives (weights 1 2 1,
// not divided), at most 65535.
void Sobel(uint16_t* frame, int32_t width, int32_t height, FilterScratch& scratch,
           int workers = 0);
// p - b where p > b, else 0, with b the mean of the (2r + 1) x (2r + 1) box
// around the pixel rounded to the nearest count (halves up); r from 1 to 20.
void SubtractLocalBackground(uint16_t* frame, int32_t width, int32_t height, int32_t radius,
                             FilterScratch& scratch, int workers = 0);

}  // namespace lumetra
