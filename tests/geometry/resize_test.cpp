#include <cmath>
#include <functional>
#include <limits>

#include "geometry/resize_rules.h"
#include "geometry/resize_tables.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

std::vector<Job> jobs() {
  std::vector<Job> all;
  for (const auto& [sw, sh] :
       {std::pair{1, 1}, {2, 2}, {3, 1}, {1, 5}, {5, 4}, {17, 9}, {64, 33}, {131, 20}}) {
    for (const auto& [dw, dh] : {std::pair{1, 1},
                                 {2, 3},
                                 {7, 1},
                                 {1, 6},
                                 {9, 11},
                                 {33, 16},
                                 {40, 40},
                                 {67, 5},
                                 {150, 7}}) {
      all.push_back({sw, sh, dw, dh});
    }
  }
  for (const auto& [w, h] : {std::pair{16, 8}, {33, 7}, {45, 12}}) {  // whole ratios
    for (const int ratio : {1, 2, 3, 4}) {
      all.push_back({w * ratio, h * ratio, w, h});
      all.push_back({w, h, w * ratio, h * ratio});
    }
  }
  return all;
}

using Resize = std::function<void(const uint8_t*, uint8_t*, int, int, int, int, int, int)>;
using Plain = std::function<Pixels(const Pixels&, const Job&)>;

void expect_same(const char* name, int in_channels, int out_channels, const Resize& resize,
                 const Plain& plain) {
  for (const Job& job : jobs()) {
    for (const Guard guard : {Guard::kAfter, Guard::kBefore}) {
      const int padding = guard == Guard::kAfter ? 0 : 3;
      GuardedBuffer<> src(job.sw * in_channels, job.sh, padding, guard);
      GuardedBuffer<> dst(job.dw * out_channels, job.dh, 2 * padding, guard);
      const Pixels pixels = noise(static_cast<size_t>(job.sw) * job.sh * in_channels);
      src.fill(pixels);
      resize(src.data(), dst.data(), job.sw, job.sh, src.stride(), job.dw, job.dh, dst.stride());
      ASSERT_EQ(dst.packed(), plain(pixels, job))
          << name << " " << job.sw << " x " << job.sh << " to " << job.dw << " x " << job.dh;
    }
  }
}

}  // namespace

TEST(Resize, Nearest) {
  for (const int channels : {1, 3}) {
    expect_same(
        "nearest", channels, channels, channels == 1 ? resize_nn_c1 : resize_nn_c3,
        [=](const Pixels& src, const Job& job) { return plain_nearest(src, job, channels); });
  }
}

TEST(Resize, Bilinear) {
  for (const int channels : {1, 3}) {
    expect_same("bilinear", channels, channels,
                channels == 1 ? resize_bilinear_c1 : resize_bilinear_c3,
                [=](const Pixels& src, const Job& job) {
                  return plain_separable(src, job, channels, linear);
                });
  }
}

// The swap flag is exactly 1; alpha does not reach three-channel pixels.
TEST(Resize, BilinearFourChannels) {
  for (const int swap : {0, 1, 2, -1}) {
    const bool swaps = swap == 1;
    using namespace std::placeholders;
    expect_same("c4", 4, 4, std::bind(resize_bilinear_c4, _1, _2, _3, _4, _5, _6, _7, _8, swap),
                [=](const Pixels& src, const Job& job) {
                  return channels_of(plain_separable(src, job, 4, linear),
                                     swaps ? std::vector{2, 1, 0, 3} : std::vector{0, 1, 2, 3});
                });
    expect_same("c4 to c3", 4, 3,
                std::bind(resize_bilinear_c4_to_c3, _1, _2, _3, _4, _5, _6, _7, _8, swap),
                [=](const Pixels& src, const Job& job) {
                  return channels_of(plain_separable(src, job, 4, linear),
                                     swaps ? std::vector{2, 1, 0} : std::vector{0, 1, 2});
                });
  }
}

TEST(Resize, Bicubic) {
  for (const int channels : {1, 3}) {
    expect_same("bicubic", channels, channels,
                channels == 1 ? resize_bicubic_c1 : resize_bicubic_c3,
                [=](const Pixels& src, const Job& job) {
                  return plain_separable(src, job, channels, cubic);
                });
  }
}

TEST(Resize, BilinearFloat) {
  for (const Job& job : jobs()) {
    for (const Guard guard : {Guard::kAfter, Guard::kBefore}) {
      GuardedBuffer<float> src(job.sw, job.sh, 3, guard), dst(job.dw, job.dh, 1, guard);
      Random random(4);
      std::vector<float> values(static_cast<size_t>(job.sw) * job.sh);
      for (float& value : values) value = static_cast<float>(random.below(100000)) / 777.0f;
      src.fill(values);
      resize_bilinear_c1_float(src.data(), dst.data(), job.sw, job.sh, src.stride(), job.dw, job.dh,
                               dst.stride());
      ASSERT_EQ(dst.packed(), plain_float(values, job))
          << job.sw << " x " << job.sh << " to " << job.dw << " x " << job.dh;
    }
  }
}

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
