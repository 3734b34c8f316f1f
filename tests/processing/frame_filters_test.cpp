#include "processing/frame_filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "common/random.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

// Plain reference loops: every neighbour read through clamped coordinates.
struct Frame {
  int32_t w, h;
  std::vector<uint16_t> p;
  int64_t At(int32_t x, int32_t y) const {
    return p[static_cast<size_t>(std::clamp(y, 0, h - 1)) * w + std::clamp(x, 0, w - 1)];
  }
};

int64_t FloorDiv(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

uint16_t Clamp16(int64_t v) { return static_cast<uint16_t>(std::clamp<int64_t>(v, 0, 65535)); }

using Reference = std::function<uint16_t(const Frame&, int32_t, int32_t)>;

Reference MedianRef(int32_t r) {
  return [r](const Frame& f, int32_t x, int32_t y) {
    std::vector<int64_t> v;
    for (int32_t dy = -r; dy <= r; ++dy)
      for (int32_t dx = -r; dx <= r; ++dx) v.push_back(f.At(x + dx, y + dy));
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    return static_cast<uint16_t>(v[v.size() / 2]);
  };
}

uint16_t SmoothRef(const Frame& f, int32_t x, int32_t y) {
  int64_t s = 0;
  for (int32_t dy = -1; dy <= 1; ++dy)
    for (int32_t dx = -1; dx <= 1; ++dx) s += f.At(x + dx, y + dy);
  return static_cast<uint16_t>((s + 4) / 9);
}

Reference SharpenRef(int32_t weight) {
  return [weight](const Frame& f, int32_t x, int32_t y) {
    int64_t ring = 0;
    for (int32_t dy = -1; dy <= 1; ++dy)
      for (int32_t dx = -1; dx <= 1; ++dx)
        if (dx || dy) ring += f.At(x + dx, y + dy);
    const int64_t c = f.At(x, y);
    return Clamp16(c + FloorDiv((8 * c - ring) * weight + 2048, 4096));
  };
}

uint16_t SobelRef(const Frame& f, int32_t x, int32_t y) {
  const int64_t gx = f.At(x + 1, y - 1) + 2 * f.At(x + 1, y) + f.At(x + 1, y + 1) -
                     f.At(x - 1, y - 1) - 2 * f.At(x - 1, y) - f.At(x - 1, y + 1);
  const int64_t gy = f.At(x - 1, y + 1) + 2 * f.At(x, y + 1) + f.At(x + 1, y + 1) -
                     f.At(x - 1, y - 1) - 2 * f.At(x, y - 1) - f.At(x + 1, y - 1);
  return Clamp16(test::IntSqrt(gx * gx + gy * gy));
}

Reference BackgroundRef(int32_t r) {
  return [r](const Frame& f, int32_t x, int32_t y) {
    int64_t s = 0;
    for (int32_t dy = -r; dy <= r; ++dy)
      for (int32_t dx = -r; dx <= r; ++dx) s += f.At(x + dx, y + dy);
    const int64_t d = (2 * r + 1) * (2 * r + 1);
    const int64_t b = (s + d / 2) / d;
    const int64_t p = f.At(x, y);
    return static_cast<uint16_t>(p > b ? p - b : 0);
  };
}

using Filter = std::function<void(uint16_t*, int32_t, int32_t, FilterScratch&, int)>;

struct Case {
  const char* name;
  Filter filter;
  Reference reference;
};

std::vector<Case> Cases() {
  std::vector<Case> c = {
      {"median3", SpatialMedian3, MedianRef(1)},
      {"median5", SpatialMedian5, MedianRef(2)},
      {"smooth", Smooth3, SmoothRef},
      {"sobel", Sobel, SobelRef},
  };
  for (double strength : {0.2, 1.0, 16.0, 20.0}) {
    const int32_t wt = SharpWeight(strength);
    c.push_back({"sharpen", [wt](uint16_t* f, int32_t w, int32_t h, FilterScratch& s,
                                 int k) { Sharpen(f, w, h, wt, s, k); },
                 SharpenRef(wt)});
  }
  for (int32_t r : {1, 3, 20}) {
    c.push_back({"background",
                 [r](uint16_t* f, int32_t w, int32_t h, FilterScratch& s, int k) {
                   SubtractLocalBackground(f, w, h, r, s, k);
                 },
                 BackgroundRef(r)});
  }
  return c;
}

// Frames of several shapes (a single pixel, one row, one column, odd sizes)
// and contents (full-range noise, dim noise, flat, saturated corners), one
// scratch reused across sizes, on one thread and split over three.
TEST(FrameFilters, MatchPlainLoopsAtEveryPixelAndEdge) {
  const std::pair<int32_t, int32_t> sizes[] = {{1, 1}, {7, 1}, {1, 6}, {2, 2}, {37, 23}, {64, 5}, {45, 70}};
  Rng rng(3);
  for (const Case& c : Cases()) {
    FilterScratch scratch;
    for (const auto& [w, h] : sizes) {
      for (int content = 0; content < 3; ++content) {
        Frame f{w, h, std::vector<uint16_t>(static_cast<size_t>(w) * h)};
        for (uint16_t& v : f.p)
          v = content == 0   ? static_cast<uint16_t>(rng.Next() % 65536)
              : content == 1 ? static_cast<uint16_t>(100 + rng.Next() % 20)
                             : static_cast<uint16_t>(rng.Next() % 2 ? 65535 : 0);
        for (int workers : {1, 3}) {
          SCOPED_TRACE(::testing::Message() << c.name << " " << w << "x" << h << " content "
                                            << content << " workers " << workers);
          std::vector<uint16_t> out = f.p;
          c.filter(out.data(), w, h, scratch, workers);
          for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x)
              ASSERT_EQ(out[static_cast<size_t>(y) * w + x], c.reference(f, x, y))
                  << "at " << x << "," << y;
        }
      }
    }
  }
}

TEST(FrameFilters, KnownAnswers) {
  FilterScratch s;
  // One bright pixel in a flat field: the medians remove it, smoothing
  // spreads it, sharpening deepens the ring around it.
  std::vector<uint16_t> f(25, 100);
  f[12] = 1000;
  std::vector<uint16_t> m = f;
  SpatialMedian3(m.data(), 5, 5, s);
  EXPECT_EQ(m[12], 100);
  std::vector<uint16_t> sm = f;
  Smooth3(sm.data(), 5, 5, s);
  EXPECT_EQ(sm[12], 200);  // (8 x 100 + 1000 + 4) / 9
  EXPECT_EQ(sm[0], 100);
  std::vector<uint16_t> sh = f;
  Sharpen(sh.data(), 5, 5, SharpWeight(16), s);
  EXPECT_EQ(sh[12], 1000 + (8 * 900) / 4);  // the 12 / -1 kernel divided by 4
  EXPECT_EQ(sh[6], 0);                      // 100 - 225, clamped at 0
  EXPECT_EQ(SharpWeight(16), 1024);
  // A step edge: Sobel gives 4 x the step beside it and 0 in the flat parts;
  // a saturating step clamps at 65535.
  std::vector<uint16_t> e = {0, 0, 50000, 50000, 0, 0, 50000, 50000};
  Sobel(e.data(), 4, 2, s);
  EXPECT_EQ(e[0], 0);
  EXPECT_EQ(e[1], 65535);
  std::vector<uint16_t> e2 = {0, 0, 10, 10};
  Sobel(e2.data(), 4, 1, s);
  EXPECT_EQ(e2[1], 40);
  // A flat frame has no local background left.
  std::vector<uint16_t> flat(30, 777);
  SubtractLocalBackground(flat.data(), 6, 5, 2, s);
  EXPECT_TRUE(std::all_of(flat.begin(), flat.end(), [](uint16_t v) { return v == 0; }));
}

TEST(FrameFilters, ExactDividerIsExactOverItsRange) {
  Rng rng(5);
  for (uint32_t d = 2; d <= 2048; d += (d < 64 ? 1 : 37)) {
    const ExactDivider div(d);
    SCOPED_TRACE(d);
    for (uint32_t n : {0u, 1u, d - 1, d, d + 1, (1u << 27) - 1, (1u << 27) - d})
      ASSERT_EQ(div(n), n / d) << n;
    for (int i = 0; i < 2000; ++i) {
      const uint32_t n = rng.Next() % (1u << 27);
      ASSERT_EQ(div(n), n / d) << n;
    }
    // Around every multiple near the top of the range.
    for (uint32_t q = ((1u << 27) - 1) / d - 50; q <= ((1u << 27) - 1) / d; ++q)
      for (uint32_t n : {q * d - 1, q * d})
        if (n < (1u << 27)) {
          ASSERT_EQ(div(n), n / d) << n;
        }
  }
}

}  // namespace
}  // namespace lumetra
