// Crops that landmarks align: cut out of an image, and pasted back.
#include "kelvra_cv.h"

namespace KelvraCV {

int align_crop_img(const ImageData& src, const float* crop_points, const float* image_points, int n,
                   ImageData& dst, float* inverse) {
  float M[6];
  get_affine_transform(image_points, crop_points, n, M);
  warpaffine_bilinear_c4(src.data, src.width, src.height, src.stride, dst.data, dst.width,
                         dst.height, dst.stride, M, 0, 0);
  invert_affine_transform(M, inverse);
  return 0;
}

}  // namespace KelvraCV
