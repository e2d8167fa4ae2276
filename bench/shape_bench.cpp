// Shape analysis beside OpenCV.
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <memory>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

using KelvraCV::Point;
using PointLists = std::vector<std::vector<Point>>;
using Outlines = std::vector<std::vector<cv::Point>>;

std::vector<uint8_t> random_mask(int width, int height) {
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * height);
  uint32_t noise = 1;
  for (uint8_t& pixel : pixels) {
    noise = noise * 1664525u + 1013904223u;
    pixel = noise >> 31 != 0 ? 255 : 0;
  }
  return pixels;
}

std::vector<uint8_t> checkers(int width, int height) {
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * height);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = (i / width + i % width) % 2 == 0 ? 255 : 0;
  }
  return pixels;
}

void compare_boundary(uint8_t* mask, int width, int height) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const marks = keep(std::vector<uint8_t>(width * height));
  const cv::Mat from(height, width, CV_8UC1, mask), to(height, width, CV_8UC1, marks);
  compare({sized("find_contours", width, height), pixels, 2 * pixels,
           [=] { KelvraCV::find_contours(mask, marks, width, height); }, "cv::erode, cv::subtract",
           [=] {
             cv::Mat core;
             cv::erode(from, core, cv::Mat());
             cv::subtract(from, core, to);
           }});
  cv::Rect* const box = keep(std::vector<cv::Rect>(1));
  const KelvraCV::ImageData image{mask, width, height, 1, width, 0, 0};
  const auto position = [=] {
    KelvraCV::get_mask_pos(image, box->x, box->y, box->width, box->height, 0);
  };
  compare({sized("get_mask_pos", width, height), pixels, pixels, position, "cv::boundingRect",
           [=] { *box = cv::boundingRect(from == 255); }});
}

void compare_outlines(const std::string& name, uint8_t* mask, int width, int height, int method) {
  const double pixels = static_cast<double>(width) * height;
  const cv::Mat from(height, width, CV_8UC1, mask);
  PointLists* const ours = keep(std::vector<PointLists>(1));
  Outlines* const theirs = keep(std::vector<Outlines>(1));
  compare({sized("find_blob_contours, " + name, width, height), pixels, pixels,
           [=] { KelvraCV::find_blob_contours(mask, *ours, width, height, width, 1, method); },
           "cv::findContours", [=] { cv::findContours(from, *theirs, cv::RETR_LIST, method); }});
}

void compare_blobs(const std::string& name, uint8_t* mask, int width, int height) {
  const double pixels = static_cast<double>(width) * height;
  const cv::Mat from(height, width, CV_8UC1, mask);
  const auto theirs = [=](bool all) {
    cv::Mat labels;
    const int count = cv::connectedComponents(from, labels, 4);
    PointLists blobs(count - 1);
    for (int y = 0; y < height; ++y) {
      const int* row = labels.ptr<int>(y);
      const auto is_core = [&](int x) {
        return y > 1 && y < height - 2 && x > 1 && x < width - 2 && row[x - 1] != 0 &&
               row[x + 1] != 0 && row[x - width] != 0 && row[x + width] != 0;
      };
      for (int x = 0; x < width; ++x) {
        if (row[x] != 0 && (all || !is_core(x))) blobs[row[x] - 1].push_back({x, y});
      }
    }
  };
  const char* const peer = "cv::connectedComponents, push_back";
  compare({sized("find_blobs, " + name, width, height), pixels, pixels,
           [=] {
             PointLists blobs;
             KelvraCV::find_blobs(mask, blobs, width, height);
           },
           peer, [=] { theirs(true); }});
  compare({sized("find_blobs_contours, " + name, width, height), pixels, pixels,
           [=] {
             PointLists blobs;
             KelvraCV::find_blobs_contours(mask, blobs, width, height);
           },
           peer, [=] { theirs(false); }});
}

PointLists traced(const std::vector<uint8_t>& mask, int width, int height, int method) {
  PointLists outlines;
  KelvraCV::find_blob_contours(mask.data(), outlines, width, height, width, 1, method);
  return outlines;
}

Outlines for_opencv(const PointLists& lists) {
  Outlines outlines;
  for (const auto& list : lists) {
    outlines.emplace_back();
    for (const Point& point : list) outlines.back().emplace_back(point.x, point.y);
  }
  return outlines;
}

void compare_filter(const PointLists& blobs) {
  const auto ours = std::make_shared<PointLists>(blobs);
  const auto theirs = std::make_shared<Outlines>(for_opencv(blobs));
  double points = 0;
  for (const auto& blob : blobs) points += static_cast<double>(blob.size());
  const KelvraCV::BlobParams params{false, true, true, true, 0, 0, 1, 1 << 30, 0, 9, 0, 9};
  compare({"filter_blobs, per point", points, 8 * points,
           [=] {
             std::vector<KelvraCV::Center> centers;
             KelvraCV::filter_blobs(nullptr, 1, *ours, centers, params);
           },
           "cv::moments, arcLength, distances",
           [=] {
             double sum = 0;
             for (const auto& blob : *theirs) {
               const cv::Moments moments = cv::moments(blob);
               sum += cv::arcLength(blob, true);
               const cv::Point2d center(moments.m10 / moments.m00, moments.m01 / moments.m00);
               for (const cv::Point& point : blob) {
                 sum = std::max(sum, cv::norm(cv::Point2d(point) - center));
               }
             }
             use(sum);
           }});
}

void compare_approx(const std::string& name, const PointLists& curves, double epsilon) {
  const auto ours = std::make_shared<PointLists>(curves);
  const auto theirs = std::make_shared<Outlines>(for_opencv(curves));
  double points = 0;
  for (const auto& curve : curves) points += static_cast<double>(curve.size());
  compare({"approx_poly_dp, " + name + ", per point", points, 8 * points,
           [=] {
             std::vector<Point> approx;
             for (const auto& curve : *ours) {
               KelvraCV::approx_poly_dp(curve, approx, epsilon, true);
             }
           },
           "cv::approxPolyDP",
           [=] {
             std::vector<cv::Point> approx;
             for (const auto& curve : *theirs) cv::approxPolyDP(curve, approx, epsilon, true);
           }});
}

// A star of `count` vertices, with a radius that wanders (or jumps, if `wild`).
std::vector<Point> star(int count, int width, int height, bool wild) {
  std::vector<Point> points;
  uint32_t noise = 1;
  for (int i = 0; i < count; ++i) {
    noise = noise * 1664525u + 1013904223u;
    const double angle = 6.283185307 * i / count;
    const double radius = wild ? (noise >> 8) / 16777216.0 : 0.7 + 0.25 * std::sin(9 * angle);
    points.push_back({static_cast<int>(width * (0.5 + 0.499 * radius * std::cos(angle))),
                      static_cast<int>(height * (0.5 + 0.499 * radius * std::sin(angle)))});
  }
  return points;
}

void compare_fill(const std::string& name, int count, int width, int height, bool wild) {
  const std::vector<Point> points = star(count, width, height, wild);
  std::vector<int> columns, rows;
  for (const Point& point : points) {
    columns.push_back(point.x);
    rows.push_back(point.y);
  }
  int *const xs = keep(columns), *const ys = keep(rows);
  uint8_t* const mask = keep(std::vector<uint8_t>(width * height));
  const auto theirs = std::make_shared<Outlines>(for_opencv({points}));
  const double pixels = static_cast<double>(width) * height;
  compare({sized("fill_poly, " + name, width, height), pixels, pixels,
           [=] { KelvraCV::fill_poly(mask, width, xs, ys, count); }, "cv::fillPoly",
           [=] {
             cv::Mat image(height, width, CV_8UC1, mask);
             cv::fillPoly(image, *theirs, 255);
           }});
}

void compare_inside(int count, int tests) {
  const std::vector<Point> points = star(count, kWidth, kHeight, false);
  std::vector<int> columns, rows;
  for (const Point& point : points) {
    columns.push_back(point.x);
    rows.push_back(point.y);
  }
  int *const xs = keep(columns), *const ys = keep(rows);
  const auto theirs = std::make_shared<Outlines>(for_opencv({points}));
  compare({"is_inside_poly, " + std::to_string(count) + " vertices, per edge", 1.0 * count * tests,
           8.0 * count * tests,
           [=] {
             int inside = 0;
             for (int i = 0; i < tests; ++i) {
               const int x = i * 977 % kWidth, y = i * 571 % kHeight;
               inside += KelvraCV::is_inside_poly(xs, ys, count, x, y);
             }
             use(inside);
           },
           "cv::pointPolygonTest",
           [=] {
             int inside = 0;
             for (int i = 0; i < tests; ++i) {
               const cv::Point2f place(static_cast<float>(i * 977 % kWidth),
                                       static_cast<float>(i * 571 % kHeight));
               inside += cv::pointPolygonTest((*theirs)[0], place, false) > 0;
             }
             use(inside);
           }});
}

void compare_expand(const std::string& name, const PointLists& outlines, int width, int height,
                    int radius) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const mask = keep(std::vector<uint8_t>(width * height));
  uint8_t* const out = keep(std::vector<uint8_t>(width * height));
  const auto lists = std::make_shared<PointLists>(outlines);
  compare({sized("expand_contours, " + name, width, height), pixels, 2 * pixels,
           [=] { KelvraCV::expand_contours(mask, *lists, out, width, height, width, radius); },
           "cv::circle per point",
           [=] {
             cv::Mat image(height, width, CV_8UC1, out);
             cv::Mat(height, width, CV_8UC1, mask).copyTo(image);
             for (const auto& list : *lists) {
               for (const Point& point : list) {
                 cv::circle(image, {point.x, point.y}, radius - 1, 255, cv::FILLED);
               }
             }
           }});
}

void compare_flood(const std::string& name, uint8_t* rgba, int width, int height, int threshold) {
  const double pixels = static_cast<double>(width) * height;
  uint8_t* const filled = keep(std::vector<uint8_t>(width * height));
  const KelvraCV::ImageData image{rgba, width, height, 4, 4 * width, 0, 0};
  const KelvraCV::ImageData mask{filled, width, height, 1, width, 0, 0};
  compare({sized("flood_fill, " + name, width, height), pixels, 5 * pixels,
           [=] {
             KelvraCV::ImageData out = mask;
             KelvraCV::Rect box;
             KelvraCV::flood_fill(image, out, {width / 2, height / 2}, box, 0, threshold);
           },
           "cv::cvtColor, cv::floodFill, copy",
           [=] {
             cv::Mat rgb, marks = cv::Mat::zeros(height + 2, width + 2, CV_8UC1);
             cv::cvtColor(cv::Mat(height, width, CV_8UC4, rgba), rgb, cv::COLOR_RGBA2RGB);
             const cv::Scalar limit = cv::Scalar::all(threshold);
             cv::floodFill(rgb, marks, {width / 2, height / 2}, 0, nullptr, limit, limit,
                           4 | 255 << 8 | cv::FLOODFILL_MASK_ONLY | cv::FLOODFILL_FIXED_RANGE);
             marks(cv::Rect(1, 1, width, height)).copyTo(cv::Mat(height, width, CV_8UC1, filled));
           }});
}

}  // namespace

void list_comparisons() {
  const std::vector<uint8_t> mask = discs(kWidth, kHeight);
  uint8_t *const blobs = keep(mask), *const noisy = keep(random_mask(kWidth, kHeight));
  compare_boundary(blobs, kWidth, kHeight);
  compare_outlines("all points", blobs, kWidth, kHeight, 1);
  compare_outlines("simple", blobs, kWidth, kHeight, 2);
  compare_outlines("noise", noisy, kWidth, kHeight, 2);
  compare_blobs("discs", blobs, kWidth, kHeight);
  compare_blobs("noise", noisy, kWidth, kHeight);
  compare_blobs("checkers", keep(checkers(4000, 3000)), 4000, 3000);
  const PointLists outlines = traced(mask, kWidth, kHeight, 1);
  compare_filter(outlines);
  compare_approx("outlines", outlines, 2);
  compare_approx("long", {star(20000, 8000, 6000, false)}, 3);
  compare_inside(64, 1000);
  compare_inside(8, 8000);
  compare_fill("100 vertices", 100, kWidth, kHeight, false);
  compare_fill("10000 vertices", 10000, kWidth, kHeight, false);
  compare_fill("10000 wild vertices", 10000, kWidth, kHeight, true);
  compare_expand("radius 5", outlines, kWidth, kHeight, 5);
  compare_expand("radius 50", outlines, kWidth, kHeight, 50);
  compare_expand("vertices, radius 20", traced(mask, kWidth, kHeight, 2), kWidth, kHeight, 20);
  compare_flood("all", keep(photo(kWidth, kHeight, 4)), kWidth, kHeight, 255);
  compare_flood("part", keep(photo(kWidth, kHeight, 4)), kWidth, kHeight, 60);
  compare_boundary(keep(discs(32, 32)), 32, 32);
  compare_flood("all", keep(photo(32, 32, 4)), 32, 32, 255);
}

}  // namespace bench
