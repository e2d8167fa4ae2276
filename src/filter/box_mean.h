// The mean over a square window with replicated borders, by running sums: along each row first,
// then down each column. One body for sums of integers and of floats.
#ifndef KELVRA_CV_FILTER_BOX_MEAN_H_
#define KELVRA_CV_FILTER_BOX_MEAN_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"

namespace KelvraCV::detail {

// Whether a window of 2 radius + 1 samples fits into both sides. A negative radius has no window.
inline bool window_fits(int width, int height, int radius) {
  return radius >= 0 && radius <= (std::min(width, height) - 1) / 2;
}

// How many rows are summed side by side. A float sum must add in order, one addition waiting for
// the one before: only other rows' sums can fill the wait. Integer sums need no company.
template <class Sum>
constexpr int kRowsTogether = 1;
template <>
inline constexpr int kRowsTogether<float> = 8;

// Rows of sums are padded to whole vectors, and rows of samples to what loads of them may read.
constexpr int kBoxRowPadding = 64;

// The sums over windows of n samples along padded rows: sums[x] = padded[x + 1] + … + padded[x +
// n]. In order: (radius + 1) times the first sample, plus the next `radius` ones; from then on,
// first the sample that enters is added, then the one that leaves is subtracted.
template <class Sample, class Sum>
void sum_along(const Sample* const* padded, Sum* const* sums, int width, int radius) {
  constexpr int kRows = kRowsTogether<Sum>;
  const int n = 2 * radius + 1;
  Sum sum[kRows];
  for (int i = 0; i < kRows; ++i) {
    const Sample* row = padded[i] + radius + 1;
    sum[i] = static_cast<Sum>(static_cast<Sum>(radius + 1) * row[0]);
    for (int x = 1; x <= radius; ++x) sum[i] = static_cast<Sum>(sum[i] + row[x]);
    sums[i][0] = sum[i];
  }
  for (int x = 1; x < width; ++x) {
    for (int i = 0; i < kRows; ++i) {
      sum[i] = static_cast<Sum>(sum[i] + padded[i][x + n]);
      sum[i] = static_cast<Sum>(sum[i] - padded[i][x]);
      sums[i][x] = sum[i];
    }
  }
}

// lanes[i] = the sum of lanes 0 … i of `v`, plus `carry`, which then has the last of them in all
// lanes.
template <class D>
HWY_INLINE hn::Vec<D> prefix_sums(D d, hn::Vec<D> v, hn::Vec<D>& carry) {
  using T = hn::TFromD<D>;
  const hn::Repartition<uint8_t, D> d8;
  alignas(16) static constexpr uint8_t kLast16[16] = {14, 15, 14, 15, 14, 15, 14, 15,
                                                      14, 15, 14, 15, 14, 15, 14, 15};
  alignas(16) static constexpr uint8_t kLast32[16] = {12, 13, 14, 15, 12, 13, 14, 15,
                                                      12, 13, 14, 15, 12, 13, 14, 15};
  v = v + hn::ShiftLeftLanes<1>(d, v);
  v = v + hn::ShiftLeftLanes<2>(d, v);
  if constexpr (sizeof(T) == 2) v = v + hn::ShiftLeftLanes<4>(d, v);
  const auto order = hn::LoadDup128(d8, sizeof(T) == 2 ? kLast16 : kLast32);
  auto total = hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(d8, v), order));
  if constexpr (hn::MaxLanes(d8) == 32) {
    v = v + hn::ConcatLowerLower(d, total, hn::Zero(d));
    total = total + hn::ConcatLowerUpper(d, total, total);
  }
  v = v + carry;
  carry = carry + total;
  return v;
}

// The same for bytes and integers, whose order does not matter: sums of what enters and leaves.
template <class Sum>
void sum_bytes_along(const uint8_t* padded, Sum* sums, int width, int radius) {
  const Full<Sum> d;
  const hn::Rebind<uint8_t, Full<Sum>> bytes;
  const int n = 2 * radius + 1;
  int first = 0;
  for (int x = 0; x < n; ++x) first += padded[x];
  auto carry = hn::Set(d, static_cast<Sum>(first));
  for (int x = 0; x < width; x += static_cast<int>(hn::Lanes(d))) {
    const auto enters = hn::PromoteTo(d, hn::LoadU(bytes, padded + x + n));
    const auto leaves = hn::PromoteTo(d, hn::LoadU(bytes, padded + x));
    hn::StoreU(prefix_sums(d, enters - leaves, carry), d, sums + x);
  }
}
inline void sum_along(const uint8_t* const* padded, uint16_t* const* sums, int width, int radius) {
  sum_bytes_along(padded[0], sums[0], width, radius);
}
inline void sum_along(const uint8_t* const* padded, int32_t* const* sums, int width, int radius) {
  sum_bytes_along(padded[0], sums[0], width, radius);
}

// columns += enters - leaves, in this order. Rows are padded to whole vectors.
template <class RowSum, class Sum>
void slide_down(Sum* columns, const RowSum* enters, const RowSum* leaves, int width) {
  for (int x = 0; x < width; ++x) {
    const Sum sum = columns[x] + static_cast<Sum>(enters[x]);
    columns[x] = sum - static_cast<Sum>(leaves[x]);
  }
}
inline void slide_down(int32_t* columns, const uint16_t* enters, const uint16_t* leaves,
                       int width) {
  const Full<int32_t> d;
  const hn::Rebind<uint16_t, Full<int32_t>> d16;
  for (int x = 0; x < width; x += static_cast<int>(hn::Lanes(d))) {
    const auto sum = hn::LoadU(d, columns + x) + hn::PromoteTo(d, hn::LoadU(d16, enters + x));
    hn::StoreU(sum - hn::PromoteTo(d, hn::LoadU(d16, leaves + x)), d, columns + x);
  }
}

// The window sums of a plane, a row after the other from the top.
//
// `row(y)` gives row y of the samples. Rows are asked for once each, from the top, in bunches of up
// to kRowsTogether, as far as row y + radius for the sums of row y; a row need not outlive the next
// call. RowSum must hold n samples' sum, Sum that of n x n, for n = 2 radius + 1, which must fit.
template <class RowSum, class Sum, class Row>
class BoxSums {
 public:
  BoxSums(int width, int height, int radius, Row row)
      : width_(width),
        height_(height),
        radius_(radius),
        row_(std::move(row)),
        // the rows of a window, the row that leaves it, and those summed ahead
        kept_(std::min<int64_t>(height, 2 * static_cast<int64_t>(radius) + 1 + kTogether)),
        pitch_(width + kBoxRowPadding),
        padded_pitch_(width + 2 * radius + 1 + kBoxRowPadding),
        row_sums_(kept_ + kTogether - 1, pitch_),
        padded_(kTogether, padded_pitch_),
        columns_(pitch_) {
    std::fill_n(padded_.get(), padded_pitch_ * kTogether, Sample{});
  }

  // The sums of the next row, until the next call.
  const Sum* next() {
    const int y = next_++;
    if (y == 0) {
      start_columns();
    } else {
      const RowSum* enters = sums_of(std::min(y + radius_, height_ - 1));
      const RowSum* leaves = sums_of(std::max(y - radius_ - 1, 0));
      slide_down(columns_.get(), enters, leaves, width_);
    }
    return columns_.get();
  }

 private:
  using Sample = std::remove_cv_t<std::remove_pointer_t<std::invoke_result_t<Row, int>>>;
  static constexpr int kTogether = kRowsTogether<RowSum>;

  // (radius + 1) times row 0, plus the next `radius` rows.
  void start_columns() {
    Sum* columns = columns_.get();
    const RowSum* first = sums_of(0);
    for (int x = 0; x < width_; ++x) {
      columns[x] = static_cast<Sum>(radius_ + 1) * static_cast<Sum>(first[x]);
    }
    for (int y = 1; y <= radius_; ++y) {
      const RowSum* sums = sums_of(y);
      for (int x = 0; x < width_; ++x) columns[x] += static_cast<Sum>(sums[x]);
    }
  }

  RowSum* place_of(int y) { return row_sums_.get() + static_cast<size_t>(y % kept_) * pitch_; }

  const RowSum* sums_of(int y) {
    while (known_ <= y) sum_next_rows();
    return place_of(y);
  }

  void sum_next_rows() {
    const Sample* padded[kTogether];
    RowSum* sums[kTogether];
    for (int i = 0; i < kTogether; ++i) {
      padded[i] = padded_.get() + i * padded_pitch_;
      // Below the last row, places that nobody reads.
      const int y = known_ + i;
      sums[i] = y < height_ ? place_of(y) : row_sums_.get() + (kept_ + i - 1) * pitch_;
      if (y < height_) pad(row_(y), padded_.get() + i * padded_pitch_);
    }
    sum_along(padded, sums, width_, radius_);
    known_ += kTogether;
  }

  void pad(const Sample* row, Sample* padded) const {
    std::fill_n(padded, radius_ + 1, row[0]);
    std::copy_n(row, width_, padded + radius_ + 1);
    std::fill_n(padded + radius_ + 1 + width_, radius_, row[width_ - 1]);
  }

  int width_, height_, radius_;
  Row row_;
  int kept_;
  size_t pitch_, padded_pitch_;
  Scratch<RowSum> row_sums_;
  Scratch<Sample> padded_;
  Scratch<Sum> columns_;
  int next_ = 0, known_ = 0;  // the row whose sums come next, and the rows summed so far
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_FILTER_BOX_MEAN_H_
