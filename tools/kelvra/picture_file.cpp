#include "picture_file.h"

#include <jpeglib.h>
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <memory>

#include "exif.h"

namespace kelvra {
namespace {

void check_claim(double width, double height, double bytes, size_t file_bytes, double most) {
  if (width > operations::kMaxSide || height > operations::kMaxSide ||
      width * height > static_cast<double>(operations::kMaxPixels)) {
    throw FileError("the picture claims " + std::to_string(static_cast<long>(width)) + "x" +
                    std::to_string(static_cast<long>(height)) + " pixels; wanted sides up to " +
                    std::to_string(operations::kMaxSide) + " and up to " +
                    std::to_string(operations::kMaxPixels / 1000000) + " megapixels");
  }
  if (bytes > most * static_cast<double>(file_bytes) + 65536) {
    throw FileError("the file is too short for the " + std::to_string(static_cast<long>(width)) +
                    "x" + std::to_string(static_cast<long>(height)) + " pixels that it claims");
  }
}

// --- JPEG: libjpeg reports errors by a call that must not return ---

struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf back;
  char message[JMSG_LENGTH_MAX];
  bool cut_off;
};

JpegErrors& errors_of(j_common_ptr common) {
  return *reinterpret_cast<JpegErrors*>(common->err);
}

void init_errors(JpegErrors& errors, jpeg_error_mgr*& place) {
  place = jpeg_std_error(&errors.manager);
  errors.cut_off = false;
  errors.manager.error_exit = [](j_common_ptr common) {
    common->err->format_message(common, errors_of(common).message);
    std::longjmp(errors_of(common).back, 1);
  };
  errors.manager.emit_message = [](j_common_ptr common, int level) {
    if (level >= 0) return;
    char text[JMSG_LENGTH_MAX];
    common->err->format_message(common, text);
    if (std::strstr(text, "Premature end") != nullptr) errors_of(common).cut_off = true;
  };
  errors.manager.output_message = [](j_common_ptr) {};
}

// Runs `work`, in whose frames nothing needs destruction when libjpeg leaves them.
template <typename Work>
void guarded(JpegErrors& errors, const Work& work) {
  if (setjmp(errors.back) != 0) throw FileError(std::string("not a good JPEG: ") + errors.message);
  work();
}

struct JpegReader {
  explicit JpegReader(const Bytes& file) {
    init_errors(errors, info.err);
    jpeg_create_decompress(&info);
    guarded(errors, [&] {
      jpeg_mem_src(&info, file.data(), file.size());
      jpeg_save_markers(&info, JPEG_APP0 + 1, 0xFFFF);  // Exif
      jpeg_save_markers(&info, JPEG_APP0 + 2, 0xFFFF);  // ICC
      jpeg_read_header(&info, TRUE);
    });
    const double pixels = static_cast<double>(info.image_width) * info.image_height;
    // A block of 8 x 8 samples takes a bit at least: 341 pixels a byte with shared chroma.
    check_claim(info.image_width, info.image_height, pixels, file.size(), 1024);
  }
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;
  ~JpegReader() { jpeg_destroy_decompress(&info); }

  jpeg_decompress_struct info{};
  JpegErrors errors{};
};

// Memory that jpeg_mem_dest() or jpeg_read_icc_profile() allocated.
using JpegMemory = std::unique_ptr<uint8_t, void (*)(void*)>;

void read_metadata(JpegReader& reader, Metadata& metadata) {
  JOCTET* icc = nullptr;
  unsigned size = 0;
  guarded(reader.errors, [&] { jpeg_read_icc_profile(&reader.info, &icc, &size); });
  const JpegMemory owner(icc, std::free);
  if (icc != nullptr) metadata.icc.assign(icc, icc + size);
  constexpr char kExif[] = "Exif\0";  // and the terminator: six bytes
  for (auto* marker = reader.info.marker_list; marker != nullptr; marker = marker->next) {
    if (marker->marker == JPEG_APP0 + 1 && marker->data_length > 6 &&
        std::memcmp(marker->data, kExif, 6) == 0 && metadata.exif.empty()) {
      metadata.exif.assign(marker->data + 6, marker->data + marker->data_length);
    }
    metadata.icc_segments += marker->marker == JPEG_APP0 + 2 && marker->data_length > 14 &&
                             std::memcmp(marker->data, "ICC_PROFILE", 12) == 0;
  }
  metadata.orientation = exif_orientation(metadata.exif);
}

// Adobe's CMYK files hold inverted values.
Image rgb_of_cmyk(const Image& cmyk) {
  Image rgb(cmyk.width, cmyk.height, 3);
  for (size_t i = 0; i < cmyk.pixels.size() / 4; ++i) {
    for (size_t c = 0; c < 3; ++c) {
      rgb.pixels[3 * i + c] =
          static_cast<uint8_t>(cmyk.pixels[4 * i + c] * cmyk.pixels[4 * i + 3] / 255);
    }
  }
  return rgb;
}

PictureFile decode_jpeg(const Bytes& file, unsigned draft_size) {
  JpegReader reader(file);
  jpeg_decompress_struct& info = reader.info;
  PictureFile result{Format::kJpeg, {}, {}};
  read_metadata(reader, result.metadata);
  const bool cmyk = info.num_components == 4;
  info.out_color_space = cmyk ? JCS_CMYK : info.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
  const unsigned longer = std::max(info.image_width, info.image_height);
  while (draft_size > 0 && info.scale_denom < 8 && longer / (2 * info.scale_denom) >= draft_size) {
    info.scale_denom *= 2;
  }
  guarded(reader.errors, [&] { jpeg_calc_output_dimensions(&info); });
  result.image = Image(static_cast<int>(info.output_width), static_cast<int>(info.output_height),
                       cmyk                       ? 4
                       : info.num_components == 1 ? 1
                                                  : 3);
  guarded(reader.errors, [&] {
    jpeg_start_decompress(&info);
    while (info.output_scanline < info.output_height) {
      JSAMPROW row = result.image.at(0, static_cast<int>(info.output_scanline));
      jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
  });
  if (reader.errors.cut_off) throw FileError("not a good JPEG: it ends early");
  if (cmyk) result.image = rgb_of_cmyk(result.image);
  return result;
}

struct JpegWriter {
  JpegWriter() {
    init_errors(errors, info.err);
    jpeg_create_compress(&info);
  }
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;
  ~JpegWriter() {
    jpeg_destroy_compress(&info);
    std::free(memory);
  }

  jpeg_compress_struct info{};
  JpegErrors errors{};
  unsigned char* memory = nullptr;
  unsigned long size = 0;
};

void set_quality(jpeg_compress_struct& info, int quality) {
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  const int sampling = quality >= 90 ? 1 : 2;
  if (info.num_components == 3) {
    info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = sampling;
  }
}

Bytes encode_jpeg(const Image& image, int quality, const Metadata& metadata) {
  JpegWriter writer;
  jpeg_compress_struct& info = writer.info;
  Bytes exif = {'E', 'x', 'i', 'f', 0, 0};
  for (const uint8_t byte : metadata.exif) exif.push_back(byte);
  guarded(writer.errors, [&] {
    jpeg_mem_dest(&info, &writer.memory, &writer.size);
    info.image_width = image.width;
    info.image_height = image.height;
    info.input_components = image.channels;
    info.in_color_space = image.channels == 1   ? JCS_GRAYSCALE
                          : image.channels == 3 ? JCS_RGB
                                                : JCS_EXT_RGBX;
    set_quality(info, quality);
    jpeg_start_compress(&info, TRUE);
    if (exif.size() > 6 && exif.size() <= 65533) {
      jpeg_write_marker(&info, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
    }
    if (!metadata.icc.empty()) {
      jpeg_write_icc_profile(&info, metadata.icc.data(),
                             static_cast<unsigned>(metadata.icc.size()));
    }
    while (info.next_scanline < info.image_height) {
      JSAMPROW row = const_cast<Image&>(image).at(0, static_cast<int>(info.next_scanline));
      jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
  });
  return {writer.memory, writer.memory + writer.size};
}

// --- PNG: libpng reports errors in the same way ---

struct PngState {
  png_structp png = nullptr;
  png_infop info = nullptr;
  const Bytes* in = nullptr;
  size_t position = 0;
  Bytes out;
  std::string message;
};

PngState& state_of(png_structp png) {
  return *static_cast<PngState*>(png_get_error_ptr(png));
}

void on_png_error(png_structp png, png_const_charp message) {
  state_of(png).message = message;
  png_longjmp(png, 1);
}

void read_bytes(png_structp png, png_bytep to, size_t count) {
  PngState& state = state_of(png);
  if (count > state.in->size() - state.position) png_error(png, "it ends early");
  std::memcpy(to, state.in->data() + state.position, count);
  state.position += count;
}

template <typename Work>
void guarded(PngState& state, const Work& work) {
  if (setjmp(png_jmpbuf(state.png)) != 0) throw FileError("not a good PNG: " + state.message);
  work();
}

struct PngReader : PngState {
  explicit PngReader(const Bytes& file) {
    in = &file;
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, on_png_error,
                                 [](png_structp, png_const_charp) {});
    info = png == nullptr ? nullptr : png_create_info_struct(png);
    if (info == nullptr) throw std::bad_alloc();
  }
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;
  ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

void read_metadata(const PngReader& reader, Metadata& metadata) {
  png_charp name = nullptr;
  png_bytep bytes = nullptr;
  png_uint_32 size = 0;
  int compression = 0;
  if (png_get_iCCP(reader.png, reader.info, &name, &compression, &bytes, &size) != 0) {
    metadata.icc.assign(bytes, bytes + size);
  }
  if (png_get_eXIf_1(reader.png, reader.info, &size, &bytes) != 0) {
    metadata.exif.assign(bytes, bytes + size);
  }
  metadata.orientation = exif_orientation(metadata.exif);
}

PictureFile decode_png(const Bytes& file) {
  PngReader reader(file);
  PictureFile result{Format::kPng, {}, {}};
  const auto png = reader.png;
  const auto info = reader.info;
  guarded(reader, [&] {
    png_set_read_fn(png, &reader, read_bytes);
    png_set_user_limits(png, 1 << 30, 1 << 30);  // checked below, with our own words
    png_read_info(png, info);
  });
  // Deflate makes at most 1032 bytes of one.
  const double width = png_get_image_width(png, info), height = png_get_image_height(png, info);
  const double bits = png_get_bit_depth(png, info) * png_get_channels(png, info);
  check_claim(width, height, width * height * bits / 8, file.size(), 1032);
  read_metadata(reader, result.metadata);
  guarded(reader, [&] {
    png_set_expand(png);
    png_set_scale_16(png);
    if ((png_get_color_type(png, info) & PNG_COLOR_MASK_ALPHA) != 0 ||
        png_get_valid(png, info, PNG_INFO_tRNS) != 0) {
      png_set_gray_to_rgb(png);
    }
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
  });
  result.image =
      Image(static_cast<int>(width), static_cast<int>(height), png_get_channels(png, info));
  std::vector<png_bytep> rows(result.image.height);
  for (int y = 0; y < result.image.height; ++y) rows[y] = result.image.at(0, y);
  guarded(reader, [&] {
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
  });
  return result;
}

struct PngWriter : PngState {
  PngWriter() {
    png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, on_png_error,
                                  [](png_structp, png_const_charp) {});
    info = png == nullptr ? nullptr : png_create_info_struct(png);
    if (info == nullptr) throw std::bad_alloc();
  }
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;
  ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

Bytes encode_png(const Image& image, int effort, const Metadata& metadata) {
  PngWriter writer;
  const auto png = writer.png;
  const auto info = writer.info;
  const int type = image.channels == 1   ? PNG_COLOR_TYPE_GRAY
                   : image.channels == 3 ? PNG_COLOR_TYPE_RGB
                                         : PNG_COLOR_TYPE_RGB_ALPHA;
  guarded(writer, [&] {
    png_set_write_fn(
        png, &writer,
        [](png_structp to, png_bytep bytes, size_t count) {
          state_of(to).out.insert(state_of(to).out.end(), bytes, bytes + count);
        },
        [](png_structp) {});
    png_set_IHDR(png, info, image.width, image.height, 8, type, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, effort);
    png_set_filter(png, 0, PNG_FILTER_SUB | PNG_FILTER_UP);
    png_set_benign_errors(png, 1);  // a profile that libpng dislikes is left out
    if (!metadata.icc.empty()) {
      png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, metadata.icc.data(),
                   static_cast<png_uint_32>(metadata.icc.size()));
    }
    if (!metadata.exif.empty()) {
      png_set_eXIf_1(png, info, static_cast<png_uint_32>(metadata.exif.size()),
                     const_cast<uint8_t*>(metadata.exif.data()));
    }
    png_write_info(png, info);
    for (int y = 0; y < image.height; ++y) {
      png_write_row(png, const_cast<Image&>(image).at(0, y));
    }
    png_write_end(png, nullptr);
  });
  return std::move(writer.out);
}

}  // namespace

PictureFile decode(const Bytes& file, int draft_size) {
  if (file.size() >= 8 && png_sig_cmp(file.data(), 0, 8) == 0) return decode_png(file);
  if (file.size() >= 2 && file[0] == 0xFF && file[1] == 0xD8) return decode_jpeg(file, draft_size);
  throw FileError(file.empty() ? "the file is empty" : "neither a JPEG nor a PNG file");
}

Image upright(Image image, int orientation) {
  // Upside down first, then by quarter turns.
  static const char* const kTurns[] = {"0",     "180 on", "180",    "0 on",
                                       "90 on", "90",     "270 on", "270"};
  if (orientation < 2 || orientation > 8) return image;
  const std::string chain = std::string("turn ") + kTurns[orientation - 1];
  return operations::run(operations::parse_chain(chain), std::move(image));
}

Bytes encode(const Image& image, const Encoding& encoding, const Metadata& metadata) {
  Metadata upright_metadata = metadata;
  reset_exif_orientation(upright_metadata.exif);
  // A profile of other channels than the picture's would be wrong for it.
  constexpr size_t kColorSpace = 16;
  const char* const space = image.channels == 1 ? "GRAY" : "RGB ";
  const Bytes& icc = metadata.icc;
  if (icc.size() < 128 || std::memcmp(icc.data() + kColorSpace, space, 4) != 0) {
    upright_metadata.icc.clear();
  }
  return encoding.format == Format::kJpeg ? encode_jpeg(image, encoding.quality, upright_metadata)
                                          : encode_png(image, encoding.effort, upright_metadata);
}

Bytes strip_jpeg(const Bytes& file) {
  JpegReader reader(file);
  JpegWriter writer;
  Metadata metadata;
  read_metadata(reader, metadata);
  // Exif with one entry.
  const auto orientation = static_cast<uint8_t>(metadata.orientation);
  const uint8_t exif[] = {'E',  'x', 'i', 'f', 0, 0, 'I', 'I', 42,          0, 8, 0, 0, 0, 1, 0,
                          0x12, 1,   3,   0,   1, 0, 0,   0,   orientation, 0, 0, 0, 0, 0, 0, 0};
  guarded(reader.errors, [&] {
    jvirt_barray_ptr* const coefficients = jpeg_read_coefficients(&reader.info);
    guarded(writer.errors, [&] {
      jpeg_mem_dest(&writer.info, &writer.memory, &writer.size);
      jpeg_copy_critical_parameters(&reader.info, &writer.info);
      jpeg_write_coefficients(&writer.info, coefficients);
      if (orientation != 1) {
        jpeg_write_marker(&writer.info, JPEG_APP0 + 1, exif, sizeof exif);
      }
      jpeg_finish_compress(&writer.info);
    });
  });
  if (reader.errors.cut_off) throw FileError("not a good JPEG: it ends early");
  return {writer.memory, writer.memory + writer.size};
}

}  // namespace kelvra
