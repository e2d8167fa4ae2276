// export_photo ORIGINAL EDITED: saves a half-size copy of a JPEG or PNG photo that keeps the
// original's colour profile and, for PNG, its Exif. An encoder writes pixels only; what belongs to
// the photo is carried over from the original file.
#include <cstdio>
#include <exception>
#include <stdexcept>

#include "files.h"
#include "pictures/picture.h"

namespace {

Picture half_size(const Picture& photo) {
  Picture half((photo.width + 1) / 2, (photo.height + 1) / 2, 3);
  KelvraCV::resize_bilinear_c3(photo.data(), half.data(), photo.width, photo.height, photo.stride(),
                               half.width, half.height, half.stride());
  return half;
}

void export_photo(const std::string& original, const std::string& edited) {
  kelvra::PictureFile file = kelvra::decode(kelvra::read_all(original));
  if (kelvra::format_for(edited, "") != file.format) {
    throw std::runtime_error(edited + " is to be of the same kind as " + original);
  }
  // A PNG carries its Exif along, which says how its pixels are turned; a JPEG does not.
  const bool png = file.format == kelvra::Format::kPng;
  if (!png) file.image = kelvra::upright(std::move(file.image), file.metadata.orientation);

  // Beside its place until it is whole: the original may be written over.
  kelvra::NewFile result(edited);
  result.write(
      kelvra::encode(half_size(without_alpha(Picture(std::move(file.image)))), {file.format}, {}));
  const auto carry = png ? KelvraCV::add_png_info : KelvraCV::add_jpeg_info;
  if (carry(original.c_str(), result.path().c_str(), result.path().c_str()) != 0) {
    throw std::runtime_error(edited + " was not written");  // why, was printed
  }
  result.commit();
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
