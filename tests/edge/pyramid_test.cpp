#include "edge/edge_support.h"

using namespace KelvraCV;
using namespace test;

TEST(Pyramid, EveryLevelFollowsTheDefinition) {
  constexpr int kWeights[5] = {1, 4, 6, 4, 1};
  for (const int channels : {1, 3, 4}) {
    for (const Shape& shape : all_shapes()) {
      SCOPED_TRACE(shape);
      const int width = shape.width, height = shape.height;
      const int half_width = (width + 1) / 2, half_height = (height + 1) / 2;
      GuardedBuffer<> src(width * channels, height, shape.padding, shape.guard);
      GuardedBuffer<> full(width * channels, height, 0, shape.guard);
      GuardedBuffer<> half(half_width * channels, half_height, 0, shape.guard);
      src.fill(noise(src.packed().size()));
      std::vector<ImageData> levels(2);
      levels[0].data = full.data();
      levels[1].data = half.data();
      pyramid_gauss(image_of(src, channels), levels);
      ASSERT_EQ(full.packed(), src.packed());
      // The same with the image itself as its level 0.
      const auto first = half.packed();
      levels[0].data = src.data();
      pyramid_gauss(image_of(src, channels), levels);
      ASSERT_EQ(half.packed(), first);
      if (width == 1 && height == 1) continue;
      const Clamped p{full.data(), width, height, channels};
      for (int y = 0; y < half_height; ++y) {
        for (int i = 0; i < half_width * channels; ++i) {
          int sum = 128;
          for (int k = 0; k < 25; ++k) {
            sum += kWeights[k % 5] * kWeights[k / 5] *
                   p(i / channels * 2 + k % 5 - 2, 2 * y + k / 5 - 2, i % channels);
          }
          ASSERT_EQ(half.row(y)[i], sum >> 8) << i << ", " << y;
        }
      }
    }
  }
}

TEST(Pyramid, SetsSizesDownToOnePixelAndBeyond) {
  std::vector<std::vector<uint8_t>> buffers(5, std::vector<uint8_t>(15));
  std::vector<ImageData> levels(5);
  for (int i = 0; i < 5; ++i) levels[i].data = buffers[i].data();
  auto pixels = noise(15);
  pyramid_gauss(image_of(pixels, 5, 3, 1), levels);
  const int sizes[5][2] = {{5, 3}, {3, 2}, {2, 1}, {1, 1}, {0, 0}};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(levels[i].width, sizes[i][0]);
    EXPECT_EQ(levels[i].height, sizes[i][1]);
    EXPECT_EQ(levels[i].channels, 1);
    EXPECT_EQ(levels[i].stride, sizes[i][0]);
  }
}

TEST(Pyramid, Golden) {
  auto rgb = picture(150, 101, 3);
  std::vector<uint8_t> half(75 * 51 * 3);
  std::vector<ImageData> levels{image_of(rgb, 150, 101, 3), image_of(half, 75, 51, 3)};
  pyramid_gauss(levels[0], levels);
  expect_golden("pyramid_gauss", half);
}
