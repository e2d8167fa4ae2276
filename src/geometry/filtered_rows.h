// What resizing keeps from one destination row to the next.
#ifndef KELVRA_CV_GEOMETRY_FILTERED_ROWS_H_
#define KELVRA_CV_GEOMETRY_FILTERED_ROWS_H_

#include <algorithm>
#include <cstddef>

#include "core/scratch.h"

namespace KelvraCV::detail {

// Whole vectors may be read and written past the end of the scratch rows.
constexpr size_t kSpareValues = 64;

// The filtered source rows that a destination row takes. Those that the row before had are kept.
template <class T, int kTaps>
class FilteredRows {
 public:
  explicit FilteredRows(size_t count) : stride_(count + kSpareValues), values_(kTaps, stride_) {
    std::fill_n(sources_, kTaps, -1);
  }

  // `filter` is called with a source row's number and the place of its values.
  template <class Filter>
  void load(const int (&wanted)[kTaps], Filter filter) {
    for (int i = 0; i < kTaps; ++i) {
      const int* slot = std::find(sources_, sources_ + kTaps, wanted[i]);
      if (slot == sources_ + kTaps) {
        slot = std::find_if(sources_, sources_ + kTaps, [&](int source) {
          return std::find(wanted, wanted + kTaps, source) == wanted + kTaps;
        });
        filter(wanted[i], values(slot));
        sources_[slot - sources_] = wanted[i];
      }
      rows_[i] = values(slot);
    }
  }
  const T* const* rows() const { return rows_; }

 private:
  T* values(const int* slot) { return values_.get() + (slot - sources_) * stride_; }

  size_t stride_;
  int sources_[kTaps];
  const T* rows_[kTaps] = {};
  Scratch<T> values_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_FILTERED_ROWS_H_
