#include "gallery/gallery.h"

void add_color(Gallery& gallery) {
  gallery.heading("Color");
  const Picture& photo = gallery.photo();

  Picture gray(photo.width, photo.height, 1);
  gallery.add("rgb2gray", gray, [&] {
    KelvraCV::rgb2gray(photo.data(), gray.data(), photo.width, photo.height, photo.stride(),
                       gray.stride());
  });
}
