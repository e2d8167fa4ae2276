// A detection network's output rows as boxes: thresholding, then suppression of overlaps per class.
#include <algorithm>
#include <cmath>

#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// A row: centre x, centre y, width, height, objectness, then one score for each class.
constexpr int kFirstScore = 5, kObjectness = 4;

// The greatest score, or 0 if none is above 0. NaN is never greater.
float best_of(const float* scores, int count) {
  const TwoBlocks<float> d;  // there are 80 classes as a rule
  const int lanes = static_cast<int>(hn::Lanes(d));
  const auto greater = [](auto a, auto b) { return hn::IfThenElse(a > b, a, b); };
  auto best0 = hn::Zero(d), best1 = hn::Zero(d);
  int i = 0;
  for (; i + 2 * lanes <= count; i += 2 * lanes) {
    best0 = greater(hn::LoadU(d, scores + i), best0);
    best1 = greater(hn::LoadU(d, scores + i + lanes), best1);
  }
  float best = hn::GetLane(hn::MaxOfLanes(d, greater(best0, best1)));
  for (; i < count; ++i) best = scores[i] > best ? scores[i] : best;
  return best;
}

// Edges are whole numbers: a row is in the network's pixels. Adding 0 makes 0 of -0.
BBox box_of(const float* row, float score, int label) {
  const float half_width = row[2] * 0.5f, half_height = row[3] * 0.5f;
  return {std::trunc(row[0] - half_width) + 0.0f,
          std::trunc(row[1] - half_height) + 0.0f,
          std::trunc(row[0] + half_width) + 0.0f,
          std::trunc(row[1] + half_height) + 0.0f,
          score,
          label};
}

std::vector<BBox> candidates(const float* rows, int num_rows, int num_classes, float threshold) {
  std::vector<BBox> found;
  for (int i = 0; i < num_rows; ++i) {
    const float* const row = rows + static_cast<size_t>(i) * (kFirstScore + num_classes);
    // The best score is not negative, so this one's product is not positive: too little for a
    // positive threshold, whatever the scores.
    if (threshold > 0.0f && !(row[kObjectness] > 0.0f)) continue;
    const float* const scores = row + kFirstScore;
    const float best = best_of(scores, num_classes);
    const float score = row[kObjectness] * best;
    if (!(score >= threshold)) continue;
    // The first of equal ones; a best score of 0 may be nobody's.
    const float* const first = std::find(scores, scores + num_classes, best);
    found.push_back(box_of(row, score, best > 0.0f ? static_cast<int>(first - scores) : 0));
  }
  return found;
}

// Appends the survivors of one class, whose boxes are sorted by falling score: each of them
// suppresses the boxes behind it that overlap it by more than `threshold`, intersection over union.
// That is 0 unless the intersection has a width and a height.
void append_survivors(const BBox* sorted, size_t count, float threshold, std::vector<BBox>& boxes) {
  Scratch<float> numbers(6, count);
  float *const x1 = numbers.get(), *const y1 = x1 + count, *const x2 = y1 + count,
               *const y2 = x2 + count, *const area = y2 + count, *const suppressed = area + count;
  for (size_t i = 0; i < count; ++i) {
    const BBox& box = sorted[i];
    x1[i] = box.x1, y1[i] = box.y1, x2[i] = box.x2, y2[i] = box.y2;
    area[i] = (box.x2 - box.x1) * (box.y2 - box.y1);
    suppressed[i] = 0.0f;
  }
  const auto larger = [](auto a, auto b) { return hn::IfThenElse(a < b, b, a); };
  const auto smaller = [](auto a, auto b) { return hn::IfThenElse(b < a, b, a); };
  for (size_t kept = 0; kept < count; ++kept) {
    if (suppressed[kept] != 0.0f) continue;
    const BBox box = sorted[kept];
    const float box_area = area[kept];
    boxes.push_back(box);
    for_each_vector<float>(count - kept - 1, [=](auto d, size_t x) KELVRA_CV_INLINE {
      const auto mine = [=](float number) { return hn::Set(d, number); };
      const auto other = [=](const float* of) { return hn::LoadU(d, of + kept + 1 + x); };
      const auto width = smaller(mine(box.x2), other(x2)) - larger(mine(box.x1), other(x1)),
                 height = smaller(mine(box.y2), other(y2)) - larger(mine(box.y1), other(y1));
      const auto shared = width * height;
      const auto overlap = hn::IfThenElseZero(hn::And(width > hn::Zero(d), height > hn::Zero(d)),
                                              shared / (mine(box_area) + other(area) - shared));
      hn::StoreU(
          hn::IfThenElse(overlap > hn::Set(d, threshold), hn::Set(d, 1.0f), other(suppressed)), d,
          suppressed + kept + 1 + x);
    });
  }
}

}  // namespace

void object_detetion_postprocess(const float* rows, int num_rows, int num_classes,
                                 std::vector<BBox>& boxes, float score_threshold,
                                 float nms_threshold) {
  boxes.clear();
  if (num_rows < 1 || num_classes < 1) return;
  std::vector<BBox> found = candidates(rows, num_rows, num_classes, score_threshold);
  // Equal scores keep the order of their rows. Erasing boxes keeps the order, so that sorting once
  // is enough.
  std::stable_sort(found.begin(), found.end(), [](const BBox& a, const BBox& b) {
    return a.label != b.label ? a.label < b.label : a.score > b.score;
  });
  for (size_t first = 0, end; first < found.size(); first = end) {
    end = first + 1;
    while (end < found.size() && found[end].label == found[first].label) ++end;
    append_survivors(&found[first], end - first, nms_threshold, boxes);
  }
}

}  // namespace KelvraCV
