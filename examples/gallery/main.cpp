// gallery PHOTO FOLDER: shows the library's operations on a JPEG or PNG photo, as a page.
#include <algorithm>
#include <cstdio>
#include <exception>

#include "gallery/gallery.h"

namespace {

constexpr int kPageWidth = 720;

// Halved while it is much wider than the page, then brought to its width.
Picture page_sized(Picture photo) {
  const auto resized = [&photo](int width) {
    const int height = static_cast<int>(static_cast<int64_t>(photo.height) * width / photo.width);
    Picture result(width, std::max(height, 1), 3);
    KelvraCV::resize_bilinear_c3(photo.data(), result.data(), photo.width, photo.height,
                                 photo.stride(), result.width, result.height, result.stride());
    return result;
  };
  while (photo.width >= 2 * kPageWidth) photo = resized(photo.width / 2);
  return photo.width > kPageWidth ? resized(kPageWidth) : photo;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: gallery PHOTO FOLDER\n");
    return 2;
  }
  try {
    Gallery gallery(page_sized(load_picture(argv[1])), argv[2]);
    add_color(gallery);
    add_resize(gallery);
    add_filter(gallery);
    add_smooth(gallery);
    add_edge(gallery);
    add_warp(gallery);
    add_shape(gallery);
    add_detect(gallery);
    gallery.finish();
    std::printf("%d operations: %s/index.html\n", gallery.count(), argv[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "gallery: %s\n", error.what());
    return 1;
  }
  return 0;
}
