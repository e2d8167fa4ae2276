// The newest rows of a plane, for filters that walk down it.
#ifndef KELVRA_CV_CORE_ROW_RING_H_
#define KELVRA_CV_CORE_ROW_RING_H_

#include <algorithm>
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

// Whole vectors may be read and written past the end of the scratch rows.
constexpr size_t kSpareValues = 64;

// The filtered source rows that a destination row takes, kTaps neighbouring ones at most. Those
// that the row before had are kept.
template <class T, int kTaps>
class FilteredRows {
 public:
  explicit FilteredRows(size_t count) : rows_(kTaps, count + kSpareValues) {
    std::fill_n(sources_, kTaps, -1);
  }

  // The values of source row y, which filter(y, values) makes if they are not there.
  template <class Filter>
  const T* row(int y, const Filter& filter) {
    const auto at = static_cast<size_t>(y);
    int& source = sources_[at % kTaps];  // neighbours take different places
    if (source != y) filter(y, rows_[at]);
    source = y;
    return rows_[at];
  }

 private:
  RowRing<T> rows_;
  int sources_[kTaps];
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_ROW_RING_H_
