#include "gallery/gallery.h"

void add_resize(Gallery& gallery) {
  gallery.heading("Resizing");
  const Picture& photo = gallery.photo();
  using Resize = void (*)(const unsigned char*, unsigned char*, int, int, int, int, int, int);
  const auto add = [&](const std::string& text, Resize resize, const Picture& from, int width,
                       int height) {
    Picture result(width, height, 3);
    gallery.add(
        text, result,
        [&] {
          resize(from.data(), result.data(), from.width, from.height, from.stride(), width, height,
                 result.stride());
        },
        &from);
  };
  const int third_width = photo.width / 3, third_height = photo.height / 3;
  add("resize_nn_c3 to a third", KelvraCV::resize_nn_c3, photo, third_width, third_height);
  add("resize_bilinear_c3 to a third", KelvraCV::resize_bilinear_c3, photo, third_width,
      third_height);

  // A detail, enlarged six times.
  Picture detail(photo.width / 6, photo.height / 6, 3);
  for (int y = 0; y < detail.height; ++y) {
    const uint8_t* const row =
        photo.data() + (photo.height / 3 + y) * photo.stride() + photo.width / 3 * 3;
    std::copy_n(row, detail.stride(), detail.data() + y * detail.stride());
  }
  const int width = 6 * detail.width, height = 6 * detail.height;
  add("resize_nn_c3, 6 times", KelvraCV::resize_nn_c3, detail, width, height);
  add("resize_bilinear_c3, 6 times", KelvraCV::resize_bilinear_c3, detail, width, height);
  add("resize_bicubic_c3, 6 times", KelvraCV::resize_bicubic_c3, detail, width, height);
}
