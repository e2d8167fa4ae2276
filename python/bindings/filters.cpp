// Blurs, threshold, minimum and maximum, guided and bilateral filters.
#include <cmath>

#include "arguments.h"
#include "call.h"
#include "families.h"

namespace bindings {
namespace {

py::array gaussian_blur(py::handle image, py::handle ksize, py::handle sigma, py::handle out) {
  const int size = to_int(ksize, "ksize", 1);
  const float width = to_float(sigma, "sigma", 0.0f);
  const Image src = to_image(image, "image", {1}, Rows::kPacked);
  if (size % 2 == 0) reject_value("ksize", ksize, "an odd number");
  if (size > src.width || size > src.height) {
    reject_value("ksize", ksize, "at most the shorter side of the image");
  }
  const Result dst(out, src.shape(), Rows::kPacked, {&src});
  call(
      [&] { KelvraCV::gaussian_blur(src.data(), dst.data(), src.width, src.height, size, width); });
  return dst.take();
}

py::array gaussian_blur_fast(py::handle image, py::handle sigma, py::handle out) {
  const float width = to_float(sigma, "sigma", 0.0f);
  return map(image, {1, 4}, Rows::kPacked, out, 0, [&](const Image& src, const Image& dst) {
    const auto blur = src.channels == 1 ? KelvraCV::gaussian_blur_fast : KelvraCV::gaussian_blur_c4;
    blur(src.data(), dst.data(), src.width, src.height, width);
  });
}

py::array gaussian_blur_3x3(py::handle image, py::handle out) {
  return map(image, {1}, Rows::kStrided, out, 1, [](const Image& src, const Image& dst) {
    KelvraCV::gaussian_blur_3x3(src.data(), dst.data(), src.width, src.height, src.stride,
                                dst.stride);
  });
}

py::array gaussian_blur_5x5(py::handle image, py::handle out) {
  return map(image, {1}, Rows::kPacked, out, 1, [](const Image& src, const Image& dst) {
    KelvraCV::gaussian_blur_5x5(src.data(), dst.data(), src.width, src.height);
  });
}

using WindowFilter = void (*)(const unsigned char*, unsigned char*, int, int, int);

template <WindowFilter kFilter>
py::array window(py::handle image, py::handle radius, py::handle out) {
  const int reach = to_int(radius, "radius", 0);
  return map(image, {1}, Rows::kPacked, out, 1, [&](const Image& src, const Image& dst) {
    kFilter(src.data(), dst.data(), src.width, src.height, reach);
  });
}

py::array threshold(py::handle image, py::handle thresh, py::handle max_value, py::handle out) {
  const int limit = to_int(thresh, "thresh"), high = to_int(max_value, "max_value", 0, 255);
  return map(image, {1}, Rows::kPacked, out, 1, [&](const Image& src, const Image& dst) {
    KelvraCV::threshold(src.data(), dst.data(), src.width, src.height, limit, high);
  });
}

// What the library takes without a word.
constexpr float kLargestScale = 4;

bool leaves_pixels(int side, float scale) {
  return std::fma(static_cast<float>(side), scale, 0.5f) >= 1.0f;
}

py::array guided_filter(py::handle image, py::handle radius, py::handle eps, py::handle guide,
                        py::handle scale, py::handle out) {
  const int reach = to_int(radius, "radius", 0);
  const float strength = to_float(eps, "eps", 0.0f);
  const float part = to_float(scale, "scale", 0.0f, kLargestScale);
  const Image src = to_image(image, "image", {1, 2, 3, 4}, Rows::kPacked);
  if (!leaves_pixels(src.width, part) || !leaves_pixels(src.height, part)) {
    reject_value("scale", scale, "a number that leaves a pixel of the image");
  }
  const Image by = guide.is_none() ? src : to_image(guide, "guide", {1, 2, 3, 4}, Rows::kPacked);
  if (by.width != src.width || by.height != src.height) {
    reject_value("guide", guide, "the image's width and height");
  }
  // Of an enlargement that the library refuses, nothing is written.
  const auto before = part > 1 ? Result::Before::kKept : Result::Before::kAnything;
  const Result dst(out, src.shape(), Rows::kPacked, {&src, &by}, py::dtype::of<uint8_t>(), before);
  const bool is_own_guide = guide.is_none();
  call([&] {
    KelvraCV::ImageData to = dst.record();
    if (is_own_guide) {
      KelvraCV::guided_filter_self(src.record(), to, reach, part, strength);
    } else {
      KelvraCV::guided_filter_general(src.record(), by.record(), to, reach, part, strength);
    }
  });
  return dst.take();
}

py::array bilateral_filter(py::handle image, py::handle sigma_spatial, py::handle sigma_range,
                           py::handle out) {
  const float spatial = to_float(sigma_spatial, "sigma_spatial", FLT_MIN);
  const float range = to_float(sigma_range, "sigma_range", FLT_MIN);
  return map(image, {1, 3, 4}, Rows::kPacked, out, 0, [&](const Image& src, const Image& dst) {
    KelvraCV::ImageData to = dst.record();
    KelvraCV::bilateral_filter(src.record(), to, spatial, range);
  });
}

}  // namespace

void bind_filters(py::module_& module) {
  module.def("gaussian_blur", &gaussian_blur);
  module.def("gaussian_blur_fast", &gaussian_blur_fast);
  module.def("gaussian_blur_3x3", &gaussian_blur_3x3);
  module.def("gaussian_blur_5x5", &gaussian_blur_5x5);
  module.def("filter_box", &window<KelvraCV::filter_box>);
  module.def("filter_max", &window<KelvraCV::filter_max>);
  module.def("filter_min", &window<KelvraCV::filter_min>);
  module.def("dilate_mask", &window<KelvraCV::dilate_mask>);
  module.def("erode_mask", &window<KelvraCV::erode_mask>);
  module.def("threshold", &threshold);
  module.def("guided_filter", &guided_filter);
  module.def("bilateral_filter", &bilateral_filter);
}

}  // namespace bindings
