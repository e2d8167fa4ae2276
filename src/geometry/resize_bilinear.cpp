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

bool is_halved(int source, int destination) {
  return source == int64_t{2} * destination &&
         is_regular(source, destination, [=](int i, float coordinate) {
           const Taps<2> taps = Linear::taps(coordinate, source);
           return taps.first == 2 * i && taps.weights[0] == kWeightOne / 2;
         });
}

// All positions but the first and the last are a quarter of the way from one pixel to another.
bool is_doubled(int source, int destination) {
  constexpr int kNear = kWeightOne * 3 / 4;
  return destination == int64_t{2} * source &&
         is_regular(source, destination, [=](int i, float coordinate) {
           const Taps<2> taps = Linear::taps(coordinate, source);
           const int weight = taps.weights[0];
           if (i == 0 || i == destination - 1) return taps.first == i / 2 && weight == kWeightOne;
           return taps.first == (i - 1) / 2 && weight == (i % 2 != 0 ? kNear : kWeightOne - kNear);
         });
}

template <int kSource, int kChannels, bool kSwap = false>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  if (sizes.is_empty() || pick_single_pixels<Linear, kSource, kChannels, kSwap>(src, dst, sizes)) {
    return;
  }
  using Simple = SimpleRows<kSource, kChannels, kSwap>;
  const auto [src_width, src_height, src_stride, dst_width, dst_height, dst_stride] = sizes;
  if (is_halved(src_width, dst_width) && is_halved(src_height, dst_height)) {
    for (int y = 0; y < dst_height; ++y) {
      const uint8_t* const top = row_at(src, 2 * y, src_stride);
      Simple::halve(top, top + src_stride, dst_width, row_at(dst, y, dst_stride));
    }
  } else if (is_doubled(src_width, dst_width) && is_doubled(src_height, dst_height)) {
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
  if (ResizeSizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride}
          .is_empty()) {
    return;
  }
  const auto source = [=](int y) { return row_at(src, y, src_stride); };
  FloatResizer<decltype(source), true> resizer(src_width, src_height, dst_width, dst_height,
                                               source);
  for (int y = 0; y < dst_height; ++y) resizer.row(y, row_at(dst, y, dst_stride));
}

}  // namespace KelvraCV
