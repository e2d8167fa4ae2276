#include <algorithm>

#include "gallery/gallery.h"

namespace {

void add_perspective(Gallery& gallery, const Picture& rgba) {
  const auto w = static_cast<float>(rgba.width), h = static_cast<float>(rgba.height);
  const float corners[8] = {0, 0, w, 0, w, h, 0, h};
  const float board[8] = {0.1f * w, 0.15f * h, 0.95f * w, 0.02f * h,
                          0.9f * w, 0.9f * h,  0.05f * w, 0.75f * h};
  float H[9];
  KelvraCV::get_perspective_transform(corners, board, H);
  Picture warped(rgba.width, rgba.height, 4);
  gallery.add("warpperspective_bilinear_c4, border 0", warped, [&] {
    KelvraCV::warpperspective_bilinear_c4(rgba.data(), rgba.width, rgba.height, rgba.stride(),
                                          warped.data(), warped.width, warped.height,
                                          warped.stride(), H, 0, 0xFF302820);
  });
}

// A tilted square around the middle: cut out upright, inverted and pasted back.
void add_crop(Gallery& gallery, const Picture& rgba) {
  const float side = 0.6f * static_cast<float>(std::min(rgba.width, rgba.height));
  const float middle_x = 0.5f * static_cast<float>(rgba.width);
  const float middle_y = 0.5f * static_cast<float>(rgba.height);
  const float in_image[4] = {middle_x - 0.3f * side, middle_y - 0.1f * side, middle_x + 0.3f * side,
                             middle_y + 0.1f * side};
  const float in_crop[4] = {0.18f * 320, 0.5f * 320, 0.82f * 320, 0.5f * 320};
  Picture crop(320, 320, 4), image = rgba;
  KelvraCV::ImageData crop_view = crop.view(), image_view = image.view();
  float inverse[6];
  gallery.add("align_crop_img", crop, [&] {
    KelvraCV::align_crop_img(rgba.view(), in_crop, in_image, 2, crop_view, inverse);
  });
  for (size_t i = 0; i < crop.pixels.size(); ++i) {
    if (i % 4 != 3) crop.pixels[i] = static_cast<uint8_t>(255 - crop.pixels[i]);
  }
  gallery.add("align_back_img of the inverted crop, erode 24, feather 4", image, [&] {
    image.pixels = rgba.pixels;
    KelvraCV::align_back_img(crop_view, inverse, image_view, 24, 4);
  });
}

}  // namespace

void add_warp(Gallery& gallery) {
  gallery.heading("Warps and aligned crops");
  const Picture rgba = with_alpha(gallery.photo());
  add_perspective(gallery, rgba);
  add_crop(gallery, rgba);
}
