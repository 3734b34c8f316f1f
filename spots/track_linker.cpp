#include "spots/track_linker.h"

#include <algorithm>

#include "common/text_format.h"
#include "spots/spots_messages.h"

namespace lumetra {
namespace {

int32_t Dist2(int32_t ax, int32_t ay, int32_t bx, int32_t by) {
  return (ax - bx) * (ax - bx) + (ay - by) * (ay - by);
}

}  // namespace

void TrackLinker::Prepare(int32_t width, int32_t height) {
  width_ = width;
  height_ = height;
  track_map_.assign(static_cast<size_t>(width) * static_cast<size_t>(height), -1);
  open_.clear();
  next_.clear();
  shared_run_.assign(static_cast<size_t>(kMaxTracks), 0);
}

int32_t TrackLinker::MapSearch(const TrackRec& t, const std::vector<SpotRec>& spots,
                               const std::vector<uint16_t>& label_map, int32_t r,
                               int32_t& best) const {
  int32_t found = -1;
  const int32_t y0 = std::max(t.Y - r, 0), y1 = std::min(t.Y + r, height_ - 1);
  const int32_t x0 = std::max(t.X - r, 0), x1 = std::min(t.X + r, width_ - 1);
  for (int32_t y = y0; y <= y1; ++y) {
    const uint16_t* row = label_map.data() + static_cast<size_t>(y) * width_;
    for (int32_t x = x0; x <= x1; ++x) {
      const uint16_t s = row[x];
      if (s == kNoSpot || s >= spots.size()) continue;
      const int32_t d2 = Dist2(x, y, t.X, t.Y);
      if (d2 < best) {
        best = d2;
        found = s;
      }
    }
  }
  return found;
}

bool TrackLinker::MapExclusive(const SpotRec& s, int32_t r, int32_t best) const {
  // Spot centres lie 5 pixels inside the left and top edges and 6 inside the
  // right and bottom ones, so the square (r <= 6 here) never leaves the frame;
  // the bounds are kept for safety.
  const int32_t y0 = std::max(s.Y - r, 0), y1 = std::min(s.Y + r, height_ - 1);
  const int32_t x0 = std::max(s.X - r, 0), x1 = std::min(s.X + r, width_ - 1);
  for (int32_t y = y0; y <= y1; ++y) {
    const int32_t* row = track_map_.data() + static_cast<size_t>(y) * width_;
    for (int32_t x = x0; x <= x1; ++x)
      if (row[x] >= 0 && Dist2(x, y, s.X, s.Y) < best) return false;
  }
  return true;
}

int32_t TrackLinker::ListSearch(const TrackRec& t, const std::vector<SpotRec>& spots,
                                int32_t& best) {
  int32_t found = -1;
  for (size_t i = 0; i < spots.size(); ++i) {
    const int32_t d2 = Dist2(spots[i].X, spots[i].Y, t.X, t.Y);
    if (d2 < best) {
      best = d2;
      found = static_cast<int32_t>(i);
    }
  }
  return found;
}

bool TrackLinker::ListExclusive(const TrackStore& store, const SpotRec& s, int32_t best) const {
  for (const Placed& p : open_) {
    // A track that ended earlier in this frame (completed, or freed with
    // X = Y = 0) no longer competes for spots.
    const TrackRec& other = store.Slot(p.t);
    if (other.completed || (other.X == 0 && other.Y == 0)) continue;
    if (Dist2(p.x, p.y, s.X, s.Y) < best) return false;
  }
  return true;
}

void TrackLinker::Place(int32_t t, int32_t x, int32_t y) {
  // The map holds the new position at once, so the tracks linked later in
  // this frame see the spot as taken in their exclusivity test.
  track_map_[static_cast<size_t>(y) * width_ + x] = t;
  next_.push_back({x, y, t});
}

void TrackLinker::CommitMap() {
  for (const Placed& p : open_) track_map_[static_cast<size_t>(p.y) * width_ + p.x] = -1;
  for (const Placed& p : next_) track_map_[static_cast<size_t>(p.y) * width_ + p.x] = p.t;
  open_.swap(next_);
  next_.clear();
}

void TrackLinker::StartTracks(TrackStore& store, int32_t f, const std::vector<SpotRec>& spots) {
  const int32_t n = std::min<int32_t>(static_cast<int32_t>(spots.size()), kMaxTracks);
  for (int32_t i = 0; i < n; ++i) {
    TrackRec& t = store.Use(i);
    const SpotRec& s = spots[static_cast<size_t>(i)];
    t.x[f] = static_cast<float>(s.X);
    t.y[f] = static_cast<float>(s.Y);
    t.X = s.X;
    t.Y = s.Y;
    t.intensity[f] = t.start_intensity = s.intensity;
    Place(i, s.X, s.Y);
  }
  store.track_count = n;
}

void TrackLinker::Link(TrackStore& store, int32_t ti, int32_t f, const SpotRec& spot, int32_t s,
                       int32_t best) {
  TrackRec& t = store.Slot(ti);
  ++t.point_count;
  SetPoint(t, f, spot, s, best);
  Place(ti, spot.X, spot.Y);
}

void TrackLinker::SetPoint(TrackRec& t, int32_t f, const SpotRec& spot, int32_t s, int32_t d2) {
  t.last_jump2 = static_cast<float>(d2);
  t.x[f] = static_cast<float>(spot.X);
  t.y[f] = static_cast<float>(spot.Y);
  t.X = spot.X;
  t.Y = spot.Y;
  t.linked = s;
  t.intensity[f] = spot.intensity;
  taken_[static_cast<size_t>(s)] = 1;
}

void TrackLinker::EndTrack(TrackStore& store, int32_t ti, int32_t f, int32_t min_track) {
  TrackRec& t = store.Slot(ti);
  t.intensity[f] = t.x[f] = t.y[f] = t.z[f] = 0.0f;
  t.last_jump2 = 1000.0f;
  if (t.point_count > min_track) {
    t.completed = 1;
    ++store.completed_count;
  } else {
    t.point_count = 0;
    t.X = t.Y = 0;
  }
  // A freed slot has 0 steps by now, so its point of frame f - 1 stays until
  // the slot is used again: only what lies before that is cleared.
  store.ClearBefore(ti, f - t.point_count - 2);
}

void TrackLinker::LinkFrame(TrackStore& store, int32_t f, bool first,
                            const std::vector<SpotRec>& spots,
                            const std::vector<uint16_t>& label_map, const TrackingParams& params,
                            Reporter& reporter) {
  if (f < 0 || f >= store.Frames()) return;
  taken_.assign(spots.size(), 0);
  if (params.resolve_close && shared_run_.empty())
    shared_run_.assign(static_cast<size_t>(kMaxTracks), 0);
  if (first) {
    StartTracks(store, f, spots);
    CommitMap();
    return;
  }
  const bool map_search = params.max_radius < kListSearchRadius;
  store.track_count =
      std::max(store.track_count, store.completed_count + static_cast<int32_t>(spots.size()));
  if (store.track_count > kMaxTracks) {
    store.track_count = kMaxTracks;
    reporter.Warning(map_search ? kTooManySpots : kRunOutOfSpots);
  }
  const int32_t r = TruncToInt(params.max_radius);
  const int32_t start_best = TruncToInt(params.max_radius * params.max_radius + 1.0);
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    TrackRec& t = store.Slot(ti);
    if (t.completed) continue;
    t.linked = -1;
    // A track at column 0 or row 0 is never searched, like a free slot.
    if (t.X == 0 || t.Y == 0) continue;
    store.Use(ti);
    if (params.resolve_close && shared_run_[static_cast<size_t>(ti)] > 0) {
      // A track on a neighbour's spot comes after the tracks with spots of their own.
      waiting_.push_back(ti);
      continue;
    }
    int32_t best = start_best;
    const int32_t s =
        map_search ? MapSearch(t, spots, label_map, r, best) : ListSearch(t, spots, best);
    bool take = s >= 0 && !taken_[static_cast<size_t>(s)];
    if (take) {
      const SpotRec& spot = spots[static_cast<size_t>(s)];
      take = map_search ? MapExclusive(spot, r, best) : ListExclusive(store, spot, best);
    }
    if (take)
      Link(store, ti, f, spots[static_cast<size_t>(s)], s, best);
    else if (params.resolve_close)
      waiting_.push_back(ti);
    else
      EndTrack(store, ti, f, params.min_track);
  }
  if (params.resolve_close) RescueTracks(store, f, spots, params);
  NewTracks(store, f, spots);
  CommitMap();
}

void TrackLinker::NewTracks(TrackStore& store, int32_t f, const std::vector<SpotRec>& spots) {
  size_t s = 0;
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    TrackRec& t = store.Slot(ti);
    if (t.completed || t.linked >= 0) continue;
    while (s < spots.size() && taken_[s]) ++s;
    if (s == spots.size()) return;
    const SpotRec& spot = spots[s];
    store.Use(ti);
    store.ClearBefore(ti, f - 1);
    t.x[f] = static_cast<float>(spot.X);
    t.y[f] = static_cast<float>(spot.Y);
    t.X = spot.X;
    t.Y = spot.Y;
    t.intensity[f] = spot.intensity;
    t.last_jump2 = 1000.0f;
    t.point_count = 0;
    taken_[s] = 1;
    Place(ti, spot.X, spot.Y);
    ++store.new_track_count;
  }
}

void TrackLinker::FinishRecord(TrackStore& store, const TrackingParams& params) {
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    TrackRec& t = store.Slot(ti);
    if (!t.completed && t.point_count > params.min_track) {
      t.completed = 1;
      ++store.completed_count;
    }
  }
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    TrackRec& t = store.Slot(ti);
    if (!t.completed || !store.HasSeries(ti)) continue;
    for (int32_t f = 0; f < store.Frames(); ++f) {
      if (t.x[f] != 0.0f && t.y[f] != 0.0f) {
        t.first_frame = f;
        t.X = TruncToInt(t.x[f]);
        t.Y = TruncToInt(t.y[f]);
        break;
      }
    }
  }
}

}  // namespace lumetra
