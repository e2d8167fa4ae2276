#include <algorithm>

#include "shape/shape_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

// Values beside 0 and 255 tell the two rules apart.
TEST(Boundary, EveryShapeAndDensity) {
  Random random;
  for (const Shape& shape : all_shapes()) {
    if (shape.padding != 0) continue;
    SCOPED_TRACE(shape);
    for (const int density : {2, 12, 60}) {
      GuardedBuffer<> mask(shape.width, shape.height, 0, shape.guard);
      GuardedBuffer<> marks(shape.width, shape.height, 0, shape.guard);
      std::vector<uint8_t> pixels(static_cast<size_t>(shape.width) * shape.height);
      for (uint8_t& pixel : pixels) {
        const int value = random.below(density);
        pixel = static_cast<uint8_t>(value == 0 ? 0 : (value == 1 ? 1 + random.below(254) : 255));
      }
      mask.fill(pixels);
      marks.fill(noise(pixels.size()));
      find_contours(mask.data(), marks.data(), shape.width, shape.height);
      ASSERT_EQ(marks.packed(), plain_boundary(mask)) << density;
      EXPECT_EQ(mask.packed(), pixels);
    }
  }
}

TEST(Boundary, TwoRulesAndTheMovedCorner) {
  std::vector<uint8_t> mask(9, 254), marks(9, 7);
  mask[4] = mask[1] = 255;
  find_contours(mask.data(), marks.data(), 3, 3);
  EXPECT_EQ(marks, (std::vector<uint8_t>{0, 0, 0, 0, 255, 0, 0, 0, 0}));
  mask = {0, 0, 0, 0, 0, 0, 0, 0, 255};
  find_contours(mask.data(), marks.data(), 3, 3);
  EXPECT_EQ(marks, (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 255, 0, 0}));
  find_contours(nullptr, marks.data(), 0, 3);
  find_contours(nullptr, marks.data(), 3, -1);
  EXPECT_EQ(marks[6], 255);
}

TEST(Boundary, Golden) {
  auto mask = mask_picture(150, 101);
  std::vector<uint8_t> marks(mask.size());
  find_contours(mask.data(), marks.data(), 150, 101);
  expect_golden("find_contours", marks);
}
