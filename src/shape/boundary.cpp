// Boundary pixels of a mask: foreground that touches background.
#include <algorithm>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Inside the image a pixel of 255 is marked when the sum of its eight neighbours is below 8 * 255:
// when one of them, and with it the bitwise "and" of all nine, is not 255.
//
// Marks `count` pixels in each of kRows rows, of which the first is below the row `above`.
template <int kRows>
void mark_inside(const uint8_t* above, uint8_t* out, int count, size_t pitch) {
  for_each_vector<uint8_t>(static_cast<size_t>(std::max(count, 0)), [=](auto d, size_t x) {
    const auto full = hn::Set(d, uint8_t{255});
    const auto loaded = [=](int row, int dx) { return hn::LoadU(d, above + row * pitch + x + dx); };
    const auto three = [=](int row) {
      return hn::And(hn::And(loaded(row, -1), loaded(row, 0)), loaded(row, 1));
    };
    auto upper = three(0), middle = three(1);
    for (int i = 0; i < kRows; ++i) {
      const auto lower = three(i + 2);
      const auto all = hn::And(hn::And(upper, middle), lower);
      const auto is_set = hn::VecFromMask(d, loaded(i + 1, 0) == full);
      hn::StoreU(hn::AndNot(hn::VecFromMask(d, all == full), is_set), d, out + i * pitch + x);
      upper = middle;
      middle = lower;
    }
  });
}

// On the image's border the rule differs, as intended: a neighbour must be exactly 0, and only
// those inside the image count. The pixel itself may be looked at too, since it is 255.
void mark_border_row(const uint8_t* row, const uint8_t* beside, uint8_t* out, int count) {
  for (int x = 0; x < count; ++x) {
    const uint8_t least =
        std::min({row[x - 1], row[x + 1], beside[x - 1], beside[x], beside[x + 1]});
    out[x] = static_cast<uint8_t>(row[x] == 255 && least == 0 ? 255 : 0);
  }
}

// The same for a row's first or last pixel, at `x`; `inner` is the column beside it.
uint8_t border_mark(const uint8_t* above, const uint8_t* row, const uint8_t* below, int x,
                    int inner) {
  const uint8_t least = std::min({above[x], above[inner], row[inner], below[x], below[inner]});
  return row[x] == 255 && least == 0 ? 255 : 0;
}

}  // namespace

void find_contours(unsigned char* src, unsigned char* dst, int width, int height) {
  if (width < 1 || height < 1) return;
  const int last = height - 1;
  const auto row = [&](int y) { return row_at<const uint8_t>(src, y, width); };
  const auto out = [&](int y) { return row_at(dst, y, width); };
  constexpr int kRows = 4;
  int inside = 1;
  for (; inside + kRows <= last; inside += kRows) {
    mark_inside<kRows>(row(inside - 1) + 1, out(inside) + 1, width - 2, width);
  }
  for (; inside < last; ++inside) {
    mark_inside<1>(row(inside - 1) + 1, out(inside) + 1, width - 2, width);
  }
  mark_border_row(row(0) + 1, row(std::min(1, last)) + 1, out(0) + 1, width - 2);
  mark_border_row(row(last) + 1, row(std::max(last - 1, 0)) + 1, out(last) + 1, width - 2);
  const int right = width - 1;
  for (int y = 0; y < height; ++y) {
    const uint8_t *above = row(std::max(y - 1, 0)), *below = row(std::min(y + 1, last));
    out(y)[0] = border_mark(above, row(y), below, 0, std::min(1, right));
    out(y)[right] = border_mark(above, row(y), below, right, std::max(right - 1, 0));
  }
  // As intended, the mark of the bottom-right corner goes to the bottom-left one.
  const uint8_t corner = out(last)[right];
  out(last)[right] = 0;
  out(last)[0] |= corner;
}

}  // namespace KelvraCV
