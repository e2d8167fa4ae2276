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
struct GrayRows {
  const uint8_t* src;
  int width, height, channels, stride, bgra;
  // Powers of 2: rows converted at a time, and kept.
  int together = width < 256 ? 8 : 1, kept = together == 1 ? 8 : 16;
  Scratch<uint8_t> converted{is_gray() ? 0 : static_cast<size_t>(kept) * width};

  bool is_gray() const { return channels != 3 && channels != 4; }

  const uint8_t* operator()(int y) {
    const uint8_t* const source = row_at(src, y, stride);
    if (is_gray()) return source;
    uint8_t* const gray = row_at(converted.get(), y & (kept - 1), width);
    if ((y & (together - 1)) != 0) return gray;
    const int rows = std::min(together, height - y);
    if (channels == 3) {
      rgb2gray(source, gray, width, rows, stride, width);
    } else {
      rgba2gray(source, gray, width, rows, stride, width, bgra);
    }
    return gray;
  }
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_GRAY_ROWS_H_
