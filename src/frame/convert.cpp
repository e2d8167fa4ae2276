// YUV frames to ARGB pixels and to planar I420.
#include <libyuv/convert_argb.h>

#include "frame/planes.h"
#include "kelvra_cv.h"

namespace KelvraCV {

using namespace detail;

void convert_i420_argb(const unsigned char* y, int y_stride, const unsigned char* p2, int p2_stride,
                       const unsigned char* p3, int p3_stride, unsigned char* argb, int argb_stride,
                       int width, int height, bool flip) {
  // Crossed on purpose: the second plane is taken for V and the third for U.
  convert_yv12_argb(y, y_stride, p3, p3_stride, p2, p2_stride, argb, argb_stride, width, height,
                    flip);
}

void convert_yv12_argb(const unsigned char* y, int y_stride, const unsigned char* p2, int p2_stride,
                       const unsigned char* p3, int p3_stride, unsigned char* argb, int argb_stride,
                       int width, int height, bool flip) {
  if (width < 1 || height < 1) return;
  const auto out = flipped(argb, argb_stride, height, flip);
  libyuv::I420ToARGB(y, y_stride, p2, p2_stride, p3, p3_stride, out.data, out.stride, width,
                     height);
}

void convert_nv12_argb(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* argb, int argb_stride, int width, int height, bool flip) {
  if (width < 1 || height < 1) return;
  const auto out = flipped(argb, argb_stride, height, flip);
  libyuv::NV12ToARGB(y, y_stride, uv, uv_stride, out.data, out.stride, width, height);
}

void convert_nv21_argb(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* argb, int argb_stride, int width, int height, bool flip) {
  if (width < 1 || height < 1) return;
  const auto out = flipped(argb, argb_stride, height, flip);
  libyuv::NV21ToARGB(y, y_stride, uv, uv_stride, out.data, out.stride, width, height);
}

void convert_nv12_i420(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u,
                       int dst_u_stride, unsigned char* dst_v, int dst_v_stride, int width,
                       int height, bool flip) {
  if (width < 1 || height < 1) return;
  const auto luma = flipped(y, y_stride, height, flip);
  const auto chroma = flipped(uv, uv_stride, chroma_size(height), flip);
  copy_plane(luma, {dst_y, dst_y_stride}, width, height);
  split_pairs(chroma, {dst_u, dst_u_stride}, {dst_v, dst_v_stride}, chroma_size(width),
              chroma_size(height));
}

void convert_nv21_i420(const unsigned char* y, int y_stride, const unsigned char* uv, int uv_stride,
                       unsigned char* dst_y, int dst_y_stride, unsigned char* dst_u,
                       int dst_u_stride, unsigned char* dst_v, int dst_v_stride, int width,
                       int height, bool flip) {
  // The same pairs with V first.
  convert_nv12_i420(y, y_stride, uv, uv_stride, dst_y, dst_y_stride, dst_v, dst_v_stride, dst_u,
                    dst_u_stride, width, height, flip);
}

}  // namespace KelvraCV
