// False-colour palettes: one 0x00RRGGBB colour for every count value a record
// can hold (MaxLevel entries). Rebuilt whenever MaxLevel or the palette type
// changes; the painter looks every pixel's count up in it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "common/report.h"

namespace lumetra {

// PaletteType as the main window stores it. 5 and 6 are not used; blue has
// no menu item and is only reachable as a stored type (or from the CLI).
enum PaletteType : int32_t {
  kPaletteRYW = 0,    // black -> red -> yellow -> white
  kPaletteBGYR = 1,   // black -> blue -> cyan -> yellow -> red
  kPaletteGrey = 2,   // black -> white
  kPaletteGreen = 3,  // black -> green
  kPaletteBlue = 4,   // black -> blue
  kPaletteRed = 7,    // black -> red
};

// Counts are 16-bit, so no record needs a longer table.
inline constexpr int32_t kMaxPaletteLength = 65536;

// BuildPalette: fills entries 0..n-1 of `palette` for palette type `type`.
// n below 4 (or above kMaxPaletteLength) reports "Pallete set Error" and
// leaves the table as it was; returns false then. Otherwise the table ends
// up with exactly n entries. An unused type (5, 6 or any other) leaves the
// entries it would fill as they were; entries added by growing it are black.
bool BuildPalette(std::vector<uint32_t>& palette, int32_t n, int32_t type, Reporter& reporter);

// "ryw", "bgyr", "grey", "green", "blue", "red" -> the type; nothing for other names.
std::optional<int32_t> PaletteTypeFromName(std::string_view name);

}  // namespace lumetra
