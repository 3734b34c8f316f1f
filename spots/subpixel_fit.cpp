#include "spots/subpixel_fit.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "spots/linear_solve.h"

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

constexpr int kMaxEmitters = 3;
constexpr int kMaxParams = 3 * kMaxEmitters + 1;
// A further emitter is tried where the residual of a 3 x 3 patch exceeds this
// many standard deviations of the model's noise, and kept when it lowers the
// negative log-likelihood by more than kMinGain (3 more parameters).
constexpr double kAddSigma = 5.0;
constexpr double kMinGain = 12.0;

struct Emitter {
  double x, y, n;  // centre (block pixels) and photons
};

// Spots on one flat background; parameters in the order x, y, n of each
// emitter, then the background.
struct Model {
  int k = 1;
  Emitter e[kMaxEmitters] = {};
  double b = 0;
  int Params() const { return 3 * k + 1; }
  double& P(int i) {
    return i == 3 * k ? b : (i % 3 == 0 ? e[i / 3].x : i % 3 == 1 ? e[i / 3].y : e[i / 3].n);
  }
};

struct Fractions {
  std::array<double, kFitBox> ex[kMaxEmitters], dex[kMaxEmitters], ey[kMaxEmitters],
      dey[kMaxEmitters];
};

void ModelFractions(const Model& m, double sx, double sy, Fractions& f) {
  for (int j = 0; j < m.k; ++j) {
    PixelFractions(m.e[j].x, sx, f.ex[j], f.dex[j]);
    PixelFractions(m.e[j].y, sy, f.ey[j], f.dey[j]);
  }
}

double Mu(const Model& m, const Fractions& f, size_t r, size_t c) {
  double mu = m.b;
  for (int j = 0; j < m.k; ++j) mu += m.e[j].n * f.ex[j][c] * f.ey[j][r];
  return mu;
}

// Negative log-likelihood (without the data-only term); +inf when the model
// is not positive somewhere.
double NegLogLikelihood(const Model& m, const float* d, const uint8_t* valid, double sx,
                        double sy) {
  Fractions f;
  ModelFractions(m, sx, sy, f);
  double nll = 0;
  for (size_t r = 0; r < kFitBox; ++r)
    for (size_t c = 0; c < kFitBox; ++c) {
      const size_t i = r * kFitBox + c;
      if (valid && !valid[i]) continue;
      const double mu = Mu(m, f, r, c);
      if (!(mu > 0)) return INFINITY;
      nll += mu - d[i] * std::log(mu);
    }
  return nll;
}

// Gradient and Fisher information of the negative log-likelihood.
void Derivatives(const Model& m, const float* d, const uint8_t* valid, double sx, double sy,
                 double* g, double (*J)[kMaxParams]) {
  Fractions f;
  ModelFractions(m, sx, sy, f);
  const int np = m.Params();
  for (int a = 0; a < np; ++a) {
    g[a] = 0;
    for (int b = 0; b < np; ++b) J[a][b] = 0;
  }
  double dm[kMaxParams];
  for (size_t r = 0; r < kFitBox; ++r)
    for (size_t c = 0; c < kFitBox; ++c) {
      const size_t i = r * kFitBox + c;
      if (valid && !valid[i]) continue;
      const double mu = std::max(Mu(m, f, r, c), 1e-9);
      for (int j = 0; j < m.k; ++j) {
        dm[3 * j] = m.e[j].n * f.dex[j][c] * f.ey[j][r];
        dm[3 * j + 1] = m.e[j].n * f.ex[j][c] * f.dey[j][r];
        dm[3 * j + 2] = f.ex[j][c] * f.ey[j][r];
      }
      dm[np - 1] = 1.0;
      const double w = 1.0 - d[i] / mu;
      for (int a = 0; a < np; ++a) {
        g[a] += w * dm[a];
        for (int b = a; b < np; ++b) J[a][b] += dm[a] * dm[b] / mu;
      }
    }
  for (int a = 0; a < np; ++a)
    for (int b = 0; b < a; ++b) J[a][b] = J[b][a];
}

bool Plausible(const Model& m) {
  if (!(m.b >= 0)) return false;
  for (int j = 0; j < m.k; ++j)
    if (!(m.e[j].n > 0) || m.e[j].x < -2 || m.e[j].x > kFitBox + 1 || m.e[j].y < -2 ||
        m.e[j].y > kFitBox + 1)
      return false;
  return true;
}

// Levenberg-Marquardt steps on the Fisher information until the centres
// move less than 1e-4 pixel. Returns the final negative log-likelihood.
double FitModel(Model& m, const float* d, const uint8_t* valid, double sx, double sy) {
  double nll = NegLogLikelihood(m, d, valid, sx, sy);
  double lambda = 1e-3;
  const int np = m.Params();
  for (int it = 0; it < kMaxIterations && std::isfinite(nll); ++it) {
    double g[kMaxParams], J[kMaxParams][kMaxParams];
    Derivatives(m, d, valid, sx, sy, g, J);
    double A[kMaxParams][kMaxParams], v[kMaxParams], s[kMaxParams];
    for (int a = 0; a < np; ++a) {
      for (int b = 0; b < np; ++b) A[a][b] = J[a][b];
      A[a][a] *= 1.0 + lambda;
      v[a] = -g[a];
    }
    if (!SolveLinear<kMaxParams>(A, v, s, np)) break;
    Model trial = m;
    for (int a = 0; a < np; ++a) trial.P(a) += s[a];
    const double t = Plausible(trial) ? NegLogLikelihood(trial, d, valid, sx, sy) : INFINITY;
    if (t <= nll) {
      m = trial;
      nll = t;
      lambda = std::max(lambda * 0.1, 1e-9);
      double largest = 0;
      for (int j = 0; j < m.k; ++j)
        largest = std::max({largest, std::fabs(s[3 * j]), std::fabs(s[3 * j + 1])});
      if (largest < 1e-4) break;
    } else {
      // Near the optimum rounding alone can refuse a step; the last accepted model stands.
      lambda *= 10;
      if (lambda > 1e8) break;
    }
  }
  return nll;
}

// Where the data exceed the model most: the 3 x 3 patch whose summed residual
// is largest in units of the model's standard deviation. False when no patch
// reaches kAddSigma.
bool ResidualPeak(const Model& m, const float* d, const uint8_t* valid, double sx, double sy,
                  Emitter& peak) {
  Fractions f;
  ModelFractions(m, sx, sy, f);
  double res[kN], mu[kN];
  for (size_t r = 0; r < kFitBox; ++r)
    for (size_t c = 0; c < kFitBox; ++c) {
      const size_t i = r * kFitBox + c;
      mu[i] = Mu(m, f, r, c);
      res[i] = (valid && !valid[i]) ? 0.0 : d[i] - mu[i];
    }
  double best = kAddSigma;
  bool found = false;
  for (int r = 1; r < kFitBox - 1; ++r)
    for (int c = 1; c < kFitBox - 1; ++c) {
      double sum = 0, var = 0;
      for (int dr = -1; dr <= 1; ++dr)
        for (int dc = -1; dc <= 1; ++dc) {
          const int i = (r + dr) * kFitBox + c + dc;
          sum += res[i];
          var += std::max(mu[i], 1.0);
        }
      const double z = sum / std::sqrt(var);
      if (z > best) {
        best = z;
        found = true;
        // A 3 x 3 patch holds about half the photons of a spot this size.
        peak = {static_cast<double>(c), static_cast<double>(r), 2.0 * sum};
      }
    }
  return found;
}

// Start values: background from the block's border, centre from the centroid
// of the counts above it within 3 pixels of the block centre.
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
  Model m;
  m.e[0] = {centroid.cx, centroid.cy, std::max(total, 1.0)};
  m.b = std::max(b, 0.5);
  return m;
}

// Cramér-Rao bound of emitter j's centre: the x and y diagonal elements of
// the inverse Fisher information of the whole model.
void CentreBound(const Model& m, const float* d, const uint8_t* valid, double sx, double sy, int j,
                 SubpixelFit& fit) {
  double g[kMaxParams], J[kMaxParams][kMaxParams];
  Derivatives(m, d, valid, sx, sy, g, J);
  const int np = m.Params();
  double bound[2];
  for (int axis = 0; axis < 2; ++axis) {
    double A[kMaxParams][kMaxParams], v[kMaxParams] = {}, s[kMaxParams];
    for (int a = 0; a < np; ++a)
      for (int b = 0; b < np; ++b) A[a][b] = J[a][b];
    v[3 * j + axis] = 1.0;
    if (!SolveLinear<kMaxParams>(A, v, s, np) || !(s[3 * j + axis] > 0)) return;
    bound[axis] = std::sqrt(s[3 * j + axis]);
  }
  fit.sigma_x = bound[0];
  fit.sigma_y = bound[1];
}

}  // namespace

SubpixelFit FitSpotCentre(const float* block, const uint8_t* valid, double sigma_x, double sigma_y,
                          double prefer_x, double prefer_y) {
  SubpixelFit centroid;
  Model m = StartModel(block, valid, centroid);
  if (!(sigma_x > 0) || !(sigma_y > 0)) return centroid;
  double nll = FitModel(m, block, valid, sigma_x, sigma_y);
  if (!std::isfinite(nll)) return centroid;
  // Neighbouring spots that reach into the block get emitters of their own,
  // so that they do not pull the centre of the one being measured.
  Emitter peak;
  while (m.k < kMaxEmitters && ResidualPeak(m, block, valid, sigma_x, sigma_y, peak)) {
    Model more = m;
    more.e[more.k++] = peak;
    const double t = FitModel(more, block, valid, sigma_x, sigma_y);
    if (!(t < nll - kMinGain) || !Plausible(more)) break;
    m = more;
    nll = t;
  }
  int best = 0;
  double best_d2 = INFINITY;
  for (int j = 0; j < m.k; ++j) {
    const double dx = m.e[j].x - prefer_x, dy = m.e[j].y - prefer_y;
    if (dx * dx + dy * dy < best_d2) {
      best_d2 = dx * dx + dy * dy;
      best = j;
    }
  }
  const Emitter& e = m.e[best];
  if (std::fabs(e.x - 6) > kMaxShift || std::fabs(e.y - 6) > kMaxShift) return centroid;
  SubpixelFit fit{e.x, e.y, e.n, m.b, true};
  CentreBound(m, block, valid, sigma_x, sigma_y, best, fit);
  return fit;
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
