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

// libyuv's own checks are not complete: what they let pass would make it read outside a plane, or
// take a negative height for a flip.
constexpr int kLargestSize = 32768;

bool is_source_size(int width, int height) {
  return width >= 1 && height >= 1 && width <= kLargestSize && height <= kLargestSize;
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

// The source with bytes to spare: its last column and its last row are there more than once.
class PaddedCopy {
 public:
  PaddedCopy(const uint8_t* src, int src_stride, int width, int height)
      : row_bytes_((static_cast<size_t>(width) + kSparePixels) * 4),
        bytes_(static_cast<size_t>(height) + kSpareRows, row_bytes_) {
    for (int y = 0; y < height + kSpareRows; ++y) {
      uint8_t* const row = bytes_.get() + y * row_bytes_;
      std::memcpy(row, detail::row_at(src, std::min(y, height - 1), src_stride), size_t{4} * width);
      const uint8_t* const last = row + (size_t{4} * width - 4);
      for (int i = 1; i <= kSparePixels; ++i) std::memcpy(row + (last - row) + 4 * i, last, 4);
    }
  }
  const uint8_t* data() const { return bytes_.get(); }
  int stride() const { return static_cast<int>(row_bytes_); }

 private:
  static constexpr int kSparePixels = 16, kSpareRows = 2;
  size_t row_bytes_;
  detail::Scratch<uint8_t> bytes_;
};

libyuv::FilterMode filter(ScaleMode mode) {
  return static_cast<libyuv::FilterMode>(mode);
}

}  // namespace

using namespace detail;

void scale_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                const unsigned char* v, int v_stride, int src_width, int src_height,
                unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                unsigned char* dst_v, int dst_v_stride, int dst_width, int dst_height,
                ScaleMode mode, bool flip) {
  const bool has_planes = y != nullptr && u != nullptr && v != nullptr && dst_y != nullptr &&
                          dst_u != nullptr && dst_v != nullptr;
  if (!has_planes || !is_source_size(src_width, src_height) || dst_width < 1 || dst_height < 1) {
    return;
  }
  const auto from_y = flipped(y, y_stride, src_height, flip);
  const auto from_u = flipped(u, u_stride, chroma_size(src_height), flip);
  const auto from_v = flipped(v, v_stride, chroma_size(src_height), flip);
  libyuv::I420Scale(from_y.data, from_y.stride, from_u.data, from_u.stride, from_v.data,
                    from_v.stride, src_width, src_height, dst_y, dst_y_stride, dst_u, dst_u_stride,
                    dst_v, dst_v_stride, dst_width, dst_height, filter(mode));
}

void scale_argb(const unsigned char* src, int src_stride, int src_width, int src_height,
                unsigned char* dst, int dst_stride, int dst_width, int dst_height, int clip_x,
                int clip_y, int clip_width, int clip_height, ScaleMode mode) {
  if (src == nullptr || dst == nullptr || !is_source_size(src_width, src_height) || dst_width < 1 ||
      dst_height < 1 || !is_inside(clip_x, clip_width, dst_width) ||
      !is_inside(clip_y, clip_height, dst_height)) {
    return;
  }
  if (clip_width == dst_width && clip_height == dst_height) {
    libyuv::ARGBScale(src, src_stride, src_width, src_height, dst, dst_stride, dst_width,
                      dst_height, filter(mode));
    return;
  }
  if (!needs_last_rows(clip_y + clip_height, src_height, dst_height)) {
    libyuv::ARGBScaleClip(src, src_stride, src_width, src_height, dst, dst_stride, dst_width,
                          dst_height, clip_x, clip_y, clip_width, clip_height, filter(mode));
    return;
  }
  const PaddedCopy source(src, src_stride, src_width, src_height);
  libyuv::ARGBScaleClip(source.data(), source.stride(), src_width, src_height, dst, dst_stride,
                        dst_width, dst_height, clip_x, clip_y, clip_width, clip_height,
                        filter(mode));
}

}  // namespace KelvraCV
