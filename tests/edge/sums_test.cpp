#include "edge/edge_rules.h"

using namespace KelvraCV;
using namespace test;

TEST(MaskEdge, EveryShapeFollowsTheDefinition) {
  for (const int mode : {0, 1, 2}) {
    for (const Shape& shape : all_shapes()) {
      SCOPED_TRACE(shape);
      const int width = shape.width, height = shape.height;
      GuardedBuffer<> src(width, height, shape.padding, shape.guard);
      GuardedBuffer<> dst(width + shape.padding, height, 0, shape.guard);
      std::vector<uint8_t> mask = noise(static_cast<size_t>(width) * height);
      for (uint8_t& value : mask) value = value < 20 ? value : (value < 90 ? 0 : 255);
      src.fill(mask);
      dst.fill(std::vector<uint8_t>(dst.packed().size(), 7));
      get_mask_edge(src.data(), dst.data(), width, height, src.stride(), dst.stride(), mode);
      Plane want = plain_mask_edge(mask, width, height, mode);
      for (int y = height; y > 0; --y) want.insert(want.begin() + y * width, shape.padding, 0);
      ASSERT_EQ(dst.packed(), want);
    }
  }
}

TEST(MaskEdge, Golden) {
  const auto mask = mask_picture(150, 101);
  std::vector<uint8_t> edge(mask.size());
  get_mask_edge(mask.data(), edge.data(), 150, 101, 150, 150, 0);
  expect_golden("get_mask_edge", edge);
}

TEST(Integral, EmptySizesStillHaveZeros) {
  int sum[4] = {9, 9, 9, 9};
  integral_int(nullptr, sum, 0, 2, 0);
  EXPECT_EQ(std::vector<int>(sum, sum + 4), (std::vector<int>{0, 0, 0, 9}));
  int row[4] = {9, 9, 9, 9};
  integral_int(nullptr, row, 2, 0, 2);
  EXPECT_EQ(std::vector<int>(row, row + 4), (std::vector<int>{0, 0, 0, 9}));
  integral_int(nullptr, row, -1, 5, 2);
  EXPECT_EQ(row[3], 9);
}

TEST(Integral, LargeSumsWrap) {
  const int width = 4096, height = 2100;
  std::vector<int> sum(static_cast<size_t>(width + 1) * (height + 1));
  const std::vector<uint8_t> white(width, 255);
  integral_int(white.data(), sum.data(), width, height, 0);  // one row again and again
  EXPECT_EQ(sum.back(), static_cast<int>(255u * width * height));
}

TEST(Integral, Golden) {
  const auto gray = picture(150, 101, 1);
  std::vector<int> sum(151 * 102, 9);
  integral_int(gray.data(), sum.data(), 150, 101, 150);
  expect_golden("integral_int", sum);
}

TEST(Histogram, CountsRectanglesPerChannel) {
  for (const int channels : {1, 2, 3, 4, 5, 6}) {
    const int width = 37, height = 11, x0 = 3, y0 = 2, columns = 31, rows = 7;
    const auto image = noise(static_cast<size_t>(width) * height * channels);
    // As given, one for each channel: values over bins, also where that exceeds the bins.
    std::vector<int> bins{16, 0, 5, 256, 1000, 1};
    std::vector<std::vector<int>> counts(channels, std::vector<int>(1000, 1));
    std::vector<std::vector<int>> want = counts;
    std::vector<int*> hists;
    for (int c = 0; c < channels; ++c) {
      hists.push_back(counts[c].data());
      std::fill_n(want[c].begin(), bins[c], 0);
      for (int i = 0; i < columns * rows; ++i) {
        const int x = x0 + i % columns, y = y0 + i / columns;
        const int value = image[(y * width + x) * channels + c];
        ++want[c][bins[c] == 0 ? 0 : value / bins[c]];
      }
    }
    cal_hist(image.data(), width * channels, channels, columns, rows, x0, y0, hists.data(),
             bins.data());
    EXPECT_EQ(counts, want);
  }
}

TEST(Histogram, Golden) {
  const auto rgb = picture(150, 101, 3);
  std::vector<int> counts(3 * 256);
  int* hists[] = {counts.data(), counts.data() + 256, counts.data() + 512};
  int bins[] = {16, 3, 1};
  cal_hist(rgb.data(), 450, 3, 140, 90, 5, 7, hists, bins);
  expect_golden("cal_hist", counts);
}
