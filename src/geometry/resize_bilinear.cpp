// Bilinear resizing of bytes in 11-bit fixed point, truncating, and of floats.
#include "core/rows.h"
#include "geometry/pick_pixels.h"
#include "geometry/resize_float.h"
#include "geometry/resize_separable.h"
#include "geometry/resize_shortcuts.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

bool has_step(const ResizeSizes& sizes, int step) {
  return exact_step(sizes.src_width, sizes.dst_width) == step &&
         exact_step(sizes.src_height, sizes.dst_height) == step;
}

// Calls halve(top, bottom, out) for the rows of a destination of half the size.
template <class T, class Halve>
void halve_rows(const T* src, T* dst, const ResizeSizes& sizes, const Halve& halve) {
  for (int y = 0; y < sizes.dst_height; ++y) {
    const T* const top = row_at(src, 2 * y, sizes.src_stride);
    halve(top, top + sizes.src_stride, row_at(dst, y, sizes.dst_stride));
  }
}

template <int kSource, int kChannels, bool kSwap = false>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  if (sizes.is_empty()) return;
  using Simple = SimpleRows<kSource, kChannels, kSwap>;
  const auto [src_width, src_height, src_stride, dst_width, dst_height, dst_stride] = sizes;
  if (takes_single_pixels(sizes)) {
    pick_pixels<kSource, kChannels, kSwap>(src, dst, sizes);
  } else if (has_step(sizes, 2)) {
    halve_rows(src, dst, sizes,
               [width = dst_width](const auto* top, const auto* bottom, auto* out) {
                 Simple::halve(top, bottom, width, out);
               });
  } else if (has_step(sizes, kHalfStep)) {
    for (int y = 0; y < dst_height; ++y) {
      const int near = y / 2, far = std::clamp(y % 2 != 0 ? near + 1 : near - 1, 0, src_height - 1);
      Simple::enlarge(row_at(src, near, src_stride), row_at(src, far, src_stride), src_width,
                      row_at(dst, y, dst_stride));
    }
  } else {
    resize_separable<Linear, kSource, kChannels, kSwap>(src, dst, sizes);
  }
}

}  // namespace

void resize_bilinear_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<1, 1>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<3, 3>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c4(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride,
                        int swap_rb) {
  const auto function = swap_rb == 1 ? resize<4, 4, true> : resize<4, 4>;
  function(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c4_to_c3(const unsigned char* src, unsigned char* dst, int src_width,
                              int src_height, int src_stride, int dst_width, int dst_height,
                              int dst_stride, int swap_rb) {
  const auto function = swap_rb == 1 ? resize<4, 3, true> : resize<4, 3>;
  function(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c1_float(const float* src, float* dst, int src_width, int src_height,
                              int src_stride, int dst_width, int dst_height, int dst_stride) {
  const ResizeSizes sizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride};
  if (sizes.is_empty()) return;
  if (has_step(sizes, 2)) {
    halve_rows(src, dst, sizes, [=](const float* top, const float* bottom, float* out) {
      halve_floats(top, bottom, dst_width, out);
    });
    return;
  }
  const auto source = [=](int y) { return row_at(src, y, src_stride); };
  FloatResizer<decltype(source), true> resizer(src_width, src_height, dst_width, dst_height,
                                               source);
  for (int y = 0; y < dst_height; ++y) resizer.row(y, row_at(dst, y, dst_stride));
}

}  // namespace KelvraCV
