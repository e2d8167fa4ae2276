// Boundaries, outlines, blobs, polygons, fills and positions in masks.
#include <algorithm>

#include "arguments.h"
#include "call.h"
#include "families.h"

namespace bindings {
namespace {

py::array find_contours(py::handle mask, py::handle out) {
  const Image src = to_image(mask, "mask", {1}, Rows::kPacked);
  const Result dst(out, src.shape(), Rows::kPacked, {&src});
  call([&] { KelvraCV::find_contours(src.data(), dst.data(), src.width, src.height); });
  return dst.take();
}

py::list find_blob_contours(py::handle mask, py::handle mode, py::handle method) {
  const int retrieval = to_int(mode, "mode", 0, 3), approximation = to_int(method, "method", 1, 4);
  const Image src = to_image(mask, "mask", {1}, Rows::kStrided);
  std::vector<Points> outlines;
  call([&] {
    KelvraCV::find_blob_contours(src.data(), outlines, src.width, src.height, src.stride, retrieval,
                                 approximation);
  });
  return from_outlines(outlines);
}

using BlobFinder = void (*)(const unsigned char*, std::vector<Points>&, int, int);

template <BlobFinder kFind>
py::list blobs_with(py::handle mask) {
  const Image src = to_image(mask, "mask", {1}, Rows::kPacked);
  std::vector<Points> blobs;
  call([&] { kFind(src.data(), blobs, src.width, src.height); });
  return from_outlines(blobs);
}

bool is_inside(const Points& points, const Image& image) {
  return std::all_of(points.begin(), points.end(), [&](const KelvraCV::Point& point) {
    return point.x >= 0 && point.x < image.width && point.y >= 0 && point.y < image.height;
  });
}

// An interval, or None for any value: sets whether there is one.
template <class Number, class Convert>
bool to_interval(py::handle value, const char* name, Number& least, Number& end,
                 const Convert& convert) {
  if (value.is_none()) return false;
  if (!py::isinstance<py::tuple>(value) || py::len(value) != 2) {
    reject_type(name, value, "None or a tuple (least, end)");
  }
  const auto both = py::reinterpret_borrow<py::tuple>(value);
  least = convert(both[0], (std::string(name) + "[0]").c_str());
  end = convert(both[1], (std::string(name) + "[1]").c_str());
  return true;
}

py::list filter_blobs(py::handle mask, py::handle blobs, py::handle color, py::handle area,
                      py::handle circularity, py::handle inertia) {
  const Image src = to_image(mask, "mask", {1}, Rows::kPacked);
  const std::vector<Points> outlines = to_outlines(blobs, "blobs");
  for (const Points& outline : outlines) {
    if (!is_inside(outline, src)) reject_value("blobs", blobs, "points inside the mask");
  }
  const auto integer = [](py::handle value, const char* name) { return to_int(value, name); };
  const auto number = [](py::handle value, const char* name) { return to_float(value, name); };
  KelvraCV::BlobParams params{};
  params.by_color = !color.is_none();
  if (params.by_color) params.blob_color = to_int(color, "color", 0, 255);
  params.by_area = to_interval(area, "area", params.min_area, params.max_area, integer);
  params.by_circularity = to_interval(circularity, "circularity", params.min_circularity,
                                      params.max_circularity, number);
  params.by_inertia =
      to_interval(inertia, "inertia", params.min_inertia_ratio, params.max_inertia_ratio, number);
  std::vector<KelvraCV::Center> centers;
  call([&] { KelvraCV::filter_blobs(src.data(), src.width, outlines, centers, params); });
  py::list results;
  for (const KelvraCV::Center& center : centers) {
    results.append(py::make_tuple(center.x, center.y, center.radius, center.confidence));
  }
  return results;
}

py::array approx_poly_dp(py::handle curve, py::handle epsilon, py::handle closed) {
  const Points points = to_points(curve, "curve");
  const double distance = to_double(epsilon, "epsilon", 0.0, 9.9e29);
  const bool is_closed = to_bool(closed, "closed");
  Points approx;
  call([&] { KelvraCV::approx_poly_dp(points, approx, distance, is_closed); });
  return from_points(approx);
}

struct Vertices {
  std::vector<int> xs, ys;
  explicit Vertices(const Points& points) {
    for (const KelvraCV::Point& point : points) {
      xs.push_back(point.x);
      ys.push_back(point.y);
    }
  }
  int count() const { return static_cast<int>(xs.size()); }
};

bool is_inside_poly(py::handle polygon, py::handle x, py::handle y) {
  const Vertices vertices(to_points(polygon, "polygon"));
  return KelvraCV::is_inside_poly(vertices.xs.data(), vertices.ys.data(), vertices.count(),
                                  to_int(x, "x"), to_int(y, "y"));
}

py::array fill_poly(py::handle mask, py::handle polygon, py::handle out) {
  const Image src = to_image(mask, "mask", {1}, Rows::kPacked);
  const Points points = to_points(polygon, "polygon");
  if (!is_inside(points, src)) reject_value("polygon", polygon, "vertices inside the mask");
  const Vertices vertices(points);
  const Result dst(out, src.shape(), Rows::kPacked, {&src});
  call([&] {
    std::copy_n(src.data(), static_cast<size_t>(src.width) * static_cast<size_t>(src.height),
                dst.data());
    KelvraCV::fill_poly(dst.data(), dst.width, vertices.xs.data(), vertices.ys.data(),
                        vertices.count());
  });
  return dst.take();
}

py::array expand_contours(py::handle mask, py::handle contours, py::handle radius, py::handle out) {
  const int reach = to_int(radius, "radius", 0);
  const Image src = to_image(mask, "mask", {1}, Rows::kPacked);
  const std::vector<Points> outlines = to_outlines(contours, "contours");
  const Result dst(out, src.shape(), Rows::kPacked, {&src});
  call([&] {
    KelvraCV::expand_contours(src.data(), outlines, dst.data(), src.width, src.height, src.stride,
                              reach);
  });
  return dst.take();
}

py::tuple flood_fill(py::handle image, py::handle seed, py::handle threshold,
                     py::handle max_distance, py::handle out) {
  const Image src = to_image(image, "image", {4}, Rows::kStrided);
  const std::vector<int> at = to_ints(seed, "seed", 2);
  const KelvraCV::Point point{at[0], at[1]};
  if (!is_inside({point}, src)) reject_value("seed", seed, "(x, y) inside the image");
  const int limit = to_int(threshold, "threshold", 0, 255);
  const int reach = to_int(max_distance, "max_distance", 0);
  const Result mask(out, src.shape(1), Rows::kStrided, {&src});
  KelvraCV::Rect rect{};
  int count = 0;
  call([&] {
    KelvraCV::ImageData to = mask.record();
    count = KelvraCV::flood_fill(src.record(), to, point, rect, reach, limit);
  });
  return py::make_tuple(mask.take(), py::make_tuple(rect.x, rect.y, rect.width, rect.height),
                        count);
}

py::object get_mask_pos(py::handle mask, py::handle foreground) {
  const int mode = to_mask_mode(foreground);
  const Image src = to_image(mask, "mask", {1}, Rows::kStrided);
  int left = -1, top = -1, right = -1, bottom = -1;
  call([&] { KelvraCV::get_mask_pos(src.record(), left, top, right, bottom, mode); });
  if (left < 0) return py::none();
  return py::make_tuple(left, top, right, bottom);
}

}  // namespace

void bind_shapes(py::module_& module) {
  module.def("find_contours", &find_contours);
  module.def("find_blob_contours", &find_blob_contours);
  module.def("find_blobs", &blobs_with<KelvraCV::find_blobs>);
  module.def("find_blobs_contours", &blobs_with<KelvraCV::find_blobs_contours>);
  module.def("filter_blobs", &filter_blobs);
  module.def("approx_poly_dp", &approx_poly_dp);
  module.def("is_inside_poly", &is_inside_poly);
  module.def("fill_poly", &fill_poly);
  module.def("expand_contours", &expand_contours);
  module.def("flood_fill", &flood_fill);
  module.def("get_mask_pos", &get_mask_pos);
}

}  // namespace bindings
