#include "edge/edge_rules.h"

using namespace KelvraCV;
using namespace test;

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
