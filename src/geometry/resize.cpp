// Resizing: nearest neighbour, bilinear and bicubic, of bytes, and bilinear of floats.
#include <algorithm>
#include <type_traits>

#include "core/rows.h"
#include "geometry/pick_pixels.h"
#include "geometry/resize_float.h"
#include "geometry/resize_separable.h"
#include "geometry/resize_shortcuts.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Calls halve(top, bottom, out) for the rows of a destination of half the size.
template <class T, class Halve>
void halve_rows(const T* src, T* dst, const ResizeSizes& sizes, const Halve& halve) {
  for (int y = 0; y < sizes.dst_height; ++y) {
    const T* const top = row_at(src, 2 * y, sizes.src_stride);
    halve(top, top + sizes.src_stride, row_at(dst, y, sizes.dst_stride));
  }
}

template <class Kernel, int kSource, int kChannels = kSource, bool kSwap = false>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  if (sizes.is_empty()) return;
  const int step_x = exact_step(sizes.src_width, sizes.dst_width);
  const int step_y = exact_step(sizes.src_height, sizes.dst_height);
  // Where all coordinates are whole, every kernel takes single pixels.
  if (Kernel::kTaps == 1 || (step_x % 2 != 0 && step_y % 2 != 0)) {
    return pick_pixels<kSource, kChannels, kSwap>(src, dst, sizes);
  }
  if constexpr (std::is_same_v<Kernel, Linear>) {
    using Simple = SimpleRows<kSource, kChannels, kSwap>;
    if (step_x == 2 && step_y == 2) {
      const int width = sizes.dst_width;
      return halve_rows(src, dst, sizes, [=](const auto* top, const auto* bottom, auto* out) {
        Simple::halve(top, bottom, width, out);
      });
    }
    if (step_x == kHalfStep && step_y == kHalfStep) {
      for (int y = 0; y < sizes.dst_height; ++y) {
        const int near = y / 2;
        const int far = std::clamp(y % 2 != 0 ? near + 1 : near - 1, 0, sizes.src_height - 1);
        Simple::enlarge(row_at(src, near, sizes.src_stride), row_at(src, far, sizes.src_stride),
                        sizes.src_width, row_at(dst, y, sizes.dst_stride));
      }
      return;
    }
  }
  if constexpr (Kernel::kTaps > 1) {
    resize_separable<Kernel, kSource, kChannels, kSwap>(src, dst, sizes);
  }
}

}  // namespace

void resize_nn_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<Nearest, 1>(src, dst,
                     {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_nn_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<Nearest, 3>(src, dst,
                     {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<Linear, 1>(src, dst,
                    {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<Linear, 3>(src, dst,
                    {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c4(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride,
                        int swap_rb) {
  const auto function = swap_rb == 1 ? resize<Linear, 4, 4, true> : resize<Linear, 4>;
  function(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c4_to_c3(const unsigned char* src, unsigned char* dst, int src_width,
                              int src_height, int src_stride, int dst_width, int dst_height,
                              int dst_stride, int swap_rb) {
  const auto function = swap_rb == 1 ? resize<Linear, 4, 3, true> : resize<Linear, 4, 3>;
  function(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bilinear_c1_float(const float* src, float* dst, int src_width, int src_height,
                              int src_stride, int dst_width, int dst_height, int dst_stride) {
  const ResizeSizes sizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride};
  if (sizes.is_empty()) return;
  if (exact_step(src_width, dst_width) == 2 && exact_step(src_height, dst_height) == 2) {
    return halve_rows(src, dst, sizes, [=](const float* top, const float* bottom, float* out) {
      halve_floats(top, bottom, dst_width, out);
    });
  }
  const auto source = [=](int y) { return row_at(src, y, src_stride); };
  FloatResizer<decltype(source), true> resizer(src_width, src_height, dst_width, dst_height,
                                               source);
  for (int y = 0; y < dst_height; ++y) resizer.row(y, row_at(dst, y, dst_stride));
}

void resize_bicubic_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<Cubic, 1>(src, dst,
                   {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bicubic_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<Cubic, 3>(src, dst,
                   {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

}  // namespace KelvraCV
