// Bilinear warps beside OpenCV.
#include <opencv2/imgproc.hpp>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

constexpr float kTilt[9] = {1.1f, 0.1f, -80, 0.05f, 1.2f, -60, 1e-5f, 1e-4f, 1};

// kTilt, in a way that keeps the compiler from computing with it beforehand.
const float* tilt() {
  const float* matrix = kTilt;
  asm volatile("" : "+r"(matrix));
  return matrix;
}

void compare_warps(int width, int height, float angle, const std::string& label) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const gray = keep(photo(width, height, 1));
  uint8_t* const rgba = keep(photo(width, height, 4));
  uint8_t* const gray_out = keep(std::vector<uint8_t>(width * height));
  uint8_t* const rgba_out = keep(std::vector<uint8_t>(width * height * 4));
  float* const matrix = keep(std::vector<float>(6));
  KelvraCV::get_rotation_matrix(angle, 1.05f, width * 0.5f, height * 0.5f, matrix);
  const auto mat = [=](int type, void* data) { return cv::Mat(height, width, type, data); };
  const cv::Mat affine(2, 3, CV_32F, matrix), tilted(3, 3, CV_32F, const_cast<float*>(kTilt));
  const auto named = [&](const char* name) { return sized(name + label, width, height); };

  compare({named("warpaffine_bilinear_c1"), pixels, 2 * pixels,
           [=] {
             KelvraCV::warpaffine_bilinear_c1(gray, width, height, width, gray_out, width, height,
                                              width, matrix, 0, 0);
           },
           "cv::warpAffine",
           [=, from = mat(CV_8UC1, gray), to = mat(CV_8UC1, gray_out)]() mutable {
             cv::warpAffine(from, to, affine, to.size());
           }});
  compare({named("warpaffine_bilinear_c4"), pixels, 8 * pixels,
           [=] {
             KelvraCV::warpaffine_bilinear_c4(rgba, width, height, 4 * width, rgba_out, width,
                                              height, 4 * width, matrix, 0, 0);
           },
           "cv::warpAffine",
           [=, from = mat(CV_8UC4, rgba), to = mat(CV_8UC4, rgba_out)]() mutable {
             cv::warpAffine(from, to, affine, to.size());
           }});
  if (angle == 90) return;
  compare({named("warpperspective_bilinear_c4"), pixels, 8 * pixels,
           [=] {
             KelvraCV::warpperspective_bilinear_c4(rgba, width, height, 4 * width, rgba_out, width,
                                                   height, 4 * width, kTilt, 0, 0);
           },
           "cv::warpPerspective",
           [=, from = mat(CV_8UC4, rgba), to = mat(CV_8UC4, rgba_out)]() mutable {
             cv::warpPerspective(from, to, tilted, to.size());
           }});
}

// A face's landmarks in a crop of 512 x 512 and in the image.
constexpr float kInCrop[10] = {170, 200, 340, 200, 256, 300, 190, 390, 320, 390};
constexpr float kInImage[10] = {700, 400, 860, 430, 770, 510, 690, 580, 830, 600};

void compare_alignment() {
  constexpr int w = kWidth, h = kHeight, side = 512;
  uint8_t* const rgba = keep(photo(w, h, 4));
  uint8_t* const crop = keep(photo(side, side, 4));
  float* const inverse = keep(std::vector<float>(6));
  const KelvraCV::ImageData image{rgba, w, h, 4, 4 * w, 0, 0},
      face{crop, side, side, 4, 4 * side, 0, 0};
  KelvraCV::ImageData out = face;
  KelvraCV::align_crop_img(image, kInCrop, kInImage, 5, out, inverse);
  const cv::Mat back(2, 3, CV_32F, inverse), image_mat(h, w, CV_8UC4, rgba),
      crop_mat(side, side, CV_8UC4, crop);
  constexpr double pixels = double{side} * side;
  compare({"align_crop_img 512x512", pixels, 8 * pixels,
           [=] {
             KelvraCV::ImageData to = face;
             float found[6];
             KelvraCV::align_crop_img(image, kInCrop, kInImage, 5, to, found);
           },
           "cv::warpAffine",
           [=, to = crop_mat.clone()] {
             cv::warpAffine(image_mat, to, back, to.size(),
                            cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
           }});
  compare({"align_back_img 512x512, feathered", pixels, 12 * pixels,
           [=] {
             KelvraCV::ImageData to = image;
             KelvraCV::align_back_img(face, inverse, to, 12, 3);
           },
           "cv::warpAffine, erode, GaussianBlur, blendLinear",
           [=, whole = image_mat.clone()] {
             // Only where the crop's corners land, which is what ours looks at, too.
             std::vector<cv::Point2f> corners{{0, 0}, {side, 0}, {0, side}, {side, side}};
             cv::transform(corners, corners, back);
             const cv::Rect place =
                 cv::boundingRect(corners) & cv::Rect(0, 0, whole.cols, whole.rows);
             cv::Mat there = back.clone(), part = whole(place), pasted, mask, weight, rest;
             there.at<float>(0, 2) -= static_cast<float>(place.x);
             there.at<float>(1, 2) -= static_cast<float>(place.y);
             cv::warpAffine(crop_mat, pasted, there, part.size());
             cv::warpAffine(cv::Mat(side, side, CV_8UC1, 255), mask, there, part.size());
             cv::erode(mask, mask, cv::Mat::ones(25, 25, CV_8UC1));
             cv::GaussianBlur(mask, mask, cv::Size(), 6);
             mask.convertTo(weight, CV_32F, 1 / 255.0);
             rest = 1 - weight;
             cv::Mat blended;
             cv::blendLinear(pasted, part, weight, rest, blended);
             blended.copyTo(part);
           }});
}

// The matrices of a call; a "pixel" is a call.
void compare_transforms() {
  static float matrix[9], inverse[9];
  static const cv::Point2f from[4] = {{10, 20}, {500, 30}, {20, 400}, {480, 420}};
  static const cv::Point2f to[4] = {{0, 0}, {512, 0}, {0, 512}, {512, 512}};
  static const KelvraCV::Point corners[3] = {{10, 20}, {500, 30}, {20, 400}},
                               places[3] = {{0, 0}, {512, 0}, {0, 512}};
  const auto add = [](const char* name, std::function<void()> ours, const char* peer_name,
                      std::function<void()> peer) {
    compare({name, 1, 0, std::move(ours), peer_name, std::move(peer)});
  };
  const auto floats = [](const cv::Point2f* points) { return &points[0].x; };
  add(
      "get_rotation_matrix",
      [] {
        KelvraCV::get_rotation_matrix(10, 1.05f, 256, 256, matrix);
        use(matrix);
      },
      "cv::getRotationMatrix2D",
      [] {
        use(cv::getRotationMatrix2D({256, 256}, 10, 1.05));
      });
  add(
      "get_affine_transform, 3 points",
      [] {
        KelvraCV::get_affine_transform(corners, places, matrix);
        use(matrix);
      },
      "cv::getAffineTransform", [] { use(cv::getAffineTransform(from, to)); });
  add(
      "get_perspective_transform",
      [=] {
        KelvraCV::get_perspective_transform(floats(from), floats(to), matrix);
        use(matrix);
      },
      "cv::getPerspectiveTransform", [] { use(cv::getPerspectiveTransform(from, to)); });
  add(
      "get_affine_transform, fit of 5",
      [] {
        KelvraCV::get_affine_transform(kInImage, kInCrop, 5, matrix);
        use(matrix);
      },
      "cv::solve",
      [] {
        cv::Matx<float, 10, 4> a;
        cv::Matx<float, 10, 1> b;
        for (int i = 0; i < 5; ++i) {
          const float x = kInImage[2 * i], y = kInImage[2 * i + 1];
          const float rows[2][4] = {{x, -y, 1, 0}, {y, x, 0, 1}};
          for (int k = 0; k < 8; ++k) a(2 * i + k / 4, k % 4) = rows[k / 4][k % 4];
          b(2 * i) = kInCrop[2 * i];
          b(2 * i + 1) = kInCrop[2 * i + 1];
        }
        cv::Mat solution;
        cv::solve(a, b, solution, cv::DECOMP_NORMAL | cv::DECOMP_CHOLESKY);
        use(solution);
      });
  add(
      "invert_affine_transform",
      [] {
        KelvraCV::invert_affine_transform(tilt(), inverse);
        use(inverse);
      },
      "cv::invertAffineTransform",
      [] {
        cv::Matx23f out;
        cv::invertAffineTransform(cv::Matx23f(tilt()), out);
        use(out);
      });
  add(
      "invert_perspective_transform",
      [] {
        KelvraCV::invert_perspective_transform(tilt(), inverse);
        use(inverse);
      },
      "cv::Matx::inv", [] { use(cv::Matx33f(tilt()).inv()); });
}

}  // namespace

void list_comparisons() {
  compare_transforms();
  compare_warps(kWidth, kHeight, 10, "");
  compare_warps(kWidth, kHeight, 90, ", 90 degrees");
  compare_warps(32, 32, 10, "");
  compare_alignment();
}

}  // namespace bench
