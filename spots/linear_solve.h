// The small dense linear solve of the maximum-likelihood fits: Gaussian
// elimination with partial pivoting on a square block of a fixed-size array.
#pragma once

#include <cmath>
#include <utility>

namespace lumetra {

// Solves A s = v for the first n unknowns (A and v are overwritten). False
// when A is singular or a result is not finite.
template <int N>
bool SolveLinear(double (*A)[N], double* v, double* s, int n) {
  for (int col = 0; col < n; ++col) {
    int piv = col;
    for (int r = col + 1; r < n; ++r)
      if (std::fabs(A[r][col]) > std::fabs(A[piv][col])) piv = r;
    if (!(std::fabs(A[piv][col]) > 1e-300)) return false;
    std::swap(A[col], A[piv]);
    std::swap(v[col], v[piv]);
    for (int r = col + 1; r < n; ++r) {
      const double q = A[r][col] / A[col][col];
      for (int k = col; k < n; ++k) A[r][k] -= q * A[col][k];
      v[r] -= q * v[col];
    }
  }
  for (int r = n - 1; r >= 0; --r) {
    double acc = v[r];
    for (int k = r + 1; k < n; ++k) acc -= A[r][k] * s[k];
    s[r] = acc / A[r][r];
    if (!std::isfinite(s[r])) return false;
  }
  return true;
}

}  // namespace lumetra
