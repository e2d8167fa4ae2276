#include "core/simd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "core/numeric.h"
#include "core/rows.h"

using namespace KelvraCV::detail;

namespace {

template <class D, class V>
auto lanes_of(D d, V v) {
  std::vector<hn::TFromD<D>> lanes(hn::Lanes(d));
  hn::StoreU(v, d, lanes.data());
  return lanes;
}

// The vector operations on whole vectors and on single blocks.
template <template <class> class Tag>
void check_block_operations() {
  const Tag<uint8_t> d8;
  const Tag<int16_t> d16;
  const Tag<int32_t> d32;
  const size_t blocks = hn::Lanes(d8) / 16;

  uint8_t bytes[256];
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<uint8_t>(i);
  const auto loaded = lanes_of(d8, load_blocks(d8, bytes, 100));
  for (size_t i = 0; i < loaded.size(); ++i) EXPECT_EQ(loaded[i], i / 16 * 100 + i % 16);

  const auto a = hn::Iota(d16, -3), b = hn::Iota(d16, 32000);
  const auto sums = lanes_of(d32, multiply_add_pairs(d32, a, b));
  for (int i = 0; i < static_cast<int>(sums.size()); ++i) {
    EXPECT_EQ(sums[i], (2 * i - 3) * (32000 + 2 * i) + (2 * i - 2) * (32001 + 2 * i));
  }

  const Tag<float> df;
  for (const float value : {-2.9f, -0.9f, 0.99999994f, 255.9f, 8388607.5f}) {
    const auto truncated = lanes_of(d32, truncate_fitting(hn::Set(df, value)));
    for (const int32_t lane : truncated) EXPECT_EQ(lane, static_cast<int32_t>(value));
  }

  const auto low = hn::Iota(d32, 32764), high = hn::Iota(d32, -32771);
  const auto narrow = lanes_of(d16, narrow_to_i16_blocks(low, high));
  const auto bytes_low = hn::Iota(d16, 250), bytes_high = hn::Iota(d16, -4);
  const auto narrow8 = lanes_of(d8, narrow_to_u8_blocks(bytes_low, bytes_high));
  for (size_t block = 0; block < blocks; ++block) {
    for (int i = 0; i < 8; ++i) {
      const int lane = static_cast<int>(block) * 4 + i % 4;
      const int wide = i < 4 ? std::min(32764 + lane, 32767) : std::max(-32771 + lane, -32768);
      EXPECT_EQ(narrow[block * 8 + i], wide);
    }
    for (int i = 0; i < 16; ++i) {
      const int lane = static_cast<int>(block) * 8 + i % 8;
      EXPECT_EQ(narrow8[block * 16 + i], clamp_byte((i < 8 ? 250 : -4) + lane));
    }
  }
}

}  // namespace

TEST(Simd, BlockOperations) {
  check_block_operations<Full>();
  check_block_operations<Block>();
}

TEST(Numeric, ClampAndTruncate) {
  EXPECT_EQ(clamp_byte(-1), 0);
  EXPECT_EQ(clamp_byte(256), 255);
  EXPECT_EQ(truncate_byte(-0.5f), 0);
  EXPECT_EQ(truncate_byte(254.999f), 254);
  EXPECT_EQ(truncate_byte(1e30f), 255);
  EXPECT_EQ(truncate_byte(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(Rows, Overlap) {
  const char bytes[10] = {};
  EXPECT_TRUE(overlap(bytes, 4, bytes + 3, 2));
  EXPECT_TRUE(overlap(bytes + 3, 2, bytes, 10));
  EXPECT_FALSE(overlap(bytes, 4, bytes + 4, 4));
  EXPECT_FALSE(overlap(bytes + 4, 4, bytes, 4));
}
