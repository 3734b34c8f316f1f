#include "processing/frame_filters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

#include "common/parallel.h"
#include "processing/vector_clones.h"


namespace lumetra {
namespace {

// Frames of fewer pixels stay on one thread: starting one costs more than a
// filter of a quarter megapixel takes.
constexpr int64_t kParallelPixels = 1 << 20;

// Row bands of at least 8 rows, one per worker (workers 0: every core for
// frames of a megapixel or more, else one).
int BandCount(int32_t width, int32_t height, int workers) {
  if (workers == 0)
    workers = static_cast<int64_t>(width) * height >= kParallelPixels ? WorkerCount() : 1;
  return std::clamp(std::min(workers, height / 8), 1, std::max(1, height));
}

// body(band, first row, end row) for each band, the bands side by side.
template <typename Body>
void ForBands(int32_t height, int bands, Body&& body) {
  ParallelChunks(
      bands,
      [&](int64_t a, int64_t b) {
        for (int64_t c = a; c < b; ++c)
          body(static_cast<size_t>(c), static_cast<int32_t>(height * c / bands),
               static_cast<int32_t>(height * (c + 1) / bands));
      },
      1, bands);
}

template <typename Body>
void ForRows(int32_t width, int32_t height, int workers, Body&& body) {
  ForBands(height, BandCount(width, height, workers),
           [&](size_t, int32_t a, int32_t b) { body(a, b); });
}

// The frame with `r` rows and columns of repeated edge pixels around it.
const uint16_t* Pad(const uint16_t* frame, int32_t w, int32_t h, int32_t r,
                    std::vector<uint16_t>& padded) {
  const size_t pw = static_cast<size_t>(w) + 2 * r;
  const size_t ph = static_cast<size_t>(h) + 2 * r;
  if (padded.size() < pw * ph) padded.resize(pw * ph);
  for (size_t py = 0; py < ph; ++py) {
    const int32_t y = std::clamp(static_cast<int32_t>(py) - r, 0, h - 1);
    const uint16_t* src = frame + static_cast<size_t>(y) * w;
    uint16_t* dst = padded.data() + py * pw;
    std::fill(dst, dst + r, src[0]);
    std::memcpy(dst + r, src, static_cast<size_t>(w) * sizeof(uint16_t));
    std::fill(dst + r + w, dst + pw, src[w - 1]);
  }
  return padded.data();
}

// Compare-exchange networks built at compile time. A pair (a, b) puts the
// smaller value at place a and the larger at place b.
struct Network {
  int count = 0;
  std::pair<int, int> pairs[160] = {};
};

// A list of places whose values the network keeps in ascending order.
struct Places {
  int n = 0;
  int at[32] = {};
  constexpr Places Every(int first) const {
    Places p;
    for (int i = first; i < n; i += 2) p.at[p.n++] = at[i];
    return p;
  }
};

// Batcher's odd-even merge of two sorted lists of any lengths: merge the
// even-numbered places of both, then the odd-numbered ones, then compare each
// odd result with the next even one. Returns the places in sorted order.
constexpr Places Merge(const Places& a, const Places& b, Network& net) {
  if (a.n == 0) return b;
  if (b.n == 0) return a;
  Places out;
  if (a.n == 1 && b.n == 1) {
    net.pairs[net.count++] = {a.at[0], b.at[0]};
    out.n = 2;
    out.at[0] = a.at[0];
    out.at[1] = b.at[0];
    return out;
  }
  const Places v = Merge(a.Every(0), b.Every(0), net);
  const Places w = Merge(a.Every(1), b.Every(1), net);
  out.at[out.n++] = v.at[0];
  int i = 0;
  for (; i < w.n && i + 1 < v.n; ++i) {
    net.pairs[net.count++] = {w.at[i], v.at[i + 1]};
    out.at[out.n++] = w.at[i];
    out.at[out.n++] = v.at[i + 1];
  }
  for (; i < w.n; ++i) out.at[out.n++] = w.at[i];
  for (int k = i + 1; k < v.n; ++k) out.at[out.n++] = v.at[k];
  return out;
}

// A sorting network for n places (merge sort of halves), and the sorted
// order of its places.
constexpr Places Sort(int first, int n, Network& net) {
  Places p;
  if (n == 1) {
    p.n = 1;
    p.at[0] = first;
    return p;
  }
  const Places a = Sort(first, n / 2, net);
  const Places b = Sort(first + n / 2, n - n / 2, net);
  return Merge(a, b, net);
}

constexpr std::pair<Network, Places> SortNetwork(int n) {
  Network net;
  const Places order = Sort(0, n, net);
  return {net, order};
}

constexpr Network kSort5 = SortNetwork(5).first;
constexpr Places kSort5Order = SortNetwork(5).second;

// Five sorted columns of five (places 5c .. 5c + 4, ascending) merged into
// one sorted list of 25; .second is the place that ends up holding the
// median. The compiler drops the pairs whose results the median never reads.
constexpr std::pair<Network, int> MergeColumns5() {
  Network net;
  Places col[5];
  for (int c = 0; c < 5; ++c) {
    col[c].n = 5;
    for (int k = 0; k < 5; ++k) col[c].at[k] = 5 * c + k;
  }
  const Places ab = Merge(col[0], col[1], net);
  const Places cd = Merge(col[2], col[3], net);
  const Places abcd = Merge(ab, cd, net);
  const Places all = Merge(abcd, col[4], net);
  return {net, all.at[12]};
}

constexpr Network kMerge5 = MergeColumns5().first;
constexpr int kMerge5Median = MergeColumns5().second;

// The network's places are constants here, so the values stay in registers.
template <const Network& Net>
inline void Exchange(uint16_t* v) {
#pragma GCC unroll 160
  for (int i = 0; i < Net.count; ++i) {
    const auto [a, b] = Net.pairs[i];
    const uint16_t lo = std::min(v[a], v[b]);
    const uint16_t hi = std::max(v[a], v[b]);
    v[a] = lo;
    v[b] = hi;
  }
}

inline uint16_t Med3(uint16_t a, uint16_t b, uint16_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// Calls pixel(r0, r1, r2) for every output pixel of rows y0 .. y1 - 1, the
// three pointers at the top-left of its 3 x 3 neighbourhood in the padded
// frame's rows above, at and below it. Inlined into each filter's loop, so
// that the loop runs on vectors.
template <typename Pixel>
inline __attribute__((always_inline)) void Each3x3(const uint16_t* p, size_t pw, uint16_t* out,
                                                   int32_t w, int32_t y0, int32_t y1,
                                                   Pixel&& pixel) {
  for (int32_t y = y0; y < y1; ++y) {
    const uint16_t* r0 = p + static_cast<size_t>(y) * pw;
    const uint16_t* r1 = r0 + pw;
    const uint16_t* r2 = r1 + pw;
    uint16_t* o = out + static_cast<size_t>(y) * w;
    for (int32_t x = 0; x < w; ++x) o[x] = pixel(r0 + x, r1 + x, r2 + x);
  }
}

// With each column of three sorted (low, middle, high), the median of the nine
// is the median of the largest low, the middle middle and the smallest high.
LUMETRA_VECTOR_CLONES
void Median3Rows(const uint16_t* p, size_t pw, uint16_t* out, int32_t w, int32_t y0, int32_t y1) {
  Each3x3(p, pw, out, w, y0, y1, [](const uint16_t* r0, const uint16_t* r1, const uint16_t* r2) {
    uint16_t lo[3], mid[3], hi[3];
    for (int k = 0; k < 3; ++k) {
      const uint16_t a = r0[k], b = r1[k], c = r2[k];
      const uint16_t ab_lo = std::min(a, b), ab_hi = std::max(a, b);
      lo[k] = std::min(ab_lo, c);
      hi[k] = std::max(ab_hi, c);
      mid[k] = std::max(ab_lo, std::min(ab_hi, c));
    }
    const uint16_t max_lo = std::max(std::max(lo[0], lo[1]), lo[2]);
    const uint16_t min_hi = std::min(std::min(hi[0], hi[1]), hi[2]);
    return Med3(max_lo, Med3(mid[0], mid[1], mid[2]), min_hi);
  });
}

// Each column of five sorted once per row (`cols`: five lines of pw counts,
// rank by rank), then the five sorted columns around each pixel merged.
LUMETRA_VECTOR_CLONES
void Median5Rows(const uint16_t* __restrict p, size_t pw, uint16_t* __restrict out, int32_t w,
                 int32_t y0, int32_t y1, uint16_t* __restrict cols) {
  for (int32_t y = y0; y < y1; ++y) {
    const uint16_t* r = p + static_cast<size_t>(y) * pw;
    for (size_t x = 0; x < pw; ++x) {
      uint16_t v[5];
#pragma GCC unroll 5
      for (int k = 0; k < 5; ++k) v[k] = r[k * pw + x];
      Exchange<kSort5>(v);
#pragma GCC unroll 5
      for (int k = 0; k < 5; ++k) cols[k * pw + x] = v[kSort5Order.at[k]];
    }
    uint16_t* o = out + static_cast<size_t>(y) * w;
    for (int32_t x = 0; x < w; ++x) {
      uint16_t v[25];
#pragma GCC unroll 25
      for (int k = 0; k < 25; ++k) v[k] = cols[(k % 5) * pw + x + k / 5];
      Exchange<kMerge5>(v);
      o[x] = v[kMerge5Median];
    }
  }
}

LUMETRA_VECTOR_CLONES
void SmoothRows(const uint16_t* p, size_t pw, uint16_t* out, int32_t w, int32_t y0, int32_t y1) {
  Each3x3(p, pw, out, w, y0, y1, [](const uint16_t* r0, const uint16_t* r1, const uint16_t* r2) {
    const uint32_t s = uint32_t{r0[0]} + r0[1] + r0[2] + r1[0] + r1[1] + r1[2] + r2[0] + r2[1] +
                       r2[2];
    return static_cast<uint16_t>((s + 4) / 9);
  });
}

LUMETRA_VECTOR_CLONES
void SharpenRows(const uint16_t* p, size_t pw, uint16_t* out, int32_t w, int32_t weight,
                 int32_t y0, int32_t y1) {
  Each3x3(p, pw, out, w, y0, y1,
          [weight](const uint16_t* r0, const uint16_t* r1, const uint16_t* r2) {
            const int32_t c = r1[1];
            const int32_t ring =
                int32_t{r0[0]} + r0[1] + r0[2] + r1[0] + r1[2] + r2[0] + r2[1] + r2[2];
            // |8c - ring| <= 524280 and weight <= 1280: the product fits 32
            // bits. The shift rounds down, negative values included: halves
            // round up.
            const int32_t v = c + (((8 * c - ring) * weight + 2048) >> 12);
            return static_cast<uint16_t>(std::clamp(v, 0, 65535));
          });
}

LUMETRA_VECTOR_CLONES
void SobelRows(const uint16_t* p, size_t pw, uint16_t* out, int32_t w, int32_t y0, int32_t y1) {
  Each3x3(p, pw, out, w, y0, y1, [](const uint16_t* r0, const uint16_t* r1, const uint16_t* r2) {
    const int32_t gx =
        (int32_t{r0[2]} + 2 * r1[2] + r2[2]) - (int32_t{r0[0]} + 2 * r1[0] + r2[0]);
    const int32_t gy =
        (int32_t{r2[0]} + 2 * r2[1] + r2[2]) - (int32_t{r0[0]} + 2 * r0[1] + r0[2]);
    // The sum of squares stays below 2^38, exact in a double, and the
    // correctly rounded root of a whole number below 2^52 never reaches the
    // next whole number: truncating it gives the whole-number root.
    const double m = std::sqrt(static_cast<double>(gx) * gx + static_cast<double>(gy) * gy);
    return static_cast<uint16_t>(std::min(m, 65535.0));
  });
}

LUMETRA_VECTOR_CLONES
void AddRow(uint32_t* c, const uint16_t* add, const uint16_t* sub, int32_t w) {
  if (!sub) {
    for (int32_t x = 0; x < w; ++x) c[x] += add[x];
    return;
  }
  for (int32_t x = 0; x < w; ++x) c[x] += uint32_t{add[x]} - sub[x];
}

// box[x] = col[x] + ... + col[x + 2r]: summed afresh at every x, which runs
// on vectors, rather than as a running sum, which waits on the sum before.
LUMETRA_VECTOR_CLONES
void BoxSums(const uint32_t* __restrict col, uint32_t* __restrict box, int32_t w, int32_t r) {
  std::fill(box, box + w, 0u);
  for (int32_t k = 0; k <= 2 * r; ++k)
    for (int32_t x = 0; x < w; ++x) box[x] += col[x + k];
}

LUMETRA_VECTOR_CLONES
void SubtractMeans(const uint16_t* in, const uint32_t* box, uint32_t d, uint16_t* out, int32_t w) {
  const ExactDivider divide(d);
  const uint32_t half = d / 2;
  for (int32_t x = 0; x < w; ++x) {
    const uint32_t b = divide(box[x] + half);
    out[x] = static_cast<uint16_t>(in[x] > b ? in[x] - b : 0);
  }
}

// Rounded box means of the local background, subtracted, for rows y0 .. y1
// - 1: column sums over the rows y - r .. y + r (edge rows repeated), kept
// from row to row; along each row the box sums over the columns x - r .. x +
// r (edge columns repeated); then the division and the subtraction.
// `col` holds w + 2r sums, `box` w.
void BackgroundRows(const uint16_t* frame, uint16_t* out, int32_t w, int32_t h, int32_t r,
                    uint32_t* col, uint32_t* box, int32_t y0, int32_t y1) {
  uint32_t* c = col + r;
  auto row = [&](int32_t y) { return frame + static_cast<size_t>(std::clamp(y, 0, h - 1)) * w; };
  std::fill(c, c + w, 0u);
  for (int32_t k = y0 - r; k <= y0 + r; ++k) AddRow(c, row(k), nullptr, w);
  for (int32_t y = y0; y < y1; ++y) {
    if (y > y0) AddRow(c, row(y + r), row(y - r - 1), w);
    std::fill(col, c, c[0]);
    std::fill(c + w, c + w + r, c[w - 1]);
    BoxSums(col, box, w, r);
    SubtractMeans(row(y), box, static_cast<uint32_t>((2 * r + 1) * (2 * r + 1)),
                  out + static_cast<size_t>(y) * w, w);
  }
}

}  // namespace

int32_t SharpWeight(double strength) {
  return static_cast<int32_t>(std::lround(std::clamp(strength, 0.0, 20.0) * 64.0));
}

ExactDivider::ExactDivider(uint32_t d)
    : multiplier(((uint64_t{1} << kShift) + d - 1) / std::max<uint32_t>(d, 1)) {}

void SpatialMedian3(uint16_t* frame, int32_t w, int32_t h, FilterScratch& s, int workers) {
  if (w <= 0 || h <= 0) return;
  const uint16_t* p = Pad(frame, w, h, 1, s.padded);
  ForRows(w, h, workers,
          [&](int32_t a, int32_t b) { Median3Rows(p, static_cast<size_t>(w) + 2, frame, w, a, b); });
}

void SpatialMedian5(uint16_t* frame, int32_t w, int32_t h, FilterScratch& s, int workers) {
  if (w <= 0 || h <= 0) return;
  const uint16_t* p = Pad(frame, w, h, 2, s.padded);
  const size_t pw = static_cast<size_t>(w) + 4;
  const int bands = BandCount(w, h, workers);
  if (s.lines.size() < 5 * pw * bands) s.lines.resize(5 * pw * bands);
  ForBands(h, bands, [&](size_t band, int32_t a, int32_t b) {
    Median5Rows(p, pw, frame, w, a, b, s.lines.data() + 5 * pw * band);
  });
}

void Smooth3(uint16_t* frame, int32_t w, int32_t h, FilterScratch& s, int workers) {
  if (w <= 0 || h <= 0) return;
  const uint16_t* p = Pad(frame, w, h, 1, s.padded);
  ForRows(w, h, workers,
          [&](int32_t a, int32_t b) { SmoothRows(p, static_cast<size_t>(w) + 2, frame, w, a, b); });
}

void Sharpen(uint16_t* frame, int32_t w, int32_t h, int32_t weight, FilterScratch& s,
             int workers) {
  if (w <= 0 || h <= 0) return;
  weight = std::clamp(weight, 0, 1280);
  const uint16_t* p = Pad(frame, w, h, 1, s.padded);
  ForRows(w, h, workers, [&](int32_t a, int32_t b) {
    SharpenRows(p, static_cast<size_t>(w) + 2, frame, w, weight, a, b);
  });
}

void Sobel(uint16_t* frame, int32_t w, int32_t h, FilterScratch& s, int workers) {
  if (w <= 0 || h <= 0) return;
  const uint16_t* p = Pad(frame, w, h, 1, s.padded);
  ForRows(w, h, workers,
          [&](int32_t a, int32_t b) { SobelRows(p, static_cast<size_t>(w) + 2, frame, w, a, b); });
}

void SubtractLocalBackground(uint16_t* frame, int32_t w, int32_t h, int32_t radius,
                             FilterScratch& s, int workers) {
  if (w <= 0 || h <= 0) return;
  const int32_t r = std::clamp(radius, 1, 20);
  // The box sums read the frame unchanged: work from a copy.
  const size_t n = static_cast<size_t>(w) * h;
  if (s.padded.size() < n) s.padded.resize(n);
  std::memcpy(s.padded.data(), frame, n * sizeof(uint16_t));
  const int bands = BandCount(w, h, workers);
  const size_t stride = 2 * static_cast<size_t>(w) + 2 * r;
  if (s.sums.size() < stride * bands) s.sums.resize(stride * bands);
  ForBands(h, bands, [&](size_t band, int32_t a, int32_t b) {
    uint32_t* col = s.sums.data() + stride * band;
    BackgroundRows(s.padded.data(), frame, w, h, r, col, col + w + 2 * r, a, b);
  });
}

}  // namespace lumetra
