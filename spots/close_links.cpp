// The linking half of "Resolve Close Spots". Two particles that come within a
// couple of pixels of each other give one spot, which only one of their two
// tracks can take; the other would end there and its particle start a new
// track once the two part. With the option such a track gets a second chance
// after every other track has linked: the nearest spot within R that no
// track took, or else, for a few frames, the nearest spot that a neighbour
// took (both tracks then hold the same point). Points taken from a neighbour
// stay only if the track finds a spot of its own again; otherwise they are
// removed when it ends.
#include <algorithm>

#include "common/text_format.h"
#include "spots/track_linker.h"

namespace lumetra {
namespace {

// Frames in a row a track may share a neighbour's spot.
constexpr int32_t kMaxSharedFrames = 5;

int32_t Dist2(int32_t ax, int32_t ay, int32_t bx, int32_t by) {
  return (ax - bx) * (ax - bx) + (ay - by) * (ay - by);
}

// The nearest spot within the squared radius `best` (the first in list order
// on a tie), among those taken or not as `want_taken` says; -1 if none.
int32_t NearestSpot(const TrackRec& t, const std::vector<SpotRec>& spots,
                    const std::vector<uint8_t>& taken, bool want_taken, int32_t& best) {
  int32_t found = -1;
  for (size_t i = 0; i < spots.size(); ++i) {
    if ((taken[i] != 0) != want_taken) continue;
    const int32_t dx = spots[i].X - t.X, dy = spots[i].Y - t.Y;
    if (dx * dx + dy * dy < best) {
      best = dx * dx + dy * dy;
      found = static_cast<int32_t>(i);
    }
  }
  return found;
}

}  // namespace

void TrackLinker::RescueTracks(TrackStore& store, int32_t f, const std::vector<SpotRec>& spots,
                               const TrackingParams& params) {
  last_frame_ = f;
  owner_.assign(spots.size(), -1);
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    const TrackRec& t = store.Slot(ti);
    if (t.completed || t.linked < 0) continue;
    shared_run_[static_cast<size_t>(ti)] = 0;
    owner_[static_cast<size_t>(t.linked)] = ti;
  }
  before_.assign(static_cast<size_t>(store.track_count), {0, 0, -1});
  for (const Placed& p : open_)
    if (p.t < store.track_count) before_[static_cast<size_t>(p.t)] = p;
  const int32_t start_best = TruncToInt(params.max_radius * params.max_radius + 1.0);
  for (int32_t ti : waiting_) {
    TrackRec& t = store.Slot(ti);
    int32_t& run = shared_run_[static_cast<size_t>(ti)];
    int32_t best = start_best;
    int32_t s = NearestSpot(t, spots, taken_, false, best);
    if (s >= 0 && TrySwap(store, ti, f, spots, s >= 0 ? best : start_best, start_best)) {
      run = 0;
      continue;
    }
    if (s >= 0) {
      Link(store, ti, f, spots[static_cast<size_t>(s)], s, best);
      run = 0;
      continue;
    }
    best = start_best;
    s = run < kMaxSharedFrames ? NearestSpot(t, spots, taken_, true, best) : -1;
    if (s >= 0) {
      // Link marks the spot taken, which it already is.
      Link(store, ti, f, spots[static_cast<size_t>(s)], s, best);
      ++run;
      continue;
    }
    EndSharingTrack(store, ti, f, params.min_track);
  }
  waiting_.clear();
}

bool TrackLinker::TrySwap(TrackStore& store, int32_t wi, int32_t f,
                          const std::vector<SpotRec>& spots, int32_t own_cost, int32_t limit) {
  // Track w takes the spot of a track u that moves to a free spot instead,
  // when the two squared steps add up to less than now.
  const TrackRec& w = store.Slot(wi);
  int32_t best_gain = 0, best_su = -1, best_sf = -1, best_u = -1, dw = 0, du = 0;
  for (size_t su = 0; su < spots.size(); ++su) {
    const int32_t u = owner_[su];
    if (u < 0 || u == wi || before_[static_cast<size_t>(u)].t != u) continue;
    const int32_t d_wu = Dist2(spots[su].X, spots[su].Y, w.X, w.Y);
    if (d_wu >= limit) continue;
    const Placed& pu = before_[static_cast<size_t>(u)];
    const int32_t d_uu = Dist2(spots[su].X, spots[su].Y, pu.x, pu.y);
    for (size_t sf = 0; sf < spots.size(); ++sf) {
      if (taken_[sf]) continue;
      const int32_t d_uf = Dist2(spots[sf].X, spots[sf].Y, pu.x, pu.y);
      if (d_uf >= limit) continue;
      const int32_t gain = own_cost + d_uu - (d_wu + d_uf);
      if (gain > best_gain) {
        best_gain = gain;
        best_su = static_cast<int32_t>(su);
        best_sf = static_cast<int32_t>(sf);
        best_u = u;
        dw = d_wu;
        du = d_uf;
      }
    }
  }
  if (best_u < 0) return false;
  Relink(store, best_u, f, spots[static_cast<size_t>(best_sf)], best_sf, du);
  owner_[static_cast<size_t>(best_sf)] = best_u;
  Link(store, wi, f, spots[static_cast<size_t>(best_su)], best_su, dw);
  owner_[static_cast<size_t>(best_su)] = wi;
  return true;
}

void TrackLinker::Relink(TrackStore& store, int32_t ui, int32_t f, const SpotRec& spot, int32_t s,
                         int32_t d2) {
  SetPoint(store.Slot(ui), f, spot, s, d2);
  track_map_[static_cast<size_t>(spot.Y) * width_ + spot.X] = ui;
  for (Placed& p : next_)
    if (p.t == ui) p = {spot.X, spot.Y, ui};
}

void TrackLinker::EndSharingTrack(TrackStore& store, int32_t ti, int32_t f, int32_t min_track) {
  int32_t& run = shared_run_[static_cast<size_t>(ti)];
  TrackRec& t = store.Slot(ti);
  // The track ends after its last own point, as if the shared frames had
  // found nothing.
  for (int32_t g = f - run + 1; g < f; ++g) t.intensity[g] = t.x[g] = t.y[g] = t.z[g] = 0.0f;
  t.point_count -= run;
  EndTrack(store, ti, f - run, min_track);
  run = 0;
}

void TrackLinker::FinishShares(TrackStore& store) {
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    int32_t& run = shared_run_[static_cast<size_t>(ti)];
    TrackRec& t = store.Slot(ti);
    if (run == 0 || t.completed || !store.HasSeries(ti)) {
      run = 0;
      continue;
    }
    for (int32_t g = last_frame_ - run + 1; g <= last_frame_; ++g)
      t.intensity[g] = t.x[g] = t.y[g] = t.z[g] = 0.0f;
    t.point_count -= run;
    run = 0;
  }
}

}  // namespace lumetra
