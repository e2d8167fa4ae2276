// Edge-preserving filters beside OpenCV.
#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

// The guided filter composed of OpenCV's pieces, on gray images; at a scale below 1, statistics are
// computed on smaller images, as ours does.
void guided_by_pieces(const cv::Mat& src, const cv::Mat* guide, cv::Mat& dst, int radius,
                      double scale, float eps) {
  radius = std::max(1, static_cast<int>(radius * scale));
  const cv::Size window(2 * radius + 1, 2 * radius + 1);
  const auto mean = [&](const cv::Mat& in) {
    cv::Mat out;
    cv::boxFilter(in, out, CV_32F, window, cv::Point(-1, -1), true, cv::BORDER_REPLICATE);
    return out;
  };
  const auto resized = [](const cv::Mat& in, cv::Size size) {
    if (in.size() == size) return in;
    cv::Mat out;
    cv::resize(in, out, size);
    return out;
  };
  const cv::Size size(static_cast<int>(src.cols * scale), static_cast<int>(src.rows * scale));
  cv::Mat whole, other;
  src.convertTo(whole, CV_32F, 1.0 / 255);
  const cv::Mat p = resized(whole, size);
  cv::Mat i = p;
  if (guide != nullptr) {
    guide->convertTo(other, CV_32F, 1.0 / 255);
    i = resized(other, size);
  }
  const cv::Mat mean_i = mean(i), mean_p = guide == nullptr ? mean_i : mean(p);
  const cv::Mat variance = mean(i.mul(i)) - mean_i.mul(mean_i);
  const cv::Mat covariance =
      guide == nullptr ? variance : cv::Mat(mean(i.mul(p)) - mean_i.mul(mean_p));
  const cv::Mat a = covariance / (variance + eps), b = mean_p - a.mul(mean_i);
  const cv::Mat q = resized(mean(a), whole.size()).mul(whole) + resized(mean(b), whole.size());
  q.convertTo(dst, CV_8U, 255);
}

}  // namespace

void list_comparisons() {
  constexpr int w = kWidth, h = kHeight;
  constexpr double pixels = double{w} * h;
  for (const int channels : {1, 3}) {
    uint8_t* const src = keep(photo(w, h, channels));
    uint8_t* const out = keep(std::vector<uint8_t>(w * h * channels));
    const KelvraCV::ImageData from{src, w, h, channels, w * channels, 0, 0};
    const KelvraCV::ImageData to{out, w, h, channels, w * channels, 0, 0};
    const cv::Mat src_mat(h, w, CV_8UC(channels), src), out_mat(h, w, CV_8UC(channels), out);
    compare({sized("bilateral_filter c" + std::to_string(channels), w, h), pixels,
             2 * channels * pixels,
             [=] {
               KelvraCV::ImageData dst = to;
               KelvraCV::bilateral_filter(from, dst, 0.03f, 0.1f);
             },
             "cv::bilateralFilter, d 9 (another algorithm)",
             [=] { cv::bilateralFilter(src_mat, out_mat, 9, 25, 9); }});
    if (channels != 1) continue;
    uint8_t* const by = keep(std::vector<uint8_t>(photo(w, h, 1)));
    compare({sized("guided_filter_general, radius 8", w, h), pixels, 3 * pixels,
             [=] {
               KelvraCV::ImageData dst = to;
               KelvraCV::guided_filter_general(from, {by, w, h, 1, w, 0, 0}, dst, 8, 1, 0.01f);
             },
             "cv::boxFilter and arithmetic",
             [=] {
               cv::Mat dst = out_mat;
               const cv::Mat guide(h, w, CV_8UC1, by);
               guided_by_pieces(src_mat, &guide, dst, 8, 1, 0.01f);
             }});
    for (const float scale : {1.0f, 0.25f}) {
      const std::string name =
          scale == 1.0f ? "guided_filter_self, radius 8" : "guided_filter_self, radius 8, quarter";
      compare({sized(name, w, h), pixels, 2 * pixels,
               [=] {
                 KelvraCV::ImageData dst = to;
                 KelvraCV::guided_filter_self(from, dst, 8, scale, 0.01f);
               },
               "cv::boxFilter and arithmetic",
               [=] {
                 cv::Mat dst = out_mat;
                 guided_by_pieces(src_mat, nullptr, dst, 8, scale, 0.01f);
               }});
    }
  }
}

}  // namespace bench
