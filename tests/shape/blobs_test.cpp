#include <algorithm>

#include "shape/shape_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

void expect_regions(const std::vector<uint8_t>& pixels, int width, int height, Guard guard) {
  GuardedBuffer<> mask(width, height, 0, guard);
  mask.fill(pixels);
  PointLists all, boundaries;
  find_blobs(mask.data(), all, width, height);
  find_blobs_contours(mask.data(), boundaries, width, height);
  ASSERT_EQ(all, plain_regions(pixels, width, height, true));
  ASSERT_EQ(boundaries, plain_regions(pixels, width, height, false));
}

// Blobs of a mask of one row.
PointLists blobs_of_row(std::vector<uint8_t> row) {
  PointLists blobs;
  find_blobs(row.data(), blobs, static_cast<int>(row.size()), 1);
  return blobs;
}

}  // namespace

TEST(Blobs, EveryShapeAndDensity) {
  Random random;
  for (const Shape& shape : all_shapes()) {
    if (shape.padding != 0) continue;
    for (const int percent : {0, 15, 50, 60, 90, 100}) {
      SCOPED_TRACE(testing::Message() << shape << ", " << percent << " %");
      std::vector<uint8_t> pixels(static_cast<size_t>(shape.width) * shape.height);
      for (uint8_t& pixel : pixels) pixel = random.below(100) < percent ? 255 : 0;
      expect_regions(pixels, shape.width, shape.height, shape.guard);
    }
  }
}

// Spirals and combs join late; a checkerboard never does.
TEST(Blobs, LateJoinsAndManyLabels) {
  const int width = 300, height = 200;
  std::vector<uint8_t> comb(width * height), checkers(comb), rings(comb);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int ring = std::min({x, y, width - 1 - x, height - 1 - y});
      comb[y * width + x] = x % 2 == 0 || y == height - 1 ? 255 : 0;
      checkers[y * width + x] = (x + y) % 2 == 0 ? 255 : 0;
      rings[y * width + x] = ring % 2 == 0 || (x == ring && y == ring + 1) ? 255 : 0;
    }
  }
  for (const auto& pixels : {comb, checkers, rings}) {
    expect_regions(pixels, width, height, Guard::kAfter);
  }
}

TEST(Blobs, ListsAreResizedAndAppendedTo) {
  const std::vector<uint8_t> mask = {255, 0, 0, 0, 255, 0, 0, 0, 0};
  PointLists blobs(3, Points{{9, 9}});
  find_blobs(mask.data(), blobs, 3, 3);
  EXPECT_EQ(blobs, (PointLists{{{9, 9}, {0, 0}}, {{9, 9}, {1, 1}}}));
  find_blobs_contours(mask.data(), blobs, 3, 3);
  EXPECT_EQ(blobs[1], (Points{{9, 9}, {1, 1}, {1, 1}}));
  find_blobs(mask.data(), blobs, 0, 3);
  find_blobs_contours(mask.data(), blobs, 3, 0);
  EXPECT_EQ(blobs.size(), 2u);
  find_blobs_contours(mask.data() + 5, blobs, 2, 2);
  EXPECT_TRUE(blobs.empty());
}

TEST(Blobs, RunsAreDecidedByStepsBetween0And255) {
  EXPECT_EQ(blobs_of_row({0, 255, 100, 255, 0}), (PointLists{{{1, 0}, {2, 0}, {3, 0}}}));
  EXPECT_EQ(blobs_of_row({255, 100, 0, 255}), (PointLists{{{3, 0}}}));
  EXPECT_EQ(blobs_of_row({1, 255, 0, 0, 255, 254}), PointLists{});
}

TEST(Blobs, Golden) {
  const auto mask = mask_picture(150, 101);
  PointLists blobs, boundaries;
  find_blobs(mask.data(), blobs, 150, 101);
  expect_golden("find_blobs", flattened(blobs));
  find_blobs_contours(mask.data(), boundaries, 150, 101);
  expect_golden("find_blobs_contours", flattened(boundaries));

  std::vector<Center> centers;
  filter_blobs(mask.data(), 150, boundaries, centers,
               {false, true, true, true, 0, 0, 1, 100000, 0.0f, 10.0f, -9.0f, 9.0f});
  EXPECT_FALSE(centers.empty());
  expect_golden("filter_blobs", centers);
}
