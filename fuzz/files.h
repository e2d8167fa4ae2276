// Input bytes as files.
#ifndef KELVRA_CV_FUZZ_FILES_H_
#define KELVRA_CV_FUZZ_FILES_H_

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

// A file of this process, in memory where the system has such a place.
inline std::string file(const char* name, const uint8_t* data, size_t size) {
  static const std::string folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  const std::string path =
      folder + "/kelvra_cv_fuzz_" + std::to_string(getpid()) + "_" + std::string(name);
  std::FILE* const stream = std::fopen(path.c_str(), "wb");
  if (stream == nullptr) std::abort();
  if (size > 0) std::fwrite(data, 1, size, stream);
  std::fclose(stream);
  return path;
}

// The first half and the second half of the input, as two files.
struct Halves {
  Halves(const uint8_t* data, size_t size)
      : first(file("1", data, size / 2)), second(file("2", data + size / 2, size - size / 2)) {}
  ~Halves() {
    std::remove(first.c_str());
    std::remove(second.c_str());
    std::remove(output.c_str());
  }
  std::string first, second, output = file("out", nullptr, 0);
};

}  // namespace fuzz

#endif  // KELVRA_CV_FUZZ_FILES_H_
