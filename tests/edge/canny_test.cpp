#include <cmath>

#include "edge/edge_rules.h"
#include "edge/gradient_direction.h"

using namespace KelvraCV;
using namespace test;

// All gradients that bytes can have.
TEST(Canny, DirectionEqualsTheAnglesClass) {
  using namespace detail;
  const Full<int16_t> d16;
  constexpr int kLanes = static_cast<int>(hn::MaxLanes(d16));
  int16_t is_0[kLanes], is_45[kLanes], is_90[kLanes];
  for (int dy = -1020; dy <= 1020; ++dy) {
    for (int from = -1024; from < 1024; from += kLanes) {
      const auto dx = hn::Iota(d16, static_cast<int16_t>(from));
      const auto masks = direction_of(d16, dx, hn::Set(d16, static_cast<int16_t>(dy)));
      hn::StoreU(hn::VecFromMask(d16, masks.class_0), d16, is_0);
      hn::StoreU(hn::VecFromMask(d16, masks.class_45), d16, is_45);
      hn::StoreU(hn::VecFromMask(d16, masks.class_90), d16, is_90);
      for (int i = 0; i < kLanes; ++i) {
        const int found = is_0[i] != 0 ? 0 : (is_45[i] != 0 ? 45 : (is_90[i] != 0 ? 90 : 135));
        if (std::abs(from + i) > 1020) continue;
        ASSERT_EQ(found, class_of(from + i, dy)) << from + i << ", " << dy;
        ASSERT_LE((is_0[i] != 0) + (is_45[i] != 0) + (is_90[i] != 0), 1);
      }
    }
  }
}

TEST(Canny, EveryShapeFollowsTheSteps) {
  constexpr int kThresholds[][2] = {{60, 200}, {1, 2}, {0, 90}, {-9, 0}, {150, 70000}};
  for (const Shape& shape : all_shapes()) {
    const int width = shape.width, height = shape.height;
    if (shape.padding != 0 || width < 4 || height < 4) continue;
    SCOPED_TRACE(shape);
    GuardedBuffer<> src(width, height, 0, shape.guard), dst(width, height, 0, shape.guard);
    src.fill(noise(src.packed().size()));
    ImageData out = image_of(dst, 1);
    out.stride = 12345;  // not consulted
    for (const auto& [low, high] : kThresholds) {
      canny(image_of(src, 1), out, low, high);
      ASSERT_EQ(dst.packed(), plain_canny(src.packed(), width, height, low, high))
          << low << ", " << high;
    }
  }
}

TEST(Canny, SmallImagesAreAllFrame) {
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 40}, {40, 2}, {3, 3}}) {
    GuardedBuffer<> src(width, height), dst(width, height);
    src.fill(noise(src.packed().size()));
    dst.fill(std::vector<uint8_t>(src.packed().size(), 7));
    ImageData out = image_of(dst, 1);
    canny(image_of(src, 1), out, 5000, 6000);
    EXPECT_EQ(dst.packed(), std::vector<uint8_t>(src.packed().size(), 0));
  }
}

TEST(Canny, RejectsThresholdsOutOfOrder) {
  std::vector<uint8_t> pixels(100, 1), edges(100, 7);
  ImageData out = image_of(edges, 10, 10, 1);
  CapturedLog log;
  canny(image_of(pixels, 10, 10, 1), out, 50, 50);
  EXPECT_EQ(log.take(), Messages{"threshold2 must be large than threshold1!\n"});
  EXPECT_EQ(edges, std::vector<uint8_t>(100, 7));
}

TEST(Canny, Golden) {
  auto rgba = picture(150, 101, 4);
  std::vector<uint8_t> edges(150 * 101);
  ImageData out = image_of(edges, 150, 101, 1);
  canny(image_of(rgba, 150, 101, 4), out, 40, 120);
  expect_golden("canny", edges);
}
