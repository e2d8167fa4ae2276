// sRGB to CIE L*a*b* (D65) in single precision.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "color/lab_exceptions.h"
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
    const auto root = [&] { return static_cast<float>(std::cbrt(static_cast<double>(t))); };
    return t > kLimit ? root() : unscaled * slope + kOffset;
  };
  const float x = sum(kX), y = sum(kY), z = sum(kZ);
  const float fx = f(x * kXScale, x, kXSlope), fy = f(y, y, kYSlope),
              fz = f(z * kZScale, z, kZSlope);
  lab[0] = truncate_byte(295.8f * fy - 40.8f);
  lab[1] = truncate_byte(500.0f * (fx - fy) + 128.0f);
  lab[2] = truncate_byte(200.0f * (fy - fz) + 128.0f);
  correct_lab(rgb, lab);
}

using D = Full<float>;
using V = hn::Vec<D>;
constexpr int kFloats = static_cast<int>(hn::MaxLanes(D()));
constexpr int kLanes = static_cast<int>(hn::MaxLanes(Full<uint8_t>()));

// What each byte of each colour adds to X, Y and Z: with the roundings of convert_pixel().
struct Parts {
  alignas(16) float of[3][256][4] = {};

  constexpr Parts() {
    for (int k = 0; k < 3; ++k) {
      for (int i = 0; i < 256; ++i) {
        of[k][i][0] = kX[k] * kLinearLight[i];
        of[k][i][1] = kY[k] * kLinearLight[i];
        of[k][i][2] = kZ[k] * kLinearLight[i];
      }
    }
  }
};
constexpr Parts kParts;

// The cube root of 2^-7 <= t < 2 within 2e-7 of itself: that of the mantissa m by a polynomial in
// m - 1.5, wrong by 4e-8, times that of the power of two. The polynomial goes through the cube root
// at the eight Chebyshev nodes.
HWY_INLINE V cube_root(V t) {
  const D d;
  const hn::Rebind<int32_t, D> d32;
  alignas(32) static constexpr float kPowers[8] = {
      0.19842513f, 0.25f, 0.31498026f, 0.39685026f, 0.5f, 0.62996052f, 0.79370053f, 1.0f};
  const auto bits = hn::BitCast(d32, t);
  const auto mantissa = hn::Or(hn::And(bits, hn::Set(d32, 0x7fffff)), hn::Set(d32, 0x3f800000));
  const V u = hn::BitCast(d, mantissa) - hn::Set(d, 1.5f);
  V root = hn::Set(d, 0.0014999375f);
  for (const float coefficient : {-0.0027568924f, 0.0045124321f, -0.0092407561f, 0.020938569f,
                                  -0.056532366f, 0.25438093f, 1.1447143f}) {
    root = hn::MulAdd(root, u, hn::Set(d, coefficient));
  }
  return root * look_up8(d, kPowers, hn::ShiftRight<23>(bits));
}

// A value this close to a whole number may become another byte with the C library's cube roots.
//
// Those are within 1.2e-7 of the true ones, so that both are within 3.2e-7 of each other, and f is
// below 1.01: L within 1e-4 and its roundings 6e-5, a within 3.3e-4 and 6e-5, b within less.
constexpr float kDoubt = 4e-4f;

// The bytes of a vector of pixels as integers, not yet clamped, from their X, Y and Z; the bits of
// those in doubt are set in what it returns.
HWY_INLINE unsigned convert_vector(const float* xyz, hn::Vec<hn::Rebind<int32_t, D>> (&lab)[3]) {
  const D d;
  V x, y, z, unused;
  hn::LoadInterleaved4(d, xyz, x, y, z, unused);
  const auto f = [&](V t, V unscaled, float slope) {
    return hn::IfThenElse(t > hn::Set(d, kLimit), cube_root(t),
                          unscaled * hn::Set(d, slope) + hn::Set(d, kOffset));
  };
  const V fx = f(x * hn::Set(d, kXScale), x, kXSlope), fy = f(y, y, kYSlope),
          fz = f(z * hn::Set(d, kZScale), z, kZSlope);
  const V values[3] = {hn::Set(d, 295.8f) * fy - hn::Set(d, 40.8f),
                       hn::Set(d, 500.0f) * (fx - fy) + hn::Set(d, 128.0f),
                       hn::Set(d, 200.0f) * (fy - fz) + hn::Set(d, 128.0f)};
  V least = hn::Set(d, 1.0f);
  for (int k = 0; k < 3; ++k) {
    lab[k] = truncate_fitting(values[k]);
    least = hn::Min(least, hn::Abs(values[k] - hn::Round(values[k])));
  }
  uint8_t doubtful = 0;
  hn::StoreMaskBits(d, least < hn::Set(d, kDoubt), &doubtful);
  return doubtful;
}

// The latest pixels in doubt. Grays are always in doubt, as their a and b are very nearly 128.
class Recent {
 public:
  void convert(const uint8_t* rgb, uint8_t* lab) {
    Entry& entry = entries_[rgb[1]];
    if (!entry.is_used || std::memcmp(entry.rgb, rgb, 3) != 0) {
      std::memcpy(entry.rgb, rgb, 3);
      convert_pixel(rgb, entry.lab);
      entry.is_used = true;
    }
    std::memcpy(lab, entry.lab, 3);
  }

 private:
  struct Entry {
    uint8_t rgb[3], lab[3];
    bool is_used;
  };
  Entry entries_[256] = {};
};

// X, Y and Z of `count` pixels.
void look_up(const uint8_t* rgb, size_t count, float (*xyz)[4]) {
  const Block<float> d;
  for (size_t i = 0; i < count; ++i, rgb += 3) {
    const auto sum = hn::Load(d, kParts.of[0][rgb[0]]) + hn::Load(d, kParts.of[1][rgb[1]]) +
                     hn::Load(d, kParts.of[2][rgb[2]]);
    hn::Store(sum, d, xyz[i]);
  }
}

// kLanes pixels, `lab` may be `rgb`.
void convert_block(const float (*xyz)[4], const uint8_t* rgb, uint8_t* lab, Recent& recent) {
  hn::Vec<hn::Rebind<int32_t, D>> parts[4][3];
  uint32_t doubtful = 0;
  for (int i = 0; i < 4; ++i) {
    doubtful |= convert_vector(xyz[i * kFloats], parts[i]) << (i * kFloats);
  }
  hn::Vec<Full<uint8_t>> channels[3];
  for (int k = 0; k < 3; ++k) {
    channels[k] = narrow_to_u8(parts[0][k], parts[1][k], parts[2][k], parts[3][k]);
  }
  uint8_t bytes[3 * kLanes];
  store_pixels<3>(Full<uint8_t>(), channels, bytes);
  for (; doubtful != 0; doubtful &= doubtful - 1) {
    const size_t i = hwy::Num0BitsBelowLS1Bit_Nonzero32(doubtful);
    recent.convert(rgb + 3 * i, bytes + 3 * i);
  }
  std::memcpy(lab, bytes, sizeof bytes);
}

}  // namespace

void rgb_to_lab(unsigned char* src, unsigned char* dst, int width, int height) {
  if (width < 1 || height < 1) return;
  const size_t count = static_cast<size_t>(width) * height;
  Recent recent;
  constexpr size_t kAhead = 256;  // pixels looked up before the first of them is needed
  alignas(64) float xyz[kAhead][4];
  size_t i = 0;
  while (i + kLanes <= count) {
    const size_t part = std::min(kAhead, (count - i) / kLanes * kLanes);
    look_up(src + 3 * i, part, xyz);
    for (size_t k = 0; k < part; k += kLanes, i += kLanes) {
      convert_block(xyz + k, src + 3 * i, dst + 3 * i, recent);
    }
  }
  for (; i < count; ++i) {
    uint8_t lab[3];
    convert_pixel(src + 3 * i, lab);
    std::memcpy(dst + 3 * i, lab, 3);
  }
}

}  // namespace KelvraCV
