// A picture as the input tensor of a detection network: shrunk into the top-left corner,
// normalised.
#include <algorithm>

#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// What becomes of a byte of output channel k: (value - mean) * factor, in this order and not fused.
struct Normalization {
  float mean, factor;
};

// One row of RGB bytes as floats: three separate rows, or interleaved if kPlanar is false.
template <bool kPlanar>
void convert_row(const uint8_t* src, float* const out[3], size_t width, const int source_channel[3],
                 const Normalization normalization[3]) {
  for_each_vector<uint8_t>(width, [=](auto d8, size_t x) {
    constexpr size_t kPixels = hn::MaxLanes(d8);
    const hn::CappedTag<float, kPixels> d;
    hn::Vec<decltype(d8)> channels[3];
    load_pixels<3>(d8, src + 3 * x, channels);
    uint8_t bytes[3][kPixels];
    for (int k = 0; k < 3; ++k) hn::StoreU(channels[source_channel[k]], d8, bytes[k]);
    for (size_t i = 0; i < kPixels; i += hn::MaxLanes(d)) {
      const auto channel = [&](int k) {
        const Normalization by = normalization[k];
        return (load_as(d, bytes[k] + i) - hn::Set(d, by.mean)) * hn::Set(d, by.factor);
      };
      if constexpr (kPlanar) {
        for (int k = 0; k < 3; ++k) hn::StoreU(channel(k), d, out[k] + x + i);
      } else {
        hn::StoreInterleaved3(channel(0), channel(1), channel(2), d, out[0] + 3 * (x + i));
      }
    }
  });
}

// The rows of a tensor: one plane of three floats a pixel, or three planes of one.
struct Tensor {
  float* data;
  size_t width, height;
  bool planar;

  float* at(size_t plane, size_t x, size_t y) const {
    return data + (plane * height * width + y * width + x) * (planar ? 1 : 3);
  }
  // Zeros everywhere but in the first `columns` of the first `rows`.
  void clear_around(size_t columns, size_t rows) const {
    for (size_t plane = 0; plane < (planar ? 3 : 1); ++plane) {
      for (size_t y = 0; y < rows; ++y) std::fill(at(plane, columns, y), at(plane, 0, y + 1), 0.0f);
      std::fill(at(plane, 0, rows), at(plane, 0, height), 0.0f);
    }
  }
};

}  // namespace

void object_detetion_preprocess(const ImageData& image, int net_width, int net_height,
                                float* tensor, float& scale, float* mean, float* std_dev,
                                bool planar, bool normalize, bool keep_order) {
  if (image.channels < 3 || image.channels > 4) return;
  const int longest = std::max(image.width, image.height);
  const int shortest = std::min(net_width, net_height);
  scale = static_cast<float>(longest) / static_cast<float>(shortest);
  if (shortest < 1) return;
  const Tensor out{tensor, static_cast<size_t>(net_width), static_cast<size_t>(net_height), planar};
  const auto shrunk = [=](int size) {
    return longest < 1 ? 0 : static_cast<int>(int64_t{size} * shortest / longest);
  };
  const int width = shrunk(image.width), height = shrunk(image.height);
  if (width < 1 || height < 1) return out.clear_around(0, 0);
  out.clear_around(static_cast<size_t>(width), static_cast<size_t>(height));
  Scratch<uint8_t> resized(height, size_t{3} * width);
  if (image.channels == 3) {
    resize_bilinear_c3(image.data, resized.get(), image.width, image.height, image.stride, width,
                       height, 3 * width);
  } else {
    resize_bilinear_c4_to_c3(image.data, resized.get(), image.width, image.height, image.stride,
                             width, height, 3 * width, image.color_order);
  }

  Normalization normalization[3] = {{0, 1}, {0, 1}, {0, 1}};  // x - 0 and x * 1 change nothing
  for (int k = 0; normalize && k < 3; ++k) normalization[k] = {mean[k], 1.0f / std_dev[k]};
  const int source_channel[3] = {keep_order ? 0 : 2, 1, keep_order ? 2 : 0};
  const auto convert = planar ? convert_row<true> : convert_row<false>;
  for (int y = 0; y < height; ++y) {
    const auto row = static_cast<size_t>(y);
    float* const first = out.at(0, 0, row);
    float* const channels[3] = {first, planar ? out.at(1, 0, row) : first + 1,
                                planar ? out.at(2, 0, row) : first + 2};
    convert(resized.get() + 3 * row * width, channels, width, source_channel, normalization);
  }
}

}  // namespace KelvraCV
