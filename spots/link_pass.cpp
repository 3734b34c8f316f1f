#include "spots/link_pass.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/text_format.h"
#include "spots/spot_template.h"
#include "spots/spots_messages.h"
#include "spots/subpixel_fit.h"

namespace lumetra {
namespace {

// Counter changes of one part of the tracks; parts are added up afterwards,
// so the totals do not depend on how the tracks were split over threads.
struct Counts {
  int32_t dropped = 0, too_bright = 0, too_big_radius = 0, truncated = 0;
};

void Drop(TrackRec& t, Counts& n) {
  t.completed = 0;
  ++n.dropped;
}

// The jump rules, applied from a track's second point on.
void CheckJump(TrackRec& t, int32_t f, double limit_um, const TrackingParams& params, Counts& n) {
  const double dx = t.x[f] - t.x[f - 1], dy = t.y[f] - t.y[f - 1];
  if (std::sqrt(dx * dx + dy * dy) <= limit_um) return;
  if (f > t.first_frame + params.min_track) {
    // Cut after f: the point the jump lands on stays the last one.
    t.point_count = f - t.first_frame;
    ++n.truncated;
  } else if (f < t.first_frame + t.point_count - params.min_track) {
    t.point_count -= f - t.first_frame;
    t.first_frame = f;
    ++n.truncated;
  } else {
    Drop(t, n);
    ++n.too_big_radius;
  }
}

// The dense detector's point of a track at frame f: its centre was fitted at
// detection, with every neighbour, and reaches the border. The intensity is
// measured again (and checked against C); the centre turns into um. No jump
// rule: the centres are those the linker accepted, not a new fit that may
// have slid onto a neighbour, and a fitted step just over R is no wrong link.
void RefineFittedPoint(TrackRec& t, const LinkPassFrame& frame, const TrackingParams& params,
                       Counts& n) {
  const int32_t f = frame.f;
  // A frame the track crosses without a spot stays without a point.
  if (t.x[f] == 0.0f && t.y[f] == 0.0f && t.intensity[f] == 0.0f) return;
  const int32_t x = std::clamp(static_cast<int32_t>(std::lround(t.x[f])), 0, frame.width - 1);
  const int32_t y = std::clamp(static_cast<int32_t>(std::lround(t.y[f])), 0, frame.height - 1);
  t.intensity[f] = SpotIntensityAnywhere(frame.pixels, frame.width, frame.height, x, y,
                                         params.subtract_background);
  if (t.intensity[f] > params.cluster_threshold) {
    Drop(t, n);
    ++n.too_bright;
    return;
  }
  t.x[f] = static_cast<float>((t.x[f] - t.X) * frame.nm_per_pixel_x * 0.001);
  t.y[f] = static_cast<float>((t.y[f] - t.Y) * frame.nm_per_pixel_y * 0.001);
}

// One track at frame f: border and brightness checks, the fit, the jump rules.
void RefineTrack(TrackRec& t, const LinkPassFrame& frame, const TrackingParams& params, double sx,
                 double sy, double limit_um, bool keep_last, bool jump_rule, Counts& n) {
  const int32_t f = frame.f;
  const int32_t x = TruncToInt(t.x[f]), y = TruncToInt(t.y[f]);
  if (params.detector == SpotDetectorKind::kDense) {
    RefineFittedPoint(t, frame, params, n);
    return;
  }
  if (x < 5 || y < 5 || x > frame.width - 7 || y > frame.height - 7) {
    Drop(t, n);
    return;
  }
  t.intensity[f] = SpotIntensity(frame.pixels, frame.width, x, y, params.subtract_background);
  if (t.intensity[f] > params.cluster_threshold) {
    Drop(t, n);
    ++n.too_bright;
    return;
  }
  float block[kFitBox * kFitBox];
  uint8_t valid[kFitBox * kFitBox];
  CopyFitBlock(frame.pixels, frame.width, frame.height, x, y, block, valid);
  // Beside another spot, keep to the one this track followed in the frame before.
  double prefer_x = 6, prefer_y = 6;
  if (f > t.first_frame && keep_last) {
    prefer_x = t.X + t.x[f - 1] / (frame.nm_per_pixel_x * 0.001) - (x - 6);
    prefer_y = t.Y + t.y[f - 1] / (frame.nm_per_pixel_y * 0.001) - (y - 6);
  }
  const SubpixelFit fit = FitSpotCentre(block, valid, sx, sy, prefer_x, prefer_y);
  const double off_x = fit.cx - 6.0, off_y = fit.cy - 6.0;
  t.x[f] = static_cast<float>((x - t.X + off_x) * frame.nm_per_pixel_x * 0.001);
  t.y[f] = static_cast<float>((y - t.Y + off_y) * frame.nm_per_pixel_y * 0.001);
  t.sigma_x[f] = static_cast<float>(fit.sigma_x * frame.nm_per_pixel_x);
  t.sigma_y[f] = static_cast<float>(fit.sigma_y * frame.nm_per_pixel_y);
  if (f > t.first_frame && jump_rule) CheckJump(t, f, limit_um, params, n);
}

// "Resolve Close Spots": marks the tracks covering frame f whose point there
// another track holds too (a spot two particles share), before any of them
// is refined.
void MarkSharedPoints(const TrackStore& store, int32_t f, std::vector<uint8_t>& shared) {
  struct At {
    float x, y;
    int32_t t;
  };
  std::vector<At> at;
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    const TrackRec& t = store.Slot(ti);
    if (!t.completed || !store.HasSeries(ti)) continue;
    if (f < t.first_frame || f > t.first_frame + t.point_count) continue;
    at.push_back({t.x[f], t.y[f], ti});
  }
  std::sort(at.begin(), at.end(),
            [](const At& a, const At& b) { return a.y < b.y || (a.y == b.y && a.x < b.x); });
  shared.assign(static_cast<size_t>(store.track_count), 0);
  for (size_t k = 1; k < at.size(); ++k)
    if (at[k].x == at[k - 1].x && at[k].y == at[k - 1].y)
      shared[static_cast<size_t>(at[k].t)] = shared[static_cast<size_t>(at[k - 1].t)] = 1;
}

}  // namespace

double SigmaPixels(double fwhm_nm, double nm_per_pixel) {
  return fwhm_nm / (2.0 * std::sqrt(2.0 * std::log(2.0)) * nm_per_pixel);
}

void RefineFrame(TrackStore& store, const LinkPassFrame& frame, const TrackingParams& params,
                 WorkerPool* pool, SharedPoints* shared_points) {
  const int32_t f = frame.f;
  if (f < 0 || f >= store.Frames()) return;
  if (!store.Refining()) {
    store.refine_from = store.refine_to = f;
  } else {
    store.refine_from = std::min(store.refine_from, f);
    store.refine_to = std::max(store.refine_to, f);
  }
  const double sx = SigmaPixels(params.fwhm_nm, frame.nm_per_pixel_x);
  const double sy = SigmaPixels(params.fwhm_nm, frame.nm_per_pixel_y);
  const double limit_um = params.max_radius * frame.nm_per_pixel_x * 0.001;
  // Each track touches only its own series, so parts of the slot range can
  // run on different threads.
  const int32_t tracks = store.track_count;
  const int parts = pool ? std::max(1, std::min(4 * (pool->Threads() + 1), tracks / 8)) : 1;
  std::vector<Counts> counts(static_cast<size_t>(parts));
  SharedPoints local;
  SharedPoints& marks = shared_points ? *shared_points : local;
  if (params.resolve_close) MarkSharedPoints(store, f, marks.now);
  const std::vector<uint8_t>& shared = marks.now;
  auto was_shared = [&](int32_t ti) {
    return static_cast<size_t>(ti) < marks.before.size() && marks.before[static_cast<size_t>(ti)];
  };
  auto part = [&](int i) {
    for (int32_t ti = tracks * i / parts; ti < tracks * (i + 1) / parts; ++ti) {
      TrackRec& t = store.Slot(ti);
      if (!t.completed || !store.HasSeries(ti)) continue;
      if (f < t.first_frame || f > t.first_frame + t.point_count) continue;
      // With close spots resolved, a track keeps to its last position only
      // on a shared spot; on a spot of its own it takes the fit nearest to it.
      const bool keep_last = !params.resolve_close || shared[static_cast<size_t>(ti)];
      // Leaving a shared spot, the fit before may have taken the other
      // particle of the pair: a long step then is no wrong link.
      const bool jump_rule = !params.resolve_close || !was_shared(ti);
      RefineTrack(t, frame, params, sx, sy, limit_um, keep_last, jump_rule,
                  counts[static_cast<size_t>(i)]);
    }
  };
  if (parts > 1)
    pool->Run(parts, part);
  else
    part(0);
  if (params.resolve_close) marks.before.swap(marks.now);
  for (const Counts& n : counts) {
    store.completed_count -= n.dropped;
    store.too_bright += n.too_bright;
    store.too_big_radius += n.too_big_radius;
    store.truncated += n.truncated;
  }
}

void KeepRefinedFrames(TrackStore& store, const TrackingParams& params) {
  if (store.refined) return;
  for (int32_t ti = 0; ti < store.track_count; ++ti) {
    TrackRec& t = store.Slot(ti);
    if (!t.completed || !store.HasSeries(ti)) continue;
    const int32_t from = std::max(t.first_frame, store.refine_from);
    const int32_t to = std::min(t.first_frame + t.point_count, store.refine_to);
    if (from == t.first_frame && to == t.first_frame + t.point_count) continue;
    if (to - from > params.min_track) {
      t.first_frame = from;
      t.point_count = to - from;
      ++store.truncated;
    } else {
      t.completed = 0;
      --store.completed_count;
    }
  }
}

std::string LinkPassReadOut(const TrackStore& store) {
  std::string s = std::to_string(store.completed_count);
  s += kCompletedTracksOpen;
  s += std::to_string(store.too_bright);
  s += kTooBrightPart;
  s += std::to_string(store.too_big_radius);
  s += kTooBigRadiusPart;
  s += std::to_string(store.truncated);
  s += kTruncatedPart;
  return s;
}

}  // namespace lumetra
