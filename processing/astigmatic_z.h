// The Z read-out of astigmatic imaging: with a cylindrical lens in the
// detection path a spot's image is elliptical, its width along x and along y
// changing in opposite directions through focus. Each spot's two widths are
// measured in its frame and compared with a calibration curve of the widths
// against the height z (taken on beads stepped through focus):
//   sigma_x(z) = sigma0 sqrt(1 + ((z - cx) / d)^2), sigma_y likewise with cy,
// and z is the height whose curve lies nearest, in the square roots of the
// widths, searched over -1000 .. 1000 nm in steps of 1 nm.
#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/report.h"
#include "record/record_store.h"

namespace lumetra {

struct AstigmatismCalibration {
  double sigma0_nm = 110;  // width in focus (a 260 nm FWHM)
  double cx_nm = -200;     // height where the x width is smallest
  double cy_nm = 200;      // height where the y width is smallest
  double d_nm = 400;       // depth over which a width grows by sqrt(2)
  double WidthX(double z) const;
  double WidthY(double z) const;
};

struct SpotWidths {
  double sx_px = 0, sy_px = 0;  // Gaussian standard deviations, pixels
  bool ok = false;              // false near the edge, or with no peak to measure
};

// The widths of the spot at (x, y) (frame pixels, pixel centres at whole
// numbers): the box of 9 x 9 pixels around its nearest pixel less the median of
// the box's border, summed into a column and a row profile; the width of each
// is the Gaussian through the peak sample and its two neighbours (exact for a
// Gaussian), less the 1/12 pixel^2 that pixel integration adds.
SpotWidths MeasureSpotWidths(const uint16_t* frame, int32_t width, int32_t height, double x,
                             double y);

// The height (nm) the widths give, or NaN when the nearest height lies on the
// edge of the search (the spot is out of the calibrated range).
double ZFromWidths(double sx_nm, double sy_nm, const AstigmatismCalibration& cal);

struct ZPoint {
  int32_t track = 0, frame = 0;
  double x_px = 0, y_px = 0;
  double sx_nm = NAN, sy_nm = NAN, z_nm = NAN;
};

// Plays the record once and gives every point its widths and height.
// Points of frames beyond the record keep NaN. False when the record could not
// be read from its start (reported) or Esc stopped it (`stopped`).
bool ReadOutZ(RecordStore& store, std::vector<ZPoint>& points, const AstigmatismCalibration& cal,
              Reporter& reporter, const std::atomic<bool>* stop, bool& stopped);

// One row per point: track frame x_px y_px sigma_x_nm sigma_y_nm z_nm.
std::string ZTableText(const std::vector<ZPoint>& points);

}  // namespace lumetra
