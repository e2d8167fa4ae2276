// Sobel, Canny, histograms, CLAHE, mask edges, sums and the pyramid.
#include <algorithm>

#include "arguments.h"
#include "call.h"
#include "families.h"

namespace bindings {
namespace {

py::array sobel_edge(py::handle image, py::handle threshold, py::handle out) {
  const int limit = to_int(threshold, "threshold");
  return map(image, {1}, Rows::kPacked, out, 1, [&](const Image& src, const Image& dst) {
    KelvraCV::sobel_edge(src.data(), dst.data(), src.width, src.height, limit);
  });
}

py::tuple sobel_grad(py::handle image, py::handle out) {
  const Image src = to_image(image, "image", {1}, Rows::kPacked);
  const auto outs = to_outs(out, "out", 2);
  const auto type = py::dtype::of<short>();
  const auto anything = Result::Before::kAnything;
  const Result dx(outs[0], src.shape(), Rows::kPacked, {&src}, type, anything, "out[0]");
  const Result dy(outs[1], src.shape(), Rows::kPacked, {&src, &dx}, type, anything, "out[1]");
  call([&] {
    KelvraCV::sobel_grad(src.data(), dx.data<short>(), dy.data<short>(), src.width, src.height);
  });
  return py::make_tuple(dx.take(), dy.take());
}

py::array canny(py::handle image, py::handle threshold1, py::handle threshold2, py::handle order,
                py::handle out) {
  const int low = to_int(threshold1, "threshold1", INT_MIN, INT_MAX - 1);
  const int high = to_int(threshold2, "threshold2"), bgra = to_order(order);
  if (high <= low) reject_value("threshold2", threshold2, "more than threshold1");
  return map(image, {1, 3, 4}, Rows::kPacked, out, 1, [&](const Image& src, const Image& dst) {
    KelvraCV::ImageData to = dst.record();
    KelvraCV::canny(src.record(bgra), to, low, high);
  });
}

constexpr int kMostBins = 65536;

py::list cal_hist(py::handle image, py::handle bins, py::handle rect) {
  const Image src = to_image(image, "image", {1, 2, 3, 4}, Rows::kStrided);
  const auto channels = static_cast<size_t>(src.channels);
  std::vector<int> counts = PyIndex_Check(bins.ptr()) != 0 && !py::isinstance<py::array>(bins)
                                ? std::vector<int>(channels, to_int(bins, "bins", 1, kMostBins))
                                : to_ints(bins, "bins", channels);
  const std::vector<int> part =
      rect.is_none() ? std::vector<int>{0, 0, src.width, src.height} : to_ints(rect, "rect", 4);
  const bool is_inside = part[0] >= 0 && part[1] >= 0 && part[2] >= 1 && part[3] >= 1 &&
                         part[2] <= src.width - part[0] && part[3] <= src.height - part[1];
  if (!is_inside) reject_value("rect", rect, "(x, y, width, height) inside the image");
  py::list results;
  std::vector<int*> hists;
  for (const int n : counts) {
    if (n < 1 || n > kMostBins) reject_value("bins", bins, "numbers from 1 to 65536");
    py::array_t<int> counters(Shape{std::max(n, 255 / n + 1)});
    hists.push_back(counters.mutable_data());
    std::fill_n(hists.back(), counters.size(), 0);
    results.append(counters);
  }
  call([&] {
    KelvraCV::cal_hist(src.data(), src.stride, src.channels, part[2], part[3], part[0], part[1],
                       hists.data(), counts.data());
  });
  return results;
}

py::array clahe(py::handle image, py::handle tiles, py::handle bins, py::handle clip,
                py::handle out) {
  const int sides = to_int(tiles, "tiles", 2, 16), levels = to_int(bins, "bins", 0, 256);
  const float limit = to_float(clip, "clip", 0.0f);
  const Image src = to_image(image, "image", {1, 3, 4}, Rows::kPacked);
  const Result dst(out, src.shape(), Rows::kPacked, {&src});
  call([&] {
    KelvraCV::ImageData to = dst.record();
    if (src.channels == 1) {  // the library equalises one channel where it stands
      std::copy_n(src.data(), static_cast<size_t>(src.width) * static_cast<size_t>(src.height),
                  dst.data());
      KelvraCV::clahe(to, to, sides, levels, limit);
    } else {
      KelvraCV::clahe(src.record(), to, sides, levels, limit);
    }
  });
  return dst.take();
}

py::array get_mask_edge(py::handle mask, py::handle foreground, py::handle out) {
  const int mode = to_mask_mode(foreground);
  const Image src = to_image(mask, "mask", {1}, Rows::kStrided);
  const Result dst(out, src.shape(), Rows::kPacked, {&src});
  call([&] {
    KelvraCV::get_mask_edge(src.data(), dst.data(), src.width, src.height, src.stride, dst.stride,
                            mode);
  });
  return dst.take();
}

py::array integral_int(py::handle image, py::handle out) {
  const Image src = to_image(image, "image", {1}, Rows::kStrided);
  const Result sum(out, {src.height + py::ssize_t{1}, src.width + py::ssize_t{1}}, Rows::kPacked,
                   {&src}, py::dtype::of<int>());
  call([&] {
    KelvraCV::integral_int(src.data(), sum.data<int>(), src.width, src.height, src.stride);
  });
  return sum.take();
}

py::list pyramid_gauss(py::handle image, py::handle levels) {
  const int most = to_int(levels, "levels", 1);
  const Image src = to_image(image, "image", {1, 3, 4}, Rows::kStrided);
  py::list results;
  std::vector<KelvraCV::ImageData> records{src.record()};  // the first level is the image itself
  results.append(src.array);
  int width = src.width, height = src.height;
  while (static_cast<int>(records.size()) < most && (width > 1 || height > 1)) {
    width = width / 2 + width % 2;
    height = height / 2 + height % 2;
    Shape shape{height, width};
    if (src.channels > 1) shape.push_back(src.channels);
    py::array_t<uint8_t> level(shape);
    records.push_back({level.mutable_data(), width, height, src.channels, 0, 0, 0});
    results.append(level);
  }
  call([&] { KelvraCV::pyramid_gauss(src.record(), records); });
  return results;
}

}  // namespace

void bind_edges(py::module_& module) {
  module.def("sobel_edge", &sobel_edge);
  module.def("sobel_grad", &sobel_grad);
  module.def("canny", &canny);
  module.def("cal_hist", &cal_hist);
  module.def("clahe", &clahe);
  module.def("get_mask_edge", &get_mask_edge);
  module.def("integral_int", &integral_int);
  module.def("pyramid_gauss", &pyramid_gauss);
}

}  // namespace bindings
