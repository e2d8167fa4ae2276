#include <cmath>
#include <limits>

#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Place {
  double x, y;
};
Place affine(const float* M, double x, double y) {
  return {M[0] * x + M[1] * y + M[2], M[3] * x + M[4] * y + M[5]};
}
Place perspective(const float* H, double x, double y) {
  const double w = H[6] * x + H[7] * y + H[8];
  return {(H[0] * x + H[1] * y + H[2]) / w, (H[3] * x + H[4] * y + H[5]) / w};
}
void expect_near(const Place& place, double x, double y, double tolerance) {
  EXPECT_NEAR(place.x, x, tolerance);
  EXPECT_NEAR(place.y, y, tolerance);
}

double squared_error(const float* M, const std::vector<float>& src, const std::vector<float>& dst) {
  double sum = 0;
  for (size_t i = 0; i < src.size(); i += 2) {
    const Place at = affine(M, src[i], src[i + 1]);
    sum += (at.x - dst[i]) * (at.x - dst[i]) + (at.y - dst[i + 1]) * (at.y - dst[i + 1]);
  }
  return sum;
}

std::vector<float> random_points(int count, uint32_t seed) {
  Random random(seed);
  std::vector<float> points;
  for (int i = 0; i < 2 * count; ++i) {
    points.push_back(static_cast<float>(random.below(64000)) / 64.0f);
  }
  return points;
}

}  // namespace

TEST(Transforms, Rotation) {
  float M[6];
  get_rotation_matrix(0, 1, 37.5f, -8, M);
  const float identity[6] = {1, 0, 0, 0, 1, 0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(M[i], identity[i]);
  get_rotation_matrix(90, 1, 20, 30, M);
  expect_near(affine(M, 21, 30), 20, 29, 1e-5);
  expect_near(affine(M, 20, 30), 20, 30, 1e-5);
  get_rotation_matrix(30, 2, 20, 30, M);
  expect_near(affine(M, 21, 30), 20 + std::sqrt(3.0), 29, 1e-5);
}

TEST(Transforms, AffineThroughThreePoints) {
  const Point src[3] = {{0, 0}, {100, 20}, {-7, 3000}}, dst[3] = {{5, 6}, {90, -44}, {1000, 1}};
  float M[6];
  get_affine_transform(src, dst, M);
  for (int i = 0; i < 3; ++i) expect_near(affine(M, src[i].x, src[i].y), dst[i].x, dst[i].y, 1e-3);
  // Products of these coordinates need more than 32 bits.
  const Point far[3] = {{1000000, 0}, {0, 1000000}, {1000000, 1000000}};
  get_affine_transform(far, far, M);
  EXPECT_EQ(std::vector<float>(M, M + 6), (std::vector<float>{1, 0, 0, 0, 1, 0}));
  const Point line[3] = {{0, 0}, {1, 1}, {2, 2}};
  get_affine_transform(line, dst, M);
  for (const float element : M) EXPECT_FALSE(std::isfinite(element));
}

TEST(Transforms, FitRecoversASimilarity) {
  const float want[6] = {0.8f, -0.6f, 12, 0.6f, 0.8f, -5};
  for (const int n : {2, 3, 7, 8, 9, 16, 29}) {
    const std::vector<float> src = random_points(n, 5);
    std::vector<float> dst;
    for (int i = 0; i < n; ++i) {
      const Place at = affine(want, src[2 * i], src[2 * i + 1]);
      dst.push_back(static_cast<float>(at.x));
      dst.push_back(static_cast<float>(at.y));
    }
    float M[6];
    get_affine_transform(src.data(), dst.data(), n, M);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(M[i], want[i], 1e-3) << n << " points, element " << i;
    get_affine_transform(src.data(), src.data(), n, M);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(M[i], i % 4 == 0, 1e-6);
  }
}

TEST(Transforms, FitHasTheLeastSquaredError) {
  const std::vector<float> src = random_points(11, 1), dst = random_points(11, 2);
  float M[6];
  get_affine_transform(src.data(), dst.data(), 11, M);
  const double least = squared_error(M, src, dst);
  // One step in a, b, tx and ty each.
  const float steps[4][6] = {{1e-3f, 0, 0, 0, 1e-3f, 0},
                             {0, -1e-3f, 0, 1e-3f, 0, 0},
                             {0, 0, 1, 0, 0, 0},
                             {0, 0, 0, 0, 0, 1}};
  for (const auto& step : steps) {
    for (const float sign : {-1.0f, 1.0f}) {
      float near[6];
      for (int i = 0; i < 6; ++i) near[i] = M[i] + sign * step[i];
      EXPECT_GT(squared_error(near, src, dst), least);
    }
  }
  for (const int n : {0, -3, std::numeric_limits<int>::min()}) {
    get_affine_transform(src.data(), dst.data(), n, M);
    for (const float element : M) EXPECT_TRUE(std::isnan(element));
  }
}

TEST(Transforms, AffineInverse) {
  float M[6] = {1.25f, -0.5f, 30, 0.75f, 2, -11}, iM[6];
  invert_affine_transform(M, iM);
  const Place there = affine(M, 17, -4);
  expect_near(affine(iM, there.x, there.y), 17, -4, 1e-4);
  const float singular[6] = {2, 6, 5, 1, 3, 7};
  invert_affine_transform(singular, iM);
  for (const float element : iM) EXPECT_EQ(element, 0.0f);
  // M0 M4 - M1 M3 cancels but for what one of the products is rounded by, 2^-22 - 2^-24.
  const float close = 1 + 0x1p-12f;
  float fused[6] = {close, close - 0x1p-12f, 0, close + 0x1p-12f, close, 0};
  invert_affine_transform(fused, fused);
  EXPECT_EQ(fused[4], close * 0x1p24f);
}

TEST(Transforms, Perspective) {
  const float src[8] = {0, 0, 640, 0, 640, 480, 0, 480};
  const float dst[8] = {20, 30, 600, -15, 700, 500, 5, 410};
  float H[9], iH[9];
  get_perspective_transform(src, dst, H);
  invert_perspective_transform(H, iH);
  EXPECT_EQ(H[8], 1.0f);
  EXPECT_EQ(iH[8], 1.0f);
  for (int i = 0; i < 8; i += 2) {
    expect_near(perspective(H, src[i], src[i + 1]), dst[i], dst[i + 1], 1e-3);
    expect_near(perspective(iH, dst[i], dst[i + 1]), src[i], src[i + 1], 1e-2);
  }
  invert_perspective_transform(iH, iH);
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(iH[i], H[i], 1e-5 * (1 + std::fabs(H[i])));
  const float scaled[9] = {2, 0, 6, 0, 4, -8, 0, 0, 2};
  invert_perspective_transform(scaled, iH);
  EXPECT_EQ(std::vector<float>(iH, iH + 9), (std::vector<float>{1, 0, -3, 0, 0.5f, 2, 0, 0, 1}));
  const float line[8] = {0, 0, 1, 1, 2, 2, 3, 3}, far[8] = {kInfinity, 0, 1, 1, 2, 5, 3, 9};
  get_perspective_transform(line, dst, H);  // no result is promised, only an end
  get_perspective_transform(far, dst, H);
}

TEST(Transforms, Golden) {
  const std::vector<float> src = random_points(21, 8), dst = random_points(21, 9);
  const Point from[3] = {{3, 4}, {800, 21}, {77, 640}}, to[3] = {{0, 9}, {512, 1}, {30, 511}};
  std::vector<float> M(6), H(9);
  get_rotation_matrix(33, 1.25f, 100, 50, M.data());
  expect_golden("get_rotation_matrix", M);
  get_affine_transform(from, to, M.data());
  expect_golden("get_affine_transform_points", M);
  get_affine_transform(src.data(), dst.data(), 21, M.data());
  expect_golden("get_affine_transform", M);
  invert_affine_transform(M.data(), M.data());
  expect_golden("invert_affine_transform", M);
  get_perspective_transform(src.data(), dst.data(), H.data());
  expect_golden("get_perspective_transform", H);
  invert_perspective_transform(H.data(), H.data());
  expect_golden("invert_perspective_transform", H);
}
