#include <algorithm>
#include <climits>

#include "shape/shape_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

TEST(Expand, EveryShapeAndRadius) {
  Random random;
  for (const Shape& shape : all_shapes()) {
    if (static_cast<int64_t>(shape.width) * shape.height > 600) continue;
    for (const int radius : {-1, 0, 1, 2, 3, 7, 20}) {
      SCOPED_TRACE(testing::Message() << shape << ", radius " << radius);
      GuardedBuffer<> src(shape.width + shape.padding, shape.height, 0, shape.guard);
      GuardedBuffer<> dst(shape.width + shape.padding, shape.height, 0, shape.guard);
      src.fill(noise(src.packed().size()));
      // Walks and jumps, across the sides too.
      PointLists contours(3);
      for (int i = 0; i < 30; ++i) {
        const Point last = i == 0 ? Point{0, 0} : contours[(i - 1) / 10].back();
        contours[i / 10].push_back(
            i % 7 == 0 ? Point{random.below(shape.width + 20) - 10, random.below(shape.height)}
                       : Point{last.x + random.below(3) - 1, last.y + random.below(3) - 1});
      }
      expand_contours(src.data(), contours, dst.data(), shape.width, shape.height, src.columns(),
                      radius);
      std::vector<uint8_t> want;
      for (int y = 0; y < shape.height; ++y) {
        want.insert(want.end(), src.row(y), src.row(y) + shape.width);
      }
      want = plain_discs(want, shape.width, shape.height, contours, radius);
      for (int y = 0; y < shape.height; ++y) {
        const auto row = want.begin() + static_cast<ptrdiff_t>(y) * shape.width;
        ASSERT_TRUE(std::equal(dst.row(y), dst.row(y) + shape.width, row)) << "row " << y;
        ASSERT_TRUE(std::equal(dst.row(y) + shape.width, dst.row(y) + dst.columns(),
                               src.row(y) + shape.width));
      }
    }
  }
}

TEST(Expand, FarPointsAndGreatRadii) {
  const std::vector<uint8_t> empty(12 * 5);
  for (const int radius : {4, 1000003, 2000000004, INT_MAX}) {
    for (const Point& point : {Point{6, 2}, {-1000000, 7}, {6, -2000000000}, {INT_MAX, INT_MIN}}) {
      std::vector<uint8_t> dst(empty.size());
      expand_contours(empty.data(), {{point}}, dst.data(), 12, 5, 12, radius);
      EXPECT_EQ(dst, plain_discs(empty, 12, 5, {{point}}, radius)) << point << ", " << radius;
    }
  }
}

TEST(Expand, EmptySizesWriteNothing) {
  const uint8_t src[4] = {1, 2, 3, 4};
  uint8_t dst[4] = {};
  for (const auto& [width, height] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}}) {
    expand_contours(src, {{{0, 0}}}, dst, width, height, 2, 1);
  }
  EXPECT_EQ(std::count(dst, dst + 4, 0), 4);
}

TEST(Expand, Golden) {
  const auto mask = mask_picture(150, 101);
  std::vector<uint8_t> dst(mask.size());
  expand_contours(mask.data(), {{{20, 30}, {21, 31}, {22, 31}}, {{148, 99}}}, dst.data(), 150, 101,
                  150, 17);
  expect_golden("expand_contours", dst);
}
