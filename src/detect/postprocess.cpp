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

// The boxes of one class, best first, as an array of each number.
class Suppression {
 public:
  Suppression(const BBox* boxes, size_t count) : count_(count), values_(kNumbers, pitch()) {
    std::fill_n(values_.get(), kNumbers * pitch(), 0.0f);
    for (size_t i = 0; i < count; ++i) {
      const BBox& box = boxes[i];
      array(kX1)[i] = box.x1, array(kY1)[i] = box.y1, array(kX2)[i] = box.x2;
      array(kY2)[i] = box.y2, array(kArea)[i] = (box.x2 - box.x1) * (box.y2 - box.y1);
    }
  }

  bool is_suppressed(size_t i) { return array(kSuppressed)[i] != 0.0f; }

  // Suppresses the boxes after `kept` that overlap it by more than `threshold`: intersection over
  // union, 0 unless the intersection has a width and a height.
  void suppress_overlaps(size_t kept, float threshold) {
    const Full<float> d;
    const auto of_kept = [&](Number k) { return hn::Set(d, array(k)[kept]); };
    const auto x1 = of_kept(kX1), y1 = of_kept(kY1), x2 = of_kept(kX2), y2 = of_kept(kY2),
               area = of_kept(kArea), limit = hn::Set(d, threshold);
    for (size_t i = kept + 1; i < count_; i += hn::Lanes(d)) {
      const auto other = [&](Number k) { return hn::LoadU(d, array(k) + i); };
      const auto width = smaller(x2, other(kX2)) - larger(x1, other(kX1)),
                 height = smaller(y2, other(kY2)) - larger(y1, other(kY1));
      const auto shared = width * height;
      const auto overlap = hn::IfThenElseZero(hn::And(width > hn::Zero(d), height > hn::Zero(d)),
                                              shared / (area + other(kArea) - shared));
      hn::StoreU(hn::IfThenElse(overlap > limit, hn::Set(d, 1.0f), other(kSuppressed)), d,
                 array(kSuppressed) + i);
    }
  }

 private:
  enum Number { kX1, kY1, kX2, kY2, kArea, kSuppressed, kNumbers };
  static constexpr size_t kSpare = 16;  // whole vectors may pass the last box

  template <class V>
  static V larger(V a, V b) {
    return hn::IfThenElse(a < b, b, a);
  }
  template <class V>
  static V smaller(V a, V b) {
    return hn::IfThenElse(b < a, b, a);
  }
  size_t pitch() const { return count_ + kSpare; }
  float* array(Number k) { return values_.get() + k * pitch(); }

  size_t count_;
  Scratch<float> values_;
};

// Appends the survivors of one class, whose boxes are sorted by falling score.
void append_survivors(const BBox* sorted, size_t count, float threshold, std::vector<BBox>& boxes) {
  Suppression suppression(sorted, count);
  for (size_t i = 0; i < count; ++i) {
    if (suppression.is_suppressed(i)) continue;
    boxes.push_back(sorted[i]);
    suppression.suppress_overlaps(i, threshold);
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
