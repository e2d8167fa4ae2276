// sRGB to CIE L*a*b* (D65) in single precision.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "color/lab_exceptions.h"
#include "color/lab_tables.h"
#include "core/numeric.h"
#include "core/simd_pixels.h"
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
using Ints = hn::Vec<hn::Rebind<int32_t, D>>;
using Unsigned = hn::Vec<hn::Rebind<uint32_t, D>>;
constexpr size_t kFloats = hn::MaxLanes(D());

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

// The cube root of 2^-7 <= t < 2 within 7e-7 of itself. Of an estimate y of t^(-1/3) let d be t y^2
// and c be 1 - t y^3; then the root is d (1 - c)^(-2/3), which is d (1 + c q(c)) with a polynomial
// q that is exact at the four Chebyshev nodes of c's range, -0.1017 to 0.1023.
HWY_INLINE V cube_root(V t) {
  const D d;
  const V y = estimate_inverse_cube_root(t);
  const V root = t * (y * y), c = hn::NegMulAdd(root, y, hn::Set(d, 1.0f));
  V q = hn::Set(d, 0.457422554f);
  for (const float coefficient : {0.498258263f, 0.555547178f, 0.666660905f}) {
    q = hn::MulAdd(q, c, hn::Set(d, coefficient));
  }
  return hn::MulAdd(root * c, q, root);
}

// A value this close to a whole number may become another byte with the C library's cube roots.
//
// Those are within 1.2e-7 of the true ones, so that both are within 8.2e-7 of each other, and f is
// below 1.01: L within 2.5e-4 and its roundings 6e-5, a within 8.3e-4 and 6e-5, b within less, and
// all lose less than 2^-16 when they become fixed point with 16 fractional bits. There the doubt is
// added, so that values less than it below or above a whole number have fractions below twice it.
constexpr int kFractionBits = 16;
constexpr float kOne = 1 << kFractionBits, kDoubt = 66;  // 1.007e-3

// The bytes of a vector of pixels in this fixed point, from their X, Y and Z. Returns the least of
// the fractions, as upper halves of lanes.
HWY_INLINE Unsigned convert_vector(const float* xyz, Ints& l, Ints& a, Ints& b) {
  const D d;
  V sum_x, y, sum_z, unused;
  hn::LoadInterleaved4(d, xyz, sum_x, y, sum_z, unused);
  const V x = sum_x * hn::Set(d, kXScale), z = sum_z * hn::Set(d, kZScale);
  V fx = cube_root(x), fy = cube_root(y), fz = cube_root(z);
  const V limit = hn::Set(d, kLimit);
  if (HWY_UNLIKELY(!hn::AllTrue(d, hn::Min(hn::Min(x, y), z) > limit))) {
    const auto line = [&](V t, V unscaled, float slope, V root) {
      const V value = unscaled * hn::Set(d, slope) + hn::Set(d, kOffset);
      return hn::IfThenElse(t > limit, root, value);
    };
    fx = line(x, sum_x, kXSlope, fx), fy = line(y, y, kYSlope, fy),
    fz = line(z, sum_z, kZSlope, fz);
  }
  // Multiplied by a power of 2 all roundings stay the same.
  const auto fixed = [&](float factor, V value, float offset) {
    return truncate_fitting(hn::Set(d, factor * kOne) * value + hn::Set(d, offset * kOne + kDoubt));
  };
  l = fixed(295.8f, fy, -40.8f);
  a = fixed(500.0f, fx - fy, 128.0f);
  b = fixed(200.0f, fy - fz, 128.0f);
  const auto fraction = [](Ints v) {
    return hn::ShiftLeft<32 - kFractionBits>(hn::BitCast(hn::DFromV<Unsigned>(), v));
  };
  return hn::Min(hn::Min(fraction(l), fraction(a)), fraction(b));
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
#pragma GCC unroll 4
  for (size_t i = 0; i < count; ++i, rgb += 3) {
    const auto sum = hn::Load(d, kParts.of[0][rgb[0]]) + hn::Load(d, kParts.of[1][rgb[1]]) +
                     hn::Load(d, kParts.of[2][rgb[2]]);
    hn::Store(sum, d, xyz[i]);
  }
}

// `count` pixels, at most as many as a vector of bytes has lanes, from as many X, Y and Z as that.
void convert_pixels(const float (*xyz)[4], const uint8_t* rgb, uint8_t* lab, size_t count,
                    Recent& recent) {
  Ints l[4], a[4], b[4];
  Unsigned least[4];
  repeat<4>([&](int i) KELVRA_CV_INLINE {
    least[i] = convert_vector(xyz[i * kFloats], l[i], a[i], b[i]);
  });
  const auto bytes = [](const Ints(&v)[4]) KELVRA_CV_INLINE {
    return shift_to_u8<kFractionBits>(v[0], v[1], v[2], v[3]);
  };
  const Bytes channels[3] = {opaque(bytes(l)), opaque(bytes(a)), opaque(bytes(b))};
  const hn::DFromV<Unsigned> d;
  const Unsigned doubt = hn::Set(d, static_cast<uint32_t>(2 * kDoubt) << (32 - kFractionBits));
  const Unsigned all = hn::Min(hn::Min(least[0], least[1]), hn::Min(least[2], least[3]));
  if (HWY_LIKELY(count == kPixelLanes && hn::AllFalse(d, all < doubt))) {
    return store(channels, Interleaved<3>{{lab}});
  }
  uint8_t pixels[3 * kPixelLanes];
  store(channels, Interleaved<3>{{pixels}});
  for (size_t i = 0; i < 4; ++i) {
    uint64_t doubtful = mask_bits(d, least[i] < doubt);
    for (; doubtful != 0; doubtful &= doubtful - 1) {
      const size_t pixel = i * kFloats + hwy::Num0BitsBelowLS1Bit_Nonzero64(doubtful);
      if (pixel < count) recent.convert(rgb + 3 * pixel, pixels + 3 * pixel);
    }
  }
  std::memcpy(lab, pixels, 3 * count);
}

}  // namespace

void rgb_to_lab(unsigned char* src, unsigned char* dst, int width, int height) {
  if (width < 1 || height < 1) return;
  const size_t count = static_cast<size_t>(width) * height;
  Recent recent;
  constexpr size_t kAhead = 256;  // pixels looked up before the first of them is needed
  alignas(64) float xyz[kAhead][4] = {};
  for (size_t i = 0; i < count; i += kAhead) {
    const size_t part = std::min(kAhead, count - i);
    look_up(src + 3 * i, part, xyz);
    for (size_t k = 0; k < part; k += kPixelLanes) {
      convert_pixels(xyz + k, src + 3 * (i + k), dst + 3 * (i + k),
                     std::min<size_t>(kPixelLanes, part - k), recent);
    }
  }
}

}  // namespace KelvraCV
