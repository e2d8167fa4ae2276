#include <limits>

#include "support/captured_log.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

TEST(AlignCrop, LandmarksComeToTheirPlaces) {
  std::vector<uint8_t> pixels = picture(150, 101, 4), crop_pixels(48 * 40 * 4), want(48 * 40 * 4);
  const ImageData image = image_of(pixels, 150, 101, 4);
  ImageData crop = image_of(crop_pixels, 48, 40, 4);
  const float in_image[8] = {40, 30, 80, 50, 44, 60, 90, 12},
              in_crop[8] = {8, 8, 40, 8, 20, 30, 36, -20};
  float inverse[6], M[6], want_inverse[6];
  EXPECT_EQ(align_crop_img(image, in_crop, in_image, 4, crop, inverse), 0);
  get_affine_transform(in_image, in_crop, 4, M);
  invert_affine_transform(M, want_inverse);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(inverse[i], want_inverse[i]);
  warpaffine_bilinear_c4(pixels.data(), 150, 101, 600, want.data(), 48, 40, 192, M, 0, 0);
  EXPECT_EQ(crop_pixels, want);
  expect_golden("align_crop_img", crop_pixels);

  // A whole shift, one way by the points and back by the inverse.
  const float shifted[4] = {0, 0, 20, 10}, at[4] = {30, 40, 50, 50};
  EXPECT_EQ(align_crop_img(image, shifted, at, 2, crop, inverse), 0);
  EXPECT_EQ(crop_pixels[0], pixels[(40 * 150 + 30) * 4]);
  EXPECT_EQ(inverse[2], 30.0f);
  EXPECT_EQ(inverse[5], 40.0f);
}

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// A crop of `side` pixels pasted into a padded image of 90 x 70; `before` is what was there.
struct Pasting {
  GuardedBuffer<> crop, image;
  std::vector<uint8_t> before;
  Messages messages;
  int result = 1;

  explicit Pasting(int side) : crop(side * 4, side, 8), image(90 * 4, 70, 12) {
    crop.fill(noise(crop.packed().size()));
    before = picture(90, 70, 4);
    image.fill(before);
  }
  void paste(const std::vector<float>& inverse, int radius, float sigma) {
    CapturedLog log;
    ImageData into = image_of(image, 4);
    result = align_back_img(image_of(crop, 4), inverse.data(), into, radius, sigma);
    messages = log.take();
  }
};

}  // namespace

TEST(AlignBack, AWholeShiftWithoutSoftnessCopies) {
  for (const auto& [left, top] : {std::pair{20, 10}, {-7, -9}, {75, 60}, {0, 38}}) {
    Pasting pasting(32);
    pasting.paste({1, 0, static_cast<float>(left), 0, 1, static_cast<float>(top)}, 0, 0);
    EXPECT_EQ(pasting.result, 0);
    for (int y = 0; y < 70; ++y) {
      for (int x = 0; x < 90; ++x) {
        const bool in_crop = x >= left && x < left + 32 && y >= top && y < top + 32;
        const uint8_t* want = in_crop ? pasting.crop.row(y - top) + (x - left) * 4
                                      : pasting.before.data() + (y * 90 + x) * 4;
        ASSERT_EQ(std::memcmp(pasting.image.row(y) + x * 4, want, 4), 0) << x << ", " << y;
      }
    }
  }
}

// The opacity is that of one large plane, wherever the image's borders cut the place. The box
// filter rounds by column, which shifts with the plane: each of the three may differ by one.
TEST(AlignBack, TheEdgeIsErodedAndFeathered) {
  constexpr int kSide = 40, kMargin = 100, kPlane = kSide + 2 * kMargin;
  for (const auto& [radius, sigma] : {std::pair{0, 1.5f}, {6, 0.0f}, {5, 1.0f}, {8, 3.0f}}) {
    std::vector<uint8_t> mask(kPlane * kPlane), eroded(mask), soft(mask);
    for (int y = kMargin; y < kMargin + kSide; ++y) {
      std::fill_n(mask.begin() + y * kPlane + kMargin, kSide, uint8_t{255});
    }
    erode_mask(mask.data(), eroded.data(), kPlane, kPlane, radius);
    soft = eroded;
    if (sigma > 0) gaussian_blur_fast(eroded.data(), soft.data(), kPlane, kPlane, sigma);
    for (const auto& [left, top] : {std::pair{25, 15}, {-10, -12}, {70, 50}, {30, -39}}) {
      Pasting pasting(kSide);
      pasting.crop.fill(std::vector<uint8_t>(kSide * kSide * 4, 255));
      pasting.image.fill(std::vector<uint8_t>(90 * 70 * 4, 0));
      pasting.paste({1, 0, static_cast<float>(left), 0, 1, static_cast<float>(top)}, radius, sigma);
      EXPECT_EQ(pasting.result, 0);
      for (int y = 0; y < 70; ++y) {
        for (int x = 0; x < 90; ++x) {
          const int at = (y - top + kMargin) * kPlane + x - left + kMargin;
          const bool in_plane = x - left < kSide + kMargin && y - top < kSide + kMargin;
          const int want = in_plane && mask[at] != 0 ? soft[at] : 0;
          ASSERT_NEAR(pasting.image.row(y)[x * 4 + 2], want, sigma > 0 ? 3 : 0)
              << x << ", " << y << ", radius " << radius << ", sigma " << sigma;
        }
      }
    }
  }
}

TEST(AlignBack, ATiltedCropComesBackToItsPlace) {
  std::vector<uint8_t> pixels(90 * 70 * 4);
  for (int i = 0; i < 90 * 70 * 4; ++i) {
    pixels[i] = static_cast<uint8_t>(i / 4 % 90 * 2 + i / 360 * (i % 4) / 4);
  }
  std::vector<uint8_t> crop_pixels(48 * 48 * 4), before = pixels;
  ImageData image = image_of(pixels, 90, 70, 4), crop = image_of(crop_pixels, 48, 48, 4);
  const float in_image[6] = {30, 25, 62, 30, 44, 50}, in_crop[6] = {10, 14, 42, 14, 24, 38};
  float inverse[6];
  align_crop_img(image, in_crop, in_image, 3, crop, inverse);
  EXPECT_EQ(align_back_img(crop, inverse, image, 4, 1.5f), 0);
  for (size_t i = 0; i < pixels.size(); ++i) ASSERT_NEAR(pixels[i], before[i], 2) << i;

  // Neither does a wide feather go beyond the tilted place.
  before = pixels;
  crop_pixels.assign(crop_pixels.size(), 255);
  align_back_img(crop, inverse, image, 0, 4);
  float M[6];
  invert_affine_transform(inverse, M);
  for (int i = 0; i < 90 * 70; ++i) {
    const float x = static_cast<float>(i % 90) + 0.5f, y = static_cast<float>(i / 90) + 0.5f;
    const float u = M[0] * x + M[1] * y + M[2], v = M[3] * x + M[4] * y + M[5];
    const bool outside = u < 0 || u > 48 || v < 0 || v > 48;
    const bool inside = u > 1 && u < 47 && v > 1 && v < 47;
    if (outside) {
      ASSERT_EQ(pixels[i * 4], before[i * 4]) << i % 90 << ", " << i / 90;
    } else if (inside) {
      ASSERT_GT(pixels[i * 4], before[i * 4]) << i % 90 << ", " << i / 90;
    }
  }
}

TEST(AlignBack, NothingToPasteChangesNothing) {
  const std::vector<float> nowhere[] = {
      {0, 0, 0, 0, 0, 0},        {1, 2, 3, 2, 4, 6},         {1, 0, 90, 0, 1, 0},
      {1, 0, 0, 0, 1, -32},      {1, 0, 1e30f, 0, 1, 0},     {kNan, 0, 0, 0, 1, 0},
      {1, kNan, 0, 0, 1, 0},     {1, 0, kInfinity, 0, 1, 0}, {kInfinity, 0, 0, 0, 1, 0},
      {1, 0, 0, 0, 1, kNan},     {1e-3f, 0, 3, 0, 1e-3f, 3}, {-kInfinity, kInfinity, 0, 0, 1, 0},
      {1e38f, 0, 0, 0, 1e38f, 0}};
  for (const std::vector<float>& inverse : nowhere) {
    for (const float sigma : {0.0f, 2.0f, kInfinity}) {
      Pasting pasting(32);
      pasting.paste(inverse, 3, sigma);
      EXPECT_EQ(pasting.result, 0);
      EXPECT_EQ(pasting.image.packed(), pasting.before) << testing::PrintToString(inverse);
    }
  }
  Pasting eroded(32);
  eroded.paste({1, 0, 20, 0, 1, 20}, 16, 0);
  EXPECT_EQ(eroded.result, 0);
  EXPECT_EQ(eroded.image.packed(), eroded.before);
  eroded.paste({1, 0, 20, 0, 1, 20}, 15, 0);  // leaves two rows of two pixels
  EXPECT_EQ(eroded.image.row(36)[36 * 4], eroded.crop.row(16)[16 * 4]);
}

// Rounded coordinates of these places leave the crop by a little.
TEST(AlignBack, TheCropsBorderIsReplicated) {
  const std::pair<Shape, std::vector<float>> places[] = {
      {{29, 28, 0, Guard::kAfter},
       {-2.30426669f, -3.172436f, 14.5f, 3.172436f, -2.30426669f, 48.25f}},
      {{5, 4, 0, Guard::kAfter},
       {0.49999997f, -0.000144195568f, 61.5f, 0.000144195568f, 0.49999997f, 7.25f}},
      {{5, 2, 0, Guard::kAfter},
       {1.7697835f, -0.0917821974f, 3.5f, 0.0917821974f, 1.7697835f, 18.25f}}};
  for (const auto& [size, inverse] : places) {
    std::vector<uint8_t> flat(29 * 28 * 4, 200), pasted(80 * 90 * 4, 200);
    ImageData image = image_of(pasted, 80, 90, 4);
    align_back_img(image_of(flat, size.width, size.height, 4), inverse.data(), image, 0, 0);
    EXPECT_EQ(pasted, std::vector<uint8_t>(pasted.size(), 200));
  }
}

TEST(AlignBack, BadArguments) {
  const std::vector<float> inverse = {1, 0, 20, 0, 1, 20};
  const auto expect_refused = [](Pasting& pasting) {
    EXPECT_EQ(pasting.result, -1);
    EXPECT_EQ(pasting.messages, Messages{"align_back_img arguments error!\n"});
    EXPECT_EQ(pasting.image.packed(), pasting.before);
  };
  Pasting pasting(32);
  for (const auto& [radius, sigma] :
       {std::pair{-1, 0.0f}, {161, 0.0f}, {0, -1.0f}, {0, kNan}, {-2147483647 - 1, 1.0f}}) {
    pasting.paste(inverse, radius, sigma);
    expect_refused(pasting);
  }
  ImageData crop = image_of(pasting.crop, 4), image = image_of(pasting.image, 4);
  ImageData gray = crop, narrow = crop, empty = crop;
  gray.channels = 1;
  narrow.stride = 127;
  empty.height = 0;
  CapturedLog log;
  EXPECT_EQ(align_back_img(gray, inverse.data(), image, 0, 0), -1);
  EXPECT_EQ(align_back_img(narrow, inverse.data(), image, 0, 0), -1);
  EXPECT_EQ(align_back_img(crop, inverse.data(), gray, 0, 0), -1);
  EXPECT_EQ(log.take().size(), 3u);
  EXPECT_EQ(align_back_img(empty, inverse.data(), image, 0, 0), 0);
  EXPECT_TRUE(log.take().empty());
  EXPECT_EQ(pasting.image.packed(), pasting.before);
}

TEST(AlignBack, Golden) {
  Pasting pasting(32);
  pasting.paste({1.2f, -0.3f, 20, 0.3f, 1.2f, 8}, 3, 1);
  expect_golden("align_back_img", pasting.image.packed());
}
