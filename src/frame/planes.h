// Planes of camera frames: where their rows are, from the top or from the bottom.
#ifndef KELVRA_CV_FRAME_PLANES_H_
#define KELVRA_CV_FRAME_PLANES_H_

#include <cstddef>
#include <cstdint>

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

// Rows (or columns) of a chroma plane that has half as many as the luma plane, rounded up.
constexpr int chroma_size(int luma_size) {
  return luma_size / 2 + luma_size % 2;
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_FRAME_PLANES_H_
