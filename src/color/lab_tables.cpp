// The tables of the fast Lab conversions.
#include "color/lab_tables.h"

#include <cmath>

#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Where the cube gives way to a line.
constexpr float kLimit = 0.206896f;

// X or Z times 255, rounded, of f(X) or f(Z).
int inverse_entry(float f) {
  const float value = f > kLimit ? f * f * f : f * 0.1284185f - 0.017712897f;
  return static_cast<int>(value * 255.0f + 0.5f);
}

}  // namespace

// The roots and powers are double-precision ones rounded to floats: the last bits of the C
// library's own do not matter. The entries corrected at the end are as a single-precision root once
// gave them.
void init_rgb_to_lab_fast(int* gamma_table, int* cbrt_table) {
  for (size_t i = 0; i < kGammaEntries; ++i) {
    gamma_table[i] = static_cast<int>(kLinearLight[i] * 1024.0f);
  }
  for (size_t i = 0; i < kCubeRootEntries; ++i) {
    const auto t = static_cast<float>(i);
    const auto root = static_cast<float>(std::cbrt(static_cast<double>(t * 0.0009765625f)));
    cbrt_table[i] =
        static_cast<int>(i < 10 ? 7973.888f * t + 144631.64f : root * 1048576.0f + 0.5f);
  }
  for (const int i : {172, 537, 656, 1369, 1478}) ++cbrt_table[i];
  for (const int i : {257, 313, 478, 927, 1080, 1105, 1289}) --cbrt_table[i];
}

void init_lab_to_rgb_fast(int* y_table, int* x_table, int* z_table, unsigned short* gamma_table) {
  for (int i = 0; i < 256; ++i) {
    const auto l = static_cast<float>(i);
    const float fy = l * 0.00338f + 0.137931f;
    const float y = fy > kLimit ? fy * fy * fy : l * 0.00043405453f - 3.8271697e-09f;
    y_table[i] = static_cast<int>(y * 255.0f + 0.5f);
    for (int c = 0; c < 256; ++c) {
      const auto offset = static_cast<float>(c - 128);
      x_table[i * 256 + c] = inverse_entry(fy + offset * 0.002f);
      z_table[i * 256 + c] = inverse_entry(fy - offset * 0.005f);
    }
  }
  for (size_t j = 0; j < kInverseGammaEntries; ++j) {
    const auto step = static_cast<float>(j);
    const float x = step * 0.00024414062f;
    const auto power = static_cast<float>(std::pow(static_cast<double>(x), 1.0f / 2.4f));
    const float s = x > 0.0031308f ? 1.055f * power - 0.055f : step * 0.003154297f;
    gamma_table[j] = static_cast<unsigned short>(static_cast<int>(s * 255.0f));
  }
}

}  // namespace KelvraCV
