#include "spots/spot_objects.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <queue>

#include "common/text_format.h"
#include "spots/spot_params.h"

namespace lumetra {
namespace {

struct Lookup {
  const std::vector<Candidate>& c;
  const int32_t* map;  // candidate index per pixel, or null
  int32_t width;
};

// Index of the candidate at (x, y) in the row-major list, or -1.
int32_t FindCandidate(const Lookup& look, int32_t x, int32_t y) {
  if (look.map)
    return x < 0 || y < 0 || x >= look.width ? -1
                                             : look.map[static_cast<int64_t>(y) * look.width + x];
  const std::vector<Candidate>& c = look.c;
  auto it = std::lower_bound(c.begin(), c.end(), std::pair<int32_t, int32_t>(y, x),
                             [](const Candidate& a, const std::pair<int32_t, int32_t>& k) {
                               return a.Y < k.first || (a.Y == k.first && a.X < k.second);
                             });
  if (it == c.end() || it->X != x || it->Y != y) return -1;
  return static_cast<int32_t>(it - c.begin());
}

// One sweep of label `label` from `seed`. Candidates are visited in list
// order; a heap of the pending indices gives the same visits as walking the
// whole list, since every index pushed lies after the one being visited.
void SweepLabel(std::vector<Candidate>& c, const Lookup& look, int32_t seed, int32_t label,
                std::vector<int32_t>& heap_store) {
  heap_store.clear();
  std::priority_queue<int32_t, std::vector<int32_t>, std::greater<>> pending(std::greater<>{},
                                                                             std::move(heap_store));
  pending.push(seed);
  while (!pending.empty()) {
    const int32_t i = pending.top();
    pending.pop();
    const int32_t x = c[static_cast<size_t>(i)].X, y = c[static_cast<size_t>(i)].Y;
    for (int32_t dy = -1; dy <= 1; ++dy) {
      for (int32_t dx = -1; dx <= 1; ++dx) {
        if (dx == 0 && dy == 0) continue;
        const int32_t j = FindCandidate(look, x + dx, y + dy);
        if (j < 0 || c[static_cast<size_t>(j)].label != -1) continue;
        c[static_cast<size_t>(j)].label = label;
        if (j > i) pending.push(j);
      }
    }
  }
}

}  // namespace

int32_t ClusterCandidates(std::vector<Candidate>& candidates, std::vector<int32_t>* index_map,
                          int32_t width) {
  if (candidates.empty()) return 0;
  for (Candidate& c : candidates) c.label = -1;
  Lookup look{candidates, nullptr, width};
  if (index_map && width > 0) {
    for (size_t i = 0; i < candidates.size(); ++i)
      (*index_map)[static_cast<size_t>(candidates[i].Y) * width + candidates[i].X] =
          static_cast<int32_t>(i);
    look.map = index_map->data();
  }
  std::vector<int32_t> heap_store;
  int32_t label = 0;
  size_t seed = 0;
  candidates[0].label = 0;
  for (;;) {
    SweepLabel(candidates, look, static_cast<int32_t>(seed), label, heap_store);
    while (seed < candidates.size() && candidates[seed].label != -1) ++seed;
    if (seed == candidates.size() || label + 1 >= kMaxObjects) break;
    candidates[seed].label = ++label;
  }
  if (look.map)
    for (const Candidate& c : candidates) (*index_map)[static_cast<size_t>(c.Y) * width + c.X] = -1;
  return label == 0 ? 0 : label + 1;
}

void DetectCenters(const std::vector<Candidate>& candidates, int32_t object_count,
                   const uint16_t* pixels, int32_t width, bool subtract_background,
                   double nm_per_pixel, std::vector<SpotRec>& objects,
                   std::vector<uint16_t>& label_map, std::vector<int32_t>& written) {
  objects.assign(static_cast<size_t>(std::max(object_count, 0)), SpotRec{});
  if (object_count <= 0) return;
  std::vector<int64_t> sx(objects.size(), 0), sy(objects.size(), 0), n(objects.size(), 0);
  for (const Candidate& c : candidates) {
    if (c.label < 0 || c.label >= object_count) continue;
    const size_t l = static_cast<size_t>(c.label);
    sx[l] += c.X;
    sy[l] += c.Y;
    ++n[l];
  }
  for (size_t l = 0; l < objects.size(); ++l) {
    SpotRec& o = objects[l];
    o.number = static_cast<int32_t>(l);
    o.selected = false;
    if (n[l] == 0) continue;
    o.X = TruncToInt(static_cast<double>(sx[l]) / static_cast<double>(n[l]));
    o.Y = TruncToInt(static_cast<double>(sy[l]) / static_cast<double>(n[l]));
    o.intensity = SpotIntensity(pixels, width, o.X, o.Y, subtract_background);
    const int32_t at = o.Y * width + o.X;
    label_map[static_cast<size_t>(at)] = static_cast<uint16_t>(l);
    written.push_back(at);
  }
  NearestNeighbourDistances(objects, nm_per_pixel);
}

void NearestNeighbourDistances(std::vector<SpotRec>& objects, double nm_per_pixel) {
  // Sorted by row, each object looks outward until the row gap alone exceeds
  // its best distance; the minimum found is the same as over all pairs.
  std::vector<int32_t> order(objects.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int32_t>(i);
  std::stable_sort(order.begin(), order.end(),
                   [&](int32_t a, int32_t b) { return objects[a].Y < objects[b].Y; });
  for (size_t k = 0; k < order.size(); ++k) {
    SpotRec& o = objects[static_cast<size_t>(order[k])];
    double best = 1.0e8;
    auto visit = [&](size_t j) {
      const SpotRec& p = objects[static_cast<size_t>(order[j])];
      const double dy = p.Y - o.Y;
      if (dy * dy >= best) return false;
      const double dx = p.X - o.X;
      best = std::min(best, dx * dx + dy * dy);
      return true;
    };
    for (size_t j = k + 1; j < order.size() && visit(j); ++j) {
    }
    for (size_t j = k; j-- > 0 && visit(j);) {
    }
    o.nn_dist_um = static_cast<float>(std::sqrt(best) * 0.001 * nm_per_pixel);
  }
}

}  // namespace lumetra
