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
  using Filter = GrayRowFilter<Cubic>;
  resize_separable<Cubic>(src, dst, sizes, Filter(src_width, dst_width, {src_width, dst_width}),
                          kNoShortcut);
}

void resize_bicubic_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  const ResizeSizes sizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride};
  if (sizes.is_empty()) return;
  using Filter = ColorRowFilter<Cubic, 3, 3>;
  resize_separable<Cubic>(src, dst, sizes,
                          Filter(src_width, dst_width, {src_width, dst_width}, false), kNoShortcut);
}

}  // namespace KelvraCV
