// Bilinear resizing of float planes, a row at a time.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_FLOAT_H_
#define KELVRA_CV_GEOMETRY_RESIZE_FLOAT_H_

#include <algorithm>
#include <cmath>

#include "core/row_ring.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "geometry/resize_tables.h"

namespace KelvraCV::detail {

// Each pass blends two neighbours a and b as a (1 - t) + b t, one product fused.

// A row of an image of half the size, where t is 0.5.
inline void halve_floats(const float* top, const float* bottom, int dst_width, float* out) {
  store_groups(static_cast<size_t>(dst_width), out, [=](auto d, size_t x) KELVRA_CV_INLINE {
    using V = hn::Vec<decltype(d)>;
    const V half = hn::Set(d, 0.5f);
    const auto blend = [=](V a, V b) KELVRA_CV_INLINE { return hn::MulAdd(b, half, a * half); };
    const auto pairs = [=](const float* row) KELVRA_CV_INLINE {
      V sides[2];
      load_pixels<2>(d, row + 2 * x, sides);
      return blend(sides[0], sides[1]);
    };
    return blend(pairs(top), pairs(bottom));
  });
}

// A row of kTimes as many columns, 2 or 4. Between two columns of the source t is an odd multiple
// of 1 / (2 kTimes); it is 0 before the first one and 1 behind the last one.
template <int kTimes>
void enlarge_floats(const float* src, int src_width, float* out) {
  const auto last = static_cast<size_t>(src_width) - 1;
  std::fill_n(out, kTimes / 2, std::fma(src[1], 0.0f, src[0]));
  out += kTimes / 2;
  for_each_vector<float>(last, [=](auto d, size_t x) KELVRA_CV_INLINE {
    const auto a = hn::LoadU(d, src + x), b = hn::LoadU(d, src + x + 1);
    const auto column = [=](int i) KELVRA_CV_INLINE {
      const float t = (static_cast<float>(i) + 0.5f) / kTimes;
      return opaque(hn::MulAdd(b, hn::Set(d, t), a * hn::Set(d, 1.0f - t)));
    };
    if constexpr (kTimes == 2) {
      hn::StoreInterleaved2(column(0), column(1), d, out + 2 * x);
    } else {
      hn::StoreInterleaved4(column(0), column(1), column(2), column(3), d, out + 4 * x);
    }
  });
  std::fill_n(out + kTimes * last, kTimes / 2, std::fma(src[last], 1.0f, src[last - 1] * 0.0f));
}

// By which of these a row is enlarged, or 0. All coordinates of four times as many columns are in
// whole groups of four.
inline int exact_enlargement(int source, int destination) {
  if (exact_step(source, destination) == kHalfStep) return 2;
  return destination == int64_t{4} * source && destination < 1 << 21 ? 4 : 0;
}

// `source(y)` gives row y of the source: until its next call, or with kRowsStay for good.
template <class Source, bool kRowsStay = false>
class FloatResizer {
 public:
  FloatResizer(int src_width, int src_height, int dst_width, int dst_height, Source source)
      : src_width_(src_width),
        src_height_(src_height),
        dst_width_(dst_width),
        dst_height_(dst_height),
        enlargement_(exact_enlargement(src_width, dst_width)),
        source_(std::move(source)),
        pitch_(static_cast<size_t>(dst_width) + 3),
        taps_(pitch_),
        weights_(2, pitch_),
        rows_(src_height, dst_height),
        filtered_(dst_width) {
    float *const left = weights_.get(), *const right = left + pitch_;
    int* const taps = taps_.get();
    std::fill_n(taps, pitch_, 0);
    std::fill_n(left, 2 * pitch_, 0.0f);
    Coordinates(src_width, dst_width).for_each([=](int x, float coordinate) {
      const Position at = position_of(coordinate, src_width);
      taps[x] = at.tap;
      left[x] = 1.0f - at.fraction;
      right[x] = at.fraction;
    });
  }

  // Row y of the destination. Rows are meant to be asked for from the top.
  void row(int y, float* out) {
    const Position at = position_of(rows_(y), src_height_);
    const int top = std::max(at.tap, 0), bottom = at.tap + 1;
    const float t = at.fraction;
    if (kRowsStay && src_height_ / 2 >= dst_height_ && src_width_ > 1) {
      blend(source_(top), source_(bottom), t, out);
      return;
    }
    const auto make = [&](int row, float* values) { filter(source_(row), values); };
    const float *const above = filtered_.row(top, make), *const below = filtered_.row(bottom, make);
    if (src_height_ == 1) {
      std::copy_n(above, dst_width_, out);
      return;
    }
    store_groups(static_cast<size_t>(dst_width_), out, [=](auto d, size_t x) KELVRA_CV_INLINE {
      return hn::MulAdd(hn::LoadU(d, below + x), hn::Set(d, t),
                        hn::LoadU(d, above + x) * hn::Set(d, 1.0f - t));
    });
  }

 private:
  using Floats = Block<float>;
  using Pair = hn::Half<Floats>;

  // Blends four columns of a source row from column x on. There are taps for three columns more
  // than the row has.
  struct Columns {
    const int* taps;
    const float *left, *right;

    HWY_INLINE hn::Vec<Floats> operator()(const float* src, int x) const {
      const Floats d;
      const Pair pair;
      const auto two_pairs = [=](int a, int b) KELVRA_CV_INLINE {
        return hn::Combine(d, hn::LoadU(pair, src + b), hn::LoadU(pair, src + a));
      };
      const int* const tap = taps + x;
      const auto first = two_pairs(tap[0], tap[1]), second = two_pairs(tap[2], tap[3]);
      const auto a = hn::ConcatEven(d, second, first), b = hn::ConcatOdd(d, second, first);
      return hn::MulAdd(b, hn::LoadU(d, right + x), a * hn::LoadU(d, left + x));
    }
  };
  Columns columns() const { return {taps_.get(), weights_.get(), weights_.get() + pitch_}; }

  void filter(const float* src, float* out) const {
    if (src_width_ == 1) {
      std::fill_n(out, dst_width_, src[0]);
      return;
    }
    if (enlargement_ == 2) return enlarge_floats<2>(src, src_width_, out);
    if (enlargement_ == 4) return enlarge_floats<4>(src, src_width_, out);
    const Columns four_columns = columns();
    for (int x = 0, width = dst_width_; x < width; x += 4) {
      hn::StoreU(four_columns(src, x), Floats(), out + x);
    }
  }

  // Both passes at once, where most filtered rows would serve once only.
  void blend(const float* top, const float* bottom, float t, float* out) const {
    const Floats d;
    const auto below = hn::Set(d, t), above = hn::Set(d, 1.0f - t);
    const auto blended = [=, four_columns = columns()](int x) KELVRA_CV_INLINE {
      return hn::MulAdd(four_columns(bottom, x), below, four_columns(top, x) * above);
    };
    const int width = dst_width_;
    int x = 0;
    for (; x + 4 <= width; x += 4) hn::StoreU(blended(x), d, out + x);
    if (x < width) store_first(d, blended(x), out + x, static_cast<size_t>(width - x));
  }

  int src_width_, src_height_, dst_width_, dst_height_, enlargement_;
  Source source_;
  size_t pitch_;
  Scratch<int> taps_;
  Scratch<float> weights_;  // those of the left taps, then those of the right ones
  Coordinates rows_;
  FilteredRows<float, 2> filtered_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_FLOAT_H_
