#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "filter/box_mean.h"
#include "filter/filter_rules.h"
#include "support/captured_log.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

// `blur` is called with guarded packed buffers of every shape; `want` computes from a vector.
template <class Blur, class Want>
void expect_every_shape(Blur blur, Want want) {
  for (const Shape& shape : all_shapes()) {
    if (shape.padding != 0) continue;
    SCOPED_TRACE(shape);
    GuardedBuffer<> src(shape.width, shape.height, 0, shape.guard);
    GuardedBuffer<> dst(shape.width, shape.height, 0, shape.guard);
    src.fill(noise(src.packed().size()));
    blur(src.data(), dst.data(), shape.width, shape.height);
    ASSERT_EQ(dst.packed(), want(src.packed(), shape.width, shape.height));
  }
}

// Around the radius from which sums along a row no longer fit into 16 bits, and beyond the one
// from which the window's sum does not fit into 32.
TEST(Box, LargeWindows) {
  const int width = 301, height = 263;
  for (const int radius : {128, 129, 131}) {
    Plane src = noise(width * height), dst(src.size());
    std::fill_n(src.begin() + 100 * width, 40 * width, uint8_t{255});
    filter_box(src.data(), dst.data(), width, height, radius);
    EXPECT_EQ(dst, plain_box(src, width, height, radius)) << radius;
    Plane white(src.size(), 255);
    filter_box(white.data(), dst.data(), width, height, radius);
    EXPECT_EQ(dst, white);
  }
  const Plane white(2905 * 2903, 255);
  Plane dst(white.size());
  for (const int radius : {1450, 1451}) {
    filter_box(white.data(), dst.data(), 2905, 2903, radius);
    EXPECT_EQ(dst, white) << radius;
  }
}

// Wherever a mean may be computed in integers.
TEST(Box, IntegerMeansAreTheRoundedOnes) {
  using namespace KelvraCV::detail;
  const Full<int32_t> d;
  for (int area = 9, n = 3; area <= IntegerMean::kLargestArea; n += 2, area = n * n) {
    auto sums = hn::Iota(d, 0), wrong = hn::Zero(d);
    for (int sum = 0; sum <= 255 * area; sum += static_cast<int>(hn::Lanes(d))) {
      const auto rounded = Mean{1.0f / static_cast<float>(area)}(sums);
      wrong = hn::Or(wrong, hn::Xor(rounded, IntegerMean(area)(sums)));
      sums = sums + hn::Set(d, static_cast<int>(hn::Lanes(d)));
    }
    EXPECT_TRUE(hn::AllTrue(d, wrong == hn::Zero(d))) << n;
  }
}

TEST(Box, NoWindowCopies) {
  const Plane src = noise(35);
  for (const int radius : {0, 3, -1, INT_MIN, INT_MAX, 1 << 30}) {
    Plane dst(35);
    filter_box(src.data(), dst.data(), 7, 5, radius);
    EXPECT_EQ(dst, src) << radius;
  }
}

// The radii are worked out by hand: sigma 0 gives 1 1 1; 2: sqrt(17) = 4.1, so 3 and 5, of which
// m = (48 - 27 - 36 - 9) / -16 = 1.5, two of 3; 3.4: sqrt(47.24) = 6.87, so 5 and 7, m = 0.26; the
// root of 7: m = 2.5, halves away from zero.
TEST(ThreeBoxes, AreBoxBlursOfTheseRadii) {
  const int width = 61, height = 45;
  const auto blurred = [&](const Plane& plane, std::vector<int> radii) {
    Plane out = plane;
    for (const int radius : radii) out = plain_box(out, width, height, radius);
    return out;
  };
  const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
  const std::vector<std::pair<float, std::vector<int>>> cases = {{0.0f, {1, 1, 1}},
                                                                 {2.0f, {3, 3, 5}},
                                                                 {-2.0f, {3, 3, 5}},
                                                                 {3.4f, {7, 7, 7}},
                                                                 {2.64575124f, {5, 5, 5}},
                                                                 {1e5f, {}},
                                                                 {1e30f, {}},
                                                                 {inf, {}},
                                                                 {nan, {}}};
  const Plane gray = picture(width, height, 1), rgba = picture(width, height, 4);
  for (const auto& [sigma, radii] : cases) {
    SCOPED_TRACE(sigma);
    Plane out(gray.size()), out4(rgba.size());
    EXPECT_EQ(gaussian_blur_fast(gray.data(), out.data(), width, height, sigma), 0);
    EXPECT_EQ(out, blurred(gray, radii));
    EXPECT_EQ(out, plain_three_boxes(gray, width, height, sigma));
    EXPECT_EQ(gaussian_blur_c4(rgba.data(), out4.data(), width, height, sigma), 0);
    Plane in_place = gray, in_place4 = rgba;
    gaussian_blur_fast(in_place.data(), in_place.data(), width, height, sigma);
    gaussian_blur_c4(in_place4.data(), in_place4.data(), width, height, sigma);
    EXPECT_TRUE(in_place == out && in_place4 == out4);
    EXPECT_EQ(out4, plain_three_boxes_c4(rgba, width, height, sigma));
  }
}

// A window whose rows exceed any memory.
TEST(ThreeBoxes, ReportMissingMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer's allocator ends the program";
#endif
  CapturedLog log;
  uint8_t pixel[4] = {1, 2, 3, 4};
  EXPECT_EQ(gaussian_blur_fast(pixel, pixel, INT_MAX, INT_MAX, 1e5f), -1);
  EXPECT_EQ(gaussian_blur_c4(pixel, pixel, INT_MAX, INT_MAX, 1e5f), 0);
  EXPECT_EQ(log.take(), Messages(2, "gaussian_blur_fast memory create error!\n"));
  EXPECT_EQ(Plane(pixel, pixel + 4), (Plane{1, 2, 3, 4}));
}

TEST(FixedGaussian, ByHand) {
  const uint8_t edge[8] = {0, 0, 255, 255, 0, 0, 255, 255};
  uint8_t out[32];
  gaussian_blur_3x3(edge, out, 4, 2, 4, 4);
  EXPECT_EQ(Plane(out, out + 4), (Plane{0, 63, 191, 255}));
  const uint8_t last[32] = {0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 255,
                            0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 255};
  gaussian_blur_5x5(last, out, 8, 4);
  EXPECT_EQ(Plane(out, out + 8), (Plane{0, 0, 0, 0, 0, 15, 79, 0}));
}

TEST(Gaussian, EveryShapeFollowsTheFormula) {
  CapturedLog log;
  struct Case {
    int size;
    float sigma, used_sigma;
  };
  const Case cases[] = {{0, 0.0f, 0.8f}, {5, -1.0f, 1.1f}, {9, 2.5f, 2.5f}, {-7, 0.6f, 0.6f}};
  for (const Case& c : cases) {
    const int size = std::max(c.size, 3);
    SCOPED_TRACE(size);
    expect_every_shape(
        [&](const uint8_t* src, uint8_t* dst, int width, int height) {
          gaussian_blur(src, dst, width, height, c.size, c.sigma);
        },
        [&](const Plane& src, int width, int height) {
          const bool fits = size <= width && size <= height;
          EXPECT_EQ(log.take(), fits ? Messages() : Messages(2, "image size too small!\n"));
          return fits ? plain_gaussian(src, width, height, size, c.used_sigma) : Plane(src.size());
        });
  }
  for (const auto& [w, h] : {std::pair{97, 60}, {200, 80}}) {  // rows in several strips
    const Plane src = picture(w, h, 1);
    Plane dst(src.size());
    gaussian_blur(src.data(), dst.data(), w, h, 59, 11.0f);
    EXPECT_EQ(dst, plain_gaussian(src, w, h, 59, 11.0f));
  }
  // Flat images show the last bits of the weights' sum, and so of the default sigma.
  for (int level = 0; level < 256; ++level) {
    const Plane flat(64, static_cast<uint8_t>(level));
    Plane out(64);
    gaussian_blur(flat.data(), out.data(), 8, 8, 7, 0);
    EXPECT_EQ(out, plain_gaussian(flat, 8, 8, 7, static_cast<float>(6 * 0.15 + 0.5)));
  }
}

// Squares that are no longer normal numbers, or 0: the middle weight alone is left.
TEST(Gaussian, TiniestSigmasCopy) {
  const Plane src = noise(100);
  Plane want = plain_gaussian(src, 10, 10, 5, 1e-22f), out(100);
  for (int i = 0; i < 100; ++i) EXPECT_LE(src[i] - want[i], 1);
  for (const float sigma : {1e-22f, 1e-23f, 1e-38f, std::numeric_limits<float>::denorm_min()}) {
    gaussian_blur(src.data(), out.data(), 10, 10, 5, sigma);
    EXPECT_EQ(out, want) << sigma;
  }
}

TEST(Gaussian, RefusesOnceForEachPass) {
  CapturedLog log;
  const Plane src = noise(100);
  Plane dst(100, 17);
  for (const int size : {4, 12, INT_MAX - 1}) {
    gaussian_blur(src.data(), dst.data(), 10, 10, size, 1.0f);
    EXPECT_EQ(log.take(), Messages(2, "kernel size must be odd!\n"));
  }
  for (const int size : {11, INT_MAX}) {
    gaussian_blur(src.data(), dst.data(), 10, 10, size, 1.0f);
    EXPECT_EQ(log.take(), Messages(2, "image size too small!\n"));
  }
  EXPECT_EQ(dst, Plane(100, 17));
  for (const float sigma : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
    dst.assign(100, 17);
    gaussian_blur(src.data(), dst.data(), 10, 10, 5, sigma);
    EXPECT_EQ(dst, Plane(100, 0));
  }
  EXPECT_EQ(log.take(), Messages());
}

TEST(Blur, EmptySizesWriteNothing) {
  CapturedLog log;
  uint8_t src[4] = {1, 2, 3, 4}, dst[4] = {17, 17, 17, 17};
  for (const auto& [width, height] : {std::pair{0, 1}, {1, 0}, {-1, 1}, {1, -1}}) {
    gaussian_blur(src, dst, width, height, 3, 1.0f);
    EXPECT_EQ(gaussian_blur_fast(src, dst, width, height, 1.0f), 0);
    EXPECT_EQ(gaussian_blur_c4(src, dst, width, height, 1.0f), 0);
    filter_box(src, dst, width, height, 0);
    gaussian_blur_3x3(src, dst, width, height, 1, 1);
    gaussian_blur_5x5(src, dst, width, height);
  }
  EXPECT_EQ(Plane(dst, dst + 4), Plane(4, 17));
  EXPECT_EQ(log.take(), Messages());
}

TEST(Blur, Golden) {
  const int w = 150, h = 101;
  const Plane gray = picture(w, h, 1), rgba = picture(w, h, 4);
  Plane out(gray.size()), out4(rgba.size());
  gaussian_blur(gray.data(), out.data(), w, h, 9, 0.0f);
  expect_golden("gaussian_blur", out);
  gaussian_blur_fast(gray.data(), out.data(), w, h, 4.0f);
  expect_golden("gaussian_blur_fast", out);
  gaussian_blur_c4(rgba.data(), out4.data(), w, h, 4.0f);
  expect_golden("gaussian_blur_c4", out4);
  filter_box(gray.data(), out.data(), w, h, 7);
  expect_golden("filter_box", out);
  gaussian_blur_3x3(gray.data(), out.data(), w, h, w, w);
  expect_golden("gaussian_blur_3x3", out);
  gaussian_blur_5x5(gray.data(), out.data(), w, h);
  expect_golden("gaussian_blur_5x5", out);
}

}  // namespace
