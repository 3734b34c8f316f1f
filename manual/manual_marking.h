// From a click on the main window's image to the point of the current object:
// the clicked pixel's centre, or the sub-pixel centre that the tracker's
// maximum-likelihood fit finds around it; and the status line after a mark.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "manual/manual_tracks.h"

namespace lumetra {

struct MarkPoint {
  float x_nm = 0, y_nm = 0;  // from the frame's top-left corner
  float value = 0;           // counts of the clicked pixel
  bool fitted = false;       // the fit converged (else the pixel centre or the centroid)
};

// Nothing when (px, py) lies outside the frame. With `snap` the 13 x 13 block
// around the pixel is fitted with a spot of the given FWHM (nm); a fit that
// wanders more than 3 pixels gives the block's centroid, as in the tracker.
std::optional<MarkPoint> PointFromClick(const uint16_t* pixels, int32_t width, int32_t height,
                                        int32_t px, int32_t py, double nm_per_pixel_x,
                                        double nm_per_pixel_y, bool snap, double fwhm_nm);

// "object 3, frame 17 of 200: point set" (frame numbers from 0, as the main window's).
std::string MarkStatus(int32_t object, int32_t frame, int32_t frames, MarkResult result);

}  // namespace lumetra
