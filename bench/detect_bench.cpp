// Detection and corners beside OpenCV and plain loops.
#include <cmath>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

// What an application writes at first: scan every row, keep what passes.
void scan_rows(const float* rows, int count, int classes, float threshold,
               std::vector<KelvraCV::BBox>& boxes) {
  boxes.clear();
  for (int i = 0; i < count; ++i) {
    const float* const row = rows + static_cast<size_t>(i) * (5 + classes);
    float best = 0;
    int label = 0;
    for (int k = 0; k < classes; ++k) {
      if (row[5 + k] > best) {
        best = row[5 + k];
        label = k;
      }
    }
    const float score = row[4] * best;
    if (score < threshold) continue;
    boxes.push_back({std::trunc(row[0] - row[2] / 2), std::trunc(row[1] - row[3] / 2),
                     std::trunc(row[0] + row[2] / 2), std::trunc(row[1] + row[3] / 2), score,
                     label});
  }
}

// A planar, normalised tensor by OpenCV's pieces; sides are fixed to those of the call beside it.
void tensor_by_pieces(const cv::Mat& image, float* tensor, int side, int height, const float* mean,
                      const float* std_dev) {
  cv::Mat resized, planes[3];
  cv::resize(image, resized, cv::Size(side, height));
  cv::split(resized, planes);
  for (int k = 0; k < 3; ++k) {
    cv::Mat plane(side, side, CV_32F, tensor + static_cast<size_t>(k) * side * side);
    planes[k].convertTo(plane.rowRange(0, height), CV_32F, 1 / std_dev[k], -mean[k] / std_dev[k]);
    plane.rowRange(height, side).setTo(0);
  }
}

void compare_preprocess() {
  constexpr int w = kWidth, h = kHeight, side = 640;
  static float mean[3] = {123.7f, 116.3f, 103.5f}, std_dev[3] = {58.4f, 57.1f, 57.4f};
  uint8_t* const rgb = keep(photo(w, h, 3));
  float* const tensor = keep(std::vector<float>(3 * side * side));
  const cv::Mat image(h, w, CV_8UC3, rgb);
  for (const bool planar : {true, false}) {
    compare({std::string("object_detetion_preprocess to 640x640") + (planar ? "" : ", by pixels"),
             1.0 * side * side, 12.0 * side * side + 3.0 * w * h,
             [=] {
               float scale;
               KelvraCV::object_detetion_preprocess({rgb, w, h, 3, 3 * w, 0, 0}, side, side, tensor,
                                                    scale, mean, std_dev, planar, true, true);
             },
             "cv::resize, split, convertTo",
             [=] { tensor_by_pieces(image, tensor, side, 360, mean, std_dev); }});
  }
}

}  // namespace

void list_comparisons() {
  compare_preprocess();
  constexpr int w = kWidth, h = kHeight;
  constexpr double pixels = double{w} * h;
  const uint8_t* const gray = keep(photo(w, h, 1));
  const cv::Mat gray_mat(h, w, CV_8UC1, const_cast<uint8_t*>(gray));
  for (const bool suppress : {false, true}) {
    for (const int threshold : {10, 40}) {
      compare({sized("fast_9_16, threshold " + std::to_string(threshold) +
                         (suppress ? ", suppressed" : ""),
                     w, h),
               pixels, pixels,
               [=] {
                 std::vector<KelvraCV::KeyPoint> found;
                 KelvraCV::fast_9_16(gray, found, w, h, 1, w, 0, threshold, suppress, nullptr);
               },
               "cv::FAST",
               [=] {
                 std::vector<cv::KeyPoint> found;
                 cv::FAST(gray_mat, found, threshold, suppress);
               }});
    }
  }

  static int sizes[3][3] = {{10, 16, 33}, {30, 62, 59}, {116, 156, 373}}, strides[3] = {8, 16, 32};
  static int* anchor_sizes[3] = {sizes[0], sizes[1], sizes[2]};
  float* const anchors = keep(std::vector<float>(4 * 25200));
  compare({"get_anchors 640x640", 25200, 25200 * 16,
           [=] { KelvraCV::get_anchors(anchors, 640, 640, anchor_sizes, 3, strides, 3); },
           "double loop of a cell's centre",
           [=] {
             float* out = anchors;
             for (int level = 0; level < 3; ++level) {
               const int stride = strides[level], side = 640 / stride;
               for (int i = 0; i < side * side * 3; ++i) {
                 *out++ = static_cast<float>((i / 3 % side + 0.5) * stride / 640);
                 *out++ = static_cast<float>((i / 3 / side + 0.5) * stride / 640);
                 *out++ = static_cast<float>(sizes[level][i % 3]) / 640;
                 *out++ = static_cast<float>(sizes[level][i % 3]) / 640;
               }
             }
             use(*anchors);
           }});

  constexpr int kRows = 25200, kClasses = 80;
  std::vector<float> values;
  uint32_t noise = 1;
  for (int i = 0; i < kRows * (5 + kClasses); ++i) {
    noise = noise * 1664525u + 1013904223u;
    const float unit = static_cast<float>(noise >> 8) / (1 << 24);
    const int column = i % (5 + kClasses);
    values.push_back(column < 4 ? unit * 300 + 20 : unit * unit * unit);
  }
  const float* const rows = keep(std::move(values));
  compare({"object_detetion_postprocess 25200x85", kRows, kRows * (5.0 + kClasses) * 4,
           [=] {
             std::vector<KelvraCV::BBox> boxes;
             KelvraCV::object_detetion_postprocess(rows, kRows, kClasses, boxes, 0.9f, 0.45f);
           },
           "scalar scan, no suppression",
           [=] {
             std::vector<KelvraCV::BBox> boxes;
             scan_rows(rows, kRows, kClasses, 0.9f, boxes);
           }});
}

}  // namespace bench
