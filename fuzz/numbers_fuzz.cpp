// A text file of numbers, and a file read whole.
#include <cstdlib>
#include <memory>
#include <vector>

#include "files.h"
#include "kelvra_cv.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  KelvraCV::log_set_callback(nullptr);
  const std::string path = fuzz::file("numbers", data, size);
  std::vector<float> values(size + 1);
  KelvraCV::parse_file_float(path, " ,;\t", values.data());
  if (size > 0) {  // an empty file stays open
    int length = 0;
    const std::unique_ptr<unsigned char[]> bytes(KelvraCV::read_file_into_buffer(path, length));
    if (bytes == nullptr || length != static_cast<int>(size)) std::abort();
  }
  std::remove(path.c_str());
  return 0;
}
