// The newest rows of a plane, for filters that walk down it.
#ifndef KELVRA_CV_CORE_ROW_RING_H_
#define KELVRA_CV_CORE_ROW_RING_H_

#include <cstddef>
#include <cstdint>

#include "core/scratch.h"

namespace KelvraCV::detail {

// Places for `count` rows of `pitch` elements: row y takes that of row y - count.
template <class T>
class RowRing {
 public:
  RowRing(uint32_t count, size_t pitch) : count_(count), pitch_(pitch), rows_(count, pitch) {}

  T* operator[](uint32_t y) { return rows_.get() + y % count_ * pitch_; }
  const T* operator[](uint32_t y) const { return rows_.get() + y % count_ * pitch_; }

 private:
  uint32_t count_;  // 32 bits are quicker to divide by
  size_t pitch_;
  Scratch<T> rows_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_ROW_RING_H_
