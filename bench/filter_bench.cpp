// Blurs, threshold and morphology beside OpenCV.
#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

struct Planes {
  int w, h;
  uint8_t* src = keep(photo(w, h, 1));
  uint8_t* dst = keep(std::vector<uint8_t>(w * h));
  cv::Mat src_mat{h, w, CV_8UC1, src}, dst_mat{h, w, CV_8UC1, dst};

  void list(const std::string& name, std::function<void()> ours, const std::string& peer_name,
            std::function<void()> peer, int channels = 1) const {
    const double pixels = 1.0 * w * h;
    compare({sized(name, w, h), pixels, 2 * channels * pixels, std::move(ours), peer_name,
             std::move(peer)});
  }
};

void compare_boxes(const Planes& p) {
  const int w = p.w, h = p.h;
  for (const int radius : {1, 3, 10, 50, 200}) {
    const cv::Size size(2 * radius + 1, 2 * radius + 1);
    p.list(
        "filter_box, radius " + std::to_string(radius),
        [=] { KelvraCV::filter_box(p.src, p.dst, w, h, radius); }, "cv::blur",
        [=] { cv::blur(p.src_mat, p.dst_mat, size, cv::Point(-1, -1), cv::BORDER_REPLICATE); });
  }
  uint8_t* const src4 = keep(photo(w, h, 4));
  uint8_t* const dst4 = keep(std::vector<uint8_t>(4 * w * h));
  const cv::Mat src4_mat(h, w, CV_8UC4, src4), dst4_mat(h, w, CV_8UC4, dst4);
  const auto three_boxes = [](const cv::Mat& src, const cv::Mat& dst) {
    const cv::Size size(23, 23);  // sigma 6: the radii are 11, 11 and 13
    cv::blur(src, dst, size, cv::Point(-1, -1), cv::BORDER_REPLICATE);
    cv::blur(dst, dst, size, cv::Point(-1, -1), cv::BORDER_REPLICATE);
    cv::blur(dst, dst, cv::Size(27, 27), cv::Point(-1, -1), cv::BORDER_REPLICATE);
  };
  p.list(
      "gaussian_blur_fast, sigma 6",
      [=] { KelvraCV::gaussian_blur_fast(p.src, p.dst, w, h, 6.0f); }, "3 cv::blur",
      [=] { three_boxes(p.src_mat, p.dst_mat); });
  p.list(
      "gaussian_blur_c4, sigma 6", [=] { KelvraCV::gaussian_blur_c4(src4, dst4, w, h, 6.0f); },
      "3 cv::blur", [=] { three_boxes(src4_mat, dst4_mat); }, 4);
}

void compare_gaussians(const Planes& p) {
  const int w = p.w, h = p.h;
  const auto peer = [=](int size, double sigma) {
    return [=] {
      cv::GaussianBlur(p.src_mat, p.dst_mat, cv::Size(size, size), sigma, sigma,
                       cv::BORDER_REPLICATE);
    };
  };
  p.list(
      "gaussian_blur_3x3", [=] { KelvraCV::gaussian_blur_3x3(p.src, p.dst, w, h, w, w); },
      "cv::GaussianBlur", peer(3, 0));
  p.list(
      "gaussian_blur_5x5", [=] { KelvraCV::gaussian_blur_5x5(p.src, p.dst, w, h); },
      "cv::GaussianBlur", peer(5, 0));
  for (const int size : {5, 9, 21}) {
    const double sigma = (size - 1) * 0.15 + 0.5;
    p.list(
        "gaussian_blur, " + std::to_string(size) + " taps",
        [=] { KelvraCV::gaussian_blur(p.src, p.dst, w, h, size, 0.0f); }, "cv::GaussianBlur",
        peer(size, sigma));
  }
}

void compare_masks(const Planes& p) {
  const int w = p.w, h = p.h;
  p.list(
      "threshold", [=] { KelvraCV::threshold(p.src, p.dst, w, h, 127, 255); }, "cv::threshold",
      [=] { cv::threshold(p.src_mat, p.dst_mat, 127, 255, cv::THRESH_BINARY); });
  for (const int radius : {1, 3, 10, 50}) {
    const cv::Mat square =
        cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * radius + 1, 2 * radius + 1));
    p.list(
        "filter_max, radius " + std::to_string(radius),
        [=] { KelvraCV::filter_max(p.src, p.dst, w, h, radius); }, "cv::dilate",
        [=] { cv::dilate(p.src_mat, p.dst_mat, square); });
    p.list(
        "filter_min, radius " + std::to_string(radius),
        [=] { KelvraCV::filter_min(p.src, p.dst, w, h, radius); }, "cv::erode",
        [=] { cv::erode(p.src_mat, p.dst_mat, square); });
  }
}

}  // namespace

void list_comparisons() {
  for (const auto& [width, height] : {std::pair{kWidth, kHeight}, {224, 224}}) {
    const Planes planes{width, height};
    compare_gaussians(planes);
    compare_masks(planes);
    if (width == kWidth) compare_boxes(planes);
  }
}

}  // namespace bench
