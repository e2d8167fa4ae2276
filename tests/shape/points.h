// Lists of points, compared and printed.
#ifndef KELVRA_CV_TESTS_SHAPE_POINTS_H_
#define KELVRA_CV_TESTS_SHAPE_POINTS_H_

#include <ostream>
#include <vector>

#include "kelvra_cv.h"

namespace KelvraCV {

inline bool operator==(const Point& a, const Point& b) {
  return a.x == b.x && a.y == b.y;
}
inline std::ostream& operator<<(std::ostream& out, const Point& point) {
  return out << '(' << point.x << ", " << point.y << ')';
}

}  // namespace KelvraCV

namespace test {

using Points = std::vector<KelvraCV::Point>;
using PointLists = std::vector<Points>;

// All coordinates, with each list's length before them.
inline std::vector<int> flattened(const PointLists& lists) {
  std::vector<int> numbers;
  for (const Points& points : lists) {
    numbers.push_back(static_cast<int>(points.size()));
    for (const KelvraCV::Point& point : points) {
      numbers.insert(numbers.end(), {point.x, point.y});
    }
  }
  return numbers;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_SHAPE_POINTS_H_
