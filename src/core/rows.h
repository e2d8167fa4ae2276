// Rows of an image: where they are, and whether two of them share memory.
#ifndef KELVRA_CV_CORE_ROWS_H_
#define KELVRA_CV_CORE_ROWS_H_

#include <cstddef>
#include <cstdint>

namespace KelvraCV::detail {

// The start of row y. `stride` counts elements of T, bytes for an image of bytes.
template <class T>
T* row_at(T* first_row, int y, int stride) {
  return first_row + static_cast<ptrdiff_t>(y) * stride;
}

// Whether two ranges of bytes share one.
inline bool overlap(const void* a, size_t a_bytes, const void* b, size_t b_bytes) {
  const auto a_start = reinterpret_cast<uintptr_t>(a);
  const auto b_start = reinterpret_cast<uintptr_t>(b);
  return a_start < b_start + b_bytes && b_start < a_start + a_bytes;
}

// A row is converted as if pixel by pixel from the left, also where source and destination share
// memory. How a walk over vectors of pixels, which reads ahead of what it writes, keeps to that:
enum class RowOrder {
  kAny,        // the rows are apart
  kAscending,  // vectors one after the other, none of which takes a pixel for the second time
  kEachPixel,  // one pixel at a time
};

// Where pixels do not grow and the destination does not start behind the source, a pixel is written
// where only it and those before it were: never over one that is still to be read.
inline RowOrder row_order(const uint8_t* src, size_t src_pixel_bytes, const uint8_t* dst,
                          size_t dst_pixel_bytes, size_t width) {
  if (!overlap(src, src_pixel_bytes * width, dst, dst_pixel_bytes * width)) return RowOrder::kAny;
  const bool is_behind = reinterpret_cast<uintptr_t>(dst) > reinterpret_cast<uintptr_t>(src);
  return is_behind || dst_pixel_bytes > src_pixel_bytes ? RowOrder::kEachPixel
                                                        : RowOrder::kAscending;
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_ROWS_H_
