// Resizing beside OpenCV and libyuv.
#include <libyuv.h>

#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

struct Job {
  int sw, sh, dw, dh;
};

using Resize = void (*)(const uint8_t*, uint8_t*, int, int, int, int, int, int);

void compare_resize(const char* name, const Job& job, int channels, int interpolation,
                    Resize resize) {
  const int sw = job.sw, sh = job.sh, dw = job.dw, dh = job.dh;
  const double pixels = static_cast<double>(dw) * dh;
  const uint8_t* const src = keep(photo(sw, sh, channels));
  uint8_t* const dst = keep(std::vector<uint8_t>(static_cast<size_t>(dw) * dh * channels));
  const cv::Mat from(sh, sw, CV_8UC(channels), const_cast<uint8_t*>(src));
  const cv::Mat to(dh, dw, CV_8UC(channels), dst);
  const auto title = std::string(name) + " " + std::to_string(sw) + "x" + std::to_string(sh) +
                     " to " + std::to_string(dw) + "x" + std::to_string(dh);
  const double bytes = channels * (pixels + std::min(1.0 * sw * sh, 4 * pixels));
  const auto ours = [=] { resize(src, dst, sw, sh, sw * channels, dw, dh, dw * channels); };
  compare({title, pixels, bytes, ours, "cv::resize",
           [=] { cv::resize(from, to, to.size(), 0, 0, interpolation); }});
  if (channels == 3 || interpolation == cv::INTER_CUBIC) return;
  const auto filter =
      interpolation == cv::INTER_LINEAR ? libyuv::kFilterBilinear : libyuv::kFilterNone;
  compare({title, pixels, bytes, ours, "libyuv", [=] {
             if (channels == 1) {
               libyuv::ScalePlane(src, sw, sw, sh, dst, dw, dw, dh, filter);
             } else {
               libyuv::ARGBScale(src, 4 * sw, sw, sh, dst, 4 * dw, dw, dh, filter);
             }
           }});
}

void bilinear_c4(const uint8_t* src, uint8_t* dst, int sw, int sh, int stride, int dw, int dh,
                 int dst_stride) {
  KelvraCV::resize_bilinear_c4(src, dst, sw, sh, stride, dw, dh, dst_stride, 0);
}

void compare_other_layouts(const Job& job) {
  const int sw = job.sw, sh = job.sh, dw = job.dw, dh = job.dh;
  const double pixels = static_cast<double>(dw) * dh, source = static_cast<double>(sw) * sh;
  const auto title = [&](const char* name) {
    return std::string(name) + std::to_string(sw) + "x" + std::to_string(sh) + " to " +
           std::to_string(dw) + "x" + std::to_string(dh);
  };
  uint8_t* const rgba = keep(photo(sw, sh, 4));
  uint8_t* const rgb = keep(std::vector<uint8_t>(static_cast<size_t>(dw) * dh * 3));
  float* const plane = keep(std::vector<float>(static_cast<size_t>(sw) * sh, 0.5f));
  float* const resized = keep(std::vector<float>(static_cast<size_t>(dw) * dh));
  compare(
      {title("bilinear c4 to c3 "), pixels, 3 * pixels + 4 * source,
       [=] { KelvraCV::resize_bilinear_c4_to_c3(rgba, rgb, sw, sh, 4 * sw, dw, dh, 3 * dw, 0); },
       "cv::resize, cvtColor",
       [=, from = cv::Mat(sh, sw, CV_8UC4, rgba), to = cv::Mat(dh, dw, CV_8UC3, rgb)] {
         cv::Mat four;
         cv::resize(from, four, to.size());
         cv::cvtColor(four, to, cv::COLOR_RGBA2RGB);
       }});
  compare({title("bilinear float "), pixels, 4 * (pixels + source),
           [=] { KelvraCV::resize_bilinear_c1_float(plane, resized, sw, sh, sw, dw, dh, dw); },
           "cv::resize",
           [=, from = cv::Mat(sh, sw, CV_32F, plane), to = cv::Mat(dh, dw, CV_32F, resized)] {
             cv::resize(from, to, to.size());
           }});
}

}  // namespace

void list_comparisons() {
  for (const Job& job : {Job{1920, 1080, 1280, 720},
                         {1920, 1080, 960, 540},
                         {1920, 1080, 640, 360},
                         {1920, 1080, 1000, 563},
                         {960, 540, 1920, 1080},
                         {64, 64, 32, 32}}) {
    compare_resize("nearest c1", job, 1, cv::INTER_NEAREST, KelvraCV::resize_nn_c1);
    compare_resize("nearest c3", job, 3, cv::INTER_NEAREST, KelvraCV::resize_nn_c3);
    compare_resize("bilinear c1", job, 1, cv::INTER_LINEAR, KelvraCV::resize_bilinear_c1);
    compare_resize("bilinear c3", job, 3, cv::INTER_LINEAR, KelvraCV::resize_bilinear_c3);
    compare_resize("bilinear c4", job, 4, cv::INTER_LINEAR, bilinear_c4);
    compare_resize("bicubic c1", job, 1, cv::INTER_CUBIC, KelvraCV::resize_bicubic_c1);
    compare_resize("bicubic c3", job, 3, cv::INTER_CUBIC, KelvraCV::resize_bicubic_c3);
    compare_other_layouts(job);
  }
}

}  // namespace bench
