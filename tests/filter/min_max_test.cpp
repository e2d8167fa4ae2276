#include <climits>

#include "filter/filter_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

using Filter = void (*)(const unsigned char*, unsigned char*, int, int, int);

void expect_extremes(int width, int height, int radius, Guard guard) {
  SCOPED_TRACE(testing::Message() << width << " x " << height << ", radius " << radius);
  for (const Filter filter : {filter_max, filter_min, dilate_mask, erode_mask}) {
    const bool is_max = filter == filter_max || filter == dilate_mask;
    GuardedBuffer<> src(width, height, 0, guard), dst(width, height, 0, guard);
    src.fill(noise(src.packed().size()));
    filter(src.data(), dst.data(), width, height, radius);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        ASSERT_EQ(dst.row(y)[x], plain_extreme(src, x, y, radius, is_max)) << x << ", " << y;
      }
    }
    filter(src.data(), src.data(), width, height, radius);
    EXPECT_EQ(src.packed(), dst.packed()) << "in place";
  }
}

TEST(MinMax, EveryShapeFollowsTheBlocks) {
  for (const Shape& shape : all_shapes()) {
    if (shape.padding != 0) continue;
    for (const int radius : {0, 1, 2, 4}) {
      expect_extremes(shape.width, shape.height, radius, shape.guard);
    }
  }
  for (int height = 11; height < 25; ++height) expect_extremes(23, height, 5, Guard::kAfter);
  expect_extremes(150, 61, 30, Guard::kAfter);
  for (const int radius : {-1, INT_MIN, INT_MAX, 1 << 30}) {
    expect_extremes(5, 5, radius, Guard::kAfter);
  }
}

TEST(MinMax, BordersByHand) {
  const uint8_t bright[15] = {255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 255};
  uint8_t out[35];
  filter_max(bright, out, 5, 3, 1);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(out[i], i % 5 < 2 ? 255 : 0) << i;
  uint8_t ramp[35];
  for (int i = 0; i < 35; ++i) ramp[i] = static_cast<uint8_t>(70 - i % 7);
  filter_max(ramp, out, 7, 5, 2);  // blocks of 5 and 2
  EXPECT_EQ(std::vector<uint8_t>(out, out + 7), (std::vector<uint8_t>{70, 70, 70, 69, 68, 65, 64}));
}

TEST(Threshold, ComparesIntegersAndWrapsTheValue) {
  for (const int width : {1, 31, 256, 300}) {
    for (const int thresh : {INT_MIN, -1, 0, 127, 254, 255, 256, 300, INT_MAX}) {
      for (const int value : {255, 256, 300, -1, 1}) {
        GuardedBuffer<> src(width, 2), dst(width, 2);
        for (int i = 0; i < 2 * width; ++i) src.data()[i] = static_cast<uint8_t>(i);
        threshold(src.data(), dst.data(), width, 2, thresh, value);
        for (int i = 0; i < 2 * width; ++i) {
          ASSERT_EQ(dst.data()[i], src.data()[i] > thresh ? value & 255 : 0)
              << i << ", " << thresh << ", " << value;
        }
        threshold(src.data(), src.data(), width, 2, thresh, value);
        EXPECT_EQ(src.packed(), dst.packed());
      }
    }
  }
}

TEST(MinMax, EmptySizesWriteNothing) {
  uint8_t src = 1, dst = 17;
  for (const auto& [width, height] : {std::pair{0, 1}, {1, 0}, {-1, 1}, {1, -1}}) {
    threshold(&src, &dst, width, height, -1, 3);
    for (const Filter filter : {filter_max, filter_min, dilate_mask, erode_mask}) {
      filter(&src, &dst, width, height, 0);
    }
  }
  EXPECT_EQ(dst, 17);
}

TEST(MinMax, Golden) {
  std::vector<uint8_t> gray = picture(150, 101, 1), out(gray.size());
  const auto golden = [&](const char* name, Filter filter, int radius) {
    filter(gray.data(), out.data(), 150, 101, radius);
    expect_golden(name, out);
  };
  golden("filter_max", filter_max, 3);
  golden("filter_min", filter_min, 10);
  golden("dilate_mask", dilate_mask, 1);
  golden("erode_mask", erode_mask, 1);
  threshold(gray.data(), out.data(), 150, 101, 127, 255);
  expect_golden("threshold", out);
}

}  // namespace
