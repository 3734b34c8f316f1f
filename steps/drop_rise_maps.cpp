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
  // Up to 16 frames wait, at most 32 MB of them.
  batch_ = static_cast<int32_t>(
      std::clamp<size_t>((size_t{32} << 20) / std::max<size_t>(pixels_ * 2, 1), 1, 16));
  pending_pixels_.assign(pixels_ * static_cast<size_t>(batch_), 0);
  pending_.clear();
  pending_.reserve(static_cast<size_t>(batch_));
  // Per task: column sums, the new slot row, the row's drops and rises.
  for (auto& s : scratch_) s.assign(4 * (static_cast<size_t>(width_) + 1), 0);
  index_ = 0;
  sums_frame_ = -1;
}

size_t DropRiseDetector::AllocatedBytes() const {
  return (ring_.size() + sum_b_.size() + sum_n10_.size() + sum_a_.size()) * sizeof(int32_t) +
         pending_pixels_.size() * sizeof(uint16_t);
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
  pending_.clear();
  std::fill(before_.begin(), before_.end(), 0);
  std::fill(after_.begin(), after_.end(), 0);
}

namespace {

// Box sums of one row for a fixed half size: column sums over the 2R + 1
// rows, then sums of 2R + 1 neighbouring columns. Both loops run on vectors.
template <int R>
void BoxRow(int32_t* out, const uint16_t* px, int32_t w, int32_t y, int32_t* col) {
  const uint16_t* r0 = px + static_cast<size_t>(y - R) * w;
  for (int32_t x = 0; x < w; ++x) {
    int32_t sum = 0;
    for (int32_t dy = 0; dy <= 2 * R; ++dy) sum += r0[static_cast<size_t>(dy) * w + x];
    col[x] = sum;
  }
  for (int32_t x = R + 2; x < w - R - 2; ++x) {
    int32_t sum = 0;
    for (int32_t dx = -R; dx <= R; ++dx) sum += col[x + dx];
    out[x] = sum;
  }
}

}  // namespace

// One row of box sums, written to out[x] for R + 2 <= x < Width - R - 2. Rows
// outside R + 2 <= y < Height - R - 2 get none.
void DropRiseDetector::FillBoxRow(int32_t* out, const uint16_t* px, int32_t y, int32_t* col) const {
  const int32_t w = width_, r = half_;
  if (w - r - 2 <= r + 2 || y < r + 2 || y >= height_ - r - 2) return;
  switch (r) {
    case 0:
      BoxRow<0>(out, px, w, y, col);
      break;
    case 1:
      BoxRow<1>(out, px, w, y, col);
      break;
    default:
      BoxRow<2>(out, px, w, y, col);
      break;
  }
}

void DropRiseDetector::RunRows(int32_t rows,
                               const std::function<void(int32_t, int32_t, int32_t*)>& body) {
  // Rows [1, Height - 1): split in equal parts, one per task; each pixel is
  // handled by exactly one task, so the split never changes a result.
  const int tasks = pool_ && rows >= 8 * workers_ ? workers_ : 1;
  auto task = [&](int i) {
    const int32_t a = 1 + static_cast<int32_t>(static_cast<int64_t>(rows) * i / tasks);
    const int32_t b = 1 + static_cast<int32_t>(static_cast<int64_t>(rows) * (i + 1) / tasks);
    body(a, b, scratch_[static_cast<size_t>(i)].data());
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
  if (compute) ++computed_;
  if (plain) {
    if (compute)
      for (int32_t y = 1; y <= height_ - 2; ++y) PlainRow(f, y, before_.data(), after_.data());
    return;
  }
  // The fast method: running sums hold only while the ring holds the frames
  // f - W - 9 .. f in order; any other ring (a selected part that starts
  // late, a skipped frame) is computed the plain way for that frame.
  Pending item{f, written, Op::kFill, {}, {}};
  if (compute && !Regular(f, written)) {
    item.op = Op::kPlain;
    sums_frame_ = -1;
  } else if (compute) {
    item.op = sums_frame_ == f - 1 ? Op::kIncremental : Op::kRebuild;
    sums_frame_ = f;
  }
  std::copy(before_.begin(), before_.end(), item.before);
  std::copy(after_.begin(), after_.end(), item.after);
  std::copy_n(px, pixels_, pending_pixels_.data() + pending_.size() * pixels_);
  pending_.push_back(item);
  if (static_cast<int32_t>(pending_.size()) == batch_) Flush();
}

void DropRiseDetector::Flush() {
  if (pending_.empty()) return;
  RunRows(height_ - 2, [&](int32_t y0, int32_t y1, int32_t* scratch) {
    for (int32_t y = y0; y < y1; ++y)
      for (size_t i = 0; i < pending_.size(); ++i)
        RowOp(pending_[i], pending_pixels_.data() + i * pixels_, y, scratch);
  });
  pending_.clear();
}

void DropRiseDetector::RowOp(const Pending& item, const uint16_t* px, int32_t y, int32_t* scratch) {
  switch (item.op) {
    case Op::kIncremental:
      FastRow<true>(px, item.f, item.written, y, scratch);
      return;
    case Op::kRebuild:
      FastRow<false>(px, item.f, item.written, y, scratch);
      return;
    case Op::kFill:
    case Op::kPlain:
      FillBoxRow(Slot(item.written) + static_cast<size_t>(y) * width_, px, y, scratch);
      if (item.op == Op::kPlain) PlainRow(item.f, y, item.before, item.after);
      return;
  }
}

void DropRiseDetector::PlainRow(int32_t f, int32_t y, const uint8_t* before, const uint8_t* after) {
  StepMaps& m = *maps_;
  const int32_t s = Slots();
  for (int32_t x = 1; x <= width_ - 2; ++x) {
    const size_t p = static_cast<size_t>(y) * width_ + x;
    int32_t b = 0, not_b = 0, a = 0, not_a = 0;
    for (int32_t k = 0; k < s; ++k) {
      const int32_t v = Slot(k)[p];
      (before[k] ? b : not_b) += v;
      (after[k] ? a : not_a) += v;
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

// Row y of the fast method. In the regular ring the W oldest slots are B and
// the ten newest the rest; the W newest are A and the ten oldest the rest.
// Incremental: the written slot held frame f - W - 10 and now holds f, so
// each sum changes by one slot in and one out.
template <bool kIncremental>
void DropRiseDetector::FastRow(const uint16_t* px, int32_t f, int32_t written, int32_t y,
                               int32_t* scratch) {
  const int32_t w = width_, s = Slots(), win = window_;
  int32_t* col = scratch;
  int32_t* vals = scratch + w + 1;
  int32_t* drops = vals + w + 1;
  int32_t* rises = drops + w + 1;
  const size_t row = static_cast<size_t>(y) * w;
  int32_t* out = Slot(written) + row;
  // The new slot row: box sums where the bounds allow, else what it held.
  for (int32_t x = 1; x < w - 1; ++x) vals[x] = out[x];
  FillBoxRow(vals, px, y, col);
  StepMaps& m = *maps_;
  const float scale = scale_;
  int32_t* sb = sum_b_.data() + row;
  int32_t* sn = sum_n10_.data() + row;
  int32_t* sa = sum_a_.data() + row;
  int32_t* dm = m.DropMap.data() + row;
  int32_t* rm = m.RiseMap.data() + row;
  int32_t any = 0;
  if constexpr (kIncremental) {
    const int32_t* a10 = Slot((written - 10 + s) % s) + row;
    const int32_t* aW = Slot((written - win + s) % s) + row;
#pragma omp simd reduction(| : any)
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
      drops[x] = drop;
      rises[x] = rise;
      any |= (drop > dm[x]) | (rise > rm[x]);
    }
  } else {
    const int32_t* by_age[kMaxWindow + kRingExtra];
    for (int32_t k = 0; k < s; ++k) by_age[k] = Slot((written - k + s) % s) + row;
    for (int32_t x = 1; x < w - 1; ++x) out[x] = vals[x];
    for (int32_t x = 1; x < w - 1; ++x) {
      int32_t n = 0, a = 0, all = 0;
      for (int32_t k = 0; k < s; ++k) {
        const int32_t v = by_age[k][x];
        all += v;
        if (k < 10) n += v;
        if (k < win) a += v;
      }
      const int32_t b = all - n;
      sb[x] = b;
      sn[x] = n;
      sa[x] = a;
      drops[x] = static_cast<int32_t>(static_cast<float>(b) * scale) - n;
      rises[x] = static_cast<int32_t>(static_cast<float>(a) * scale) - (all - a);
    }
    any = 1;
  }
  // Once the largest steps are found, a row rarely beats its maps: the maps
  // are written only where it does.
  if (!any) return;
  int32_t* df = m.DropFrame.data() + row;
  int32_t* rf = m.RiseFrame.data() + row;
  const int32_t drop_frame = f - 9, rise_frame = f - win - 1;
  for (int32_t x = 1; x < w - 1; ++x) {
    if (drops[x] > dm[x]) {
      dm[x] = drops[x];
      df[x] = drop_frame;
    }
    if (rises[x] > rm[x]) {
      rm[x] = rises[x];
      rf[x] = rise_frame;
    }
  }
}

void DropRiseDetector::Finish() {
  if (!maps_) return;
  Flush();
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
