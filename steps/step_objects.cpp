#include "steps/step_objects.h"

#include <algorithm>
#include <cstdio>

#include "steps/steps_messages.h"

namespace lumetra {

int32_t ChoiceValue(const StepMaps& m, size_t p, ChoiceMap choice) {
  switch (choice) {
    case ChoiceMap::kDropMinusRise:
      return m.DropMap[p] - m.RiseMap[p];
    case ChoiceMap::kDropPlusRise:
      return m.DropMap[p] + m.RiseMap[p];
    case ChoiceMap::kDrop:
      break;
  }
  return m.DropMap[p];
}

std::vector<StepObject> ChooseObjects(const StepMaps& m, ObjectKind kind, ChoiceMap choice,
                                      int32_t threshold, int32_t half_size) {
  std::vector<StepObject> found;
  const int32_t w = m.width, h = m.height;
  if (m.Empty()) return found;
  auto value = [&](int32_t x, int32_t y) { return ChoiceValue(m, m.Index(x, y), choice); };
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      const int32_t v = value(x, y);
      if (v <= threshold) continue;
      if (kind == ObjectKind::kSpots) {
        // A maximum: above the neighbours met before it in row order, not
        // below those after it, so a flat top gives one spot.
        bool peak = true;
        for (int32_t dy = -1; dy <= 1 && peak; ++dy)
          for (int32_t dx = -1; dx <= 1 && peak; ++dx) {
            const int32_t nx = x + dx, ny = y + dy;
            if ((dx == 0 && dy == 0) || nx < 0 || ny < 0 || nx >= w || ny >= h) continue;
            const int32_t nv = value(nx, ny);
            const bool earlier = dy < 0 || (dy == 0 && dx < 0);
            peak = earlier ? v > nv : v >= nv;
          }
        if (!peak) continue;
      }
      const size_t p = m.Index(x, y);
      found.push_back({x, y, v, m.DropFrame[p], m.RiseFrame[p]});
    }
  std::stable_sort(found.begin(), found.end(),
                   [](const StepObject& a, const StepObject& b) { return a.value > b.value; });
  if (kind == ObjectKind::kPixels) {
    if (found.size() > kMaxStepObjects) found.resize(kMaxStepObjects);
    return found;
  }
  const int32_t gap = 2 * std::clamp(half_size, 0, 2);  // closer than 2R + 1
  std::vector<uint8_t> taken(static_cast<size_t>(w) * h, 0);
  std::vector<StepObject> spots;
  for (const StepObject& o : found) {
    bool free = true;
    for (int32_t y = std::max(0, o.y - gap); y <= std::min(h - 1, o.y + gap) && free; ++y)
      for (int32_t x = std::max(0, o.x - gap); x <= std::min(w - 1, o.x + gap); ++x)
        if (taken[m.Index(x, y)]) {
          free = false;
          break;
        }
    if (!free) continue;
    taken[m.Index(o.x, o.y)] = 1;
    spots.push_back(o);
    if (spots.size() == kMaxStepObjects) break;
  }
  return spots;
}

std::string ObjectCountText(ObjectKind kind, int32_t count, int32_t threshold) {
  char text[160];
  const std::string format(kind == ObjectKind::kSpots ? kSpotsAboveFormat : kPixsAboveFormat);
  std::snprintf(text, sizeof text, format.c_str(), count, threshold, kMaxStepObjects);
  return text;
}

}  // namespace lumetra
