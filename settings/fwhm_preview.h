// The FWHM preview: after a new FWHM is set, the top-left 11 x 11 pixels of
// the current frame show the spot that the value implies, drawn with the
// two-dimensional Gaussian of the spot fitting at 100 counts peak.
#pragma once

#include <cstdint>

namespace lumetra {

// Side of the preview and of the spot template, pixels.
inline constexpr int32_t kPreviewSize = 11;

// The spot model: exp(-(dx^2 + dy^2) / (2 sigma^2)), dx and dy in pixels from
// the centre; 0 everywhere when sigma is 0 (or not a number).
double SpotModel(double dx, double dy, double sigma);

// sigma in pixels = FWHM / (2.355 x the frame's x pixel size in nm).
double PreviewSigma(double fwhm_nm, float scale_x_nm);

// Overwrites pixel (row r, column c), r and c from 0 to 10, with the integer
// part of 100 x SpotModel(c - 5, r - 5, sigma); a frame smaller than 11
// pixels either way gets the part that fits.
void PaintFwhmPreview(uint16_t* frame, int32_t width, int32_t height, double fwhm_nm,
                      float scale_x_nm);

}  // namespace lumetra
