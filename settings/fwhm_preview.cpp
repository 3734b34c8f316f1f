#include "settings/fwhm_preview.h"

#include <algorithm>
#include <cmath>

#include "common/text_format.h"

namespace lumetra {

double SpotModel(double dx, double dy, double sigma) {
  if (!(sigma > 0)) return 0;
  return std::exp(-(dx * dx + dy * dy) / (2 * sigma * sigma));
}

double PreviewSigma(double fwhm_nm, float scale_x_nm) {
  const double pixel_nm = static_cast<double>(scale_x_nm);
  if (!(pixel_nm > 0)) return 0;
  return fwhm_nm / (2.355 * pixel_nm);
}

void PaintFwhmPreview(uint16_t* frame, int32_t width, int32_t height, double fwhm_nm,
                      float scale_x_nm) {
  const double sigma = PreviewSigma(fwhm_nm, scale_x_nm);
  const int32_t rows = std::min(kPreviewSize, height), cols = std::min(kPreviewSize, width);
  const int32_t half = kPreviewSize / 2;
  for (int32_t r = 0; r < rows; ++r)
    for (int32_t c = 0; c < cols; ++c)
      frame[static_cast<int64_t>(r) * width + c] =
          static_cast<uint16_t>(TruncToInt(100 * SpotModel(c - half, r - half, sigma)));
}

}  // namespace lumetra
