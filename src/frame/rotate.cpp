// Frames rotated clockwise by quarter turns.
#include <libyuv/rotate.h>
#include <libyuv/rotate_argb.h>

#include <climits>
#include <cstdlib>

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

using namespace detail;

// Whether a plane's bytes are too many for libyuv, which counts them in ints.
bool is_large(int stride, int rows) {
  return std::abs(int64_t{stride}) * rows > INT_MAX;
}

// Rotates samples of kBytes bytes with libyuv's function for them, large planes half by half.
template <int kBytes, class Rotate>
void rotate_plane(const Rotate& rotate, Plane<const uint8_t> src, Plane<uint8_t> dst, int width,
                  int height, RotationMode mode) {
  const bool sideways = is_sideways(mode);
  const bool split_rows =
      is_large(src.stride, height) || (!sideways && is_large(dst.stride, height));
  if (!split_rows && !(sideways && is_large(dst.stride, width))) {
    rotate(src.data, src.stride, dst.data, dst.stride, width, height, turn(mode));
    return;
  }
  // Rows, or columns, of the source: which way do they run in the destination?
  const int size = split_rows ? height : width;
  const bool reversed = mode == ROTATE_180 || mode == (split_rows ? ROTATE_90 : ROTATE_270);
  const ptrdiff_t src_step = split_rows ? src.stride : kBytes;
  const ptrdiff_t dst_step = split_rows != sideways ? dst.stride : kBytes;
  const auto rotate_part = [&](int from, int count) {
    const int to = reversed ? size - from - count : from;
    rotate_plane<kBytes>(rotate, {src.data + from * src_step, src.stride},
                         {dst.data + to * dst_step, dst.stride}, split_rows ? width : count,
                         split_rows ? count : height, mode);
  };
  rotate_part(0, size / 2);
  rotate_part(size / 2, size - size / 2);
}

void rotate_planes(const I420<const uint8_t>& from, const I420<uint8_t>& to, int width, int height,
                   RotationMode mode) {
  const int chroma_width = chroma_size(width), chroma_height = chroma_size(height);
  rotate_plane<1>(libyuv::RotatePlane, from.y, to.y, width, height, mode);
  rotate_plane<1>(libyuv::RotatePlane, from.u, to.u, chroma_width, chroma_height, mode);
  rotate_plane<1>(libyuv::RotatePlane, from.v, to.v, chroma_width, chroma_height, mode);
}

}  // namespace

void rotate_i420(const unsigned char* y, int y_stride, const unsigned char* u, int u_stride,
                 const unsigned char* v, int v_stride, unsigned char* dst_y, int dst_y_stride,
                 unsigned char* dst_u, int dst_u_stride, unsigned char* dst_v, int dst_v_stride,
                 int width, int height, RotationMode mode, bool flip) {
  if (width < 1 || height < 1) return;
  rotate_planes(flipped_i420(y, y_stride, u, u_stride, v, v_stride, height, flip),
                {{dst_y, dst_y_stride}, {dst_u, dst_u_stride}, {dst_v, dst_v_stride}}, width,
                height, mode);
}

void rotate_nv12(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                 unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u, int dst_u_stride,
                 unsigned char* dst_v, int dst_v_stride, int width, int height, RotationMode mode,
                 bool flip) {
  if (width < 1 || height < 1) return;
  const auto luma = flipped(y, y_stride, height, flip);
  const int chroma_width = chroma_size(width), chroma_height = chroma_size(height);
  const auto chroma = flipped(uv, uv_stride, chroma_height, flip);
  const bool sideways = is_sideways(mode);
  const bool too_narrow = sideways && chroma_width < kNarrowestChroma;
  if (too_narrow || is_large(y_stride, height) || is_large(uv_stride, chroma_height) ||
      is_large(dst_y_stride, sideways ? width : height)) {
    Scratch<unsigned char> u(chroma_height, chroma_width), v(chroma_height, chroma_width);
    split_pairs(chroma, {u.get(), chroma_width}, {v.get(), chroma_width}, chroma_width,
                chroma_height);
    return rotate_planes({luma, {u.get(), chroma_width}, {v.get(), chroma_width}},
                         {{dst_y, dst_y_stride}, {dst_u, dst_u_stride}, {dst_v, dst_v_stride}},
                         width, height, mode);
  }
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
  rotate_plane<4>(libyuv::ARGBRotate, from, {dst, dst_stride}, width, height, mode);
}

}  // namespace KelvraCV
