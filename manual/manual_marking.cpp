#include "manual/manual_marking.h"

#include "manual/manual_messages.h"
#include "spots/subpixel_fit.h"

namespace lumetra {

std::optional<MarkPoint> PointFromClick(const uint16_t* pixels, int32_t width, int32_t height,
                                        int32_t px, int32_t py, double nm_per_pixel_x,
                                        double nm_per_pixel_y, bool snap, double fwhm_nm) {
  if (!pixels || px < 0 || py < 0 || px >= width || py >= height) return std::nullopt;
  MarkPoint m;
  m.value = pixels[static_cast<int64_t>(py) * width + px];
  double cx = px, cy = py;  // pixel centres at whole numbers
  if (snap) {
    float block[kFitBox * kFitBox];
    uint8_t valid[kFitBox * kFitBox];
    CopyFitBlock(pixels, width, height, px, py, block, valid);
    // FWHM = 2 sqrt(2 ln 2) sigma.
    const double sigma_nm = fwhm_nm / 2.3548200450309493;
    const SubpixelFit fit =
        FitSpotCentre(block, valid, sigma_nm / nm_per_pixel_x, sigma_nm / nm_per_pixel_y);
    cx = px + fit.cx - 6.0;
    cy = py + fit.cy - 6.0;
    m.fitted = fit.converged;
  }
  m.x_nm = static_cast<float>((cx + 0.5) * nm_per_pixel_x);
  m.y_nm = static_cast<float>((cy + 0.5) * nm_per_pixel_y);
  return m;
}

std::string MarkStatus(int32_t object, int32_t frame, int32_t frames, MarkResult result) {
  std::string s = std::string(kStatusObject) + std::to_string(object + 1) +
                  std::string(kStatusFrame) + std::to_string(frame) + std::string(kStatusOf) +
                  std::to_string(frames);
  if (result == MarkResult::kSet) s += kStatusPointSet;
  if (result == MarkResult::kCorrected) s += kStatusPointCorrected;
  if (frame + 1 >= frames) s += kStatusLastFrame;
  return s;
}

}  // namespace lumetra
