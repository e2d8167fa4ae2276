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

// (a + 2 b + c) >> 2 and (a + 4 b + 6 c + 4 d + e) >> 4
struct Binomial3 {
  static constexpr int kTaps = 3;
  static uint8_t of(const uint8_t* const* taps, ptrdiff_t x) {
    return static_cast<uint8_t>((taps[0][x] + 2 * taps[1][x] + taps[2][x]) >> 2);
  }
  static void across(const uint8_t* const* taps, uint8_t* __restrict out, int count) {
    const uint8_t *a = taps[0], *b = taps[1], *c = taps[2];
    for (int x = 0; x < count; ++x) {
      const auto outer = static_cast<uint8_t>((a[x] & c[x]) + ((a[x] ^ c[x]) >> 1));
      out[x] = static_cast<uint8_t>((outer & b[x]) + ((outer ^ b[x]) >> 1));
    }
  }
};
struct Binomial5 {
  static constexpr int kTaps = 5;
  static uint8_t of(const uint8_t* const* taps, ptrdiff_t x) {
    return static_cast<uint8_t>(
        (taps[0][x] + taps[4][x] + 4 * (taps[1][x] + taps[3][x]) + 6 * taps[2][x]) >> 4);
  }
  static void across(const uint8_t* const* taps, uint8_t* __restrict out, int count) {
    const uint8_t *a = taps[0], *b = taps[1], *c = taps[2], *d = taps[3], *e = taps[4];
    for (int x = 0; x < count; ++x) {
      out[x] = static_cast<uint8_t>((a[x] + e[x] + 4 * (b[x] + d[x]) + 6 * c[x]) >> 4);
    }
  }
};

// The result at x of a row whose ends are replicated.
template <class Kernel>
uint8_t at_edge(const uint8_t* row, int x, int width) {
  const uint8_t* taps[Kernel::kTaps];
  for (int i = 0; i < Kernel::kTaps; ++i) {
    taps[i] = row + std::clamp(x + i - Kernel::kTaps / 2, 0, width - 1);
  }
  return Kernel::of(taps, 0);
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
