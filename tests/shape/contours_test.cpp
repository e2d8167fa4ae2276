#include <opencv2/imgproc.hpp>

#include "shape/points.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

// OpenCV's own interface, on a copy with a frame of background.
PointLists reference(const std::vector<uint8_t>& mask, int width, int height, int mode,
                     int method) {
  cv::Mat framed = cv::Mat::zeros(height + 2, width + 2, CV_8UC1);
  for (int i = 0; i < width * height; ++i) {
    framed.at<uint8_t>(i / width + 1, i % width + 1) = mask[i] != 0;
  }
  std::vector<std::vector<cv::Point>> found;
  cv::findContours(framed, found, mode, method, cv::Point(-1, -1));
  PointLists outlines(found.size());
  for (size_t i = 0; i < found.size(); ++i) {
    for (const cv::Point& point : found[i]) outlines[i].push_back({point.x, point.y});
  }
  return outlines;
}

}  // namespace

TEST(BlobContours, AreOpenCvsOfAFramedMask) {
  for (const Shape& shape : all_shapes()) {
    SCOPED_TRACE(shape);
    GuardedBuffer<> src(shape.width, shape.height, shape.padding, shape.guard);
    auto mask = noise(src.packed().size());
    for (uint8_t& value : mask) value = value < 150 ? 0 : value;  // 150 to 255 are foreground
    src.fill(mask);
    PointLists outlines(500, std::vector<Point>(3));  // what was there goes
    for (const int mode : {cv::RETR_EXTERNAL, cv::RETR_LIST, cv::RETR_CCOMP, cv::RETR_TREE}) {
      for (const int method : {cv::CHAIN_APPROX_NONE, cv::CHAIN_APPROX_SIMPLE,
                               cv::CHAIN_APPROX_TC89_L1, cv::CHAIN_APPROX_TC89_KCOS}) {
        find_blob_contours(src.data(), outlines, shape.width, shape.height, src.stride(), mode,
                           method);
        ASSERT_EQ(outlines, reference(mask, shape.width, shape.height, mode, method))
            << mode << " " << method;
      }
    }
  }
}

TEST(BlobContours, NothingAndEverything) {
  std::vector<uint8_t> mask(12);
  PointLists outlines(5);
  find_blob_contours(mask.data(), outlines, 4, 0, 4, cv::RETR_LIST, cv::CHAIN_APPROX_SIMPLE);
  EXPECT_EQ(outlines.size(), 5u) << "an empty size writes nothing";
  find_blob_contours(mask.data(), outlines, 4, 3, 4, cv::RETR_LIST, cv::CHAIN_APPROX_SIMPLE);
  EXPECT_TRUE(outlines.empty());
  std::fill(mask.begin(), mask.end(), uint8_t{1});
  find_blob_contours(mask.data(), outlines, 4, 3, 4, cv::RETR_LIST, cv::CHAIN_APPROX_SIMPLE);
  const PointLists corners{{{0, 0}, {0, 2}, {3, 2}, {3, 0}}};
  EXPECT_EQ(outlines, corners);
  // Chain codes are no points; what OpenCV refuses comes out as its own exception.
  find_blob_contours(mask.data(), outlines, 4, 3, 4, cv::RETR_LIST, 0);
  EXPECT_EQ(outlines, corners);
  EXPECT_THROW(find_blob_contours(mask.data(), outlines, 4, 3, 4, 9, cv::CHAIN_APPROX_SIMPLE),
               cv::Exception);
  EXPECT_EQ(outlines, corners);
}

TEST(BlobContours, Golden) {
  auto mask = picture(150, 101, 1);
  for (uint8_t& value : mask) value = value > 128 ? 255 : 0;
  PointLists outlines;
  find_blob_contours(mask.data(), outlines, 150, 101, 150, cv::RETR_TREE, cv::CHAIN_APPROX_SIMPLE);
  std::vector<Point> points;
  for (const auto& outline : outlines) {
    points.push_back({static_cast<int>(outline.size()), -1});
    points.insert(points.end(), outline.begin(), outline.end());
  }
  expect_golden("find_blob_contours", points);
}
