// Every function that works through an image, without peers: the time of a pixel must not depend on
// how many there are, nor on the padding between rows.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "support.h"

namespace bench {
namespace {

using KelvraCV::ImageData;

// Calls `work(src, dst)` on images of three sizes, and on one with padded rows if `takes_padding`.
// A channel is a byte; outputs of other types ask for as many bytes.
template <class Work>
void list(const std::string& name, std::vector<uint8_t> (*make)(int, int, int), int channels,
          int out_channels, bool takes_padding, Work work) {
  const auto add = [&](const std::string& label, int width, int height, int padding) {
    const int stride = width * channels + padding;
    const int out_stride = width * out_channels + padding;
    const auto src = std::make_shared<std::vector<uint8_t>>();
    const auto dst = std::make_shared<std::vector<uint8_t>>();
    const double pixels = 1.0 * width * height;
    compare({name + " " + label,
             pixels,
             (channels + out_channels) * pixels,
             [=] {
               if (src->empty()) {  // at the first call, which warms up
                 const std::vector<uint8_t> packed = make(width, height, channels);
                 src->resize(static_cast<size_t>(stride) * height);
                 for (int y = 0; y < height; ++y) {
                   std::copy_n(packed.begin() + static_cast<ptrdiff_t>(y) * width * channels,
                               width * channels, src->begin() + static_cast<ptrdiff_t>(y) * stride);
                 }
                 dst->resize(static_cast<size_t>(out_stride) * (height + 1) + 64);
               }
               ImageData from{src->data(), width, height, channels, stride, 0, 0};
               ImageData to{dst->data(), width, height, out_channels, out_stride, 0, 0};
               work(from, to);
             },
             "",
             {}});
  };
  add("64x64", 64, 64, 0);
  add("1920x1080", kWidth, kHeight, 0);
  add("4000x3000", 4000, 3000, 0);
  if (takes_padding) add("1920x1080 padded", kWidth, kHeight, 52);
}

std::vector<uint8_t> mask(int width, int height, int) {
  return discs(width, height);
}

constexpr bool kPadded = true, kPacked = false;

void list_color() {
  using Image = ImageData;
  list("rgb2gray", photo, 3, 1, kPadded, [](const Image& s, Image& d) {
    KelvraCV::rgb2gray(s.data, d.data, s.width, s.height, s.stride, d.stride);
  });
  list("rgba2gray", photo, 4, 1, kPadded, [](const Image& s, Image& d) {
    KelvraCV::rgba2gray(s.data, d.data, s.width, s.height, s.stride, d.stride, 0);
  });
  list("rgb_to_ycbcr", photo, 3, 3, kPadded, [](const Image& s, Image& d) {
    KelvraCV::rgb_to_ycbcr(s.data, d.data, s.width, s.height, s.stride, false);
  });
  list("ycbcr_to_rgb", photo, 3, 3, kPadded, [](const Image& s, Image& d) {
    KelvraCV::ycbcr_to_rgb(s.data, d.data, s.width, s.height, s.stride, false);
  });
  list("rgba2hsv", photo, 3, 3, kPacked,
       [](const Image& s, Image& d) { KelvraCV::rgba2hsv(s, d); });
  list("hsv2rgb", photo, 3, 3, kPacked, [](const Image& s, Image& d) { KelvraCV::hsv2rgb(s, d); });
  list("convert_c4_to_c3", photo, 4, 3, kPadded, [](const Image& s, Image& d) {
    KelvraCV::convert_c4_to_c3(s.data, d.data, s.width, s.height, s.stride, d.stride, 0);
  });
  for (const int channels : {3, 4}) {
    const auto planes = [channels](uint8_t* data, int width, int height) {
      std::vector<Image> records;
      for (int k = 0; k < channels; ++k) {
        records.push_back(record(data + static_cast<size_t>(k) * width * height, width, height, 1));
      }
      return records;
    };
    const std::string suffix = " c" + std::to_string(channels);
    list("split_channels" + suffix, photo, channels, channels, kPadded,
         [=](const Image& s, Image& d) {
           auto to = planes(d.data, s.width, s.height);
           KelvraCV::split_channels(s, to);
         });
    list("merge_channels" + suffix, photo, channels, channels, kPadded,
         [=](const Image& s, Image& d) {
           KelvraCV::merge_channels(planes(s.data, s.width, s.height), d);
         });
  }
  list("rgb_to_lab", photo, 3, 3, kPacked,
       [](const Image& s, Image& d) { KelvraCV::rgb_to_lab(s.data, d.data, s.width, s.height); });
  static std::vector<int> gamma(256), roots(1500), y(256), x(65536), z(65536);
  static std::vector<unsigned short> inverse(4096);
  KelvraCV::init_rgb_to_lab_fast(gamma.data(), roots.data());
  KelvraCV::init_lab_to_rgb_fast(y.data(), x.data(), z.data(), inverse.data());
  list("rgb_to_lab_fast", photo, 3, 3, kPacked, [](const Image& s, Image& d) {
    KelvraCV::rgb_to_lab_fast(s.data, d.data, s.width, s.height, gamma.data(), roots.data(), 1);
  });
  list("lab_to_rgb_fast", photo, 3, 3, kPacked, [](const Image& s, Image& d) {
    KelvraCV::lab_to_rgb_fast(s.data, d.data, s.width, s.height, nullptr, y.data(), x.data(),
                              z.data(), inverse.data(), 1);
  });
}

void list_filters() {
  using Image = ImageData;
  using Packed = void (*)(const uint8_t*, uint8_t*, int, int, int);
  const auto packed = [](const std::string& name, Packed function, int value) {
    list(name, photo, 1, 1, kPacked,
         [=](const Image& s, Image& d) { function(s.data, d.data, s.width, s.height, value); });
  };
  packed("filter_box, radius 5", KelvraCV::filter_box, 5);
  packed("filter_max, radius 1", KelvraCV::filter_max, 1);
  packed("filter_min, radius 5", KelvraCV::filter_min, 5);
  packed("sobel_edge", KelvraCV::sobel_edge, 100);
  packed(
      "gaussian_blur_5x5",
      [](const uint8_t* s, uint8_t* d, int width, int height, int) {
        KelvraCV::gaussian_blur_5x5(s, d, width, height);
      },
      0);
  packed(
      "gaussian_blur, 9 taps",
      [](const uint8_t* s, uint8_t* d, int width, int height, int) {
        KelvraCV::gaussian_blur(s, d, width, height, 9, 0);
      },
      0);
  packed(
      "gaussian_blur_fast, sigma 3",
      [](const uint8_t* s, uint8_t* d, int width, int height, int) {
        KelvraCV::gaussian_blur_fast(s, d, width, height, 3);
      },
      0);
  list("gaussian_blur_c4, sigma 3", photo, 4, 4, kPacked, [](const Image& s, Image& d) {
    KelvraCV::gaussian_blur_c4(s.data, d.data, s.width, s.height, 3);
  });
  list("gaussian_blur_3x3", photo, 1, 1, kPadded, [](const Image& s, Image& d) {
    KelvraCV::gaussian_blur_3x3(s.data, d.data, s.width, s.height, s.stride, d.stride);
  });
  list("threshold", photo, 1, 1, kPacked, [](const Image& s, Image& d) {
    KelvraCV::threshold(s.data, d.data, s.width, s.height, 127, 255);
  });
  list("guided_filter_self, radius 8", photo, 3, 3, kPadded,
       [](const Image& s, Image& d) { KelvraCV::guided_filter_self(s, d, 8, 1, 0.01f); });
  list("guided_filter_self, quarter", photo, 3, 3, kPadded,
       [](const Image& s, Image& d) { KelvraCV::guided_filter_self(s, d, 8, 0.25f, 0.01f); });
  list("guided_filter_general, radius 8", photo, 1, 1, kPacked,
       [](const Image& s, Image& d) { KelvraCV::guided_filter_general(s, s, d, 8, 1, 0.01f); });
  list("bilateral_filter", photo, 3, 3, kPacked,
       [](const Image& s, Image& d) { KelvraCV::bilateral_filter(s, d, 0.03f, 0.1f); });
}

void list_edges() {
  using Image = ImageData;
  list("sobel_grad", photo, 1, 4, kPacked, [](const Image& s, Image& d) {
    auto* const dx = reinterpret_cast<short*>(d.data);
    KelvraCV::sobel_grad(s.data, dx, dx + static_cast<size_t>(s.width) * s.height, s.width,
                         s.height);
  });
  list("canny", photo, 4, 1, kPadded,
       [](const Image& s, Image& d) { KelvraCV::canny(s, d, 50, 150); });
  list("cal_hist c3", photo, 3, 0, kPadded, [](const Image& s, Image&) {
    static int counts[3][256];
    int *hists[3] = {counts[0], counts[1], counts[2]}, bins[3] = {16, 16, 16};
    KelvraCV::cal_hist(s.data, s.stride, 3, s.width, s.height, 0, 0, hists, bins);
  });
  list("clahe, gray", photo, 1, 1, kPadded,
       [](const Image& s, Image& d) { KelvraCV::clahe(s, d, 8, 256, 3); });
  list("clahe, colour", photo, 3, 3, kPacked,
       [](const Image& s, Image& d) { KelvraCV::clahe(s, d, 8, 256, 3); });
  list("get_mask_edge", mask, 1, 1, kPadded, [](const Image& s, Image& d) {
    KelvraCV::get_mask_edge(s.data, d.data, s.width, s.height, s.stride, d.stride, 0);
  });
  list("integral_int", photo, 1, 5, kPadded, [](const Image& s, Image& d) {
    KelvraCV::integral_int(s.data, reinterpret_cast<int*>(d.data), s.width, s.height, s.stride);
  });
  for (const int channels : {1, 3, 4}) {
    list("pyramid_gauss c" + std::to_string(channels), photo, channels, channels, kPadded,
         [](const Image& s, Image& d) {
           std::vector<Image> levels(4, d);
           const size_t quarter = static_cast<size_t>(d.stride) * d.height / 3;
           levels[0].data = s.data;
           for (int i = 2; i < 4; ++i) levels[i].data = d.data + (i - 1) * quarter;
           KelvraCV::pyramid_gauss(s, levels);
         });
  }
}

void list_geometry() {
  using Image = ImageData;
  using Resize = void (*)(const uint8_t*, uint8_t*, int, int, int, int, int, int);
  const auto resize = [](const std::string& name, int channels, Resize function) {
    list(name + " by 2/3", photo, channels, channels, kPadded, [=](const Image& s, Image& d) {
      const int width = s.width * 2 / 3, height = s.height * 2 / 3;
      function(s.data, d.data, s.width, s.height, s.stride, width, height, width * s.channels);
    });
  };
  resize("resize_nn_c1", 1, KelvraCV::resize_nn_c1);
  resize("resize_nn_c3", 3, KelvraCV::resize_nn_c3);
  resize("resize_bilinear_c1", 1, KelvraCV::resize_bilinear_c1);
  resize("resize_bilinear_c3", 3, KelvraCV::resize_bilinear_c3);
  resize("resize_bilinear_c4", 4,
         [](const uint8_t* s, uint8_t* d, int sw, int sh, int stride, int dw, int dh, int to) {
           KelvraCV::resize_bilinear_c4(s, d, sw, sh, stride, dw, dh, to, 0);
         });
  resize("resize_bilinear_c4_to_c3", 4,
         [](const uint8_t* s, uint8_t* d, int sw, int sh, int stride, int dw, int dh, int to) {
           KelvraCV::resize_bilinear_c4_to_c3(s, d, sw, sh, stride, dw, dh, to, 0);
         });
  resize("resize_bicubic_c1", 1, KelvraCV::resize_bicubic_c1);
  resize("resize_bicubic_c3", 3, KelvraCV::resize_bicubic_c3);
  static const float kTurn[6] = {0.98f, 0.17f, -20, -0.17f, 0.98f, 30};
  static const float kTilt[9] = {1.1f, 0.1f, -8, 0.05f, 1.2f, -6, 1e-5f, 1e-5f, 1};
  list("warpaffine_bilinear_c1", photo, 1, 1, kPadded, [](const Image& s, Image& d) {
    KelvraCV::warpaffine_bilinear_c1(s.data, s.width, s.height, s.stride, d.data, d.width, d.height,
                                     d.stride, kTurn, 0, 0);
  });
  list("warpaffine_bilinear_c4", photo, 4, 4, kPadded, [](const Image& s, Image& d) {
    KelvraCV::warpaffine_bilinear_c4(s.data, s.width, s.height, s.stride, d.data, d.width, d.height,
                                     d.stride, kTurn, 0, 0);
  });
  list("warpperspective_bilinear_c4", photo, 4, 4, kPadded, [](const Image& s, Image& d) {
    KelvraCV::warpperspective_bilinear_c4(s.data, s.width, s.height, s.stride, d.data, d.width,
                                          d.height, d.stride, kTilt, 0, 0);
  });
}

void list_shapes() {
  using Image = ImageData;
  using Lists = std::vector<std::vector<KelvraCV::Point>>;
  list("find_contours", mask, 1, 1, kPacked, [](const Image& s, Image& d) {
    KelvraCV::find_contours(s.data, d.data, s.width, s.height);
  });
  list("find_blob_contours", mask, 1, 0, kPadded, [](const Image& s, Image&) {
    Lists found;
    KelvraCV::find_blob_contours(s.data, found, s.width, s.height, s.stride, 0, 2);
  });
  list("find_blobs", mask, 1, 0, kPacked, [](const Image& s, Image&) {
    Lists found;
    KelvraCV::find_blobs(s.data, found, s.width, s.height);
  });
  list("find_blobs_contours", mask, 1, 0, kPacked, [](const Image& s, Image&) {
    Lists found;
    KelvraCV::find_blobs_contours(s.data, found, s.width, s.height);
  });
  list("fill_poly, 6 vertices", mask, 1, 0, kPacked, [](const Image& s, Image&) {
    const int w = s.width - 1, h = s.height - 1;
    const int xs[6] = {0, w / 2, w, w * 2 / 3, w / 2, w / 3}, ys[6] = {0, h / 4, 0, h, h / 2, h};
    KelvraCV::fill_poly(s.data, s.width, xs, ys, 6);
  });
  list("expand_contours, radius 5", mask, 1, 1, kPadded, [](const Image& s, Image& d) {
    Lists line(1);
    for (int i = 0; i < s.height; ++i) line[0].push_back({i * s.width / s.height, i});
    KelvraCV::expand_contours(s.data, line, d.data, s.width, s.height, s.stride, 5);
  });
  list("flood_fill", photo, 4, 1, kPadded, [](const Image& s, Image& d) {
    KelvraCV::Rect box;
    KelvraCV::flood_fill(s, d, {s.width / 2, s.height / 2}, box, 0, 60);
  });
  list("get_mask_pos", mask, 1, 0, kPadded, [](const Image& s, Image&) {
    int left, top, right, bottom;
    KelvraCV::get_mask_pos(s, left, top, right, bottom, 0);
  });
  list("fast_9_16", photo, 1, 0, kPadded, [](const Image& s, Image&) {
    std::vector<KelvraCV::KeyPoint> found;
    KelvraCV::fast_9_16(s.data, found, s.width, s.height, 1, s.stride, 0, 20, true, nullptr);
  });
  list("object_detetion_preprocess", photo, 3, 12, kPadded, [](const Image& s, Image& d) {
    float scale, mean[3] = {120, 115, 100}, deviation[3] = {58, 57, 57};
    KelvraCV::object_detetion_preprocess(s, s.height, s.height, reinterpret_cast<float*>(d.data),
                                         scale, mean, deviation, true, true, true);
  });
}

// What the memory itself costs.
void list_copies() {
  for (const int channels : {1, 4}) {
    list("memcpy, " + std::to_string(channels) + " bytes a pixel", photo, channels, channels,
         kPacked, [](const ImageData& s, ImageData& d) {
           std::memcpy(d.data, s.data, static_cast<size_t>(s.stride) * s.height);
         });
  }
}

}  // namespace

void list_comparisons() {
  list_copies();
  list_color();
  list_filters();
  list_edges();
  list_geometry();
  list_shapes();
}

}  // namespace bench
