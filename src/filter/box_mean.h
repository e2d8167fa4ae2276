// The mean over a square window with replicated borders, by running sums: along each row first,
// then down each column. One body for sums of integers and of floats.
#ifndef KELVRA_CV_FILTER_BOX_MEAN_H_
#define KELVRA_CV_FILTER_BOX_MEAN_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "core/row_ring.h"
#include "core/scratch.h"
#include "core/simd.h"

namespace KelvraCV::detail {

// Whether a window of 2 radius + 1 samples fits into both sides. A negative radius has no window.
inline bool window_fits(int width, int height, int radius) {
  return radius >= 0 && radius <= (std::min(width, height) - 1) / 2;
}

// How many rows are padded before they are summed. Two, as reading back what was written just now,
// in pieces of another alignment, would wait. A float sum must add in order, one addition waiting
// for the one before: only other rows' sums, side by side, can fill the wait.
template <class Sum>
constexpr int kRowsTogether = std::is_same_v<Sum, float> ? 8 : 2;

// The sums over windows of n samples along padded rows: sums[x] = padded[x + 1] + … + padded[x +
// n]. In order: (radius + 1) times the first sample, plus the next `radius` ones; from then on,
// first the sample that enters is added, then the one that leaves is subtracted.
template <class Float>
void sum_along(const Float* const* padded, Float* const* sums, int width, int radius) {
  constexpr int kRows = kRowsTogether<Float>;
  const int n = 2 * radius + 1;
  Float sum[kRows];
  for (int i = 0; i < kRows; ++i) {
    const Float* row = padded[i] + radius + 1;
    sum[i] = static_cast<Float>(radius + 1) * row[0];
    for (int x = 1; x <= radius; ++x) sum[i] += row[x];
    sums[i][0] = sum[i];
  }
  for (int x = 1; x < width; ++x) {
    for (int i = 0; i < kRows; ++i) {
      sum[i] += padded[i][x + n];
      sum[i] -= padded[i][x];
      sums[i][x] = sum[i];
    }
  }
}

// The same for bytes and integers, whose order does not matter: sums of what enters and leaves.
template <class Sum>
void sum_bytes_along(const uint8_t* padded, Sum* sums, int width, int radius) {
  const TwoBlocks<Sum> d;
  const size_t n = 2 * static_cast<size_t>(radius) + 1;
  int first = 0;
  for (size_t x = 0; x < n; ++x) first += padded[x];
  auto carry = hn::Set(d, static_cast<Sum>(first));
  for (size_t x = 0; x < static_cast<size_t>(width); x += hn::Lanes(d)) {
    const auto enters = load_as(d, padded + x + n), leaves = load_as(d, padded + x);
    hn::StoreU(prefix_sums(enters - leaves, carry), d, sums + x);
  }
}
template <class Sum>
void sum_along(const uint8_t* const* padded, Sum* const* sums, int width, int radius) {
  for (int i = 0; i < kRowsTogether<Sum>; ++i) sum_bytes_along(padded[i], sums[i], width, radius);
}

// The mean of a window's sum: as a float, or of bytes as trunc(sum * (1.0f / area) + 0.5f).
struct Mean {
  float inverse_area;
  template <class V>
  HWY_INLINE V operator()(V sum) const {
    const hn::RebindToFloat<hn::DFromV<V>> d;
    const auto inverse = hn::Set(d, inverse_area);
    if constexpr (std::is_same_v<V, hn::Vec<decltype(d)>>) {
      return sum * inverse;
    } else {
      return truncate_fitting(hn::ConvertTo(d, sum) * inverse + hn::Set(d, 0.5f));
    }
  }
};

// The mean of bytes in integers, as (sum + area / 2) / area. An area is odd, so sum / area + 0.5 is
// never nearer to a whole number than 1 / (2 area), and the floats of Mean, whose error is below
// 2^-14.5, come to the same byte.
//
// The division is a product with factor = (2^31 + e) / area, 0 < e < area. That is too large by
// (sum + area / 2) e / (area 2^31), which cannot reach the next whole number as long as it is less
// than 1 / area: while 256 area^2 <= 2^31.
struct IntegerMean {
  static constexpr int kLargestArea = 53 * 53;
  explicit IntegerMean(int area)
      : half(area / 2), factor(static_cast<int>((int64_t{1} << 31) / area + 1)) {}
  template <class V>
  HWY_INLINE V operator()(V sum) const {
    const hn::DFromV<V> d;
    return multiply_high(sum + hn::Set(d, half), hn::Set(d, factor));
  }
  int half, factor;
};

// columns += enters - leaves, in this order, and their means. Rows are padded to whole groups. Not
// inlined: then GCC would not inline push(), which costs small images more.
template <class RowSum, class Sum, class Result, class MeanOf>
HWY_FLATTEN HWY_NOINLINE void slide_down(Sum* columns, const RowSum* enters, const RowSum* leaves,
                                         MeanOf mean, Result* means, size_t width) {
  using Group = VectorGroup<Full<Sum>, 4>;
  const Full<Sum> d;
  for (size_t x = 0; x < width; x += Group::kLanes) {
    Group sums = Group::load(columns + x);
    for (size_t i = 0; i < std::size(sums.v); ++i) {
      const size_t at = x + i * hn::Lanes(d);
      sums.v[i] = sums.v[i] + load_as(d, enters + at) - load_as(d, leaves + at);
    }
    sums.store(columns + x);
    for (auto& v : sums.v) v = mean(v);
    if constexpr (std::is_same_v<Result, float>) {
      sums.store(means + x);
    } else {
      hn::StoreU(narrow_to_u8(sums.v[0], sums.v[1], sums.v[2], sums.v[3]), Full<uint8_t>(),
                 means + x);
    }
  }
}
template <class RowSum>
void slide_down(int64_t* columns, const RowSum* enters, const RowSum* leaves, Mean mean,
                uint8_t* means, size_t width) {
  for (size_t x = 0; x < width; ++x) {
    columns[x] += int64_t{enters[x]} - leaves[x];
    const float sum = static_cast<float>(columns[x]);
    means[x] = static_cast<uint8_t>(sum * mean.inverse_area + 0.5f);
  }
}

// The means of a plane, one row after the other from the top. RowSum must hold n samples' sum, Sum
// that of n x n, for n = 2 radius + 1. A window that does not fit leaves the samples as they are.
//
// Bytes are rounded by the column, on purpose: those before width & ~7 half up, the rest down.
template <class Sample, class RowSum, class Sum>
class BoxMean {
 public:
  BoxMean(int width, int height, int radius)
      : fits_(window_fits(width, height, radius)),
        width_(width),
        height_(height),
        radius_(fits_ ? radius : 0),
        pitch_(fits_ ? static_cast<size_t>(width) + kPadding : 0),
        n_(2 * static_cast<size_t>(radius_) + 1),
        area_(static_cast<Sum>(n_ * n_)),
        // the rows of a window, the row that leaves it, and those summed ahead
        row_sums_(std::min<size_t>(height, n_ + kTogether), pitch_),
        padded_(kTogether, pitch_ + n_),
        spare_(pitch_),
        columns_(pitch_),
        means_(pitch_) {
    std::fill_n(padded_[0], (pitch_ + n_) * kTogether, Sample{});
    std::fill_n(columns_.get(), pitch_, Sum{});
  }

  // Takes the next row, and in place of rows below the last one that one again. Returns the next
  // row of means, until the next call, or null if there is none yet; below the last one, that
  // again.
  const Sample* push(const Sample* row) {
    if (!fits_) return row;
    if (pushed_ < height_) {
      pad(row, padded_[pushed_ % kTogether]);
      if (++pushed_ % kTogether == 0 || pushed_ == height_) sum_padded();
    }
    if (next_ == height_) return means_.get();
    if (summed_ <= std::min(next_ + radius_, height_ - 1)) return nullptr;
    if (next_ == 0) {
      start_columns();
      std::fill_n(spare_.get(), pitch_, RowSum{});
      step(spare_.get(), spare_.get());
    } else {
      step(row_sums_[std::min(next_ + radius_, height_ - 1)],
           row_sums_[std::max(next_ - radius_ - 1, 0)]);
    }
    if constexpr (std::is_same_v<Sample, uint8_t>) truncate_means();
    ++next_;
    return means_.get();
  }

 private:
  static constexpr int kTogether = kRowsTogether<RowSum>;
  static constexpr size_t kPadding = 64;  // at least a group of columns, for loops without an end

  void pad(const Sample* row, Sample* padded) const {
    std::fill_n(padded, radius_ + 1, row[0]);
    std::copy_n(row, width_, padded + radius_ + 1);
    std::fill_n(padded + radius_ + 1 + width_, radius_, row[width_ - 1]);
  }

  void sum_padded() {
    const Sample* padded[kTogether];
    RowSum* sums[kTogether];
    for (int i = 0; i < kTogether; ++i) {
      padded[i] = padded_[i];
      sums[i] = summed_ + i < height_ ? row_sums_[summed_ + i] : spare_.get();
    }
    sum_along(padded, sums, width_, radius_);
    summed_ = pushed_;
  }

  // (radius + 1) times row 0, plus the next `radius` rows.
  void start_columns() {
    Sum* const columns = columns_.get();
    const int width = width_;
    for (int y = 0; y <= radius_; ++y) {
      const RowSum* sums = row_sums_[y];
      const Sum weight = static_cast<Sum>(y == 0 ? radius_ + 1 : 1);
      for (int x = 0; x < width; ++x) {  // vectorised
        columns[x] += weight * static_cast<Sum>(sums[x]);
      }
    }
  }

  void step(const RowSum* enters, const RowSum* leaves) {
    const float inverse_area = 1.0f / static_cast<float>(area_);
    const auto slide = [&](auto mean) {
      slide_down(columns_.get(), enters, leaves, mean, means_.get(), width_);
    };
    if constexpr (kIsMultiplyHighFast && std::is_same_v<Sum, int32_t>) {
      if (area_ > 1 && area_ <= IntegerMean::kLargestArea) return slide(IntegerMean(area_));
    }
    slide(Mean{inverse_area});
  }

  // Those of bytes in the last columns.
  void truncate_means() {
    for (int x = width_ & ~7; x < width_; ++x) {
      means_[x] = static_cast<uint8_t>(columns_[x] / area_);
    }
  }

  bool fits_;
  int width_, height_, radius_;
  size_t pitch_, n_;
  Sum area_;
  RowRing<RowSum> row_sums_;
  RowRing<Sample> padded_;
  Scratch<RowSum> spare_;  // sums that nobody reads, and zeros
  Scratch<Sum> columns_;
  Scratch<Sample> means_;
  int pushed_ = 0, summed_ = 0, next_ = 0;  // rows taken, summed along, and returned
};
using FloatBoxMean = BoxMean<float, float, float>;

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_FILTER_BOX_MEAN_H_
