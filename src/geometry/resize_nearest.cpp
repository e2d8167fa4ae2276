// Nearest-neighbour resizing: the pixel at the floor of the centre-aligned coordinate.
#include "geometry/pick_pixels.h"
#include "geometry/resize_tables.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

template <int kChannels>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  if (!sizes.is_empty()) pick_pixels<kChannels>(src, dst, sizes);
}

}  // namespace

void resize_nn_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<1>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_nn_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<3>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

}  // namespace KelvraCV
