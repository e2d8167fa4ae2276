// What resizing keeps from one destination row to the next.
#ifndef KELVRA_CV_GEOMETRY_FILTERED_ROWS_H_
#define KELVRA_CV_GEOMETRY_FILTERED_ROWS_H_

#include <algorithm>
#include <cstddef>

#include "core/row_ring.h"

namespace KelvraCV::detail {

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

#endif  // KELVRA_CV_GEOMETRY_FILTERED_ROWS_H_
