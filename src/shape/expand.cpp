// Thickening outlines in a mask with a round brush.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/rows.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// The columns first .. last, both inclusive; none if last < first.
struct Span {
  int64_t first;
  int64_t last;
};

// The brush covers what is strictly nearer to its centre than the radius: in the row `dy` from the
// centre, the columns up to the greatest integer h with h^2 < radius^2 - dy^2.
class Brush {
 public:
  Brush(int radius, int rows) : radius_(radius) {
    const int count = std::min(radius, rows);
    for (int dy = 0; dy < count; ++dy) half_widths_.push_back(half_width_of(dy));
  }

  int64_t radius() const { return radius_; }

  Span span(const Point& center, int y) const {
    const int64_t dy = std::abs(int64_t{y} - center.y);
    if (dy >= radius_) return {0, -1};
    const int64_t half = dy < static_cast<int64_t>(half_widths_.size())
                             ? half_widths_[static_cast<size_t>(dy)]
                             : half_width_of(dy);
    return {center.x - half, center.x + half};
  }

 private:
  int half_width_of(int64_t dy) const {
    const int64_t limit = radius_ * radius_ - dy * dy;
    auto half = static_cast<int64_t>(std::sqrt(static_cast<double>(limit)));
    while (half * half >= limit) --half;
    while ((half + 1) * (half + 1) < limit) ++half;
    return static_cast<int>(half);
  }

  int64_t radius_;
  std::vector<int> half_widths_;
};

void paint(uint8_t* row, int width, int64_t first, int64_t last) {
  first = std::max<int64_t>(first, 0);
  last = std::min<int64_t>(last, width - 1);
  if (first <= last) std::memset(row + first, 255, static_cast<size_t>(last - first + 1));
}

// Paints the brush at `center`, apart from what it covers at `painted` as well: along an outline
// that leaves a column or so at the spans' ends.
void paint_rest(const Brush& brush, const Point& center, const Point* painted,
                const ImageData& dst) {
  const int64_t top = std::max<int64_t>(center.y - brush.radius() + 1, 0);
  const int64_t bottom = std::min<int64_t>(center.y + brush.radius() - 1, dst.height - 1);
  for (int64_t y = top; y <= bottom; ++y) {
    const Span span = brush.span(center, static_cast<int>(y));
    const Span old = painted == nullptr ? Span{0, -1} : brush.span(*painted, static_cast<int>(y));
    uint8_t* row = row_at(dst.data, static_cast<int>(y), dst.stride);
    if (old.last < span.first || old.first > span.last) {
      paint(row, dst.width, span.first, span.last);
      continue;
    }
    paint(row, dst.width, span.first, old.first - 1);
    paint(row, dst.width, old.last + 1, span.last);
  }
}

}  // namespace

void expand_contours(const unsigned char* src, const std::vector<std::vector<Point>>& contours,
                     unsigned char* dst, int width, int height, int stride, int radius) {
  if (width < 1 || height < 1) return;
  std::memmove(dst, src, static_cast<size_t>(stride) * static_cast<size_t>(height));
  if (radius < 1) return;
  const Brush brush(radius, height);
  const ImageData image{dst, width, height, 1, stride, 0, 0};
  const Point* painted = nullptr;
  for (const std::vector<Point>& contour : contours) {
    for (const Point& point : contour) {
      paint_rest(brush, point, painted, image);
      painted = &point;
    }
  }
}

}  // namespace KelvraCV
