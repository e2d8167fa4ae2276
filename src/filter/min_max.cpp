// Maximum and minimum over a square window: morphological dilation and erosion.
//
// Along a line, the samples are split into blocks of n = 2 radius + 1 from its start, the last one
// holding the rest. Most results are the extreme of the whole window. At the ends they are not
// those of a clipped window, deliberately: among the first `radius` samples a result covers
// sample 0 to x, and among the last `radius` ones x to the end of the block that x is in.
#include <hwy/cache_control.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "core/row_ring.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

enum class Extreme { kMin, kMax };

template <Extreme kWhich, class Group>
HWY_INLINE Group extreme_of(Group a, const Group& b) {
  for (size_t i = 0; i < std::size(a.v); ++i) {
    a.v[i] = kWhich == Extreme::kMax ? hn::Max(a.v[i], b.v[i]) : hn::Min(a.v[i], b.v[i]);
  }
  return a;
}

// The extremes of rows, or of one row at several offsets.
template <Extreme kWhich, class... Rows>
HWY_FLATTEN void extremes(uint8_t* out, int count, const uint8_t* first, Rows... others) {
  for_each_group<uint8_t>(count, [=](auto group, size_t x) {
    auto extreme = group.load(first + x);
    ((extreme = extreme_of<kWhich>(extreme, group.load(others + x))), ...);
    extreme.store(out + x);
  });
}

// The running extreme of `count` samples from `row` on, in steps of 1 or -1.
template <Extreme kWhich>
void running_extreme(const uint8_t* row, uint8_t* out, int count, int step) {
  const Block<uint8_t> d;
  VectorGroup<Block<uint8_t>, 1> extreme{{hn::Set(d, *row)}};
  for (int i = 0; i < count; ++i, row += step, out += step) {
    extreme = extreme_of<kWhich>(extreme, decltype(extreme){{hn::Set(d, *row)}});
    *out = hn::GetLane(extreme.v[0]);
  }
}

// Each of the `count` rows above `row` becomes the extreme of itself and all below it to `row`.
template <Extreme kWhich>
HWY_FLATTEN void extend_up(uint8_t* row, size_t pitch, int count, int width) {
  for_each_group<uint8_t>(width, [=](auto group, size_t x) {
    uint8_t* above = row + x;
    auto extreme = group.load(above);
    for (int i = 0; i < count; ++i) {
      extreme = extreme_of<kWhich>(extreme, group.load(above -= pitch));
      extreme.store(above);
    }
  });
}

// Takes the `count` rows from `row` on into the running extreme, one after the other. Together with
// as many rows of `ends`, what it then is gives the rows of the result. It was `before` and is left
// in `running`.
template <Extreme kWhich>
HWY_FLATTEN void finish_windows(const uint8_t* before, const uint8_t* row, const uint8_t* ends,
                                size_t pitch, int count, uint8_t* running, uint8_t* out,
                                int width) {
  for_each_group<uint8_t>(width, [=](auto group, size_t x) {
    auto extreme = group.load(before + x);
    for (int i = 0; i < count; ++i) {
      const size_t at = i * pitch + x;
      extreme = extreme_of<kWhich>(extreme, group.load(row + at));
      extreme_of<kWhich>(extreme, group.load(ends + at))
          .store(out + static_cast<size_t>(i) * width + x);
    }
    extreme.store(running + x);
  });
}

// The separable filter: along each row, then down blocks of n rows (M. van Herk, 1992; J. Gil and
// M. Werman, 1993). A window of n rows is the end of a block and the start of the next one.
template <Extreme kWhich>
class ExtremeFilter {
 public:
  ExtremeFilter(const uint8_t* src, uint8_t* dst, int width, int height, int radius)
      : src_(src),
        dst_(dst),
        width_(width),
        height_(height),
        radius_(radius),
        n_(2 * radius + 1),
        last_block_((width - 1) / n_ * n_),
        is_large_(static_cast<size_t>(width) * height >= kLarge),
        // An odd number of cache lines: rows below each other do not compete for places.
        pitch_((static_cast<size_t>(width) + 63) / 64 * 64 | 64),
        rows_(std::min(2 * n_, height), pitch_),
        windows_(2, pitch_),
        running_(2, pitch_) {}

  void run() {
    if (radius_ == 1) return run_of_three();
    filter_rows_before(n_);
    for (int y = 0; y < radius_; ++y) {
      extremes<kWhich>(result(y), width_, row(y), y == 0 ? row(y) : result(y - 1));
    }
    for (int start = 0, rows; start < height_; start += rows) {
      rows = std::min(n_, height_ - start);
      filter_rows_before(start + rows);
      for (int y = start + rows - 1; y > start; y -= kRowsTogether) {
        extend_up<kWhich>(row(y), pitch_, std::min(kRowsTogether, y - start), width_);
      }
      for (int y = std::max(start, height_ - radius_); y < start + rows; ++y) {
        std::memcpy(result(y), row(y), width_);
      }
      finish_windows_from(start);
    }
  }

 private:
  // Few enough for a result whose rows compete for the same places of a cache.
  static constexpr int kRowsTogether = 4;

  static constexpr size_t kLarge = size_t{1} << 22;  // pixels: 8 MB to read and to write

  // Reading back what was written just now would wait.
  static constexpr int kAhead = 4;

  // Windows of three rows, where blocks would not pay. The first row and the last one are copied.
  void run_of_three() {
    filter_rows_before(kAhead);
    const uint8_t *above = row(0), *here = row(1);
    std::memcpy(result(0), above, width_);
    for (int y = 1; y < height_ - 1; ++y) {
      filter_rows_before(int64_t{y} + kAhead);
      const uint8_t* const below = row(y + 1);
      extremes<kWhich>(result(y), width_, above, here, below);
      above = here;
      here = below;
    }
    std::memcpy(result(height_ - 1), here, width_);
  }

  uint8_t* row(int y) { return rows_[y]; }
  uint8_t* result(int y) { return row_at(dst_, y, width_); }

  // The windows that start in the block at `start`, whose rows by now reach to its end.
  void finish_windows_from(int start) {
    const int end = start + std::min(n_, height_ - n_ + 1 - start);
    if (start >= end) return;
    std::memcpy(result(start + radius_), row(start), width_);
    const uint8_t* before = row(start + n_);
    uint8_t *running = running_.get(), *other = running + pitch_;
    for (int y = start + 1; y < end; y += kRowsTogether) {
      const int count = std::min(kRowsTogether, end - y), newest = y + n_ - 1;
      filter_rows_before(newest + count);
      finish_windows<kWhich>(before, row(newest), row(y), pitch_, count, running,
                             result(y + radius_), width_);
      before = running;
      std::swap(running, other);
    }
  }

  void filter_rows_before(int64_t end) {
    for (; known_ < std::min<int64_t>(end, height_); ++known_) {
      filter_row(row_at(src_, known_, width_), row(known_));
      if (is_large_) {
        prefetch(src_, int64_t{known_} + 2 * kRowsTogether);
        prefetch(dst_, int64_t{known_} - radius_ + kRowsTogether);
      }
    }
  }

  // Rows that no cache holds are fetched before it is their turn, also those that will be written:
  // the walk jumps too much for the machine to foresee where it leads.
  // Inlined: of a function that does nothing else, GCC leaves the calls out.
  HWY_INLINE void prefetch(const uint8_t* image, int64_t y) const {
    if (y < 0 || y >= height_) return;
    const uint8_t* const row = image + y * width_;
    for (int64_t x = 0; x < width_; x += 64) hwy::Prefetch(row + x);
  }

  // Windows of n samples are covered by shorter ones side by side, the last of which ends where
  // they do.
  void filter_row(const uint8_t* row, uint8_t* out) {
    const uint8_t* windows = row;  // of `length` samples, starting at each column
    uint8_t *next = windows_.get(), *other = next + pitch_;
    int length = 1;
    for (; 5 * length < n_; length *= 4) {
      extremes<kWhich>(next, width_ - (4 * length - 1), windows, windows + length,
                       windows + 2 * length, windows + 3 * length);
      windows = next;
      std::swap(next, other);
    }
    const uint8_t* const last_window = windows + n_ - length;
    const int count = width_ - (n_ - 1);
    const auto cover = [=](auto... others) KELVRA_CV_INLINE {
      extremes<kWhich>(out + radius_, count, windows, others..., last_window);
    };
    if (n_ <= 2 * length) {
      cover();
    } else if (n_ <= 3 * length) {
      cover(windows + length);
    } else if (n_ <= 4 * length) {
      cover(windows + length, windows + 2 * length);
    } else {
      cover(windows + length, windows + 2 * length, windows + 3 * length);
    }

    running_extreme<kWhich>(row, out, radius_, 1);
    // The last columns reach to the end of the last block, or of the one before it.
    const int last = width_ - 1, first = width_ - radius_;
    running_extreme<kWhich>(row + last, out + last, width_ - std::max(first, last_block_), -1);
    if (first < last_block_) {
      running_extreme<kWhich>(row + last_block_ - 1, out + last_block_ - 1, last_block_ - first,
                              -1);
    }
  }

  const uint8_t* src_;
  uint8_t* dst_;
  int width_, height_, radius_, n_, last_block_;  // where the last block of a row starts
  bool is_large_;
  size_t pitch_;
  RowRing<uint8_t> rows_;
  Scratch<uint8_t> windows_, running_;
  int known_ = 0;  // rows that are filtered along
};

template <Extreme kWhich>
void filter_extreme(const uint8_t* src, uint8_t* dst, int width, int height, int radius) {
  if (width < 1 || height < 1) return;
  // The same as 2 radius + 1 > side, for any radius.
  if (radius < 1 || radius > (std::min(width, height) - 1) / 2) {
    std::memmove(dst, src, static_cast<size_t>(width) * height);
    return;
  }
  ExtremeFilter<kWhich>(src, dst, width, height, radius).run();
}

}  // namespace

void filter_max(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_extreme<Extreme::kMax>(src, dst, width, height, radius);
}

void filter_min(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_extreme<Extreme::kMin>(src, dst, width, height, radius);
}

void dilate_mask(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_max(src, dst, width, height, radius);
}

void erode_mask(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  filter_min(src, dst, width, height, radius);
}

}  // namespace KelvraCV
