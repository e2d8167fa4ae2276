// Pictures in memory and in files, for the examples.
#ifndef KELVRA_CV_EXAMPLES_PICTURES_PICTURE_H_
#define KELVRA_CV_EXAMPLES_PICTURES_PICTURE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kelvra_cv.h"

// Packed interleaved pixels of 1 (gray), 3 (RGB) or 4 (RGBA) bytes.
struct Picture {
  Picture() = default;
  Picture(int w, int h, int c)
      : width(w), height(h), channels(c), pixels(static_cast<size_t>(w) * h * c) {}

  uint8_t* data() { return pixels.data(); }
  const uint8_t* data() const { return pixels.data(); }
  int stride() const { return width * channels; }
  // The library's record of it; the library writes only to outputs.
  KelvraCV::ImageData view() const {
    return {const_cast<uint8_t*>(pixels.data()), width, height, channels, stride(), 0, 0};
  }

  int width = 0, height = 0, channels = 0;
  std::vector<uint8_t> pixels;
};

// A JPEG or PNG file as RGB. Throws std::runtime_error.
Picture load_picture(const std::string& path);
void save_png(const Picture& picture, const std::string& path);
void save_jpeg(const Picture& picture, const std::string& path, int quality);

// With an opaque fourth channel.
Picture with_alpha(const Picture& rgb);
// Without it.
Picture without_alpha(const Picture& rgba);

#endif  // KELVRA_CV_EXAMPLES_PICTURES_PICTURE_H_
