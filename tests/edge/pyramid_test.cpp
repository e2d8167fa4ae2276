#include "edge/edge_rules.h"

using namespace KelvraCV;
using namespace test;

TEST(Pyramid, EveryLevelFollowsTheDefinition) {
  for (const int channels : {1, 3, 4}) {
    for (const Shape& shape : all_shapes()) {
      SCOPED_TRACE(shape);
      const int width = shape.width, height = shape.height;
      const auto level = [&](int k) {  // each rounded up
        const int size = 1 << k;
        return GuardedBuffer<>((width + size - 1) / size * channels, (height + size - 1) / size, 0,
                               shape.guard);
      };
      GuardedBuffer<> src(width * channels, height, shape.padding, shape.guard);
      GuardedBuffer<> full = level(0), half = level(1), quarter = level(2), eighth = level(3);
      src.fill(noise(src.packed().size()));
      std::vector<ImageData> levels(4);
      levels[0].data = full.data();
      levels[1].data = half.data();
      levels[2].data = quarter.data();
      levels[3].data = eighth.data();
      pyramid_gauss(image_of(src, channels), levels);
      ASSERT_EQ(full.packed(), src.packed());
      for (int k = 1; k < 4 && levels[k].width > 0; ++k) {
        SCOPED_TRACE(k);
        const ImageData& from = levels[k - 1];
        const Clamped above{from.data, from.width, from.height, channels};
        ASSERT_EQ((k == 1 ? half : k == 2 ? quarter : eighth).packed(), plain_half(above));
      }
      // The same with the image itself as its level 0.
      const auto first = half.packed(), last = eighth.packed();
      levels[0].data = src.data();
      pyramid_gauss(image_of(src, channels), levels);
      ASSERT_EQ(half.packed(), first);
      ASSERT_EQ(eighth.packed(), last);
    }
  }
}

TEST(Pyramid, OtherChannelCountsWriteNothing) {
  auto pixels = noise(50), level = pixels;
  std::vector<ImageData> levels(2);
  for (const int channels : {0, 2, 5}) {
    levels[0].data = levels[1].data = level.data();
    pyramid_gauss({pixels.data(), 3, 3, channels, 15, 0, 0}, levels);
    EXPECT_EQ(level, pixels);
    EXPECT_EQ(levels[0].width + levels[1].width, 0);
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
