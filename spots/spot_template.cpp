#include "spots/spot_template.h"

#include <cmath>

#include "common/text_format.h"

namespace lumetra {

// clang-format off
const std::array<uint8_t, kSpotBox * kSpotBox> kZoneMask = {
    0,0,0,0,1,1,1,0,0,0,0,
    0,0,1,1,2,2,2,1,1,0,0,
    0,1,1,2,0,0,0,2,1,1,0,
    0,1,2,0,3,3,3,0,2,1,0,
    1,2,0,3,3,4,3,3,0,2,1,
    1,2,0,3,4,4,4,3,0,2,1,
    1,2,0,3,3,4,3,3,0,2,1,
    0,1,2,0,3,3,3,0,2,1,0,
    0,1,1,2,0,0,0,2,1,1,0,
    0,0,1,1,2,2,2,1,1,0,0,
    0,0,0,0,1,1,1,0,0,0,0,
};
// clang-format on

SpotTemplate MakeSpotTemplate(double fwhm_nm, double nm_per_pixel) {
  SpotTemplate t{};
  const double s = nm_per_pixel > 0 ? fwhm_nm / (nm_per_pixel * 2.355) : 0.0;
  if (!(s > 0) || !std::isfinite(s)) return t;
  for (int dy = -kSpotHalf; dy <= kSpotHalf; ++dy)
    for (int dx = -kSpotHalf; dx <= kSpotHalf; ++dx)
      t[(dy + kSpotHalf) * kSpotBox + dx + kSpotHalf] =
          TruncToInt(100.0 * std::exp(-(dx * dx + dy * dy) / (2.0 * s * s)));
  return t;
}

ZoneSums SumZones(const uint16_t* pixels, int32_t width, int32_t x, int32_t y) {
  ZoneSums z;
  for (int r = 0; r < kSpotBox; ++r) {
    const uint16_t* row = pixels + static_cast<int64_t>(y - kSpotHalf + r) * width + x - kSpotHalf;
    for (int c = 0; c < kSpotBox; ++c) {
      const uint8_t zone = kZoneMask[r * kSpotBox + c];
      if (zone == 1) z.ring += row[c];
      if (zone >= 3) z.disc += row[c];
      if (zone == 4) z.cross += row[c];
    }
  }
  return z;
}

ZoneOffsets::ZoneOffsets(int32_t width) {
  int m = 0, r1 = 0, r4 = 0, r34 = 0;
  for (int r = 0; r < kSpotBox; ++r) {
    for (int c = 0; c < kSpotBox; ++c) {
      const int i = r * kSpotBox + c;
      const int32_t off = r * width + c;
      const uint8_t zone = kZoneMask[static_cast<size_t>(i)];
      if (zone == 0) continue;
      mask_offset[static_cast<size_t>(m)] = off;
      mask_index[static_cast<size_t>(m++)] = i;
      if (zone == 1) ring[static_cast<size_t>(r1++)] = off;
      if (zone >= 3) disc[static_cast<size_t>(r34++)] = off;
      if (zone == 4) cross[static_cast<size_t>(r4++)] = off;
    }
  }
}

ZoneSums SumZones(const uint16_t* corner, const ZoneOffsets& o) {
  ZoneSums z;
  for (int32_t off : o.ring) z.ring += corner[off];
  for (int32_t off : o.cross) z.cross += corner[off];
  for (int32_t off : o.disc) z.disc += corner[off];
  return z;
}

MaskedTemplate MaskTemplate(const SpotTemplate& tmpl, const ZoneOffsets& offsets) {
  MaskedTemplate m{};
  for (size_t k = 0; k < m.size(); ++k)
    m[k] = static_cast<float>(tmpl[static_cast<size_t>(offsets.mask_index[k])]);
  return m;
}

float SpotIntensity(const uint16_t* pixels, int32_t width, int32_t x, int32_t y,
                    bool subtract_background) {
  const ZoneSums z = SumZones(pixels, width, x, y);
  const float disc = static_cast<float>(z.disc) / 21.0f;
  if (!subtract_background) return disc;
  const float v = disc - static_cast<float>(z.ring) / 32.0f;
  return v < 0 ? 0.0f : v;
}

float SpotIntensityAnywhere(const uint16_t* pixels, int32_t width, int32_t height, int32_t x,
                            int32_t y, bool subtract_background) {
  if (x >= kSpotHalf && y >= kSpotHalf && x < width - kSpotHalf && y < height - kSpotHalf)
    return SpotIntensity(pixels, width, x, y, subtract_background);
  int64_t disc = 0, ring = 0;
  int32_t nd = 0, nr = 0;
  for (int32_t dy = -kSpotHalf; dy <= kSpotHalf; ++dy)
    for (int32_t dx = -kSpotHalf; dx <= kSpotHalf; ++dx) {
      const int32_t xx = x + dx, yy = y + dy;
      if (xx < 0 || yy < 0 || xx >= width || yy >= height) continue;
      const uint8_t zone = kZoneMask[static_cast<size_t>((dy + kSpotHalf) * kSpotBox + dx + kSpotHalf)];
      const uint16_t v = pixels[static_cast<int64_t>(yy) * width + xx];
      if (zone >= 3) {
        disc += v;
        ++nd;
      } else if (zone == 1) {
        ring += v;
        ++nr;
      }
    }
  const float d = nd > 0 ? static_cast<float>(disc) / static_cast<float>(nd) : 0.0f;
  if (!subtract_background) return d;
  const float v = d - (nr > 0 ? static_cast<float>(ring) / static_cast<float>(nr) : 0.0f);
  return v < 0 ? 0.0f : v;
}

}  // namespace lumetra
