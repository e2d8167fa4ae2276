// The newest rows of a plane, for filters that walk down it.
#ifndef KELVRA_CV_CORE_ROW_RING_H_
#define KELVRA_CV_CORE_ROW_RING_H_

#include <cstddef>

#include "core/scratch.h"

namespace KelvraCV::detail {

// Places for `count` rows of `pitch` elements: row y takes that of row y - count.
template <class T>
class RowRing {
 public:
  RowRing(size_t count, size_t pitch) : count_(count), pitch_(pitch), rows_(count, pitch) {}

  T* operator[](size_t y) { return rows_.get() + y % count_ * pitch_; }

 private:
  size_t count_, pitch_;
  Scratch<T> rows_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_ROW_RING_H_
