#include <numeric>

#include "edge/edge_support.h"
#include "edge/exact_quotient.h"

using namespace KelvraCV;
using namespace test;

namespace {

std::vector<uint64_t> region_mapping(std::vector<uint64_t> h, uint64_t limit, uint64_t pixels) {
  const uint64_t bins = h.size();
  uint64_t excess = 0;
  for (const uint64_t count : h) excess += count > limit ? count - limit : 0;
  const uint64_t increment = excess / bins, upper = limit - increment;
  for (uint64_t& count : h) {
    const uint64_t old = count;
    count = old > limit || old > upper ? limit : old + increment;
    if (old <= limit) excess -= old > upper ? old - upper : increment;
  }
  for (uint64_t before = excess + 1; excess > 0 && excess < before;) {
    before = excess;
    for (uint64_t start = 0; start < bins && excess > 0; ++start) {
      const uint64_t step = excess > bins ? 1 : bins / excess;
      for (uint64_t i = start; i < bins && excess > 0; i += step) {
        if (h[i] < limit) ++h[i], --excess;
      }
    }
  }
  const float reciprocal = 1.0f / static_cast<float>(pixels);
  uint64_t sum = 0;
  for (uint64_t& count : h) {
    sum += count;
    count = std::min(static_cast<unsigned>(static_cast<float>(sum) * 255 * reciprocal), 255u);
  }
  return h;
}

// Where a coordinate lies between two region centres: the regions, and the weight of the second
// one out of `span`.
struct Between {
  int first, second, offset, span;
};
Between between(int at, int size, int regions) {
  const int shifted = at - size / 2;
  if (shifted < 0) return {0, 0, 0, 1};
  const int block = shifted / size;
  if (block >= regions - 1) return {regions - 1, regions - 1, 0, 1};
  return {block, block + 1, shifted % size, size};
}

// Pixel by pixel, from the definition.
std::vector<uint8_t> expected(const std::vector<uint8_t>& gray, int width, int height, int tiles,
                              int bins, float clip) {
  const int regions = std::clamp(tiles, 2, 16), xs = width / regions, ys = height / regions;
  if (bins < 1) bins = 128;
  const int values = 255 / bins + 1;
  const auto pixels = static_cast<uint64_t>(xs) * ys;
  uint64_t limit = 16384;
  if (clip > 0) {
    limit = static_cast<unsigned>(static_cast<float>(pixels) * clip / static_cast<float>(bins));
    if (limit == 0) limit = 1;
  }
  std::vector<std::vector<uint64_t>> mappings;
  for (int r = 0; r < regions * regions; ++r) {
    std::vector<uint64_t> h(bins);
    for (uint64_t i = 0; i < pixels; ++i) {
      const int x = r % regions * xs + static_cast<int>(i) % xs;
      const int y = r / regions * ys + static_cast<int>(i) / xs;
      ++h[gray[static_cast<size_t>(y) * width + x] / values];
    }
    mappings.push_back(region_mapping(h, limit, pixels));
  }
  std::vector<uint8_t> result = gray;
  for (size_t i = 0; i < gray.size(); ++i) {
    const Between h = between(static_cast<int>(i) % width, xs, regions);
    const Between v = between(static_cast<int>(i) / width, ys, regions);
    const auto row = [&](int r) {
      const uint64_t left = mappings[r * regions + h.first][gray[i] / values];
      const uint64_t right = mappings[r * regions + h.second][gray[i] / values];
      return left * (h.span - h.offset) + right * h.offset;
    };
    result[i] = static_cast<uint8_t>(
        (row(v.first) * (v.span - v.offset) + row(v.second) * v.offset) / (h.span * v.span));
  }
  return result;
}

}  // namespace

// Truncated quotients do not fall as n grows, so it is enough to look where they rise.
TEST(Clahe, ExactQuotientsEqualDivision) {
  Random random;
  const auto check = [](uint64_t divisor) {
    const detail::ExactQuotient divided(divisor);
    for (uint64_t q = 0; q <= 255; ++q) {
      ASSERT_EQ(divided(q * divisor), q) << divisor;
      if (q == 0) continue;
      ASSERT_EQ(divided(q * divisor - 1), q - 1) << divisor;
    }
  };
  for (uint64_t d = 1; d < 20000; ++d) check(d);
  for (uint64_t d = 0; d < 5000; ++d) check((uint64_t{1} << 24) - d);
  for (int i = 0; i < 20000; ++i) check(1 + random.next() % (1u << 24));
}

TEST(Clahe, GrayFollowsTheDefinition) {
  struct Case {
    int width, height, tiles, bins;
    float clip;
  };
  // Even and odd regions, remainders, tiles and bins out of range, limits below the increment,
  // regions of one pixel.
  for (const Case& c : {Case{64, 64, 8, 0, 2.0f},
                        {67, 45, 4, 256, 3.5f},
                        {131, 77, 1, 128, 0},
                        {131, 77, 40, 100, 1.1f},
                        {50, 51, 7, 1, 2.0f},
                        {50, 51, 3, 2, 1.0f},
                        {97, 33, 5, 64, 0.3f},
                        {97, 33, 5, 700, 40.0f},
                        {16, 17, 16, 128, 0.5f},
                        {3, 2, 2, 0, 1e30f},
                        {32, 32, 8, 4, 0.2f},
                        {50, 40, 2, 50, 0.7f},
                        {82, 4, 2, 256, 0},
                        {50, 40, 3, -5, 1.5f},
                        {300, 280, 2, 33, -1.0f}}) {
    SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << ", " << c.tiles << ", "
                                    << c.bins << ", " << c.clip);
    auto flat = picture(c.width, c.height, 1), spots = flat;
    std::fill(flat.begin(), flat.end(), uint8_t{90});
    for (size_t i = 0; i < spots.size(); ++i) {
      spots[i] = i % c.width % 4 == 0 && i / c.width % 4 == 0 ? 200 : 10;
    }
    for (const auto& pixels : {picture(c.width, c.height, 1), noise(flat.size()), flat, spots}) {
      GuardedBuffer<> src(c.width, c.height, 3, Guard::kAfter, true);
      std::vector<uint8_t> dst(static_cast<size_t>(src.stride()) * c.height);
      src.fill(pixels);
      ImageData out = image_of(dst, c.width, c.height, 1);
      const float reference_clip = std::min(c.clip, 1e6f);
      clahe(image_of(src, 1), out, c.tiles, c.bins, c.clip);
      ASSERT_EQ(src.packed(), expected(pixels, c.width, c.height, c.tiles, c.bins, reference_clip));
      EXPECT_TRUE(std::equal(dst.begin(), dst.end(), src.data()));  // with the padding
    }
  }
}

TEST(Clahe, ColourEqualisesTheValueOnly) {
  const int width = 75, height = 50, pixels = width * height;
  for (const int channels : {3, 4, 5}) {
    auto image = picture(width, height, channels);
    std::vector<uint8_t> hsv(pixels * 3), value(pixels), rgb(pixels * 3), result(image.size());
    ImageData hsv_image = image_of(hsv, width, height, 3),
              rgb_image = image_of(rgb, width, height, 3);
    ImageData out = image_of(result, width, height, channels);
    rgba2hsv(image_of(image, width, height, channels), hsv_image);
    for (int i = 0; i < pixels; ++i) value[i] = hsv[i * 3 + 2];
    value = expected(value, width, height, 4, 0, 2.5f);
    for (int i = 0; i < pixels; ++i) hsv[i * 3 + 2] = value[i];
    hsv2rgb(hsv_image, rgb_image);
    auto want = image;
    for (int i = 0; i < pixels; ++i) std::copy_n(&rgb[i * 3], 3, &want[i * channels]);
    const auto before = image;
    clahe(image_of(image, width, height, channels), out, 4, 0, 2.5f);
    EXPECT_EQ(result, want);
    EXPECT_EQ(image, before);
    ImageData in_place = image_of(image, width, height, channels);
    clahe(in_place, in_place, 4, 0, 2.5f);
    EXPECT_EQ(image, want);
  }
}

TEST(Clahe, ImagesSmallerThanTheGridStayAsTheyAre) {
  auto pixels = noise(15), before = pixels;
  std::vector<uint8_t> result(15);
  ImageData out = image_of(result, 5, 3, 1);
  clahe(image_of(pixels, 5, 3, 1), out, 4, 0, 2.0f);
  EXPECT_EQ(pixels, before);
  EXPECT_EQ(result, before);
}

// Sums over a region's rows exceed 32 bits from 16,843,010 rows on. All regions are the same, and
// so are all pixels of the result.
TEST(Clahe, HighRegions) {
  const int height = 34'000'000;
  std::vector<uint8_t> pixels(2 * static_cast<size_t>(height), 255);
  ImageData image = image_of(pixels, 2, height, 1);
  clahe(image, image, 2, 0, 0);
  EXPECT_EQ(pixels[0], 253);
  EXPECT_EQ(std::count(pixels.begin(), pixels.end(), pixels[0]), 2 * height);
}

TEST(Clahe, Golden) {
  for (const int channels : {1, 3, 4}) {
    auto image = picture(150, 101, channels);
    std::vector<uint8_t> result(image.size());
    ImageData out = image_of(result, 150, 101, channels);
    clahe(image_of(image, 150, 101, channels), out, 8, 0, 3.0f);
    expect_golden("clahe_c" + std::to_string(channels), result);
  }
}
