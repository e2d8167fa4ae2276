// The guided and the bilateral filter, plainly.
#ifndef KELVRA_CV_TESTS_FILTER_SMOOTH_RULES_H_
#define KELVRA_CV_TESTS_FILTER_SMOOTH_RULES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "geometry/resize_rules.h"

namespace test {

using Floats = std::vector<float>;

// The bilateral filter, a line at a time.
struct PlainBilateral {
  PlainBilateral(int count, float sigma_spatial, float sigma_range) : channels(count) {
    const float scale = sigma_spatial * 255.0f;
    alpha = static_cast<float>(std::exp(-1.4142135623730951 / static_cast<double>(scale)));
    step = 0.003921569f / sigma_range;
  }
  float weight(const uint8_t* a, const uint8_t* b) const {
    int d = std::abs(a[0] - b[0]);
    if (channels > 1) d = ((d + std::abs(a[2] - b[2])) >> 2) + (std::abs(a[1] - b[1]) >> 1);
    return alpha * std::exp(-static_cast<float>(d) * step);
  }
  // Filters the line of `length` samples in `data`, with distances from `guide`.
  void line(const Pixels& guide, Pixels& data, size_t start, size_t pitch, int length) const {
    const float inv = 1.0f - alpha;
    const Pixels before = data;
    for (int c = 0; c < channels; ++c) {
      Floats f(length), n(length), g(length), m(length);
      for (int pass = 0; pass < 2; ++pass) {
        Floats &values = pass == 0 ? f : g, &weights = pass == 0 ? n : m;
        const int first = pass == 0 ? 0 : length - 1, way = pass == 0 ? 1 : -1;
        for (int k = 0, i = first; k < length; ++k, i += way) {
          const float sample = before[start + i * pitch + c];
          if (k == 0) {
            values[i] = sample;
            weights[i] = 1;
            continue;
          }
          const float w = weight(&guide[start + i * pitch], &guide[start + (i - way) * pitch]);
          values[i] = std::fma(w, values[i - way], inv * sample);
          weights[i] = std::fma(w, weights[i - way], inv);
        }
      }
      for (int i = 0; i < length; ++i) {
        data[start + i * pitch + c] =
            static_cast<uint8_t>(static_cast<int>((f[i] + g[i]) * (1.0f / (n[i] + m[i]))));
      }
    }
  }
  Pixels image(const Pixels& src, int width, int height) const {
    Pixels dst = src;
    const size_t row = static_cast<size_t>(width) * channels;
    for (int y = 0; y < height; ++y) line(src, dst, y * row, channels, width);
    for (int x = 0; x < width; ++x) line(src, dst, static_cast<size_t>(x) * channels, row, height);
    return dst;
  }
  int channels;
  float alpha, step;
};

inline Floats plain_mean(const Floats& in, int w, int h, int radius) {
  const int n = 2 * radius + 1;
  if (n > w || n > h) return in;
  const auto running = [&](size_t start, size_t pitch, int length, const Floats& from, Floats& to) {
    const auto at = [&](int i) {
      return from[start + pitch * std::min(std::max(i, 0), length - 1)];
    };
    float sum = static_cast<float>(radius + 1) * at(0);
    for (int i = 1; i <= radius; ++i) sum += at(i);
    to[start] = sum;
    for (int i = 1; i < length; ++i) {
      sum += at(i + radius);
      sum -= at(i - radius - 1);
      to[start + pitch * i] = sum;
    }
  };
  Floats rows(in.size()), sums(in.size());
  for (int y = 0; y < h; ++y) running(static_cast<size_t>(y) * w, 1, w, in, rows);
  for (int x = 0; x < w; ++x) running(x, w, h, rows, sums);
  for (float& sum : sums) sum *= 1.0f / static_cast<float>(n * n);
  return sums;
}

struct PlainGuided {
  Pixels plane(const Pixels& src, const Pixels& guide) const;
  Pixels image(const Pixels& src, int channels, const Pixels& guide, int by) const {
    Pixels out = src;
    for (int c = 0; c < std::min(channels, 3); ++c) {
      const Pixels filtered =
          plane(channels_of(src, {c}, channels), channels_of(guide, {std::min(c, by - 1)}, by));
      for (size_t i = 0; i < filtered.size(); ++i) out[i * channels + c] = filtered[i];
    }
    return out;
  }
  // As a rounded size of the statistics' image.
  int scaled(int v) const {
    return scale == 1.0f ? v : static_cast<int>(std::fma(static_cast<float>(v), scale, 0.5f));
  }
  int w, h, radius;
  float scale, eps;
};

inline Pixels PlainGuided::plane(const Pixels& src, const Pixels& guide) const {
  Floats p, i;
  for (const uint8_t byte : src) p.push_back(byte * 0.003921569f);
  for (const uint8_t byte : guide) i.push_back(byte * 0.003921569f);
  const Floats input = p;
  const int sw = scaled(w), sh = scaled(h), r = scaled(radius);
  if (scale != 1.0f) {
    p = plain_float(p, {w, h, sw, sh});
    i = plain_float(i, {w, h, sw, sh});
  }
  Floats ii(p.size()), ip(p.size());
  for (size_t k = 0; k < p.size(); ++k) ii[k] = i[k] * i[k], ip[k] = i[k] * p[k];
  const Floats mean_i = plain_mean(i, sw, sh, r), mean_p = plain_mean(p, sw, sh, r);
  const Floats corr_i = plain_mean(ii, sw, sh, r), corr_ip = plain_mean(ip, sw, sh, r);
  Floats a(p.size()), b(p.size());
  for (size_t k = 0; k < p.size(); ++k) {
    const float var = std::fma(-mean_i[k], mean_i[k], corr_i[k]);
    const float cov = std::fma(-mean_i[k], mean_p[k], corr_ip[k]);
    a[k] = cov / (var + eps);
    b[k] = std::fma(-a[k], mean_i[k], mean_p[k]);
  }
  a = plain_mean(a, sw, sh, r);
  b = plain_mean(b, sw, sh, r);
  if (scale != 1.0f) {
    a = plain_float(a, {sw, sh, w, h});
    b = plain_float(b, {sw, sh, w, h});
  }
  Pixels out;
  for (size_t k = 0; k < input.size(); ++k) {
    const float v = std::fma(a[k], input[k], b[k]) * 255.0f;
    out.push_back(static_cast<uint8_t>(v > 0 ? (v > 255 ? 255 : static_cast<int>(v)) : 0));
  }
  return out;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_FILTER_SMOOTH_RULES_H_
