// Network tensors, boxes, anchors and corners.
#include "arguments.h"
#include "call.h"
#include "families.h"

namespace bindings {
namespace {

py::tuple detect_preprocess(py::handle image, py::handle size, py::handle mean, py::handle std_dev,
                            py::handle planar, py::handle keep_order, py::handle order,
                            py::handle out) {
  const Image src = to_image(image, "image", {3, 4}, Rows::kStrided);
  const Size net = to_size(size, "size", 12);
  const bool is_planar = to_bool(planar, "planar"), keeps = to_bool(keep_order, "keep_order");
  const int bgra = to_order(order);
  if (bgra != 0 && src.channels == 3) reject_value("order", order, "'rgba' for three channels");
  if (mean.is_none() != std_dev.is_none()) {
    reject_value(mean.is_none() ? "mean" : "std", py::none(), "both mean and std, or neither");
  }
  const bool normalizes = !mean.is_none();
  py::array_t<float> means, deviations;
  if (normalizes) {
    means = to_floats(mean, "mean", {3});
    deviations = to_floats(std_dev, "std", {3});
  }
  const Shape shape = is_planar ? Shape{3, net.height, net.width} : Shape{net.height, net.width, 3};
  const Result tensor(out, shape, Rows::kPacked, {&src}, py::dtype::of<float>());
  // Only read.
  auto* const mean_of = normalizes ? const_cast<float*>(means.data()) : nullptr;
  auto* const deviation_of = normalizes ? const_cast<float*>(deviations.data()) : nullptr;
  float scale = 0;
  call([&] {
    KelvraCV::object_detetion_preprocess(src.record(bgra), net.width, net.height,
                                         tensor.data<float>(), scale, mean_of, deviation_of,
                                         is_planar, normalizes, keeps);
  });
  return py::make_tuple(tensor.take(), scale);
}

py::list detect_postprocess(py::handle rows, py::handle score_threshold, py::handle nms_threshold) {
  const auto numbers = to_floats(rows, "rows", {-1, -1});
  const float score = to_float(score_threshold, "score_threshold");
  const float overlap = to_float(nms_threshold, "nms_threshold");
  constexpr int kBoxNumbers = 5;
  const int count = to_int(py::int_(numbers.shape(0)), "len(rows)");
  const int classes =
      to_int(py::int_(numbers.shape(1)), "rows.shape[1]", kBoxNumbers + 1) - kBoxNumbers;
  std::vector<KelvraCV::BBox> boxes;
  call([&] {
    KelvraCV::object_detetion_postprocess(numbers.data(), count, classes, boxes, score, overlap);
  });
  py::list results;
  for (const KelvraCV::BBox& box : boxes) {
    results.append(py::make_tuple(box.x1, box.y1, box.x2, box.y2, box.score, box.label));
  }
  return results;
}

py::array get_anchors(py::handle size, py::handle anchor_sizes, py::handle strides) {
  const Size image = to_size(size, "size", 1);
  if (PySequence_Check(anchor_sizes.ptr()) == 0 || PySequence_Check(strides.ptr()) == 0) {
    reject_type("anchor_sizes", anchor_sizes, "a list of the sizes of each level, and its stride");
  }
  std::vector<int> steps = to_ints(strides, "strides", py::len(strides));
  const auto levels = py::reinterpret_borrow<py::sequence>(anchor_sizes);
  if (steps.empty() || py::len(levels) != steps.size()) {
    reject_value("anchor_sizes", anchor_sizes, "as many levels as strides, at least one");
  }
  const size_t per_cell = py::len(levels[0]);
  std::vector<std::vector<int>> sizes;
  std::vector<int*> rows;
  py::ssize_t count = 0;
  for (size_t i = 0; i < steps.size(); ++i) {
    if (steps[i] < 1) reject_value("strides", strides, "integers from 1 on");
    sizes.push_back(to_ints(levels[i], "anchor_sizes", per_cell));
    count += py::ssize_t{image.height / steps[i]} * (image.width / steps[i]);
  }
  if (count > 0 && per_cell > static_cast<size_t>(PY_SSIZE_T_MAX / 16 / count)) {
    throw std::bad_alloc();
  }
  for (std::vector<int>& each : sizes) rows.push_back(each.data());
  py::array_t<float> anchors(Shape{count * static_cast<py::ssize_t>(per_cell), 4});
  float* const first = anchors.mutable_data();
  call([&] {
    KelvraCV::get_anchors(first, image.width, image.height, rows.data(), static_cast<int>(per_cell),
                          steps.data(), static_cast<int>(steps.size()));
  });
  return std::move(anchors);
}

py::tuple fast_9_16(py::handle image, py::handle threshold, py::handle nonmax_suppression,
                    py::handle mask, py::handle order) {
  const int limit = to_int(threshold, "threshold", 0, 255), bgra = to_order(order);
  const bool suppresses = to_bool(nonmax_suppression, "nonmax_suppression");
  const Image src = to_image(image, "image", {1, 3, 4}, Rows::kStrided);
  const Image where = mask.is_none() ? src : to_plane_like(mask, "mask", src, Rows::kPacked);
  uint8_t* const marks = mask.is_none() ? nullptr : where.data();
  std::vector<KelvraCV::KeyPoint> corners;
  call([&] {
    KelvraCV::fast_9_16(src.data(), corners, src.width, src.height, src.channels, src.stride, bgra,
                        limit, suppresses, marks);
  });
  const auto count = static_cast<py::ssize_t>(corners.size());
  py::array_t<int32_t> points(Shape{count, 2});
  py::array_t<float> responses(Shape{count});
  for (py::ssize_t i = 0; i < count; ++i) {
    const KelvraCV::KeyPoint& corner = corners[static_cast<size_t>(i)];
    points.mutable_at(i, 0) = corner.x;
    points.mutable_at(i, 1) = corner.y;
    responses.mutable_at(i) = corner.response;
  }
  return py::make_tuple(points, responses);
}

}  // namespace

void bind_detection(py::module_& module) {
  module.def("detect_preprocess", &detect_preprocess);
  module.def("detect_postprocess", &detect_postprocess);
  module.def("get_anchors", &get_anchors);
  module.def("fast_9_16", &fast_9_16);
}

}  // namespace bindings
