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
    for (size_t i = 0; i < count; ++i) parents_[i] = static_cast<uint32_t>(i);
  }

  void join(size_t a, size_t b) {
    const uint32_t root_a = root(static_cast<uint32_t>(a)), root_b = root(static_cast<uint32_t>(b));
    parents_[std::max(root_a, root_b)] = std::min(root_a, root_b);
  }

  // Replaces the parents by the trees' numbers, in order of their first runs.
  size_t number(size_t count) {
    uint32_t trees = 0;
    for (size_t i = 0; i < count; ++i) {
      parents_[i] = parents_[i] == i ? trees++ : parents_[parents_[i]];
    }
    return trees;
  }
  uint32_t number_of(size_t run) const { return parents_[run]; }

 private:
  uint32_t root(uint32_t i) {
    while (parents_[i] != i) i = parents_[i] = parents_[parents_[i]];
    return i;
  }

  Scratch<uint32_t> parents_;
};

// Joins each run of row y with those of the row above that share a column with it; diagonal
// neighbours stay apart.
void join_rows(const Runs& found, int y, Forest& forest) {
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

// Which pixels of row y are on their region's boundary, by the rule of find_blobs_contours().
void boundary_bits(const uint8_t* mask, int width, int height, int y, uint64_t* bits) {
  constexpr int kBand = 2;
  const size_t words = words_for(width);
  if (y < kBand || y >= height - kBand || width <= 2 * kBand) {
    std::fill_n(bits, words, ~uint64_t{0});
    return;
  }
  const uint8_t* row = row_at(mask, y, width);
  const auto zeros = [&](int v, int x) {
    return bits_equal(row_at(mask, v, width) + x, std::min(width - x, kWordBits), 0);
  };
  uint64_t before = 0;
  for (size_t i = 0; i < words; ++i) {
    const int x = static_cast<int>(i) * kWordBits;
    const uint64_t here = zeros(y, x);
    const bool zero_follows = width - x > kWordBits && row[x + kWordBits] == 0;
    bits[i] = here << 1 | before | here >> 1 | uint64_t{zero_follows} << (kWordBits - 1) |
              zeros(y - 1, x) | zeros(y + 1, x);
    before = here >> (kWordBits - 1);
  }
  for (const int x : {0, 1, width - 2, width - 1}) {
    bits[x / kWordBits] |= uint64_t{1} << x % kWordBits;
  }
}

void append_marked(const Run& run, int y, const uint64_t* bits, std::vector<Point>& points) {
  for (int i = run.start / kWordBits; i <= run.end / kWordBits; ++i) {
    const int x = i * kWordBits;
    uint64_t word = bits[i] & low_bits(std::min(run.end + 1 - x, kWordBits));
    if (x < run.start) word &= ~low_bits(run.start - x);
    for (; word != 0; word &= word - 1) points.push_back({x + first_bit(word), y});
  }
}

struct Labels {
  Runs found;
  Forest forest;
  size_t count;
};

Labels label_regions(const uint8_t* mask, int width, int height) {
  Runs found = find_runs(mask, width, height);
  Forest forest(found.runs.size());
  for (int y = 1; y < height; ++y) join_rows(found, y, forest);
  const size_t count = forest.number(found.runs.size());
  return {std::move(found), std::move(forest), count};
}

}  // namespace

void find_blobs(const unsigned char* mask, std::vector<std::vector<Point>>& blobs, int width,
                int height) {
  if (width < 1 || height < 1) return;
  const Labels labels = label_regions(mask, width, height);
  const std::vector<Run>& runs = labels.found.runs;
  blobs.resize(labels.count);

  // All room first, so that no list grows while points are written.
  Scratch<size_t> sizes(labels.count);
  std::transform(blobs.begin(), blobs.end(), sizes.get(),
                 [](const auto& blob) { return blob.size(); });
  for (size_t i = 0; i < runs.size(); ++i) {
    sizes[labels.forest.number_of(i)] += static_cast<size_t>(runs[i].end - runs[i].start) + 1;
  }
  Scratch<Point*> nexts(labels.count);
  for (size_t i = 0; i < labels.count; ++i) {
    const size_t old_size = blobs[i].size();
    blobs[i].resize(sizes[i]);
    nexts[i] = blobs[i].data() + old_size;
  }
  for (int y = 0; y < height; ++y) {
    for (size_t i = labels.found.first_of[y]; i < labels.found.first_of[y + 1]; ++i) {
      Point*& next = nexts[labels.forest.number_of(i)];
      for (int x = runs[i].start; x <= runs[i].end; ++x) *next++ = {x, y};
    }
  }
}

void find_blobs_contours(const unsigned char* mask, std::vector<std::vector<Point>>& blobs,
                         int width, int height) {
  if (width < 1 || height < 1) return;
  const Labels labels = label_regions(mask, width, height);
  blobs.resize(labels.count);
  Scratch<uint64_t> bits(words_for(width));
  for (int y = 0; y < height; ++y) {
    const size_t first = labels.found.first_of[y], end = labels.found.first_of[y + 1];
    if (first < end) boundary_bits(mask, width, height, y, bits.get());
    for (size_t i = first; i < end; ++i) {
      append_marked(labels.found.runs[i], y, bits.get(), blobs[labels.forest.number_of(i)]);
    }
  }
}

}  // namespace KelvraCV
