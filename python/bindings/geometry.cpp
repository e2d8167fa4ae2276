// Resizing, transforms, warps and aligned crops.
#include <cmath>

#include "arguments.h"
#include "call.h"
#include "families.h"

namespace bindings {
namespace {

using ByteResize = void (*)(const unsigned char*, unsigned char*, int, int, int, int, int, int);

// Runs one of the byte functions, which all take their arguments alike.
template <class Resize>
py::array resize_with(const Resize& resize, const Image& src, Size size, int channels,
                      py::handle out) {
  Shape shape{size.height, size.width};
  if (channels > 1) shape.push_back(channels);
  const Result dst(out, shape, Rows::kStrided, {&src});
  call([&] {
    resize(src.data(), dst.data(), src.width, src.height, src.stride, dst.width, dst.height,
           dst.stride);
  });
  return dst.take();
}

template <ByteResize kOne, ByteResize kThree>
py::array resize_1_3(py::handle image, py::handle size, py::handle out) {
  const Image src = to_image(image, "image", {1, 3}, Rows::kStrided);
  return resize_with(src.channels == 1 ? kOne : kThree, src, to_size(size, "size", 3), src.channels,
                     out);
}

// The functions of four channels with their swap flag bound.
template <class Resize>
auto swapping(const Resize& resize, int swap) {
  return [&resize, swap](auto... arguments) { resize(arguments..., swap); };
}

py::array resize_float(py::handle image, Size size, py::handle out) {
  const auto type = py::dtype::of<float>();
  const Image src = to_image(image, "image", {1}, Rows::kStrided, type);
  const Result dst(out, {size.height, size.width}, Rows::kStrided, {&src}, type);
  call([&] {
    KelvraCV::resize_bilinear_c1_float(src.data<float>(), dst.data<float>(), src.width, src.height,
                                       src.stride_of<float>(), dst.width, dst.height,
                                       dst.stride_of<float>());
  });
  return dst.take();
}

py::array resize_bilinear(py::handle image, py::handle size, py::handle order, py::handle out) {
  const int swap = to_order(order);
  const Size wanted = to_size(size, "size", 4);
  const bool is_float = py::isinstance<py::array_t<float>>(image);
  if (!is_float) {
    const Image src = to_image(image, "image", {1, 3, 4}, Rows::kStrided);
    if (src.channels == 4) {
      return resize_with(swapping(KelvraCV::resize_bilinear_c4, swap), src, wanted, 4, out);
    }
    if (swap == 0) {
      const auto resize =
          src.channels == 1 ? KelvraCV::resize_bilinear_c1 : KelvraCV::resize_bilinear_c3;
      return resize_with(resize, src, wanted, src.channels, out);
    }
  }
  if (swap != 0) reject_value("order", order, "'rgba' unless there are four channels");
  return resize_float(image, wanted, out);
}

py::array resize_bilinear_c4_to_c3(py::handle image, py::handle size, py::handle order,
                                   py::handle out) {
  const int swap = to_order(order);
  const Image src = to_image(image, "image", {4}, Rows::kStrided);
  return resize_with(swapping(KelvraCV::resize_bilinear_c4_to_c3, swap), src,
                     to_size(size, "size", 4), 3, out);
}

// --- matrices ---

py::array_t<float> matrix(py::ssize_t rows, py::ssize_t columns) {
  return py::array_t<float>(Shape{rows, columns});
}

py::array get_rotation_matrix(py::handle angle, py::handle scale, py::handle center) {
  const auto middle = to_floats(center, "center", {2});
  auto result = matrix(2, 3);
  KelvraCV::get_rotation_matrix(to_float(angle, "angle"), to_float(scale, "scale"), middle.at(0),
                                middle.at(1), result.mutable_data());
  return std::move(result);
}

bool has_integers(py::handle value) {
  const py::array array = py::array::ensure(value);
  if (!array) PyErr_Clear();
  return array && (array.dtype().kind() == 'i' || array.dtype().kind() == 'u');
}

py::array get_affine_transform(py::handle src, py::handle dst) {
  auto result = matrix(2, 3);
  if (has_integers(src) && has_integers(dst)) {
    const Points from = to_points(src, "src"), to = to_points(dst, "dst");
    const std::string wanted = "three integer points, or floats for a least-squares fit";
    if (from.size() != 3) reject_value("src", src, wanted);
    if (to.size() != 3) reject_value("dst", dst, wanted);
    KelvraCV::get_affine_transform(from.data(), to.data(), result.mutable_data());
    return std::move(result);
  }
  const auto from = to_floats(src, "src", {-1, 2});
  const auto to = to_floats(dst, "dst", {from.shape(0), 2});
  const int count = to_int(py::int_(from.shape(0)), "len(src)", 1);
  KelvraCV::get_affine_transform(from.data(), to.data(), count, result.mutable_data());
  return std::move(result);
}

py::array invert_affine_transform(py::handle M) {
  const auto from = to_floats(M, "M", {2, 3});
  auto result = matrix(2, 3);
  KelvraCV::invert_affine_transform(from.data(), result.mutable_data());
  return std::move(result);
}

py::array get_perspective_transform(py::handle src, py::handle dst) {
  const auto from = to_floats(src, "src", {4, 2}), to = to_floats(dst, "dst", {4, 2});
  auto result = matrix(3, 3);
  KelvraCV::get_perspective_transform(from.data(), to.data(), result.mutable_data());
  return std::move(result);
}

py::array invert_perspective_transform(py::handle H) {
  const auto from = to_floats(H, "H", {3, 3});
  auto result = matrix(3, 3);
  KelvraCV::invert_perspective_transform(from.data(), result.mutable_data());
  return std::move(result);
}

// --- warps ---

constexpr int kKeepsOutside = 2;  // the border that leaves pixels of the result as they are

// A byte for each channel, the first one lowest.
unsigned to_fill(py::handle value, int channels) {
  if (PyIndex_Check(value.ptr()) != 0 && !py::isinstance<py::array>(value)) {
    const auto byte = static_cast<unsigned>(to_int(value, "fill", 0, 255));
    return byte * 0x01010101u;
  }
  const std::vector<int> bytes = to_ints(value, "fill", static_cast<size_t>(channels));
  unsigned fill = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] < 0 || bytes[i] > 255) reject_value("fill", value, "integers from 0 to 255");
    fill |= static_cast<unsigned>(bytes[i]) << (8 * i);
  }
  return fill;
}

template <class Warp>
py::array warp_with(const Warp& warp, const Image& src, const float* transform, py::handle size,
                    py::handle border, py::handle fill, py::handle out) {
  const Size wanted = to_size(size, "size", 4);
  const int outside = to_int(border, "border", 0, kKeepsOutside);
  const unsigned color = to_fill(fill, src.channels);
  Shape shape{wanted.height, wanted.width};
  if (src.channels > 1) shape.push_back(src.channels);
  const auto before = outside == kKeepsOutside ? Result::Before::kKept : Result::Before::kAnything;
  const Result dst(out, shape, Rows::kStrided, {&src}, py::dtype::of<uint8_t>(), before);
  call([&] {
    warp(src.data(), src.width, src.height, src.stride, dst.data(), dst.width, dst.height,
         dst.stride, transform, outside, color);
  });
  return dst.take();
}

py::array warp_affine(py::handle image, py::handle M, py::handle size, py::handle border,
                      py::handle fill, py::handle out) {
  const Image src = to_image(image, "image", {1, 4}, Rows::kStrided);
  const auto transform = to_floats(M, "M", {2, 3});
  const auto warp =
      src.channels == 1 ? KelvraCV::warpaffine_bilinear_c1 : KelvraCV::warpaffine_bilinear_c4;
  return warp_with(warp, src, transform.data(), size, border, fill, out);
}

py::array warp_perspective(py::handle image, py::handle H, py::handle size, py::handle border,
                           py::handle fill, py::handle out) {
  const Image src = to_image(image, "image", {4}, Rows::kStrided);
  const auto transform = to_floats(H, "H", {3, 3});
  return warp_with(KelvraCV::warpperspective_bilinear_c4, src, transform.data(), size, border, fill,
                   out);
}

py::tuple align_crop_img(py::handle image, py::handle crop_points, py::handle image_points,
                         py::handle size, py::handle out) {
  const Image src = to_image(image, "image", {4}, Rows::kStrided);
  const auto in_image = to_floats(image_points, "image_points", {-1, 2});
  const auto in_crop = to_floats(crop_points, "crop_points", {in_image.shape(0), 2});
  const int count = to_int(py::int_(in_image.shape(0)), "len(image_points)", 1);
  const Size wanted = to_size(size, "size", 4);
  const Result crop(out, {wanted.height, wanted.width, 4}, Rows::kStrided, {&src});
  auto inverse = matrix(2, 3);
  float* const elements = inverse.mutable_data();
  call([&] {
    KelvraCV::ImageData to = crop.record();
    KelvraCV::align_crop_img(src.record(), in_crop.data(), in_image.data(), count, to, elements);
  });
  return py::make_tuple(crop.take(), inverse);
}

py::array align_back_img(py::handle crop, py::handle inverse, py::handle image,
                         py::handle erode_radius, py::handle feather_sigma, py::handle out) {
  const Image piece = to_image(crop, "crop", {4}, Rows::kStrided);
  const Image src = to_image(image, "image", {4}, Rows::kStrided);
  const auto transform = to_floats(inverse, "inverse", {2, 3});
  const int most = src.width > INT_MAX - src.height ? INT_MAX : src.width + src.height;
  const int radius = to_int(erode_radius, "erode_radius", 0, most);
  const float sigma = to_float(feather_sigma, "feather_sigma", 0.0f);
  // The image is changed where it stands if it is `out`, else in its copy.
  const bool in_place = out.is(image) && src.array.is(image);
  const Result dst(out, src.shape(), Rows::kStrided, {in_place ? &piece : &src, &piece},
                   py::dtype::of<uint8_t>(),
                   in_place ? Result::Before::kKept : Result::Before::kAnything);
  if (!in_place) dst.array.attr("__setitem__")(py::ellipsis(), src.array);
  int status = 0;
  call([&] {
    KelvraCV::ImageData to = dst.record();
    status = KelvraCV::align_back_img(piece.record(), transform.data(), to, radius, sigma);
  });
  if (status != 0) throw std::bad_alloc();  // the one refusal that is not checked above
  return dst.take();
}

}  // namespace

void bind_geometry(py::module_& module) {
  module.def("resize_nn", &resize_1_3<KelvraCV::resize_nn_c1, KelvraCV::resize_nn_c3>);
  module.def("resize_bilinear", &resize_bilinear);
  module.def("resize_bilinear_c4_to_c3", &resize_bilinear_c4_to_c3);
  module.def("resize_bicubic",
             &resize_1_3<KelvraCV::resize_bicubic_c1, KelvraCV::resize_bicubic_c3>);
  module.def("get_rotation_matrix", &get_rotation_matrix);
  module.def("get_affine_transform", &get_affine_transform);
  module.def("invert_affine_transform", &invert_affine_transform);
  module.def("get_perspective_transform", &get_perspective_transform);
  module.def("invert_perspective_transform", &invert_perspective_transform);
  module.def("warp_affine", &warp_affine);
  module.def("warp_perspective", &warp_perspective);
  module.def("align_crop_img", &align_crop_img);
  module.def("align_back_img", &align_back_img);
}

}  // namespace bindings
