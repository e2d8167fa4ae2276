// Thickening outlines in a mask with a round brush.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/rows.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// The brush covers what is strictly nearer to its centre than the radius: in the row `dy` from the
// centre, the columns up to the greatest integer h with h^2 < radius^2 - dy^2.
int half_width(int64_t radius, int64_t dy) {
  const int64_t square = radius * radius - dy * dy;
  auto half = static_cast<int64_t>(std::sqrt(static_cast<double>(square)));
  while (half * half >= square) --half;
  while ((half + 1) * (half + 1) < square) ++half;
  return static_cast<int>(half);
}

class Painter {
 public:
  Painter(uint8_t* pixels, int width, int height, int stride, int radius)
      : pixels_(pixels), width_(width), height_(height), stride_(stride), radius_(radius) {
    const int rows = std::min(radius, height);
    for (int dy = 0; dy < rows; ++dy) half_widths_.push_back(half_width(radius, dy));
    if (2 * radius_ - 1 > std::min(width, height)) return;  // no disc is inside
    for (int i = 0; i < 9; ++i) rims_[i] = rim(i % 3 - 1, i / 3 - 1);
  }

  // `painted` is the point before, whose disc is there already; null for the first.
  void paint(const Point& center, const Point* painted) const {
    const int64_t x = center.x, y = center.y, reach = radius_ - 1;
    const bool is_inside = x >= reach && x + reach < width_ && y >= reach && y + reach < height_;
    if (is_inside && painted != nullptr) {
      const int64_t dx = x - painted->x, dy = y - painted->y;
      if (std::abs(dx) <= 1 && std::abs(dy) <= 1) {
        uint8_t* const pixel = row_at(pixels_, center.y, stride_) + center.x;
        for (const ptrdiff_t offset : rims_[(dy + 1) * 3 + dx + 1]) pixel[offset] = 255;
        return;
      }
    }
    paint_all(x, y);
  }

 private:
  void paint_all(int64_t x, int64_t y) const {
    const int64_t top = std::max<int64_t>(y - radius_ + 1, 0);
    const int64_t bottom = std::min<int64_t>(y + radius_ - 1, height_ - 1);
    for (int64_t v = top; v <= bottom; ++v) {
      const auto dy = static_cast<size_t>(std::abs(v - y));
      const int64_t half =
          dy < half_widths_.size() ? half_widths_[dy] : half_width(radius_, std::abs(v - y));
      const int64_t first = std::max<int64_t>(x - half, 0);
      const int64_t end = std::min<int64_t>(x + half + 1, width_);
      if (first >= end) continue;
      std::memset(row_at(pixels_, static_cast<int>(v), stride_) + first, 255,
                  static_cast<size_t>(end - first));
    }
  }

  // What the disc covers that the disc before, a step (dx, dy) back, does not: offsets in bytes
  // from the centre. Outlines go in such steps, and their rims are a cell or so in each row.
  std::vector<ptrdiff_t> rim(int dx, int dy) const {
    std::vector<ptrdiff_t> offsets;
    for (int64_t v = 1 - radius_; v < radius_; ++v) {
      const int64_t half = half_widths_[static_cast<size_t>(std::abs(v))];
      const auto old_row = static_cast<size_t>(std::abs(v + dy));
      // Left and right of the old disc's columns; all of them where it has none.
      int64_t left_end = half + 1, right_start = half + 1;
      if (old_row < half_widths_.size()) {
        const int64_t old_half = half_widths_[old_row];
        left_end = std::min(left_end, -old_half - dx);
        right_start = std::max(-half, old_half - dx + 1);
      }
      for (int64_t u = -half; u < left_end; ++u) offsets.push_back(v * stride_ + u);
      for (int64_t u = right_start; u <= half; ++u) offsets.push_back(v * stride_ + u);
    }
    return offsets;
  }

  uint8_t* pixels_;
  int64_t width_, height_;
  int stride_;
  int64_t radius_;
  std::vector<int> half_widths_;
  std::vector<ptrdiff_t> rims_[9];  // by step: left, none, right; above first
};

}  // namespace

void expand_contours(const unsigned char* src, const std::vector<std::vector<Point>>& contours,
                     unsigned char* dst, int width, int height, int stride, int radius) {
  if (width < 1 || height < 1) return;
  std::memmove(dst, src, static_cast<size_t>(stride) * static_cast<size_t>(height));
  if (radius < 1) return;
  const Painter painter(dst, width, height, stride, radius);
  const Point* painted = nullptr;
  for (const std::vector<Point>& contour : contours) {
    for (const Point& point : contour) {
      painter.paint(point, painted);
      painted = &point;
    }
  }
}

}  // namespace KelvraCV
