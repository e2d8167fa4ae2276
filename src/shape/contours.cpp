// Outlines of a mask's regions, by OpenCV's contour finder. No other file includes OpenCV.
#include <opencv2/imgproc/imgproc_c.h>

#include <climits>
#include <cstring>
#include <memory>

#include "core/rows.h"
#include "core/scratch.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

static_assert(sizeof(Point) == sizeof(CvPoint) && offsetof(Point, y) == offsetof(CvPoint, y));

struct StorageRelease {
  void operator()(CvMemStorage* storage) const { cvReleaseMemStorage(&storage); }
};
using Storage = std::unique_ptr<CvMemStorage, StorageRelease>;

// The mask in a frame of zeros, one pixel wide: packed rows of width + 2 bytes. The finder makes
// it binary by itself, by the rule of threshold() with 0 and 1.
void copy_framed(const uint8_t* src, int width, int height, int stride, uint8_t* framed) {
  const int pitch = width + 2;
  std::memset(framed, 0, static_cast<size_t>(pitch));
  for (int y = 0; y < height; ++y) {
    uint8_t* row = row_at(framed, y + 1, pitch);
    row[0] = row[pitch - 1] = 0;
    std::memcpy(row + 1, row_at(src, y, stride), static_cast<size_t>(width));
  }
  std::memset(row_at(framed, height + 1, pitch), 0, static_cast<size_t>(pitch));
}

std::vector<Point> points_of(const CvSeq* outline) {
  std::vector<Point> points(static_cast<size_t>(outline->total));
  cvCvtSeqToArray(outline, points.data(), CV_WHOLE_SEQ);
  return points;
}

}  // namespace

void find_blob_contours(const unsigned char* src, std::vector<std::vector<Point>>& contours,
                        int width, int height, int stride, int mode, int method) {
  constexpr int kLargest = INT_MAX - 2;  // room for the frame
  if (width < 1 || height < 1 || width > kLargest || height > kLargest) return;
  if (method == CV_CHAIN_CODE) return;  // its elements are no points
  Scratch<uint8_t> framed(static_cast<size_t>(height) + 2, static_cast<size_t>(width) + 2);
  copy_framed(src, width, height, stride, framed.get());

  const Storage storage(cvCreateMemStorage());
  CvMat image = cvMat(height + 2, width + 2, CV_8UC1, framed.get());
  CvSeq* first = nullptr;
  cvFindContours(&image, storage.get(), &first, sizeof(CvContour), mode, method, cvPoint(-1, -1));
  if (first == nullptr) {
    contours.clear();
    return;
  }
  const CvSeq* outlines = cvTreeToNodeSeq(first, sizeof(CvSeq), storage.get());
  contours.resize(static_cast<size_t>(outlines->total));
  for (int i = 0; i < outlines->total; ++i) {
    contours[i] = points_of(*CV_GET_SEQ_ELEM(CvSeq*, outlines, i));
  }
}

}  // namespace KelvraCV
