// Per-frame spot detection: every pixel of the frame (less a 5-pixel margin at
// the left and top and 6 at the right and bottom) is matched against the spot
// template, and the pixels that fit well enough become candidates, in
// row-major order. Flat pixels are rejected from integer zone sums before the
// float fit runs, and rows are split over the cores; the candidate list is the
// same as a plain single-threaded scan gives.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "common/report.h"
#include "spots/spot_template.h"
#include "spots/worker_pool.h"

namespace lumetra {

// One accepted pixel (the candidate pixel record of the window).
struct Candidate {
  int32_t X = 0;  // column (pixels)
  int32_t Y = 0;  // row (pixels)
  int32_t index = 0;
  uint16_t raw = 0;     // the pixel's counts
  int32_t label = -1;   // cluster label, -1 while unclustered
  float amplitude = 0;  // fitted amplitude (counts/pixel above background), whole
  float Q = 0;          // amplitude over residual
};

// Result of fitting the neighbourhood of one pixel.
struct PixelFit {
  float amplitude = 0;  // m - b, or 0 when the peak is less than 3 counts above background
  int32_t A = 0;        // amplitude truncated toward zero
  int32_t r = 0;        // residual, truncated (0 when not computed)
};

// The fit of one pixel, exactly as the scan does it: zone sums, normalisation
// of the block to the template's scale, the residual with its running sum
// truncated after every addition and the fixed divisor 89. The residual is
// only computed when A reaches q / 2. (x, y) must lie 5 pixels inside the frame.
PixelFit FitPixel(const uint16_t* pixels, int32_t width, int32_t x, int32_t y,
                  const SpotTemplate& tmpl, int32_t q);
// The same for the neighbourhood whose top-left corner is `corner`, with its
// zone sums known. With `stop_early` the residual stops as soon as the pixel
// can no longer be a candidate; r is then only known to exceed A / q.
PixelFit FitNeighbourhood(const uint16_t* corner, const ZoneOffsets& offsets, const ZoneSums& sums,
                          const MaskedTemplate& tmpl, int32_t q, bool stop_early);

class SpotDetector {
 public:
  // `workers` 0 uses every core; 1 keeps the scan on the calling thread.
  explicit SpotDetector(int workers = 0) : workers_(workers) {}

  // DetectSpots: scans the area (left/top inclusive, right/bottom exclusive,
  // pixels) of a row-major frame `width` pixels wide. Returns the number of
  // candidates, or -1 after "Area is too small".
  int32_t Detect(const uint16_t* pixels, int32_t width, int32_t left, int32_t right, int32_t top,
                 int32_t bottom, const SpotTemplate& tmpl, int32_t q, Reporter& reporter);

  std::vector<Candidate>& Candidates() { return candidates_; }
  const std::vector<Candidate>& Candidates() const { return candidates_; }

 private:
  struct Chunk {
    std::vector<int32_t> rows;  // the centre row and the five row pairs around it
    std::vector<uint8_t> flags;
    std::vector<Candidate> found;
  };
  void ScanRows(Chunk& chunk, int32_t y0, int32_t y1) const;

  int workers_;
  // Scan state shared by the chunks of one call.
  const uint16_t* pixels_ = nullptr;
  int32_t width_ = 0, left_ = 0, right_ = 0;
  const SpotTemplate* tmpl_ = nullptr;
  int32_t q_ = 0;
  std::vector<Chunk> chunks_;
  std::unique_ptr<WorkerPool> pool_;
  int pool_threads_ = 0;
  std::vector<Candidate> candidates_;
};

}  // namespace lumetra
