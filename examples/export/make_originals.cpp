// make_originals PROFILE FOLDER: writes original.png and original.jpg as cameras and editors do,
// with an ICC profile and Exif, by libpng and libjpeg.
#include <cstdio>  // before jpeglib.h, which needs it

#include <jpeglib.h>
#include <png.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kWidth = 64, kHeight = 48;

// A TIFF header and one entry: Orientation, 6.
const unsigned char kExif[] = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0x01, 0x12, 0,
                               3,   0,   0, 0,  1, 0, 6, 0, 0, 0, 0,    0,    0};

Bytes row_of(int y) {
  Bytes row;
  for (int x = 0; x < kWidth; ++x) {
    row.insert(row.end(), {static_cast<unsigned char>(4 * x), static_cast<unsigned char>(5 * y),
                           static_cast<unsigned char>(128)});
  }
  return row;
}

void write_png(const std::string& path, Bytes profile) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, kWidth, kHeight, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_iCCP(png, info, "profile", PNG_COMPRESSION_TYPE_BASE, profile.data(),
               static_cast<png_uint_32>(profile.size()));
  Bytes exif(std::begin(kExif), std::end(kExif));
  png_set_eXIf_1(png, info, static_cast<png_uint_32>(exif.size()), exif.data());
  png_write_info(png, info);
  for (int y = 0; y < kHeight; ++y) png_write_row(png, row_of(y).data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

void write_jpeg(const std::string& path, const Bytes& profile) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  jpeg_compress_struct encoder{};
  jpeg_error_mgr errors{};
  encoder.err = jpeg_std_error(&errors);
  jpeg_create_compress(&encoder);
  jpeg_stdio_dest(&encoder, file);
  encoder.image_width = kWidth;
  encoder.image_height = kHeight;
  encoder.input_components = 3;
  encoder.in_color_space = JCS_RGB;
  jpeg_set_defaults(&encoder);
  jpeg_start_compress(&encoder, TRUE);
  Bytes exif{'E', 'x', 'i', 'f', 0, 0};
  exif.insert(exif.end(), std::begin(kExif), std::end(kExif));
  jpeg_write_marker(&encoder, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
  jpeg_write_icc_profile(&encoder, profile.data(), static_cast<unsigned>(profile.size()));
  for (int y = 0; y < kHeight; ++y) {
    Bytes row = row_of(y);
    JSAMPROW rows[] = {row.data()};
    jpeg_write_scanlines(&encoder, rows, 1);
  }
  jpeg_finish_compress(&encoder);
  jpeg_destroy_compress(&encoder);
  std::fclose(file);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream stream(argv[1], std::ios::binary);
  const Bytes profile{std::istreambuf_iterator<char>(stream), {}};
  if (profile.empty()) return 1;
  write_png(argv[2] + std::string("/original.png"), profile);
  write_jpeg(argv[2] + std::string("/original.jpg"), profile);
  return 0;
}
