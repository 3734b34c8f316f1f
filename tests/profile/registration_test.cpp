#include <gtest/gtest.h>

#include <cmath>

#include "processing/registration.h"

namespace lumetra {
namespace {

// Gaussian spots (sigma 1.3 px, peak 1000) on a background of 100.
std::vector<double> BeadImage(int32_t w, int32_t h, const std::vector<PointXY>& beads) {
  std::vector<double> img(static_cast<size_t>(w) * h, 100.0);
  for (const PointXY& b : beads)
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        const double dx = x - b.x, dy = y - b.y;
        img[static_cast<size_t>(y) * w + x] += 1000 * std::exp(-(dx * dx + dy * dy) / (2 * 1.69));
      }
  return img;
}

TEST(FitAffine, RecoversAnExactTransformAndRefusesALine) {
  Affine t;
  t.c = {3.5, 1.01, -0.02, -2.25, 0.015, 0.995};
  std::vector<PointPair> pairs;
  for (PointXY a : {PointXY{10, 10}, PointXY{90, 15}, PointXY{50, 80}, PointXY{20, 60}}) {
    PointPair p{a, {}};
    t.Apply(a.x, a.y, p.b.x, p.b.y);
    pairs.push_back(p);
  }
  const auto fit = FitAffine(pairs);
  ASSERT_TRUE(fit);
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(fit->c[i], t.c[i], 1e-9) << i;
  pairs.resize(2);
  EXPECT_FALSE(FitAffine(pairs));
  pairs = {{{0, 0}, {1, 1}}, {{1, 1}, {2, 2}}, {{2, 2}, {3, 3}}, {{5, 5}, {6, 6}}};
  EXPECT_FALSE(FitAffine(pairs));
}

TEST(Registration, BeadsOfTwoChannelsGiveTheirTransform) {
  const int32_t w = 120, h = 100;
  Affine t;
  t.c = {4.3, 1.005, 0.01, -2.7, -0.01, 0.998};
  std::vector<PointXY> a, b;
  for (int i = 0; i < 14; ++i) {
    const PointXY p{12.0 + (i * 37) % 95, 10.0 + (i * 53) % 78};
    a.push_back(p);
    PointXY q;
    t.Apply(p.x, p.y, q.x, q.y);
    b.push_back(q);
  }
  // A bead only channel B sees must not disturb the match.
  b.push_back({60, 50});
  const auto found_a = FindBeads(BeadImage(w, h, a), w, h);
  const auto found_b = FindBeads(BeadImage(w, h, b), w, h);
  EXPECT_EQ(found_a.size(), a.size());
  const auto r = RegisterPoints({found_a}, {found_b}, {});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->pairs.size(), a.size());
  EXPECT_LT(r->rms_px, 0.05);
  // Where it matters, inside the frame: within 0.05 px of the true transform.
  for (PointXY p : {PointXY{0, 0}, PointXY{119, 0}, PointXY{0, 99}, PointXY{119, 99}}) {
    double x0, y0, x1, y1;
    t.Apply(p.x, p.y, x0, y0);
    r->transform.Apply(p.x, p.y, x1, y1);
    EXPECT_NEAR(x1, x0, 0.05);
    EXPECT_NEAR(y1, y0, 0.05);
  }
  EXPECT_FALSE(RegisterPoints({{{10, 10}}}, {{{50, 50}}}, {}));
}

TEST(Registration, WarpIsTheSameOnAnyNumberOfThreadsAndRoundTrips) {
  const int32_t w = 64, h = 48;
  std::vector<uint16_t> in(static_cast<size_t>(w) * h);
  for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<uint16_t>((i * 7919) % 4096);
  std::vector<uint16_t> same(in.size()), one(in.size()), two(in.size());
  WarpAffineBilinear(in.data(), same.data(), w, h, Affine{});
  EXPECT_EQ(same, in);
  Affine t;
  t.c = {1.25, 0.99, 0.03, -0.6, -0.02, 1.01};
  WarpAffineBilinear(in.data(), one.data(), w, h, t, 1);
  WarpAffineBilinear(in.data(), two.data(), w, h, t, 2);
  EXPECT_EQ(one, two);
  // A whole-pixel shift moves the pixels; what comes from outside is the mean.
  Affine shift;
  shift.c = {2, 1, 0, 0, 0, 1};
  WarpAffineBilinear(in.data(), one.data(), w, h, shift, 2);
  EXPECT_EQ(one[5], in[7]);
  double mean = 0;
  for (uint16_t v : in) mean += v;
  EXPECT_EQ(one[w - 1], static_cast<uint16_t>(std::lround(mean / in.size())));

  Registration reg;
  reg.transform = t;
  const auto back = ParseTransform(TransformText(reg));
  ASSERT_TRUE(back);
  for (size_t i = 0; i < 6; ++i) EXPECT_DOUBLE_EQ(back->c[i], t.c[i]);
  EXPECT_FALSE(ParseTransform("coefficient\tvalue\nc0\t1\nc1\tx\n"));
  EXPECT_FALSE(ParseTransform("coefficient\tvalue\nc0\t1\n"));
}

}  // namespace
}  // namespace lumetra
