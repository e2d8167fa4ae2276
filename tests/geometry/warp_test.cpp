#include <algorithm>
#include <cmath>
#include <limits>

#include "geometry/warp_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr unsigned int kFillValue = 0x81C45A17;

enum class Kind { kAffine1, kAffine4, kPerspective4 };
constexpr Kind kKinds[] = {Kind::kAffine1, Kind::kAffine4, Kind::kPerspective4};
int channels_of(Kind kind) {
  return kind == Kind::kAffine1 ? 1 : 4;
}

// Nine elements, of which an affine warp takes six.
using Matrix = std::vector<float>;
const Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
const Matrix kMatrices[] = {
    kIdentity,
    {0.9f, 0.2f, 1.5f, -0.25f, 1.1f, 3.25f, 0.001f, -0.002f, 1},
    {2.5f, 0, -4, 0.3f, 3, -2, 0, 0.01f, 1},
    {-0.1f, 0.02f, 9, 0, 0.07f, 1, 0, 0, -0.5f},
    {1, 0, 1e6f, 0, 1, 0, 0, 0, 1},
};

void warp(Kind kind, const GuardedBuffer<>& src, GuardedBuffer<>& dst, const Matrix& matrix,
          int border) {
  const int channels = channels_of(kind);
  const auto function = kind == Kind::kAffine1   ? warpaffine_bilinear_c1
                        : kind == Kind::kAffine4 ? warpaffine_bilinear_c4
                                                 : warpperspective_bilinear_c4;
  function(src.data(), src.columns() / channels, src.rows(), src.stride(), dst.data(),
           dst.columns() / channels, dst.rows(), dst.stride(), matrix.data(), border, kFillValue);
}

void check(Kind kind, const Shape& src_shape, const Shape& dst_shape, const Matrix& matrix,
           int border) {
  SCOPED_TRACE(testing::Message() << "source " << src_shape << ", destination " << dst_shape
                                  << ", border " << border << ", matrix "
                                  << testing::PrintToString(matrix));
  const int channels = channels_of(kind);
  GuardedBuffer<> src(src_shape.width * channels, src_shape.height, src_shape.padding,
                      src_shape.guard);
  GuardedBuffer<> dst(dst_shape.width * channels, dst_shape.height, dst_shape.padding,
                      dst_shape.guard);
  src.fill(noise(src.packed().size()));
  const std::vector<uint8_t> before = noise(dst.packed().size(), 2);
  dst.fill(before);
  warp(kind, src, dst, matrix, border);
  // A quotient may stand a rounding error beside a half: one step of the coordinate is allowed.
  const int tolerance = kind == Kind::kPerspective4 ? 1 : 0;
  const Job job{src_shape.width, src_shape.height, dst_shape.width, dst_shape.height};
  const bool perspective = kind == Kind::kPerspective4;
  const Pixels want =
      PlainWarp{job, channels, perspective, matrix.data(), border, kFillValue}.image(src.packed(),
                                                                                     before);
  for (int i = 0; i < dst.columns() * dst.rows(); ++i) {
    ASSERT_NEAR(dst.row(i / dst.columns())[i % dst.columns()], want[i], tolerance) << i;
  }
}

}  // namespace

TEST(Warp, EveryShapeFollowsTheFormula) {
  const Shape source = {29, 17, 3, Guard::kAfter};
  for (const Kind kind : kKinds) {
    for (const Shape& shape : all_shapes()) {
      for (const int border : {0, 1, 2}) {
        check(kind, source, shape, kMatrices[1], border);
        check(kind, shape, {67, 9, 1, Guard::kBefore}, kMatrices[1], border);
      }
    }
  }
}

TEST(Warp, EveryMatrixFollowsTheFormula) {
  for (const Kind kind : kKinds) {
    for (const Matrix& matrix : kMatrices) {
      for (const int border : {0, 1, 2, 7, -1}) {
        for (const Guard guard : {Guard::kAfter, Guard::kBefore}) {
          check(kind, {150, 40, 0, guard}, {200, 60, 0, guard}, matrix, border);
        }
      }
    }
  }
  // Steps between destination pixels that 32-bit column parts could not hold.
  const Matrix tiny = {1e-5f, 0, 30, 0, 1e-5f, 20, 0, 0, 1};
  // Only column 100 comes from inside, where a part for it and one for the row would cancel out.
  const Matrix back = {-1.0f / 16384, 0, 100.5f + 5.0f / 16384, 0, 1, 0, 0, 0, 1};
  for (const int border : {0, 1, 2}) {
    check(Kind::kAffine4, {33, 20, 0, Guard::kAfter}, {60, 40, 0, Guard::kAfter}, tiny, border);
    check(Kind::kAffine1, {33, 20, 0, Guard::kAfter}, {120, 20, 0, Guard::kAfter}, back, border);
  }
}

TEST(Warp, TheIdentityCopies) {
  for (const Kind kind : kKinds) {
    for (const int border : {0, 1, 2}) {
      const int channels = channels_of(kind);
      GuardedBuffer<> src(131 * channels, 9), dst(131 * channels, 9);
      src.fill(noise(src.packed().size()));
      warp(kind, src, dst, kIdentity, border);
      EXPECT_EQ(dst.packed(), src.packed());
    }
  }
}

// The centres of doubled pixels are a quarter and three quarters between those of the source.
TEST(Warp, PixelsAreSquaresWithCentres) {
  const uint8_t src[2] = {0, 200};
  const float twice[6] = {2, 0, 0, 0, 1, 0};
  uint8_t dst[4];
  warpaffine_bilinear_c1(src, 2, 1, 2, dst, 4, 1, 4, twice, 1, 0);
  EXPECT_EQ(std::vector<uint8_t>(dst, dst + 4), (std::vector<uint8_t>{0, 50, 150, 200}));
  float quarter_turn[6];
  get_rotation_matrix(90, 1, 1, 1, quarter_turn);
  const uint8_t square[4] = {1, 2, 3, 4};
  warpaffine_bilinear_c1(square, 2, 2, 2, dst, 2, 2, 2, quarter_turn, 0, 0);
  EXPECT_EQ(std::vector<uint8_t>(dst, dst + 4), (std::vector<uint8_t>{2, 4, 1, 3}));
}

TEST(Warp, WithoutAFiniteInverseAllIsOutside) {
  const Matrix matrices[] = {
      {0, 0, 0, 0, 0, 0, 0, 0, 0},          {1, 2, 3, 2, 4, 6, 0, 0, 1},
      {kNan, 0, 0, 0, 1, 0, 0, 0, 1},       {1, 0, kNan, 0, 1, 0, 0, 0, 1},
      {1, 0, kInfinity, 0, 1, 0, 0, 0, 1},  {1, 0.5f, 0, kInfinity, 1, 0, 0, 0, 1},
      {1, 0, 1e30f, 0, 1, -1e30f, 0, 0, 1}, {1e-30f, 0, 50, 0, 1e-30f, 50, 0, 0, 1e-30f}};
  for (const Kind kind : kKinds) {
    const int channels = channels_of(kind);
    for (const Matrix& matrix : matrices) {
      if (kind == Kind::kPerspective4 && matrix[0] == 1e-30f) continue;  // has an inverse
      GuardedBuffer<> src(20 * channels, 10), dst(70 * channels, 3);
      src.fill(noise(src.packed().size()));
      warp(kind, src, dst, matrix, 2);
      EXPECT_EQ(dst.packed(), std::vector<uint8_t>(210 * channels, 0));
      warp(kind, src, dst, matrix, 1);  // some pixel of the source's edge
      warp(kind, src, dst, matrix, 0);
      for (int i = 0; i < 70 * channels; ++i) {
        ASSERT_EQ(dst.row(2)[i], kFillValue >> (8 * (i % channels)) & 255) << i;
      }
    }
  }
}

// Of a wider source, columns from 524287 on are outside.
TEST(Warp, SourcesHaveALargestWidth) {
  constexpr int kMost = (1 << 19) - 1;
  std::vector<uint8_t> src(4 * (kMost + 3), 200), dst(4 * 6);
  const float shift[9] = {1, 0, -(kMost - 3), 0, 1, 0, 0, 0, 1};
  for (const auto function : {warpaffine_bilinear_c4, warpperspective_bilinear_c4}) {
    function(src.data(), kMost + 3, 1, 0, dst.data(), 6, 1, 0, shift, 0, 0);
    EXPECT_EQ(dst[4 * 2], 200);
    EXPECT_EQ(dst[4 * 3], 0);
  }
}

TEST(Warp, EmptySizesWriteNothing) {
  const uint8_t src[4] = {1, 2, 3, 4};
  uint8_t dst[4] = {9, 9, 9, 9};
  for (int empty = 0; empty < 4; ++empty) {
    for (const int size : {0, -1, std::numeric_limits<int>::min()}) {
      int sizes[4] = {1, 1, 1, 1};
      sizes[empty] = size;
      for (const auto function : {warpaffine_bilinear_c4, warpperspective_bilinear_c4}) {
        function(src, sizes[0], sizes[1], 4, dst, sizes[2], sizes[3], 4, kIdentity.data(), 0, 0);
      }
    }
  }
  EXPECT_EQ(dst[0], 9);
}

TEST(Warp, Golden) {
  const auto gray = picture(150, 101, 1), rgba = picture(150, 101, 4);
  std::vector<uint8_t> dst(160 * 120), dst4(160 * 120 * 4);
  const float* const matrix = kMatrices[1].data();
  warpaffine_bilinear_c1(gray.data(), 150, 101, 150, dst.data(), 160, 120, 160, matrix, 0, 99);
  expect_golden("warpaffine_bilinear_c1", dst);
  warpaffine_bilinear_c4(rgba.data(), 150, 101, 600, dst4.data(), 160, 120, 640, matrix, 0,
                         kFillValue);
  expect_golden("warpaffine_bilinear_c4", dst4);
  warpperspective_bilinear_c4(rgba.data(), 150, 101, 600, dst4.data(), 160, 120, 640, matrix, 1, 0);
  expect_golden("warpperspective_bilinear_c4", dst4);
}
