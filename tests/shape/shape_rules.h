// Regions, boundaries and discs of masks, and polygons, plainly.
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

// Whether each point is foreground with background (or no pixel) on one of its four sides; with
// `all` also whether the points are all of these pixels.
inline bool are_outlines(const PointLists& lists, const GuardedBuffer<>& mask, bool all) {
  const int width = mask.columns(), height = mask.rows();
  const auto is_set = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < width && y < height && mask.row(y)[x] != 0;
  };
  const auto is_border = [&](int x, int y) {
    return is_set(x, y) &&
           !(is_set(x - 1, y) && is_set(x + 1, y) && is_set(x, y - 1) && is_set(x, y + 1));
  };
  std::vector<bool> found(static_cast<size_t>(width) * height);
  for (const Points& list : lists) {
    for (const KelvraCV::Point& p : list) {
      if (!is_border(p.x, p.y)) return false;
      found[static_cast<size_t>(p.y) * width + p.x] = true;
    }
  }
  for (int i = 0; all && i < width * height; ++i) {
    if (found[i] != is_border(i % width, i / width)) return false;
  }
  return true;
}

// Numbers the 4-connected regions pixel by pixel, from 1, in raster order.
inline std::vector<int> region_numbers(const std::vector<uint8_t>& mask, int width, int height,
                                       int& count) {
  std::vector<int> numbers(mask.size());
  Points waiting;
  count = 0;
  const auto visit = [&](int x, int y) {
    if (x < 0 || y < 0 || x >= width || y >= height) return;
    const size_t at = static_cast<size_t>(y) * width + x;
    if (mask[at] == 0 || numbers[at] != 0) return;
    numbers[at] = count;
    waiting.push_back({x, y});
  };
  for (int i = 0; i < static_cast<int>(mask.size()); ++i) {
    if (mask[i] == 0 || numbers[i] != 0) continue;
    ++count;
    visit(i % width, i / width);
    while (!waiting.empty()) {
      const KelvraCV::Point p = waiting.back();
      waiting.pop_back();
      visit(p.x - 1, p.y);
      visit(p.x + 1, p.y);
      visit(p.x, p.y - 1);
      visit(p.x, p.y + 1);
    }
  }
  return numbers;
}

inline bool near_background(const std::vector<uint8_t>& mask, int width, int height, int x, int y) {
  if (x <= 1 || y <= 1 || x >= width - 2 || y >= height - 2) return true;
  const uint8_t* pixel = &mask[static_cast<size_t>(y) * width + x];
  return pixel[-1] == 0 || pixel[1] == 0 || pixel[-width] == 0 || pixel[width] == 0;
}

inline PointLists plain_regions(const std::vector<uint8_t>& mask, int width, int height, bool all) {
  int count = 0;
  const std::vector<int> numbers = region_numbers(mask, width, height, count);
  PointLists lists(count);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int number = numbers[static_cast<size_t>(y) * width + x];
      if (number != 0 && (all || near_background(mask, width, height, x, y))) {
        lists[number - 1].push_back({x, y});
      }
    }
  }
  return lists;
}

inline std::vector<uint8_t> plain_discs(std::vector<uint8_t> mask, int width, int height,
                                        const PointLists& contours, int64_t radius) {
  for (const Points& contour : contours) {
    for (const KelvraCV::Point& point : contour) {
      for (int i = 0; i < width * height; ++i) {
        const int64_t dx = i % width - int64_t{point.x}, dy = i / width - int64_t{point.y};
        if (std::max(std::abs(dx), std::abs(dy)) >= radius) continue;
        if (dx * dx + dy * dy < radius * radius) mask[i] = 255;
      }
    }
  }
  return mask;
}

// Whether a pixel is in a polygon, in integers that hold every product.
inline bool plain_is_inside(const Points& polygon, int x, int y) {
  bool inside = false;
  for (size_t i = 0, j = polygon.size() - 1; i < polygon.size(); j = i++) {
    const KelvraCV::Point a = polygon[i], b = polygon[j];
    if (!((a.y <= y && b.y > y) || (a.y > y && b.y <= y))) continue;
    const __int128 product = static_cast<__int128>(int64_t{b.x} - a.x) * (int64_t{y} - a.y);
    if (a.x + product / (int64_t{b.y} - a.y) > x) inside = !inside;
  }
  return inside;
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
