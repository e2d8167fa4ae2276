// Gaussian blurs of 3 x 3 and 5 x 5 pixels with binomial weights in integers.
#include "core/rows.h"
#include "filter/binomial.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

template <class Kernel>
void blur(const uint8_t* src, uint8_t* dst, int width, int height, int src_stride, int dst_stride) {
  if (width < 1 || height < 1) return;
  BinomialRows<Kernel> rows(width, height);
  for (int y = 0; y < height; ++y) {
    rows.next([=](int source_y) { return row_at(src, source_y, src_stride); },
              row_at(dst, y, dst_stride));
  }
}

}  // namespace

void gaussian_blur_3x3(const unsigned char* src, unsigned char* dst, int width, int height,
                       int src_stride, int dst_stride) {
  blur<Binomial3>(src, dst, width, height, src_stride, dst_stride);
}

void gaussian_blur_5x5(const unsigned char* src, unsigned char* dst, int width, int height) {
  blur<Binomial5>(src, dst, width, height, width, width);
}

}  // namespace KelvraCV
