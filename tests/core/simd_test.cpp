#include "core/simd.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/numeric.h"
#include "core/rows.h"

using namespace KelvraCV::detail;

TEST(Simd, MaskBits) {
  uint8_t bytes[64];
  uint64_t want = 0;
  for (int i = 0; i < 64; ++i) {
    bytes[i] = static_cast<uint8_t>(i * i % 7 > 2);
    want |= uint64_t{bytes[i]} << i;
  }
  const Full<uint8_t> d;
  EXPECT_EQ(mask_bits64([&](size_t x) { return hn::LoadU(d, bytes + x) == hn::Set(d, 1); }), want);
}

TEST(Simd, Floats) {
  const Full<float> d;
  for (float v = 1; v < 2; v += 1e-5f) {
    const double error = double{hn::GetLane(reciprocal(hn::Set(d, v)))} * v - 1;
    ASSERT_LT(std::fabs(error), 1.0 / (1 << 22)) << v;
  }
}

TEST(Numeric, TruncateByte) {
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
