// Flood fill, boundaries and the place of a mask, plainly.
#ifndef KELVRA_CV_TESTS_SHAPE_SHAPE_RULES_H_
#define KELVRA_CV_TESTS_SHAPE_SHAPE_RULES_H_

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

#include "shape/points.h"
#include "support/guarded_buffer.h"

namespace test {

struct Filled {
  std::vector<uint8_t> mask;
  int count = 0;
  KelvraCV::Rect box{};
};

// Pixel by pixel, without any order.
inline Filled plain_fill(const KelvraCV::ImageData& image, KelvraCV::Point seed, int max_distance,
                         int threshold) {
  Filled result{std::vector<uint8_t>(static_cast<size_t>(image.width) * image.height)};
  const auto pixel = [&](int x, int y) { return image.data + y * image.stride + 4 * x; };
  int left = seed.x, right = seed.x, top = seed.y, bottom = seed.y;
  Points waiting;
  const auto visit = [&](int x, int y) {
    if (x < 0 || y < 0 || x >= image.width || y >= image.height) return;
    uint8_t& mark = result.mask[static_cast<size_t>(y) * image.width + x];
    for (int c = 0; c < 3; ++c) {
      if (std::abs(pixel(x, y)[c] - pixel(seed.x, seed.y)[c]) > threshold) return;
    }
    const double distance = std::sqrt(std::pow(x - seed.x, 2) + std::pow(y - seed.y, 2));
    if (mark != 0 || (max_distance > 0 && distance > max_distance)) return;
    mark = 255;
    ++result.count;
    left = std::min(left, x), right = std::max(right, x);
    top = std::min(top, y), bottom = std::max(bottom, y);
    waiting.push_back({x, y});
  };
  visit(seed.x, seed.y);
  while (!waiting.empty()) {
    const KelvraCV::Point p = waiting.back();
    waiting.pop_back();
    visit(p.x - 1, p.y), visit(p.x + 1, p.y), visit(p.x, p.y - 1), visit(p.x, p.y + 1);
  }
  result.box = {left, top, right - left + 1, bottom - top + 1};
  return result;
}

// Marked by the rule of its place, before the corner's mark is moved.
inline bool is_marked(const GuardedBuffer<>& mask, int x, int y) {
  const int width = mask.columns(), height = mask.rows();
  if (mask.row(y)[x] != 255) return false;
  int sum = 0, zeros = 0, neighbours = 0;
  for (int v = y - 1; v <= y + 1; ++v) {
    for (int u = x - 1; u <= x + 1; ++u) {
      if ((u == x && v == y) || u < 0 || v < 0 || u >= width || v >= height) continue;
      ++neighbours;
      sum += mask.row(v)[u];
      zeros += mask.row(v)[u] == 0;
    }
  }
  return neighbours == 8 ? sum < 2040 : zeros > 0;
}

inline std::vector<uint8_t> plain_boundary(const GuardedBuffer<>& mask) {
  const int width = mask.columns(), height = mask.rows();
  std::vector<uint8_t> marks;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) marks.push_back(is_marked(mask, x, y) ? 255 : 0);
  }
  std::swap(marks.back(), marks[static_cast<size_t>(width) * (height - 1)]);
  const bool moved = is_marked(mask, width - 1, height - 1) || is_marked(mask, 0, height - 1);
  marks.back() = 0;
  marks[static_cast<size_t>(width) * (height - 1)] = moved ? 255 : 0;
  return marks;
}

using Box = std::array<int, 4>;  // left, top, right, bottom
inline Box plain_position(const KelvraCV::ImageData& mask, int wanted) {
  Box box{INT_MAX, INT_MAX, -1, -1};
  for (int y = 0; y < mask.height; ++y) {
    for (int x = 0; x < mask.width; ++x) {
      if (mask.data[y * mask.stride + x] != wanted) continue;
      box = {std::min(box[0], x), std::min(box[1], y), std::max(box[2], x), std::max(box[3], y)};
    }
  }
  return box[2] < 0 ? Box{-1, -1, -1, -1} : box;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_SHAPE_SHAPE_RULES_H_
