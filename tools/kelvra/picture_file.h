// JPEG and PNG files as pictures with their metadata, and back.
//
// Files come from strangers: what they claim is checked against their length before memory is
// taken, and whatever they hold, the outcome is a picture or a FileError.
#ifndef KELVRA_CV_TOOLS_KELVRA_PICTURE_FILE_H_
#define KELVRA_CV_TOOLS_KELVRA_PICTURE_FILE_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "operations.h"

namespace kelvra {

using operations::Image;
using Bytes = std::vector<uint8_t>;

// A file that cannot be read, decoded or written; what() is one line.
class FileError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class Format { kJpeg, kPng };

struct Metadata {
  Bytes icc;             // the colour profile, whole
  Bytes exif;            // from its TIFF header on
  int orientation = 1;   // of the pixels as stored, 1 to 8, by Exif
  int icc_segments = 0;  // of a JPEG file: how many the profile is split over
};

struct PictureFile {
  Format format;
  Image image;  // as stored: not turned yet
  Metadata metadata;
};

// Gray stays gray, palettes and 16-bit samples become 8-bit RGB, transparency becomes alpha, CMYK
// becomes RGB. A file that ends early is broken. With a draft size, a JPEG file is decoded at the
// half, quarter or eighth whose longer side is the nearest above it: much faster where the picture
// is to be shrunk to that size, but not the same pixels.
PictureFile decode(const Bytes& file, int draft_size = 0);

// The picture upright, as its orientation says.
Image upright(Image image, int orientation);

struct Encoding {
  Format format = Format::kPng;
  int quality = 90;  // of JPEG, 1 to 100; from 90 on with full chroma
  int effort = 3;    // of PNG, 0 to 9
};

// Writes the metadata that is not empty, with the orientation 1. JPEG has no alpha: it is dropped.
Bytes encode(const Image& image, const Encoding& encoding, const Metadata& metadata);

// Of a JPEG file, the same pixels without metadata but for the orientation, unless it is 1.
Bytes strip_jpeg(const Bytes& file);

}  // namespace kelvra

#endif  // KELVRA_CV_TOOLS_KELVRA_PICTURE_FILE_H_
