// Maximum and minimum over a square window, which dilate and erode masks.
//
// Along a line, the samples are split into blocks of n = 2 radius + 1 from its start, the last one
// holding the rest. Most results are the extreme of the whole window. At the ends they are not
// those of a clipped window, deliberately: among the first `radius` samples a result covers
// sample 0 to x, and among the last `radius` ones x to the end of the block that x is in.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

struct Max {
  static constexpr uint8_t kNeutral = 0;
  uint8_t operator()(uint8_t a, uint8_t b) const { return a > b ? a : b; }
  template <class V>
  V of_vectors(V a, V b) const {
    return hn::Max(a, b);
  }
};
struct Min {
  static constexpr uint8_t kNeutral = 255;
  uint8_t operator()(uint8_t a, uint8_t b) const { return a < b ? a : b; }
  template <class V>
  V of_vectors(V a, V b) const {
    return hn::Min(a, b);
  }
};

// Rows of scratch have room for a vector more, so that loops over them need no scalar end.
constexpr int kPadding = 64;

// out[x] = Op of a[x] and b[x], all rows of scratch. `out` may be `a`. If `b` lies ahead of it in
// the same row, nothing is read after it is written; if behind, what is read may cover more
// already.
template <class Op>
void combine(const uint8_t* a, const uint8_t* b, uint8_t* out, int count) {
  const Full<uint8_t> d;
  for (int x = 0; x < count; x += static_cast<int>(hn::Lanes(d))) {
    hn::StoreU(Op().of_vectors(hn::LoadU(d, a + x), hn::LoadU(d, b + x)), d, out + x);
  }
}

// Calls `vector(x)` for whole vectors that cover 0 … count - 1, the last two overlapping, or
// `scalar(x)` where there is not even one.
template <class Vector, class Scalar>
HWY_INLINE void for_each_vector(int count, Vector vector, Scalar scalar) {
  const int lanes = static_cast<int>(hn::Lanes(Full<uint8_t>()));
  if (count < lanes) {
    for (int x = 0; x < count; ++x) scalar(x);
    return;
  }
  for (int x = 0; x < count - lanes; x += lanes) vector(x);
  vector(count - lanes);
}

// The same into a caller's row.
template <class Op>
void combine_exactly(const uint8_t* a, const uint8_t* b, uint8_t* out, int count) {
  const Full<uint8_t> d;
  for_each_vector(
      count,
      [=](int x) {
        hn::StoreU(Op().of_vectors(hn::LoadU(d, a + x), hn::LoadU(d, b + x)), d, out + x);
      },
      [=](int x) { out[x] = Op()(a[x], b[x]); });
}

// The extremes of `length` samples, 3 or 4, that start at x, of a caller's row.
template <class Op>
void first_windows(const uint8_t* row, uint8_t* out, int width, int length) {
  const Full<uint8_t> d;
  const uint8_t* end = row + length - 2;  // the last two samples of the first window
  for_each_vector(
      width + 1 - length,
      [=](int x) {
        const auto start2 = Op().of_vectors(hn::LoadU(d, row + x), hn::LoadU(d, row + 1 + x));
        const auto end2 = Op().of_vectors(hn::LoadU(d, end + x), hn::LoadU(d, end + 1 + x));
        hn::StoreU(Op().of_vectors(start2, end2), d, out + x);
      },
      [=](int x) { out[x] = Op()(Op()(row[x], row[x + 1]), Op()(end[x], end[x + 1])); });
}

// out[x] = the extreme of row[0] to row[x]. The stretch that ends at x doubles in every step.
template <class Op>
void extremes_from_start(const uint8_t* row, uint8_t* scratch, uint8_t* out, int count) {
  std::memcpy(scratch, row, count);
  for (int step = 1; step < count; step *= 2) {
    combine<Op>(scratch + step, scratch, scratch + step, count - step);
  }
  std::memcpy(out, scratch, count);
}

// out[x] = the extreme of row[x] to row[count - 1].
template <class Op>
void extremes_to_end(const uint8_t* row, uint8_t* scratch, uint8_t* out, int count) {
  std::memcpy(scratch, row, count);
  std::memset(scratch + count, Op::kNeutral, kPadding);
  for (int step = 1; step < count; step *= 2) {
    combine<Op>(scratch, scratch + step, scratch, count - step);
  }
  std::memcpy(out, scratch, count);
}

// The extremes along one row. Windows that start at x are widened to twice their length, step by
// step and in place, and to n at last.
template <class Op>
void extremes_along(const uint8_t* row, uint8_t* windows, uint8_t* out, int width, int radius) {
  const int n = 2 * radius + 1;
  if (n == 3) {
    first_windows<Op>(row, out + radius, width, 3);
  } else {
    first_windows<Op>(row, windows, width, 4);
    int length = 4;
    for (; 2 * length <= n; length *= 2) {
      combine<Op>(windows, windows + length, windows, width + 1 - 2 * length);
    }
    combine<Op>(windows, windows + (n - length), out + radius, width + 1 - n);
  }

  // The last `radius` columns hold one end of a block at most, but for that of the last one.
  const int last_block = (width - 1) / n * n, first = width - radius;
  extremes_from_start<Op>(row, windows, out, radius);
  if (first < last_block) {
    extremes_to_end<Op>(row + first, windows, out + first, last_block - first);
  }
  const int rest = std::max(first, last_block);
  extremes_to_end<Op>(row + rest, windows, out + rest, width - rest);
}

// Walks blocks of n rows: `block` holds the extremes along the rows of one block and, once they are
// known, those from each row to the block's end. `running` is the extreme from a block's first row
// to the newest one. A row's place in `block` is free for the next block's row as soon as the
// window that starts there is done, so n rows are all that is kept.
template <class Op>
class ExtremeFilter {
 public:
  ExtremeFilter(const uint8_t* src, uint8_t* dst, int width, int height, int radius)
      : src_(src),
        dst_(dst),
        width_(width),
        height_(height),
        radius_(radius),
        n_(2 * radius + 1),
        pitch_(static_cast<size_t>(width) + kPadding),
        block_(n_, pitch_),
        running_(pitch_),
        windows_(pitch_) {}

  void run() {
    for (int y = 0; y < n_; ++y) {
      read(y);
      if (y < radius_) std::memcpy(row_at(dst_, y, width_), running_.get(), width_);
    }
    for (int start = 0; start < height_; start += n_) {
      const int rows = std::min(n_, height_ - start);
      extend_to_end(rows);
      for (int y = std::max(start, height_ - radius_); y < start + rows; ++y) {
        std::memcpy(row_at(dst_, y, width_), slot(y), width_);
      }
      slide(start);
    }
  }

 private:
  uint8_t* slot(int y) { return block_.get() + (y % n_) * pitch_; }

  void read(int y) {
    extremes_along<Op>(row_at(src_, y, width_), windows_.get(), slot(y), width_, radius_);
    if (y % n_ == 0) {
      std::memcpy(running_.get(), slot(y), width_);
    } else {
      combine<Op>(running_.get(), slot(y), running_.get(), width_);
    }
  }

  void extend_to_end(int rows) {
    for (int i = rows - 2; i >= 0; --i) combine<Op>(slot(i), slot(i + 1), slot(i), width_);
  }

  // The windows that start in the block at `start`, while the next block is read.
  void slide(int start) {
    for (int i = 0; i < n_ && i < height_ - start - n_ + 1; ++i) {
      const int newest = start + n_ - 1 + i;  // the window's last row
      uint8_t* out = row_at(dst_, newest - radius_, width_);
      if (i == 0) {
        std::memcpy(out, slot(start), width_);
      } else {
        read(newest);
        combine_exactly<Op>(slot(start + i), running_.get(), out, width_);
      }
    }
    if (height_ - start >= 2 * n_) read(start + 2 * n_ - 1);
  }

  const uint8_t* src_;
  uint8_t* dst_;
  int width_, height_, radius_, n_;
  size_t pitch_;
  Scratch<uint8_t> block_, running_, windows_;
};

template <class Op>
void filter_extreme(const uint8_t* src, uint8_t* dst, int width, int height, int radius) {
  if (width < 1 || height < 1) return;
  // The same as 2 radius + 1 > side, for any radius.
  if (radius < 1 || radius > (std::min(width, height) - 1) / 2) {
    std::memmove(dst, src, static_cast<size_t>(width) * height);
    return;
  }
  ExtremeFilter<Op>(src, dst, width, height, radius).run();
}

}  // namespace

void filter_max(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_extreme<Max>(src, dst, width, height, radius);
}

void filter_min(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_extreme<Min>(src, dst, width, height, radius);
}

void dilate_mask(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_max(src, dst, width, height, radius);
}

void erode_mask(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_min(src, dst, width, height, radius);
}

}  // namespace KelvraCV
