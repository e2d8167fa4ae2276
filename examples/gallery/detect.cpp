#include <algorithm>

#include "gallery/gallery.h"

namespace {

// A copy of the photo with a red cross at every corner.
Picture with_crosses(const Picture& photo, const std::vector<KelvraCV::KeyPoint>& corners) {
  Picture marked = photo;
  const auto mark = [&](int x, int y) {
    uint8_t* const pixel = marked.data() + y * marked.stride() + 3 * x;
    pixel[0] = 255, pixel[1] = pixel[2] = 0;
  };
  for (const KelvraCV::KeyPoint& corner : corners) {
    for (int i = -2; i <= 2; ++i) mark(corner.x + i, corner.y), mark(corner.x, corner.y + i);
  }
  return marked;
}

}  // namespace

void add_detect(Gallery& gallery) {
  gallery.heading("Detection");
  const Picture& photo = gallery.photo();

  std::vector<KelvraCV::KeyPoint> corners;
  const auto find = [&] {
    KelvraCV::fast_9_16(photo.data(), corners, photo.width, photo.height, 3, photo.stride(), 0, 40,
                        true, nullptr);
  };
  find();
  gallery.add("fast_9_16, threshold 40, suppressed", with_crosses(photo, corners), find);

  // The planes of the tensor, shown as the picture that they hold.
  constexpr int kSize = 416;
  std::vector<float> tensor(3 * kSize * kSize);
  Picture shown(kSize, kSize, 3);
  float scale = 0, mean[] = {0, 0, 0}, deviation[] = {255, 255, 255};
  const auto make_tensor = [&] {
    KelvraCV::object_detetion_preprocess(photo.view(), kSize, kSize, tensor.data(), scale, mean,
                                         deviation, true, true, true);
  };
  make_tensor();
  for (int i = 0; i < kSize * kSize; ++i) {
    for (int k = 0; k < 3; ++k) {
      shown.pixels[3 * i + k] = static_cast<uint8_t>(tensor[k * kSize * kSize + i] * 255);
    }
  }
  gallery.add("object_detetion_preprocess, 416 x 416, planar, normalised", shown, make_tensor);
}
