// The 11 x 11 spot model the detector matches against: the integer Gaussian
// template built from the FWHM and the record's scale, and the constant zone
// mask that splits the neighbourhood into background ring, guard ring, disc
// and centre cross. The same mask serves the fit, the residual and the
// intensity of a spot.
#pragma once

#include <array>
#include <cstdint>

namespace lumetra {

inline constexpr int kSpotBox = 11;  // neighbourhood side (pixels)
inline constexpr int kSpotHalf = 5;  // pixels from the centre to the edge

// Zone of each neighbourhood pixel, row-major: 0 ignored corners, 1 background
// ring (32 pixels), 2 guard ring (20), 3 disc (16), 4 centre cross (5).
extern const std::array<uint8_t, kSpotBox * kSpotBox> kZoneMask;

// T(dx, dy) = truncate(100 exp(-(dx^2 + dy^2) / (2 s^2))), s = FWHM / (nm per pixel x 2.355),
// row-major with dy from -5 (row 0) to 5. All zeros when s is 0.
using SpotTemplate = std::array<int32_t, kSpotBox * kSpotBox>;
SpotTemplate MakeSpotTemplate(double fwhm_nm, double nm_per_pixel);

// Integer sums of the zones of the neighbourhood centred on (x, y), which must
// lie at least 5 pixels inside the frame. Pixel counts are whole numbers, so
// the running sums need no truncation here.
struct ZoneSums {
  int32_t ring = 0;   // zone 1
  int32_t cross = 0;  // zone 4
  int32_t disc = 0;   // zones 3 and 4
};
ZoneSums SumZones(const uint16_t* pixels, int32_t width, int32_t x, int32_t y);

inline constexpr int kMaskPixels = 73;  // pixels of zones 1 to 4

// Offsets of the zone pixels from the neighbourhood's top-left corner in a
// frame `width` pixels wide, so that a scan reads them without testing the mask.
struct ZoneOffsets {
  explicit ZoneOffsets(int32_t width);
  std::array<int32_t, kMaskPixels> mask_offset{};  // zones 1-4, row-major
  std::array<int32_t, kMaskPixels> mask_index{};   // their place in the 11 x 11 table
  std::array<int32_t, 32> ring{};
  std::array<int32_t, 5> cross{};
  std::array<int32_t, 21> disc{};
};
ZoneSums SumZones(const uint16_t* corner, const ZoneOffsets& offsets);

// The template's values at the mask pixels (zones 1-4, row-major), as floats.
using MaskedTemplate = std::array<float, kMaskPixels>;
MaskedTemplate MaskTemplate(const SpotTemplate& tmpl, const ZoneOffsets& offsets);

// Intensity of a spot centred on (x, y) in counts/pixel: the disc mean, or the
// disc mean above the ring mean (never below 0) when the background is subtracted.
float SpotIntensity(const uint16_t* pixels, int32_t width, int32_t x, int32_t y,
                    bool subtract_background);
// The same anywhere in a frame `height` rows high: near the border the disc and
// ring means are over their pixels inside the frame (the dense detector's
// spots reach the border). Five pixels inside, exactly SpotIntensity.
float SpotIntensityAnywhere(const uint16_t* pixels, int32_t width, int32_t height, int32_t x,
                            int32_t y, bool subtract_background);

}  // namespace lumetra
