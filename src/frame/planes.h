// Planes of camera frames: where their rows are, from the top or from the bottom; copies of them.
#ifndef KELVRA_CV_FRAME_PLANES_H_
#define KELVRA_CV_FRAME_PLANES_H_

#include <libyuv/planar_functions.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "core/rows.h"

namespace KelvraCV::detail {

// A first row, and the bytes from one row to the next: negative when rows run upwards.
template <class Byte>
struct Plane {
  Byte* data;
  int stride;
};

// The plane from its last row upwards if `flip`, else as it is.
template <class Byte>
Plane<Byte> flipped(Byte* data, int stride, int rows, bool flip) {
  if (!flip) return {data, stride};
  return {data + static_cast<ptrdiff_t>(rows - 1) * stride, -stride};
}

// Calls work(first, count) for bands of rows that together have at most INT_MAX bytes each: libyuv
// takes packed rows for one long row, whose length it keeps in an int.
template <class Work>
void for_each_band(int64_t row_bytes, int height, const Work& work) {
  const int64_t most = std::max<int64_t>(INT_MAX / row_bytes, 1);
  for (int64_t y = 0; y < height; y += most) {
    work(static_cast<int>(y), static_cast<int>(std::min(most, height - y)));
  }
}

// Rows (or columns) of a chroma plane that has half as many as the luma plane, rounded up.
constexpr int chroma_size(int luma_size) {
  return luma_size / 2 + luma_size % 2;
}

// The planes of an I420 frame.
template <class Byte>
struct I420 {
  Plane<Byte> y, u, v;
};
inline I420<const uint8_t> flipped_i420(const uint8_t* y, int y_stride, const uint8_t* u,
                                        int u_stride, const uint8_t* v, int v_stride, int height,
                                        bool flip) {
  return {flipped(y, y_stride, height, flip), flipped(u, u_stride, chroma_size(height), flip),
          flipped(v, v_stride, chroma_size(height), flip)};
}

inline void copy_plane(Plane<const uint8_t> from, Plane<uint8_t> to, int width, int height) {
  for_each_band(width, height, [&](int y, int rows) {
    libyuv::CopyPlane(row_at(from.data, y, from.stride), from.stride, row_at(to.data, y, to.stride),
                      to.stride, width, rows);
  });
}

// Parts pairs into their first and their second bytes; `width` counts pairs.
inline void split_pairs(Plane<const uint8_t> uv, Plane<uint8_t> u, Plane<uint8_t> v, int width,
                        int height) {
  for_each_band(int64_t{2} * width, height, [&](int y, int rows) {
    libyuv::SplitUVPlane(row_at(uv.data, y, uv.stride), uv.stride, row_at(u.data, y, u.stride),
                         u.stride, row_at(v.data, y, v.stride), v.stride, width, rows);
  });
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_FRAME_PLANES_H_
