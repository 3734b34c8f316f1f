#include "spots/subpixel_fit.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace lumetra {
namespace {

constexpr int kN = kFitBox * kFitBox;
constexpr int kMaxIterations = 60;
constexpr double kMaxShift = 3.0;  // pixels from the block centre a fit may end

// Fraction of a unit Gaussian centred at `c0` falling in each pixel of a row,
// and its derivative with respect to c0.
void PixelFractions(double c0, double sigma, std::array<double, kFitBox>& e,
                    std::array<double, kFitBox>& de) {
  const double k = 1.0 / (std::sqrt(2.0) * sigma);
  const double g = 1.0 / (std::sqrt(2.0 * M_PI) * sigma);
  for (int i = 0; i < kFitBox; ++i) {
    const double lo = i - c0 - 0.5, hi = i - c0 + 0.5;
    e[static_cast<size_t>(i)] = 0.5 * (std::erf(hi * k) - std::erf(lo * k));
    de[static_cast<size_t>(i)] = g * (std::exp(-lo * lo * k * k) - std::exp(-hi * hi * k * k));
  }
}

struct Model {
  double x, y, n, b;
};

// Negative log-likelihood (without the data-only term); +inf when the model
// is not positive somewhere.
double NegLogLikelihood(const Model& m, const float* d, const uint8_t* valid, double sx,
                        double sy) {
  std::array<double, kFitBox> ex, dex, ey, dey;
  PixelFractions(m.x, sx, ex, dex);
  PixelFractions(m.y, sy, ey, dey);
  double nll = 0;
  for (int r = 0; r < kFitBox; ++r) {
    for (int c = 0; c < kFitBox; ++c) {
      const int i = r * kFitBox + c;
      if (valid && !valid[i]) continue;
      const double mu = m.b + m.n * ex[static_cast<size_t>(c)] * ey[static_cast<size_t>(r)];
      if (!(mu > 0)) return INFINITY;
      nll += mu - d[i] * std::log(mu);
    }
  }
  return nll;
}

// Gradient and Fisher information of the negative log-likelihood.
void Derivatives(const Model& m, const float* d, const uint8_t* valid, double sx, double sy,
                 double g[4], double J[4][4]) {
  std::array<double, kFitBox> ex, dex, ey, dey;
  PixelFractions(m.x, sx, ex, dex);
  PixelFractions(m.y, sy, ey, dey);
  for (int a = 0; a < 4; ++a) {
    g[a] = 0;
    for (int b = 0; b < 4; ++b) J[a][b] = 0;
  }
  for (int r = 0; r < kFitBox; ++r) {
    for (int c = 0; c < kFitBox; ++c) {
      const int i = r * kFitBox + c;
      if (valid && !valid[i]) continue;
      const size_t cu = static_cast<size_t>(c), ru = static_cast<size_t>(r);
      const double mu = std::max(m.b + m.n * ex[cu] * ey[ru], 1e-9);
      const double dm[4] = {m.n * dex[cu] * ey[ru], m.n * ex[cu] * dey[ru], ex[cu] * ey[ru], 1.0};
      const double w = 1.0 - d[i] / mu;
      for (int a = 0; a < 4; ++a) {
        g[a] += w * dm[a];
        for (int b = a; b < 4; ++b) J[a][b] += dm[a] * dm[b] / mu;
      }
    }
  }
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < a; ++b) J[a][b] = J[b][a];
}

// Solves the 4 x 4 system A s = v by Gaussian elimination with pivoting.
bool Solve4(double A[4][4], double v[4], double s[4]) {
  for (int col = 0; col < 4; ++col) {
    int piv = col;
    for (int r = col + 1; r < 4; ++r)
      if (std::fabs(A[r][col]) > std::fabs(A[piv][col])) piv = r;
    if (!(std::fabs(A[piv][col]) > 1e-300)) return false;
    std::swap(A[col], A[piv]);
    std::swap(v[col], v[piv]);
    for (int r = col + 1; r < 4; ++r) {
      const double f = A[r][col] / A[col][col];
      for (int k = col; k < 4; ++k) A[r][k] -= f * A[col][k];
      v[r] -= f * v[col];
    }
  }
  for (int r = 3; r >= 0; --r) {
    double acc = v[r];
    for (int k = r + 1; k < 4; ++k) acc -= A[r][k] * s[k];
    s[r] = acc / A[r][r];
  }
  return std::isfinite(s[0]) && std::isfinite(s[1]) && std::isfinite(s[2]) && std::isfinite(s[3]);
}

// Start values: background from the block's border, centre from the centroid
// of the counts above it.
Model StartModel(const float* d, const uint8_t* valid, SubpixelFit& centroid) {
  double border = 0;
  int nb = 0;
  for (int r = 0; r < kFitBox; ++r)
    for (int c = 0; c < kFitBox; ++c) {
      const int i = r * kFitBox + c;
      if ((valid && !valid[i]) || (r > 0 && r < kFitBox - 1 && c > 0 && c < kFitBox - 1)) continue;
      border += d[i];
      ++nb;
    }
  const double b = nb > 0 ? border / nb : 0.0;
  double sw = 0, sx = 0, sy = 0, total = 0;
  for (int r = 0; r < kFitBox; ++r)
    for (int c = 0; c < kFitBox; ++c) {
      const int i = r * kFitBox + c;
      if (valid && !valid[i]) continue;
      const double w = d[i] - b;
      total += w;
      if (w <= 0 || std::abs(r - 6) > 3 || std::abs(c - 6) > 3) continue;
      sw += w;
      sx += w * c;
      sy += w * r;
    }
  centroid.cx = sw > 0 ? std::clamp(sx / sw, 6 - kMaxShift, 6 + kMaxShift) : 6.0;
  centroid.cy = sw > 0 ? std::clamp(sy / sw, 6 - kMaxShift, 6 + kMaxShift) : 6.0;
  centroid.background = b;
  centroid.photons = total;
  return {centroid.cx, centroid.cy, std::max(total, 1.0), std::max(b, 0.5)};
}

}  // namespace

SubpixelFit FitSpotCentre(const float* block, const uint8_t* valid, double sigma_x,
                          double sigma_y) {
  SubpixelFit centroid;
  Model m = StartModel(block, valid, centroid);
  if (!(sigma_x > 0) || !(sigma_y > 0)) return centroid;
  double nll = NegLogLikelihood(m, block, valid, sigma_x, sigma_y);
  double lambda = 1e-3;
  for (int it = 0; it < kMaxIterations && std::isfinite(nll); ++it) {
    double g[4], J[4][4];
    Derivatives(m, block, valid, sigma_x, sigma_y, g, J);
    double A[4][4], v[4], s[4];
    for (int a = 0; a < 4; ++a) {
      for (int b = 0; b < 4; ++b) A[a][b] = J[a][b];
      A[a][a] *= 1.0 + lambda;
      v[a] = -g[a];
    }
    if (!Solve4(A, v, s)) break;
    const Model trial{m.x + s[0], m.y + s[1], m.n + s[2], m.b + s[3]};
    const double t =
        trial.n > 0 ? NegLogLikelihood(trial, block, valid, sigma_x, sigma_y) : INFINITY;
    if (t <= nll) {
      m = trial;
      nll = t;
      lambda = std::max(lambda * 0.1, 1e-9);
      if (std::fabs(s[0]) < 1e-4 && std::fabs(s[1]) < 1e-4) break;
    } else {
      // Near the optimum rounding alone can refuse a step; the last accepted model stands.
      lambda *= 10;
      if (lambda > 1e8) break;
    }
  }
  if (std::isfinite(nll) && std::fabs(m.x - 6) <= kMaxShift && std::fabs(m.y - 6) <= kMaxShift)
    return {m.x, m.y, m.n, m.b, true};
  return centroid;
}

int CopyFitBlock(const uint16_t* pixels, int32_t width, int32_t height, int32_t x, int32_t y,
                 float* block, uint8_t* valid) {
  int n = 0;
  for (int r = 0; r < kFitBox; ++r) {
    const int32_t yy = y - kFitBox / 2 + r;
    for (int c = 0; c < kFitBox; ++c) {
      const int32_t xx = x - kFitBox / 2 + c;
      const int i = r * kFitBox + c;
      const bool in = xx >= 0 && yy >= 0 && xx < width && yy < height;
      block[i] = in ? pixels[static_cast<int64_t>(yy) * width + xx] : 0.0f;
      valid[i] = in ? 1 : 0;
      n += in;
    }
  }
  return n;
}

}  // namespace lumetra
