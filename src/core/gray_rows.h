// The rows of an image in gray, for filters that walk down it.
#ifndef KELVRA_CV_CORE_GRAY_ROWS_H_
#define KELVRA_CV_CORE_GRAY_ROWS_H_

#include <algorithm>

#include "core/rows.h"
#include "core/scratch.h"
#include "kelvra_cv.h"

namespace KelvraCV::detail {

// Those of 3 or 4 channels are converted, short ones several at a time, as every call of a
// conversion costs something of its own; others are taken as they are. Each row is to be asked for,
// from the first one down. The seven rows before the newest one stay.
class GrayRows {
 public:
  GrayRows(const uint8_t* src, int width, int height, int channels, int stride, int bgra)
      : src_(src),
        width_(width),
        height_(height),
        channels_(channels),
        stride_(stride),
        bgra_(bgra),
        together_(width < kShort ? 8 : 1),
        rows_(together_ == 1 ? 8 : 16),
        converted_(is_gray() ? 0 : rows_, static_cast<size_t>(width)) {}

  const uint8_t* operator()(int y) {
    const uint8_t* const source = row_at(src_, y, stride_);
    if (is_gray()) return source;
    uint8_t* const gray = row_at(converted_.get(), y & (rows_ - 1), width_);
    if ((y & (together_ - 1)) == 0) convert(source, gray, std::min(together_, height_ - y));
    return gray;
  }

 private:
  static constexpr int kShort = 256;

  bool is_gray() const { return channels_ != 3 && channels_ != 4; }

  void convert(const uint8_t* from, uint8_t* gray, int rows) const {
    if (channels_ == 3) {
      rgb2gray(from, gray, width_, rows, stride_, width_);
    } else {
      rgba2gray(from, gray, width_, rows, stride_, width_, bgra_);
    }
  }

  const uint8_t* src_;
  int width_, height_, channels_, stride_, bgra_;
  int together_, rows_;  // powers of 2: converted at a time, and kept
  Scratch<uint8_t> converted_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_GRAY_ROWS_H_
