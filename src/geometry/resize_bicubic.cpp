// Bicubic resizing of bytes in 11-bit fixed point. Sums are truncated to their low bits, not
// clamped: next to strong edges a value may wrap around, on purpose.
#include "geometry/resize_separable.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr auto kNoShortcut = [](auto&&...) { return false; };

}  // namespace

void resize_bicubic_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  const ResizeSizes sizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride};
  if (sizes.is_empty()) return;
  const ColumnTaps<Cubic> taps(src_width, dst_width);
  resize_separable<Cubic>(src, dst, sizes, GrayRowFilter<Cubic>(src_width, dst_width, taps),
                          kNoShortcut);
}

void resize_bicubic_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  const ResizeSizes sizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride};
  if (sizes.is_empty()) return;
  const ColumnTaps<Cubic> taps(src_width, dst_width);
  resize_separable<Cubic>(
      src, dst, sizes, ColorRowFilter<Cubic, 3, 3>(src_width, dst_width, taps, false), kNoShortcut);
}

}  // namespace KelvraCV
