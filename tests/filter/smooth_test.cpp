#include <cmath>
#include <limits>

#include "filter/smooth_rules.h"
#include "support/captured_log.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

constexpr std::pair<int, int> kSizes[] = {{1, 1}, {1, 9},  {9, 1},   {2, 3}, {5, 4},
                                          {8, 8}, {13, 7}, {31, 22}, {64, 9}};

}  // namespace

TEST(Bilateral, LikeThePlainRule) {
  for (const int channels : {1, 3, 4}) {
    for (const auto& [w, h] : kSizes) {
      for (const auto& [spatial, range] : {std::pair{0.03f, 0.1f}, {0.5f, 0.02f}, {0.001f, 5.0f}}) {
        for (const Guard guard : {Guard::kAfter, Guard::kBefore}) {
          GuardedBuffer<> src(w * channels, h, 0, guard), dst(w * channels, h, 0, guard);
          const Pixels pixels = picture(w, h, channels);
          src.fill(pixels);
          const ImageData in = image_of(src, channels);
          ImageData out = image_of(dst, channels);
          out.stride = 3;  // packed, whatever the stride
          bilateral_filter(in, out, spatial, range);
          ASSERT_EQ(dst.packed(), PlainBilateral(channels, spatial, range).image(pixels, w, h))
              << w << " x " << h << " x " << channels << ", " << spatial << ", " << range;
        }
      }
    }
  }
}

TEST(Bilateral, ChecksAndOddSigmas) {
  CapturedLog log;
  Pixels pixels = noise(5 * 4 * 3), out(pixels.size(), 9);
  const ImageData in = image_of(pixels, 5, 4, 3);
  for (const int fault : {0, 1, 2}) {
    ImageData to = image_of(out, 5, 4, 3);
    (fault == 0 ? to.width : fault == 1 ? to.height : to.channels) += 1;
    bilateral_filter(in, to, 0.1f, 0.1f);
    EXPECT_EQ(log.take(), Messages{"input and output data mismatch!"});
  }
  ImageData two = image_of(out, 5, 4, 2);
  bilateral_filter(image_of(pixels, 5, 4, 2), two, 0.1f, 0.1f);
  EXPECT_EQ(out, Pixels(out.size(), 9));
  ImageData to = image_of(out, 5, 4, 3);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float sigma : {0.0f, -1.0f, nan, std::numeric_limits<float>::infinity()}) {
    bilateral_filter(in, to, sigma, 0.1f);
    bilateral_filter(in, to, 0.1f, sigma);
  }
}

TEST(Guided, LikeThePlainRule) {
  for (const auto& [w, h] : kSizes) {
    for (const auto& [radius, scale] :
         {std::pair{0, 1.0f}, {1, 1.0f}, {3, 1.0f}, {4, 0.5f}, {2, 0.99f}, {3, 1.5f}}) {
      const float eps = radius == 0 ? 0.0f : 0.01f;  // 0 divides by no variance: not a number
      for (const int channels : {1, 3, 4}) {
        for (const int guide_channels : {0, 1, channels}) {  // 0: itself
          if (static_cast<int>(std::fma(w, scale, 0.5f)) < 1 ||
              static_cast<int>(std::fma(h, scale, 0.5f)) < 1) {
            continue;
          }
          // A single channel is packed, whatever its record says.
          const bool packed = channels == 1, by_packed = guide_channels == 1;
          GuardedBuffer<> src(w * channels, h, packed ? 0 : 5),
              dst(w * channels, h, packed ? 0 : 2);
          GuardedBuffer<> by(w * std::max(guide_channels, 1), h, by_packed ? 0 : 1);
          const Pixels pixels = picture(w, h, channels), guide = noise(by.packed().size());
          src.fill(pixels);
          by.fill(guide);
          ImageData in = image_of(src, channels), out = image_of(dst, channels);
          ImageData guide_image = image_of(by, std::max(guide_channels, 1));
          if (packed) in.stride = out.stride = w + 3;
          if (by_packed) guide_image.stride = w + 3;
          for (ImageData* to : {&out, &in}) {  // the second time in place
            if (guide_channels == 0) {
              guided_filter_self(in, *to, radius, scale, eps);
            } else {
              guided_filter_general(in, guide_image, *to, radius, scale, eps);
            }
          }
          ASSERT_EQ(src.packed(), dst.packed());
          ASSERT_EQ(dst.packed(), (PlainGuided{w, h, radius, scale, eps}.image(
                                      pixels, channels, guide_channels == 0 ? pixels : guide,
                                      guide_channels == 0 ? channels : guide_channels)))
              << w << " x " << h << ", radius " << radius << ", scale " << scale << ", " << channels
              << " channels by " << guide_channels;
        }
      }
    }
  }
}

TEST(Guided, ChecksAndSenselessParameters) {
  CapturedLog log;
  Pixels pixels = noise(6 * 5), out(30, 9);
  const ImageData in = image_of(pixels, 6, 5, 1);
  for (const int fault : {0, 1, 2}) {
    ImageData to = image_of(out, 6, 5, 1), guide = in;
    (fault == 0 ? to.width : fault == 1 ? to.height : to.channels) += 1;
    guided_filter_self(in, to, 1, 1, 0.1f);
    guided_filter_general(in, in, to, 1, 1, 0.1f);
    EXPECT_EQ(log.take(), Messages(2, "input and output mismatch!"));
    if (fault == 2) continue;
    (fault == 0 ? guide.width : guide.height) += 1;
    to = image_of(out, 6, 5, 1);
    guided_filter_general(in, guide, to, 1, 1, 0.1f);
    EXPECT_EQ(log.take(), Messages{"input and output mismatch!"});
  }
  // Sizes are fused: this scale leaves half a pixel of 86, rounded down.
  Pixels wide = noise(86 * 90), untouched(wide.size(), 9);
  ImageData wide_out = image_of(untouched, 86, 90, 1);
  guided_filter_self(image_of(wide, 86, 90, 1), wide_out, 1, 0.005813953f, 0.1f);
  EXPECT_EQ(untouched, Pixels(wide.size(), 9));

  const float infinity = std::numeric_limits<float>::infinity();
  ImageData to = image_of(out, 6, 5, 1);
  for (const float scale : {0.0f, -1.0f, 0.01f, 1e9f, infinity, std::nanf("")}) {
    guided_filter_self(in, to, 1, scale, 0.1f);
  }
  for (const int fault : {0, 1, 2, 3}) {  // no width, height, channels, channels of the guide
    ImageData none = in, guide = in;
    if (fault < 3) (fault == 0 ? none.width : fault == 1 ? none.height : none.channels) = 0;
    guide.width = none.width, guide.height = none.height;
    if (fault == 3) guide.channels = 0;
    ImageData empty = none;
    empty.data = out.data();
    guided_filter_general(none, guide, empty, 1, 1, 0.1f);
    if (fault < 3) guided_filter_self(none, empty, 1, 1, 0.1f);
  }
  EXPECT_EQ(out, Pixels(30, 9)) << "nothing is written for what leaves no image";
  for (const int radius : {-1, -1000, 1000000, std::numeric_limits<int>::max()}) {
    for (const float scale : {1.0f, 0.999f}) {  // every mean is a copy: the input again
      guided_filter_self(in, to, radius, scale, 0.1f);
      for (int i = 0; i < 30; ++i) EXPECT_LE(std::abs(out[i] - pixels[i]), 1);
    }
  }
  EXPECT_EQ(log.take(), Messages{});
}

TEST(Smooth, Golden) {
  auto pixels = picture(150, 101, 4), guide = picture(150, 101, 1);
  Pixels out(pixels.size());
  ImageData to = image_of(out, 150, 101, 4);
  bilateral_filter(image_of(pixels, 150, 101, 4), to, 0.03f, 0.1f);
  expect_golden("bilateral_filter", out);
  guided_filter_general(image_of(pixels, 150, 101, 4), image_of(guide, 150, 101, 1), to, 6, 0.5f,
                        0.01f);
  expect_golden("guided_filter_general", out);
  guided_filter_self(image_of(pixels, 150, 101, 4), to, 6, 1, 0.01f);
  expect_golden("guided_filter_self", out);
}
