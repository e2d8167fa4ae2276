// Canny edges: gray, smoothed, differentiated, thinned, and linked in one pass.
#include <algorithm>
#include <cstring>

#include "core/gray_rows.h"
#include "core/row_ring.h"
#include "edge/gradient_direction.h"
#include "edge/sobel.h"
#include "filter/binomial.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr uint8_t kStrong = 255, kWeak = 100, kNone = 0;

// Compared with halves of magnitudes, which are even and within 0 .. 2040: 2 h >= t if h >= t / 2,
// rounded up, and thresholds beyond those act as the nearest of them.
struct Thresholds {
  Thresholds(int low_threshold, int high_threshold)
      : low(half(low_threshold)),
        high(half(high_threshold)),
        suppressed(high == 0 ? kStrong : (low == 0 ? kWeak : kNone)) {}
  static int16_t half(int threshold) {
    return static_cast<int16_t>((std::clamp(threshold, 0, 2041) + 1) / 2);
  }
  int16_t low, high;
  uint8_t suppressed;  // what a suppressed pixel becomes: not 0 if a threshold is 0 or below
};

void magnitude_row(ThreeRows<uint8_t> rows, int16_t* magnitudes, int width) {
  for_each_column(width, [=](auto d16, size_t left, size_t x, size_t right) {
    hn::StoreU(half_magnitude(differences(d16, rows, left, x, right)), d16, magnitudes + x);
  });
}

template <class D16>
HWY_INLINE auto is_at_least(D16 d16, hn::Vec<D16> v, int limit) {
  return hn::Gt(v, hn::Set(d16, static_cast<int16_t>(limit - 1)));
}

// The pixels from column x on, none of them on the frame: those whose magnitude is more than that
// of the first neighbour along the gradient and no less than the second's, by the thresholds.
template <class D16>
HWY_INLINE void thin(D16 d16, ThreeRows<uint8_t> smooth, ThreeRows<int16_t> magnitudes, size_t x,
                     Thresholds thresholds, uint8_t* dst) {
  const hn::Rebind<uint8_t, D16> d8;
  const auto load = [=](const int16_t* from) { return hn::LoadU(d16, from + x); };
  const auto here = load(magnitudes.row);
  const auto may_count = is_at_least(d16, here, std::max<int>(thresholds.low, 1));
  const auto suppressed = hn::Set(d8, thresholds.suppressed);
  if (hn::AllFalse(d16, may_count)) {
    hn::StoreU(suppressed, d8, dst + x);
    return;
  }
  const auto gradient = sobel(differences(d16, smooth, x - 1, x, x + 1));
  const auto direction = direction_of(d16, gradient.dx, gradient.dy);
  const auto choose = [=](auto along_0, auto along_45, auto along_90, auto along_135) {
    const auto rest = hn::IfThenElse(direction.class_90, along_90, along_135);
    return hn::IfThenElse(direction.class_0, along_0,
                          hn::IfThenElse(direction.class_45, along_45, rest));
  };
  const auto first = choose(load(magnitudes.row - 1), load(magnitudes.above - 1),
                            load(magnitudes.above), load(magnitudes.above + 1));
  const auto second = choose(load(magnitudes.row + 1), load(magnitudes.below + 1),
                             load(magnitudes.below), load(magnitudes.below - 1));
  const auto kept = hn::And(may_count, hn::AndNot(hn::Gt(second, here), hn::Gt(here, first)));
  const auto strong = hn::And(kept, is_at_least(d16, here, thresholds.high));
  const auto kept_bytes = bytes_from_mask(d16, kept);
  hn::StoreU(hn::Or(hn::Or(bytes_from_mask(d16, strong), hn::And(kept_bytes, hn::Set(d8, kWeak))),
                    hn::AndNot(kept_bytes, suppressed)),
             d8, dst + x);
}

void thin_row(ThreeRows<uint8_t> smooth, ThreeRows<int16_t> magnitudes, Thresholds thresholds,
              uint8_t* dst, int width) {
  for_each_column(width, [=](auto d16, size_t left, size_t x, size_t right) KELVRA_CV_INLINE {
    if (left < x && x < right) {
      thin(d16, smooth, magnitudes, x, thresholds, dst);
    } else {
      dst[x] = thresholds.suppressed;
    }
  });
}

bool has_strong_neighbour(const uint8_t* pixel, int width) {
  const uint8_t *above = pixel - width, *below = pixel + width;
  return above[-1] == kStrong || above[0] == kStrong || above[1] == kStrong ||
         pixel[-1] == kStrong || pixel[1] == kStrong || below[-1] == kStrong ||
         below[0] == kStrong || below[1] == kStrong;
}

// One visit from left to right, in place: what is promoted here promotes its right neighbour, but
// never its left one.
void link_row(uint8_t* row, int width) {
  uint8_t* const end = row + width - 1;
  for (uint8_t* pixel = row + 1; pixel < end; ++pixel) {
    pixel = static_cast<uint8_t*>(std::memchr(pixel, kWeak, static_cast<size_t>(end - pixel)));
    if (pixel == nullptr) return;
    *pixel = has_strong_neighbour(pixel, width) ? kStrong : kNone;
  }
}

// Each step a row behind the one before it; a row is linked when its neighbours are all thinned.
void find_edges(const ImageData& src, uint8_t* dst, Thresholds thresholds) {
  const int width = src.width, height = src.height;
  // One channel is taken as packed, whatever its stride.
  const bool is_colour = src.channels == 3 || src.channels == 4;
  GrayRows gray{src.data,       width, height, src.channels, is_colour ? src.stride : width,
                src.color_order};
  BinomialRows<Binomial5> blurred(width, height);
  RowRing<uint8_t> smooth(4, static_cast<size_t>(width));
  RowRing<int16_t> magnitudes(4, static_cast<size_t>(width));
  const auto smooth_around = [&](int y) {
    return ThreeRows<uint8_t>{smooth[std::max(y - 1, 0)], smooth[y],
                              smooth[std::min(y + 1, height - 1)]};
  };
  for (unsigned next = 0; next <= static_cast<unsigned>(height); ++next) {
    const int y = static_cast<int>(next);
    if (y < height) blurred.next(gray, smooth[y]);
    if (y > 0) magnitude_row(smooth_around(y - 1), magnitudes[y - 1], width);
    if (y < 3) continue;
    if (y == 3) std::memset(dst, thresholds.suppressed, static_cast<size_t>(width));
    thin_row(smooth_around(y - 2), {magnitudes[y - 3], magnitudes[y - 2], magnitudes[y - 1]},
             thresholds, row_at(dst, y - 2, width), width);
    if (y > 3) link_row(row_at(dst, y - 3, width), width);
  }
  std::memset(row_at(dst, height - 1, width), thresholds.suppressed, static_cast<size_t>(width));
  link_row(row_at(dst, height - 2, width), width);
}

}  // namespace

void canny(const ImageData& src, ImageData& dst, int threshold1, int threshold2) {
  if (threshold2 <= threshold1) {
    log_print("threshold2 must be large than threshold1!\n");
    return;
  }
  if (src.width < 1 || src.height < 1) return;
  const Thresholds thresholds(threshold1, threshold2);
  if (src.width < 3 || src.height < 3) {  // nothing but frame
    std::memset(dst.data, thresholds.suppressed, static_cast<size_t>(src.width) * src.height);
    return;
  }
  find_edges(src, dst.data, thresholds);
}

}  // namespace KelvraCV
