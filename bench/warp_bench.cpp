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

}  // namespace

void list_comparisons() {
  compare_warps(kWidth, kHeight, 10, "");
  compare_warps(kWidth, kHeight, 90, ", 90 degrees");
  compare_warps(32, 32, 10, "");
}

}  // namespace bench
