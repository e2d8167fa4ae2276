// Frames copied, mirrored and cropped.
#include <libyuv/planar_functions.h>

#include <cstring>

#include "core/rows.h"
#include "frame/planes.h"
#include "kelvra_cv.h"

namespace KelvraCV {

using namespace detail;

void copy_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
               const unsigned char* v, int v_stride, unsigned char* dst_y, int dst_y_stride,
               unsigned char* dst_u, int dst_u_stride, unsigned char* dst_v, int dst_v_stride,
               int width, int height, bool flip) {
  if (width < 1 || height < 1) return;
  const auto from = flipped_i420(y, y_stride, u, u_stride, v, v_stride, height, flip);
  const int chroma_width = chroma_size(width), chroma_height = chroma_size(height);
  copy_plane(from.y, {dst_y, dst_y_stride}, width, height);
  copy_plane(from.u, {dst_u, dst_u_stride}, chroma_width, chroma_height);
  copy_plane(from.v, {dst_v, dst_v_stride}, chroma_width, chroma_height);
}

void mirror_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                 const unsigned char* v, int v_stride, unsigned char* dst_y, int dst_y_stride,
                 unsigned char* dst_u, int dst_u_stride, unsigned char* dst_v, int dst_v_stride,
                 int width, int height, bool flip) {
  if (width < 1 || height < 1) return;
  const auto from = flipped_i420(y, y_stride, u, u_stride, v, v_stride, height, flip);
  libyuv::I420Mirror(from.y.data, from.y.stride, from.u.data, from.u.stride, from.v.data,
                     from.v.stride, dst_y, dst_y_stride, dst_u, dst_u_stride, dst_v, dst_v_stride,
                     width, height);
}

void crop_argb(const unsigned char* src, int src_stride, unsigned char* dst, int dst_stride,
               int width, int height, int crop_x, int crop_y, int crop_width, int crop_height) {
  // A crop that reaches the right or the bottom edge is refused on purpose. In 64 bits: the sums
  // may exceed an int.
  const bool inside = crop_x >= 0 && crop_y >= 0 && crop_x < width && crop_y < height &&
                      int64_t{crop_x} + crop_width < width &&
                      int64_t{crop_y} + crop_height < height;
  if (!inside || crop_height < 1 || dst_stride < 1) return;
  // Each row takes dst_stride bytes, which may run on into the rows below, but not past the image.
  const int64_t rows_below = int64_t{height} - crop_y - crop_height;
  if (int64_t{crop_x} * 4 + dst_stride > rows_below * src_stride + int64_t{width} * 4) return;
  for (int row = 0; row < crop_height; ++row) {
    std::memcpy(row_at(dst, row, dst_stride),
                row_at(src, crop_y + row, src_stride) + size_t{4} * crop_x, dst_stride);
  }
}

}  // namespace KelvraCV
