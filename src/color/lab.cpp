// sRGB to CIE L*a*b* (D65) in single precision.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "color/linear_light.h"
#include "core/numeric.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Sums of linear light by the rows of the XYZ matrix; X and Z are divided by the white point after.
constexpr float kX[3] = {0.412453f, 0.35758f, 0.180423f}, kXScale = 1.0521111f;
constexpr float kY[3] = {0.212671f, 0.71516f, 0.072169f};
constexpr float kZ[3] = {0.019334f, 0.119193f, 0.950227f}, kZScale = 0.91841704f;

// f(t) is the cube root above the limit and a line below it. The lines of X and Z start from the
// sums before their division: its factor is part of their slope.
constexpr float kLimit = 0.008856f, kOffset = 0.137931f;
constexpr float kXSlope = 8.19279f, kYSlope = 7.787f, kZSlope = 7.151714f;

void convert_pixel(const uint8_t* rgb, uint8_t* lab) {
  const float r = kLinearLight[rgb[0]], g = kLinearLight[rgb[1]], b = kLinearLight[rgb[2]];
  const auto sum = [&](const float(&row)[3]) { return row[0] * r + row[1] * g + row[2] * b; };
  const auto f = [](float t, float unscaled, float slope) {
    return t > kLimit ? std::cbrt(t) : unscaled * slope + kOffset;
  };
  const float x = sum(kX), y = sum(kY), z = sum(kZ);
  const float fx = f(x * kXScale, x, kXSlope), fy = f(y, y, kYSlope),
              fz = f(z * kZScale, z, kZSlope);
  lab[0] = truncate_byte(295.8f * fy - 40.8f);
  lab[1] = truncate_byte(500.0f * (fx - fy) + 128.0f);
  lab[2] = truncate_byte(200.0f * (fy - fz) + 128.0f);
}

using D = Full<float>;
using V = hn::Vec<D>;
constexpr int kLanes = static_cast<int>(hn::MaxLanes(D()));

// The cube root of 0.008856 < t < 1.1 within 4e-7 of itself: a third of the exponent, by way of the
// number's bits, and two steps of Halley's method, each of which triples the right digits.
HWY_INLINE V cube_root(V t) {
  const D d;
  const hn::Rebind<int32_t, D> d32;
  const auto bits = hn::ConvertTo(d, hn::BitCast(d32, t));
  V root = hn::BitCast(d, truncate_fitting(bits * hn::Set(d, 1.0f / 3) + hn::Set(d, 709921077.0f)));
  for (int i = 0; i < 2; ++i) {
    const V cube = root * root * root;
    root = root - root * (cube - t) / (cube + cube + t);
  }
  return root;
}

// A vector of pixels. `lab` gets its bytes; false if a value is so close to a whole number that the
// rounding of the cube roots could decide which byte it is.
//
// The cube roots and those of the C library are within 4e-7 + 1e-7 of each other, as are the f's,
// which are below 1.04. So L is within 3e-4 of what it would be with them, and a within 6e-4, its
// own roundings included; kDoubt is more.
constexpr float kDoubt = 1e-3f;

HWY_INLINE bool convert_vector(const float (&light)[3][kLanes], int32_t (&lab)[3][kLanes]) {
  const D d;
  const hn::Rebind<int32_t, D> d32;
  const V r = hn::Load(d, light[0]), g = hn::Load(d, light[1]), b = hn::Load(d, light[2]);
  const auto sum = [&](const float(&row)[3]) {
    return hn::Set(d, row[0]) * r + hn::Set(d, row[1]) * g + hn::Set(d, row[2]) * b;
  };
  const auto f = [&](V t, V unscaled, float slope) {
    return hn::IfThenElse(t > hn::Set(d, kLimit), cube_root(t),
                          unscaled * hn::Set(d, slope) + hn::Set(d, kOffset));
  };
  const V x = sum(kX), y = sum(kY), z = sum(kZ);
  const V fx = f(x * hn::Set(d, kXScale), x, kXSlope), fy = f(y, y, kYSlope),
          fz = f(z * hn::Set(d, kZScale), z, kZSlope);
  const V values[3] = {hn::Set(d, 295.8f) * fy - hn::Set(d, 40.8f),
                       hn::Set(d, 500.0f) * (fx - fy) + hn::Set(d, 128.0f),
                       hn::Set(d, 200.0f) * (fy - fz) + hn::Set(d, 128.0f)};
  auto is_doubtful = hn::FirstN(d, 0);
  for (int k = 0; k < 3; ++k) {
    const V limited = hn::Min(hn::Max(values[k], hn::Zero(d)), hn::Set(d, 255.0f));
    hn::Store(truncate_fitting(limited), d32, lab[k]);
    const V distance = hn::Abs(values[k] - hn::Round(values[k]));
    is_doubtful = hn::Or(is_doubtful, distance < hn::Set(d, kDoubt));
  }
  return hn::AllFalse(d, is_doubtful);
}

}  // namespace

void rgb_to_lab(unsigned char* src, unsigned char* dst, int width, int height) {
  if (width < 1 || height < 1) return;
  const size_t count = static_cast<size_t>(width) * height;
  size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    const uint8_t* const rgb = src + 3 * i;
    uint8_t* const out = dst + 3 * i;
    alignas(64) float light[3][kLanes];
    alignas(64) int32_t lab[3][kLanes];
    for (int p = 0; p < kLanes; ++p) {
      for (int k = 0; k < 3; ++k) light[k][p] = kLinearLight[rgb[3 * p + k]];
    }
    const bool is_certain = convert_vector(light, lab);
    uint8_t bytes[3 * kLanes];
    for (int p = 0; p < kLanes; ++p) {
      for (int k = 0; k < 3; ++k) bytes[3 * p + k] = static_cast<uint8_t>(lab[k][p]);
      if (!is_certain) convert_pixel(rgb + 3 * p, bytes + 3 * p);
    }
    std::memcpy(out, bytes, sizeof bytes);
  }
  for (; i < count; ++i) {
    uint8_t lab[3];
    convert_pixel(src + 3 * i, lab);
    std::memcpy(dst + 3 * i, lab, 3);
  }
}

}  // namespace KelvraCV
