// export_photo ORIGINAL EDITED: saves a half-size copy of a JPEG or PNG photo that keeps the
// original's colour profile and, for PNG, its Exif. An encoder writes pixels only; what belongs to
// the photo is carried over from the original file.
#include <cstdio>
#include <exception>

#include "pictures/picture.h"

namespace {

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

Picture half_size(const Picture& photo) {
  Picture half((photo.width + 1) / 2, (photo.height + 1) / 2, 3);
  KelvraCV::resize_bilinear_c3(photo.data(), half.data(), photo.width, photo.height, photo.stride(),
                               half.width, half.height, half.stride());
  return half;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: export_photo ORIGINAL EDITED, both .png or both .jpg\n");
    return 2;
  }
  const char* const original = argv[1];
  const char* const edited = argv[2];
  try {
    const Picture picture = half_size(load_picture(original));
    // The functions print what went wrong. Input and output may be the same file.
    if (ends_with(edited, ".png")) {
      save_png(picture, edited);
      return KelvraCV::add_png_info(original, edited, edited) == 0 ? 0 : 1;
    }
    save_jpeg(picture, edited, 92);
    return KelvraCV::add_jpeg_info(original, edited, edited) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "export_photo: %s\n", error.what());
    return 1;
  }
}
