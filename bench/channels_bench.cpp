// YCbCr, HSV and channel layout beside OpenCV and libyuv.
#include <libyuv.h>

#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {

namespace {

void compare_conversions(int w, int h) {
  const double pixels = 1.0 * w * h;
  uint8_t* const rgb = keep(photo(w, h, 3));
  uint8_t* const out = keep(std::vector<uint8_t>(w * h * 4));
  const cv::Mat rgb_mat(h, w, CV_8UC3, rgb), out_mat(h, w, CV_8UC3, out);
  const KelvraCV::ImageData rgb_image = record(rgb, w, h, 3), out_image = record(out, w, h, 3);
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
}

void compare_layouts(int w, int h) {
  const double pixels = 1.0 * w * h;
  uint8_t* const rgb = keep(photo(w, h, 3));
  uint8_t* const rgba = keep(photo(w, h, 4));
  uint8_t* const out = keep(std::vector<uint8_t>(w * h * 4));
  std::vector<KelvraCV::ImageData> planes;
  for (int k = 0; k < 4; ++k) planes.push_back(record(out + k * w * h, w, h, 1));
  const std::vector<KelvraCV::ImageData> three(planes.begin(), planes.begin() + 3);
  uint8_t *const b = out + w * h, *const c = b + w * h, *const d = c + w * h;
  const auto add = [&](const char* name, double bytes, std::function<void()> ours,
                       const char* peer_name, std::function<void()> peer) {
    compare(
        {sized(name, w, h), pixels, bytes * pixels, std::move(ours), peer_name, std::move(peer)});
  };
  const auto split = [=](uint8_t* data, const std::vector<KelvraCV::ImageData>& to) {
    const int channels = static_cast<int>(to.size());
    return [=, to = to]() mutable { KelvraCV::split_channels(record(data, w, h, channels), to); };
  };
  const auto merge = [=](const std::vector<KelvraCV::ImageData>& from, uint8_t* data) {
    const int channels = static_cast<int>(from.size());
    return [=, to = record(data, w, h, channels)]() mutable { KelvraCV::merge_channels(from, to); };
  };
  add(
      "convert_c4_to_c3", 7, [=] { KelvraCV::convert_c4_to_c3(rgba, out, w, h, 4 * w, 3 * w, 0); },
      "libyuv::ARGBToRGB24", [=] { libyuv::ARGBToRGB24(rgba, 4 * w, out, 3 * w, w, h); });
  add(
      "convert_c4_to_c3, swapped", 7,
      [=] { KelvraCV::convert_c4_to_c3(rgba, out, w, h, 4 * w, 3 * w, 1); }, "libyuv::ARGBToRAW",
      [=] { libyuv::ARGBToRAW(rgba, 4 * w, out, 3 * w, w, h); });
  add("split_channels c3", 6, split(rgb, three), "libyuv::SplitRGBPlane",
      [=] { libyuv::SplitRGBPlane(rgb, 3 * w, out, w, b, w, c, w, w, h); });
  add("split_channels c4", 8, split(rgba, planes), "libyuv::SplitARGBPlane",
      [=] { libyuv::SplitARGBPlane(rgba, 4 * w, c, w, b, w, out, w, d, w, w, h); });
  add("merge_channels c3", 6, merge(three, rgb), "libyuv::MergeRGBPlane",
      [=] { libyuv::MergeRGBPlane(out, w, b, w, c, w, rgb, 3 * w, w, h); });
  add("merge_channels c4", 8, merge(planes, rgba), "libyuv::MergeARGBPlane",
      [=] { libyuv::MergeARGBPlane(c, w, b, w, out, w, d, w, rgba, 4 * w, w, h); });
}

}  // namespace

void list_comparisons() {
  compare_conversions(kWidth, kHeight);
  compare_layouts(kWidth, kHeight);
  compare_layouts(224, 224);
}

}  // namespace bench
