// What several edge tests share.
#ifndef KELVRA_CV_TESTS_EDGE_EDGE_SUPPORT_H_
#define KELVRA_CV_TESTS_EDGE_EDGE_SUPPORT_H_

#include <algorithm>

#include "support/captured_log.h"
#include "support/images.h"

namespace test {

// A sample with coordinates clamped to a packed image.
struct Clamped {
  const uint8_t* samples;
  int width, height, channels = 1;
  int operator()(int x, int y, int c = 0) const {
    x = std::clamp(x, 0, width - 1);
    y = std::clamp(y, 0, height - 1);
    return samples[(static_cast<size_t>(y) * width + x) * channels + c];
  }
};

// The Sobel derivatives, straight from their definition.
inline int expected_dx(const Clamped& p, int x, int y) {
  return p(x + 1, y - 1) + 2 * p(x + 1, y) + p(x + 1, y + 1) - p(x - 1, y - 1) - 2 * p(x - 1, y) -
         p(x - 1, y + 1);
}
inline int expected_dy(const Clamped& p, int x, int y) {
  return p(x - 1, y - 1) + 2 * p(x, y - 1) + p(x + 1, y - 1) - p(x - 1, y + 1) - 2 * p(x, y + 1) -
         p(x + 1, y + 1);
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_EDGE_EDGE_SUPPORT_H_
