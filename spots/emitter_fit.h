// Maximum-likelihood fit of several spots at once: pixel-integrated 2D
// Gaussians of known width on one flat background, fitted to a rectangular
// patch of counts under Poisson noise by Levenberg-Marquardt steps on the
// Fisher information. Also gives the Cramér-Rao bound of each centre, the
// smallest standard deviation any unbiased estimate can reach for that model.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace lumetra {

inline constexpr int kMaxGroupEmitters = 8;          // spots fitted together
inline constexpr int kMaxPatchSide = 64;             // pixels a patch may span
inline constexpr int kMaxFitParams = 3 * kMaxGroupEmitters + 1;

// Counts of a patch, row-major, `width` x `height` (at most kMaxPatchSide
// each); `use` marks the pixels the likelihood sums over (null: all).
struct FitPatch {
  const float* counts = nullptr;
  const uint8_t* use = nullptr;
  int width = 0, height = 0;
};

struct Emitter {
  double x = 0, y = 0;  // centre in patch pixels (pixel centres at whole numbers)
  double photons = 0;   // counts in the whole spot
};

struct EmitterModel {
  int k = 0;
  std::array<Emitter, kMaxGroupEmitters> e{};
  double background = 0;  // counts/pixel
};

// Scratch buffers of the fit, kept between calls: one per thread.
class EmitterFitter {
 public:
  // Fits `m` (start values in, result out) with the Gaussian sigma in pixels
  // along x and y. Returns the negative log-likelihood (data-only terms left
  // out), +inf when the model could not be evaluated. `converged` says
  // whether the centres settled within the iteration limit.
  double Fit(const FitPatch& patch, double sx, double sy, EmitterModel& m, bool& converged);
  // Negative log-likelihood of `m` as it stands.
  double NegLogLikelihood(const FitPatch& patch, double sx, double sy, const EmitterModel& m);
  // Cramér-Rao bound of every emitter's centre (pixels, k values each) from
  // the Fisher information of the whole model; NaN where it is singular.
  // False when any is.
  bool CentreBounds(const FitPatch& patch, double sx, double sy, const EmitterModel& m,
                    double* sigma_x, double* sigma_y);
  // The 3 x 3 block of the patch whose summed residual is largest in units of
  // the model's noise, when it exceeds `min_sigmas`; its centre and about the
  // photons a spot there would need. Pixels of the block must all be in use.
  bool ResidualPeak(const FitPatch& patch, double sx, double sy, const EmitterModel& m,
                    double min_sigmas, Emitter& peak);
  // Pearson's chi-square of the pixels in use within 2 pixels of emitter j
  // (about their count when the model holds), and that count in `pixels`.
  double LocalMisfit(const FitPatch& patch, double sx, double sy, const EmitterModel& m, int j,
                     int& pixels);

 private:
  void Fractions(const FitPatch& patch, double sx, double sy, const EmitterModel& m);
  double Mu(const EmitterModel& m, int r, int c) const;
  // Gradient and Fisher information; false when the model is not positive.
  void Derivatives(const FitPatch& patch, const EmitterModel& m, double* g,
                   double (*J)[kMaxFitParams]);

  // Per emitter: the fraction of its photons in each column and row, and
  // their derivatives as its centre moves.
  std::array<std::array<double, kMaxPatchSide>, kMaxGroupEmitters> ex_, dex_, ey_, dey_;
};

}  // namespace lumetra
