// Color conversion beside OpenCV and libyuv.
#include <libyuv.h>

#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

struct Size {
  int width, height;
};

void compare_gray(Size size) {
  const auto [width, height] = size;
  const double pixels = static_cast<double>(width) * height;
  const std::string suffix = " " + std::to_string(width) + "x" + std::to_string(height);
  const auto rgb = photo(width, height, 3), rgba = photo(width, height, 4);
  const std::vector<uint8_t> gray(width * height);
  const auto dst = [](const std::vector<uint8_t>& bytes) {
    return const_cast<uint8_t*>(bytes.data());
  };
  const auto ours3 = [=] {
    KelvraCV::rgb2gray(rgb.data(), dst(gray), width, height, 3 * width, width);
  };
  const auto ours4 = [=] {
    KelvraCV::rgba2gray(rgba.data(), dst(gray), width, height, 4 * width, width, 0);
  };
  const auto mat = [=](const std::vector<uint8_t>& bytes, int type) {
    return cv::Mat(height, width, type, dst(bytes));
  };
  compare({"rgb2gray" + suffix, pixels, 4 * pixels, ours3, "cv::cvtColor", [=] {
             cv::Mat out = mat(gray, CV_8UC1);
             cv::cvtColor(mat(rgb, CV_8UC3), out, cv::COLOR_RGB2GRAY);
           }});
  compare({"rgba2gray" + suffix, pixels, 5 * pixels, ours4, "cv::cvtColor", [=] {
             cv::Mat out = mat(gray, CV_8UC1);
             cv::cvtColor(mat(rgba, CV_8UC4), out, cv::COLOR_RGBA2GRAY);
           }});
  compare({"rgb2gray (8-bit peer)" + suffix, pixels, 4 * pixels, ours3, "libyuv::RAWToJ400",
           [=] { libyuv::RAWToJ400(rgb.data(), 3 * width, dst(gray), width, width, height); }});
  compare({"rgba2gray (8-bit peer)" + suffix, pixels, 5 * pixels, ours4, "libyuv::ABGRToJ400",
           [=] { libyuv::ABGRToJ400(rgba.data(), 4 * width, dst(gray), width, width, height); }});
}

}  // namespace

void list_comparisons() {
  compare_gray({kWidth, kHeight});
  compare_gray({32, 32});
}

}  // namespace bench
