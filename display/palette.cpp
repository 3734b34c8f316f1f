#include "display/palette.h"

#include "display/display_messages.h"

namespace lumetra {
namespace {

// Every ramp is computed in single precision and truncated toward zero, so
// the colours match those of earlier versions exactly. For the power-of-two
// lengths a record has, k and k2 are powers of two and every product is exact.
inline uint32_t Trunc(float v) {
  return static_cast<uint32_t>(static_cast<int32_t>(v));
}

void FillRYW(uint32_t* pal, int32_t n, float k) {
  const int32_t q = n / 4, h = n / 2;
  for (int32_t i = 0; i < n; ++i) {
    const float fi = static_cast<float>(i);
    if (i < q) {
      pal[i] = Trunc(fi * k) << 16;
    } else if (i < h) {
      pal[i] = 0xFF0000u + (Trunc(static_cast<float>(i - q) * k) << 8);
    } else {
      // Blue rises at half slope over the whole upper half (254 at the top of
      // an 8-bit table, so the top colour is 0xFFFFFE). The yellow constant is
      // added after truncation: added in single precision it would round the
      // half steps of a 10-bit ramp to even and carry the top entry into bit 24.
      pal[i] = 0xFFFF00u + Trunc(static_cast<float>(i - h) * k * 0.5f);
    }
  }
}

void FillBGYR(uint32_t* pal, int32_t n, float k) {
  const int32_t q = n / 4, h = n / 2;
  const float three_quarters = static_cast<float>(n) * 0.75f;
  for (int32_t i = 0; i < n; ++i) {
    const float fi = static_cast<float>(i);
    if (i < q) {
      pal[i] = Trunc(fi * k);
    } else if (i < h) {
      pal[i] = 0x0000FFu + (Trunc(static_cast<float>(i - q) * k) << 8);
    } else if (fi < three_quarters) {
      pal[i] = (Trunc(static_cast<float>(i - h) * k) << 16) + 0xFF00u +
               Trunc((three_quarters - fi - 1.0f) * k);
    } else {
      pal[i] = 0xFF0000u + (Trunc(static_cast<float>(n - i - 1) * k) << 8);
    }
  }
}

// Grey, green, blue and red: one ramp of 0..255, placed in one or all channels.
void FillRamp(uint32_t* pal, int32_t n, float k2, uint32_t multiplier) {
  for (int32_t i = 0; i < n; ++i) pal[i] = Trunc(static_cast<float>(i) * k2) * multiplier;
}

}  // namespace

bool BuildPalette(std::vector<uint32_t>& palette, int32_t n, int32_t type, Reporter& reporter) {
  if (n < 4 || n > kMaxPaletteLength) {
    reporter.Modal(kPalleteSetError);
    return false;
  }
  // The table has exactly one entry per count value of the record.
  palette.resize(static_cast<size_t>(n), 0);
  const float k = 4.0f / (static_cast<float>(n) * 0.00390625f);  // 1024 / n
  const float k2 = 256.0f / static_cast<float>(n);
  uint32_t* pal = palette.data();
  switch (type) {
    case kPaletteRYW:
      FillRYW(pal, n, k);
      break;
    case kPaletteBGYR:
      FillBGYR(pal, n, k);
      break;
    case kPaletteGrey:
      FillRamp(pal, n, k2, 0x010101u);
      break;
    case kPaletteGreen:
      FillRamp(pal, n, k2, 0x000100u);
      break;
    case kPaletteBlue:
      FillRamp(pal, n, k2, 0x000001u);
      break;
    case kPaletteRed:
      FillRamp(pal, n, k2, 0x010000u);
      break;
    default:
      break;
  }
  return true;
}

std::optional<int32_t> PaletteTypeFromName(std::string_view name) {
  if (name == "ryw") return kPaletteRYW;
  if (name == "bgyr") return kPaletteBGYR;
  if (name == "grey" || name == "gray") return kPaletteGrey;
  if (name == "green") return kPaletteGreen;
  if (name == "blue") return kPaletteBlue;
  if (name == "red") return kPaletteRed;
  return std::nullopt;
}

}  // namespace lumetra
