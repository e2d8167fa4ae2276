// Gray, YCbCr, HSV, channel layout and Lab.
#include "arguments.h"
#include "call.h"
#include "families.h"

namespace bindings {
namespace {

py::array rgb2gray(py::handle image, py::handle out) {
  return map(image, {3}, Rows::kStrided, out, 1, [](const Image& src, const Image& dst) {
    KelvraCV::rgb2gray(src.data(), dst.data(), src.width, src.height, src.stride, dst.stride);
  });
}

py::array rgba2gray(py::handle image, py::handle order, py::handle out) {
  const int bgra = to_order(order);
  return map(image, {4}, Rows::kStrided, out, 1, [&](const Image& src, const Image& dst) {
    KelvraCV::rgba2gray(src.data(), dst.data(), src.width, src.height, src.stride, dst.stride,
                        bgra);
  });
}

// Three planes of shape (3, height, width) as the interleaved pixels of a shape.
Image to_planes(py::handle value, const char* name) {
  const std::string wanted = "uint8 array of shape (3, height, width)";
  if (!py::isinstance<py::array>(value)) reject_type(name, value, wanted);
  auto array = py::reinterpret_borrow<py::array>(value);
  if (array.ndim() != 3 || array.shape(0) != 3) reject_value(name, array, wanted);
  const py::object rows = array.attr("reshape")(-1, array.shape(2));
  Image planes = to_image(rows, name, {1}, Rows::kPacked);
  planes.height /= 3;
  planes.channels = 3;
  return planes;
}

py::array rgb_to_ycbcr(py::handle image, py::handle planar, py::handle out) {
  const bool is_planar = to_bool(planar, "planar");
  const Image src = to_image(image, "image", {3}, Rows::kStrided);
  const Shape shape = is_planar ? Shape{3, src.height, src.width} : src.shape();
  const Result dst(out, shape, Rows::kPacked, {&src});
  call([&] {
    KelvraCV::rgb_to_ycbcr(src.data(), dst.data(), src.width, src.height, src.stride, is_planar);
  });
  return dst.take();
}

py::array ycbcr_to_rgb(py::handle image, py::handle planar, py::handle out) {
  const bool is_planar = to_bool(planar, "planar");
  const Image src =
      is_planar ? to_planes(image, "image") : to_image(image, "image", {3}, Rows::kStrided);
  const Result dst(out, src.shape(), Rows::kPacked, {&src});
  call([&] {
    KelvraCV::ycbcr_to_rgb(src.data(), dst.data(), src.width, src.height, src.stride, is_planar);
  });
  return dst.take();
}

py::array rgba2hsv(py::handle image, py::handle out) {
  return map(image, {3, 4}, Rows::kPacked, out, 3, [](const Image& src, const Image& dst) {
    KelvraCV::ImageData to = dst.record();
    KelvraCV::rgba2hsv(src.record(), to);
  });
}

py::array hsv2rgb(py::handle image, py::handle out) {
  return map(image, {3}, Rows::kPacked, out, 3, [](const Image& src, const Image& dst) {
    KelvraCV::ImageData to = dst.record();
    KelvraCV::hsv2rgb(src.record(), to);
  });
}

py::array convert_c4_to_c3(py::handle image, py::handle order, py::handle out) {
  const int swap = to_order(order);
  return map(image, {4}, Rows::kStrided, out, 3, [&](const Image& src, const Image& dst) {
    KelvraCV::convert_c4_to_c3(src.data(), dst.data(), src.width, src.height, src.stride,
                               dst.stride, swap);
  });
}

py::array split_channels(py::handle image, py::handle out) {
  const Image src = to_image(image, "image", {2, 3, 4}, Rows::kStrided);
  const Result dst(out, {src.channels, src.height, src.width}, Rows::kPacked, {&src});
  const size_t plane = static_cast<size_t>(src.width) * static_cast<size_t>(src.height);
  std::vector<KelvraCV::ImageData> planes;
  for (int c = 0; c < src.channels; ++c) {
    uint8_t* const first = dst.data() + static_cast<size_t>(c) * plane;
    planes.push_back({first, src.width, src.height, 1, src.width, 0, 0});
  }
  call([&] { KelvraCV::split_channels(src.record(), planes); });
  return dst.take();
}

py::array merge_channels(py::handle planes, py::handle out) {
  const std::string wanted = "2, 3 or 4 planes";
  if (PySequence_Check(planes.ptr()) == 0) reject_type("planes", planes, wanted);
  const auto sequence = py::reinterpret_borrow<py::sequence>(planes);
  const size_t count = py::len(sequence);
  if (count < 2 || count > 4) reject_value("planes", planes, wanted);
  std::vector<Image> images;
  std::vector<KelvraCV::ImageData> records;
  for (size_t i = 0; i < count; ++i) {
    const std::string name = "planes[" + std::to_string(i) + "]";
    const py::object plane = sequence[i];
    images.push_back(i == 0 ? to_image(plane, name.c_str(), {1}, Rows::kPacked)
                            : to_plane_like(plane, name.c_str(), images[0], Rows::kPacked));
    records.push_back(images.back().record());
  }
  // Absent planes repeat the first one: the result overlaps none.
  const auto at = [&](size_t i) { return &images[i < count ? i : 0]; };
  const Result dst(out, images[0].shape(static_cast<int>(count)), Rows::kStrided,
                   {at(0), at(1), at(2), at(3)});
  call([&] {
    KelvraCV::ImageData to = dst.record();
    KelvraCV::merge_channels(records, to);
  });
  return dst.take();
}

py::array rgb_to_lab(py::handle image, py::handle out) {
  return map(image, {3}, Rows::kPacked, out, 3, [](const Image& src, const Image& dst) {
    KelvraCV::rgb_to_lab(src.data(), dst.data(), src.width, src.height);
  });
}

// --- Lab by tables ---

constexpr int kMostThreads = 256;

py::array_t<int> new_table(py::ssize_t length) {
  return py::array_t<int>(Shape{length});
}

py::tuple init_rgb_to_lab_fast() {
  py::array_t<int> gamma = new_table(256), cbrt = new_table(1500);
  KelvraCV::init_rgb_to_lab_fast(gamma.mutable_data(), cbrt.mutable_data());
  return py::make_tuple(gamma, cbrt);
}

py::tuple init_lab_to_rgb_fast() {
  py::array_t<int> y = new_table(256), x = new_table(65536), z = new_table(65536);
  py::array_t<unsigned short> gamma(Shape{4096});
  KelvraCV::init_lab_to_rgb_fast(y.mutable_data(), x.mutable_data(), z.mutable_data(),
                                 gamma.mutable_data());
  return py::make_tuple(y, x, z, gamma);
}

struct ForwardTables {
  py::array gamma, cbrt;  // empty arrays have null for the library
  explicit ForwardTables(py::handle tables) {
    if (tables.is_none()) return;
    const auto both = to_outs(tables, "tables", 2);
    gamma = to_table<int>(both[0], "tables[0]", 256);
    cbrt = to_table<int>(both[1], "tables[1]", 1500);
  }
};

void* data_of(const py::array& table) {
  return table.size() == 0 ? nullptr : const_cast<void*>(table.data());  // only read
}

struct InverseTables {
  py::array y, x, z, gamma;
  explicit InverseTables(py::handle tables) {
    if (tables.is_none()) return;
    const auto all = to_outs(tables, "tables", 4);
    y = to_table<int>(all[0], "tables[0]", 256);
    x = to_table<int>(all[1], "tables[1]", 65536);
    z = to_table<int>(all[2], "tables[2]", 65536);
    gamma = to_table<unsigned short>(all[3], "tables[3]", 4096);
  }
};

py::array rgb_to_lab_fast(py::handle image, py::handle order, py::handle tables, py::handle threads,
                          py::handle out) {
  const int bgra = to_order(order), count = to_int(threads, "threads", 0, kMostThreads);
  const ForwardTables given(tables);
  const Image src = to_image(image, "image", {3, 4}, Rows::kStrided);
  if (src.channels == 3 && bgra != 0) {
    reject_value("order", order, "'rgba' for three channels, which are R, G, B");
  }
  const Image packed =
      src.channels == 3 ? to_image(src.array, "image", {3}, Rows::kPacked) : Image();
  const Result dst(out, src.shape(3), Rows::kPacked, {&src});
  void *const gamma = data_of(given.gamma), *const cbrt = data_of(given.cbrt);
  call([&] {
    if (src.channels == 3) {
      KelvraCV::rgb_to_lab_fast(packed.data(), dst.data(), src.width, src.height, gamma, cbrt,
                                count);
    } else {
      KelvraCV::rgb_to_lab_c4_c3(src.data(), dst.data(), src.width, src.height, src.stride, bgra,
                                 gamma, cbrt, count);
    }
  });
  return dst.take();
}

py::array lab_to_rgb_fast(py::handle image, py::handle mask, py::handle tables, py::handle threads,
                          py::handle out) {
  const int count = to_int(threads, "threads", 0, kMostThreads);
  const InverseTables given(tables);
  const Image src = to_image(image, "image", {3}, Rows::kPacked);
  const Image where = mask.is_none() ? src : to_plane_like(mask, "mask", src, Rows::kPacked);
  const auto before = mask.is_none() ? Result::Before::kAnything : Result::Before::kKept;
  const Result dst(out, src.shape(), Rows::kPacked, {&src, &where}, py::dtype::of<uint8_t>(),
                   before);
  uint8_t* const marks = mask.is_none() ? nullptr : where.data();
  call([&] {
    KelvraCV::lab_to_rgb_fast(src.data(), dst.data(), src.width, src.height, marks,
                              data_of(given.y), data_of(given.x), data_of(given.z),
                              data_of(given.gamma), count);
  });
  return dst.take();
}

py::array lab_to_rgb_c3_c4(py::handle image, py::handle order, py::handle tables,
                           py::handle threads, py::handle out) {
  const int bgra = to_order(order), count = to_int(threads, "threads", 0, kMostThreads);
  const InverseTables given(tables);
  const Image src = to_image(image, "image", {3}, Rows::kPacked);
  const Result dst(out, src.shape(4), Rows::kStrided, {&src}, py::dtype::of<uint8_t>(),
                   Result::Before::kKept);
  call([&] {
    KelvraCV::lab_to_rgb_c3_c4(src.data(), dst.data(), src.width, src.height, dst.stride, bgra,
                               data_of(given.y), data_of(given.x), data_of(given.z),
                               data_of(given.gamma), count);
  });
  return dst.take();
}

}  // namespace

void bind_color(py::module_& module) {
  module.def("rgb2gray", &rgb2gray);
  module.def("rgba2gray", &rgba2gray);
  module.def("rgb_to_ycbcr", &rgb_to_ycbcr);
  module.def("ycbcr_to_rgb", &ycbcr_to_rgb);
  module.def("rgba2hsv", &rgba2hsv);
  module.def("hsv2rgb", &hsv2rgb);
  module.def("convert_c4_to_c3", &convert_c4_to_c3);
  module.def("split_channels", &split_channels);
  module.def("merge_channels", &merge_channels);
  module.def("rgb_to_lab", &rgb_to_lab);
  module.def("init_rgb_to_lab_fast", &init_rgb_to_lab_fast);
  module.def("rgb_to_lab_fast", &rgb_to_lab_fast);
  module.def("init_lab_to_rgb_fast", &init_lab_to_rgb_fast);
  module.def("lab_to_rgb_fast", &lab_to_rgb_fast);
  module.def("lab_to_rgb_c3_c4", &lab_to_rgb_c3_c4);
}

}  // namespace bindings
