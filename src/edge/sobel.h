// The Sobel gradient of one or many neighbouring pixels, shared by the edge detectors.
#ifndef KELVRA_CV_EDGE_SOBEL_H_
#define KELVRA_CV_EDGE_SOBEL_H_

#include <algorithm>

#include "core/rows.h"
#include "core/simd.h"

namespace KelvraCV::detail {

template <class V>
struct Gradient {
  V dx, dy;
};

// A pixel's row and those above and below it; at the image's edge, the row itself.
template <class T>
struct ThreeRows {
  const T *above, *row, *below;
};
inline ThreeRows<uint8_t> rows_around(const uint8_t* image, int y, int width, int height) {
  return {row_at(image, std::max(y - 1, 0), width), row_at(image, y, width),
          row_at(image, std::min(y + 1, height - 1), width)};
}

// Differences between a pixel's neighbours: of its row, right - left; of its column, below - above;
// and of the diagonals, upper right - lower left and upper left - lower right.
template <class V>
struct Differences {
  V across, down, rising, falling;
};

// Those of the pixels from column x on; `left` and `right` are the columns of the first one's
// neighbours.
template <class D16>
HWY_INLINE auto differences(D16 d16, ThreeRows<uint8_t> rows, size_t left, size_t x, size_t right) {
  const hn::Rebind<uint8_t, D16> d8;
  const auto minus = [=](const uint8_t* from, const uint8_t* other) {
    return hn::PromoteTo(d16, hn::LoadU(d8, from)) - hn::PromoteTo(d16, hn::LoadU(d8, other));
  };
  return Differences<hn::Vec<D16>>{
      minus(rows.row + right, rows.row + left), minus(rows.below + x, rows.above + x),
      minus(rows.above + right, rows.below + left), minus(rows.above + left, rows.below + right)};
}

// The kernels are [-1 0 1] across, smoothed [1 2 1] along, and dy is the row above minus the row
// below: an image that is brighter above has a positive dy.
template <class V>
HWY_INLINE Gradient<V> sobel(Differences<V> d) {
  return {d.rising - d.falling + (d.across + d.across), d.rising + d.falling - (d.down + d.down)};
}

// (|dx| + |dy|) / 2, a whole number from 0 to 765: half the greater of |dx + dy| and |dx - dy|,
// where dx + dy = 2 (rising + across - down) and dx - dy = 2 (across + down - falling).
template <class V>
HWY_INLINE V half_magnitude(Differences<V> d) {
  return hn::Max(absolute_difference(d.rising + d.across, d.down),
                 absolute_difference(d.across + d.down, d.falling));
}

// Calls `visit(d16, left, x, right)` for every column of a row: one pixel at each end, whose
// missing neighbour is the pixel itself, and vectors between them, the last of which may cover
// some columns for the second time.
template <class Visit>
HWY_INLINE void for_each_column(int width, Visit&& visit) {
  const hn::CappedTag<int16_t, 1> one;
  const size_t last = static_cast<size_t>(width) - 1;
  visit(one, 0, 0, std::min(size_t{1}, last));
  for_each_vector<int16_t>(std::max(last, size_t{1}) - 1,
                           [&](auto d16, size_t left)
                               KELVRA_CV_INLINE { visit(d16, left, left + 1, left + 2); });
  if (last > 0) visit(one, last - 1, last, last);
}

// Lanes of 0 or 255 from a mask of 16-bit lanes.
template <class D16, class Mask>
HWY_INLINE auto bytes_from_mask(D16 d16, Mask mask) {
  const hn::Rebind<int8_t, D16> d8;
  return hn::BitCast(hn::Rebind<uint8_t, D16>(), hn::DemoteTo(d8, hn::VecFromMask(d16, mask)));
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_EDGE_SOBEL_H_
