// export_photo ORIGINAL EDITED: saves a half-size copy of a JPEG or PNG photo that keeps the
// original's colour profile and, for PNG, its Exif. An encoder writes pixels only; what belongs to
// the photo is carried over from the original file.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "pictures/picture.h"

namespace {

Picture half_size(const Picture& photo) {
  Picture half((photo.width + 1) / 2, (photo.height + 1) / 2, 3);
  KelvraCV::resize_bilinear_c3(photo.data(), half.data(), photo.width, photo.height, photo.stride(),
                               half.width, half.height, half.stride());
  return half;
}

// A file beside the result that is gone when the program ends, whatever happens.
struct PixelsOnly {
  explicit PixelsOnly(const std::string& edited)
      : path(std::filesystem::path(edited).replace_extension(
            ".pixels" + std::filesystem::path(edited).extension().string())) {}
  ~PixelsOnly() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
  }
  const std::string path;
};

void export_photo(const std::string& original, const std::string& edited) {
  const std::vector<uint8_t> file = load_file(original);
  const FileKind kind = kind_of_contents(file, original);
  if (kind_of_name(edited) != kind) {
    throw std::runtime_error(edited + " is to be of the same kind as " + original);
  }
  // A PNG carries its Exif along, which says how its pixels are turned; a JPEG does not.
  const Picture picture =
      decode_picture(file, original, kind == FileKind::kPng ? ExifTurn::kIgnore : ExifTurn::kApply);
  // The original may be written over only after its profile was read.
  const PixelsOnly pixels(edited);
  save_picture(half_size(picture), pixels.path);
  const auto carry = kind == FileKind::kPng ? KelvraCV::add_png_info : KelvraCV::add_jpeg_info;
  if (carry(original.c_str(), pixels.path.c_str(), edited.c_str()) != 0) {
    throw std::runtime_error(edited + " was not written");  // why, was printed
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: export_photo ORIGINAL EDITED, both .png or both .jpg\n");
    return 2;
  }
  try {
    export_photo(argv[1], argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "export_photo: %s\n", error.what());
    return 1;
  }
}
