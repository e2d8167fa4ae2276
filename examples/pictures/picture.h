// Pictures in memory and in files, for the examples: the command line's, always R, G, B when read.
#ifndef KELVRA_CV_EXAMPLES_PICTURES_PICTURE_H_
#define KELVRA_CV_EXAMPLES_PICTURES_PICTURE_H_

#include <string>
#include <utility>

#include "transfer.h"

// Packed interleaved pixels of 1 (gray), 3 (RGB) or 4 (RGBA) bytes.
struct Picture : operations::Image {
  using Image::Image;
  explicit Picture(Image image) : Image(std::move(image)) {}

  // The library's record of it; the library writes only to outputs.
  KelvraCV::ImageData view() const {
    return {const_cast<uint8_t*>(data()), width, height, channels, stride(), 0, 0};
  }
};

inline Picture without_alpha(Picture picture) {
  return Picture(operations::run(operations::parse_chain("drop_alpha"), std::move(picture)));
}

// With an opaque fourth channel.
inline Picture with_alpha(const Picture& rgb) {
  Picture rgba(rgb.width, rgb.height, 4);
  for (size_t i = 0; i < static_cast<size_t>(rgb.width) * rgb.height; ++i) {
    for (size_t k = 0; k < 3; ++k) rgba.pixels[4 * i + k] = rgb.pixels[3 * i + k];
    rgba.pixels[4 * i + 3] = 255;
  }
  return rgba;
}

// As the camera was held. Throws an exception with one line that names the file.
inline Picture load_picture(const std::string& path) {
  return without_alpha(Picture(kelvra::load(path).image));
}

// As the name's ending says; a JPEG of high quality.
inline void save_picture(const Picture& picture, const std::string& path) {
  constexpr int kQuality = 92;
  kelvra::save(picture, path, {kelvra::format_for(path, ""), kQuality}, {}, "");
}

#endif  // KELVRA_CV_EXAMPLES_PICTURES_PICTURE_H_
