#include <algorithm>
#include <limits>

#include "geometry/resize_rules.h"
#include "geometry/resize_tables.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

TEST(Resize, WorkedValues) {
  const uint8_t step[] = {0, 255, 0, 255};
  uint8_t out[6];
  resize_bilinear_c1(step, out, 2, 2, 2, 3, 2, 3);
  EXPECT_EQ(Pixels(out, out + 6), (Pixels{0, 127, 255, 0, 127, 255}));
  const uint8_t ramp[] = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  resize_nn_c1(ramp, out, 9, 1, 9, 3, 1, 3);
  EXPECT_EQ(Pixels(out, out + 3), (Pixels{1, 4, 7}));
  resize_nn_c1(ramp, out, 4, 1, 4, 2, 1, 2);
  EXPECT_EQ(Pixels(out, out + 2), (Pixels{0, 2}));
  // A bright pixel alone: beside it, where the kernel dips below zero, black wraps around.
  Pixels spot(9), large(90);
  spot[4] = 255;
  resize_bicubic_c1(spot.data(), large.data(), 9, 1, 9, 90, 1, 90);
  EXPECT_EQ(*std::max_element(large.begin(), large.begin() + 36), 249) << "wrapped, not clamped";
}

// Coordinates that rounding leads past the range of integers belong to the last pixel.
TEST(Resize, LargestSizes) {
  const int largest = std::numeric_limits<int>::max();
  EXPECT_EQ(detail::floor_of(2147483648.0f), largest);
  EXPECT_EQ(detail::floor_of(2147483520.0f), 2147483520);
  EXPECT_EQ(detail::Coordinates(largest, 1 << 25)((1 << 25) - 1), 2147483648.0f);
  EXPECT_EQ(detail::Linear::taps(2147483648.0f, largest).first, largest - 1);
}

// Which the random calls seldom meet.
TEST(Resize, FloatsEnlargedAndHalved) {
  for (int w = 1; w <= 40; ++w) {
    for (const Job& job :
         {Job{w, 5, 2 * w, 10}, {w, 3, 2 * w, 4}, {w, 3, 4 * w, 7}, {2 * w, 10, w, 5}}) {
      const auto bytes = noise(static_cast<size_t>(job.sw) * job.sh);
      const std::vector<float> src(bytes.begin(), bytes.end());
      std::vector<float> dst(static_cast<size_t>(job.dw) * job.dh);
      resize_bilinear_c1_float(src.data(), dst.data(), job.sw, job.sh, job.sw, job.dw, job.dh,
                               job.dw);
      EXPECT_EQ(dst, plain_float(src, job)) << w;
    }
  }
}

TEST(Resize, EmptySizesWriteNothing) {
  uint8_t in = 1, out = 7;
  float float_in = 1, float_out = 7;
  for (const Job& job :
       {Job{0, 1, 1, 1}, {1, 0, 1, 1}, {1, 1, 0, 1}, {1, 1, 1, 0}, {1, 1, -1, 1}}) {
    resize_nn_c1(&in, &out, job.sw, job.sh, 1, job.dw, job.dh, 1);
    resize_bilinear_c1(&in, &out, job.sw, job.sh, 1, job.dw, job.dh, 1);
    resize_bilinear_c4(&in, &out, job.sw, job.sh, 1, job.dw, job.dh, 1, 0);
    resize_bicubic_c1(&in, &out, job.sw, job.sh, 1, job.dw, job.dh, 1);
    resize_bilinear_c1_float(&float_in, &float_out, job.sw, job.sh, 1, job.dw, job.dh, 1);
  }
  EXPECT_EQ(out, 7);
  EXPECT_EQ(float_out, 7);
}

TEST(Resize, Golden) {
  const int w = 150, h = 101, dw = 97, dh = 120;
  const auto gray = picture(w, h, 1), rgb = picture(w, h, 3), rgba = picture(w, h, 4);
  Pixels one(dw * dh), three(3 * dw * dh), four(4 * dw * dh);
  resize_nn_c1(gray.data(), one.data(), w, h, w, dw, dh, dw);
  expect_golden("resize_nn_c1", one);
  resize_nn_c3(rgb.data(), three.data(), w, h, 3 * w, dw, dh, 3 * dw);
  expect_golden("resize_nn_c3", three);
  resize_bilinear_c1(gray.data(), one.data(), w, h, w, dw, dh, dw);
  expect_golden("resize_bilinear_c1", one);
  resize_bilinear_c3(rgb.data(), three.data(), w, h, 3 * w, dw, dh, 3 * dw);
  expect_golden("resize_bilinear_c3", three);
  resize_bilinear_c4(rgba.data(), four.data(), w, h, 4 * w, dw, dh, 4 * dw, 1);
  expect_golden("resize_bilinear_c4", four);
  resize_bilinear_c4_to_c3(rgba.data(), three.data(), w, h, 4 * w, dw, dh, 3 * dw, 1);
  expect_golden("resize_bilinear_c4_to_c3", three);
  resize_bicubic_c1(gray.data(), one.data(), w, h, w, dw, dh, dw);
  expect_golden("resize_bicubic_c1", one);
  resize_bicubic_c3(rgb.data(), three.data(), w, h, 3 * w, dw, dh, 3 * dw);
  expect_golden("resize_bicubic_c3", three);
  std::vector<float> floats(gray.begin(), gray.end()), resized(dw * dh);
  resize_bilinear_c1_float(floats.data(), resized.data(), w, h, w, dw, dh, dw);
  expect_golden("resize_bilinear_c1_float", resized);
}
