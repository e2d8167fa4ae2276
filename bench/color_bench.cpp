// Color conversion beside OpenCV and libyuv.
#include <libyuv.h>

#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

void compare_gray(int width, int height) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const rgb = keep(photo(width, height, 3));
  uint8_t* const rgba = keep(photo(width, height, 4));
  uint8_t* const gray = keep(std::vector<uint8_t>(width * height));
  const cv::Mat rgb_mat(height, width, CV_8UC3, rgb), rgba_mat(height, width, CV_8UC4, rgba);
  const cv::Mat gray_mat(height, width, CV_8UC1, gray);
  const auto ours3 = [=] { KelvraCV::rgb2gray(rgb, gray, width, height, 3 * width, width); };
  const auto ours4 = [=] { KelvraCV::rgba2gray(rgba, gray, width, height, 4 * width, width, 0); };

  compare({sized("rgb2gray", width, height), pixels, 4 * pixels, ours3, "cv::cvtColor",
           [=] { cv::cvtColor(rgb_mat, gray_mat, cv::COLOR_RGB2GRAY); }});
  compare({sized("rgba2gray", width, height), pixels, 5 * pixels, ours4, "cv::cvtColor",
           [=] { cv::cvtColor(rgba_mat, gray_mat, cv::COLOR_RGBA2GRAY); }});
  compare({sized("rgb2gray", width, height), pixels, 4 * pixels, ours3,
           "libyuv::RAWToJ400 (8-bit weights)",
           [=] { libyuv::RAWToJ400(rgb, 3 * width, gray, width, width, height); }});
  compare({sized("rgba2gray", width, height), pixels, 5 * pixels, ours4,
           "libyuv::ABGRToJ400 (8-bit weights)",
           [=] { libyuv::ABGRToJ400(rgba, 4 * width, gray, width, width, height); }});
}

}  // namespace

void list_comparisons() {
  compare_gray(kWidth, kHeight);
  compare_gray(224, 224);
  compare_gray(32, 32);
}

}  // namespace bench
