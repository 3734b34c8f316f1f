#include "manual/manual_tracks.h"

#include <algorithm>

#include "spots/spot_params.h"

namespace lumetra {

void ManualTracks::Reset(int32_t frames, double nm_per_pixel_x, double nm_per_pixel_y) {
  frames_ = std::clamp<int32_t>(frames, 0, kMaxTrackFrames);
  nm_x_ = nm_per_pixel_x;
  nm_y_ = nm_per_pixel_y;
  objects_.assign(static_cast<size_t>(kManualObjects), ManualObject{});
  for (ManualObject& o : objects_) {
    o.x.assign(static_cast<size_t>(frames_), kNoPoint);
    o.y.assign(static_cast<size_t>(frames_), kNoPoint);
    o.value.assign(static_cast<size_t>(frames_), 0.0f);
  }
  current_ = 0;
  unsaved = false;
}

bool ManualTracks::HasPoint(int32_t object, int32_t frame) const {
  return object >= 0 && object < kManualObjects && frame >= 0 && frame < frames_ &&
         Object(object).x[static_cast<size_t>(frame)] > 0;
}

int32_t ManualTracks::UsedCount() const {
  return static_cast<int32_t>(std::count_if(objects_.begin(), objects_.end(), [](auto& o) {
    return std::any_of(o.x.begin(), o.x.end(), [](float v) { return v > 0; });
  }));
}

MarkResult ManualTracks::Mark(int32_t object, int32_t frame, float x_nm, float y_nm, float value) {
  // A point at X <= 0 would read as "no point".
  if (object < 0 || object >= kManualObjects || frame < 0 || frame >= frames_ || !(x_nm > 0) ||
      !(y_nm > 0))
    return MarkResult::kRefused;
  ManualObject& o = Object(object);
  const size_t f = static_cast<size_t>(frame);
  const bool had = o.x[f] > 0;
  o.x[f] = x_nm;
  o.y[f] = y_nm;
  o.value[f] = value;
  if (!o.in_use) o.shown = true;
  o.in_use = true;
  unsaved = true;
  return had ? MarkResult::kCorrected : MarkResult::kSet;
}

bool ManualTracks::RemovePoint(int32_t object, int32_t frame) {
  if (!HasPoint(object, frame)) return false;
  ManualObject& o = Object(object);
  const size_t f = static_cast<size_t>(frame);
  o.x[f] = o.y[f] = kNoPoint;
  o.value[f] = 0.0f;
  unsaved = true;
  return true;
}

void ManualTracks::ClearObject(int32_t object) {
  if (object < 0 || object >= kManualObjects) return;
  ManualObject& o = Object(object);
  if (o.in_use) unsaved = true;
  std::fill(o.x.begin(), o.x.end(), kNoPoint);
  std::fill(o.y.begin(), o.y.end(), kNoPoint);
  std::fill(o.value.begin(), o.value.end(), 0.0f);
  o.in_use = o.shown = false;
}

void ManualTracks::SetCurrent(int32_t object) {
  current_ = std::clamp<int32_t>(object, 0, kManualObjects - 1);
}

}  // namespace lumetra
