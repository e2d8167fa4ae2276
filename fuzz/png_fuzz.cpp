// Two PNG files of any content.
#include "files.h"
#include "kelvra_cv.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  KelvraCV::log_set_callback(nullptr);
  const fuzz::Halves files(data, size);
  KelvraCV::add_png_info(files.first.c_str(), files.second.c_str(), files.output.c_str());
  KelvraCV::remove_png_info(files.second.c_str(), files.output.c_str());
  return 0;
}
