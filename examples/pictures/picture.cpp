#include "pictures/picture.h"

#include <png.h>
#include <turbojpeg.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace {

Picture decode_jpeg(const std::vector<uint8_t>& file, const std::string& path) {
  const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
  int width = 0, height = 0, subsampling = 0, color_space = 0;
  if (tjDecompressHeader3(decoder.get(), file.data(), file.size(), &width, &height, &subsampling,
                          &color_space) != 0) {
    throw std::runtime_error(path + " is neither a JPEG nor a PNG file");
  }
  Picture picture(width, height, 3);
  if (tjDecompress2(decoder.get(), file.data(), file.size(), picture.data(), width,
                    picture.stride(), height, TJPF_RGB, TJFLAG_ACCURATEDCT) != 0 &&
      tjGetErrorCode(decoder.get()) == TJERR_FATAL) {
    throw std::runtime_error(path + ": " + tjGetErrorStr2(decoder.get()));
  }
  return picture;
}

Picture decode_png(const std::vector<uint8_t>& file, const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&image, file.data(), file.size()) == 0) {
    throw std::runtime_error(path + ": " + image.message);
  }
  image.format = PNG_FORMAT_RGB;
  Picture picture(static_cast<int>(image.width), static_cast<int>(image.height), 3);
  if (png_image_finish_read(&image, nullptr, picture.data(), picture.stride(), nullptr) == 0) {
    throw std::runtime_error(path + ": " + image.message);
  }
  return picture;
}

}  // namespace

Picture load_picture(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot open " + path);
  const std::vector<uint8_t> file{std::istreambuf_iterator<char>(stream), {}};
  const bool is_png = file.size() >= 8 && png_sig_cmp(file.data(), 0, 8) == 0;
  return is_png ? decode_png(file, path) : decode_jpeg(file, path);
}

void save_png(const Picture& picture, const std::string& path) {
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
    throw std::runtime_error(path + ": " + image.message);
  }
}

void save_jpeg(const Picture& picture, const std::string& path, int quality) {
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
  if (status != 0) throw std::runtime_error(path + ": " + tjGetErrorStr2(encoder.get()));
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
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
