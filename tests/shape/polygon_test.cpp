#include <climits>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "shape/shape_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

Points simplified_by_opencv(const Points& curve, double epsilon, bool closed) {
  std::vector<cv::Point> from, to;
  for (const Point& point : curve) from.emplace_back(point.x, point.y);
  cv::approxPolyDP(from, to, epsilon, closed);
  Points result;
  for (const cv::Point& point : to) result.push_back({point.x, point.y});
  return result;
}

// A walk of short steps, as outlines have them, or of jumps; small ranges make points coincide.
Points random_curve(Random& random, int kind) {
  const int count = 1 + random.below(kind == 0 ? 8 : 200), span = kind == 2 ? 2000 : 5;
  Points curve{{random.below(span), random.below(span)}};
  while (static_cast<int>(curve.size()) < count) {
    const Point last = curve.back();
    curve.push_back(kind == 2 ? Point{random.below(span), random.below(span)}
                              : Point{last.x + random.below(3) - 1, last.y + random.below(3) - 1});
  }
  if (random.below(3) == 0) curve.push_back(curve.front());
  return curve;
}

bool is_inside(const Points& polygon, int x, int y) {
  std::vector<int> xs, ys;
  for (const Point& point : polygon) xs.push_back(point.x), ys.push_back(point.y);
  return is_inside_poly(xs.data(), ys.data(), static_cast<int>(xs.size()), x, y);
}

std::vector<uint8_t> filled(const Points& polygon, int width, int height) {
  GuardedBuffer<> mask(width, height);
  std::vector<int> xs, ys;
  for (const Point& point : polygon) xs.push_back(point.x), ys.push_back(point.y);
  fill_poly(mask.data(), width, xs.data(), ys.data(), static_cast<int>(xs.size()));
  return mask.packed();
}

Points random_polygon(Random& random, int count, int width, int height) {
  Points polygon;
  for (int i = 0; i < count; ++i) polygon.push_back({random.below(width), random.below(height)});
  return polygon;
}

}  // namespace

TEST(ApproxPolyDp, EqualsOpenCv) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const Points curve = random_curve(random, i % 3);
    const double epsilon = random.below(12) * (i % 7 == 0 ? 40 : 0.5);
    const bool closed = i % 2 == 0;
    Points approx;
    approx_poly_dp(curve, approx, epsilon, closed);
    ASSERT_EQ(approx, simplified_by_opencv(curve, epsilon, closed)) << "curve " << i;
  }
}

TEST(ApproxPolyDp, SquareCornersInPlace) {
  Points square;
  for (int i = 0; i < 40; ++i) {
    const int side = i / 10, step = i % 10;
    const Point sides[] = {{step, 0}, {10, step}, {10 - step, 10}, {0, 10 - step}};
    square.push_back(sides[side]);
  }
  approx_poly_dp(square, square, 1, true);
  EXPECT_EQ(square, (Points{{0, 0}, {10, 0}, {10, 10}, {0, 10}}));
}

TEST(ApproxPolyDp, RejectedArgumentsLeaveTheOutput) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const double epsilon : {-1.0, 1e30, nan}) {
    Points approx{{5, 5}};
    approx_poly_dp({{1, 1}, {2, 9}}, approx, epsilon, true);
    EXPECT_EQ(approx, (Points{{5, 5}}));
  }
  Points approx{{5, 5}};
  approx_poly_dp({}, approx, 1, true);
  EXPECT_EQ(approx.size(), 1u);
  const int far = INT_MAX, low = INT_MIN;
  approx_poly_dp({{low, low}, {far, low}, {0, 0}, {far, far}, {low, far}}, approx, 1, true);
  EXPECT_EQ(approx.size(), 5u);
}

TEST(Polygon, FillingIsTheTestOfEveryPixel) {
  Random random;
  for (int i = 0; i < 300; ++i) {
    const int width = 1 + random.below(150), height = 1 + random.below(40);
    const Points polygon = random_polygon(random, random.below(i % 2 == 0 ? 6 : 60), width, height);
    const std::vector<uint8_t> mask = filled(polygon, width, height);
    for (int y = -1; y <= height; ++y) {
      for (int x = -1; x <= width; ++x) {
        const bool inside = is_inside(polygon, x, y);
        ASSERT_EQ(inside, plain_is_inside(polygon, x, y)) << x << ", " << y;
        if (x < 0 || y < 0 || x == width || y == height) continue;
        ASSERT_EQ(mask[static_cast<size_t>(y) * width + x], inside ? 255 : 0) << x << ", " << y;
      }
    }
  }
}

TEST(Polygon, FarVerticesDoNotOverflow) {
  Random random;
  const auto anywhere = [&] { return static_cast<int>(random.next()); };
  for (int i = 0; i < 20000; ++i) {
    const Points polygon = {{anywhere(), anywhere()},
                            {anywhere(), anywhere()},
                            {anywhere(), INT_MIN},
                            {INT_MAX, anywhere()},
                            {INT_MIN, INT_MAX}};
    const int x = anywhere(), y = anywhere();
    ASSERT_EQ(is_inside(polygon, x, y), plain_is_inside(polygon, x, y));
  }
  // Clipped to the columns and to the first row.
  const std::vector<uint8_t> mask =
      filled({{-9, INT_MIN}, {200, INT_MIN}, {150, 4}, {-50, 4}}, 70, 4);
  EXPECT_EQ(mask, std::vector<uint8_t>(70 * 4, 255));
  EXPECT_EQ(filled({}, 9, 1), std::vector<uint8_t>(9, 0));
  // Left of the columns nothing is written, whatever the row, and little memory is needed for it.
  const int last = INT_MAX;
  EXPECT_EQ(filled({{-9, last - 7}, {-2, last - 7}, {-5, last}}, 1, 1), std::vector<uint8_t>(1, 0));
}

// Edges start 2^16 rows from each other.
TEST(Polygon, FillsTallMasks) {
  const int width = 9, height = 140000;
  const Points polygon = {{0, 7}, {9, 65543}, {1, 131079}, {8, 20}, {2, 65556}};
  const std::vector<uint8_t> mask = filled(polygon, width, height);
  for (int i = 0; i < width * height; ++i) {
    const int x = i % width, y = i / width;
    ASSERT_EQ(mask[static_cast<size_t>(i)], is_inside(polygon, x, y) ? 255 : 0) << x << ", " << y;
  }
}

TEST(Polygon, Golden) {
  Random random(11);
  const Points star = random_polygon(random, 40, 150, 101);
  expect_golden("fill_poly", filled(star, 150, 101));
  std::vector<uint8_t> inside;
  for (int i = 0; i < 150 * 101; ++i) inside.push_back(is_inside(star, i % 150, i / 150));
  expect_golden("is_inside_poly", inside);
  Points curve, approx;
  for (int i = 0; i < 500; ++i) {
    curve.push_back({i * i % 301, i * 7 % 53 + i});
  }
  approx_poly_dp(curve, approx, 20.5, false);
  expect_golden("approx_poly_dp", approx);
}
