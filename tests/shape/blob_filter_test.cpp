#include <climits>
#include <cmath>

#include "shape/points.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

const Points kRectangle = {{10, 10}, {50, 10}, {50, 30}, {10, 30}};  // 40 x 20
constexpr float kCircularity = 800 * 12.5663706143592f / (120 * 120);
constexpr float kInertia = 0.25f;  // (20 / 40)^2

constexpr BlobParams kNoFilter = {false, false, false, false, 0, 0, 0, 0, 0, 0, 0, 0};

std::vector<Center> kept(const Points& blob, const BlobParams& params) {
  std::vector<uint8_t> mask(64 * 64);
  mask[20 * 64 + 30] = 200;
  std::vector<Center> centers;
  filter_blobs(mask.data(), 64, {blob, {{63, 63}}}, centers, params);
  return centers;
}

bool is_kept(const BlobParams& params) {
  return kept(kRectangle, params).size() == 1;
}

}  // namespace

TEST(BlobFilter, CenterRadiusAndConfidence) {
  BlobParams params = kNoFilter;
  for (const Points& blob : {kRectangle, Points(kRectangle.rbegin(), kRectangle.rend())}) {
    const std::vector<Center> centers = kept(blob, params);
    ASSERT_EQ(centers.size(), 1u);
    EXPECT_EQ(centers[0].x, 30);
    EXPECT_EQ(centers[0].y, 20);
    EXPECT_FLOAT_EQ(centers[0].radius, std::sqrt(500.0f));
    EXPECT_EQ(centers[0].confidence, 1.0f);
  }
  params.by_inertia = true;
  params.max_inertia_ratio = 1;
  EXPECT_FLOAT_EQ(kept(kRectangle, params).at(0).confidence, kInertia * kInertia);
  params.max_inertia_ratio = 2;
  EXPECT_EQ(kept({{0, 0}, {9, 0}, {9, 9}, {0, 9}}, params).at(0).confidence, 1.0f);
  // The centroid (-11/3, -7/3) is truncated toward zero.
  const std::vector<Center> negative = kept({{0, 0}, {-4, -7}, {-7, 0}}, kNoFilter);
  EXPECT_EQ(negative.at(0).x, -3);
  EXPECT_EQ(negative.at(0).y, -2);
}

TEST(BlobFilter, LowerBoundsAreInclusiveAndUpperOnesExclusive) {
  const auto area = [](int min, int max) {
    return is_kept({false, true, false, false, 0, 0, min, max, 0, 0, 0, 0});
  };
  EXPECT_TRUE(area(800, 801));
  EXPECT_FALSE(area(801, 900));
  EXPECT_FALSE(area(0, 800));
  const auto circularity = [](float min, float max) {
    return is_kept({false, false, true, false, 0, 0, 0, 0, min, max, 0, 0});
  };
  EXPECT_TRUE(circularity(kCircularity - 0.001f, kCircularity + 0.001f));
  EXPECT_FALSE(circularity(kCircularity + 0.001f, 1));
  EXPECT_FALSE(circularity(0, kCircularity - 0.001f));
  const auto inertia = [](float min, float max) {
    return is_kept({false, false, false, true, 0, 0, 0, 0, 0, 0, min, max});
  };
  EXPECT_TRUE(inertia(kInertia - 0.001f, kInertia + 0.001f));
  EXPECT_FALSE(inertia(kInertia + 0.001f, 1));
  EXPECT_FALSE(inertia(0, kInertia - 0.001f));
}

TEST(BlobFilter, ColorIsThatOfTheCentroid) {
  BlobParams params = kNoFilter;
  params.by_color = true;
  params.blob_color = 200;
  EXPECT_TRUE(is_kept(params));
  params.blob_color = 0;
  EXPECT_FALSE(is_kept(params));
  // Two loops, of opposite winding and nearly the same area: the centroid is far outside.
  EXPECT_TRUE(kept({{0, 0}, {40, 40}, {0, 40}, {41, 0}}, params).empty());
}

TEST(BlobFilter, FlatBlobsAreDroppedAndCentersAppended) {
  EXPECT_TRUE(kept({{1, 1}, {2, 2}, {9, 9}}, kNoFilter).empty());
  EXPECT_TRUE(kept({}, kNoFilter).empty());
  const int far = INT_MAX;
  EXPECT_EQ(kept({{far, far}, {-far, far}, {far, -far}}, kNoFilter).at(0).x, far / 3);
  std::vector<Center> centers(2);
  filter_blobs(nullptr, 64, {}, centers, kNoFilter);
  EXPECT_EQ(centers.size(), 2u);
  filter_blobs(nullptr, 64, {kRectangle, {{5, 5}}, kRectangle}, centers, kNoFilter);
  EXPECT_EQ(centers.size(), 4u);
}
