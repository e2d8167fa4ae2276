// Connected regions of a mask, as lists of their pixels. Rows are cut into runs of foreground, and
// runs that touch are joined in a forest: time and memory in proportion to pixels and runs.
#include <algorithm>

#include "core/rows.h"
#include "core/scratch.h"
#include "kelvra_cv.h"
#include "shape/row_bits.h"

namespace KelvraCV {
namespace {

using namespace detail;

// The columns start .. end, both inclusive.
struct Run {
  int start;
  int end;
};

struct Runs {
  std::vector<Run> runs;         // in raster order
  std::vector<size_t> first_of;  // first run of each row, and the number of runs
};

// A run starts where 255 follows 0 (or is the row's first pixel) and ends where 0 follows 255 (or
// the row is over). Other values neither start nor end a run; of a run with two starts the last
// counts, and what lacks a start or an end is no run.
void append_runs(const uint8_t* row, int width, std::vector<Run>& runs) {
  constexpr int kNone = -1;
  int start = kNone;
  uint64_t was_zero = 1, was_full = 0;  // the pixel before the word
  for (int x = 0;; x += kWordBits) {
    const int count = std::min(width - x, kWordBits);
    const uint64_t full = bits_equal(row + x, count, 255);
    const uint64_t zero = bits_equal(row + x, count, 0) | ~low_bits(count);
    const uint64_t starts = full & (zero << 1 | was_zero);
    const uint64_t ends = zero & (full << 1 | was_full);
    for (uint64_t events = starts | ends; events != 0; events &= events - 1) {
      const int at = x + first_bit(events);
      if ((starts & events & -events) != 0) {
        start = at;
      } else if (start != kNone) {
        runs.push_back({start, at - 1});
        start = kNone;
      }
    }
    was_zero = zero >> (kWordBits - 1);
    was_full = full >> (kWordBits - 1);
    if (count < kWordBits) return;
  }
}

Runs find_runs(const uint8_t* mask, int width, int height) {
  Runs found;
  found.first_of.reserve(static_cast<size_t>(height) + 1);
  for (int y = 0; y < height; ++y) {
    found.first_of.push_back(found.runs.size());
    append_runs(row_at(mask, y, width), width, found.runs);
  }
  found.first_of.push_back(found.runs.size());
  return found;
}

// A forest over runs in which every run points to itself or to an earlier one.
class Forest {
 public:
  explicit Forest(size_t count) : parents_(count) {
    for (size_t i = 0; i < count; ++i) parents_[i] = i;
  }

  void join(size_t a, size_t b) {
    const size_t root_a = root(a), root_b = root(b);
    parents_[std::max(root_a, root_b)] = std::min(root_a, root_b);
  }

  // Replaces the parents by the trees' numbers, in order of their first runs.
  size_t number(size_t count) {
    size_t trees = 0;
    for (size_t i = 0; i < count; ++i) {
      parents_[i] = parents_[i] == i ? trees++ : parents_[parents_[i]];
    }
    return trees;
  }
  size_t number_of(size_t run) const { return parents_[run]; }

 private:
  size_t root(size_t i) {
    while (parents_[i] != i) i = parents_[i] = parents_[parents_[i]];
    return i;
  }

  Scratch<size_t> parents_;
};

// Joins each run of row y with those of the row above that share a column with it; diagonal
// neighbours stay apart.
void join_rows(const Runs& found, size_t y, Forest& forest) {
  size_t above = found.first_of[y - 1], i = found.first_of[y];
  const size_t above_end = i, end = found.first_of[y + 1];
  while (above < above_end && i < end) {
    const Run &upper = found.runs[above], &lower = found.runs[i];
    if (lower.start <= upper.end && upper.start <= lower.end) forest.join(above, i);
    if (upper.end < lower.end) {
      ++above;
    } else {
      ++i;
    }
  }
}

// All pixels of a run. As many places as a region has pixels, up to kReserved, are reserved ahead.
class AllPixels {
 public:
  static constexpr uint32_t kReserved = ~uint32_t{0};

  void go_to_row(int y) { y_ = y; }
  void append(Run run, std::vector<Point>& points) const {
    for (int x = run.start; x <= run.end; ++x) points.push_back({x, y_});
  }

 private:
  int y_ = 0;
};

// The pixels of a run that are on their region's boundary, by the rule of find_blobs_contours().
class BoundaryPixels {
 public:
  static constexpr uint32_t kReserved = 16;  // of fewer pixels, nearly all are on the boundary

  BoundaryPixels(const uint8_t* mask, int width, int height)
      : mask_(mask), width_(width), height_(height), bits_(words_for(width)) {}

  void go_to_row(int y) {
    constexpr int kBand = 2;
    y_ = y;
    if (y < kBand || y >= height_ - kBand || width_ <= 2 * kBand) {
      std::fill_n(bits_.get(), words_for(width_), ~uint64_t{0});
      return;
    }
    find_zeros_beside();
    for (const int x : {0, 1, width_ - 2, width_ - 1}) {
      bits_[x / kWordBits] |= uint64_t{1} << x % kWordBits;
    }
  }

  void append(Run run, std::vector<Point>& points) const {
    for (int i = run.start / kWordBits; i <= run.end / kWordBits; ++i) {
      for (uint64_t word = bits_of(run, i); word != 0; word &= word - 1) {
        points.push_back({i * kWordBits + first_bit(word), y_});
      }
    }
  }

 private:
  void find_zeros_beside() {
    const uint8_t* row = row_at(mask_, y_, width_);
    uint64_t before = 0;
    for (int x = 0; x < width_; x += kWordBits) {
      const int count = std::min(width_ - x, kWordBits);
      const uint64_t here = bits_equal(row + x, count, 0);
      const bool zero_follows = width_ - x > kWordBits && row[x + kWordBits] == 0;
      bits_[x / kWordBits] =
          here << 1 | before | here >> 1 | uint64_t{zero_follows} << (kWordBits - 1) |
          bits_equal(row - width_ + x, count, 0) | bits_equal(row + width_ + x, count, 0);
      before = here >> (kWordBits - 1);
    }
  }

  // Word i of the row, without what is outside of the run.
  uint64_t bits_of(const Run& run, int i) const {
    const int x = i * kWordBits;
    const uint64_t word = bits_[i] & low_bits(std::min(run.end + 1 - x, kWordBits));
    return run.start > x ? word & ~low_bits(run.start - x) : word;
  }

  const uint8_t* mask_;
  int width_, height_, y_ = 0;
  Scratch<uint64_t> bits_;
};

template <class Pixels>
void append_regions(const uint8_t* mask, int width, int height, Pixels pixels,
                    std::vector<std::vector<Point>>& blobs) {
  const Runs found = find_runs(mask, width, height);
  const auto& [runs, first_of] = found;
  Forest forest(runs.size());
  for (size_t y = 1; y + 1 < first_of.size(); ++y) join_rows(found, y, forest);
  blobs.resize(forest.number(runs.size()));
  // Where a count has wrapped around, a list grows.
  std::vector<uint32_t> counts(blobs.size());
  for (size_t i = 0; i < runs.size(); ++i) {
    counts[forest.number_of(i)] += static_cast<uint32_t>(runs[i].end - runs[i].start) + 1;
  }
  for (size_t i = 0; i < blobs.size(); ++i) {
    blobs[i].reserve(blobs[i].size() + std::min(counts[i], Pixels::kReserved));
  }
  for (size_t y = 0; y + 1 < first_of.size(); ++y) {
    if (first_of[y] < first_of[y + 1]) pixels.go_to_row(static_cast<int>(y));
    for (size_t i = first_of[y]; i < first_of[y + 1]; ++i) {
      pixels.append(runs[i], blobs[forest.number_of(i)]);
    }
  }
}

}  // namespace

void find_blobs(const unsigned char* mask, std::vector<std::vector<Point>>& blobs, int width,
                int height) {
  if (width < 1 || height < 1) return;
  append_regions(mask, width, height, AllPixels(), blobs);
}

void find_blobs_contours(const unsigned char* mask, std::vector<std::vector<Point>>& blobs,
                         int width, int height) {
  if (width < 1 || height < 1) return;
  append_regions(mask, width, height, BoundaryPixels(mask, width, height), blobs);
}

}  // namespace KelvraCV
