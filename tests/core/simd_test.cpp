#include "core/simd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

// Three channels apart and together again, and sums of products of neighbouring bytes.
template <template <class> class Tag>
void check_bytes() {
  const Tag<uint8_t> d8;
  constexpr int kLanes = static_cast<int>(hn::MaxLanes(d8));
  uint8_t pixels[3 * kLanes], again[3 * kLanes];
  for (int i = 0; i < 3 * kLanes; ++i) pixels[i] = static_cast<uint8_t>(7 * i + 1);
  hn::Vec<decltype(d8)> channels[3];
  load_pixels<3>(d8, pixels, channels);
  for (int c = 0; c < 3; ++c) {
    const auto lanes = lanes_of(d8, channels[c]);
    for (int x = 0; x < kLanes; ++x) EXPECT_EQ(lanes[x], pixels[3 * x + c]);
  }
  store_pixels<3>(d8, channels, again);
  EXPECT_TRUE(std::equal(pixels, pixels + 3 * kLanes, again));

  const auto sums = multiply_add_bytes(hn::LoadU(d8, pixels), hn::Iota(d8, 1));
  const auto lanes = lanes_of(hn::Repartition<int16_t, decltype(d8)>(), sums);
  for (int i = 0; i < kLanes / 2; ++i) {
    EXPECT_EQ(lanes[i], pixels[2 * i] * (1 + 2 * i) + pixels[2 * i + 1] * (2 + 2 * i));
  }
}

}  // namespace

TEST(Simd, BlockOperations) {
  check_block_operations<Full>();
  check_block_operations<Block>();
}

TEST(Simd, Bytes) {
  check_bytes<Full>();
  check_bytes<Block>();
}

TEST(Simd, MaskBits) {
  uint8_t bytes[64];
  uint32_t words[64];
  uint64_t want = 0;
  for (int i = 0; i < 64; ++i) {
    words[i] = bytes[i] = static_cast<uint8_t>(i * i % 7 > 2);
    want |= uint64_t{bytes[i]} << i;
  }
  EXPECT_EQ(mask_bits64<uint8_t>([&](size_t x) {
              const Full<uint8_t> d;
              return hn::LoadU(d, bytes + x) == hn::Set(d, 1);
            }),
            want);
  EXPECT_EQ(mask_bits64<uint32_t>([&](size_t x) {
              const Full<uint32_t> d;
              return hn::LoadU(d, words + x) == hn::Set(d, 1);
            }),
            want);
}

TEST(Simd, Floats) {
  const Full<float> d;
  for (float v = 1; v < 2; v += 1e-5f) {
    const double error = double{hn::GetLane(reciprocal(hn::Set(d, v)))} * v - 1;
    ASSERT_LT(std::fabs(error), 1.0 / (1 << 22)) << v;
  }
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
