// Small readers: a whole file, a text file of numbers, a value inside a byte buffer.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

#include "kelvra_cv.h"

namespace KelvraCV {

unsigned char* read_file_into_buffer(std::string path, int& size) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    size = 0;
    return nullptr;
  }
  std::fseek(file, 0, SEEK_END);
  const int length = static_cast<int>(std::ftell(file));
  std::rewind(file);
  // What has no length that an int holds (a directory, a pipe, a file of 2 GiB) reads as empty.
  const size_t wanted = length > 0 ? static_cast<size_t>(length) : 0;
  std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[wanted]);
  // The file is left open here: that an empty file keeps its descriptor is relied upon.
  if (buffer == nullptr || std::fread(buffer.get(), 1, wanted, file) == 0) return nullptr;
  std::fclose(file);
  size = length;
  return buffer.release();
}

void parse_file_float(std::string path, const char* delimiters, float* values) {
  std::ifstream file(path);
  if (!file) {
    log_print("Can not find %s\n", path.c_str());
    return;
  }
  std::string line;
  while (std::getline(file, line)) {
    float* next = values;
    char* rest = nullptr;
    for (char* token = strtok_r(line.data(), delimiters, &rest); token != nullptr;
         token = strtok_r(nullptr, delimiters, &rest)) {
      *next++ = static_cast<float>(std::atof(token));
    }
  }
}

std::string bytes_to_string(const char* bytes, int offset, int length) {
  if (length < 1) return {};
  return {bytes + offset, static_cast<size_t>(length)};
}

int bytes_to_int(const char* bytes, int offset, bool big_endian) {
  unsigned value = 0;
  for (int i = 0; i < 4; ++i) {
    const int from_most = big_endian ? i : 3 - i;
    value = value << 8 | static_cast<unsigned char>(bytes[offset + from_most]);
  }
  return static_cast<int>(value);
}

}  // namespace KelvraCV
