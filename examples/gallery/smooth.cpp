#include "gallery/gallery.h"

void add_smooth(Gallery& gallery) {
  gallery.heading("Edge-preserving filters");
  const Picture& photo = gallery.photo();
  const Picture result(photo.width, photo.height, 3);
  for (const float scale : {1.0f, 0.25f}) {
    const std::string name = scale == 1.0f ? "guided_filter_self, radius 8, eps 0.01"
                                           : "the same with statistics at a quarter of the size";
    gallery.add(name, result, [&] {
      KelvraCV::ImageData out = result.view();
      KelvraCV::guided_filter_self(photo.view(), out, 8, scale, 0.01f);
    });
  }
  gallery.add("bilateral_filter, sigmas 0.03 and 0.1", result, [&] {
    KelvraCV::ImageData out = result.view();
    KelvraCV::bilateral_filter(photo.view(), out, 0.03f, 0.1f);
  });
}
