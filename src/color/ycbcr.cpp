// RGB to studio-range YCbCr and back, with the BT.601 weights in 10-bit fixed point.
#include "core/simd_pixels.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Each output is (a first + b second + c third + offset) >> 10 of the inputs, clamped.
template <int a, int b, int c, int offset>
using Sum = WeightedSum<a, b, c, offset, 10>;

template <class First, class Second, class Third>
struct Conversion {
  template <class Source>
  HWY_INLINE Pixels<3> operator()(Source from) const {
    const auto terms = load_terms(from);
    return {{weighted_sum<First>(terms), weighted_sum<Second>(terms), weighted_sum<Third>(terms)}};
  }
};

// 16896 is 16.5 and 131584 is 128.5, the range's start and one half. Cr's offset is one more, which
// is meant so. No result leaves 16 … 240.
using ToYCbCr = Conversion<Sum<263, 516, 100, 16896>, Sum<-152, -298, 450, 131584>,
                           Sum<450, -377, -73, 131585>>;

// The offsets undo 16 and 128 and round by 465, 589 and 553 of 1024.
using ToRgb = Conversion<Sum<1192, 0, 1634, -227759>, Sum<1192, -401, -832, 139341>,
                         Sum<1192, 2066, 0, -282967>>;

// Three packed planes that follow one another.
template <class Byte>
Planar<3, Byte> planes_at(Byte* first, int width, int height) {
  const size_t plane = static_cast<size_t>(width) * height;
  return {{first, first + plane, first + 2 * plane}};
}

}  // namespace

void rgb_to_ycbcr(const unsigned char* src, unsigned char* dst, int width, int height,
                  int src_stride, bool planar) {
  if (width < 1 || height < 1) return;
  const Interleaved<3, const uint8_t> from{{src}};
  if (planar) {
    convert_rows(from, src_stride, planes_at(dst, width, height), width, width, height, ToYCbCr());
  } else {
    convert_rows(from, src_stride, Interleaved<3>{{dst}}, ptrdiff_t{3} * width, width, height,
                 ToYCbCr());
  }
}

void ycbcr_to_rgb(const unsigned char* src, unsigned char* dst, int width, int height,
                  int src_stride, bool planar) {
  if (width < 1 || height < 1) return;
  const Interleaved<3> to{{dst}};
  const ptrdiff_t dst_stride = ptrdiff_t{3} * width;
  if (planar) {
    convert_rows(planes_at(src, width, height), width, to, dst_stride, width, height, ToRgb());
  } else {
    convert_rows(Interleaved<3, const uint8_t>{{src}}, src_stride, to, dst_stride, width, height,
                 ToRgb());
  }
}

}  // namespace KelvraCV
