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
  const Full<float> d;
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

// The boxes of one class, best first, as one array for each edge.
class Edges {
 public:
  Edges(const BBox* boxes, size_t count) : count_(count), values_(5, count + kSpare) {
    for (size_t i = 0; i < count; ++i) {
      const BBox& box = boxes[i];
      x1()[i] = box.x1, y1()[i] = box.y1, x2()[i] = box.x2, y2()[i] = box.y2;
      area()[i] = (box.x2 - box.x1) * (box.y2 - box.y1);
    }
    for (size_t i = count; i < count + kSpare; ++i) {
      for (size_t k = 0; k < 5; ++k) array(k)[i] = 0.0f;
    }
  }

  // Marks what overlaps box `kept` by more than `threshold`: intersection over union, 0 unless the
  // intersection has a width and a height.
  void mark_overlaps(size_t kept, float threshold, uint8_t* suppressed) const {
    const Full<float> d;
    const auto x1_kept = hn::Set(d, x1()[kept]), y1_kept = hn::Set(d, y1()[kept]),
               x2_kept = hn::Set(d, x2()[kept]), y2_kept = hn::Set(d, y2()[kept]),
               area_kept = hn::Set(d, area()[kept]), limit = hn::Set(d, threshold);
    for (size_t i = kept + 1; i < count_; i += hn::Lanes(d)) {
      const auto left = larger(x1_kept, hn::LoadU(d, x1() + i)),
                 top = larger(y1_kept, hn::LoadU(d, y1() + i)),
                 right = smaller(x2_kept, hn::LoadU(d, x2() + i)),
                 bottom = smaller(y2_kept, hn::LoadU(d, y2() + i));
      const auto shared = (right - left) * (bottom - top);
      const auto united = area_kept + hn::LoadU(d, area() + i) - shared;
      const auto meet = hn::And(right > left, bottom > top);
      const auto overlap = hn::IfThenElseZero(meet, shared / united);
      uint8_t bits[8] = {};
      hn::StoreMaskBits(d, overlap > limit, bits);
      for (size_t lane = 0; bits[0] != 0; ++lane, bits[0] = static_cast<uint8_t>(bits[0] >> 1)) {
        suppressed[i + lane] |= bits[0] & 1;
      }
    }
  }

  static constexpr size_t kSpare = 16;  // whole vectors may be read past the last box

 private:
  template <class V>
  static V larger(V a, V b) {
    return hn::IfThenElse(a < b, b, a);
  }
  template <class V>
  static V smaller(V a, V b) {
    return hn::IfThenElse(b < a, b, a);
  }
  float* array(size_t k) { return values_.get() + k * (count_ + kSpare); }
  const float* array(size_t k) const { return values_.get() + k * (count_ + kSpare); }
  float* x1() { return array(0); }
  float* y1() { return array(1); }
  float* x2() { return array(2); }
  float* y2() { return array(3); }
  float* area() { return array(4); }
  const float* x1() const { return array(0); }
  const float* y1() const { return array(1); }
  const float* x2() const { return array(2); }
  const float* y2() const { return array(3); }
  const float* area() const { return array(4); }

  size_t count_;
  Scratch<float> values_;
};

// Appends the survivors of one class, whose boxes are sorted by falling score.
void append_survivors(const BBox* sorted, size_t count, float threshold, std::vector<BBox>& boxes) {
  const Edges edges(sorted, count);
  std::vector<uint8_t> suppressed(count + Edges::kSpare);
  for (size_t i = 0; i < count; ++i) {
    if (suppressed[i] != 0) continue;
    boxes.push_back(sorted[i]);
    edges.mark_overlaps(i, threshold, suppressed.data());
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
