// Bilinear resizing of bytes in 11-bit fixed point, truncating, and of floats.
#include "core/rows.h"
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

// a (1 - t) + b t, one product fused.
float blend(float a, float b, float t) {
  return std::fma(b, t, a * (1.0f - t));
}

void filter_floats(const float* src, int src_width, const Position* positions, int count,
                   float* out) {
  if (src_width == 1) {
    std::fill_n(out, count, src[0]);
    return;
  }
  for (int x = 0; x < count; ++x) {
    const float* const taps = src + positions[x].tap;
    out[x] = blend(taps[0], taps[1], positions[x].fraction);
  }
}

void blend_floats(const float* top, const float* bottom, float t, float* out, int count) {
  for (int x = 0; x < count; ++x) {  // vectorised
    out[x] = blend(top[x], bottom[x], t);
  }
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
  Scratch<Position> columns(dst_width);
  const Coordinates x_coordinate(src_width, dst_width), y_coordinate(src_height, dst_height);
  for (int x = 0; x < dst_width; ++x) columns[x] = position_of(x_coordinate(x), src_width);
  FilteredRows<float, 2> filtered(dst_width);
  for (int y = 0; y < dst_height; ++y) {
    const Position at = position_of(y_coordinate(y), src_height);
    filtered.load({std::max(at.tap, 0), at.tap + 1}, [&](int row, float* values) {
      filter_floats(row_at(src, row, src_stride), src_width, columns.get(), dst_width, values);
    });
    float* const out = row_at(dst, y, dst_stride);
    if (src_height == 1) {
      std::copy_n(filtered.rows()[0], dst_width, out);
    } else {
      blend_floats(filtered.rows()[0], filtered.rows()[1], at.fraction, out, dst_width);
    }
  }
}

}  // namespace KelvraCV
