// The functions of each family, as they are added to the module.
#ifndef KELVRA_CV_PYTHON_FAMILIES_H_
#define KELVRA_CV_PYTHON_FAMILIES_H_

#include <pybind11/pybind11.h>

namespace bindings {

void bind_color(pybind11::module_& module);
void bind_filters(pybind11::module_& module);
void bind_edges(pybind11::module_& module);
void bind_geometry(pybind11::module_& module);
void bind_shapes(pybind11::module_& module);
void bind_detection(pybind11::module_& module);
void bind_frames(pybind11::module_& module);
void bind_files(pybind11::module_& module);
void bind_chains(pybind11::module_& module);

}  // namespace bindings

#endif  // KELVRA_CV_PYTHON_FAMILIES_H_
