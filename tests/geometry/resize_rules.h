// Resizing, a destination pixel at a time.
#ifndef KELVRA_CV_TESTS_GEOMETRY_RESIZE_RULES_H_
#define KELVRA_CV_TESTS_GEOMETRY_RESIZE_RULES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace test {

inline float coordinate(int i, int source, int destination) {
  const auto s = static_cast<float>(source), d = static_cast<float>(destination);
  const float centre = static_cast<float>(i) + 0.5f;
  return i / 4 < destination / 4 ? std::fma(centre, s / d, -0.5f)
                                 : std::fma(centre * s, 1.0f / d, -0.5f);
}

struct Weights {
  int taps[4], weights[4];
};

inline Weights linear(float at, int source) {
  const int whole = static_cast<int>(std::floor(at)), left = std::max(whole, 0);
  if (left >= source - 1) return {{source - 1, 0, 0, 0}, {2048, 0, 0, 0}};
  const int first = whole < 0 ? 2048 : static_cast<int>(2048.0f + (std::floor(at) - at) * 2048.0f);
  return {{left, left + 1, 0, 0}, {first, 2048 - first, 0, 0}};
}

inline Weights cubic(float at, int source) {
  const int whole = static_cast<int>(std::floor(at));
  int base = std::max(whole, 0);
  float t = whole < 0 ? 0.0f : at - std::floor(at);
  if (base >= source - 1) {
    base = source - 2;
    t = 1;
  }
  const float u = 1.0f + t, v = 1.0f - t;
  const int k0 =
      static_cast<int>(2048.0f * (0.75f * (u * u * u) - 3.75f * (u * u) + 6.0f * u) - 6144.0f);
  const int k1 = static_cast<int>(2048.0f * (2.75f * (t * t * t) - 3.75f * (t * t) + 1.0f));
  const int k2 = static_cast<int>(2048.0f * (2.75f * (v * v * v) - 3.75f * (v * v) + 1.0f));
  const auto inside = [&](int tap) { return std::min(std::max(tap, 0), source - 1); };
  return {{inside(base - 1), inside(base), inside(base + 1), inside(base + 2)},
          {k0, k1, k2, 2048 - k0 - k1 - k2}};
}

struct Job {
  int sw, sh, dw, dh;
};

using Pixels = std::vector<uint8_t>;

inline Pixels plain_separable(const Pixels& src, const Job& job, int channels,
                              Weights (*weights_of)(float, int)) {
  Pixels dst;
  for (int y = 0; y < job.dh; ++y) {
    const Weights rows = weights_of(coordinate(y, job.sh, job.dh), job.sh);
    for (int x = 0; x < job.dw; ++x) {
      const Weights columns = weights_of(coordinate(x, job.sw, job.dw), job.sw);
      for (int c = 0; c < channels; ++c) {
        uint32_t total = 0;
        for (int j = 0; j < 4; ++j) {
          uint32_t sum = 0;
          for (int i = 0; i < 4; ++i) {
            const int sample = src[(rows.taps[j] * job.sw + columns.taps[i]) * channels + c];
            sum += static_cast<uint32_t>(sample * columns.weights[i]);
          }
          total += static_cast<uint32_t>(static_cast<int16_t>(sum >> 4) * rows.weights[j]);
        }
        dst.push_back(static_cast<uint8_t>(total >> 18));
      }
    }
  }
  return dst;
}

inline Pixels plain_nearest(const Pixels& src, const Job& job, int channels) {
  Pixels dst;
  const auto tap = [](float at, int source) {
    return std::min(std::max(static_cast<int>(std::floor(at)), 0), source - 1);
  };
  for (int y = 0; y < job.dh; ++y) {
    for (int x = 0; x < job.dw; ++x) {
      const int from = tap(coordinate(y, job.sh, job.dh), job.sh) * job.sw +
                       tap(coordinate(x, job.sw, job.dw), job.sw);
      for (int c = 0; c < channels; ++c) dst.push_back(src[from * channels + c]);
    }
  }
  return dst;
}

inline std::vector<float> plain_float(const std::vector<float>& src, const Job& job) {
  struct Neighbours {
    int left, right;
    float t;
  };
  const auto neighbours = [](int i, int source, int destination) {
    const float at = coordinate(i, source, destination), whole = std::floor(at);
    if (source == 1 || whole >= static_cast<float>(source - 1)) {
      return Neighbours{std::max(source - 2, 0), source - 1, 1};
    }
    if (whole < 0) return Neighbours{0, 1, 0};
    return Neighbours{static_cast<int>(whole), static_cast<int>(whole) + 1, at - whole};
  };
  const auto mix = [](float a, float b, float t) { return std::fma(b, t, a * (1.0f - t)); };
  std::vector<float> dst;
  for (int y = 0; y < job.dh; ++y) {
    const Neighbours v = neighbours(y, job.sh, job.dh);
    for (int x = 0; x < job.dw; ++x) {
      const Neighbours h = neighbours(x, job.sw, job.dw);
      const auto row = [&](int r) {
        return mix(src[r * job.sw + h.left], src[r * job.sw + h.right], h.t);
      };
      dst.push_back(mix(row(v.left), row(v.right), v.t));
    }
  }
  return dst;
}

// The chosen channels of pixels, in this order.
inline Pixels channels_of(const Pixels& pixels, const std::vector<int>& order, int channels = 4) {
  Pixels out;
  for (size_t i = 0; i < pixels.size(); i += channels) {
    for (const int c : order) out.push_back(pixels[i + c]);
  }
  return out;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_GEOMETRY_RESIZE_RULES_H_
