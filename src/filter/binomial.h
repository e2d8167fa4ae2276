// Binomial blurs of 3 x 3 and 5 x 5 pixels in integers, row by row.
//
// Horizontal, then vertical pass (separable), over a few rows that rotate. Both passes are the same
// function of three or five pointers: into one row, or to as many rows. Both truncate to bytes.
#ifndef KELVRA_CV_FILTER_BINOMIAL_H_
#define KELVRA_CV_FILTER_BINOMIAL_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "core/row_ring.h"
#include "core/simd.h"

namespace KelvraCV::detail {

// (a + 2 b + c) >> 2 = ((a + c >> 1) + b) >> 1: halves that are rounded down nest.
struct Binomial3 {
  static constexpr int kTaps = 3, kWeights[kTaps] = {1, 2, 1};
  template <class V>
  HWY_INLINE static V of(const V (&taps)[kTaps]) {
    return average_down(average_down(taps[0], taps[2]), taps[1]);
  }
};

// (a + 4 b + 6 c + 4 d + e) >> 4 = (b + d + c + outer) >> 2 with outer = ((a + e >> 1) + c) >> 1.
// Halving b + d and c + outer first loses a quarter each if they are odd, and so one of the halves'
// sum if both are. It is added to the second half, which then is at most 254.
struct Binomial5 {
  static constexpr int kTaps = 5, kWeights[kTaps] = {1, 4, 6, 4, 1};
  template <class V>
  HWY_INLINE static V of(const V (&taps)[kTaps]) {
    const V b = opaque(taps[1]), c = opaque(taps[2]), d = opaque(taps[3]);  // used twice
    const V outer = average_down(average_down(taps[0], taps[4]), c);
    const V odd = hn::And(hn::Xor(b, d), hn::Xor(c, outer));
    const V lost = hn::And(odd, hn::Set(hn::DFromV<V>(), 1));
    return average_down(average_down(b, d), average_down(c, outer) + lost);
  }
};

// Results from the rows that tap(0), tap(1), … point to, or from one row at as many offsets.
template <class Kernel, class Tap>
HWY_INLINE void blur_row(const Tap& tap, uint8_t* out, int count) {
  for_each_group<uint8_t>(count, [=](auto group, size_t x) {
    for (size_t i = 0; i < std::size(group.v); ++i) {
      hn::Vec<typename decltype(group)::Tag> samples[Kernel::kTaps];
      for (int j = 0; j < Kernel::kTaps; ++j) samples[j] = group.load(tap(j) + x).v[i];
      group.v[i] = Kernel::of(samples);
    }
    group.store(out + x);
  });
}

// One result, by the weights, whose sum is 4 or 16; tap(i) is the i-th sample.
template <class Kernel, class Tap>
HWY_INLINE uint8_t weigh(const Tap& tap) {
  constexpr int kTaps = Kernel::kTaps;
  int sum = 0;
  for (int i = 0; i < kTaps; ++i) sum += Kernel::kWeights[i] * tap(i);
  return static_cast<uint8_t>(sum >> (kTaps - 1));
}

// The ends of a row, where the first and the last sample are replicated.
template <class Kernel>
HWY_INLINE void blur_ends(const uint8_t* row, uint8_t* out, int width) {
  constexpr int kTaps = Kernel::kTaps, kRadius = kTaps / 2;
  const int last = width - 1;
  if (width < kTaps) {
    for (int x = 0; x < width; ++x) {
      out[x] = weigh<Kernel>([=](int i) { return row[std::clamp(x + i - kRadius, 0, last)]; });
    }
  } else {
    for (int x = 0; x < kRadius; ++x) {
      out[x] = weigh<Kernel>([=](int i) { return row[std::max(x + i - kRadius, 0)]; });
      out[last - x] =
          weigh<Kernel>([=](int i) { return (row + last)[std::min(i - kRadius - x, 0)]; });
    }
  }
  if constexpr (kTaps == 5) {
    // On purpose: the last column is formed from the three before it, without its own pixel.
    if (width >= 4) {
      const uint8_t* const before = row + last - 3;
      out[last] = static_cast<uint8_t>((before[0] + 4 * before[1] + 11 * before[2]) >> 4);
    }
  }
}

// Not inlined: clang 14 runs out of registers.
template <class Kernel>
HWY_NOINLINE void blur_along(const uint8_t* row, uint8_t* out, int width) {
  constexpr int kRadius = Kernel::kTaps / 2;
  if (width > 2 * kRadius) {
    blur_row<Kernel>([=](int i) { return row + i; }, out + kRadius, width - 2 * kRadius);
  }
  blur_ends<Kernel>(row, out, width);
}

// The blurred rows of an image, from its top.
template <class Kernel>
class BinomialRows {
 public:
  BinomialRows(int width, int height)
      : width_(width), height_(height), along_(kRows, static_cast<size_t>(width)) {}

  // Writes the next row. source(y) points to the image's row y; each is asked for once, in order,
  // and is not read again.
  template <class Source>
  HWY_INLINE void next(Source&& source, uint8_t* out) {
    for (; read_ < std::min(y_ + kAhead, height_); ++read_) {
      blur_along<Kernel>(source(static_cast<int>(read_)), along_[read_], width_);
    }
    std::array<const uint8_t*, kTaps> rows;
    for (int i = 0; i < kTaps; ++i) {
      rows[i] = along_[std::clamp<int64_t>(y_ + i - kRadius, 0, height_ - 1)];
    }
    blur_row<Kernel>([=](int i) { return rows[i]; }, out, width_);
    ++y_;
  }

 private:
  static constexpr int kTaps = Kernel::kTaps, kRadius = kTaps / 2;
  // One row ahead would do, but reading back what was written just now would wait. The number of
  // rows is a power of 2, which spares the ring a division.
  static constexpr int kRows = kTaps == 3 ? 4 : 8, kAhead = kRows - kRadius;

  int width_;
  int64_t height_, y_ = 0, read_ = 0;  // the next row, and the first of the source not read yet
  RowRing<uint8_t> along_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_FILTER_BINOMIAL_H_
