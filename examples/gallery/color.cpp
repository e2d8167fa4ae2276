#include "gallery/gallery.h"

namespace {

Picture like(const Picture& other, int channels) {
  return Picture(other.width, other.height, channels);
}

// One channel of interleaved pixels, as a picture.
Picture channel(const Picture& picture, int index) {
  std::vector<Picture> planes(picture.channels, like(picture, 1));
  std::vector<KelvraCV::ImageData> records;
  for (const Picture& plane : planes) records.push_back(plane.view());
  KelvraCV::split_channels(picture.view(), records);
  return planes[index];
}

void add_hsv(Gallery& gallery) {
  const Picture& photo = gallery.photo();
  const Picture hsv = like(photo, 3), back = like(photo, 3);
  const auto forward = [&] {
    KelvraCV::ImageData out = hsv.view();
    KelvraCV::rgba2hsv(photo.view(), out);
  };
  forward();
  gallery.add("rgba2hsv: hue", channel(hsv, 0), forward);
  gallery.add("rgba2hsv: saturation", channel(hsv, 1), forward);
  gallery.add("hsv2rgb, there and back", back, [&] {
    KelvraCV::ImageData out = back.view();
    KelvraCV::hsv2rgb(hsv.view(), out);
  });
}

void add_ycbcr(Gallery& gallery) {
  const Picture& photo = gallery.photo();
  Picture ycbcr = like(photo, 3), back = like(photo, 3);
  const auto forward = [&] {
    KelvraCV::rgb_to_ycbcr(photo.data(), ycbcr.data(), photo.width, photo.height, photo.stride(),
                           false);
  };
  forward();
  gallery.add("rgb_to_ycbcr: Cr", channel(ycbcr, 2), forward);
  gallery.add("ycbcr_to_rgb, there and back", back, [&] {
    KelvraCV::ycbcr_to_rgb(ycbcr.data(), back.data(), photo.width, photo.height, photo.stride(),
                           false);
  });
}

}  // namespace

void add_color(Gallery& gallery) {
  gallery.heading("Color");
  const Picture& photo = gallery.photo();

  Picture gray = like(photo, 1);
  gallery.add("rgb2gray", gray, [&] {
    KelvraCV::rgb2gray(photo.data(), gray.data(), photo.width, photo.height, photo.stride(),
                       gray.stride());
  });
  add_ycbcr(gallery);
  add_hsv(gallery);
}
