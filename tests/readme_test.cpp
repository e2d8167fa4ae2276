#include <gtest/gtest.h>

#include "readme_example.inc"

TEST(Readme, FirstExample) {
  const std::vector<unsigned char> white(4 * 20 * 10, 255);
  EXPECT_EQ(small_gray(white, 20, 10), std::vector<unsigned char>(10 * 5, 255));
}
