#include "spots/close_spots.h"

#include <algorithm>
#include <cmath>

#include "spots/spot_params.h"

namespace lumetra {

CloseSpotRules CloseSpotRulesFor(double sigma_px) {
  CloseSpotRules r;
  if (!(sigma_px > 0) || !std::isfinite(sigma_px)) return r;
  // Wider spots need a wider box to calm the noise and a wider square to keep
  // one spot from showing two maxima; the scan's 5-pixel margin bounds both.
  r.smooth_half = std::clamp(static_cast<int32_t>(std::lround(sigma_px)), 1, 2);
  r.peak_radius = std::clamp(static_cast<int32_t>(std::lround(2.0 * sigma_px)), 2, 3);
  return r;
}

void CloseSpotSplitter::Smooth(const Box& box) {
  smoothed_.assign(static_cast<size_t>(box.Width()) * static_cast<size_t>(box.y1 - box.y0 + 1), 0);
  const int32_t h = rules_.smooth_half;
  floor_ = INT64_MAX;
  size_t k = 0;
  for (int32_t y = box.y0; y <= box.y1; ++y) {
    for (int32_t x = box.x0; x <= box.x1; ++x, ++k) {
      int64_t sum = 0;
      for (int32_t v = y - h; v <= y + h; ++v) {
        const uint16_t* row = pixels_ + static_cast<int64_t>(v) * width_;
        for (int32_t u = x - h; u <= x + h; ++u) sum += row[u];
      }
      smoothed_[k] = sum;
      floor_ = std::min(floor_, sum);
    }
  }
}

int64_t CloseSpotSplitter::At(int32_t x, int32_t y) const {
  return smoothed_[static_cast<size_t>(y - box_.y0) * static_cast<size_t>(box_.Width()) +
                   static_cast<size_t>(x - box_.x0)];
}

bool CloseSpotSplitter::IsPeak(int32_t x, int32_t y) const {
  // Of equal neighbours the first in row-major order is the maximum.
  const int64_t v = At(x, y);
  const int32_t r = rules_.peak_radius;
  for (int32_t v_y = std::max(y - r, box_.y0); v_y <= std::min(y + r, box_.y1); ++v_y)
    for (int32_t v_x = std::max(x - r, box_.x0); v_x <= std::min(x + r, box_.x1); ++v_x) {
      const int64_t w = At(v_x, v_y);
      const bool before = v_y < y || (v_y == y && v_x < x);
      if (w > v || (w == v && before)) return false;
    }
  return true;
}

bool CloseSpotSplitter::Separated(const Peak& high, const Peak& low) const {
  // The lowest smoothed value on the straight line between the two peaks.
  const int32_t dx = low.x - high.x, dy = low.y - high.y;
  const int32_t steps = std::max(std::abs(dx), std::abs(dy));
  int64_t saddle = low.value;
  for (int32_t k = 1; k < steps; ++k) {
    const int32_t x = high.x + static_cast<int32_t>(std::lround(double(dx) * k / steps));
    const int32_t y = high.y + static_cast<int32_t>(std::lround(double(dy) * k / steps));
    saddle = std::min(saddle, At(x, y));
  }
  const double depth = static_cast<double>(low.value - saddle);
  const double noise = std::sqrt(static_cast<double>(low.value + saddle));
  const double height = static_cast<double>(low.value - floor_);
  return depth >= rules_.dip_sigmas * noise && depth >= rules_.dip_fraction * height;
}

void CloseSpotSplitter::FindPeaks(const std::vector<Candidate>& c, size_t from, size_t to) {
  kept_.clear();
  peaks_.clear();
  const int32_t margin = rules_.peak_radius, h = rules_.smooth_half;
  Box b{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
  for (size_t k = from; k < to; ++k) {
    const Candidate& m = c[static_cast<size_t>(members_[k])];
    b = {std::min(b.x0, m.X), std::min(b.y0, m.Y), std::max(b.x1, m.X), std::max(b.y1, m.Y)};
  }
  box_ = {std::max(b.x0 - margin, h), std::max(b.y0 - margin, h),
          std::min(b.x1 + margin, width_ - 1 - h), std::min(b.y1 + margin, height_ - 1 - h)};
  Smooth(box_);
  for (size_t k = from; k < to; ++k) {
    const Candidate& m = c[static_cast<size_t>(members_[k])];
    if (IsPeak(m.X, m.Y)) peaks_.push_back({m.X, m.Y, At(m.X, m.Y)});
  }
  std::stable_sort(peaks_.begin(), peaks_.end(),
                   [](const Peak& a, const Peak& b) { return a.value > b.value; });
  for (const Peak& p : peaks_) {
    bool apart = true;
    for (const Peak& q : kept_) apart = apart && Separated(q, p);
    if (apart) kept_.push_back(p);
  }
}

int32_t CloseSpotSplitter::AssignParts(const std::vector<Candidate>& c, size_t from, size_t to) {
  // Each candidate goes to its nearest maximum (the brighter one on a tie);
  // the parts are then numbered in the order of their first candidate.
  order_.assign(kept_.size(), -1);
  int32_t parts = 0;
  for (size_t k = from; k < to; ++k) {
    const size_t i = static_cast<size_t>(members_[k]);
    size_t nearest = 0;
    int64_t best = INT64_MAX;
    for (size_t p = 0; p < kept_.size(); ++p) {
      const int64_t dx = c[i].X - kept_[p].x, dy = c[i].Y - kept_[p].y;
      if (dx * dx + dy * dy < best) {
        best = dx * dx + dy * dy;
        nearest = p;
      }
    }
    if (order_[nearest] < 0) order_[nearest] = parts++;
    part_[i] = order_[nearest];
  }
  return parts;
}

void CloseSpotSplitter::GroupByLabel(const std::vector<Candidate>& candidates,
                                     int32_t object_count) {
  // A counting sort: each label's candidates in list order.
  const size_t labels = static_cast<size_t>(object_count);
  starts_.assign(labels + 1, 0);
  for (const Candidate& m : candidates)
    if (m.label >= 0 && m.label < object_count) ++starts_[static_cast<size_t>(m.label) + 1];
  for (size_t l = 0; l < labels; ++l) starts_[l + 1] += starts_[l];
  members_.assign(static_cast<size_t>(starts_[labels]), 0);
  first_new_.assign(starts_.begin(), starts_.end() - 1);
  for (size_t i = 0; i < candidates.size(); ++i) {
    const int32_t l = candidates[i].label;
    if (l >= 0 && l < object_count)
      members_[static_cast<size_t>(first_new_[static_cast<size_t>(l)]++)] = static_cast<int32_t>(i);
  }
}

int32_t CloseSpotSplitter::Split(std::vector<Candidate>& candidates, int32_t object_count,
                                 const uint16_t* pixels, int32_t width, int32_t height,
                                 const CloseSpotRules& rules) {
  if (object_count <= 0 || candidates.empty()) return object_count;
  pixels_ = pixels;
  width_ = width;
  height_ = height;
  rules_ = rules;
  GroupByLabel(candidates, object_count);
  part_.assign(candidates.size(), 0);
  // New label of each old label's first part; the parts of a split cluster
  // follow it in the order of their first candidate.
  const size_t labels = static_cast<size_t>(object_count);
  first_new_.assign(labels, 0);
  int32_t next = 0;
  for (size_t l = 0; l < labels; ++l) {
    first_new_[l] = next;
    const size_t from = static_cast<size_t>(starts_[l]), to = static_cast<size_t>(starts_[l + 1]);
    int32_t parts = 1;
    if (to - from >= 2) {
      FindPeaks(candidates, from, to);
      const int32_t room = kMaxObjects - (object_count - static_cast<int32_t>(l)) - next;
      if (kept_.size() >= 2 && static_cast<int32_t>(kept_.size()) - 1 <= room) {
        parts = AssignParts(candidates, from, to);
      }
    }
    next += parts;
  }
  for (size_t i = 0; i < candidates.size(); ++i) {
    Candidate& m = candidates[i];
    if (m.label >= 0 && m.label < object_count)
      m.label = first_new_[static_cast<size_t>(m.label)] + part_[i];
  }
  return next;
}

}  // namespace lumetra
