// The conversions of one pixel to gray, and to YCbCr and HSV and back, plainly.
#ifndef KELVRA_CV_TESTS_COLOR_PIXEL_RULES_H_
#define KELVRA_CV_TESTS_COLOR_PIXEL_RULES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace test {

inline uint8_t clamp(int value) {
  return static_cast<uint8_t>(std::min(std::max(value, 0), 255));
}

inline uint8_t plain_gray(const uint8_t* p, int bgra) {
  const int red = p[bgra != 0 ? 2 : 0], blue = p[bgra != 0 ? 0 : 2];
  return static_cast<uint8_t>((19595 * red + 38469 * p[1] + 7472 * blue) / 65536);
}

inline void plain_ycbcr(const uint8_t* p, uint8_t* out) {
  out[0] = clamp((263 * p[0] + 516 * p[1] + 100 * p[2] + 16896) >> 10);
  out[1] = clamp((-152 * p[0] - 298 * p[1] + 450 * p[2] + 131584) >> 10);
  out[2] = clamp((450 * p[0] - 377 * p[1] - 73 * p[2] + 131585) >> 10);
}

inline void plain_rgb(const uint8_t* p, uint8_t* out) {
  out[0] = clamp((1192 * p[0] + 1634 * p[2] - 227759) >> 10);
  out[1] = clamp((1192 * p[0] - 401 * p[1] - 832 * p[2] + 139341) >> 10);
  out[2] = clamp((1192 * p[0] + 2066 * p[1] - 282967) >> 10);
}

inline void plain_hsv(const uint8_t* p, uint8_t* out) {
  const int r = p[0], g = p[1], b = p[2];
  const int v = std::max({r, g, b}), d = v - std::min({r, g, b});
  const int s_table = v == 0 ? 0 : 1044480 / v;
  const int h_table = d == 0 ? 0 : static_cast<int>(174762.66666666666 / d);
  const int h = v == r ? g - b : (v == g ? b - r + 2 * d : r - g + 4 * d);
  out[0] = static_cast<uint8_t>((2048 + h * h_table) >> 12);
  out[1] = static_cast<uint8_t>((2048 + d * s_table) >> 12);
  out[2] = static_cast<uint8_t>(v);
}

inline void plain_from_hsv(const uint8_t* p, uint8_t* out) {
  const float s = p[1] * 0.003921569f, v = p[2] * 0.003921569f;
  const float h6 = std::fmod(p[0] * 0.0234375f, 6.0f);
  const int i = static_cast<int>(h6);
  const float f = h6 - static_cast<float>(i);
  const float a = std::fma(-s, v, v), q = std::fma(-(f * s), v, v), t = std::fma(f * s - s, v, v);
  const float rgb[6][3] = {{v, t, a}, {q, v, a}, {a, v, t}, {a, q, v}, {t, a, v}, {v, a, q}};
  for (int k = 0; k < 3; ++k) {
    out[k] = static_cast<uint8_t>(static_cast<int>((p[1] == 0 ? v : rgb[i][k]) * 255.0f));
  }
}

// Packed pixels of `from` samples as pixels of `to`, each by a rule.
template <class Rule>
std::vector<uint8_t> by_rule(const std::vector<uint8_t>& src, int from, Rule rule, int to = 3) {
  std::vector<uint8_t> out(src.size() / from * to);
  for (size_t i = 0; i < src.size() / from; ++i) rule(&src[i * from], &out[i * to]);
  return out;
}

// Three samples a pixel as three planes, and back.
inline std::vector<uint8_t> as_planes(const std::vector<uint8_t>& interleaved, bool back = false) {
  std::vector<uint8_t> out(interleaved.size());
  const size_t count = out.size() / 3;
  for (size_t i = 0; i < out.size(); ++i) {
    const size_t in_plane = i % 3 * count + i / 3;
    back ? out[i] = interleaved[in_plane] : out[in_plane] = interleaved[i];
  }
  return out;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_COLOR_PIXEL_RULES_H_
