// Boundary pixels of a mask: foreground that touches background.
#include <algorithm>

#include "core/rows.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Inside the image a pixel of 255 is marked when the sum of its eight neighbours is below 8 * 255:
// when one of them, and with it their bitwise "and", is not 255.
void mark_inside(const uint8_t* above, const uint8_t* row, const uint8_t* below, uint8_t* out,
                 int count) {
  for (int x = 0; x < count; ++x) {
    const uint8_t all = above[x - 1] & above[x] & above[x + 1] & row[x - 1] & row[x + 1] &
                        below[x - 1] & below[x] & below[x + 1];
    out[x] = static_cast<uint8_t>(row[x] == 255 && all != 255 ? 255 : 0);
  }
}

// On the image's border the rule differs, as intended: a neighbour must be exactly 0, and only
// those inside the image count. The pixel itself may be looked at too, since it is 255.
void mark_border_row(const uint8_t* row, const uint8_t* beside, uint8_t* out, int count) {
  for (int x = 0; x < count; ++x) {
    const uint8_t least =
        std::min({row[x - 1], row[x + 1], beside[x - 1], beside[x], beside[x + 1]});
    out[x] = static_cast<uint8_t>(row[x] == 255 && least == 0 ? 255 : 0);
  }
}

uint8_t border_mark(const uint8_t* src, int width, int height, int x, int y) {
  uint8_t least = 255;
  for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height - 1); ++v) {
    for (int u = std::max(x - 1, 0); u <= std::min(x + 1, width - 1); ++u) {
      least = std::min(least, row_at(src, v, width)[u]);
    }
  }
  return row_at(src, y, width)[x] == 255 && least == 0 ? 255 : 0;
}

}  // namespace

void find_contours(unsigned char* src, unsigned char* dst, int width, int height) {
  if (width < 1 || height < 1) return;
  const int last = height - 1;
  for (int y = 0; y < height; ++y) {
    const uint8_t* row = row_at<const uint8_t>(src, y, width);
    uint8_t* out = row_at(dst, y, width);
    if (y > 0 && y < last) {
      mark_inside(row - width + 1, row + 1, row + width + 1, out + 1, width - 2);
    } else {
      const int beside = y == 0 ? std::min(1, last) : last - 1;
      mark_border_row(row + 1, row_at<const uint8_t>(src, beside, width) + 1, out + 1, width - 2);
    }
    out[0] = border_mark(src, width, height, 0, y);
    out[width - 1] = border_mark(src, width, height, width - 1, y);
  }
  // As intended, the mark of the bottom-right corner goes to the bottom-left one.
  uint8_t* bottom = row_at(dst, last, width);
  const uint8_t corner = bottom[width - 1];
  bottom[width - 1] = 0;
  bottom[0] |= corner;
}

}  // namespace KelvraCV
