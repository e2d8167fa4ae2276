// Lab conversions beside OpenCV.
#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {

void list_comparisons() {
  constexpr int w = kWidth, h = kHeight;
  constexpr double pixels = double{w} * h;
  uint8_t* const rgb = keep(photo(w, h, 3));
  uint8_t* const lab = keep(photo(w, h, 3));
  uint8_t* const out = keep(std::vector<uint8_t>(w * h * 3));
  uint8_t* const mask = keep(std::vector<uint8_t>(w * h, 1));
  int* const gamma = keep(std::vector<int>(256));
  int* const roots = keep(std::vector<int>(1500));
  int* const y = keep(std::vector<int>(256));
  int* const x = keep(std::vector<int>(65536));
  int* const z = keep(std::vector<int>(65536));
  auto* const inverse_gamma = keep(std::vector<unsigned short>(4096));
  KelvraCV::init_rgb_to_lab_fast(gamma, roots);
  KelvraCV::init_lab_to_rgb_fast(y, x, z, inverse_gamma);
  KelvraCV::rgb_to_lab_fast(rgb, lab, w, h, gamma, roots, 1);
  const cv::Mat rgb_mat(h, w, CV_8UC3, rgb), lab_mat(h, w, CV_8UC3, lab),
      out_mat(h, w, CV_8UC3, out);
  const auto forward = [=] { cv::cvtColor(rgb_mat, out_mat, cv::COLOR_RGB2Lab); };
  const auto back = [=] { cv::cvtColor(lab_mat, out_mat, cv::COLOR_Lab2RGB); };
  const auto add = [&](const std::string& name, std::function<void()> ours,
                       std::function<void()> peer) {
    compare(
        {sized(name, w, h), pixels, 6 * pixels, std::move(ours), "cv::cvtColor", std::move(peer)});
  };
  add(
      "rgb_to_lab", [=] { KelvraCV::rgb_to_lab(rgb, out, w, h); }, forward);
  for (const int threads : {1, 2}) {
    const std::string suffix = threads == 1 ? "" : ", 2 threads";
    add(
        "rgb_to_lab_fast" + suffix,
        [=] { KelvraCV::rgb_to_lab_fast(rgb, out, w, h, gamma, roots, threads); }, forward);
    add(
        "lab_to_rgb_fast" + suffix,
        [=] { KelvraCV::lab_to_rgb_fast(lab, out, w, h, mask, y, x, z, inverse_gamma, threads); },
        back);
  }
  uint8_t* const rgba = keep(photo(w, h, 4));
  const cv::Mat rgba_mat(h, w, CV_8UC4, rgba);
  add(
      "rgb_to_lab_c4_c3",
      [=] { KelvraCV::rgb_to_lab_c4_c3(rgba, out, w, h, 4 * w, 0, gamma, roots, 1); },
      [=] { cv::cvtColor(rgba_mat, out_mat, cv::COLOR_RGB2Lab); });
  add(
      "lab_to_rgb_c3_c4",
      [=] { KelvraCV::lab_to_rgb_c3_c4(lab, rgba, w, h, 4 * w, 0, y, x, z, inverse_gamma, 1); },
      [=, to = rgba_mat]() mutable { cv::cvtColor(lab_mat, to, cv::COLOR_Lab2RGB, 4); });
  add(
      "rgb_to_lab_fast, own tables",
      [=] { KelvraCV::rgb_to_lab_fast(rgb, out, w, h, nullptr, nullptr, 1); }, forward);
}

}  // namespace bench
