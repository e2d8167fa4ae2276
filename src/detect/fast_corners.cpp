// FAST corners: pixels with nine neighbours in a row, on a circle of sixteen, that are all darker
// or all brighter by more than a threshold. E. Rosten and T. Drummond, "Machine learning for
// high-speed corner detection", 2006.
#include <algorithm>
#include <cstring>

#include "core/gray_rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr int kRadius = 3, kCircle = 16, kArc = 9;

struct Step {
  int x, y;
};
constexpr Step kSteps[kCircle] = {{0, 3},  {1, 3},  {2, 2},  {3, 1},   {3, 0},   {3, -1},
                                  {2, -2}, {1, -3}, {0, -3}, {-1, -3}, {-2, -2}, {-3, -1},
                                  {-3, 0}, {-3, 1}, {-2, 2}, {-1, 3}};

// The seven rows around the one that is searched.
struct Window {
  const uint8_t* rows[2 * kRadius + 1];
  const uint8_t* at(int x, int k) const {  // circle pixel k of column x
    return rows[kRadius + kSteps[k].y] + x + kSteps[k].x;
  }
  const uint8_t* centre(int x) const { return rows[kRadius] + x; }
};

// By how much values stand out from their centres, `bright` above and `dark` below them.
template <class V>
HWY_INLINE V strength(V centre, V bright, V dark) {
  return hn::Max(hn::SaturatedSub(bright, centre), hn::SaturatedSub(centre, dark));
}

// Whether there may be a corner among the pixels from column x on, as many as `d8` has lanes: an
// arc of nine holds two neighbours of the four compass points.
template <class D>
HWY_INLINE bool may_have_corners(D d8, const Window& window, int x, int threshold) {
  const auto pixel = [&](int k) { return opaque(hn::LoadU(d8, window.at(x, k))); };  // used twice
  const auto p0 = pixel(0), p4 = pixel(4), p8 = pixel(8), p12 = pixel(12);
  const auto compass =
      strength(hn::LoadU(d8, window.centre(x)), hn::Min(hn::Max(p0, p8), hn::Max(p4, p12)),
               hn::Max(hn::Min(p0, p8), hn::Min(p4, p12)));
  const auto limit = hn::Set(d8, static_cast<uint8_t>(threshold));
  return !hn::AllTrue(d8, hn::SaturatedSub(compass, limit) == hn::Zero(d8));
}

// How much an arc of nine stands out from each centre: the largest of all arcs' smallest
// differences. A pixel is a corner at every threshold below it, so it is the score plus one.
//
// Arcs are taken in pairs: those from an even position k and from k + 1 on share the eight pixels
// k + 1 to k + 8. Of the two, the better one has as its ninth the better of pixels k and k + 9.
template <class D>
HWY_INLINE hn::Vec<D> arc_strength(D d8, const Window& window, int x) {
  // The best arc's worst pixel. Of two, the worse one is the smaller and the better one the larger,
  // or the other way round.
  const auto best_arc = [&](auto worse, auto better) KELVRA_CV_INLINE {
    const auto pixel = [&](int k)
                           KELVRA_CV_INLINE { return hn::LoadU(d8, window.at(x, k % kCircle)); };
    hn::Vec<D> of_two[kCircle / 2], of_four[kCircle / 2], best;  // [i] from position 2 i + 1 on
    for (int i = 0; i < 8; ++i) of_two[i] = worse(pixel(2 * i + 1), pixel(2 * i + 2));
    for (int i = 0; i < 8; ++i) of_four[i] = worse(of_two[i], of_two[(i + 1) % 8]);
    for (int i = 0; i < 8; ++i) {
      const auto of_eight = worse(of_four[i], of_four[(i + 2) % 8]);
      const auto arcs = worse(of_eight, better(pixel(2 * i), pixel(2 * i + kArc)));
      best = i == 0 ? arcs : better(best, arcs);
    }
    return best;
  };
  const auto min = [](auto a, auto b) KELVRA_CV_INLINE { return hn::Min(a, b); };
  const auto max = [](auto a, auto b) KELVRA_CV_INLINE { return hn::Max(a, b); };
  const auto bright = best_arc(min, max), dark = best_arc(max, min);
  return strength(hn::LoadU(d8, window.centre(x)), bright, dark);
}

// The columns of the corners of one row, and the row's scores: 0 where there is no corner.
struct CornerRow {
  explicit CornerRow(int width) : columns(width), scores(width) {
    std::memset(scores.get(), 0, static_cast<size_t>(width));
  }
  void clear() {
    while (count > 0) scores[columns[--count]] = 0;
  }
  void add(int x, uint8_t score) {
    columns[count++] = x;
    scores[x] = score;
  }

  Scratch<int> columns;
  Scratch<uint8_t> scores;
  int count = 0;
};

// Finds the corners among the pixels from column x on, as many as a vector has, that are not
// before column `first`. A function of its own, as most vectors do without it.
template <class D>
HWY_NOINLINE void find_corners_at(D d8, const Window& window, int x, int first, int threshold,
                                  const uint8_t* mask, CornerRow& found) {
  const auto limit = hn::Set(d8, static_cast<uint8_t>(threshold));
  const auto strength = arc_strength(d8, window, x);
  const auto is_corner = hn::Not(hn::SaturatedSub(strength, limit) == hn::Zero(d8));
  if (hn::AllFalse(d8, is_corner)) return;
  uint8_t strengths[hn::MaxLanes(d8)];
  hn::StoreU(strength, d8, strengths);
  for (uint64_t bits = mask_bits(d8, is_corner); bits != 0; bits &= bits - 1) {
    const auto lane = static_cast<int>(hwy::Num0BitsBelowLS1Bit_Nonzero64(bits));
    const int column = x + lane;
    if (column < first || (mask != nullptr && mask[column] == 0)) continue;
    found.add(column, static_cast<uint8_t>(strengths[lane] - 1));
  }
}

// Finds the corners of a row in increasing order. `mask` is null or the row's mask.
void find_corners(const Window& window, int width, int threshold, const uint8_t* mask,
                  CornerRow& found) {
  const int searched = width - 2 * kRadius;
  int next = kRadius;  // the last vector covers columns that are done
  for_each_vector<uint8_t>(static_cast<size_t>(searched), [&](auto d8, size_t i) KELVRA_CV_INLINE {
    const int x = kRadius + static_cast<int>(i);
    if (may_have_corners(d8, window, x, threshold)) {
      find_corners_at(d8, window, x, next, threshold, mask, found);
    }
    next = x + static_cast<int>(hn::Lanes(d8));
  });
}

// Whether a score is greater than those of all eight neighbours.
bool is_peak(const CornerRow& above, const CornerRow& row, const CornerRow& below, int x) {
  const uint8_t score = row.scores[x];
  const auto beats = [&](const CornerRow& other, int column) {
    return score > other.scores[column];
  };
  return beats(row, x - 1) && beats(row, x + 1) && beats(above, x - 1) && beats(above, x) &&
         beats(above, x + 1) && beats(below, x - 1) && beats(below, x) && beats(below, x + 1);
}

}  // namespace

void fast_9_16(const unsigned char* src, std::vector<KeyPoint>& keypoints, int width, int height,
               int channels, int stride, int bgra, int threshold, bool nonmax_suppression,
               unsigned char* mask) {
  if (channels != 1 && channels != 3 && channels != 4) {
    log_print("input channels error!\n");
    return;
  }
  keypoints.clear();
  if (height <= 2 * kRadius || width <= 2 * kRadius) return;
  const int limit = std::clamp(threshold, 0, 255);

  GrayRows gray{src, width, height, channels, stride, bgra};
  CornerRow rows[3] = {CornerRow(width), CornerRow(width), CornerRow(width)};
  Window window{};
  for (int y = 0; y < 2 * kRadius; ++y) window.rows[y + 1] = gray(y);
  // One row more than is searched, for the last one's suppression.
  for (int y = kRadius; y <= height - kRadius; ++y) {
    CornerRow& current = rows[y % 3];
    current.clear();
    if (y < height - kRadius) {
      std::copy(window.rows + 1, std::end(window.rows), window.rows);
      window.rows[2 * kRadius] = gray(y + kRadius);
      find_corners(window, width, limit,
                   mask == nullptr ? nullptr : mask + static_cast<size_t>(y) * width, current);
    }
    const CornerRow& above = rows[(y + 1) % 3];
    const CornerRow& previous = rows[(y + 2) % 3];
    for (int i = 0; i < previous.count; ++i) {
      const int x = previous.columns[i];
      if (nonmax_suppression && !is_peak(above, previous, current, x)) continue;
      keypoints.push_back(
          {x, y - 1, nonmax_suppression ? static_cast<float>(previous.scores[x]) : 0.0f});
    }
  }
}

}  // namespace KelvraCV
