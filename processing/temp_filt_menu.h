// The temporal-filter submenu: its caption names every checked item, and the
// median length follows the checked median items (the longest one wins).
#pragma once

#include <cstdint>
#include <string>

namespace lumetra {

// Check marks of the submenu's items (By3frames ... SubtrPrevFrame).
struct TempFiltChecks {
  bool by3frames = false;
  bool by5frames = false;
  bool by7frames = false;
  bool running_sum = false;
  bool running_average = false;
  bool subtr_prev_frame = false;
  int32_t running_buffer_size = 0;  // frames, from the settings
};

struct TempFiltMenu {
  std::string caption;        // "TempFilt(Med3)(Med7)..."
  int32_t median_frames = 0;  // MedianFrames: 0, 3, 5 or 7
};

// Rebuilt after each of the submenu's six handlers. The median items are
// independent check items, not radio items: all checked suffixes appear.
TempFiltMenu RebuildTempFiltMenu(const TempFiltChecks& checks);

}  // namespace lumetra
