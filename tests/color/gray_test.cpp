#include <algorithm>

#include "color/pixel_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

struct Format {
  int channels;
  int bgra;
};
constexpr Format kFormats[] = {{3, 0}, {4, 0}, {4, 1}, {4, -7}};

void convert(const Format& format, const uint8_t* src, uint8_t* dst, int width, int height,
             int src_stride, int dst_stride) {
  if (format.channels == 3) {
    rgb2gray(src, dst, width, height, src_stride, dst_stride);
  } else {
    rgba2gray(src, dst, width, height, src_stride, dst_stride, format.bgra);
  }
}

uint8_t expected(const Format& format, const uint8_t* pixel) {
  return plain_gray(pixel, format.bgra);
}

}  // namespace

TEST(Gray, KnownColours) {
  const uint8_t pixels[] = {255, 255, 255, 9, 1, 1, 1,   9, 255, 0, 0, 128,
                            0,   255, 0,   9, 0, 0, 255, 9, 0,   0, 0, 255};
  uint8_t gray[6];
  rgba2gray(pixels, gray, 6, 1, 24, 6, 0);
  EXPECT_EQ(std::vector<uint8_t>(gray, gray + 6), (std::vector<uint8_t>{255, 1, 76, 149, 29, 0}));
  rgba2gray(pixels, gray, 6, 1, 24, 6, 1);
  EXPECT_EQ(std::vector<uint8_t>(gray, gray + 6), (std::vector<uint8_t>{255, 1, 29, 149, 76, 0}));
}

// A row that overlaps its source is converted pixel by pixel from the left: in place, and also
// where a written byte is read again by a later pixel.
TEST(Gray, OverlappingRowsRunInOrder) {
  for (const Format& format : kFormats) {
    for (const int offset : {0, 1, 5, 40, 100, -3}) {
      const int width = 70;
      std::vector<uint8_t> memory = noise(600), want = memory;
      for (int x = 0; x < width; ++x) {
        want[100 + offset + x] = expected(format, want.data() + 100 + x * format.channels);
      }
      convert(format, memory.data() + 100, memory.data() + 100 + offset, width, 1, 0, 0);
      EXPECT_EQ(memory, want) << format.channels << " channels, offset " << offset;
    }
  }
}

TEST(Gray, EmptySizesWriteNothing) {
  uint8_t untouched = 17;
  for (const auto& [width, height] : {std::pair{0, 1}, {1, 0}, {-1, 1}, {1, -1}}) {
    rgb2gray(nullptr, &untouched, width, height, 3, 1);
    rgba2gray(nullptr, &untouched, width, height, 4, 1, 0);
  }
  EXPECT_EQ(untouched, 17);
}

TEST(Gray, Golden) {
  std::vector<uint8_t> gray(150 * 101);
  const auto rgb = picture(150, 101, 3), rgba = picture(150, 101, 4);
  rgb2gray(rgb.data(), gray.data(), 150, 101, 450, 150);
  expect_golden("rgb2gray", gray);
  rgba2gray(rgba.data(), gray.data(), 150, 101, 600, 150, 0);
  expect_golden("rgba2gray", gray);
}
