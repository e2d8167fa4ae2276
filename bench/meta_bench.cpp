// Carrying a profile into a file of 10 MB beside copying the file.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "kelvra_cv.h"
#include "support.h"

namespace bench {
namespace {

std::string big_endian(size_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i) & 255);
  return text;
}
std::string chunk(const std::string& type, const std::string& data) {
  return big_endian(data.size(), 4) + type + data + "crc.";
}
std::string segment(int code, const std::string& data) {
  return std::string("\xff") + static_cast<char>(code) + big_endian(data.size() + 2, 2) + data;
}

// A file that lives as long as the program.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& name, const std::string& contents)
      : path_((std::filesystem::temp_directory_path() / ("kelvra_cv_bench_" + name)).string()) {
    std::ofstream(path_, std::ios::binary) << contents;
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::filesystem::remove(path_); }
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

// By way of a buffer, as a program without these functions would.
void copy_file(const char* from, const char* to) {
  std::vector<char> buffer(std::filesystem::file_size(from));
  std::FILE* file = std::fopen(from, "rb");
  const size_t size = std::fread(buffer.data(), 1, buffer.size(), file);
  std::fclose(file);
  file = std::fopen(to, "wb");
  std::fwrite(buffer.data(), 1, size, file);
  std::fclose(file);
}

}  // namespace

void list_comparisons() {
  const std::string data(10'000'000, 'x'), profile(3000, 'p');
  const std::string png = "\x89PNG\r\n\x1a\n" + chunk("IHDR", std::string(13, 'h'));
  const std::string image = chunk("IDAT", data) + chunk("IEND", "");
  const std::string jpeg = "\xff\xd8" + segment(0xe0, std::string("JFIF\0", 5));
  const std::string scan = segment(0xda, "scan") + data + "\xff\xd9";
  const std::string icc =
      segment(0xe2, std::string("ICC_PROFILE\0", 12) + std::string("\1\1", 2) + profile);
  static const TemporaryFile png_origin("origin.png", png + chunk("iCCP", profile) + image),
      png_input("input.png", png + image), jpeg_origin("origin.jpg", jpeg + icc + scan),
      jpeg_input("input.jpg", jpeg + scan), output("output", "");
  const auto add = [&](const char* name, std::function<void()> ours, const TemporaryFile& copied) {
    const auto bytes = static_cast<double>(data.size());
    compare({name, bytes, 2 * bytes, std::move(ours), "reading and writing",
             [&copied] { copy_file(copied.path(), output.path()); }});
  };
  add(
      "add_png_info, per byte of 10 MB",
      [] { KelvraCV::add_png_info(png_origin.path(), png_input.path(), output.path()); },
      png_input);
  add(
      "remove_png_info, per byte of 10 MB",
      [] { KelvraCV::remove_png_info(png_origin.path(), output.path()); }, png_origin);
  add(
      "add_jpeg_info, per byte of 10 MB",
      [] { KelvraCV::add_jpeg_info(jpeg_origin.path(), jpeg_input.path(), output.path()); },
      jpeg_input);
}

}  // namespace bench
