// Anchor boxes of a detector's grids, normalised to the image.
#include <algorithm>

#include "kelvra_cv.h"

namespace KelvraCV {

void get_anchors(float* anchors, int width, int height, int** anchor_sizes, int num_anchors,
                 int* strides, int num_strides) {
  if (width < 1 || height < 1) return;
  const float per_width = 1.0f / static_cast<float>(width);
  const float per_height = 1.0f / static_cast<float>(height);
  for (int level = 0; level < num_strides; ++level) {
    const int stride = strides[level];
    if (stride < 1) continue;
    const int rows = height / stride, columns = width / stride;
    for (int y = 0; y < rows; ++y) {
      const auto cy = static_cast<float>((y + 0.5) * stride / height);
      for (int x = 0; x < columns; ++x) {
        const auto cx = static_cast<float>((x + 0.5) * stride / width);
        for (int k = 0; k < num_anchors; ++k) {
          const auto size = static_cast<float>(anchor_sizes[level][k]);
          const float box[4] = {cx, cy, size * per_width, size * per_height};
          anchors = std::copy_n(box, 4, anchors);
        }
      }
    }
  }
}

}  // namespace KelvraCV
