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
