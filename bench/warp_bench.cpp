// Bilinear warps beside OpenCV.
#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

constexpr float kTilt[9] = {1.1f, 0.1f, -80, 0.05f, 1.2f, -60, 1e-5f, 1e-4f, 1};

void compare_warps(int width, int height, float angle, const std::string& label) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const gray = keep(photo(width, height, 1));
  uint8_t* const rgba = keep(photo(width, height, 4));
  uint8_t* const gray_out = keep(std::vector<uint8_t>(width * height));
  uint8_t* const rgba_out = keep(std::vector<uint8_t>(width * height * 4));
  float* const matrix = keep(std::vector<float>(6));
  KelvraCV::get_rotation_matrix(angle, 1.05f, width * 0.5f, height * 0.5f, matrix);
  const auto mat = [=](int type, void* data) { return cv::Mat(height, width, type, data); };
  const cv::Mat affine(2, 3, CV_32F, matrix), tilt(3, 3, CV_32F, const_cast<float*>(kTilt));
  const auto named = [&](const char* name) { return sized(name + label, width, height); };

  compare({named("warpaffine_bilinear_c1"), pixels, 2 * pixels,
           [=] {
             KelvraCV::warpaffine_bilinear_c1(gray, width, height, width, gray_out, width, height,
                                              width, matrix, 0, 0);
           },
           "cv::warpAffine",
           [=, from = mat(CV_8UC1, gray), to = mat(CV_8UC1, gray_out)]() mutable {
             cv::warpAffine(from, to, affine, to.size());
           }});
  compare({named("warpaffine_bilinear_c4"), pixels, 8 * pixels,
           [=] {
             KelvraCV::warpaffine_bilinear_c4(rgba, width, height, 4 * width, rgba_out, width,
                                              height, 4 * width, matrix, 0, 0);
           },
           "cv::warpAffine",
           [=, from = mat(CV_8UC4, rgba), to = mat(CV_8UC4, rgba_out)]() mutable {
             cv::warpAffine(from, to, affine, to.size());
           }});
  if (angle == 90) return;
  compare({named("warpperspective_bilinear_c4"), pixels, 8 * pixels,
           [=] {
             KelvraCV::warpperspective_bilinear_c4(rgba, width, height, 4 * width, rgba_out, width,
                                                   height, 4 * width, kTilt, 0, 0);
           },
           "cv::warpPerspective",
           [=, from = mat(CV_8UC4, rgba), to = mat(CV_8UC4, rgba_out)]() mutable {
             cv::warpPerspective(from, to, tilt, to.size());
           }});
}

// A face's landmarks in a crop of 512 x 512 and in the image.
constexpr float kInCrop[10] = {170, 200, 340, 200, 256, 300, 190, 390, 320, 390};
constexpr float kInImage[10] = {700, 400, 860, 430, 770, 510, 690, 580, 830, 600};

void compare_alignment() {
  constexpr int w = kWidth, h = kHeight, side = 512;
  uint8_t* const rgba = keep(photo(w, h, 4));
  uint8_t* const crop = keep(photo(side, side, 4));
  float* const inverse = keep(std::vector<float>(6));
  const KelvraCV::ImageData image{rgba, w, h, 4, 4 * w, 0, 0},
      face{crop, side, side, 4, 4 * side, 0, 0};
  KelvraCV::ImageData out = face;
  KelvraCV::align_crop_img(image, kInCrop, kInImage, 5, out, inverse);
  const cv::Mat back(2, 3, CV_32F, inverse), image_mat(h, w, CV_8UC4, rgba),
      crop_mat(side, side, CV_8UC4, crop);
  constexpr double pixels = double{side} * side;
  compare({"align_crop_img 512x512", pixels, 8 * pixels,
           [=] {
             KelvraCV::ImageData to = face;
             float found[6];
             KelvraCV::align_crop_img(image, kInCrop, kInImage, 5, to, found);
           },
           "cv::warpAffine",
           [=, to = crop_mat.clone()] {
             cv::warpAffine(image_mat, to, back, to.size(),
                            cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
           }});
  compare({"align_back_img 512x512, feathered", pixels, 12 * pixels,
           [=] {
             KelvraCV::ImageData to = image;
             KelvraCV::align_back_img(face, inverse, to, 12, 3);
           },
           "cv::warpAffine, erode, GaussianBlur, blendLinear",
           [=, whole = image_mat.clone()] {
             cv::Mat pasted, mask, weight, rest;
             cv::warpAffine(crop_mat, pasted, back, whole.size());
             cv::warpAffine(cv::Mat(side, side, CV_8UC1, 255), mask, back, whole.size());
             cv::erode(mask, mask, cv::Mat::ones(25, 25, CV_8UC1));
             cv::GaussianBlur(mask, mask, cv::Size(), 6);
             mask.convertTo(weight, CV_32F, 1 / 255.0);
             rest = 1 - weight;
             cv::Mat blended;
             cv::blendLinear(pasted, whole, weight, rest, blended);
           }});
}

}  // namespace

void list_comparisons() {
  compare_warps(kWidth, kHeight, 10, "");
  compare_warps(kWidth, kHeight, 90, ", 90 degrees");
  compare_warps(32, 32, 10, "");
  compare_alignment();
}

}  // namespace bench
