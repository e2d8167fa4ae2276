// Minimum, maximum and blurs, plainly.
#ifndef KELVRA_CV_TESTS_FILTER_FILTER_RULES_H_
#define KELVRA_CV_TESTS_FILTER_FILTER_RULES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "support/guarded_buffer.h"

namespace test {

// The columns (or rows) that result x covers, of `count` in all.
inline std::pair<int, int> covered(int x, int count, int radius) {
  const int n = 2 * radius + 1;
  if (x < radius) return {0, x};
  if (x >= count - radius) return {x, std::min(x / n * n + n, count) - 1};
  return {x - radius, x + radius};
}

inline uint8_t plain_extreme(const GuardedBuffer<>& src, int x, int y, int radius, bool is_max) {
  if (radius < 0 || radius > (std::min(src.columns(), src.rows()) - 1) / 2) return src.row(y)[x];
  const auto [left, right] = covered(x, src.columns(), radius);
  const auto [top, bottom] = covered(y, src.rows(), radius);
  int extreme = is_max ? 0 : 255;
  for (int v = top; v <= bottom; ++v) {
    for (int u = left; u <= right; ++u) {
      extreme =
          is_max ? std::max<int>(extreme, src.row(v)[u]) : std::min<int>(extreme, src.row(v)[u]);
    }
  }
  return static_cast<uint8_t>(extreme);
}

using Plane = std::vector<uint8_t>;

// Pixel (x, y) with borders replicated.
inline int at(const Plane& plane, int width, int height, int x, int y) {
  return plane[static_cast<size_t>(std::clamp(y, 0, height - 1)) * width +
               std::clamp(x, 0, width - 1)];
}

inline Plane plain_box(const Plane& src, int width, int height, int radius) {
  const int n = 2 * radius + 1;
  if (radius < 1 || n > width || n > height) return src;
  Plane out(src.size());
  std::vector<int> row_sums(src.size());
  for (int i = 0; i < static_cast<int>(src.size()); ++i) {
    for (int u = -radius; u <= radius; ++u) {
      row_sums[i] += at(src, width, height, i % width + u, i / width);
    }
  }
  for (int i = 0; i < static_cast<int>(src.size()); ++i) {
    const int x = i % width, y = i / width;
    int sum = 0;
    for (int v = -radius; v <= radius; ++v) {
      sum += row_sums[std::clamp(y + v, 0, height - 1) * width + x];
    }
    const float rounded = static_cast<float>(sum) * (1.0f / static_cast<float>(n * n)) + 0.5f;
    out[i] = static_cast<uint8_t>(x < width / 8 * 8 ? static_cast<int>(rounded) : sum / (n * n));
  }
  return out;
}

// One pass of a blur whose result at (x, y) is `of` the pixels at distance -radius … radius.
template <class Of>
Plane pass(const Plane& src, int width, int height, int radius, bool along, Of of) {
  Plane out(src.size());
  for (int i = 0; i < static_cast<int>(src.size()); ++i) {
    std::vector<int> taps;
    for (int j = -radius; j <= radius; ++j) {
      taps.push_back(
          at(src, width, height, i % width + (along ? j : 0), i / width + (along ? 0 : j)));
    }
    out[i] = static_cast<uint8_t>(of(taps));
  }
  return out;
}

inline Plane plain_gaussian3(const Plane& src, int width, int height) {
  const auto of = [](const auto& t) { return (t[0] + 2 * t[1] + t[2]) / 4; };
  return pass(pass(src, width, height, 1, true, of), width, height, 1, false, of);
}

inline Plane plain_gaussian5(const Plane& src, int width, int height) {
  const auto of = [](const auto& t) { return (t[0] + 4 * t[1] + 6 * t[2] + 4 * t[3] + t[4]) / 16; };
  Plane rows = pass(src, width, height, 2, true, of);
  for (int y = 0; width >= 4 && y < height; ++y) {
    const uint8_t* end = src.data() + (y + 1) * width;
    rows[(y + 1) * width - 1] = static_cast<uint8_t>((end[-4] + 4 * end[-3] + 11 * end[-2]) / 16);
  }
  return pass(rows, width, height, 2, false, of);
}

inline Plane plain_gaussian(const Plane& src, int width, int height, int size, float sigma) {
  if (!std::isfinite(sigma)) return Plane(src.size());
  std::vector<float> weights;
  float sum = 0;
  for (int i = -(size / 2); i <= size / 2; ++i) {
    const float power = expf(static_cast<float>(-(i * i) * (0.5 / (sigma * sigma))));
    weights.push_back(static_cast<float>(power * 0.3989422804014322 / sigma));
    sum += weights.back();
  }
  const auto of = [&](const auto& taps) {
    float total = 0;
    for (int j = 0; j < size; ++j) total += static_cast<float>(taps[j]) * weights[j];
    return static_cast<int>(std::min(total * (1 / sum), 255.0f));
  };
  return pass(pass(src, width, height, size / 2, true, of), width, height, size / 2, false, of);
}

// Three boxes whose radii are the odd widths around that of a Gaussian, m of them the smaller one.
inline Plane plain_three_boxes(Plane plane, int width, int height, float sigma) {
  if (std::isnan(sigma)) return plane;
  const float square = 12 * sigma * sigma, ideal = std::floor(std::sqrt(square / 3 + 1));
  const float low = ideal - (std::fmod(ideal, 2.0f) == 0 ? 1.0f : 0.0f);
  const float m = std::round((square - 3 * low * low - 12 * low - 9) / (-4 * low - 4));
  for (int i = 0; i < 3; ++i) {
    const float radius = static_cast<float>(i) < m ? low : low + 2;
    plane = plain_box(plane, width, height, static_cast<int>(std::min(radius, 1e6f)));
  }
  return plane;
}

// The same of the first three channels of four.
inline Plane plain_three_boxes_c4(const Plane& src, int width, int height, float sigma) {
  Plane out = src, plane(src.size() / 4);
  for (int c = 0; c < 3; ++c) {
    for (size_t i = 0; i < plane.size(); ++i) plane[i] = src[4 * i + c];
    const Plane blurred = plain_three_boxes(plane, width, height, sigma);
    for (size_t i = 0; i < plane.size(); ++i) out[4 * i + c] = blurred[i];
  }
  return out;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_FILTER_FILTER_RULES_H_
