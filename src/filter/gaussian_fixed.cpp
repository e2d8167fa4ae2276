// Gaussian blurs of 3 x 3 and 5 x 5 pixels with binomial weights in integers.
//
// Horizontal, then vertical pass (separable), over a few rows that rotate. Both passes are the same
// function of three or five pointers: into one row, or to as many rows. Both truncate to bytes.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "core/row_ring.h"
#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

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

template <class Kernel>
void blur_along(const uint8_t* row, uint8_t* out, int width) {
  constexpr int kRadius = Kernel::kTaps / 2;
  if (width > 2 * kRadius) {
    blur_row<Kernel>([=](int i) { return row + i; }, out + kRadius, width - 2 * kRadius);
  }
  blur_ends<Kernel>(row, out, width);
}

template <class Kernel>
void blur(const uint8_t* src, uint8_t* dst, int width, int height, int src_stride, int dst_stride) {
  if (width < 1 || height < 1) return;
  constexpr int kTaps = Kernel::kTaps, kRadius = kTaps / 2;
  // One row ahead would do, but reading back what was written just now would wait. The number of
  // rows is a power of 2, which spares the ring a division.
  constexpr int kRows = kTaps == 3 ? 4 : 8, kAhead = kRows - 1 - kRadius;
  RowRing<uint8_t> along(kRows, width);
  for (int y = -kAhead; y < height; ++y) {
    if (y < height - kAhead) {
      const int next = y + kAhead;
      blur_along<Kernel>(row_at(src, next, src_stride), along[next], width);
    }
    if (y < 0) continue;
    std::array<const uint8_t*, kTaps> rows;
    for (int i = 0; i < kTaps; ++i) {
      rows[i] = along[std::clamp<int64_t>(int64_t{y} + i - kRadius, 0, height - 1)];
    }
    blur_row<Kernel>([=](int i) { return rows[i]; }, row_at(dst, y, dst_stride), width);
  }
}

}  // namespace

void gaussian_blur_3x3(const unsigned char* src, unsigned char* dst, int width, int height,
                       int src_stride, int dst_stride) {
  blur<Binomial3>(src, dst, width, height, src_stride, dst_stride);
}

void gaussian_blur_5x5(const unsigned char* src, unsigned char* dst, int width, int height) {
  blur<Binomial5>(src, dst, width, height, width, width);
}

}  // namespace KelvraCV
