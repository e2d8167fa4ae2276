// YCbCr, HSV and channel layout beside OpenCV and libyuv.
#include <libyuv.h>

#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {

void list_comparisons() {
  constexpr int w = kWidth, h = kHeight;
  constexpr double pixels = double{w} * h;
  uint8_t* const rgb = keep(photo(w, h, 3));
  uint8_t* const rgba = keep(photo(w, h, 4));
  uint8_t* const out = keep(std::vector<uint8_t>(w * h * 4));
  const cv::Mat rgb_mat(h, w, CV_8UC3, rgb), out_mat(h, w, CV_8UC3, out);
  const KelvraCV::ImageData rgb_image{rgb, w, h, 3, 3 * w, 0, 0};
  const KelvraCV::ImageData out_image{out, w, h, 3, 3 * w, 0, 0};
  std::vector<KelvraCV::ImageData> planes;
  for (int k = 0; k < 3; ++k) planes.push_back({out + k * w * h, w, h, 1, w, 0, 0});
  const auto add = [&](const char* name, double bytes, std::function<void()> ours,
                       const char* peer_name, std::function<void()> peer) {
    compare(
        {sized(name, w, h), pixels, bytes * pixels, std::move(ours), peer_name, std::move(peer)});
  };
  const auto convert = [=](int code) { return [=] { cv::cvtColor(rgb_mat, out_mat, code); }; };

  add(
      "rgb_to_ycbcr", 6, [=] { KelvraCV::rgb_to_ycbcr(rgb, out, w, h, 3 * w, false); },
      "cv::cvtColor", convert(cv::COLOR_RGB2YCrCb));
  add(
      "rgb_to_ycbcr planar", 6, [=] { KelvraCV::rgb_to_ycbcr(rgb, out, w, h, 3 * w, true); },
      "cv::cvtColor", convert(cv::COLOR_RGB2YCrCb));
  add(
      "ycbcr_to_rgb", 6, [=] { KelvraCV::ycbcr_to_rgb(rgb, out, w, h, 3 * w, false); },
      "cv::cvtColor", convert(cv::COLOR_YCrCb2RGB));
  add(
      "ycbcr_to_rgb planar", 6, [=] { KelvraCV::ycbcr_to_rgb(rgb, out, w, h, 3 * w, true); },
      "cv::cvtColor", convert(cv::COLOR_YCrCb2RGB));
  add(
      "rgba2hsv", 6,
      [=] {
        KelvraCV::ImageData to = out_image;
        KelvraCV::rgba2hsv(rgb_image, to);
      },
      "cv::cvtColor", convert(cv::COLOR_RGB2HSV_FULL));
  add(
      "hsv2rgb", 6,
      [=] {
        KelvraCV::ImageData to = out_image;
        KelvraCV::hsv2rgb(rgb_image, to);
      },
      "cv::cvtColor", convert(cv::COLOR_HSV2RGB_FULL));
  add(
      "convert_c4_to_c3", 7, [=] { KelvraCV::convert_c4_to_c3(rgba, out, w, h, 4 * w, 3 * w, 0); },
      "libyuv::ARGBToRGB24", [=] { libyuv::ARGBToRGB24(rgba, 4 * w, out, 3 * w, w, h); });
  add(
      "split_channels", 6,
      [=] {
        std::vector<KelvraCV::ImageData> to = planes;
        KelvraCV::split_channels(rgb_image, to);
      },
      "libyuv::SplitRGBPlane",
      [=] { libyuv::SplitRGBPlane(rgb, 3 * w, out, w, out + w * h, w, out + 2 * w * h, w, w, h); });
  add(
      "merge_channels", 6,
      [=] {
        KelvraCV::ImageData to = rgb_image;
        KelvraCV::merge_channels(planes, to);
      },
      "libyuv::MergeRGBPlane",
      [=] { libyuv::MergeRGBPlane(out, w, out + w * h, w, out + 2 * w * h, w, rgb, 3 * w, w, h); });
}

}  // namespace bench
