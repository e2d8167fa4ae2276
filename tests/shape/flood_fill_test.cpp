#include <algorithm>
#include <climits>
#include <cmath>

#include "shape/shape_rules.h"
#include "support/captured_log.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

void expect_fill(GuardedBuffer<>& pixels, const Shape& shape, Point seed, int max_distance,
                 int threshold) {
  GuardedBuffer<> mask_buffer(shape.width, shape.height, shape.padding * 2, shape.guard);
  mask_buffer.fill(noise(static_cast<size_t>(shape.width) * shape.height));
  const ImageData image = image_of(pixels, 4);
  ImageData mask = image_of(mask_buffer, 1);
  Rect box{};
  const int count = flood_fill(image, mask, seed, box, max_distance, threshold);
  const Filled want = plain_fill(image, seed, max_distance, threshold);
  ASSERT_EQ(mask_buffer.packed(), want.mask) << seed << ", " << max_distance << ", " << threshold;
  EXPECT_EQ(count, want.count);
  EXPECT_EQ((std::vector<int>{box.x, box.y, box.width, box.height}),
            (std::vector<int>{want.box.x, want.box.y, want.box.width, want.box.height}));
}

// Colours that differ in one channel, at random; `percent` of them are 10, the rest 14. The fourth
// channel is noise.
void paint(GuardedBuffer<>& pixels, Random& random, int percent) {
  std::vector<uint8_t> samples = noise(static_cast<size_t>(pixels.columns()) * pixels.rows());
  for (size_t i = 0; i < samples.size(); i += 4) {
    std::fill_n(samples.begin() + static_cast<ptrdiff_t>(i), 3, uint8_t{10});
    if (random.below(100) >= percent) samples[i + random.below(3)] = random.below(2) ? 14 : 6;
  }
  pixels.fill(samples);
}

}  // namespace

TEST(FloodFill, EveryShape) {
  Random random;
  for (const Shape& shape : all_shapes()) {
    SCOPED_TRACE(shape);
    GuardedBuffer<> pixels(shape.width * 4, shape.height, shape.padding, shape.guard);
    for (const int percent : {60, 85, 100}) {
      paint(pixels, random, percent);
      const Point seed{random.below(shape.width), random.below(shape.height)};
      expect_fill(pixels, shape, seed, 0, 3);
      expect_fill(pixels, shape, seed, -5, 4);
      expect_fill(pixels, shape, seed, 1 + random.below(12), random.below(9));
      expect_fill(pixels, shape, seed, INT_MAX, 0);
    }
  }
}

// Regions whose way leads up and down again and again, and across many words.
TEST(FloodFill, Mazes) {
  Random random;
  const Shape shape{403, 300, 3, Guard::kAfter};
  GuardedBuffer<> pixels(shape.width * 4, shape.height, 3);
  for (const int percent : {60, 65, 75}) {
    paint(pixels, random, percent);
    for (int i = 0; i < 5; ++i) {
      expect_fill(pixels, shape, {random.below(shape.width), random.below(shape.height)}, 0, 0);
    }
  }
  for (const bool upright : {false, true}) {  // one long corridor
    for (int i = 0; i < shape.width * shape.height; ++i) {
      const int x = i % shape.width, y = i / shape.width;
      const int across = upright ? x : y, along = upright ? y : x;
      const int gate = across % 4 == 1 ? 0 : (upright ? shape.height : shape.width) - 1;
      std::fill_n(pixels.row(y) + 4 * x, 4, across % 2 == 0 || along == gate ? 50 : 90);
    }
    expect_fill(pixels, shape, {0, 0}, 0, 10);
    expect_fill(pixels, shape, {200, 150}, 120, 10);
  }
}

TEST(FloodFill, MessagesInOrder) {
  CapturedLog log;
  std::vector<uint8_t> pixels(4 * 6), marks(6, 7);
  ImageData image = image_of(pixels, 3, 2, 4), mask = image_of(marks, 3, 2, 1);
  Rect box{1, 2, 3, 4};
  image.channels = 3;
  mask.channels = 3;
  EXPECT_EQ(flood_fill(image, mask, {3, 0}, box, 0, 256), 0);
  image.channels = 4;
  EXPECT_EQ(flood_fill(image, mask, {3, 0}, box, 0, 256), 0);
  mask = image_of(marks, 2, 3, 1);
  EXPECT_EQ(flood_fill(image, mask, {3, 0}, box, 0, 256), 0);
  EXPECT_EQ(log.take(), (Messages{"input channels must be 4!\n",
                                  "mask size must be same as image, mask channel must be one!\n",
                                  "mask size must be same as image, mask channel must be one!\n"}));
  mask = image_of(marks, 3, 2, 1);
  for (const Point& seed : {Point{3, 0}, {-1, 0}, {0, 2}, {0, -1}}) {
    EXPECT_EQ(flood_fill(image, mask, seed, box, 0, 256), 0);
    EXPECT_EQ(log.take(), Messages{"seed point must be between (0,0) and (width-1, height-1)!\n"});
  }
  for (const int threshold : {256, -1}) {
    EXPECT_EQ(flood_fill(image, mask, {2, 1}, box, 0, threshold), 0);
    EXPECT_EQ(log.take(), Messages{"threshold must be between 0 and 255!\n"});
  }
  EXPECT_EQ(marks, std::vector<uint8_t>(6, 7));
  EXPECT_EQ(box.height, 4);
  EXPECT_EQ(flood_fill(image, mask, {2, 1}, box, 0, 255), 6);
  EXPECT_TRUE(log.take().empty());
}

TEST(FloodFill, Golden) {
  auto pixels = picture(150, 101, 4);
  std::vector<uint8_t> marks(150 * 101);
  ImageData image = image_of(pixels, 150, 101, 4), mask = image_of(marks, 150, 101, 1);
  Rect box{};
  EXPECT_GT(flood_fill(image, mask, {40, 30}, box, 45, 60), 500);
  expect_golden("flood_fill", marks);
}
