// ICC profiles and Exif of encoded files.
#include <string>

#include "call.h"
#include "families.h"
#include "kelvra_cv.h"

namespace bindings {
namespace {

// The functions' messages, empty after success; the package's Python side makes exceptions of them.
template <class Work>
std::string messages_of(const Work& work) {
  const Messages messages;
  unlocked(work);
  return messages.text();
}

using Adder = int (*)(const char*, const char*, const char*);

template <Adder kAdd>
std::string add_info(const std::string& origin, const std::string& input,
                     const std::string& output) {
  return messages_of([&] { kAdd(origin.c_str(), input.c_str(), output.c_str()); });
}

std::string remove_png_info(const std::string& input, const std::string& output) {
  return messages_of([&] { KelvraCV::remove_png_info(input.c_str(), output.c_str()); });
}

}  // namespace

void bind_files(pybind11::module_& module) {
  module.def("add_png_info", &add_info<KelvraCV::add_png_info>);
  module.def("remove_png_info", &remove_png_info);
  module.def("add_jpeg_info", &add_info<KelvraCV::add_jpeg_info>);
}

}  // namespace bindings
