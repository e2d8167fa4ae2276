#include "color/pixel_rules.h"
#include "support/captured_log.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

using Pixels = std::vector<uint8_t>;

Pixels noise_for(const Shape& shape, int channels) {
  return noise(static_cast<size_t>(shape.width) * shape.height * channels);
}

}  // namespace

TEST(YCbCr, KnownColoursAndInPlace) {
  Pixels pixels{0, 0, 0, 255, 255, 255};
  rgb_to_ycbcr(pixels.data(), pixels.data(), 2, 1, 6, false);
  EXPECT_EQ(pixels, (Pixels{16, 128, 128, 235, 128, 128}));
  ycbcr_to_rgb(pixels.data(), pixels.data(), 2, 1, 6, false);
  EXPECT_EQ(pixels, (Pixels{0, 0, 0, 255, 255, 255}));
  Pixels large = noise(300);
  const Pixels want = by_rule(large, 3, plain_ycbcr);
  rgb_to_ycbcr(large.data(), large.data(), 100, 1, 300, false);
  EXPECT_EQ(large, want);
}

// Every span, value and hue quotient.
TEST(Hsv, EveryQuotient) {
  Pixels pixels;
  for (int v = 0; v < 256; ++v) {
    for (int low = 0; low <= v; ++low) {
      for (const int middle : {low, (low + v) / 2, v}) {
        const uint8_t three[] = {static_cast<uint8_t>(v), static_cast<uint8_t>(middle),
                                 static_cast<uint8_t>(low)};
        for (const auto& order : {std::array{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}}) {
          for (const int k : order) pixels.push_back(three[k]);
        }
      }
    }
  }
  const int count = static_cast<int>(pixels.size() / 3);
  Pixels out(pixels.size());
  const ImageData in = image_of(pixels, count, 1, 3);
  ImageData to = image_of(out, count, 1, 3);
  rgba2hsv(in, to);
  EXPECT_EQ(out, by_rule(pixels, 3, plain_hsv));
}

TEST(Hsv, KnownColours) {
  Pixels pixels{255, 0, 0, 0, 0, 255, 255, 0, 4, 255, 0, 10, 255, 0, 1, 128, 128, 128};
  ImageData image = image_of(pixels, 6, 1, 3);
  rgba2hsv(image, image);
  EXPECT_EQ(pixels, (Pixels{0, 255, 255, 171, 255, 255, 255, 255, 255, 254, 255, 255, 0, 255, 255,
                            0, 0, 128}));
  for (int v = 0; v < 256; ++v) {
    Pixels gray{static_cast<uint8_t>(v * 7), 0, static_cast<uint8_t>(v)};
    ImageData one = image_of(gray, 1, 1, 3);
    hsv2rgb(one, one);
    EXPECT_EQ(gray, Pixels(3, static_cast<uint8_t>(v)));
  }
}

TEST(Channels, FourToThree) {
  for (const Shape& shape : all_shapes()) {
    for (const int swap : {0, 1, 7}) {
      GuardedBuffer<> src(4 * shape.width, shape.height, shape.padding, shape.guard),
          dst(3 * shape.width, shape.height, shape.padding, shape.guard);
      const Pixels pixels = noise_for(shape, 4);
      src.fill(pixels);
      convert_c4_to_c3(src.data(), dst.data(), shape.width, shape.height, src.stride(),
                       dst.stride(), swap);
      Pixels want;
      for (size_t i = 0; i < pixels.size(); i += 4) {
        for (const size_t k : {0, 1, 2}) want.push_back(pixels[i + (swap != 0 ? 2 - k : k)]);
      }
      ASSERT_EQ(dst.packed(), want) << shape << ", " << swap;
    }
  }
  Pixels in_place = noise(400);
  const Pixels before = in_place;
  convert_c4_to_c3(in_place.data(), in_place.data(), 100, 1, 400, 300, 1);
  for (int x = 0; x < 100; ++x) ASSERT_EQ(in_place[3 * x], before[4 * x + 2]);
}

TEST(Channels, SplitAndMerge) {
  for (const Shape& shape : all_shapes()) {
    for (int channels = 1; channels <= 5; ++channels) {
      SCOPED_TRACE(testing::Message() << shape << ", " << channels);
      const int w = shape.width, h = shape.height;
      GuardedBuffer<> src(channels * w, h, shape.padding, shape.guard);
      const Pixels pixels = noise_for(shape, channels);
      src.fill(pixels);
      // Planes are packed, whatever stride they name.
      std::vector<Pixels> planes(channels, Pixels(static_cast<size_t>(w) * h));
      std::vector<ImageData> records;
      for (Pixels& plane : planes) records.push_back({plane.data(), w, h, 1, w + 9, 0, 0});
      split_channels(image_of(src, channels), records);
      for (size_t i = 0; i < pixels.size(); ++i) {
        ASSERT_EQ(planes[i % channels][i / channels], pixels[i]);
      }
      GuardedBuffer<> merged(channels * w, h, shape.padding, shape.guard);
      ImageData out = image_of(merged, channels);
      merge_channels(records, out);
      ASSERT_EQ(merged.packed(), pixels);
    }
  }
}

// Planes that share memory with the pixels are written and read sample by sample, in order.
TEST(Channels, OverlappingPlanesRunInOrder) {
  for (const auto& size : {std::pair{70, 1}, {1, 20}, {33, 3}}) {
    const int w = size.first, h = size.second;
    for (const int channels : {2, 3, 4}) {
      for (const int offset : {0, 1, -7, 60}) {
        SCOPED_TRACE(testing::Message() << w << " x " << h << ", " << channels << ", " << offset);
        Pixels memory = noise(1000), want = memory;
        const ImageData pixels{memory.data() + 300, w, h, channels, channels * w, 0, 0};
        std::vector<ImageData> planes;
        for (int k = 0; k < channels; ++k) {
          planes.push_back({pixels.data + offset + k * w * h, w, h, 1, w, 0, 0});
        }
        const auto sample = [&](int i) { return want.begin() + 300 + i; };
        const auto place = [&](int i) {
          return sample(offset + i % channels * w * h + i / channels);
        };
        for (int i = 0; i < channels * w * h; ++i) *place(i) = *sample(i);
        split_channels(pixels, planes);
        ASSERT_EQ(memory, want);
        for (int i = 0; i < channels * w * h; ++i) *sample(i) = *place(i);
        ImageData merged = pixels;
        merge_channels(planes, merged);
        ASSERT_EQ(memory, want);
      }
    }
  }
}

TEST(Channels, SplitChecksInOrder) {
  CapturedLog log;
  Pixels pixels = noise(4 * 6), plane(6, 9);
  const ImageData image = image_of(pixels, 3, 2, 4);
  const ImageData good = image_of(plane, 3, 2, 1);
  std::vector<ImageData> planes(3, good);
  planes[0].channels = 2;
  split_channels(image, planes);
  EXPECT_EQ(log.take(), Messages{"input channels mismatch outputs!"});
  for (const int fault : {0, 1, 2}) {
    planes.assign(4, good);
    (fault == 0 ? planes[3].channels : fault == 1 ? planes[3].width : planes[3].height) += 1;
    split_channels(image, planes);
    EXPECT_EQ(log.take(), Messages{"outputs format error!"});
  }
  EXPECT_EQ(plane, Pixels(6, 9));
  ImageData out = good;
  merge_channels({}, out);
  EXPECT_EQ(plane, Pixels(6, 9));
}

TEST(Channels, EmptySizesWriteNothing) {
  uint8_t in[4] = {}, out = 7;
  for (const auto& [w, h] : {std::pair{0, 1}, {1, 0}, {-1, 1}, {-1, -1}}) {
    rgb_to_ycbcr(in, &out, w, h, 3, false);
    ycbcr_to_rgb(in, &out, w, h, 3, true);
    convert_c4_to_c3(in, &out, w, h, 4, 3, 0);
    const ImageData empty{in, w, h, 3, 3, 0, 0};
    ImageData to{&out, w, h, 3, 3, 0, 0};
    rgba2hsv(empty, to);
    hsv2rgb(empty, to);
  }
  ImageData to{&out, 1, 1, 3, 3, 0, 0};
  rgba2hsv({in, 1, 1, 2, 2, 0, 0}, to);
  EXPECT_EQ(out, 7);
}

TEST(Channels, Golden) {
  const int w = 150, h = 101;
  auto rgb = picture(w, h, 3), rgba = picture(w, h, 4);
  Pixels out(3 * w * h);
  rgb_to_ycbcr(rgb.data(), out.data(), w, h, 3 * w, true);
  expect_golden("rgb_to_ycbcr", out);
  ycbcr_to_rgb(rgb.data(), out.data(), w, h, 3 * w, false);
  expect_golden("ycbcr_to_rgb", out);
  ImageData to = image_of(out, w, h, 3);
  rgba2hsv(image_of(rgba, w, h, 4), to);
  expect_golden("rgba2hsv", out);
  hsv2rgb(image_of(rgb, w, h, 3), to);
  expect_golden("hsv2rgb", out);
  convert_c4_to_c3(rgba.data(), out.data(), w, h, 4 * w, 3 * w, 1);
  expect_golden("convert_c4_to_c3", out);
  std::vector<ImageData> planes;
  Pixels separate(3 * w * h);
  for (int k = 0; k < 3; ++k) planes.push_back({separate.data() + k * w * h, w, h, 1, w, 0, 0});
  split_channels(image_of(rgb, w, h, 3), planes);
  expect_golden("split_channels", separate);
  merge_channels(planes, to);
  expect_golden("merge_channels", out);
}
