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

// Whether two ranges of bytes share one. A row loop over vectors reads ahead of what it writes, so
// where source and destination overlap, only the scalar loop means what it says.
inline bool overlap(const void* a, size_t a_bytes, const void* b, size_t b_bytes) {
  const auto a_start = reinterpret_cast<uintptr_t>(a);
  const auto b_start = reinterpret_cast<uintptr_t>(b);
  return a_start < b_start + b_bytes && b_start < a_start + a_bytes;
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_ROWS_H_
