// The Lab conversions of one pixel, plainly.
#ifndef KELVRA_CV_TESTS_COLOR_LAB_RULES_H_
#define KELVRA_CV_TESTS_COLOR_LAB_RULES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "kelvra_cv.h"

namespace test {

inline float linear_light(int c) {
  const auto byte = static_cast<float>(c);
  return byte * 0.003921569f > 0.04045f ? std::pow(std::fma(byte, 0.003717127f, 0.052132703f), 2.4f)
                                        : byte * 0.000303527f;
}

inline std::vector<float> light_table() {
  std::vector<float> all;
  for (int c = 0; c < 256; ++c) all.push_back(linear_light(c));
  return all;
}

inline void plain_lab(const float* light, const uint8_t* p, uint8_t* lab) {
  const float r = light[p[0]], g = light[p[1]], b = light[p[2]];
  const float sx = 0.412453f * r + 0.35758f * g + 0.180423f * b, x = sx * 1.0521111f;
  const float y = 0.212671f * r + 0.71516f * g + 0.072169f * b;
  const float sz = 0.019334f * r + 0.119193f * g + 0.950227f * b, z = sz * 0.91841704f;
  const float fx = x > 0.008856f ? std::cbrt(x) : sx * 8.19279f + 0.137931f;
  const float fy = y > 0.008856f ? std::cbrt(y) : y * 7.787f + 0.137931f;
  const float fz = z > 0.008856f ? std::cbrt(z) : sz * 7.151714f + 0.137931f;
  const float values[3] = {295.8f * fy - 40.8f, 500.0f * (fx - fy) + 128.0f,
                           200.0f * (fy - fz) + 128.0f};
  for (int k = 0; k < 3; ++k) {
    lab[k] = static_cast<uint8_t>(std::min(std::max(static_cast<int>(values[k]), 0), 255));
  }
}

struct ForwardLab {
  ForwardLab() : gamma(256), roots(1500) {
    KelvraCV::init_rgb_to_lab_fast(gamma.data(), roots.data());
  }
  void convert(const uint8_t* p, uint8_t* lab) const {
    const int r = gamma[p[0]], g = gamma[p[1]], b = gamma[p[2]];
    const int fy = roots[(223001 * r + 749899 * g + 75674 * b + 524288) >> 20];
    const int fx = roots[(432488 * r + 374949 * g + 189187 * b + 524288) >> 20];
    const int fz = roots[(20273 * r + 124982 * g + 996385 * b + 524288) >> 20];
    const int t = ((116 * fy + 512) >> 20) * 255;
    lab[0] = static_cast<uint8_t>(t < 3981 ? 0 : (t >= 29680 ? 255 : (t - 4080) / 100));
    const auto chroma = [](int u) {
      return static_cast<uint8_t>(
          u < -134218240 ? 0 : (u >= 134217216 ? 255 : ((u + 512) >> 20) + 128));
    };
    lab[1] = chroma(500 * (fx - fy));
    lab[2] = chroma(200 * (fy - fz));
  }
  std::vector<int> gamma, roots;
};

struct InverseLab {
  InverseLab() : y(256), x(65536), z(65536), gamma(4096) {
    KelvraCV::init_lab_to_rgb_fast(y.data(), x.data(), z.data(), gamma.data());
  }
  void convert(const uint8_t* lab, uint8_t* rgb) const {
    const int px = x[lab[0] * 256 + lab[1]], py = y[lab[0]], pz = z[lab[0] * 256 + lab[2]];
    const auto encode = [&](int light) {
      return static_cast<uint8_t>(gamma[std::min(std::max(light >> 6, 0), 4095)]);
    };
    rgb[0] = encode(3318 * px - 1574 * py - 510 * pz);
    rgb[1] = encode(-992 * px + 1921 * py + 42 * pz);
    rgb[2] = encode(57 * px - 209 * py + 1082 * pz);
  }
  std::vector<int> y, x, z;
  std::vector<unsigned short> gamma;
};

}  // namespace test

#endif  // KELVRA_CV_TESTS_COLOR_LAB_RULES_H_
