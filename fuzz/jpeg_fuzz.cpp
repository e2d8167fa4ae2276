// Two JPEG files of any content.
#include "files.h"
#include "kelvra_cv.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  KelvraCV::log_set_callback(nullptr);
  const fuzz::Halves files(data, size);
  KelvraCV::add_jpeg_info(files.first.c_str(), files.second.c_str(), files.output.c_str());
  return 0;
}
