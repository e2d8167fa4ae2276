// Frames scaled.
#include <libyuv/scale.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "frame/planes.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// libyuv's own checks are not complete: what they let pass would make it read outside a plane, or
// take a negative height for a flip.
constexpr int kLargestSize = 32768;

bool can_scale(int src_width, int src_height, int dst_width, int dst_height, ScaleMode mode) {
  return src_width >= 1 && src_height >= 1 && src_width <= kLargestSize &&
         src_height <= kLargestSize && dst_width >= 1 && dst_height >= 1 && mode >= SCALE_NONE &&
         mode <= SCALE_BOX;
}

// Whether `length` from `start` on is not empty and inside 0 .. size, without overflow.
bool is_inside(int start, int length, int size) {
  return start >= 0 && length >= 1 && length <= kLargestSize && start <= size &&
         length <= size - start;
}

// With a clip, libyuv reads up to a row and a few pixels more than it needs. That matters only
// where the clip needs the last rows of the source.
bool needs_last_rows(int clip_end, int src_height, int dst_height) {
  const int64_t needed = (int64_t{clip_end} * src_height + dst_height - 1) / dst_height;
  return needed + 2 > src_height - 1;
}

libyuv::FilterMode filter(ScaleMode mode) {
  return static_cast<libyuv::FilterMode>(mode);
}

// A job of scale_argb(), and what libyuv makes of some of them.
struct ArgbScaling {
  const uint8_t* src;
  int src_stride, src_width, src_height;
  uint8_t* dst;
  int dst_stride, dst_width, dst_height;
  libyuv::FilterMode filter;

  // To a quarter in width and a sixth, a tenth … in height, libyuv's box filter stops the process.
  bool stops_box() const {
    const int ratio = src_height % dst_height == 0 ? src_height / dst_height : 0;
    return filter == libyuv::kFilterBox && src_width == int64_t{4} * dst_width && ratio >= 6 &&
           ratio % 4 == 2;
  }
  // Halving the width and dividing the height by an even number, it takes the linear filter's
  // pixels from one too far on the left, so that those before the first one are in the result.
  bool looks_left() const {
    return filter == libyuv::kFilterLinear && src_width == int64_t{2} * dst_width &&
           src_height % dst_height == 0 && src_height / dst_height % 2 == 0;
  }

  // Has the source read from a copy with bytes to spare: its last column and its last row are there
  // more than once, and what is left of a row is the row's first pixel. Returns the copy.
  Scratch<uint8_t> take_padded_copy() {
    constexpr int kSparePixels = 16, kSpareRows = 2;
    const size_t used_bytes = size_t{4} * src_width, row_bytes = used_bytes + 4 * kSparePixels;
    Scratch<uint8_t> copy(src_height + kSpareRows, row_bytes);
    for (int y = 0; y < src_height + kSpareRows; ++y) {
      uint8_t *const row = copy.get() + y * row_bytes, *const end = row + used_bytes;
      std::memcpy(row, row_at(src, std::min(y, src_height - 1), src_stride), used_bytes);
      for (int i = 0; i < kSparePixels; ++i) std::memcpy(end + 4 * i, end - 4, 4);
      if (y > 0) std::memcpy(row - 4, row, 4);
    }
    src = copy.get();
    src_stride = static_cast<int>(row_bytes);
    return copy;
  }

  void whole() const {
    if (src_width == dst_width && src_height == dst_height) {
      return copy_plane({src, src_stride}, {dst, dst_stride}, 4 * src_width, src_height);
    }
    libyuv::ARGBScale(src, src_stride, src_width, src_height, dst, dst_stride, dst_width,
                      dst_height, filter);
  }
  void clip(int x, int y, int width, int height) const {
    // A clip of twice the source's width it takes for a doubling.
    if (filter == libyuv::kFilterNone && width == int64_t{2} * src_width) {
      clip(x, y, width - 1, height);
      clip(x + width - 1, y, 1, height);
      return;
    }
    libyuv::ARGBScaleClip(src, src_stride, src_width, src_height, dst, dst_stride, dst_width,
                          dst_height, x, y, width, height, filter);
  }
};

}  // namespace

void scale_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                const unsigned char* v, int v_stride, int src_width, int src_height,
                unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                unsigned char* dst_v, int dst_v_stride, int dst_width, int dst_height,
                ScaleMode mode, bool flip) {
  const bool has_planes = y != nullptr && u != nullptr && v != nullptr && dst_y != nullptr &&
                          dst_u != nullptr && dst_v != nullptr;
  if (!has_planes || !can_scale(src_width, src_height, dst_width, dst_height, mode)) return;
  const auto from = flipped_i420(y, y_stride, u, u_stride, v, v_stride, src_height, flip);
  // A quotient of 32768 would overflow: one row less has the same chroma and the same middle.
  const int rows = src_height == kLargestSize && dst_height == 1 ? kLargestSize - 1 : src_height;
  libyuv::I420Scale(from.y.data, from.y.stride, from.u.data, from.u.stride, from.v.data,
                    from.v.stride, src_width, rows, dst_y, dst_y_stride, dst_u, dst_u_stride, dst_v,
                    dst_v_stride, dst_width, dst_height, filter(mode));
}

void scale_argb(const unsigned char* src, int src_stride, int src_width, int src_height,
                unsigned char* dst, int dst_stride, int dst_width, int dst_height, int clip_x,
                int clip_y, int clip_width, int clip_height, ScaleMode mode) {
  if (src == nullptr || dst == nullptr ||
      !can_scale(src_width, src_height, dst_width, dst_height, mode) ||
      !is_inside(clip_x, clip_width, dst_width) || !is_inside(clip_y, clip_height, dst_height)) {
    return;
  }
  ArgbScaling scaling{src,        src_stride, src_width,  src_height,  dst,
                      dst_stride, dst_width,  dst_height, filter(mode)};
  if (scaling.stops_box()) scaling.filter = libyuv::kFilterBilinear;
  const bool is_whole = clip_width == dst_width && clip_height == dst_height;
  const bool needs_copy =
      scaling.looks_left() ||
      (!is_whole && needs_last_rows(clip_y + clip_height, src_height, dst_height));
  const auto scale = [&] {
    if (is_whole) return scaling.whole();
    scaling.clip(clip_x, clip_y, clip_width, clip_height);
  };
  if (!needs_copy) return scale();
  const Scratch<uint8_t> copy = scaling.take_padded_copy();
  scale();
}

}  // namespace KelvraCV
