// Pictures in memory and in PNG and JPEG files, for the examples and the tools.
#ifndef KELVRA_CV_TOOLS_PICTURES_PICTURE_H_
#define KELVRA_CV_TOOLS_PICTURES_PICTURE_H_

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

enum class FileKind { kPng, kJpeg };

// Whether Exif turns the picture as the camera was held, or the pixels come as they are stored.
enum class ExifTurn { kApply, kIgnore };

// A file that claims more pixels is refused before memory is taken for it. 16384 x 16384.
constexpr int64_t kMostPixels = int64_t{1} << 28;

// All of these throw std::runtime_error with one line that names the file.

std::vector<uint8_t> load_file(const std::string& path);

// By the first bytes. `name` is for the message.
FileKind kind_of_contents(const std::vector<uint8_t>& file, const std::string& name);
// By the name's ending: .png, .jpg or .jpeg in small or capital letters.
FileKind kind_of_name(const std::string& path);

// A whole PNG or JPEG file as RGB; transparent pixels are shown on black. A file that is cut short
// or damaged is refused.
Picture decode_picture(const std::vector<uint8_t>& file, const std::string& name,
                       ExifTurn turn = ExifTurn::kApply);
Picture load_picture(const std::string& path, ExifTurn turn = ExifTurn::kApply);

void save_png(const Picture& picture, const std::string& path);
void save_jpeg(const Picture& picture, const std::string& path, int quality);
// As the name's ending says; a JPEG of high quality.
void save_picture(const Picture& picture, const std::string& path);

// With an opaque fourth channel.
Picture with_alpha(const Picture& rgb);
// Without it.
Picture without_alpha(const Picture& rgba);

#endif  // KELVRA_CV_TOOLS_PICTURES_PICTURE_H_
