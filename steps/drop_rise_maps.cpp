#include "steps/drop_rise_maps.h"

#include <algorithm>

#include "common/parallel.h"

namespace lumetra {

void StepMaps::Reset(int32_t w, int32_t h) {
  width = w;
  height = h;
  const size_t n = static_cast<size_t>(w) * h;
  DropMap.assign(n, 0);
  DropFrame.assign(n, 0);
  RiseMap.assign(n, 0);
  RiseFrame.assign(n, 0);
}

DropRiseDetector::DropRiseDetector(int workers) : workers_(workers <= 0 ? WorkerCount() : workers) {
  if (workers_ > 1) pool_ = std::make_unique<WorkerPool>(workers_ - 1);
  scratch_.resize(static_cast<size_t>(workers_));
}

DropRiseDetector::~DropRiseDetector() = default;

void DropRiseDetector::Allocate(int32_t w, int32_t h) {
  width_ = std::max(w, 0);
  height_ = std::max(h, 0);
  pixels_ = static_cast<size_t>(width_) * height_;
  ring_.assign(pixels_ * (kMaxWindow + kRingExtra), 0);
  slot_frame_.assign(kMaxWindow + kRingExtra, 0);
  before_.assign(kMaxWindow + kRingExtra, 0);
  after_.assign(kMaxWindow + kRingExtra, 0);
  sum_b_.assign(pixels_, 0);
  sum_n10_.assign(pixels_, 0);
  sum_a_.assign(pixels_, 0);
  for (auto& s : scratch_) s.assign(2 * static_cast<size_t>(width_) + 2, 0);
  index_ = 0;
  sums_frame_ = -1;
}

size_t DropRiseDetector::AllocatedBytes() const {
  return (ring_.size() + sum_b_.size() + sum_n10_.size() + sum_a_.size()) * sizeof(int32_t);
}

void DropRiseDetector::Start(StepMaps& maps, int32_t window, int32_t half_size,
                             int32_t median_frames, Method method) {
  maps_ = &maps;
  window_ = std::clamp(window, 1, kMaxWindow);
  half_ = std::clamp(half_size, 0, 2);
  median_ = std::max(median_frames, 0);
  scale_ = static_cast<float>(10.0 / window_);
  method_ = method;
  maps.Reset(width_, height_);
  index_ = 0;
  sums_frame_ = -1;
  computed_ = 0;
  std::fill(before_.begin(), before_.end(), 0);
  std::fill(after_.begin(), after_.end(), 0);
}

// One row of box sums, written to out[x] for R + 2 <= x < Width - R - 2: a
// column sum over the 2R + 1 rows, then a sliding sum along the row.
void DropRiseDetector::FillBoxRow(int32_t* out, const uint16_t* px, int32_t y,
                                  std::vector<int32_t>& col) const {
  const int32_t w = width_, r = half_;
  const int32_t x0 = r + 2, x1 = w - r - 2;
  if (x1 <= x0) return;
  for (int32_t x = 0; x < w; ++x) col[x] = 0;
  for (int32_t dy = -r; dy <= r; ++dy) {
    const uint16_t* row = px + static_cast<size_t>(y + dy) * w;
    for (int32_t x = 0; x < w; ++x) col[x] += row[x];
  }
  int32_t acc = 0;
  for (int32_t x = x0 - r; x <= x0 + r; ++x) acc += col[x];
  for (int32_t x = x0; x < x1; ++x) {
    out[x] = acc;
    if (x + 1 < x1) acc += col[x + r + 1] - col[x - r];
  }
}

void DropRiseDetector::FillBoxRows(int32_t slot, const uint16_t* px, int32_t y0, int32_t y1,
                                   std::vector<int32_t>& col) {
  int32_t* s = Slot(slot);
  for (int32_t y = std::max(y0, half_ + 2); y < std::min(y1, height_ - half_ - 2); ++y)
    FillBoxRow(s + static_cast<size_t>(y) * width_, px, y, col);
}

void DropRiseDetector::RunRows(
    int32_t rows, const std::function<void(int32_t, int32_t, std::vector<int32_t>&)>& body) {
  // Rows [1, Height - 1): split in equal parts, one per task; each pixel is
  // handled by exactly one task, so the split never changes a result.
  const int tasks = pool_ && rows >= 8 * workers_ ? workers_ : 1;
  auto task = [&](int i) {
    const int32_t a = 1 + static_cast<int32_t>(static_cast<int64_t>(rows) * i / tasks);
    const int32_t b = 1 + static_cast<int32_t>(static_cast<int64_t>(rows) * (i + 1) / tasks);
    body(a, b, scratch_[static_cast<size_t>(i)]);
  };
  if (tasks == 1) {
    task(0);
    return;
  }
  pool_->Run(tasks, task);
}

bool DropRiseDetector::Regular(int32_t f, int32_t written) const {
  const int32_t s = Slots();
  for (int32_t k = 0; k < s; ++k)
    if (slot_frame_[static_cast<size_t>((written - k + s) % s)] != f - k) return false;
  return true;
}

void DropRiseDetector::Frame(const uint16_t* px, int32_t f) {
  if (!maps_ || f > kStepFrameLimit - 1 || pixels_ == 0) return;
  if (f == 0) index_ = 0;
  const int32_t written = index_;
  const bool plain = method_ == Method::kPlain;
  if (plain) {
    // The reference: every box summed pixel by pixel.
    const int32_t r = half_;
    int32_t* s = Slot(written);
    for (int32_t y = r + 2; y < height_ - r - 2; ++y)
      for (int32_t x = r + 2; x < width_ - r - 2; ++x) {
        int32_t sum = 0;
        for (int32_t dy = -r; dy <= r; ++dy)
          for (int32_t dx = -r; dx <= r; ++dx)
            sum += px[static_cast<size_t>(y + dy) * width_ + x + dx];
        s[static_cast<size_t>(y) * width_ + x] = sum;
      }
  }
  slot_frame_[static_cast<size_t>(written)] = f;
  if (++index_ > window_ + 9) index_ = 0;
  for (int32_t k = 0; k < Slots(); ++k) {
    before_[static_cast<size_t>(k)] = slot_frame_[static_cast<size_t>(k)] < f - 9;
    after_[static_cast<size_t>(k)] = slot_frame_[static_cast<size_t>(k)] >= f - window_ + 1;
  }
  const bool compute = f >= FirstComputedFrame();
  if (plain) {
    if (compute) PlainCompute(f);
    return;
  }
  // The fast method: running sums hold only while the ring holds the frames
  // f - W - 9 .. f in order; any other ring (a selected part that starts
  // late, a skipped frame) is computed the plain way for that frame.
  const bool regular = compute && Regular(f, written);
  if (!regular) {
    sums_frame_ = -1;
    RunRows(height_ - 2, [&](int32_t y0, int32_t y1, std::vector<int32_t>& col) {
      FillBoxRows(written, px, y0, y1, col);
    });
    // Rows 0 and Height - 1 never get box sums (R + 2 >= 2).
    if (compute) PlainCompute(f);
    return;
  }
  FastFrame(px, f, written, sums_frame_ == f - 1);
  sums_frame_ = f;
}

void DropRiseDetector::PlainCompute(int32_t f) {
  ++computed_;
  StepMaps& m = *maps_;
  const int32_t s = Slots();
  for (int32_t y = 1; y <= height_ - 2; ++y)
    for (int32_t x = 1; x <= width_ - 2; ++x) {
      const size_t p = static_cast<size_t>(y) * width_ + x;
      int32_t b = 0, not_b = 0, a = 0, not_a = 0;
      for (int32_t k = 0; k < s; ++k) {
        const int32_t v = Slot(k)[p];
        (before_[static_cast<size_t>(k)] ? b : not_b) += v;
        (after_[static_cast<size_t>(k)] ? a : not_a) += v;
      }
      const int32_t drop = static_cast<int32_t>(static_cast<float>(b) * scale_) - not_b;
      if (drop > m.DropMap[p]) {
        m.DropMap[p] = drop;
        m.DropFrame[p] = f - 9;
      }
      const int32_t rise = static_cast<int32_t>(static_cast<float>(a) * scale_) - not_a;
      if (rise > m.RiseMap[p]) {
        m.RiseMap[p] = rise;
        m.RiseFrame[p] = f - window_ - 1;
      }
    }
}

void DropRiseDetector::FastFrame(const uint16_t* px, int32_t f, int32_t written,
                                 bool incremental) {
  ++computed_;
  RunRows(height_ - 2, [&](int32_t y0, int32_t y1, std::vector<int32_t>& col) {
    if (incremental)
      FastRows<true>(px, f, written, y0, y1, col);
    else
      FastRows<false>(px, f, written, y0, y1, col);
  });
}

// Rows [y0, y1) of the fast method. In the regular ring the W oldest slots
// are B and the ten newest the rest; the W newest are A and the ten oldest
// the rest. Incremental: the written slot held frame f - W - 10 and now holds
// f, so each sum changes by one slot in and one out.
template <bool kIncremental>
void DropRiseDetector::FastRows(const uint16_t* px, int32_t f, int32_t written, int32_t y0,
                                int32_t y1, std::vector<int32_t>& scratch) {
  const int32_t w = width_, s = Slots(), r = half_, win = window_;
  int32_t* col = scratch.data();
  int32_t* vals = scratch.data() + w + 1;
  int32_t* sw = Slot(written);
  const int32_t* s10 = Slot((written - 10 + s) % s);
  const int32_t* sW = Slot((written - win + s) % s);
  const int32_t* by_age[kMaxWindow + kRingExtra];
  for (int32_t k = 0; k < s; ++k) by_age[k] = Slot((written - k + s) % s);
  StepMaps& m = *maps_;
  const float scale = scale_;
  const int32_t drop_frame = f - 9, rise_frame = f - win - 1;
  for (int32_t y = y0; y < y1; ++y) {
    const size_t row = static_cast<size_t>(y) * w;
    // The new slot row: box sums where the bounds allow, else what it held.
    for (int32_t x = 1; x < w - 1; ++x) vals[x] = sw[row + x];
    if (y >= r + 2 && y < height_ - r - 2) {
      const int32_t x0 = r + 2, x1 = w - r - 2;
      if (x1 > x0) {
        for (int32_t x = 0; x < w; ++x) col[x] = 0;
        for (int32_t dy = -r; dy <= r; ++dy) {
          const uint16_t* src = px + static_cast<size_t>(y + dy) * w;
          for (int32_t x = 0; x < w; ++x) col[x] += src[x];
        }
        int32_t acc = 0;
        for (int32_t x = x0 - r; x <= x0 + r; ++x) acc += col[x];
        for (int32_t x = x0; x < x1; ++x) {
          vals[x] = acc;
          if (x + 1 < x1) acc += col[x + r + 1] - col[x - r];
        }
      }
    }
    int32_t* sb = sum_b_.data() + row;
    int32_t* sn = sum_n10_.data() + row;
    int32_t* sa = sum_a_.data() + row;
    int32_t* dm = m.DropMap.data() + row;
    int32_t* df = m.DropFrame.data() + row;
    int32_t* rm = m.RiseMap.data() + row;
    int32_t* rf = m.RiseFrame.data() + row;
    int32_t* out = sw + row;
    if constexpr (kIncremental) {
      const int32_t* a10 = s10 + row;
      const int32_t* aW = sW + row;
#pragma omp simd
      for (int32_t x = 1; x < w - 1; ++x) {
        const int32_t vo = out[x], vn = vals[x];
        out[x] = vn;
        const int32_t b = sb[x] - vo + a10[x];
        const int32_t n = sn[x] - a10[x] + vn;
        const int32_t a = sa[x] - aW[x] + vn;
        sb[x] = b;
        sn[x] = n;
        sa[x] = a;
        const int32_t drop = static_cast<int32_t>(static_cast<float>(b) * scale) - n;
        const int32_t rise = static_cast<int32_t>(static_cast<float>(a) * scale) - (b + n - a);
        const bool gd = drop > dm[x], gr = rise > rm[x];
        dm[x] = gd ? drop : dm[x];
        df[x] = gd ? drop_frame : df[x];
        rm[x] = gr ? rise : rm[x];
        rf[x] = gr ? rise_frame : rf[x];
      }
    } else {
      for (int32_t x = 1; x < w - 1; ++x) out[x] = vals[x];
      for (int32_t x = 1; x < w - 1; ++x) {
        int32_t b = 0, n = 0, a = 0, all = 0;
        for (int32_t k = 0; k < s; ++k) {
          const int32_t v = by_age[k][row + x];
          all += v;
          if (k < 10) n += v;
          if (k < win) a += v;
        }
        b = all - n;
        sb[x] = b;
        sn[x] = n;
        sa[x] = a;
        const int32_t drop = static_cast<int32_t>(static_cast<float>(b) * scale) - n;
        const int32_t rise = static_cast<int32_t>(static_cast<float>(a) * scale) - (all - a);
        if (drop > dm[x]) {
          dm[x] = drop;
          df[x] = drop_frame;
        }
        if (rise > rm[x]) {
          rm[x] = rise;
          rf[x] = rise_frame;
        }
      }
    }
  }
}

void DropRiseDetector::Finish() {
  if (!maps_) return;
  // Mean counts per pixel per frame; C++ division truncates toward zero.
  const int32_t d = 10 * SpotPixelCount(half_);
  for (int32_t& v : maps_->DropMap) v /= d;
  for (int32_t& v : maps_->RiseMap) v /= d;
}

std::string DropRiseDetector::MarksText() const {
  std::string s;
  for (int32_t k = 0; k < Slots(); ++k) s += before_[static_cast<size_t>(k)] ? '1' : '0';
  s += "      ";
  for (int32_t k = 0; k < Slots(); ++k) s += after_[static_cast<size_t>(k)] ? '1' : '0';
  return s;
}

}  // namespace lumetra
