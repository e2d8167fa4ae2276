// Bilinear and bicubic resizing of bytes: source rows are filtered along the row into 16-bit
// values, of which two or four rows make a destination row. resize_tables.h has the formulas.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_
#define KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_

#include <algorithm>
#include <utility>

#include "core/row_ring.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "geometry/pixel_gather.h"
#include "geometry/resize_tables.h"

namespace KelvraCV::detail {

// ---- Across the rows.

// The two rows of a bilinear blend by their weights: `far` weighs at most half.
template <class T>
struct RowPair {
  RowPair(const T* first, const T* second, const Taps<2>& taps)
      : near(first), far(second), weight(taps.weights[1]) {
    if (weight <= kWeightOne / 2) return;
    std::swap(near, far);
    weight = kWeightOne - weight;
  }
  const T *near, *far;
  int weight;  // of the far row
};

inline void blend_rows(const int16_t* const* rows, const Taps<2>& taps, uint8_t* out,
                       size_t count) {
  const Full<int16_t> d16;
  const RowPair<int16_t> pair(rows[0], rows[1], taps);
  const auto weight = hn::Set(d16, far_weight(pair.weight));
  store_row(count, out, [&](size_t x) KELVRA_CV_INLINE {
    const auto half = [&](size_t at) KELVRA_CV_INLINE {
      return mean_of_rows(hn::LoadU(d16, pair.near + at), hn::LoadU(d16, pair.far + at), weight);
    };
    return narrow_from_bit<7>(half(x), half(x + hn::Lanes(d16)));
  });
}

inline void blend_rows(const int16_t* const* rows, const Taps<4>& taps, uint8_t* out,
                       size_t count) {
  const Full<int16_t> d16;
  store_row(count, out, [&](size_t x) KELVRA_CV_INLINE {
    return sum_of_four_rows(
        [&](int row, int half) KELVRA_CV_INLINE {
          return hn::LoadU(d16, rows[row] + x + static_cast<size_t>(half) * hn::Lanes(d16));
        },
        taps.weights);
  });
}

// ---- Along the row.

// kSource bytes a source pixel become kChannels values: of four bytes, the last may be dropped.
template <class Kernel, int kSource, int kChannels, bool kSwap>
class RowFilter {
 public:
  static constexpr int kTaps = Kernel::kTaps;

  RowFilter(int src_width, int dst_width)
      : count_(static_cast<size_t>(dst_width) * kChannels),
        stride_(count_ + kSpareValues),
        weights_(kParts, stride_),
        gather_(src_width, dst_width, make_weights(src_width, dst_width)) {}

  // All lambdas capture by value: no byte written can be part of that.

  // The values of a source row; whole vectors are written.
  void operator()(const uint8_t* src, int16_t* out) {
    const Full<int16_t> d16;
    const uint8_t* const row = gather_.open(src, 0);
    const int16_t* const weights = weights_.get();
    gather_.use([=, count = count_, stride = stride_](auto pairs) KELVRA_CV_INLINE {
      for (size_t x = 0; x < count; x += hn::Lanes(d16)) {
        const auto part = [=](int i) { return hn::LoadU(d16, weights + i * stride + x); };
        if constexpr (kTaps == 2) {
          hn::StoreU(mean_of_pairs(pairs(row, 2 * x), part(0)), d16, out + x);
        } else {
          const hn::Vec<decltype(d16)> parts[4] = {part(0), part(1), part(2), part(3)};
          hn::StoreU(sum_of_taps(pairs(row, 2 * x, 0), pairs(row, 2 * x, 1), parts), d16, out + x);
        }
      }
    });
  }

  // A destination row of two source rows at once, for when no other row needs them.
  void blend(const uint8_t* first, const uint8_t* second, const Taps<2>& taps, uint8_t* out) {
    const Full<int16_t> d16;
    const RowPair<uint8_t> pair(first, second, taps);
    const uint8_t* const near = gather_.open(pair.near, 0);
    const uint8_t* const far = gather_.open(pair.far, 1);
    const auto row_weight = hn::Set(d16, far_weight(pair.weight));
    const int16_t* const column_weights = weights_.get();
    gather_.use([=, count = count_](auto pairs) KELVRA_CV_INLINE {
      store_row(count, out, [=](size_t x) KELVRA_CV_INLINE {
        const auto half = [&](size_t at) KELVRA_CV_INLINE {
          const auto weights = hn::LoadU(d16, column_weights + at);
          return mean_of_rows(mean_of_pairs(pairs(near, 2 * at), weights),
                              mean_of_pairs(pairs(far, 2 * at), weights), row_weight);
        };
        return narrow_from_bit<7>(half(x), half(x + hn::Lanes(d16)));
      });
    });
  }

 private:
  static constexpr int kParts = kTaps == 2 ? 1 : 4;  // of a value's weights

  // Returns each column's first tap.
  Scratch<int> make_weights(int src_width, int dst_width) {
    std::fill_n(weights_.get(), kParts * stride_, int16_t{0});
    Scratch<int> first(static_cast<size_t>(dst_width));
    Coordinates(src_width, dst_width).for_each([&](int x, float coordinate) {
      const Taps<kTaps> taps = Kernel::taps(coordinate, src_width);
      first[x] = taps.first;
      int16_t parts[kParts];
      if constexpr (kTaps == 2) {
        parts[0] = pair_weight(taps.weights[1]);
      } else {
        split_weights(taps.weights, parts);
      }
      for (int i = 0; i < kParts; ++i) {
        std::fill_n(&weights_[i * stride_ + static_cast<size_t>(x) * kChannels], kChannels,
                    parts[i]);
      }
    });
    return first;
  }

  size_t count_, stride_;
  Scratch<int16_t> weights_;
  // A set for each pair of taps.
  PixelGather<kSource, kChannels, kSwap, 2, kTaps / 2> gather_;
};

// ---- The whole.

template <class Kernel, int kSource, int kChannels, bool kSwap>
void resize_separable(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  constexpr int kTaps = Kernel::kTaps;
  // Of a reduction, most filtered rows would serve once only.
  const bool blends = kTaps == 2 && sizes.src_height > sizes.dst_height;
  const size_t count = static_cast<size_t>(sizes.dst_width) * kChannels;
  const Coordinates coordinate(sizes.src_height, sizes.dst_height);
  RowFilter<Kernel, kSource, kChannels, kSwap> filter(sizes.src_width, sizes.dst_width);
  FilteredRows<int16_t, kTaps> filtered(blends ? 0 : count);
  for (int y = 0; y < sizes.dst_height; ++y) {
    const Taps<kTaps> taps = Kernel::taps(coordinate(y), sizes.src_height);
    const auto tap = [&](int i) { return std::clamp(taps.first + i, 0, sizes.src_height - 1); };
    const auto source = [&](int row) { return row_at(src, row, sizes.src_stride); };
    uint8_t* const out = row_at(dst, y, sizes.dst_stride);
    if constexpr (kTaps == 2) {
      if (blends) {
        filter.blend(source(tap(0)), source(tap(1)), taps, out);
        continue;
      }
    }
    const int16_t* rows[kTaps];
    for (int i = 0; i < kTaps; ++i) {
      rows[i] = filtered.row(tap(i), [&](int row, int16_t* to) { filter(source(row), to); });
    }
    blend_rows(rows, taps, out, count);
  }
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_
