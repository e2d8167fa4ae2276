// Bicubic resizing of bytes in 11-bit fixed point. Sums are truncated to their low bits, not
// clamped: next to strong edges a value may wrap around, on purpose.
#include "geometry/pick_pixels.h"
#include "geometry/resize_separable.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

template <int kChannels>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  if (sizes.is_empty()) return;
  if (takes_single_pixels(sizes)) return pick_pixels<kChannels>(src, dst, sizes);
  resize_separable<Cubic, kChannels, kChannels, false>(src, dst, sizes);
}

}  // namespace

void resize_bicubic_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<1>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bicubic_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<3>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

}  // namespace KelvraCV
