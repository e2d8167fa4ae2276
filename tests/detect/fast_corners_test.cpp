#include "detect/detect_rules.h"
#include "support/captured_log.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

// A blocky picture with many corners.
std::vector<uint8_t> blocks(int width, int height) {
  std::vector<uint8_t> gray;
  const auto levels = noise(4096, 11);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      gray.push_back(static_cast<uint8_t>(levels[(y / 7 * 64 + x / 6) % 4096] / 8 * 8));
    }
  }
  return gray;
}

}  // namespace

TEST(FastCorners, LikeThePlainRule) {
  for (const auto& [width, height] :
       {std::pair{7, 7}, {7, 30}, {30, 7}, {13, 9}, {38, 11}, {39, 40}, {70, 33}, {101, 20}}) {
    for (const auto& gray : {blocks(width, height), noise(size_t(width) * height)}) {
      for (const Guard guard : {Guard::kAfter, Guard::kBefore}) {
        GuardedBuffer<> src(width, height, 0, guard), mask(width, height, 0, guard);
        src.fill(gray);
        mask.fill(mask_picture(width, height));
        for (const int threshold : {0, 1, 20, 100}) {
          for (const bool suppress : {false, true}) {
            for (uint8_t* const m : {static_cast<uint8_t*>(nullptr), mask.data()}) {
              std::vector<KeyPoint> found(1);
              fast_9_16(src.data(), found, width, height, 1, width, 0, threshold, suppress, m);
              ASSERT_EQ(corners(found), plain_corners(gray, width, height, threshold, suppress, m))
                  << width << " x " << height << ", threshold " << threshold << ", " << suppress;
            }
          }
        }
      }
    }
  }
}

// Short rows become gray several at a time, long ones one by one.
TEST(FastCorners, ColourLikeItsGray) {
  const int height = 45;
  for (const int width : {40, 300}) {
    const size_t pixels = size_t(width) * height;
    const auto rgba = noise(4 * pixels);
    std::vector<uint8_t> gray(pixels);
    rgba2gray(rgba.data(), gray.data(), width, height, 4 * width, width, 1);
    std::vector<KeyPoint> found, wanted;
    fast_9_16(rgba.data(), found, width, height, 4, 4 * width, 1, 9, true, nullptr);
    fast_9_16(gray.data(), wanted, width, height, 1, width, 0, 9, true, nullptr);
    EXPECT_EQ(corners(found), corners(wanted)) << width;
  }
}

TEST(FastCorners, ArgumentsAndEmptyResults) {
  CapturedLog log;
  const auto gray = blocks(40, 40);
  const auto find = [&](int width, int height, int channels, int threshold) {
    std::vector<KeyPoint> found(2);
    fast_9_16(gray.data(), found, width, height, channels, width, 0, threshold, false, nullptr);
    return found.size();
  };
  for (const int channels : {0, 2, 5}) EXPECT_EQ(find(20, 20, channels, 9), 2u);
  EXPECT_EQ(log.take(), Messages(3, "input channels error!\n"));
  EXPECT_EQ(find(40, 40, 1, -5), find(40, 40, 1, 0));
  EXPECT_EQ(find(40, 40, 1, 300), 0u);
  std::vector<uint8_t> spot(49, 255);
  spot[24] = 0;
  for (const auto& [threshold, count] : {std::pair{254, 1u}, {255, 0u}}) {
    std::vector<KeyPoint> found;
    fast_9_16(spot.data(), found, 7, 7, 1, 7, 0, threshold, true, nullptr);
    ASSERT_EQ(found.size(), count);
    for (const KeyPoint& corner : found) EXPECT_EQ(corner.response, 254);
  }
  for (const auto& [width, height] : {std::pair{40, 6}, {6, 40}, {0, 40}, {40, 0}, {-4, -4}}) {
    EXPECT_EQ(find(width, height, 1, 0), 0u);
  }
  EXPECT_EQ(log.take(), Messages{});
}

TEST(FastCorners, Golden) {
  std::vector<KeyPoint> found;
  const auto gray = picture(150, 101, 1);
  fast_9_16(gray.data(), found, 150, 101, 1, 150, 0, 10, true, nullptr);
  EXPECT_GT(found.size(), 20u);
  expect_golden("fast_9_16", found);
}
