// The extension module kelvra_cv._core: positional functions, which the package's Python files
// name, document and give defaults.
#include "call.h"
#include "families.h"
#include "kelvra_cv.h"

PYBIND11_MODULE(_core, module) {
  bindings::Messages::take_over_sink();
  module.def("get_version", &KelvraCV::get_version);
  module.def("get_cpu_core_num", &KelvraCV::get_cpu_core_num);
  bindings::bind_color(module);
  bindings::bind_filters(module);
  bindings::bind_edges(module);
  bindings::bind_geometry(module);
  bindings::bind_shapes(module);
  bindings::bind_detection(module);
  bindings::bind_frames(module);
  bindings::bind_files(module);
  bindings::bind_chains(module);
}
