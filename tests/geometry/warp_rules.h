// Warping, a destination pixel at a time.
#ifndef KELVRA_CV_TESTS_GEOMETRY_WARP_RULES_H_
#define KELVRA_CV_TESTS_GEOMETRY_WARP_RULES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "geometry/resize_rules.h"
#include "kelvra_cv.h"

namespace test {

struct PlainWarp {
  // The result in `dst`, which holds what was there before.
  Pixels image(const Pixels& src, Pixels dst) const {
    for (int i = 0; i < job.dw * job.dh; ++i) {
      const auto [x, y] = place(i % job.dw, i / job.dw);
      for (int c = 0; c < channels; ++c) {
        uint8_t& sample = dst[i * channels + c];
        sample = blend(src, c, x, y, sample);
      }
    }
    return dst;
  }

  Job job;
  int channels;
  bool perspective;
  const float* matrix;
  int border;
  unsigned int fill;

 private:
  // 10 fractional bits; what is no number is far outside.
  static int64_t fixed(double value) {
    constexpr double kFar = 1 << 30;
    if (std::isnan(value)) return -(1 << 30);
    return static_cast<int64_t>(std::floor(std::clamp(value * 1024, -kFar, kFar - 1) + 0.5));
  }

  // The documented source place of a destination pixel.
  std::pair<int64_t, int64_t> place(int x, int y) const {
    const double u = x + 0.5, v = y + 0.5;
    double a[9] = {};
    if (perspective) {
      for (int i = 0; i < 9; ++i) {  // the transposed cofactors
        const int r0 = (i % 3 + 1) % 3, r1 = (i % 3 + 2) % 3;
        const int c0 = (i / 3 + 1) % 3, c1 = (i / 3 + 2) % 3;
        a[i] = double{matrix[r0 * 3 + c0]} * matrix[r1 * 3 + c1] -
               double{matrix[r0 * 3 + c1]} * matrix[r1 * 3 + c0];
      }
      if (matrix[0] * a[0] + matrix[1] * a[3] + matrix[2] * a[6] == 0) a[8] = NAN;
    } else {
      float inverse[6];
      KelvraCV::invert_affine_transform(matrix, inverse);
      std::copy_n(inverse, 6, a);
      a[8] = std::all_of(a, a + 6, [](double part) { return part == 0; }) ? NAN : 1;
      if (a[8] == 1 && (std::fabs(a[0]) + std::fabs(a[3])) * job.dw < 524288) {
        const auto sum = [&](const double* row) {
          return fixed(row[0] * x) + fixed(row[0] * 0.5 + row[1] * v + row[2] - 0.5);
        };
        return {sum(a), sum(a + 3)};
      }
    }
    const double w = a[6] * u + a[7] * v + a[8];
    return {fixed((a[0] * u + a[1] * v + a[2]) / w - 0.5),
            fixed((a[3] * u + a[4] * v + a[5]) / w - 0.5)};
  }

  // One channel of one pixel by the formulas, from taps that are looked up one by one.
  uint8_t blend(const Pixels& src, int channel, int64_t x, int64_t y, uint8_t before) const {
    const int64_t left = x >> 10, top = y >> 10, fx = x & 1023, fy = y & 1023;
    bool all_inside = true;
    const auto tap = [&](int64_t dx, int64_t dy) -> int64_t {
      if ((dx == 1 && fx == 0) || (dy == 1 && fy == 0)) return 0;  // has no weight
      const int64_t column = std::clamp<int64_t>(left + dx, 0, job.sw - 1);
      const int64_t row = std::clamp<int64_t>(top + dy, 0, job.sh - 1);
      const bool inside = column == left + dx && row == top + dy;
      all_inside = all_inside && inside;
      return inside || border == 1 ? src[(row * job.sw + column) * channels + channel]
                                   : fill >> (8 * channel) & 255;
    };
    const int64_t upper = (tap(0, 0) * (1024 - fx) + tap(1, 0) * fx) >> 3;
    const int64_t lower = (tap(0, 1) * (1024 - fx) + tap(1, 1) * fx) >> 3;
    if (border == 2 && !all_inside) return before;
    return static_cast<uint8_t>((upper * (1024 - fy) + lower * fy + 65536) >> 17);
  }
};

}  // namespace test

#endif  // KELVRA_CV_TESTS_GEOMETRY_WARP_RULES_H_
