// Bilinear resizing of bytes in 11-bit fixed point, truncating, and of floats.
#include "core/rows.h"
#include "geometry/resize_float.h"
#include "geometry/resize_separable.h"
#include "geometry/resize_shortcuts.h"
#include "geometry/row_picker.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

enum class Columns { kOther, kPick, kHalve, kDouble };

constexpr int kNear = kWeightOne * 3 / 4;

// What all columns have in common.
Columns columns_of(int source, int destination) {
  const auto all = [=](auto holds) {
    return all_positions(source, destination, [=](int x, float coordinate) {
      const Taps<2> taps = Linear::taps(coordinate, source);
      return holds(x, taps.first, taps.weights[0]);
    });
  };
  if (all([](int, int, int weight) { return weight == kWeightOne; })) return Columns::kPick;
  if (2 * int64_t{destination} <= source && all([](int x, int first, int weight) {
        return first == 2 * int64_t{x} && weight == kWeightOne / 2;
      })) {
    return Columns::kHalve;
  }
  if (destination == 2 * int64_t{source} && all([=](int x, int first, int weight) {
        if (x == 0 || x == destination - 1) return first == x / 2 && weight == kWeightOne;
        return first == (x - 1) / 2 && weight == (x % 2 != 0 ? kNear : kWeightOne - kNear);
      })) {
    return Columns::kDouble;
  }
  return Columns::kOther;
}

// Each row is made by the first of these that can:
//   RowPicker              where columns and row take single pixels, as in a third
//   SimpleRows::halve      where columns and row take the means of two
//   SimpleRows::enlarge    where columns and row are doubled
//   RowFilter::blend       of a reduction, two source rows at once
//   RowFilter, blend_rows  of an enlargement, from filtered source rows that are kept
template <int kSource, int kChannels, bool kSwap = false>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  if (sizes.is_empty()) return;
  using Simple = SimpleRows<kSource, kChannels, kSwap>;
  const int src_width = sizes.src_width, dst_width = sizes.dst_width;
  const Columns columns = columns_of(src_width, dst_width);
  std::optional<RowPicker<kSource, kChannels, kSwap>> picker;
  const auto shortcut = [&](const uint8_t* const* rows, const Taps<2>& taps, uint8_t* out) {
    const int weight = taps.weights[0];
    if (columns == Columns::kPick && weight == kWeightOne) {
      if (!picker) {
        picker.emplace(src_width, dst_width,
                       [=](float at) { return Linear::taps(at, src_width).first; });
      }
      picker->pick(rows[0], out);
    } else if (columns == Columns::kHalve && weight == kWeightOne / 2) {
      Simple::halve(rows[0], rows[1], dst_width, out);
    } else if (columns == Columns::kDouble && (weight == kNear || weight == kWeightOne)) {
      Simple::enlarge(rows[0], rows[1], src_width, out);
    } else if (columns == Columns::kDouble && weight == kWeightOne - kNear) {
      Simple::enlarge(rows[1], rows[0], src_width, out);
    } else {
      return false;
    }
    return true;
  };
  resize_separable<Linear, kSource, kChannels, kSwap>(src, dst, sizes, shortcut);
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
