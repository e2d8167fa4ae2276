// Affine and perspective matrices: made from a rotation or from pairs of points, and inverted.
//
// Sums and determinants are in double precision, where products of two floats or two coordinates
// are exact, and become float at the end; the affine inverse is in single precision throughout.
#include <cmath>
#include <cstddef>
#include <utility>

#include "geometry/adjugate.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

constexpr float kRadiansPerDegree = 0.017453292f;

constexpr int kLanes = 8;

// What the least-squares fit of (x, y) onto (u, v) needs to know about the pairs. Pair i is summed
// in lane i % 8 and the lanes are added in one order, so that every machine rounds alike.
struct PairSums {
  double x[kLanes] = {}, y[kLanes] = {}, xx_yy[kLanes] = {};
  double u[kLanes] = {}, v[kLanes] = {}, ux_vy[kLanes] = {}, vx_uy[kLanes] = {};

  void add(const float* from, const float* to, int lane) {
    const double x_i = from[0], y_i = from[1], u_i = to[0], v_i = to[1];
    x[lane] += x_i;
    y[lane] += y_i;
    xx_yy[lane] += x_i * x_i + y_i * y_i;
    u[lane] += u_i;
    v[lane] += v_i;
    ux_vy[lane] += u_i * x_i + v_i * y_i;
    vx_uy[lane] += v_i * x_i - u_i * y_i;
  }
};

double total(const double (&lane)[kLanes]) {
  return ((lane[0] + lane[4]) + (lane[2] + lane[6])) + ((lane[1] + lane[5]) + (lane[3] + lane[7]));
}

PairSums sum_pairs(const float* src, const float* dst, int n) {
  PairSums sums;
  int i = 0;
  for (; n - i >= kLanes; i += kLanes) {
    const float* from = src + static_cast<ptrdiff_t>(i) * 2;
    const float* to = dst + static_cast<ptrdiff_t>(i) * 2;
    for (int lane = 0; lane < kLanes; ++lane) sums.add(from + lane * 2, to + lane * 2, lane);
  }
  for (int lane = 0; i < n; ++i, ++lane) {
    const ptrdiff_t at = static_cast<ptrdiff_t>(i) * 2;
    sums.add(src + at, dst + at, lane);
  }
  return sums;
}

constexpr int kUnknowns = 8;
using Equations = double[kUnknowns][kUnknowns + 1];  // coefficients, then the right-hand side

// Gaussian elimination with partial pivoting. A singular system gives infinities or NaNs.
void solve(Equations& rows, double (&solution)[kUnknowns]) {
  for (int k = 0; k < kUnknowns; ++k) {
    int pivot = k;
    for (int i = k + 1; i < kUnknowns; ++i) {
      if (std::fabs(rows[i][k]) > std::fabs(rows[pivot][k])) pivot = i;
    }
    if (pivot != k) std::swap(rows[k], rows[pivot]);
    for (int i = k + 1; i < kUnknowns; ++i) {
      const double factor = rows[i][k] / rows[k][k];
      for (int j = k; j <= kUnknowns; ++j) rows[i][j] -= factor * rows[k][j];
    }
  }
  for (int k = kUnknowns - 1; k >= 0; --k) {
    double rest = rows[k][kUnknowns];
    for (int j = k + 1; j < kUnknowns; ++j) rest -= rows[k][j] * solution[j];
    solution[k] = rest / rows[k][k];
  }
}

}  // namespace

void get_rotation_matrix(float angle, float scale, float cx, float cy, float* M) {
  const float radians = angle * kRadiansPerDegree;
  const float a = std::cos(radians) * scale, b = std::sin(radians) * scale;
  M[0] = a;
  M[1] = b;
  M[2] = (1.0f - a) * cx - b * cy;
  M[3] = -b;
  M[4] = a;
  M[5] = b * cx + (1.0f - a) * cy;
}

void get_affine_transform(const Point* src, const Point* dst, float* M) {
  const double x0 = src[0].x, x1 = src[1].x, x2 = src[2].x;
  const double y0 = src[0].y, y1 = src[1].y, y2 = src[2].y;
  const double determinant = x0 * (y1 - y2) + x1 * (y2 - y0) + x2 * (y0 - y1);
  // The row (p, q, r) with p x + q y + r = t at each of the three points.
  const auto solve_row = [&](double t0, double t1, double t2, float* row) {
    row[0] = static_cast<float>((t0 * (y1 - y2) + t1 * (y2 - y0) + t2 * (y0 - y1)) / determinant);
    row[1] = static_cast<float>((t0 * (x2 - x1) + t1 * (x0 - x2) + t2 * (x1 - x0)) / determinant);
    row[2] = static_cast<float>(
        (t0 * (x1 * y2 - x2 * y1) + t1 * (x2 * y0 - x0 * y2) + t2 * (x0 * y1 - x1 * y0)) /
        determinant);
  };
  solve_row(dst[0].x, dst[1].x, dst[2].x, M);
  solve_row(dst[0].y, dst[1].y, dst[2].y, M + 3);
}

void get_affine_transform(const float* src, const float* dst, int n, float* M) {
  const PairSums sums = sum_pairs(src, dst, n);
  const double count = n < 0 ? 0 : n;
  const double x = total(sums.x), y = total(sums.y), xx_yy = total(sums.xx_yy);
  const double u = total(sums.u), v = total(sums.v);
  const double ux_vy = total(sums.ux_vy), vx_uy = total(sums.vx_uy);
  // The normal equations in a, b, tx, ty, by Cramer's rule with their common factor cancelled.
  const double determinant = count * xx_yy - x * x - y * y;
  const auto a = static_cast<float>((count * ux_vy - x * u - y * v) / determinant);
  const auto b = static_cast<float>((count * vx_uy + y * u - x * v) / determinant);
  M[0] = a;
  M[1] = -b;
  M[2] = static_cast<float>((xx_yy * u - x * ux_vy + y * vx_uy) / determinant);
  M[3] = b;
  M[4] = a;
  M[5] = static_cast<float>((xx_yy * v - y * ux_vy - x * vx_uy) / determinant);
}

void invert_affine_transform(const float* M, float* iM) {
  const float determinant = std::fma(M[0], M[4], -(M[1] * M[3]));
  const float reciprocal = determinant == 0.0f ? 0.0f : 1.0f / determinant;
  const float a11 = M[4] * reciprocal, a12 = -M[1] * reciprocal;
  const float a21 = -M[3] * reciprocal, a22 = M[0] * reciprocal;
  const float b1 = -a11 * M[2] - a12 * M[5], b2 = -a21 * M[2] - a22 * M[5];
  iM[0] = a11;
  iM[1] = a12;
  iM[2] = b1;
  iM[3] = a21;
  iM[4] = a22;
  iM[5] = b2;
}

void get_perspective_transform(const float* src, const float* dst, float* H) {
  // From u = (H0 x + H1 y + H2) / (H6 x + H7 y + 1), and v likewise: two equations for each pair,
  // H0 x + H1 y + H2 - u x H6 - u y H7 = u and H3 x + H4 y + H5 - v x H6 - v y H7 = v.
  Equations rows = {};
  for (int i = 0; i < 4; ++i) {
    const double x = src[2 * i], y = src[2 * i + 1];
    for (int axis = 0; axis < 2; ++axis) {
      double* row = rows[2 * i + axis];
      const double target = dst[2 * i + axis];
      row[3 * axis] = x;
      row[3 * axis + 1] = y;
      row[3 * axis + 2] = 1;
      row[6] = -target * x;
      row[7] = -target * y;
      row[8] = target;
    }
  }
  double solution[kUnknowns];
  solve(rows, solution);
  for (int i = 0; i < kUnknowns; ++i) H[i] = static_cast<float>(solution[i]);
  H[8] = 1.0f;
}

void invert_perspective_transform(const float* H, float* iH) {
  double inverse[9];
  detail::adjugate(H, inverse);
  for (int i = 0; i < 9; ++i) iH[i] = static_cast<float>(inverse[i] / inverse[8]);
}

}  // namespace KelvraCV
