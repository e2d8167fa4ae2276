// Gaussian blurs of 3 x 3 and 5 x 5 pixels with binomial weights in integers.
//
// Rows are blurred along into a few rows that rotate, then those across. Both passes are the same
// function of three or five pointers: into one row, or to as many rows. Both truncate to bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/rows.h"
#include "core/scratch.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// (a + b + 1) >> 1, one instruction on vectors of bytes. Of complements it is the complement of
// (a + b) >> 1, so both formulas below are computed on complements and never leave bytes.
inline uint8_t mean(uint8_t a, uint8_t b) {
  return static_cast<uint8_t>((a + b + 1) >> 1);
}
inline uint8_t complement(uint8_t a) {
  return static_cast<uint8_t>(~a);
}

// (a + 2 b + c) >> 2 = ((a + c >> 1) + b) >> 1: halves that are rounded down nest.
struct Binomial3 {
  static constexpr int kTaps = 3;
  static uint8_t of(uint8_t a, uint8_t b, uint8_t c) {
    return complement(mean(mean(complement(a), complement(c)), complement(b)));
  }
  static uint8_t at(const uint8_t* const* taps) { return of(*taps[0], *taps[1], *taps[2]); }
  static void across(const uint8_t* const* taps, uint8_t* __restrict out, int count) {
    const uint8_t *a = taps[0], *b = taps[1], *c = taps[2];
    for (int x = 0; x < count; ++x) out[x] = of(a[x], b[x], c[x]);
  }
};

// (a + 4 b + 6 c + 4 d + e) >> 4 = (b + d + c + outer) >> 2 with outer = ((a + e >> 1) + c) >> 1.
// Halving b + d and c + outer first loses one if both are odd, which matters if the halves' sum is
// odd, too. Parities of sums are those of their complements.
struct Binomial5 {
  static constexpr int kTaps = 5;
  static uint8_t of(uint8_t a, uint8_t b, uint8_t c, uint8_t d, uint8_t e) {
    b = complement(b), c = complement(c), d = complement(d);
    const uint8_t outer = mean(mean(complement(a), complement(e)), c);
    const uint8_t inner = mean(b, d), middle = mean(c, outer);
    const auto lost = static_cast<uint8_t>((b ^ d) & (c ^ outer) & (inner ^ middle) & 1);
    return static_cast<uint8_t>(complement(mean(inner, middle)) + lost);
  }
  static uint8_t at(const uint8_t* const* taps) {
    return of(*taps[0], *taps[1], *taps[2], *taps[3], *taps[4]);
  }
  static void across(const uint8_t* const* taps, uint8_t* __restrict out, int count) {
    const uint8_t *a = taps[0], *b = taps[1], *c = taps[2], *d = taps[3], *e = taps[4];
    for (int x = 0; x < count; ++x) out[x] = of(a[x], b[x], c[x], d[x], e[x]);
  }
};

// The result at x of a row whose ends are replicated.
template <class Kernel>
uint8_t at_edge(const uint8_t* row, int x, int width) {
  const uint8_t* taps[Kernel::kTaps];
  for (int i = 0; i < Kernel::kTaps; ++i) {
    taps[i] = row + std::clamp(x + i - Kernel::kTaps / 2, 0, width - 1);
  }
  return Kernel::at(taps);
}

template <class Kernel>
void blur_along(const uint8_t* row, uint8_t* out, int width) {
  constexpr int kRadius = Kernel::kTaps / 2;
  const int left = std::min(kRadius, width), right = std::max(left, width - kRadius);
  for (int x = 0; x < left; ++x) out[x] = at_edge<Kernel>(row, x, width);
  const uint8_t* taps[Kernel::kTaps];
  for (int i = 0; i < Kernel::kTaps; ++i) taps[i] = row + i;
  Kernel::across(taps, out + left, right - left);
  for (int x = right; x < width; ++x) out[x] = at_edge<Kernel>(row, x, width);
  if constexpr (Kernel::kTaps == 5) {
    // On purpose: the last column is formed from the three before it, without its own pixel.
    if (width >= 4) {
      const uint8_t* last = row + width - 1;
      out[width - 1] = static_cast<uint8_t>((last[-3] + 4 * last[-2] + 11 * last[-1]) >> 4);
    }
  }
}

template <class Kernel>
void blur(const uint8_t* src, uint8_t* dst, int width, int height, int src_stride, int dst_stride) {
  if (width < 1 || height < 1) return;
  constexpr int kTaps = Kernel::kTaps, kRadius = kTaps / 2;
  Scratch<uint8_t> along(kTaps, width);
  const auto place_of = [&](int y) { return row_at(along.get(), y % kTaps, width); };
  int known = 0;
  for (int y = 0; y < height; ++y) {
    for (; known < height && known <= y + kRadius; ++known) {
      blur_along<Kernel>(row_at(src, known, src_stride), place_of(known), width);
    }
    const uint8_t* taps[kTaps];
    for (int i = 0; i < kTaps; ++i) taps[i] = place_of(std::clamp(y + i - kRadius, 0, height - 1));
    Kernel::across(taps, row_at(dst, y, dst_stride), width);
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
