#include "arguments.h"

#include <algorithm>
#include <cmath>

namespace bindings {
namespace {

// Rows, and bytes in a row: the library counts in ints, and may add a few.
constexpr py::ssize_t kMost = 1 << 30;

std::string shape_text(const Shape& shape) {
  std::string lengths;
  for (const auto length : shape) {
    lengths += (lengths.empty() ? "" : ", ") + (length < 0 ? "n" : std::to_string(length));
  }
  return "(" + lengths + (shape.size() == 1 ? ",)" : ")");
}

// What came, in a few words: an array's type and shape, or a short value and its type.
std::string description(py::handle value) {
  if (py::isinstance<py::array>(value)) {
    const auto array = py::reinterpret_borrow<py::array>(value);
    return text(array.dtype()) + " array of shape " +
           shape_text(Shape(array.shape(), array.shape() + array.ndim()));
  }
  if (value.is_none()) return "None";
  const std::string type = text(py::type::handle_of(value).attr("__name__"));
  const std::string value_text = py::repr(value);
  return value_text.size() <= 60 ? value_text + " (" + type + ")" : type;
}

std::string complaint(const char* name, py::handle came, const std::string& wanted) {
  return std::string(name) + ": got " + description(came) + ", want " + wanted;
}

std::string wanted_image(const py::dtype& type, std::initializer_list<int> channels) {
  std::string shapes;
  size_t left = channels.size();
  for (const int count : channels) {
    shapes += count == 1 ? "(height, width)" : "(height, width, " + std::to_string(count) + ")";
    --left;
    if (left > 0) shapes += left == 1 ? " or " : ", ";
  }
  return text(type) + " array of shape " + shapes;
}

// The array itself, or what numpy makes of other objects.
py::array to_array(py::handle value, const char* name, const std::string& wanted) {
  if (py::isinstance<py::array>(value)) return py::reinterpret_borrow<py::array>(value);
  const bool is_text = py::isinstance<py::str>(value) || py::isinstance<py::bytes>(value);
  py::array array = is_text || value.is_none() ? py::array() : py::array::ensure(value);
  if (!array || is_text || value.is_none()) reject_type(name, value, wanted);
  return array;
}

// Converted, packed and aligned: a copy unless the array is all that already.
constexpr int kPackedCopy =
    py::array::c_style | py::array::forcecast | py::detail::npy_api::NPY_ARRAY_ALIGNED_;

bool has_type(const py::array& array, const py::dtype& type) {
  const auto& api = py::detail::npy_api::get();
  return api.PyArray_EquivTypes_(py::detail::array_proxy(array.ptr())->descr, type.ptr());
}

// The distance of the rows in bytes if the library can walk them, else 0.
int walkable_stride(const py::array& array, Rows rows) {
  const auto item = array.itemsize();
  auto step = item;  // between neighbours along the last axis looked at
  for (auto axis = array.ndim() - 1; axis >= 1; --axis) {
    if (array.shape(axis) != 1 && array.strides(axis) != step) return 0;
    step *= array.shape(axis);
  }
  const bool has_rows = array.ndim() > 0 && array.shape(0) > 1;
  const auto stride = has_rows ? array.strides(0) : step;
  const bool fits = rows == Rows::kPacked ? stride == step : stride >= step && stride % item == 0;
  const bool is_aligned = (array.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
  return fits && is_aligned && stride <= kMost ? static_cast<int>(stride) : 0;
}

// From the first to behind the last byte of an array.
std::pair<const char*, const char*> extent(const py::array& array) {
  const char *first = static_cast<const char*>(array.data()), *last = first;
  for (py::ssize_t axis = 0; axis < array.ndim(); ++axis) {
    const auto reach = (array.shape(axis) - 1) * array.strides(axis);
    (reach < 0 ? first : last) += reach;
  }
  return {first, last + array.itemsize()};
}

bool overlap(const py::array& a, const py::array& b) {
  const auto [a_first, a_end] = extent(a);
  const auto [b_first, b_end] = extent(b);
  return a_first < b_end && b_first < a_end;
}

// Sizes and strides as the library's ints.
void set_view(Image& image, const py::array& array, int stride) {
  image.array = array;
  image.height = static_cast<int>(array.shape(0));
  image.width = array.ndim() > 1 ? static_cast<int>(array.shape(1)) : 1;
  image.channels = array.ndim() > 2 ? static_cast<int>(array.shape(2)) : 1;
  image.stride = stride;
}

void assign(const py::array& to, const py::handle& from) {
  to.attr("__setitem__")(py::ellipsis(), from);
}

bool is_number(const py::array& array, const char* kinds) {
  return std::string(kinds).find(array.dtype().kind()) != std::string::npos;
}

std::string range_text(const std::string& least, const std::string& most, bool has_least,
                       bool has_most) {
  if (has_least && has_most) return " from " + least + " to " + most;
  if (has_least) return " from " + least + " on";
  return has_most ? " up to " + most : "";
}

}  // namespace

std::string text(py::handle value) {
  return py::str(value);
}

void reject_type(const char* name, py::handle came, const std::string& wanted) {
  throw py::type_error(complaint(name, came, wanted));
}
void reject_value(const char* name, py::handle came, const std::string& wanted) {
  throw py::value_error(complaint(name, came, wanted));
}

Shape Image::shape(int other_channels) const {
  if (other_channels == 1) return {height, width};
  return {height, width, other_channels};
}

Image to_image(py::handle value, const char* name, std::initializer_list<int> channels, Rows rows,
               const py::dtype& type) {
  const auto wanted = [&] { return wanted_image(type, channels); };
  py::array array = py::isinstance<py::array>(value) ? py::reinterpret_borrow<py::array>(value)
                                                     : to_array(value, name, wanted());
  if (!has_type(array, type)) reject_type(name, array, wanted());
  const py::ssize_t count = array.ndim() == 2 ? 1 : array.ndim() == 3 ? array.shape(2) : 0;
  const bool is_deep = array.ndim() == 3;
  if (std::none_of(channels.begin(), channels.end(),
                   [&](int n) { return n == count && (n > 1) == is_deep; })) {
    reject_value(name, array, wanted());
  }
  if (array.size() == 0) reject_value(name, array, "at least one pixel");
  const auto row_bytes = array.shape(1) * count * array.itemsize();
  if (array.shape(0) > kMost || row_bytes > kMost) {
    reject_value(name, array, "at most 2^30 rows, and bytes in a row");
  }
  int stride = walkable_stride(array, rows);
  if (stride == 0) {
    array = array.attr("copy")();
    stride = static_cast<int>(row_bytes);
  }
  Image image;
  set_view(image, array, stride);
  return image;
}

Image to_plane_like(py::handle value, const char* name, const Image& like, Rows rows) {
  Image plane = to_image(value, name, {1}, rows);
  if (plane.width != like.width || plane.height != like.height) {
    reject_value(name, plane.array,
                 "shape (" + std::to_string(like.height) + ", " + std::to_string(like.width) +
                     "), the image's size");
  }
  return plane;
}

Result::Result(py::handle out, const Shape& shape, Rows rows,
               std::initializer_list<const Image*> sources, const py::dtype& type, Before before,
               const char* name) {
  if (out.is_none()) {
    target_ = py::array(type, shape);
    if (before == Before::kKept) assign(target_, py::int_(0));
  } else {
    const auto wanted = [&] { return text(type) + " array of shape " + shape_text(shape); };
    if (!py::isinstance<py::array>(out)) reject_type(name, out, wanted());
    target_ = py::reinterpret_borrow<py::array>(out);
    if (!has_type(target_, type)) reject_type(name, out, wanted());
    const bool has_shape = static_cast<size_t>(target_.ndim()) == shape.size() &&
                           std::equal(shape.begin(), shape.end(), target_.shape());
    if (!has_shape) reject_value(name, out, wanted());
    if (!target_.writeable()) reject_value(name, out, "an array that may be written");
  }
  py::array work = target_;
  int step = walkable_stride(work, rows);
  const auto is_overlapped = [&](const Image* source) { return overlap(source->array, target_); };
  if (step == 0 || std::any_of(sources.begin(), sources.end(), is_overlapped)) {
    work = before == Before::kKept ? py::array(target_.attr("copy")()) : py::array(type, shape);
    step = walkable_stride(work, Rows::kPacked);
  }
  if (step == 0) reject_value(name, target_, "rows of at most 2^30 bytes");
  set_view(*this, work, step);
}

py::array Result::take() const {
  if (!target_.is(array)) assign(target_, array);
  return target_;
}

std::vector<py::object> to_outs(py::handle out, const char* name, size_t count) {
  if (out.is_none()) return std::vector<py::object>(count, py::none());
  if (!py::isinstance<py::tuple>(out) || py::len(out) != count) {
    reject_type(name, out, "a tuple of " + std::to_string(count) + " arrays");
  }
  std::vector<py::object> outs;
  for (const py::handle each : out) outs.push_back(py::reinterpret_borrow<py::object>(each));
  return outs;
}

int to_int(py::handle value, const char* name, int least, int most) {
  const auto wanted = [&] {
    return "an integer" + range_text(std::to_string(least), std::to_string(most), least != INT_MIN,
                                     most != INT_MAX);
  };
  if (PyIndex_Check(value.ptr()) == 0) reject_type(name, value, wanted());
  const py::ssize_t number = PyNumber_AsSsize_t(value.ptr(), nullptr);  // clipped, not refused
  if (number == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (number < least || number > most) reject_value(name, value, wanted());
  return static_cast<int>(number);
}

double to_double(py::handle value, const char* name, double least, double most) {
  const auto wanted = [&] {
    return "a finite number" + range_text(text(py::float_(least)), text(py::float_(most)),
                                          least > -FLT_MAX, most < FLT_MAX);
  };
  const bool is_text = py::isinstance<py::str>(value) || py::isinstance<py::bytes>(value);
  const double number = is_text ? -1 : PyFloat_AsDouble(value.ptr());
  if (is_text || (number == -1 && PyErr_Occurred() != nullptr)) {
    PyErr_Clear();
    reject_type(name, value, wanted());
  }
  if (!(number >= least && number <= most)) reject_value(name, value, wanted());
  return number;
}

float to_float(py::handle value, const char* name, float least, float most) {
  return static_cast<float>(to_double(value, name, least, most));
}

bool to_bool(py::handle value, const char* name) {
  if (PyBool_Check(value.ptr())) return value.ptr() == Py_True;
  if (std::string(Py_TYPE(value.ptr())->tp_name) != "numpy.bool_") {
    reject_type(name, value, "True or False");
  }
  return PyObject_IsTrue(value.ptr()) == 1;
}

int to_order(py::handle value, const char* name) {
  if (!py::isinstance<py::str>(value)) reject_type(name, value, "'rgba' or 'bgra'");
  const std::string order = py::str(value);
  if (order != "rgba" && order != "bgra") reject_value(name, value, "'rgba' or 'bgra'");
  return order == "bgra";
}

int to_mask_mode(py::handle value) {
  const int foreground = to_int(value, "foreground", 0, 255);
  if (foreground != 0 && foreground != 255) reject_value("foreground", value, "0 or 255");
  return foreground == 0;
}

Size to_size(py::handle value, const char* name, int pixel_bytes) {
  const std::string wanted = "(width, height), integers from 1 on";
  const bool is_pair = PySequence_Check(value.ptr()) == 1 && !py::isinstance<py::str>(value) &&
                       PySequence_Size(value.ptr()) == 2;
  PyErr_Clear();
  if (!is_pair) reject_type(name, value, wanted);
  const auto pair = py::reinterpret_borrow<py::sequence>(value);
  return {to_int(pair[0], (std::string(name) + "[0]").c_str(), 1, INT_MAX / pixel_bytes),
          to_int(pair[1], (std::string(name) + "[1]").c_str(), 1, INT_MAX / pixel_bytes)};
}

std::vector<int> to_ints(py::handle value, const char* name, size_t count) {
  const py::array array = to_array(value, name, "integers");
  if (!is_number(array, "iu") && array.size() > 0) reject_type(name, array, "integers");
  if (array.ndim() != 1 || static_cast<size_t>(array.size()) != count) {
    reject_value(name, array, std::to_string(count) + " integers");
  }
  std::vector<int> numbers;
  for (const py::handle each : array) numbers.push_back(to_int(each, name));
  return numbers;
}

py::array_t<float> to_floats(py::handle value, const char* name, const Shape& shape) {
  const std::string wanted = "numbers of shape " + shape_text(shape);
  const py::array array = to_array(value, name, wanted);
  if (!is_number(array, "iuf")) reject_type(name, array, wanted);
  bool fits = static_cast<size_t>(array.ndim()) == shape.size();
  for (size_t i = 0; fits && i < shape.size(); ++i) {
    fits = shape[i] < 0 || shape[i] == array.shape(static_cast<py::ssize_t>(i));
  }
  if (!fits) reject_value(name, array, wanted);
  return py::reinterpret_borrow<py::array_t<float>>(py::array_t<float, kPackedCopy>(array));
}

Points to_points(py::handle value, const char* name) {
  const std::string wanted = "integers of shape (n, 2)";
  const py::array array = to_array(value, name, wanted);
  if (array.size() == 0) return {};
  if (!is_number(array, "iu")) reject_type(name, array, wanted);
  if (array.ndim() != 2 || array.shape(1) != 2) reject_value(name, array, wanted);
  const py::array_t<int64_t, kPackedCopy> numbers(array);
  const auto view = numbers.unchecked<2>();
  Points points;
  points.reserve(static_cast<size_t>(view.shape(0)));
  for (py::ssize_t i = 0; i < view.shape(0); ++i) {
    const int64_t x = view(i, 0), y = view(i, 1);
    if (x != static_cast<int>(x) || y != static_cast<int>(y)) {
      reject_value(name, array, "integers of 32 bits");
    }
    points.push_back({static_cast<int>(x), static_cast<int>(y)});
  }
  return points;
}

std::vector<Points> to_outlines(py::handle value, const char* name) {
  if (PySequence_Check(value.ptr()) == 0 || py::isinstance<py::str>(value)) {
    reject_type(name, value, "a list of arrays of shape (n, 2)");
  }
  std::vector<Points> outlines;
  size_t i = 0;
  for (const py::handle each : py::reinterpret_borrow<py::sequence>(value)) {
    const std::string element = std::string(name) + "[" + std::to_string(i++) + "]";
    outlines.push_back(to_points(each, element.c_str()));
  }
  return outlines;
}

py::array from_points(const Points& points) {
  static_assert(sizeof(KelvraCV::Point) == 2 * sizeof(int32_t));
  return py::array_t<int32_t>(Shape{static_cast<py::ssize_t>(points.size()), 2},
                              reinterpret_cast<const int32_t*>(points.data()));
}

py::list from_outlines(const std::vector<Points>& outlines) {
  py::list arrays(outlines.size());
  for (size_t i = 0; i < outlines.size(); ++i) arrays[i] = from_points(outlines[i]);
  return arrays;
}

}  // namespace bindings
