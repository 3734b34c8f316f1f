#include "spots/track_store.h"

#include <algorithm>
#include <cmath>

namespace lumetra {
namespace {
const float kNoBound = std::nanf("");
}  // namespace

void TrackStore::Reset(int32_t frames) {
  frames_ = std::clamp(frames, 0, kMaxTrackFrames);
  for (TrackRec& t : slots_) {
    t.good = 1;
    t.completed = 0;
    t.X = t.Y = 0;
    t.point_count = 0;
    t.linked = -1;
    t.first_frame = 0;
    t.start_intensity = 0;
    t.last_jump2 = 1000.0f;
    t.selected = false;
    for (std::vector<float>* v : {&t.intensity, &t.x, &t.y, &t.z}) {
      if (v->size() == static_cast<size_t>(frames_))
        std::fill(v->begin(), v->end(), 0.0f);
      else
        v->clear();
    }
    for (std::vector<float>* v : {&t.sigma_x, &t.sigma_y}) {
      if (v->size() == static_cast<size_t>(frames_))
        std::fill(v->begin(), v->end(), kNoBound);
      else
        v->clear();
    }
  }
  track_count = completed_count = new_track_count = 0;
  too_bright = too_big_radius = truncated = 0;
  refined = false;
  dense = false;
  refine_from = 0;
  refine_to = -1;
  unsaved = false;
  frame_times.assign(static_cast<size_t>(frames_), 0.0f);
}

TrackRec& TrackStore::Use(int32_t t) {
  TrackRec& r = slots_[static_cast<size_t>(t)];
  if (r.x.size() != static_cast<size_t>(frames_)) {
    for (std::vector<float>* v : {&r.intensity, &r.x, &r.y, &r.z})
      v->assign(static_cast<size_t>(frames_), 0.0f);
    for (std::vector<float>* v : {&r.sigma_x, &r.sigma_y})
      v->assign(static_cast<size_t>(frames_), kNoBound);
  }
  return r;
}

void TrackStore::ClearBefore(int32_t t, int32_t from) {
  TrackRec& r = slots_[static_cast<size_t>(t)];
  if (r.x.empty() || from < 0) return;
  const size_t end = static_cast<size_t>(std::min(from, frames_ - 1)) + 1;
  for (std::vector<float>* v : {&r.intensity, &r.x, &r.y, &r.z})
    std::fill(v->begin(), v->begin() + static_cast<std::ptrdiff_t>(end), 0.0f);
}

}  // namespace lumetra
