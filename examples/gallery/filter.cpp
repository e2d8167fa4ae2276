#include "gallery/gallery.h"

using namespace KelvraCV;

namespace {

void add_blurs(Gallery& gallery, const Picture& gray) {
  const int width = gray.width, height = gray.height;
  Picture out(width, height, 1);
  const auto add = [&](const std::string& text, const auto& blur) {
    gallery.add(
        text, out, [&] { blur(gray.data(), out.data(), width, height); }, &gray);
  };
  for (const int size : {5, 21}) {
    add("gaussian_blur, " + std::to_string(size) + " taps",
        [=](auto... plane) { gaussian_blur(plane..., size, 0.0f); });
  }
  add("gaussian_blur_3x3", [=](auto... plane) { gaussian_blur_3x3(plane..., width, width); });
  add("gaussian_blur_5x5", gaussian_blur_5x5);
  add("filter_box, radius 8", [](auto... plane) { filter_box(plane..., 8); });
  add("gaussian_blur_fast, sigma 4", [](auto... plane) { gaussian_blur_fast(plane..., 4.0f); });

  const Picture rgba = with_alpha(gallery.photo());
  Picture colours(width, height, 4);
  gallery.add("gaussian_blur_c4, sigma 4", colours,
              [&] { gaussian_blur_c4(rgba.data(), colours.data(), width, height, 4.0f); });
}

void add_masks(Gallery& gallery, Picture gray) {
  const int width = gray.width, height = gray.height;
  Picture mask(width, height, 1), out(width, height, 1);
  gallery.add(
      "threshold, above 127", mask,
      [&] { threshold(gray.data(), mask.data(), width, height, 127, 255); }, &gray);
  gallery.add(
      "dilate_mask, radius 4", out, [&] { dilate_mask(mask.data(), out.data(), width, height, 4); },
      &mask);
  gallery.add(
      "erode_mask, radius 4", out, [&] { erode_mask(mask.data(), out.data(), width, height, 4); },
      &mask);
}

}  // namespace

void add_filter(Gallery& gallery) {
  gallery.heading("Filters");
  const Picture gray = gray_photo(gallery);
  add_blurs(gallery, gray);
  add_masks(gallery, gray);
}
