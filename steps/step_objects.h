// Choosing the objects whose traces the trace pass collects, from the maps
// the detection pass left: single pixels above the drop threshold, or spots
// (local maxima of the map, kept apart so their boxes never overlap).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "steps/drop_rise_maps.h"

namespace lumetra {

inline constexpr int32_t kMaxStepObjects = 10000;
inline constexpr int32_t kDefaultDropThreshold = 10;  // counts per pixel per frame
inline constexpr int32_t kDropThresholdLow = 1;
inline constexpr int32_t kDropThresholdHigh = 65535;

enum class ObjectKind { kSpots, kPixels };
// What the threshold is applied to: the drop map, the drop map less the rise
// map (SubtrMaxRise: objects that bleach and never come back, for the S-test),
// or the two added (AddMaxRise: objects that rise, then drop, for the P-test).
enum class ChoiceMap { kDrop, kDropMinusRise, kDropPlusRise };

struct StepObject {
  int32_t x = 0;           // pixels, column
  int32_t y = 0;           // pixels, row
  int32_t value = 0;       // the chosen map's value at (x, y)
  int32_t drop_frame = 0;  // DropFrame at (x, y)
  int32_t rise_frame = 0;  // RiseFrame at (x, y)
};

int32_t ChoiceValue(const StepMaps& maps, size_t p, ChoiceMap choice);

// Objects whose value is above `threshold`, the strongest first (ties in row
// order), at most kMaxStepObjects. Spots are 8-neighbour maxima, and a spot
// closer than 2R + 1 pixels (in x or y) to a stronger one is left out.
std::vector<StepObject> ChooseObjects(const StepMaps& maps, ObjectKind kind, ChoiceMap choice,
                                      int32_t threshold, int32_t half_size);

// "%d spots above Thresh(%d) (up to %d spots)" or the pixel form.
std::string ObjectCountText(ObjectKind kind, int32_t count, int32_t threshold);

}  // namespace lumetra
