// RGB to HSV on a hue circle of 256 steps, in integers, and back in single precision.
#include <algorithm>
#include <cstring>

#include "core/numeric.h"
#include "core/simd_pixels.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

using D8 = Full<uint8_t>;
using D16 = hn::Repartition<int16_t, D8>;
using D32 = hn::Repartition<int32_t, D8>;
using Floats = hn::Repartition<float, D8>;
using Words = hn::Vec<D16>;
using Ints = hn::Vec<D32>;
using V = hn::Vec<Floats>;

// Lanes widen in halves of their blocks: kHalf 0 or 1.
template <int kHalf, class Narrow>
HWY_INLINE auto interleave(Narrow a, Narrow b) {
  if constexpr (kHalf == 0) return hn::InterleaveLower(a, b);
  return hn::InterleaveUpper(hn::DFromV<Narrow>(), a, b);
}
template <int kHalf>
HWY_INLINE Words words(Bytes bytes) {
  return hn::BitCast(D16(), interleave<kHalf>(bytes, hn::Zero(D8())));
}
template <int kHalf>
HWY_INLINE Ints integers(Words words) {
  return hn::ShiftRight<16>(hn::BitCast(D32(), interleave<kHalf>(words, words)));
}
// All lanes of `bytes` as four vectors.
struct Widened {
  Ints part[4];

  HWY_INLINE explicit Widened(Bytes bytes) {
    const auto widen = [](Words low_or_high, Ints& first, Ints& second) {
      first = hn::BitCast(D32(), interleave<0>(low_or_high, hn::Zero(D16())));
      second = hn::BitCast(D32(), interleave<1>(low_or_high, hn::Zero(D16())));
    };
    widen(words<0>(bytes), part[0], part[1]);
    widen(words<1>(bytes), part[2], part[3]);
  }
  HWY_INLINE V floats(int i) const { return hn::ConvertTo(Floats(), part[i]); }
};
template <int kShift>
HWY_INLINE Bytes to_bytes(const Ints (&parts)[4]) {
  return low_bytes<kShift>(parts[0], parts[1], parts[2], parts[3]);
}

// Saturation and hue in 12-bit fixed point:
//
//   s = (2048 + d * (255 * 4096 / v)) >> 12,   h = (2048 + n * (4096 * 128 / (3 d))) >> 12,
//
// where v is the largest colour, d the span of the three and n the raw hue in units of d. Both
// quotients a / b are truncated to integers. That is what (a + 0.5) reciprocal(b) truncates to: its
// error is less than a / b / 2^21, and so less than 1 / 2b for a below 2^20, while (a + 0.5) / b is
// at least 1 / 2b away from the next integers. A divisor of 0 is taken as 1: its count is 0.
HWY_INLINE Ints fixed_ratio(float numerator, V divisor, Ints count) {
  const V inverse = reciprocal(hn::Max(divisor, hn::Set(Floats(), 1.0f)));
  const Ints quotient = truncate_fitting(hn::Set(Floats(), numerator) * inverse);
  return count * quotient + hn::Set(D32(), 2048);
}

// n of half of the pixels: in this order, with equal colours the first one decides.
template <int kHalf>
HWY_INLINE Words raw_hue(Bytes r8, Bytes g8, Bytes b8, Bytes value8, Bytes span8) {
  const Words r = words<kHalf>(r8), g = words<kHalf>(g8), b = words<kHalf>(b8),
              value = words<kHalf>(value8), span = words<kHalf>(span8);
  const Words span2 = span + span;
  return hn::IfThenElse(value == r, g - b,
                        hn::IfThenElse(value == g, b - r + span2, r - g + span2 + span2));
}

HWY_INLINE void to_hsv(const Bytes* in, Bytes* out) {
  const Bytes r = in[0], g = in[1], b = in[2];
  const Bytes value = hn::Max(hn::Max(r, g), b), span = value - hn::Min(hn::Min(r, g), b);
  const Words raw[2] = {raw_hue<0>(r, g, b, value, span), raw_hue<1>(r, g, b, value, span)};
  const Ints hues[4] = {integers<0>(raw[0]), integers<1>(raw[0]), integers<0>(raw[1]),
                        integers<1>(raw[1])};
  const Widened spans(span), values(value);
  Ints h[4], s[4];
  for (int i = 0; i < 4; ++i) {
    h[i] = fixed_ratio((4096 * 128 + 0.5f) / 3, spans.floats(i), hues[i]);
    s[i] = fixed_ratio(255 * 4096 + 0.5f, values.floats(i), spans.part[i]);
  }
  // Negative hues wrap to the low 8 bits.
  out[0] = to_bytes<12>(h), out[1] = to_bytes<12>(s), out[2] = value;
}

// The sector of the circle is 6 h / 256, and what is left of that the position f in it.
HWY_INLINE void to_rgb(const Bytes* in, Bytes* out) {
  const Floats d;
  const Bytes h = in[0], value = in[2], h2 = h + h;
  const Widened positions(h2 + h2 + h2), saturations(in[1]), values(value);
  Ints p32[4], q32[4], t32[4];
  const auto byte = [&](V component) { return truncate_fitting(component * hn::Set(d, 255.0f)); };
  for (int i = 0; i < 4; ++i) {
    const V s = saturations.floats(i) * hn::Set(d, kInverse255);
    const V v = values.floats(i) * hn::Set(d, kInverse255);
    const V f_s = positions.floats(i) * hn::Set(d, 1.0f / 256) * s;
    p32[i] = byte(hn::NegMulAdd(s, v, v));
    q32[i] = byte(hn::NegMulAdd(f_s, v, v));
    t32[i] = byte(hn::MulAdd(f_s - s, v, v));
  }
  // Without saturation all of them are v, and v itself comes back as it was.
  const Bytes p = to_bytes<0>(p32), q = to_bytes<0>(q32), t = to_bytes<0>(t32), v = value;
  const auto until = [&](int sector, Bytes here, Bytes beyond) {
    const auto last = static_cast<uint8_t>((256 * (sector + 1) - 1) / 6);
    return hn::IfThenElse(hn::Min(h, hn::Set(D8(), last)) == h, here, beyond);
  };
  out[0] = until(0, v, until(1, q, until(3, p, until(4, t, v))));
  out[1] = until(0, t, until(2, v, until(3, q, p)));
  out[2] = until(1, p, until(2, t, until(4, v, q)));
}

// Converts packed pixels, by their first three channels, into packed pixels of three.
template <int kChannels, void (*convert)(const Bytes*, Bytes*)>
void convert_packed(const uint8_t* src, uint8_t* dst, size_t count) {
  convert_row(Interleaved<kChannels, const uint8_t>{{src}}, Interleaved<3>{{dst}}, count,
              [](auto from) KELVRA_CV_INLINE {
                Bytes in[kChannels];
                Pixels<3> out;
                load(from, in);
                convert(in, out.channels);
                return out;
              });
}

// 0 unless both sizes are positive.
size_t pixel_count(const ImageData& image) {
  return image.width < 1 || image.height < 1 ? 0 : static_cast<size_t>(image.width) * image.height;
}

}  // namespace

void rgba2hsv(const ImageData& src, ImageData& dst) {
  const size_t count = pixel_count(src);
  if (src.channels == 3) convert_packed<3, to_hsv>(src.data, dst.data, count);
  if (src.channels == 4) convert_packed<4, to_hsv>(src.data, dst.data, count);
  if (src.channels <= 4) return;
  for (size_t i = 0; i < count; i += kPixelLanes) {
    const size_t part = std::min<size_t>(kPixelLanes, count - i);
    uint8_t pixels[3 * kPixelLanes];
    for (size_t k = 0; k < part; ++k) {
      std::memcpy(pixels + 3 * k, src.data + (i + k) * src.channels, 3);
    }
    convert_packed<3, to_hsv>(pixels, dst.data + 3 * i, part);
  }
}

void hsv2rgb(const ImageData& src, ImageData& dst) {
  convert_packed<3, to_rgb>(src.data, dst.data, pixel_count(src));
}

}  // namespace KelvraCV
