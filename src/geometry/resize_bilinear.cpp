// Bilinear resizing of bytes in 11-bit fixed point, truncating, and of floats.
#include "core/rows.h"
#include "geometry/resize_float.h"
#include "geometry/resize_separable.h"
#include "geometry/resize_shortcuts.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

template <int kSource, int kChannels, class RowFilter>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes,
            const Shortcuts<kSource, kChannels>& shortcuts, RowFilter row_filter) {
  // Enlarged more than that, it pays to filter each source row once and keep it.
  const bool blends = int64_t{4} * sizes.src_height > int64_t{3} * sizes.dst_height;
  resize_separable<Linear>(
      src, dst, sizes, std::move(row_filter),
      [&](RowFilter& filter, const uint8_t* const* rows, const Taps<2>& taps, uint8_t* out) {
        return shortcuts.row(rows[0], rows[1], taps.weights[0], out) ||
               (blends && filter.blend(rows[0], rows[1], weight_pair(taps.weights), out));
      });
}

template <int kSource, int kChannels>
void resize_color(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes, bool swap) {
  if (sizes.is_empty()) return;
  const int src_width = sizes.src_width, dst_width = sizes.dst_width;
  ColumnTaps<Linear> taps(src_width, dst_width);
  const Shortcuts<kSource, kChannels> shortcuts(src_width, dst_width, taps, swap);
  using Filter = ColorRowFilter<Linear, kSource, kChannels>;
  resize(src, dst, sizes, shortcuts, Filter(src_width, dst_width, std::move(taps), swap));
}

}  // namespace

void resize_bilinear_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride) {
  const ResizeSizes sizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride};
  if (sizes.is_empty()) return;
  ColumnTaps<Linear> taps(src_width, dst_width);
  const Shortcuts<1, 1> shortcuts(src_width, dst_width, taps, false);
  resize(src, dst, sizes, shortcuts, GrayRowFilter<Linear>(src_width, dst_width, std::move(taps)));
}

void resize_bilinear_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize_color<3, 3>(src, dst,
                     {src_width, src_height, src_stride, dst_width, dst_height, dst_stride}, false);
}

void resize_bilinear_c4(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                        int src_stride, int dst_width, int dst_height, int dst_stride,
                        int swap_rb) {
  resize_color<4, 4>(src, dst,
                     {src_width, src_height, src_stride, dst_width, dst_height, dst_stride},
                     swap_rb == 1);
}

void resize_bilinear_c4_to_c3(const unsigned char* src, unsigned char* dst, int src_width,
                              int src_height, int src_stride, int dst_width, int dst_height,
                              int dst_stride, int swap_rb) {
  resize_color<4, 3>(src, dst,
                     {src_width, src_height, src_stride, dst_width, dst_height, dst_stride},
                     swap_rb == 1);
}

void resize_bilinear_c1_float(const float* src, float* dst, int src_width, int src_height,
                              int src_stride, int dst_width, int dst_height, int dst_stride) {
  if (ResizeSizes{src_width, src_height, src_stride, dst_width, dst_height, dst_stride}
          .is_empty()) {
    return;
  }
  const auto source = [=](int y) { return row_at(src, y, src_stride); };
  FloatResizer<decltype(source)> resizer(src_width, src_height, dst_width, dst_height, source);
  for (int y = 0; y < dst_height; ++y) resizer.row(y, row_at(dst, y, dst_stride));
}

}  // namespace KelvraCV
