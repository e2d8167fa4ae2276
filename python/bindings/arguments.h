// What Python hands over, checked and as the library wants it. Every complaint names the argument,
// what came and what is wanted: TypeError for a wrong kind, ValueError for a wrong shape or value.
#ifndef KELVRA_CV_PYTHON_ARGUMENTS_H_
#define KELVRA_CV_PYTHON_ARGUMENTS_H_

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cfloat>
#include <climits>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "kelvra_cv.h"

namespace bindings {

namespace py = pybind11;
using Shape = std::vector<py::ssize_t>;
using Points = std::vector<KelvraCV::Point>;

std::string text(py::handle value);  // as str()
[[noreturn]] void reject_type(const char* name, py::handle came, const std::string& wanted);
[[noreturn]] void reject_value(const char* name, py::handle came, const std::string& wanted);

// --- pictures ---

// How a function of the library walks the rows of a buffer.
enum class Rows { kStrided, kPacked };

// The samples of an array. What the library cannot walk has been copied.
struct Image {
  py::array array;  // keeps the samples alive
  int width = 0;
  int height = 0;
  int channels = 1;
  int stride = 0;  // in bytes

  template <class T = uint8_t>
  T* data() const {
    return static_cast<T*>(const_cast<void*>(array.data()));  // inputs are only read
  }
  // Elements between rows.
  template <class T>
  int stride_of() const {
    return stride / static_cast<int>(sizeof(T));
  }
  KelvraCV::ImageData record(int color_order = 0) const {
    return {data(), width, height, channels, stride, 0, color_order};
  }
  Shape shape() const { return shape(channels); }
  Shape shape(int other_channels) const;
};

// An array of shape (height, width), or (height, width, n) for each n above 1 in `channels`, with
// at least one pixel.
Image to_image(py::handle value, const char* name, std::initializer_list<int> channels, Rows rows,
               const py::dtype& type = py::dtype::of<uint8_t>());

// A one-channel array of the size of `like`.
Image to_plane_like(py::handle value, const char* name, const Image& like, Rows rows);

// Where a result goes: a new array, or the caller's `out`, by way of another array if the library
// cannot write there or would read what it has written.
class Result : public Image {
 public:
  enum class Before { kAnything, kKept };  // kKept: what `out` holds, or zeros, is there before

  // The result must not overlap any of the `sources`.
  Result(py::handle out, const Shape& shape, Rows rows, std::initializer_list<const Image*> sources,
         const py::dtype& type = py::dtype::of<uint8_t>(), Before before = Before::kAnything,
         const char* name = "out");

  // What Python receives, once the library has done its work.
  py::array take() const;

 private:
  py::array target_;
};

// `out` as a tuple of `count` arrays, or of as many None.
std::vector<py::object> to_outs(py::handle out, const char* name, size_t count);

// --- numbers ---

int to_int(py::handle value, const char* name, int least = INT_MIN, int most = INT_MAX);
float to_float(py::handle value, const char* name, float least = -FLT_MAX, float most = FLT_MAX);
double to_double(py::handle value, const char* name, double least, double most);
bool to_bool(py::handle value, const char* name);
// 1 for "bgra", 0 for "rgba".
int to_order(py::handle value, const char* name = "order");
// Foreground of a mask, 255 or 0, as the library's mode: 1 for 0.
int to_mask_mode(py::handle value);

struct Size {
  int width, height;
};
// Two numbers from 1 on, such that rows of `pixel_bytes` bytes a pixel can be addressed.
Size to_size(py::handle value, const char* name, int pixel_bytes);
// `count` whole numbers.
std::vector<int> to_ints(py::handle value, const char* name, size_t count);

// Numbers of any type as a packed array of floats with the wanted shape, in which -1 is any length.
py::array_t<float> to_floats(py::handle value, const char* name, const Shape& shape);
// Whole numbers of shape (n, 2): x, y.
Points to_points(py::handle value, const char* name);
std::vector<Points> to_outlines(py::handle value, const char* name);
py::array from_points(const Points& points);
py::list from_outlines(const std::vector<Points>& outlines);

// A packed array of exactly this type and length, or null for None.
template <class T>
py::array to_table(py::handle value, const char* name, py::ssize_t length) {
  if (!py::isinstance<py::array_t<T, py::array::c_style>>(value)) {
    reject_type(name, value, "a packed array of " + text(py::dtype::of<T>()));
  }
  auto table = py::reinterpret_borrow<py::array>(value);
  if (table.ndim() != 1 || table.size() != length) {
    reject_value(name, value, "shape (" + std::to_string(length) + ",)");
  }
  const bool is_aligned = (table.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
  return is_aligned ? table : py::array(table.attr("copy")());
}

}  // namespace bindings

#endif  // KELVRA_CV_PYTHON_ARGUMENTS_H_
