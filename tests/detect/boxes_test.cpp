#include <cmath>
#include <limits>

#include "detect/detect_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

std::vector<float> row(float cx, float cy, float w, float h, float objectness,
                       std::vector<float> scores) {
  std::vector<float> all{cx, cy, w, h, objectness};
  all.insert(all.end(), scores.begin(), scores.end());
  return all;
}

std::vector<BBox> decode(const std::vector<std::vector<float>>& rows, float score_threshold,
                         float nms_threshold) {
  const int classes = static_cast<int>(rows.at(0).size()) - 5;
  GuardedBuffer<float> buffer(classes + 5, static_cast<int>(rows.size()));
  for (size_t i = 0; i < rows.size(); ++i) {
    std::copy(rows[i].begin(), rows[i].end(), buffer.row(static_cast<int>(i)));
  }
  std::vector<BBox> boxes(3);
  object_detetion_postprocess(buffer.data(), buffer.rows(), classes, boxes, score_threshold,
                              nms_threshold);
  return boxes;
}

}  // namespace

TEST(Boxes, DecodingByHand) {
  // First maximum wins; edges truncate toward zero.
  EXPECT_EQ(flat(decode({row(1.2f, 10, 5.5f, 7, 0.5f, {0.1f, 0.9f, 0.9f})}, 0.45f, 0.5f)),
            (std::vector<float>{-1, 6, 3, 13, 0.45f, 1}));
  const auto corner = decode({row(0.5f, 0.5f, 1.5f, 1.5f, 1, {1})}, 0, 0.5f).at(0);
  EXPECT_FALSE(std::signbit(corner.x1) || std::signbit(corner.y1)) << "0, not -0";
  EXPECT_TRUE(decode({row(5, 5, 2, 2, 0.5f, {0.9f})}, 0.46f, 0.5f).empty());
  // No score above 0: class 0 and score 0, kept only by a threshold that is not positive.
  EXPECT_TRUE(decode({row(5, 5, 2, 2, 1, {-1, -0.5f})}, 1e-9f, 0.5f).empty());
  EXPECT_EQ(flat(decode({row(5, 5, 2, 2, 1, {-1, -0.5f})}, 0, 0.5f)),
            (std::vector<float>{4, 4, 6, 6, 0, 0}));
  // A score above 1 makes up for a small objectness; NaN never passes.
  EXPECT_EQ(decode({row(5, 5, 2, 2, 0.01f, {0, 90})}, 0.5f, 0.5f).size(), 1u);
  EXPECT_TRUE(decode({row(5, 5, 2, 2, NAN, {1})}, 0, 0.5f).empty());
  EXPECT_EQ(decode({row(5, 5, 2, 2, 1, {NAN, 1})}, 0.5f, 0.5f).at(0).label, 1);
  // Two negatives do not make a score: the best starts at 0.
  std::vector<BBox> boxes = decode({row(5, 5, 2, 2, -1, {-1})}, 0.5f, 0.5f);
  EXPECT_TRUE(boxes.empty());
  boxes.resize(2);
  object_detetion_postprocess(nullptr, 0, 80, boxes, 0, 0);
  EXPECT_TRUE(boxes.empty());
}

TEST(Boxes, SuppressionByHand) {
  const auto first = row(10, 10, 20, 20, 1, {0.9f, 0}), third = row(10, 20, 20, 20, 1, {0.8f, 0}),
             other = row(10, 10, 20, 20, 1, {0, 0.7f});
  // Half of each is shared: a third of the union.
  const float third_part = 200.0f / 600.0f;
  EXPECT_EQ(decode({third, first, other}, 0.1f, third_part).size(), 3u) << "equal is kept";
  const auto kept = decode({third, first, other}, 0.1f, std::nextafter(third_part, 0.0f));
  EXPECT_EQ(flat(kept), (std::vector<float>{0, 0, 20, 20, 0.9f, 0, 0, 0, 20, 20, 0.7f, 1}));
  // Touching edges share nothing, which still is more than a negative threshold.
  const auto touching = row(30, 10, 20, 20, 1, {0.5f, 0});
  EXPECT_EQ(decode({first, touching}, 0.1f, 0).size(), 2u);
  EXPECT_EQ(decode({first, touching}, 0.1f, -0.1f).size(), 1u);
}

TEST(Boxes, RandomRowsLikeThePlainRule) {
  Random random(5);
  for (const int classes : {1, 2, 7, 8, 16, 17, 40, 80}) {
    for (const int count : {1, 9, 300}) {
      std::vector<std::vector<float>> rows;
      for (int i = 0; i < count; ++i) {
        std::vector<float> scores(classes);
        for (float& score : scores) score = static_cast<float>(random.below(40) - 8) / 16;
        rows.push_back(row(static_cast<float>(random.below(200)) / 2, 30.25f,
                           static_cast<float>(random.below(90)), 20 + random.below(9) * 0.5f,
                           static_cast<float>(random.below(20) - 2) / 8, scores));
      }
      for (const float threshold : {-0.5f, 0.0f, 0.4f}) {
        ASSERT_EQ(flat(decode(rows, threshold, 0.45f)), flat(plain_decode(rows, threshold, 0.45f)))
            << classes << " classes, " << count << " rows, threshold " << threshold;
      }
    }
  }
}

TEST(Boxes, Golden) {
  Random random(8);
  std::vector<std::vector<float>> rows;
  const auto number = [&](int limit) { return static_cast<float>(random.below(limit)) / 64.0f; };
  for (int i = 0; i < 200; ++i) {
    rows.push_back({});
    for (const int limit : {6400, 6400, 3200, 3200, 65, 65, 65, 65}) {
      rows.back().push_back(number(limit));
    }
  }
  expect_golden("object_detetion_postprocess", flat(decode(rows, 0.2f, 0.3f)));
}

TEST(Anchors, GridsOfSeveralLevels) {
  int small[] = {10, 16, 33}, large[] = {100, 200, 300};
  int* sizes[] = {small, small, large, large};
  int strides[] = {8, 0, 1000, 32};
  const int entries = (80 * 60 + 20 * 15) * 3;
  GuardedBuffer<float> anchors(4, entries);
  get_anchors(anchors.data(), 640, 480, sizes, 3, strides, 4);
  const auto entry = [&](int i) { return std::vector<float>(anchors.row(i), anchors.row(i) + 4); };
  const float w = 1.0f / 640, h = 1.0f / 480;
  EXPECT_EQ(entry(0), (std::vector<float>{4.0f / 640, 4.0f / 480, 10 * w, 10 * h}));
  EXPECT_EQ(entry(1), (std::vector<float>{4.0f / 640, 4.0f / 480, 16 * w, 16 * h}));
  EXPECT_EQ(entry(3)[0], 12.0f / 640);
  EXPECT_EQ(entry(3 * 80)[1], 12.0f / 480) << "rows follow columns";
  EXPECT_EQ(entry(3 * 80 * 60), (std::vector<float>{16.0f / 640, 16.0f / 480, 100 * w, 100 * h}))
      << "levels without cells do not stop the rest";
  EXPECT_EQ(entry(entries - 1), (std::vector<float>{624.0f / 640, 464.0f / 480, 300 * w, 300 * h}));
  expect_golden("get_anchors", anchors.packed());
  int one_pixel = 1;
  get_anchors(anchors.data(), 1, 1, sizes, 1, &one_pixel, 1);
  EXPECT_EQ(entry(0), (std::vector<float>{0.5f, 0.5f, 10, 10}));
  float untouched = 1;
  get_anchors(&untouched, 640, 0, sizes, 3, strides, 4);
  get_anchors(&untouched, 640, 480, sizes, 3, strides, 0);
  EXPECT_EQ(untouched, 1);
}
