#include "edge/edge_support.h"

using namespace KelvraCV;
using namespace test;

TEST(Sobel, EveryShapeFollowsTheDefinition) {
  for (const Shape& shape : all_shapes()) {
    if (shape.padding != 0) continue;
    SCOPED_TRACE(shape);
    const int width = shape.width, height = shape.height;
    GuardedBuffer<> src(width, height, 0, shape.guard), edges(width, height, 0, shape.guard);
    GuardedBuffer<int16_t> dx(width, height, 0, shape.guard), dy(width, height, 0, shape.guard);
    src.fill(noise(src.packed().size()));
    sobel_grad(src.data(), dx.data(), dy.data(), width, height);
    sobel_edge(src.data(), edges.data(), width, height, 400);
    const Clamped p{src.data(), width, height};
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const int want_dx = expected_dx(p, x, y), want_dy = expected_dy(p, x, y);
        ASSERT_EQ(dx.row(y)[x], want_dx) << x << ", " << y;
        ASSERT_EQ(dy.row(y)[x], want_dy) << x << ", " << y;
        ASSERT_EQ(edges.row(y)[x], std::abs(want_dx) + std::abs(want_dy) > 400 ? 255 : 0);
      }
    }
  }
}

TEST(Sobel, ThresholdsAreStrictAndCompareAsIntegers) {
  // The magnitude is 255 * 3 in the middle column's neighbours, 0 elsewhere.
  std::vector<uint8_t> step(5 * 40, 0);
  for (size_t i = 0; i < step.size(); ++i) step[i] = i % 40 >= 20 ? 255 : 0;
  const auto marked = [&](int threshold) {
    std::vector<uint8_t> edges(step.size());
    sobel_edge(step.data(), edges.data(), 40, 5, threshold);
    return std::count(edges.begin(), edges.end(), 255);
  };
  EXPECT_EQ(marked(0), 10);
  EXPECT_EQ(marked(1019), 10);
  EXPECT_EQ(marked(1020), 0);
  EXPECT_EQ(marked(-1), 200);
  EXPECT_EQ(marked(65536), 0);  // not 0 in 16 bits
  EXPECT_EQ(marked(-65537), 200);
  sobel_edge(step.data(), step.data(), 40, 5, 0);  // in place
  EXPECT_EQ(std::count(step.begin(), step.end(), 255), 10);
}

TEST(Sobel, Golden) {
  const auto gray = picture(150, 101, 1);
  std::vector<int16_t> dx(gray.size()), dy(gray.size());
  std::vector<uint8_t> edges(gray.size());
  sobel_grad(gray.data(), dx.data(), dy.data(), 150, 101);
  dx.insert(dx.end(), dy.begin(), dy.end());
  expect_golden("sobel_grad", dx);
  sobel_edge(gray.data(), edges.data(), 150, 101, 100);
  expect_golden("sobel_edge", edges);
}
