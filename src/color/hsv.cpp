// RGB to HSV on a hue circle of 256 steps, in integers, and back in single precision.
#include <algorithm>
#include <cstring>

#include "core/numeric.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr int kLanes = static_cast<int>(hn::MaxLanes(Full<uint8_t>()));
using Floats = Full<float>;
using V = hn::Vec<Floats>;

// Saturation and hue in 12-bit fixed point:
//
//   s = (2048 + d * (255 * 4096 / v)) >> 12,   h = (2048 + n * (4096 * 128 / (3 d))) >> 12,
//
// where v is the largest colour, d the span of the three and n the raw hue in units of d. Both
// quotients are truncated to integers. Single precision gives these integers: a quotient a / b that
// is no integer is at least 1 / b away from one, and its rounding error is below a / b / 2^24,
// which is less as long as a < 2^24. Products and sums stay below 2^24, too, and are exact.
HWY_INLINE V fixed_ratio(V numerator, V count, V denominator) {
  const Floats d;
  // A denominator of 0 comes with a count of 0.
  const auto quotient =
      hn::ConvertTo(d, truncate_fitting(numerator / hn::Max(denominator, hn::Set(d, 1.0f))));
  return count * quotient + hn::Set(d, 2048.0f);
}
HWY_INLINE auto saturation(V span, V value) {
  const Floats d;
  return hn::ShiftRight<12>(
      truncate_fitting(fixed_ratio(hn::Set(d, 255.0f * 4096.0f), span, value)));
}
// Negative hues wrap to the low 8 bits.
HWY_INLINE auto hue(V raw, V span) {
  const Floats d;
  const hn::Rebind<int32_t, Floats> d32;
  const auto fixed = fixed_ratio(hn::Set(d, 4096.0f * 128.0f), raw, span * hn::Set(d, 3.0f));
  return hn::And(hn::ShiftRight<12>(truncate_fitting(fixed)), hn::Set(d32, 255));
}

// kLanes pixels as three rows of bytes.
struct Pixels {
  alignas(64) uint8_t channel[3][kLanes];

  HWY_INLINE V floats(int k, int from) const {
    const hn::Rebind<uint8_t, Floats> d8;
    const hn::Rebind<int32_t, Floats> d32;
    return hn::ConvertTo(Floats(), hn::PromoteTo(d32, hn::Load(d8, channel[k] + from)));
  }
};

// Calls `convert` for as many pixels as a vector of floats has lanes, four times; it gives three
// vectors of integers, which become bytes.
template <class Convert>
HWY_INLINE void convert_quarters(const Pixels& in, uint8_t* out, Convert convert) {
  const Full<uint8_t> d8;
  using V32 = hn::Vec<hn::Rebind<int32_t, Floats>>;
  V32 parts[3][4];
  for (int i = 0; i < 4; ++i) {
    V32 result[3];
    convert(in, i * kLanes / 4, result);
    for (int k = 0; k < 3; ++k) parts[k][i] = result[k];
  }
  const auto bytes = [&](int k) {
    return narrow_to_u8(parts[k][0], parts[k][1], parts[k][2], parts[k][3]);
  };
  hn::StoreInterleaved3(bytes(0), bytes(1), bytes(2), d8, out);
}

template <class V32>
HWY_INLINE void to_hsv(const Pixels& in, int from, V32 (&out)[3]) {
  const Floats d;
  const V r = in.floats(0, from), g = in.floats(1, from), b = in.floats(2, from);
  const V value = hn::Max(hn::Max(r, g), b), span = value - hn::Min(hn::Min(r, g), b);
  // In this order: with equal colours the first one decides.
  const V raw = hn::IfThenElse(
      value == r, g - b,
      hn::IfThenElse(value == g, b - r + span + span, r - g + span * hn::Set(d, 4.0f)));
  out[0] = hue(raw, span);
  out[1] = saturation(span, value);
  out[2] = truncate_fitting(value);
}

template <class V32>
HWY_INLINE void to_rgb(const Pixels& in, int from, V32 (&out)[3]) {
  const Floats d;
  const auto scale = hn::Set(d, kInverse255);
  const V s = in.floats(1, from) * scale, v = in.floats(2, from) * scale;
  const V angle = in.floats(0, from) * hn::Set(d, 6.0f / 256.0f);  // exact, and below 6
  const V sector = hn::Floor(angle), f = angle - sector;
  // Without saturation all of them are v.
  const V p = hn::NegMulAdd(s, v, v), q = hn::NegMulAdd(f * s, v, v),
          t = hn::MulAdd(f * s - s, v, v);
  const auto is = [&](float number) { return sector == hn::Set(d, number); };
  const auto pick = [&](V at0, V at1, V at2, V at3, V at4, V at5) {
    return hn::IfThenElse(
        is(0), at0,
        hn::IfThenElse(
            is(1), at1,
            hn::IfThenElse(is(2), at2,
                           hn::IfThenElse(is(3), at3, hn::IfThenElse(is(4), at4, at5)))));
  };
  const auto byte = [&](V component) { return truncate_fitting(component * hn::Set(d, 255.0f)); };
  out[0] = byte(pick(v, q, p, p, t, v));
  out[1] = byte(pick(t, v, v, q, p, p));
  out[2] = byte(pick(p, p, t, v, v, q));
}

void load(const uint8_t* src, int channels, Pixels& pixels) {
  const Full<uint8_t> d8;
  hn::Vec<decltype(d8)> v[4];
  if (channels == 3) {
    hn::LoadInterleaved3(d8, src, v[0], v[1], v[2]);
  } else {
    hn::LoadInterleaved4(d8, src, v[0], v[1], v[2], v[3]);
  }
  for (int k = 0; k < 3; ++k) hn::Store(v[k], d8, pixels.channel[k]);
}

// The first three bytes of each of `count` pixels.
void load_some(const uint8_t* src, int channels, int count, Pixels& pixels) {
  for (int i = 0; i < count; ++i) {
    for (int k = 0; k < 3; ++k) pixels.channel[k][i] = src[static_cast<size_t>(i) * channels + k];
  }
}

// Converts packed pixels of `channels` bytes into packed pixels of three.
template <class Convert>
void convert_packed(const uint8_t* src, int channels, uint8_t* dst, size_t count, Convert convert) {
  Pixels pixels{};
  size_t i = 0;
  for (; i + kLanes <= count; i += kLanes, src += static_cast<size_t>(channels) * kLanes) {
    if (channels == 3 || channels == 4) {
      load(src, channels, pixels);
    } else {
      load_some(src, channels, kLanes, pixels);
    }
    convert_quarters(pixels, dst + 3 * i, convert);
  }
  if (i < count) {
    load_some(src, channels, static_cast<int>(count - i), pixels);
    uint8_t last[3 * kLanes];
    convert_quarters(pixels, last, convert);
    std::memcpy(dst + 3 * i, last, 3 * (count - i));
  }
}

// 0 unless both sizes are positive.
size_t pixel_count(const ImageData& image) {
  return image.width < 1 || image.height < 1 ? 0 : static_cast<size_t>(image.width) * image.height;
}

}  // namespace

void rgba2hsv(const ImageData& src, ImageData& dst) {
  if (src.channels < 3) return;
  convert_packed(src.data, src.channels, dst.data, pixel_count(src),
                 [](const Pixels& in, int from, auto& out) { to_hsv(in, from, out); });
}

void hsv2rgb(const ImageData& src, ImageData& dst) {
  convert_packed(src.data, 3, dst.data, pixel_count(src),
                 [](const Pixels& in, int from, auto& out) { to_rgb(in, from, out); });
}

}  // namespace KelvraCV
