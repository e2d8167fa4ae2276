#include "pictures/picture.h"

#include <libexif/exif-data.h>
#include <png.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace {

constexpr size_t kPngSignatureSize = 8;
// Deflate packs at most 1032 bytes into one.
constexpr int64_t kMostDeflated = 1032;

[[noreturn]] void refuse(const std::string& name, const std::string& why) {
  throw std::runtime_error(name + " " + why);
}

// Before memory is taken for them.
void check_size(int64_t width, int64_t height, const std::string& name) {
  if (width * height > kMostPixels) {
    refuse(name, "claims " + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels; at most " + std::to_string(kMostPixels) + " are read");
  }
}

Picture decode_jpeg(const std::vector<uint8_t>& file, const std::string& name) {
  const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
  int width = 0, height = 0, subsampling = 0, color_space = 0;
  if (tjDecompressHeader3(decoder.get(), file.data(), file.size(), &width, &height, &subsampling,
                          &color_space) != 0) {
    refuse(name, std::string("cannot be read: ") + tjGetErrorStr2(decoder.get()));
  }
  check_size(width, height, name);
  Picture picture(width, height, 3);
  // A warning means that the decoder had to invent pixels.
  if (tjDecompress2(decoder.get(), file.data(), file.size(), picture.data(), width,
                    picture.stride(), height, TJPF_RGB, TJFLAG_ACCURATEDCT) != 0) {
    refuse(name, std::string("is damaged or cut short: ") + tjGetErrorStr2(decoder.get()));
  }
  return picture;
}

Picture decode_png(const std::vector<uint8_t>& file, const std::string& name) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  const std::unique_ptr<png_image, void (*)(png_image*)> owner(&image, png_image_free);
  if (png_image_begin_read_from_memory(&image, file.data(), file.size()) == 0) {
    refuse(name, std::string("cannot be read: ") + image.message);
  }
  check_size(image.width, image.height, name);
  // Even of one bit a pixel, so many do not fit into the file.
  if (int64_t{image.width} * image.height / 8 > kMostDeflated * static_cast<int64_t>(file.size())) {
    refuse(name, "is damaged or cut short: it is too small for its " + std::to_string(image.width) +
                     " x " + std::to_string(image.height) + " pixels");
  }
  image.format = PNG_FORMAT_RGB;
  Picture picture(static_cast<int>(image.width), static_cast<int>(image.height), 3);
  if (png_image_finish_read(&image, nullptr, picture.data(), picture.stride(), nullptr) == 0) {
    refuse(name, std::string("is damaged or cut short: ") + image.message);
  }
  return picture;
}

// The data of a PNG file's "eXIf" chunk as JPEG files have it, or nothing. A chunk is a big-endian
// length, four letters, the data and a checksum.
std::vector<uint8_t> png_exif(const std::vector<uint8_t>& file) {
  size_t at = kPngSignatureSize;
  while (file.size() - at >= 12) {
    const uint8_t* const chunk = file.data() + at;
    const size_t length = png_get_uint_32(chunk);
    if (file.size() - at - 12 < length) break;
    if (std::memcmp(chunk + 4, "eXIf", 4) == 0) {
      std::vector<uint8_t> exif{'E', 'x', 'i', 'f', 0, 0};
      exif.insert(exif.end(), chunk + 8, chunk + 8 + length);
      return exif;
    }
    at += 12 + length;
  }
  return {};
}

// Exif's Orientation: 1 to 8, and 1 where there is none.
int orientation_of(const std::vector<uint8_t>& file, FileKind kind) {
  constexpr size_t kExifEnds = size_t{1} << 24;  // it stands near the start of a JPEG file
  const std::vector<uint8_t> exif =
      kind == FileKind::kPng ? png_exif(file) : std::vector<uint8_t>{};
  const std::vector<uint8_t>& bytes = kind == FileKind::kPng ? exif : file;
  const std::unique_ptr<ExifData, void (*)(ExifData*)> data(
      exif_data_new_from_data(bytes.data(),
                              static_cast<unsigned>(std::min(bytes.size(), kExifEnds))),
      exif_data_unref);
  if (data == nullptr) return 1;
  const ExifEntry* const entry =
      exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
  if (entry == nullptr || entry->format != EXIF_FORMAT_SHORT || entry->size < 2) return 1;
  const int orientation = exif_get_short(entry->data, exif_data_get_byte_order(data.get()));
  return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

// As the camera was held. 2 to 4 mirror columns, both, or rows; 5 to 8 also exchange them.
Picture turned(const Picture& stored, int orientation) {
  const bool exchanged = orientation >= 5;
  const bool last_column = orientation == 2 || orientation == 3 || orientation >= 7;
  const bool last_row =
      orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  Picture result(exchanged ? stored.height : stored.width, exchanged ? stored.width : stored.height,
                 stored.channels);
  uint8_t* out = result.data();
  for (int y = 0; y < result.height; ++y) {
    for (int x = 0; x < result.width; ++x) {
      const int along = exchanged ? y : x, down = exchanged ? x : y;
      const size_t column = last_column ? stored.width - 1 - along : along;
      const size_t row = last_row ? stored.height - 1 - down : down;
      const size_t pixel = row * stored.width + column;
      out = std::copy_n(stored.data() + pixel * stored.channels, stored.channels, out);
    }
  }
  return result;
}

// One line instead of an encoder's or the system's words for it.
void check_folder(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (!folder.empty() && !std::filesystem::is_directory(folder, error)) {
    throw std::runtime_error("there is no folder " + folder.string());
  }
}

}  // namespace

std::vector<uint8_t> load_file(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot open " + path);
  std::vector<uint8_t> file{std::istreambuf_iterator<char>(stream), {}};
  if (stream.bad()) throw std::runtime_error("cannot read " + path);
  return file;
}

FileKind kind_of_contents(const std::vector<uint8_t>& file, const std::string& name) {
  if (file.size() >= kPngSignatureSize && png_sig_cmp(file.data(), 0, kPngSignatureSize) == 0) {
    return FileKind::kPng;
  }
  if (file.size() >= 2 && file[0] == 0xff && file[1] == 0xd8) return FileKind::kJpeg;
  refuse(name, "is neither a PNG nor a JPEG file");
}

FileKind kind_of_name(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (ending == ".png") return FileKind::kPng;
  if (ending == ".jpg" || ending == ".jpeg") return FileKind::kJpeg;
  refuse(path, "ends neither in .png nor in .jpg");
}

Picture decode_picture(const std::vector<uint8_t>& file, const std::string& name, ExifTurn turn) {
  const FileKind kind = kind_of_contents(file, name);
  Picture picture = kind == FileKind::kPng ? decode_png(file, name) : decode_jpeg(file, name);
  const int orientation = turn == ExifTurn::kApply ? orientation_of(file, kind) : 1;
  return orientation == 1 ? picture : turned(picture, orientation);
}

Picture load_picture(const std::string& path, ExifTurn turn) {
  return decode_picture(load_file(path), path, turn);
}

void save_png(const Picture& picture, const std::string& path) {
  check_folder(path);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = picture.channels == 1   ? PNG_FORMAT_GRAY
                 : picture.channels == 3 ? PNG_FORMAT_RGB
                                         : PNG_FORMAT_RGBA;
  // Without a statement about the colours: a carried profile says what they are.
  image.flags = PNG_IMAGE_FLAG_FAST | PNG_IMAGE_FLAG_COLORSPACE_NOT_sRGB;
  if (png_image_write_to_file(&image, path.c_str(), 0, picture.data(), picture.stride(), nullptr) ==
      0) {
    refuse(path, std::string("cannot be written: ") + image.message);
  }
}

void save_jpeg(const Picture& picture, const std::string& path, int quality) {
  check_folder(path);
  const std::unique_ptr<void, int (*)(tjhandle)> encoder(tjInitCompress(), tjDestroy);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  const int format = picture.channels == 1   ? TJPF_GRAY
                     : picture.channels == 3 ? TJPF_RGB
                                             : TJPF_RGBA;
  const int status = tjCompress2(
      encoder.get(), picture.data(), picture.width, picture.stride(), picture.height, format,
      &bytes, &size, picture.channels == 1 ? TJSAMP_GRAY : TJSAMP_444, quality, TJFLAG_ACCURATEDCT);
  const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(bytes, tjFree);
  if (status != 0) {
    refuse(path, std::string("cannot be written: ") + tjGetErrorStr2(encoder.get()));
  }
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  if (!stream.flush()) refuse(path, "cannot be written");
}

void save_picture(const Picture& picture, const std::string& path) {
  constexpr int kQuality = 92;
  if (kind_of_name(path) == FileKind::kPng) return save_png(picture, path);
  save_jpeg(picture, path, kQuality);
}

Picture with_alpha(const Picture& rgb) {
  Picture rgba(rgb.width, rgb.height, 4);
  for (size_t i = 0; i < static_cast<size_t>(rgb.width) * rgb.height; ++i) {
    std::memcpy(rgba.data() + 4 * i, rgb.data() + 3 * i, 3);
    rgba.pixels[4 * i + 3] = 255;
  }
  return rgba;
}

Picture without_alpha(const Picture& rgba) {
  Picture rgb(rgba.width, rgba.height, 3);
  for (size_t i = 0; i < static_cast<size_t>(rgba.width) * rgba.height; ++i) {
    std::memcpy(rgb.data() + 3 * i, rgba.data() + 4 * i, 3);
  }
  return rgb;
}
