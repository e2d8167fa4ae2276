#include <algorithm>
#include <array>
#include <climits>

#include "shape/shape_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

Box position(const ImageData& mask, int mode) {
  Box box{7, 7, 7, 7};
  get_mask_pos(mask, box[0], box[1], box[2], box[3], mode);
  return box;
}

}  // namespace

// From empty masks over a single pixel to dense ones.
TEST(MaskPosition, EveryShapeAndDensity) {
  Random random;
  for (const Shape& shape : all_shapes()) {
    SCOPED_TRACE(shape);
    GuardedBuffer<> mask(shape.width, shape.height, shape.padding, shape.guard);
    for (int pixels = 0; pixels < 5; ++pixels) {
      EXPECT_EQ(position(image_of(mask, 1), 0), plain_position(image_of(mask, 1), 255));
      EXPECT_EQ(position(image_of(mask, 1), 1), plain_position(image_of(mask, 1), 0));
      const int x = random.below(shape.width), y = random.below(shape.height);
      mask.row(y)[x] = pixels == 1 ? 254 : 255;
    }
    for (int y = 0; y < shape.height; ++y) std::fill_n(mask.row(y), shape.width, uint8_t{255});
    EXPECT_EQ(position(image_of(mask, 1), 1), (Box{-1, -1, -1, -1}));
    EXPECT_EQ(position(image_of(mask, 1), 2), plain_position(image_of(mask, 1), 255));
  }
}

TEST(MaskPosition, EveryColumnAlone) {
  for (int x = 0; x < 300; ++x) {
    GuardedBuffer<> mask(300, 1);
    mask.data()[x] = 255;
    EXPECT_EQ(position(image_of(mask, 1), 0), (Box{x, 0, x, 0}));
  }
}

TEST(MaskPosition, EmptySizesHaveNoPixel) {
  for (const auto& [width, height] : {std::pair{0, 1}, {1, 0}, {-3, 1}, {1, -3}}) {
    EXPECT_EQ(position({nullptr, width, height, 1, 1, 0, 0}, 0), (Box{-1, -1, -1, -1}));
  }
}

TEST(MaskPosition, Golden) {
  auto pixels = mask_picture(150, 101);
  std::fill_n(pixels.begin(), 150 * 7, uint8_t{0});
  const ImageData mask = image_of(pixels, 150, 101, 1);
  std::vector<int> corners;
  for (const int mode : {0, 1}) {
    for (const int value : position(mask, mode)) corners.push_back(value);
  }
  expect_golden("get_mask_pos", corners);
}
