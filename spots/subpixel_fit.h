// Sub-pixel centre of one spot: maximum-likelihood fit of a pixel-integrated
// 2D Gaussian of known width on a constant background to a 13 x 13 block of
// counts under Poisson noise (Levenberg-Marquardt steps on the Fisher
// information, started from the centroid), with further spots added where
// the residual demands them. When the fit fails or its spot lies more than 3
// pixels from the block centre, the centroid is returned instead.
#pragma once

#include <cmath>
#include <cstdint>

namespace lumetra {

inline constexpr int kFitBox = 13;  // block side (pixels)

struct SubpixelFit {
  double cx = 6, cy = 6;   // centre in block pixels (0..12, pixel centres at whole numbers)
  double photons = 0;      // fitted spot photons (counts)
  double background = 0;   // fitted background (counts/pixel)
  bool converged = false;  // false: cx, cy are the centroid
  // Cramér-Rao bound of cx and cy (pixels) from the fitted model's Fisher
  // information; NaN for a centroid.
  double sigma_x = NAN, sigma_y = NAN;
};

// `block` holds 13 x 13 counts, row-major; `valid` marks the pixels inside the
// frame (null: all). Sigmas of the spot in pixels along x and y. Where the
// residual shows further spots in the block, they are fitted too (up to three
// in all), and the one nearest to (prefer_x, prefer_y) is returned.
SubpixelFit FitSpotCentre(const float* block, const uint8_t* valid, double sigma_x, double sigma_y,
                          double prefer_x = 6, double prefer_y = 6);

// Block around (x, y) of a row-major frame, with the pixels outside the frame
// marked invalid. Returns the number of valid pixels.
int CopyFitBlock(const uint16_t* pixels, int32_t width, int32_t height, int32_t x, int32_t y,
                 float* block, uint8_t* valid);

}  // namespace lumetra
