// Frames rotated clockwise by quarter turns.
#include <libyuv/planar_functions.h>
#include <libyuv/rotate.h>
#include <libyuv/rotate_argb.h>

#include "core/scratch.h"
#include "frame/planes.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

libyuv::RotationMode turn(RotationMode mode) {
  return static_cast<libyuv::RotationMode>(mode);
}

bool is_sideways(RotationMode mode) {
  return mode == ROTATE_90 || mode == ROTATE_270;
}

// On arm64 libyuv turns pairs of chroma in strips of eight columns, and where there are fewer it
// writes rows that the destination does not have.
constexpr int kNarrowestChroma = 8;

}  // namespace

using namespace detail;

void rotate_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                 const unsigned char* v, int v_stride, unsigned char* dst_y, int dst_y_stride,
                 unsigned char* dst_u, int dst_u_stride, unsigned char* dst_v, int dst_v_stride,
                 int width, int height, RotationMode mode, bool flip) {
  if (width < 1 || height < 1) return;
  const auto from_y = flipped(y, y_stride, height, flip);
  const auto from_u = flipped(u, u_stride, chroma_size(height), flip);
  const auto from_v = flipped(v, v_stride, chroma_size(height), flip);
  libyuv::I420Rotate(from_y.data, from_y.stride, from_u.data, from_u.stride, from_v.data,
                     from_v.stride, dst_y, dst_y_stride, dst_u, dst_u_stride, dst_v, dst_v_stride,
                     width, height, turn(mode));
}

void rotate_nv12(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                 unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                 unsigned char* dst_v, int dst_v_stride, int width, int height, RotationMode mode,
                 bool flip) {
  if (width < 1 || height < 1) return;
  const int chroma_width = chroma_size(width), chroma_height = chroma_size(height);
  if (is_sideways(mode) && chroma_width < kNarrowestChroma) {
    const size_t plane = static_cast<size_t>(chroma_width) * chroma_height;
    Scratch<unsigned char> planes(2, plane);
    unsigned char *const u = planes.get(), *const v = u + plane;
    libyuv::SplitUVPlane(uv, uv_stride, u, chroma_width, v, chroma_width, chroma_width,
                         chroma_height);
    rotate_i420(y, y_stride, u, chroma_width, v, chroma_width, dst_y, dst_y_stride, dst_u,
                dst_u_stride, dst_v, dst_v_stride, width, height, mode, flip);
    return;
  }
  const auto luma = flipped(y, y_stride, height, flip);
  const auto chroma = flipped(uv, uv_stride, chroma_height, flip);
  libyuv::NV12ToI420Rotate(luma.data, luma.stride, chroma.data, chroma.stride, dst_y, dst_y_stride,
                           dst_u, dst_u_stride, dst_v, dst_v_stride, width, height, turn(mode));
}

void rotate_nv21(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                 unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                 unsigned char* dst_v, int dst_v_stride, int width, int height, RotationMode mode,
                 bool flip) {
  // The same pairs with V first.
  rotate_nv12(y, y_stride, uv, uv_stride, dst_y, dst_y_stride, dst_v, dst_v_stride, dst_u,
              dst_u_stride, width, height, mode, flip);
}

void rotate_argb(const unsigned char* src, int src_stride, unsigned char* dst, int dst_stride,
                 int width, int height, RotationMode mode, bool flip) {
  if (width < 1 || height < 1) return;
  // libyuv walks columns by whole pixels: any other stride would lead it out of the image.
  if (is_sideways(mode) && src_stride % 4 != 0) return;
  const auto from = flipped(src, src_stride, height, flip);
  libyuv::ARGBRotate(from.data, from.stride, dst, dst_stride, width, height, turn(mode));
}

}  // namespace KelvraCV
