#include <numeric>

#include "edge/edge_rules.h"
#include "edge/exact_quotient.h"

using namespace KelvraCV;
using namespace test;

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
  // bins that count nothing, regions of one pixel.
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
                        {61, 50, 2, 300, 5.0f},
                        {60, 60, 2, 5000, 9.0f},
                        {24, 20, 2, 1000003, 1e5f},
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
      ASSERT_EQ(src.packed(),
                plain_clahe(pixels, c.width, c.height, c.tiles, c.bins, reference_clip));
      EXPECT_TRUE(std::equal(dst.begin(), dst.end(), src.data()));  // with the padding
    }
  }
}

TEST(Clahe, ColourEqualisesTheValueOnly) {
  const int width = 75, height = 50;
  for (const int channels : {3, 4, 5}) {
    auto image = picture(width, height, channels);
    std::vector<uint8_t> result(image.size());
    ImageData out = image_of(result, width, height, channels);
    const Plane want = plain_clahe_colour(image, channels, width, height, 4, 0, 2.5f);
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
