#include "spots/global_linker.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace lumetra {
namespace {

// Closing reaches this many times R (times the square root of the frames spanned).
constexpr double kCloseReach = 1.5;

struct Pair {
  int32_t row, col;
  double cost;
};

class Clusters {
 public:
  explicit Clusters(size_t n) : parent_(n) { std::iota(parent_.begin(), parent_.end(), 0); }
  int32_t Root(int32_t i) {
    while (parent_[static_cast<size_t>(i)] != i) {
      parent_[static_cast<size_t>(i)] = parent_[static_cast<size_t>(parent_[static_cast<size_t>(i)])];
      i = parent_[static_cast<size_t>(i)];
    }
    return i;
  }
  void Join(int32_t a, int32_t b) {
    a = Root(a);
    b = Root(b);
    if (a != b) parent_[static_cast<size_t>(std::max(a, b))] = std::min(a, b);
  }

 private:
  std::vector<int32_t> parent_;
};

// The best assignment of `rows` x `cols` items over the allowed pairs, cluster
// by cluster: match[row] = col or -1.
std::vector<int32_t> AssignPairs(const std::vector<Pair>& pairs, int32_t rows, int32_t cols) {
  std::vector<int32_t> match(static_cast<size_t>(rows), -1);
  if (pairs.empty()) return match;
  Clusters c(static_cast<size_t>(rows + cols));
  for (const Pair& p : pairs) c.Join(p.row, rows + p.col);
  // Pairs grouped by cluster (known by its smallest node), in their order.
  std::vector<int32_t> order(pairs.size());
  std::iota(order.begin(), order.end(), 0);
  std::vector<int32_t> root(pairs.size());
  for (size_t i = 0; i < pairs.size(); ++i) root[i] = c.Root(pairs[i].row);
  std::stable_sort(order.begin(), order.end(),
                   [&](int32_t a, int32_t b) { return root[static_cast<size_t>(a)] < root[static_cast<size_t>(b)]; });
  std::vector<int32_t> local_row(static_cast<size_t>(rows), -1), local_col(static_cast<size_t>(cols), -1);
  std::vector<int32_t> row_ids, col_ids;
  std::vector<double> cost;
  for (size_t begin = 0; begin < order.size();) {
    size_t end = begin;
    while (end < order.size() && root[static_cast<size_t>(order[end])] == root[static_cast<size_t>(order[begin])]) ++end;
    row_ids.clear();
    col_ids.clear();
    for (size_t k = begin; k < end; ++k) {
      const Pair& p = pairs[static_cast<size_t>(order[k])];
      if (local_row[static_cast<size_t>(p.row)] < 0) {
        local_row[static_cast<size_t>(p.row)] = static_cast<int32_t>(row_ids.size());
        row_ids.push_back(p.row);
      }
      if (local_col[static_cast<size_t>(p.col)] < 0) {
        local_col[static_cast<size_t>(p.col)] = static_cast<int32_t>(col_ids.size());
        col_ids.push_back(p.col);
      }
    }
    const int32_t nr = static_cast<int32_t>(row_ids.size()), nc = static_cast<int32_t>(col_ids.size());
    if (nr <= kMaxClusterSide && nc <= kMaxClusterSide) {
      cost.assign(static_cast<size_t>(nr) * static_cast<size_t>(nc), -1.0);
      for (size_t k = begin; k < end; ++k) {
        const Pair& p = pairs[static_cast<size_t>(order[k])];
        cost[static_cast<size_t>(local_row[static_cast<size_t>(p.row)]) * static_cast<size_t>(nc) +
             static_cast<size_t>(local_col[static_cast<size_t>(p.col)])] = p.cost;
      }
      const std::vector<int32_t> m = BestAssignment(cost, nr, nc);
      for (int32_t r = 0; r < nr; ++r)
        if (m[static_cast<size_t>(r)] >= 0)
          match[static_cast<size_t>(row_ids[static_cast<size_t>(r)])] =
              col_ids[static_cast<size_t>(m[static_cast<size_t>(r)])];
    } else {
      // A very large cluster: nearest pairs first.
      std::vector<int32_t> idx(order.begin() + static_cast<std::ptrdiff_t>(begin),
                               order.begin() + static_cast<std::ptrdiff_t>(end));
      std::stable_sort(idx.begin(), idx.end(), [&](int32_t a, int32_t b) {
        return pairs[static_cast<size_t>(a)].cost < pairs[static_cast<size_t>(b)].cost;
      });
      std::vector<uint8_t> col_taken(static_cast<size_t>(nc), 0);
      for (int32_t k : idx) {
        const Pair& p = pairs[static_cast<size_t>(k)];
        const int32_t lc = local_col[static_cast<size_t>(p.col)];
        if (match[static_cast<size_t>(p.row)] >= 0 || col_taken[static_cast<size_t>(lc)]) continue;
        match[static_cast<size_t>(p.row)] = p.col;
        col_taken[static_cast<size_t>(lc)] = 1;
      }
    }
    for (int32_t r : row_ids) local_row[static_cast<size_t>(r)] = -1;
    for (int32_t col : col_ids) local_col[static_cast<size_t>(col)] = -1;
    begin = end;
  }
  return match;
}

struct Segment {
  int32_t first = 0;
  std::vector<int32_t> spot;  // one per frame, no gaps
  int32_t Last() const { return first + static_cast<int32_t>(spot.size()) - 1; }
};

}  // namespace

std::vector<int32_t> BestAssignment(const std::vector<double>& cost, int32_t rows, int32_t cols) {
  // Every row also has a column of its own meaning "no pair", so any row may
  // stay alone. A pair costs its cost less twice a bonus larger than all
  // costs together: more pairs always win, then less cost.
  double bonus = 1;
  for (double c : cost)
    if (c >= 0) bonus += c;
  const int32_t n = rows, m = cols + rows;
  const double forbid = 8.0 * bonus * (rows + 1);
  auto a = [&](int32_t i, int32_t j) {  // 1-based
    if (j > cols) return j - cols == i ? 0.0 : forbid;
    const double c = cost[static_cast<size_t>(i - 1) * static_cast<size_t>(cols) + static_cast<size_t>(j - 1)];
    return c < 0 ? forbid : c - 2.0 * bonus;
  };
  // Hungarian method with potentials on the n x m matrix (n <= m).
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<double> u(static_cast<size_t>(n) + 1, 0), v(static_cast<size_t>(m) + 1, 0);
  std::vector<int32_t> p(static_cast<size_t>(m) + 1, 0), way(static_cast<size_t>(m) + 1, 0);
  std::vector<double> minv(static_cast<size_t>(m) + 1);
  std::vector<uint8_t> used(static_cast<size_t>(m) + 1);
  for (int32_t i = 1; i <= n; ++i) {
    p[0] = i;
    int32_t j0 = 0;
    std::fill(minv.begin(), minv.end(), inf);
    std::fill(used.begin(), used.end(), 0);
    do {
      used[static_cast<size_t>(j0)] = 1;
      const int32_t i0 = p[static_cast<size_t>(j0)];
      double delta = inf;
      int32_t j1 = 0;
      for (int32_t j = 1; j <= m; ++j) {
        if (used[static_cast<size_t>(j)]) continue;
        const double cur = a(i0, j) - u[static_cast<size_t>(i0)] - v[static_cast<size_t>(j)];
        if (cur < minv[static_cast<size_t>(j)]) {
          minv[static_cast<size_t>(j)] = cur;
          way[static_cast<size_t>(j)] = j0;
        }
        if (minv[static_cast<size_t>(j)] < delta) {
          delta = minv[static_cast<size_t>(j)];
          j1 = j;
        }
      }
      for (int32_t j = 0; j <= m; ++j) {
        if (used[static_cast<size_t>(j)]) {
          u[static_cast<size_t>(p[static_cast<size_t>(j)])] += delta;
          v[static_cast<size_t>(j)] -= delta;
        } else {
          minv[static_cast<size_t>(j)] -= delta;
        }
      }
      j0 = j1;
    } while (p[static_cast<size_t>(j0)] != 0);
    do {
      const int32_t j1 = way[static_cast<size_t>(j0)];
      p[static_cast<size_t>(j0)] = p[static_cast<size_t>(j1)];
      j0 = j1;
    } while (j0 != 0);
  }
  std::vector<int32_t> match(static_cast<size_t>(rows), -1);
  for (int32_t j = 1; j <= cols; ++j) {
    const int32_t i = p[static_cast<size_t>(j)];
    if (i > 0 && cost[static_cast<size_t>(i - 1) * static_cast<size_t>(cols) + static_cast<size_t>(j - 1)] >= 0)
      match[static_cast<size_t>(i - 1)] = j - 1;
  }
  return match;
}

std::vector<LinkedTrack> LinkGlobally(const std::vector<std::vector<LinkSpot>>& frames,
                                      const GlobalLinkRules& rules) {
  const double r = std::max(rules.max_radius, 0.0);
  const double r2 = r * r;
  const int32_t cell = std::max(1, static_cast<int32_t>(std::ceil(r)));
  std::vector<Segment> segs;
  std::vector<int32_t> open, next_open;
  std::vector<Pair> pairs;
  // Spots of a frame by grid cell (cells of R pixels): a spot within R of a
  // point lies in the point's cell or one of the eight around it.
  std::vector<std::pair<int64_t, int32_t>> grid;
  auto key = [](int32_t cx, int32_t cy) { return (static_cast<int64_t>(cy) << 32) ^ static_cast<uint32_t>(cx); };
  auto cell_of = [&](float v) { return static_cast<int32_t>(std::floor(static_cast<double>(v) / cell)); };

  for (size_t f = 0; f < frames.size(); ++f) {
    const std::vector<LinkSpot>& spots = frames[f];
    std::vector<int32_t> match(open.size(), -1);
    if (!open.empty() && !spots.empty() && r > 0) {
      grid.clear();
      for (size_t s = 0; s < spots.size(); ++s)
        grid.push_back({key(cell_of(spots[s].x), cell_of(spots[s].y)), static_cast<int32_t>(s)});
      std::sort(grid.begin(), grid.end());
      pairs.clear();
      const std::vector<LinkSpot>& before = frames[f - 1];
      for (size_t o = 0; o < open.size(); ++o) {
        const Segment& g = segs[static_cast<size_t>(open[o])];
        const LinkSpot& at = before[static_cast<size_t>(g.spot.back())];
        const int32_t cx = cell_of(at.x), cy = cell_of(at.y);
        const size_t first_pair = pairs.size();
        for (int32_t dy = -1; dy <= 1; ++dy)
          for (int32_t dx = -1; dx <= 1; ++dx) {
            const int64_t k = key(cx + dx, cy + dy);
            auto it = std::lower_bound(grid.begin(), grid.end(), std::make_pair(k, INT32_MIN));
            for (; it != grid.end() && it->first == k; ++it) {
              const LinkSpot& s = spots[static_cast<size_t>(it->second)];
              const double ddx = static_cast<double>(s.x) - at.x, ddy = static_cast<double>(s.y) - at.y;
              const double d2 = ddx * ddx + ddy * ddy;
              if (d2 <= r2) pairs.push_back({static_cast<int32_t>(o), it->second, d2});
            }
          }
        // Pairs of a track in spot order, whatever the cells' order.
        std::sort(pairs.begin() + static_cast<std::ptrdiff_t>(first_pair), pairs.end(),
                  [](const Pair& a, const Pair& b) { return a.col < b.col; });
      }
      match = AssignPairs(pairs, static_cast<int32_t>(open.size()), static_cast<int32_t>(spots.size()));
    }
    std::vector<uint8_t> taken(spots.size(), 0);
    next_open.clear();
    for (size_t o = 0; o < open.size(); ++o) {
      if (match[o] < 0) continue;
      segs[static_cast<size_t>(open[o])].spot.push_back(match[o]);
      taken[static_cast<size_t>(match[o])] = 1;
      next_open.push_back(open[o]);
    }
    for (size_t s = 0; s < spots.size(); ++s) {
      if (taken[s]) continue;
      segs.push_back({static_cast<int32_t>(f), {static_cast<int32_t>(s)}});
      next_open.push_back(static_cast<int32_t>(segs.size() - 1));
    }
    // Tracks in the order they were made, so ties go the same way every run.
    std::sort(next_open.begin(), next_open.end());
    open.swap(next_open);
  }

  // Closing: ends (rows) against starts (columns).
  std::vector<std::vector<int32_t>> starting(frames.size());
  for (size_t i = 0; i < segs.size(); ++i)
    starting[static_cast<size_t>(segs[i].first)].push_back(static_cast<int32_t>(i));
  pairs.clear();
  const double reach2 = kCloseReach * kCloseReach * r2;
  for (size_t e = 0; e < segs.size() && r > 0; ++e) {
    const Segment& end = segs[e];
    const LinkSpot& pe = frames[static_cast<size_t>(end.Last())][static_cast<size_t>(end.spot.back())];
    for (int32_t g = 1; g <= kMaxGap + 1; ++g) {
      const int32_t fs = end.Last() + g;
      if (fs >= static_cast<int32_t>(frames.size())) break;
      for (int32_t s : starting[static_cast<size_t>(fs)]) {
        const LinkSpot& ps = frames[static_cast<size_t>(fs)][static_cast<size_t>(segs[static_cast<size_t>(s)].spot.front())];
        const double ddx = static_cast<double>(ps.x) - pe.x, ddy = static_cast<double>(ps.y) - pe.y;
        const double d2 = ddx * ddx + ddy * ddy;
        if (d2 <= reach2 * g) pairs.push_back({static_cast<int32_t>(e), s, d2 / g});
      }
    }
  }
  const int32_t n = static_cast<int32_t>(segs.size());
  const std::vector<int32_t> next = AssignPairs(pairs, n, n);
  std::vector<uint8_t> has_before(segs.size(), 0);
  for (int32_t s : next)
    if (s >= 0) has_before[static_cast<size_t>(s)] = 1;

  std::vector<LinkedTrack> tracks;
  for (int32_t head = 0; head < n; ++head) {
    if (has_before[static_cast<size_t>(head)]) continue;
    LinkedTrack t;
    t.first_frame = segs[static_cast<size_t>(head)].first;
    for (int32_t s = head; s >= 0; s = next[static_cast<size_t>(s)]) {
      const Segment& g = segs[static_cast<size_t>(s)];
      while (t.LastFrame() + 1 < g.first) t.spot.push_back(-1);
      t.spot.insert(t.spot.end(), g.spot.begin(), g.spot.end());
    }
    if (t.LastFrame() - t.first_frame > rules.min_track) tracks.push_back(std::move(t));
  }
  std::stable_sort(tracks.begin(), tracks.end(), [](const LinkedTrack& a, const LinkedTrack& b) {
    return a.first_frame < b.first_frame ||
           (a.first_frame == b.first_frame && a.spot.front() < b.spot.front());
  });
  return tracks;
}

}  // namespace lumetra
