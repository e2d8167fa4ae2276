// Bilinear resizing of float planes, a row at a time.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_FLOAT_H_
#define KELVRA_CV_GEOMETRY_RESIZE_FLOAT_H_

#include <algorithm>
#include <cmath>

#include "core/scratch.h"
#include "core/simd.h"
#include "geometry/filtered_rows.h"
#include "geometry/resize_tables.h"

namespace KelvraCV::detail {

// Each pass blends two neighbours a and b as a (1 - t) + b t, one product fused.
//
// `source(y)` gives row y of the source, until its next call.
template <class Source>
class FloatResizer {
 public:
  FloatResizer(int src_width, int src_height, int dst_width, int dst_height, Source source)
      : src_width_(src_width),
        src_height_(src_height),
        dst_width_(dst_width),
        source_(std::move(source)),
        taps_(dst_width),
        weights_(2, dst_width),
        rows_(src_height, dst_height),
        filtered_(dst_width) {
    float *const left = weights_.get(), *const right = left + dst_width;
    Coordinates(src_width, dst_width).for_each([=, taps = taps_.get()](int x, float coordinate) {
      const Position at = position_of(coordinate, src_width);
      taps[x] = at.tap;
      left[x] = 1.0f - at.fraction;
      right[x] = at.fraction;
    });
    for (int x = 0; x < dst_width; ++x) are_pairs_ = are_pairs_ && taps_[x] == 2 * x;
  }

  // Row y of the destination. Rows are meant to be asked for from the top.
  void row(int y, float* out) {
    const Position at = position_of(rows_(y), src_height_);
    filtered_.load({std::max(at.tap, 0), at.tap + 1},
                   [&](int row, float* values) { filter(source_(row), values); });
    const float *const top = filtered_.rows()[0], *const bottom = filtered_.rows()[1];
    const float t = at.fraction;
    if (src_height_ == 1) {
      std::copy_n(top, dst_width_, out);
      return;
    }
    for (int x = 0; x < dst_width_; ++x) {  // vectorised
      out[x] = std::fma(bottom[x], t, top[x] * (1.0f - t));
    }
  }

 private:
  using Floats = Block<float>;
  using Pair = hn::Half<Floats>;

  void filter(const float* src, float* out) const {
    if (src_width_ == 1) {
      std::fill_n(out, dst_width_, src[0]);
      return;
    }
    const Floats d;
    const Pair pair;
    const int width = dst_width_;
    const int* const taps = taps_.get();
    const float *const left = weights_.get(), *const right = left + width;
    int x = 0;
    for (; x + 4 <= width; x += 4) {
      auto first = hn::Zero(d), second = first;  // two pairs of neighbours each
      if (are_pairs_) {
        first = hn::LoadU(d, src + 2 * x);
        second = hn::LoadU(d, src + 2 * x + 4);
      } else {
        first = hn::Combine(d, hn::LoadU(pair, src + taps[x + 1]), hn::LoadU(pair, src + taps[x]));
        second =
            hn::Combine(d, hn::LoadU(pair, src + taps[x + 3]), hn::LoadU(pair, src + taps[x + 2]));
      }
      const auto a = hn::ConcatEven(d, second, first), b = hn::ConcatOdd(d, second, first);
      hn::StoreU(hn::MulAdd(b, hn::LoadU(d, right + x), a * hn::LoadU(d, left + x)), d, out + x);
    }
    for (; x < width; ++x) {
      const float* const neighbours = src + taps[x];
      out[x] = std::fma(neighbours[1], right[x], neighbours[0] * left[x]);
    }
  }

  int src_width_, src_height_, dst_width_;
  Source source_;
  Scratch<int> taps_;
  Scratch<float> weights_;  // those of the left taps, then those of the right ones
  bool are_pairs_ = true;   // whether column x takes columns 2 x and 2 x + 1
  Coordinates rows_;
  FilteredRows<float, 2> filtered_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_FLOAT_H_
