// Inner edge of a mask: foreground pixels beside the background or at the image's frame.
#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// One pixel, or as many as `d` has lanes, not on the image's frame. Values that are neither
// foreground nor background count as neither.
template <class D>
HWY_INLINE void mark_inside(D d, const uint8_t* pixels, ptrdiff_t stride, uint8_t foreground,
                            uint8_t* out) {
  const auto background = hn::Set(d, static_cast<uint8_t>(255 - foreground));
  const auto is_background = [=](ptrdiff_t offset) {
    return hn::VecFromMask(d, hn::Eq(hn::LoadU(d, pixels + offset), background));
  };
  const auto beside = hn::Or(hn::Or(is_background(-stride), is_background(stride)),
                             hn::Or(is_background(-1), is_background(1)));
  const auto inside = hn::VecFromMask(d, hn::Eq(hn::LoadU(d, pixels), hn::Set(d, foreground)));
  hn::StoreU(hn::And(inside, beside), d, out);
}

}  // namespace

void get_mask_edge(const unsigned char* src, unsigned char* dst, int width, int height,
                   int src_stride, int dst_stride, int mode) {
  if (width < 1 || height < 1) return;
  const uint8_t foreground = mode == 1 ? 0 : 255;
  for (int y = 0; y < height; ++y) {
    const uint8_t* row = row_at(src, y, src_stride);
    uint8_t* out = row_at(dst, y, dst_stride);
    const auto mark_frame = [=](int x) { out[x] = row[x] == foreground ? 255 : 0; };
    if (y == 0 || y == height - 1) {
      for (int x = 0; x < width; ++x) mark_frame(x);  // vectorised
    } else {
      for_each_vector<uint8_t>(static_cast<size_t>(std::max(width - 2, 0)), [=](auto d, size_t x) {
        mark_inside(d, row + 1 + x, src_stride, foreground, out + 1 + x);
      });
      mark_frame(0);
      mark_frame(width - 1);
    }
    // The padding is cleared as well, after the last row too.
    if (dst_stride > width) std::memset(out + width, 0, static_cast<size_t>(dst_stride) - width);
  }
}

}  // namespace KelvraCV
