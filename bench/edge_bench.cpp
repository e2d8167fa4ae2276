// Edges, histograms, sums and the pyramid beside OpenCV.
#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

using KelvraCV::ImageData;

void compare_sobel(int width, int height) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const gray = keep(photo(width, height, 1));
  uint8_t* const edges = keep(std::vector<uint8_t>(width * height));
  int16_t* const dx = keep(std::vector<int16_t>(width * height));
  int16_t* const dy = keep(std::vector<int16_t>(width * height));
  const cv::Mat gray_mat(height, width, CV_8UC1, gray), edges_mat(height, width, CV_8UC1, edges);
  const cv::Mat dx_mat(height, width, CV_16SC1, dx), dy_mat(height, width, CV_16SC1, dy);
  const cv::Mat abs_x(height, width, CV_16SC1), abs_y = abs_x.clone();
  const auto grad = [=] { KelvraCV::sobel_grad(gray, dx, dy, width, height); };
  compare({sized("sobel_grad", width, height), pixels, 5 * pixels, grad, "cv::spatialGradient",
           [=] { cv::spatialGradient(gray_mat, dx_mat, dy_mat, 3, cv::BORDER_REPLICATE); }});
  compare(
      {sized("sobel_grad, two calls", width, height), pixels, 5 * pixels, grad, "cv::Sobel", [=] {
         cv::Sobel(gray_mat, dx_mat, CV_16S, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
         cv::Sobel(gray_mat, dy_mat, CV_16S, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
       }});
  compare({sized("sobel_edge", width, height), pixels, 2 * pixels,
           [=] { KelvraCV::sobel_edge(gray, edges, width, height, 100); },
           "cv::spatialGradient, absdiff, add, compare",
           [=] {
             cv::spatialGradient(gray_mat, dx_mat, dy_mat, 3, cv::BORDER_REPLICATE);
             cv::absdiff(dx_mat, cv::Scalar::all(0), abs_x);
             cv::absdiff(dy_mat, cv::Scalar::all(0), abs_y);
             cv::add(abs_x, abs_y, abs_x);
             cv::compare(abs_x, 100, edges_mat, cv::CMP_GT);
           }});
}

void compare_canny(int width, int height, int low, int high) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const rgba = keep(photo(width, height, 4));
  uint8_t* const edges = keep(std::vector<uint8_t>(width * height));
  const cv::Mat rgba_mat(height, width, CV_8UC4, rgba), edges_mat(height, width, CV_8UC1, edges);
  const cv::Mat gray(height, width, CV_8UC1), smooth = gray.clone();
  const ImageData src = record(rgba, width, height, 4);
  compare({sized("canny " + std::to_string(low) + " " + std::to_string(high), width, height),
           pixels, 5 * pixels,
           [=] {
             ImageData dst = record(edges, width, height, 1);
             KelvraCV::canny(src, dst, low, high);
           },
           "cv::cvtColor, GaussianBlur, Canny",
           [=] {
             cv::cvtColor(rgba_mat, gray, cv::COLOR_RGBA2GRAY);
             cv::GaussianBlur(gray, smooth, {5, 5}, 0, 0, cv::BORDER_REPLICATE);
             cv::Canny(smooth, edges_mat, low, high);
           }});
}

void compare_clahe(int width, int height) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const gray = keep(photo(width, height, 1));
  uint8_t* const rgb = keep(photo(width, height, 3));
  uint8_t* const out = keep(std::vector<uint8_t>(width * height * 3));
  const cv::Mat gray_mat(height, width, CV_8UC1, gray), gray_out(height, width, CV_8UC1, out);
  const cv::Mat rgb_mat(height, width, CV_8UC3, rgb), rgb_out(height, width, CV_8UC3, out);
  const cv::Ptr<cv::CLAHE> peer = cv::createCLAHE(3.0, {8, 8});
  const cv::Mat hsv(height, width, CV_8UC3);
  const auto ours = [=](uint8_t* data, int channels) {
    ImageData dst = record(out, width, height, channels);
    KelvraCV::clahe(record(data, width, height, channels), dst, 8, 256, 3.0f);
  };
  compare({sized("clahe, gray", width, height), pixels, 4 * pixels, [=] { ours(gray, 1); },
           "cv::CLAHE", [=] { peer->apply(gray_mat, gray_out); }});
  compare({sized("clahe, colour", width, height), pixels, 6 * pixels, [=] { ours(rgb, 3); },
           "cv::cvtColor, split, CLAHE, merge, cvtColor",
           [=] {
             std::vector<cv::Mat> planes;
             cv::cvtColor(rgb_mat, hsv, cv::COLOR_RGB2HSV_FULL);
             cv::split(hsv, planes);
             peer->apply(planes[2], planes[2]);
             cv::merge(planes, hsv);
             cv::cvtColor(hsv, rgb_out, cv::COLOR_HSV2RGB_FULL);
           }});
}

void compare_hist(int width, int height, int channels) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const image = keep(photo(width, height, channels));
  int* const counts = keep(std::vector<int>(256 * channels));
  const cv::Mat mat(height, width, CV_8UC(channels), image);
  compare({sized("cal_hist, channels " + std::to_string(channels), width, height), pixels,
           channels * pixels,
           [=] {
             int* hists[4] = {counts, counts + 256, counts + 512, counts + 768};
             int bins[4] = {16, 16, 16, 16};
             KelvraCV::cal_hist(image, width * channels, channels, width, height, 0, 0, hists,
                                bins);
           },
           "cv::calcHist",
           [=] {
             for (int c = 0; c < channels; ++c) {
               const int bins = 16;
               const float range[] = {0, 256};
               const float* ranges = range;
               cv::Mat hist;
               cv::calcHist(&mat, 1, &c, {}, hist, 1, &bins, &ranges);
             }
           }});
}

void compare_sums(int width, int height) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const gray = keep(photo(width, height, 1));
  uint8_t* const mask = keep(photo(width, height, 1));
  for (int i = 0; i < width * height; ++i) mask[i] = mask[i] > 128 ? 255 : 0;
  uint8_t* const edges = keep(std::vector<uint8_t>(width * height));
  int* const sum = keep(std::vector<int>((width + 1) * (height + 1)));
  const cv::Mat gray_mat(height, width, CV_8UC1, gray), mask_mat(height, width, CV_8UC1, mask);
  const cv::Mat sum_mat(height + 1, width + 1, CV_32SC1, sum);
  const cv::Mat edges_mat(height, width, CV_8UC1, edges), eroded(height, width, CV_8UC1);
  const cv::Mat cross = cv::getStructuringElement(cv::MORPH_CROSS, {3, 3});
  compare({sized("integral_int", width, height), pixels, 5 * pixels,
           [=] { KelvraCV::integral_int(gray, sum, width, height, width); }, "cv::integral",
           [=] { cv::integral(gray_mat, sum_mat, CV_32S); }});
  compare({sized("get_mask_edge", width, height), pixels, 2 * pixels,
           [=] { KelvraCV::get_mask_edge(mask, edges, width, height, width, width, 0); },
           "cv::erode, subtract",
           [=] {
             cv::erode(mask_mat, eroded, cross, {-1, -1}, 1, cv::BORDER_CONSTANT, 0);
             cv::subtract(mask_mat, eroded, edges_mat);
           }});
}

void compare_pyramid(int width, int height, int channels) {
  const double pixels = static_cast<double>(width) * height;
  constexpr int kLevels = 5;
  uint8_t* const image = keep(photo(width, height, channels));
  std::vector<ImageData> levels{record(image, width, height, channels)};
  for (int i = 1; i < kLevels; ++i) {
    levels.push_back({});
    levels[i].data =
        keep(std::vector<uint8_t>(((width >> i) + 1) * ((height >> i) + 1) * channels));
  }
  const ImageData src = levels[0];
  const cv::Mat mat(height, width, CV_8UC(channels), image);
  std::vector<cv::Mat> mats;
  compare({sized("pyramid_gauss, channels " + std::to_string(channels), width, height), pixels,
           channels * pixels * 5 / 3, [=]() mutable { KelvraCV::pyramid_gauss(src, levels); },
           "cv::buildPyramid",
           [=]() mutable { cv::buildPyramid(mat, mats, kLevels - 1, cv::BORDER_REPLICATE); }});
}

}  // namespace

void list_comparisons() {
  for (const auto& [width, height] : {std::pair{kWidth, kHeight}, {224, 224}, {64, 64}}) {
    compare_sobel(width, height);
    compare_canny(width, height, 50, 150);
    compare_clahe(width, height);
    for (const int channels : {1, 3, 4}) compare_hist(width, height, channels);
    compare_sums(width, height);
    for (const int channels : {1, 3, 4}) compare_pyramid(width, height, channels);
  }
  compare_canny(kWidth, kHeight, 10, 20);
}

}  // namespace bench
