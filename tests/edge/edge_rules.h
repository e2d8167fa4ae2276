// Derivatives, edges, sums and equalisation, plainly.
#ifndef KELVRA_CV_TESTS_EDGE_EDGE_RULES_H_
#define KELVRA_CV_TESTS_EDGE_EDGE_RULES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "color/pixel_rules.h"
#include "filter/filter_rules.h"
#include "support/captured_log.h"
#include "support/images.h"

namespace test {

// A sample with coordinates clamped to a packed image.
struct Clamped {
  const uint8_t* samples;
  int width, height, channels = 1;
  int operator()(int x, int y, int c = 0) const {
    x = std::clamp(x, 0, width - 1);
    y = std::clamp(y, 0, height - 1);
    return samples[(static_cast<size_t>(y) * width + x) * channels + c];
  }
};

// The Sobel derivatives, straight from their definition.
inline int expected_dx(const Clamped& p, int x, int y) {
  return p(x + 1, y - 1) + 2 * p(x + 1, y) + p(x + 1, y + 1) - p(x - 1, y - 1) - 2 * p(x - 1, y) -
         p(x - 1, y + 1);
}
inline int expected_dy(const Clamped& p, int x, int y) {
  return p(x - 1, y - 1) + 2 * p(x, y - 1) + p(x + 1, y - 1) - p(x - 1, y + 1) - 2 * p(x, y + 1) -
         p(x + 1, y + 1);
}

// What a rule of a place gives for every pixel.
template <class T, class Rule>
std::vector<T> by_place(const Plane& gray, int width, int height, Rule rule) {
  const Clamped p{gray.data(), width, height};
  std::vector<T> all;
  for (int i = 0; i < width * height; ++i) {
    all.push_back(static_cast<T>(rule(p, i % width, i / width)));
  }
  return all;
}

inline Plane plain_sobel_edge(const Plane& gray, int width, int height, int level) {
  return by_place<uint8_t>(gray, width, height, [=](const Clamped& p, int x, int y) {
    return std::abs(expected_dx(p, x, y)) + std::abs(expected_dy(p, x, y)) > level ? 255 : 0;
  });
}

// The rule as it is defined, in degrees.
inline int class_of(int dx, int dy) {
  const int a = static_cast<int16_t>(std::atan2(dy, dx) * 57.29578);
  if (a >= -22 && a <= 22) return 0;
  if ((a >= 23 && a <= 67) || (a >= -157 && a <= -113)) return 45;
  if ((a >= 68 && a <= 112) || (a >= -112 && a <= -68)) return 90;
  return 135;
}

// Every step on a plane of its own.
inline Plane plain_canny(const Plane& gray, int width, int height, int low, int high) {
  const size_t pixels = gray.size();
  const Plane smooth = plain_gaussian5(gray, width, height);
  const auto dx = by_place<int16_t>(smooth, width, height, expected_dx);
  const auto dy = by_place<int16_t>(smooth, width, height, expected_dy);
  Plane edges(pixels);
  const auto magnitude = [&](size_t i) { return std::abs(dx[i]) + std::abs(dy[i]); };
  for (size_t i = 0; i < pixels; ++i) {
    const int x = static_cast<int>(i % width), y = static_cast<int>(i / width), m = magnitude(i);
    int thinned = 0;
    if (x > 0 && y > 0 && x < width - 1 && y < height - 1) {
      const int k = class_of(dx[i], dy[i]);
      const int first = k == 0 ? -1 : (k == 45 ? -width - 1 : (k == 90 ? -width : -width + 1));
      if (magnitude(i + first) < m && magnitude(i - first) <= m) thinned = m;
    }
    edges[i] = thinned >= high ? 255 : (thinned >= low ? 100 : 0);
  }
  for (int y = 1; y < height - 1; ++y) {
    for (int x = 1; x < width - 1; ++x) {
      uint8_t* pixel = &edges[static_cast<size_t>(y) * width + x];
      if (*pixel != 100) continue;
      *pixel = 0;
      for (int k = 0; k < 9; ++k) {
        if (pixel[(k / 3 - 1) * width + k % 3 - 1] == 255) *pixel = 255;
      }
    }
  }
  return edges;
}

inline Plane plain_mask_edge(const Plane& mask, int width, int height, int mode) {
  const int foreground = mode == 1 ? 0 : 255, background = 255 - foreground;
  return by_place<uint8_t>(mask, width, height, [=](const Clamped& p, int x, int y) {
    const bool frame = x == 0 || y == 0 || x == width - 1 || y == height - 1;
    const bool edge = frame || p(x - 1, y) == background || p(x + 1, y) == background ||
                      p(x, y - 1) == background || p(x, y + 1) == background;
    return p(x, y) == foreground && edge ? 255 : 0;
  });
}

inline std::vector<int> plain_integral(const Plane& src, int width, int height) {
  std::vector<int> sums(static_cast<size_t>(width + 1) * (height + 1));
  for (int i = 0; i < width * height; ++i) {
    int* const sum = &sums[i / width * (width + 1) + i % width];  // above and to the left
    sum[width + 2] = sum[width + 1] + sum[1] - sum[0] + src[i];
  }
  return sums;
}

// The next level of a pyramid.
inline Plane plain_half(const Clamped& p) {
  constexpr int kWeights[5] = {1, 4, 6, 4, 1};
  Plane half;
  for (int y = 0; y < p.height; y += 2) {
    for (int i = 0; i < (p.width + 1) / 2 * p.channels; ++i) {
      int sum = 128;
      for (int k = 0; k < 25; ++k) {
        sum += kWeights[k % 5] * kWeights[k / 5] *
               p(i / p.channels * 2 + k % 5 - 2, y + k / 5 - 2, i % p.channels);
      }
      half.push_back(static_cast<uint8_t>(sum >> 8));
    }
  }
  return half;
}

inline std::vector<uint64_t> region_mapping(std::vector<uint64_t> h, uint64_t limit,
                                            uint64_t pixels) {
  const uint64_t bins = h.size();
  uint64_t excess = 0;
  for (const uint64_t count : h) excess += count > limit ? count - limit : 0;
  const uint64_t increment = excess / bins, upper = limit - increment;
  for (uint64_t& count : h) {
    const uint64_t old = count;
    count = old > limit || old > upper ? limit : old + increment;
    if (old <= limit) excess -= old > upper ? old - upper : increment;
  }
  for (uint64_t before = excess + 1; excess > 0 && excess < before;) {
    before = excess;
    for (uint64_t start = 0; start < bins && excess > 0; ++start) {
      const uint64_t step = excess > bins ? 1 : bins / excess;
      for (uint64_t i = start; i < bins && excess > 0; i += step) {
        if (h[i] < limit) ++h[i], --excess;
      }
    }
  }
  const float reciprocal = 1.0f / static_cast<float>(pixels);
  uint64_t sum = 0;
  for (uint64_t& count : h) {
    sum += count;
    count = std::min(static_cast<unsigned>(static_cast<float>(sum) * 255 * reciprocal), 255u);
  }
  return h;
}

// Where a coordinate lies between two region centres: the regions, and the weight of the second
// one out of `span`.
struct Between {
  int first, second, offset, span;
};
inline Between between(int at, int size, int regions) {
  const int shifted = at - size / 2;
  if (shifted < 0) return {0, 0, 0, 1};
  const int block = shifted / size;
  if (block >= regions - 1) return {regions - 1, regions - 1, 0, 1};
  return {block, block + 1, shifted % size, size};
}

// Pixel by pixel, from the definition.
inline Plane plain_clahe(const Plane& gray, int width, int height, int tiles, int bins,
                         float clip) {
  const int regions = std::clamp(tiles, 2, 16), xs = width / regions, ys = height / regions;
  if (width < regions || height < regions) return gray;
  if (bins < 1) bins = 128;
  const int values = 255 / bins + 1;
  const auto pixels = static_cast<uint64_t>(xs) * ys;
  uint64_t limit = 16384;
  if (clip > 0) {
    limit = static_cast<unsigned>(static_cast<float>(pixels) * clip / static_cast<float>(bins));
    if (limit == 0) limit = 1;
  }
  std::vector<std::vector<uint64_t>> mappings;
  for (int r = 0; r < regions * regions; ++r) {
    std::vector<uint64_t> h(bins);
    for (uint64_t i = 0; i < pixels; ++i) {
      const int x = r % regions * xs + static_cast<int>(i) % xs;
      const int y = r / regions * ys + static_cast<int>(i) / xs;
      ++h[gray[static_cast<size_t>(y) * width + x] / values];
    }
    mappings.push_back(region_mapping(h, limit, pixels));
  }
  Plane result = gray;
  for (size_t i = 0; i < gray.size(); ++i) {
    const Between h = between(static_cast<int>(i) % width, xs, regions);
    const Between v = between(static_cast<int>(i) / width, ys, regions);
    const auto row = [&](int r) {
      const uint64_t left = mappings[r * regions + h.first][gray[i] / values];
      const uint64_t right = mappings[r * regions + h.second][gray[i] / values];
      return left * (h.span - h.offset) + right * h.offset;
    };
    result[i] = static_cast<uint8_t>(
        (row(v.first) * (v.span - v.offset) + row(v.second) * v.offset) / (h.span * v.span));
  }
  return result;
}

// Of colours, the value is equalised.
inline Plane plain_clahe_colour(const Plane& src, int channels, int width, int height, int tiles,
                                int bins, float clip) {
  Plane hsv = by_rule(src, channels, plain_hsv), value, out = src;
  for (size_t i = 2; i < hsv.size(); i += 3) value.push_back(hsv[i]);
  value = plain_clahe(value, width, height, tiles, bins, clip);
  for (size_t i = 0; i < value.size(); ++i) {
    hsv[3 * i + 2] = value[i];
    plain_from_hsv(&hsv[3 * i], &out[channels * i]);
  }
  return out;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_EDGE_EDGE_RULES_H_
