// Camera frames: I420, YV12, NV12, NV21 and images of 4 bytes a pixel.
#include <array>

#include "arguments.h"
#include "call.h"
#include "families.h"

namespace bindings {
namespace {

// What libyuv calculates with ints stays within them.
constexpr int kLargestSide = 32768;
constexpr int kMostPixels = INT_MAX / 4;

int half(int size) {
  return size / 2 + size % 2;
}

void check_pixels(const char* name, py::handle came, int width, int height) {
  if (width > kLargestSide || height > kLargestSide || height > kMostPixels / width) {
    reject_value(name, came, "sides of at most 32768 and at most 536870911 pixels");
  }
}

Image to_argb(py::handle value, const char* name) {
  const Image image = to_image(value, name, {4}, Rows::kStrided);
  check_pixels(name, value, image.width, image.height);
  return image;
}

// A frame's planes: luma, then two of chroma, or one of pairs.
struct Frame {
  std::array<Image, 3> planes;
  int width = 0, height = 0;
};

// The chroma planes of one buffer, one after the other behind the luma.
Frame from_buffer(py::handle value, py::handle size, bool has_pairs) {
  const std::string wanted = "a tuple of planes, or a buffer of bytes";
  py::array bytes = py::isinstance<py::array>(value)
                        ? py::reinterpret_borrow<py::array>(value)
                        : py::module_::import("numpy").attr("frombuffer")(value, "uint8");
  if (!py::isinstance<py::array_t<uint8_t>>(bytes)) reject_type("frame", value, wanted);
  Frame frame;
  if (size.is_none()) {
    const bool is_table = bytes.ndim() == 2 && bytes.shape(0) % 3 == 0 && bytes.shape(1) % 2 == 0;
    if (!is_table || bytes.size() == 0 || bytes.size() > INT_MAX) {
      reject_value("frame", bytes, "shape (height * 3 / 2, width) of an even width, or a size");
    }
    frame.width = static_cast<int>(bytes.shape(1));
    frame.height = static_cast<int>(bytes.shape(0) / 3 * 2);
  } else {
    const Size given = to_size(size, "size", 4);
    frame.width = given.width;
    frame.height = given.height;
  }
  check_pixels("frame", bytes, frame.width, frame.height);
  const int columns = half(frame.width), rows = half(frame.height);
  const auto luma = py::ssize_t{frame.width} * frame.height, chroma = py::ssize_t{columns} * rows;
  if (bytes.size() != luma + 2 * chroma) {
    reject_value("frame", bytes, std::to_string(luma + 2 * chroma) + " bytes");
  }
  const py::array flat = bytes.attr("reshape")(-1);
  const auto plane = [&](py::ssize_t first, int width, int height) {
    const auto part = flat[py::slice(first, first + py::ssize_t{width} * height, 1)];
    return to_image(part.attr("reshape")(height, width), "frame", {1}, Rows::kPacked);
  };
  frame.planes[0] = plane(0, frame.width, frame.height);
  frame.planes[1] = plane(luma, has_pairs ? 2 * columns : columns, rows);
  if (!has_pairs) frame.planes[2] = plane(luma + chroma, columns, rows);
  return frame;
}

void check_chroma(const Image& plane, const char* name, int columns, int rows) {
  if (plane.width * plane.channels != columns || plane.height != rows) {
    reject_value(name, plane.array,
                 std::to_string(rows) + " rows of " + std::to_string(columns) +
                     " bytes, half of the luma's, rounded up");
  }
}

Frame to_frame(py::handle value, py::handle size, bool has_pairs) {
  if (!py::isinstance<py::tuple>(value) && !py::isinstance<py::list>(value)) {
    if (!py::isinstance<py::array>(value) && PyObject_CheckBuffer(value.ptr()) == 0) {
      reject_type("frame", value, "a tuple of planes, or a buffer of bytes");
    }
    return from_buffer(value, size, has_pairs);
  }
  const auto planes = py::reinterpret_borrow<py::sequence>(value);
  if (py::len(planes) != (has_pairs ? 2 : 3)) {
    reject_value("frame", value, has_pairs ? "(y, uv)" : "three planes");
  }
  if (!size.is_none()) reject_value("size", size, "None beside planes, which tell it");
  Frame frame;
  frame.planes[0] = to_image(planes[0], "frame[0]", {1}, Rows::kStrided);
  frame.width = frame.planes[0].width;
  frame.height = frame.planes[0].height;
  check_pixels("frame[0]", frame.planes[0].array, frame.width, frame.height);
  const int columns = half(frame.width), rows = half(frame.height);
  if (has_pairs) {
    frame.planes[1] = to_image(planes[1], "frame[1]", {1, 2}, Rows::kStrided);
    check_chroma(frame.planes[1], "frame[1]", 2 * columns, rows);
  } else {
    frame.planes[1] = to_image(planes[1], "frame[1]", {1}, Rows::kStrided);
    frame.planes[2] = to_image(planes[2], "frame[2]", {1}, Rows::kStrided);
    check_chroma(frame.planes[1], "frame[1]", columns, rows);
    check_chroma(frame.planes[2], "frame[2]", columns, rows);
  }
  return frame;
}

// The planes of an I420 result.
class PlanarResult {
 public:
  PlanarResult(py::handle out, int width, int height, const Frame& source)
      : outs_(to_outs(out, "out", 3)),
        y(plane(0, width, height, source, source.planes[0])),
        u(plane(1, half(width), half(height), source, y)),
        v(plane(2, half(width), half(height), source, u)) {}

  py::tuple take() const { return py::make_tuple(y.take(), u.take(), v.take()); }

 private:
  Result plane(size_t i, int width, int height, const Frame& source, const Image& before) const {
    const Image& last = source.planes[2].width > 0 ? source.planes[2] : source.planes[1];
    const std::string name = "out[" + std::to_string(i) + "]";
    return Result(outs_[i], {height, width}, Rows::kStrided,
                  {&source.planes[0], &source.planes[1], &last, &before}, py::dtype::of<uint8_t>(),
                  Result::Before::kAnything, name.c_str());
  }
  std::vector<py::object> outs_;

 public:
  const Result y, u, v;
};

using PairsToArgb = void (*)(const unsigned char*, int, const unsigned char*, int, unsigned char*,
                             int, int, int, bool);
using PlanesToArgb = void (*)(const unsigned char*, int, const unsigned char*, int,
                              const unsigned char*, int, unsigned char*, int, int, int, bool);

template <PairsToArgb kConvert>
py::array pairs_to_argb(py::handle frame, py::handle size, py::handle flip, py::handle out) {
  const bool flips = to_bool(flip, "flip");
  const Frame src = to_frame(frame, size, true);
  const Image &y = src.planes[0], &uv = src.planes[1];
  const Result dst(out, {src.height, src.width, 4}, Rows::kStrided, {&y, &uv});
  call([&] {
    kConvert(y.data(), y.stride, uv.data(), uv.stride, dst.data(), dst.stride, src.width,
             src.height, flips);
  });
  return dst.take();
}

template <PlanesToArgb kConvert>
py::array planes_to_argb(py::handle frame, py::handle size, py::handle flip, py::handle out) {
  const bool flips = to_bool(flip, "flip");
  const Frame src = to_frame(frame, size, false);
  const Image &y = src.planes[0], &second = src.planes[1], &third = src.planes[2];
  const Result dst(out, {src.height, src.width, 4}, Rows::kStrided, {&y, &second, &third});
  call([&] {
    kConvert(y.data(), y.stride, second.data(), second.stride, third.data(), third.stride,
             dst.data(), dst.stride, src.width, src.height, flips);
  });
  return dst.take();
}

using PairsToPlanes = void (*)(const unsigned char*, int, const unsigned char*, int, unsigned char*,
                               int, unsigned char*, int, unsigned char*, int, int, int, bool);
using PlanesToPlanes = void (*)(const unsigned char*, int, const unsigned char*, int,
                                const unsigned char*, int, unsigned char*, int, unsigned char*, int,
                                unsigned char*, int, int, int, bool);

template <PairsToPlanes kConvert>
py::tuple pairs_to_planes(py::handle frame, py::handle size, py::handle flip, py::handle out) {
  const bool flips = to_bool(flip, "flip");
  const Frame src = to_frame(frame, size, true);
  const Image &y = src.planes[0], &uv = src.planes[1];
  const PlanarResult dst(out, src.width, src.height, src);
  call([&] {
    kConvert(y.data(), y.stride, uv.data(), uv.stride, dst.y.data(), dst.y.stride, dst.u.data(),
             dst.u.stride, dst.v.data(), dst.v.stride, src.width, src.height, flips);
  });
  return dst.take();
}

template <PlanesToPlanes kConvert>
py::tuple planes_to_planes(py::handle frame, py::handle size, py::handle flip, py::handle out) {
  const bool flips = to_bool(flip, "flip");
  const Frame src = to_frame(frame, size, false);
  const Image &y = src.planes[0], &u = src.planes[1], &v = src.planes[2];
  const PlanarResult dst(out, src.width, src.height, src);
  call([&] {
    kConvert(y.data(), y.stride, u.data(), u.stride, v.data(), v.stride, dst.y.data(), dst.y.stride,
             dst.u.data(), dst.u.stride, dst.v.data(), dst.v.stride, src.width, src.height, flips);
  });
  return dst.take();
}

// --- rotation ---

KelvraCV::RotationMode to_rotation(py::handle mode) {
  const int degrees = to_int(mode, "mode");
  if (degrees != 0 && degrees != 90 && degrees != 180 && degrees != 270) {
    reject_value("mode", mode, "0, 90, 180 or 270");
  }
  return static_cast<KelvraCV::RotationMode>(degrees);
}

Size turned(int width, int height, KelvraCV::RotationMode mode) {
  const bool is_sideways = mode == KelvraCV::ROTATE_90 || mode == KelvraCV::ROTATE_270;
  return is_sideways ? Size{height, width} : Size{width, height};
}

py::tuple rotate_i420(py::handle frame, py::handle mode, py::handle size, py::handle flip,
                      py::handle out) {
  const auto turn = to_rotation(mode);
  const bool flips = to_bool(flip, "flip");
  const Frame src = to_frame(frame, size, false);
  const Image &y = src.planes[0], &u = src.planes[1], &v = src.planes[2];
  const Size to = turned(src.width, src.height, turn);
  const PlanarResult dst(out, to.width, to.height, src);
  call([&] {
    KelvraCV::rotate_i420(y.data(), y.stride, u.data(), u.stride, v.data(), v.stride, dst.y.data(),
                          dst.y.stride, dst.u.data(), dst.u.stride, dst.v.data(), dst.v.stride,
                          src.width, src.height, turn, flips);
  });
  return dst.take();
}

using PairsRotation = void (*)(const unsigned char*, int, const unsigned char*, int, unsigned char*,
                               int, unsigned char*, int, unsigned char*, int, int, int,
                               KelvraCV::RotationMode, bool);

template <PairsRotation kRotate>
py::tuple rotate_pairs(py::handle frame, py::handle mode, py::handle size, py::handle flip,
                       py::handle out) {
  const auto turn = to_rotation(mode);
  const bool flips = to_bool(flip, "flip");
  const Frame src = to_frame(frame, size, true);
  const Image &y = src.planes[0], &uv = src.planes[1];
  const Size to = turned(src.width, src.height, turn);
  const PlanarResult dst(out, to.width, to.height, src);
  call([&] {
    kRotate(y.data(), y.stride, uv.data(), uv.stride, dst.y.data(), dst.y.stride, dst.u.data(),
            dst.u.stride, dst.v.data(), dst.v.stride, src.width, src.height, turn, flips);
  });
  return dst.take();
}

py::array rotate_argb(py::handle image, py::handle mode, py::handle flip, py::handle out) {
  const auto turn = to_rotation(mode);
  const bool flips = to_bool(flip, "flip");
  Image src = to_argb(image, "image");
  if (src.stride % 4 != 0) {  // which the library refuses
    src = to_image(src.array.attr("copy")(), "image", {4}, Rows::kPacked);
  }
  const Size to = turned(src.width, src.height, turn);
  const Result dst(out, {to.height, to.width, 4}, Rows::kStrided, {&src});
  call([&] {
    KelvraCV::rotate_argb(src.data(), src.stride, dst.data(), dst.stride, src.width, src.height,
                          turn, flips);
  });
  return dst.take();
}

// --- crop and scale ---

// A rectangle inside an area of this size.
KelvraCV::Rect to_rect(py::handle value, const char* name, int width, int height,
                       const char* wanted) {
  const std::vector<int> part = to_ints(value, name, 4);
  const bool is_inside = part[0] >= 0 && part[1] >= 0 && part[2] >= 1 && part[3] >= 1 &&
                         part[2] <= width - part[0] && part[3] <= height - part[1];
  if (!is_inside) reject_value(name, value, wanted);
  return {part[0], part[1], part[2], part[3]};
}

py::array crop_argb(py::handle image, py::handle rect, py::handle out) {
  const Image src = to_argb(image, "image");
  const KelvraCV::Rect part =
      to_rect(rect, "rect", src.width - 1, src.height - 1,
              "(x, y, width, height) that reach neither the right nor the bottom edge");
  const Result dst(out, {part.height, part.width, 4}, Rows::kPacked, {&src});
  call([&] {
    KelvraCV::crop_argb(src.data(), src.stride, dst.data(), dst.stride, src.width, src.height,
                        part.x, part.y, part.width, part.height);
  });
  return dst.take();
}

KelvraCV::ScaleMode to_scale_mode(py::handle mode) {
  return static_cast<KelvraCV::ScaleMode>(to_int(mode, "mode", 0, 3));
}

Size to_frame_size(py::handle size) {
  const Size wanted = to_size(size, "size", 4);
  check_pixels("size", size, wanted.width, wanted.height);
  return wanted;
}

py::tuple scale_i420(py::handle frame, py::handle size, py::handle mode, py::handle frame_size,
                     py::handle flip, py::handle out) {
  const auto filter = to_scale_mode(mode);
  const bool flips = to_bool(flip, "flip");
  const Size to = to_frame_size(size);
  const Frame src = to_frame(frame, frame_size, false);
  const Image &y = src.planes[0], &u = src.planes[1], &v = src.planes[2];
  const PlanarResult dst(out, to.width, to.height, src);
  call([&] {
    KelvraCV::scale_i420(y.data(), y.stride, u.data(), u.stride, v.data(), v.stride, src.width,
                         src.height, dst.y.data(), dst.y.stride, dst.u.data(), dst.u.stride,
                         dst.v.data(), dst.v.stride, to.width, to.height, filter, flips);
  });
  return dst.take();
}

py::array scale_argb(py::handle image, py::handle size, py::handle mode, py::handle clip,
                     py::handle out) {
  const auto filter = to_scale_mode(mode);
  const Size to = to_frame_size(size);
  const Image src = to_argb(image, "image");
  const KelvraCV::Rect part = clip.is_none() ? KelvraCV::Rect{0, 0, to.width, to.height}
                                             : to_rect(clip, "clip", to.width, to.height,
                                                       "(x, y, width, height) inside the result");
  const Result dst(out, {to.height, to.width, 4}, Rows::kStrided, {&src}, py::dtype::of<uint8_t>(),
                   clip.is_none() ? Result::Before::kAnything : Result::Before::kKept);
  call([&] {
    KelvraCV::scale_argb(src.data(), src.stride, src.width, src.height, dst.data(), dst.stride,
                         to.width, to.height, part.x, part.y, part.width, part.height, filter);
  });
  return dst.take();
}

}  // namespace

void bind_frames(py::module_& module) {
  module.def("convert_i420_argb", &planes_to_argb<KelvraCV::convert_i420_argb>);
  module.def("convert_yv12_argb", &planes_to_argb<KelvraCV::convert_yv12_argb>);
  module.def("convert_nv12_argb", &pairs_to_argb<KelvraCV::convert_nv12_argb>);
  module.def("convert_nv21_argb", &pairs_to_argb<KelvraCV::convert_nv21_argb>);
  module.def("convert_nv12_i420", &pairs_to_planes<KelvraCV::convert_nv12_i420>);
  module.def("convert_nv21_i420", &pairs_to_planes<KelvraCV::convert_nv21_i420>);
  module.def("copy_i420", &planes_to_planes<KelvraCV::copy_i420>);
  module.def("mirror_i420", &planes_to_planes<KelvraCV::mirror_i420>);
  module.def("rotate_i420", &rotate_i420);
  module.def("rotate_nv12", &rotate_pairs<KelvraCV::rotate_nv12>);
  module.def("rotate_nv21", &rotate_pairs<KelvraCV::rotate_nv21>);
  module.def("rotate_argb", &rotate_argb);
  module.def("crop_argb", &crop_argb);
  module.def("scale_i420", &scale_i420);
  module.def("scale_argb", &scale_argb);
}

}  // namespace bindings
