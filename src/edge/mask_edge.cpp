// Inner edge of a mask: foreground pixels beside the background or at the image's frame.
#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

uint8_t mark(bool is_edge) {
  return is_edge ? 255 : 0;
}

void frame_row(const uint8_t* row, uint8_t* dst, int width, uint8_t foreground) {
  for (int x = 0; x < width; ++x) dst[x] = mark(row[x] == foreground);
}

// One pixel, or as many as `d` has lanes, from column x on. Values that are neither foreground nor
// background count as neither.
template <class D>
HWY_INLINE void inner_pixels(D d, const uint8_t* above, const uint8_t* row, const uint8_t* below,
                             uint8_t* dst, size_t x, uint8_t foreground) {
  const auto background = hn::Set(d, static_cast<uint8_t>(255 - foreground));
  const auto is_background = [&](const uint8_t* from) {
    return hn::VecFromMask(d, hn::Eq(hn::LoadU(d, from), background));
  };
  const auto beside = hn::Or(hn::Or(is_background(above + x), is_background(below + x)),
                             hn::Or(is_background(row + x - 1), is_background(row + x + 1)));
  const auto inside = hn::VecFromMask(d, hn::Eq(hn::LoadU(d, row + x), hn::Set(d, foreground)));
  hn::StoreU(hn::And(inside, beside), d, dst + x);
}

void inner_row(const uint8_t* above, const uint8_t* row, const uint8_t* below, uint8_t* dst,
               int width, uint8_t foreground) {
  const int last = width - 1;
  for_each_vector<uint8_t>(static_cast<size_t>(std::max(last - 1, 0)), [&](auto d, size_t x) {
    inner_pixels(d, above + 1, row + 1, below + 1, dst + 1, x, foreground);
  });
  dst[0] = mark(row[0] == foreground);
  dst[last] = mark(row[last] == foreground);
}

}  // namespace

void get_mask_edge(const unsigned char* src, unsigned char* dst, int width, int height,
                   int src_stride, int dst_stride, int mode) {
  if (width < 1 || height < 1) return;
  const uint8_t foreground = mode == 1 ? 0 : 255;
  for (int y = 0; y < height; ++y) {
    const uint8_t* row = row_at(src, y, src_stride);
    uint8_t* out = row_at(dst, y, dst_stride);
    if (y == 0 || y == height - 1) {
      frame_row(row, out, width, foreground);
    } else {
      inner_row(row - src_stride, row, row + src_stride, out, width, foreground);
    }
    // The padding is cleared as well, after the last row too.
    if (dst_stride > width) std::memset(out + width, 0, static_cast<size_t>(dst_stride) - width);
  }
}

}  // namespace KelvraCV
