// gallery PHOTO FOLDER: shows the library's operations on a JPEG or PNG photo, as a page.
#include <cstdio>
#include <exception>

#include "gallery/gallery.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: gallery PHOTO FOLDER\n");
    return 2;
  }
  try {
    Gallery gallery(load_picture(argv[1]), argv[2]);
    add_color(gallery);
    add_filter(gallery);
    add_warp(gallery);
    add_detect(gallery);
    gallery.finish();
    std::printf("%d operations: %s/index.html\n", gallery.count(), argv[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "gallery: %s\n", error.what());
    return 1;
  }
  return 0;
}
