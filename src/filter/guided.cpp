// Edge-preserving smoothing by local linear regression: the guided filter, with its statistics on a
// smaller image if wanted. K. He, J. Sun, X. Tang, "Guided image filtering", 2013, and "Fast guided
// filter", 2015.
#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "core/numeric.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "filter/box_mean.h"
#include "geometry/resize_float.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

struct Size {
  int width, height;
  size_t pixels() const { return static_cast<size_t>(width) * height; }
};

// One float per pixel, packed.
using Plane = Scratch<float>;

void to_unit_floats(const uint8_t* bytes, float* out, int width) {
  for (int x = 0; x < width; ++x) {  // vectorised
    out[x] = static_cast<float>(bytes[x]) * kInverse255;
  }
}

void multiply(const float* a, const float* b, float* out, int width) {
  for (int x = 0; x < width; ++x) {  // vectorised
    out[x] = a[x] * b[x];
  }
}

// The regression p = a I + b in each window, from the means of I, I I, p and I p.
void regress(const float* mean_i, const float* corr_i, const float* mean_p, const float* corr_ip,
             float eps, float* a, float* b, int width) {
  for_each_vector<float>(width, [=](auto d, size_t x) {
    const auto i = hn::LoadU(d, mean_i + x), p = hn::LoadU(d, mean_p + x);
    const auto variance = hn::NegMulAdd(i, i, hn::LoadU(d, corr_i + x));
    const auto covariance = hn::NegMulAdd(i, p, hn::LoadU(d, corr_ip + x));
    const auto slope = covariance / (variance + hn::Set(d, eps));
    hn::StoreU(slope, d, a + x);
    hn::StoreU(hn::NegMulAdd(slope, i, p), d, b + x);
  });
}

// Calls visit(y, a, b) with each row of the means of the regressions of a plane, from the top.
// rows(y) gives the rows of the input and of its guide, which may be the input itself.
template <class Rows, class Visit>
void for_each_regression(const Size& size, int radius, float eps, bool is_self_guided,
                         const Rows& rows, const Visit& visit) {
  const auto [width, height] = size;
  const int guide_width = is_self_guided ? 0 : width;
  FloatBoxMean of_p(width, height, radius), of_ip(width, height, radius),
      of_i(guide_width, height, radius), of_ii(guide_width, height, radius),
      of_a(width, height, radius), of_b(width, height, radius);
  Scratch<float> ip(width), ii(width), a(width), b(width);
  for (int y = 0, done = 0; done < height; ++y) {
    const auto [p, i] = rows(std::min(y, height - 1));
    multiply(i, p, ip.get(), width);
    const float *const mean_p = of_p.push(p), *const corr_ip = of_ip.push(ip.get());
    const float *mean_i = mean_p, *corr_i = corr_ip;
    if (!is_self_guided) {
      multiply(i, i, ii.get(), width);
      mean_i = of_i.push(i);
      corr_i = of_ii.push(ii.get());
    }
    if (mean_p == nullptr) continue;
    regress(mean_i, corr_i, mean_p, corr_ip, eps, a.get(), b.get(), width);
    const float *const mean_a = of_a.push(a.get()), *const mean_b = of_b.push(b.get());
    if (mean_a != nullptr) visit(done++, mean_a, mean_b);
  }
}

struct Parameters {
  Size size;
  int radius;
  float scale, eps;

  bool is_scaled() const { return scale != 1.0f; }
  Size statistics_size() const {
    return is_scaled() ? Size{scaled(size.width), scaled(size.height)} : size;
  }
  int statistics_radius() const { return is_scaled() ? scaled(radius) : radius; }

 private:
  // The product and the sum are fused, then truncated. Not a number gives 0, too much the most
  // that a window or an image can be.
  int scaled(int value) const {
    const float result = std::fma(static_cast<float>(value), scale, 0.5f);
    if (std::isnan(result)) return 0;
    return static_cast<int>(std::clamp(result, -1e9f, 1e9f));
  }
};

// A row of the result, in place. The regression was against the guide; it is applied to the input,
// on purpose.
void apply(const float* a, const float* b, uint8_t* row, int width) {
  const Full<float> d;
  const Full<uint8_t> d8;
  const auto count = static_cast<size_t>(width);
  size_t x = 0;
  for (; x + hn::Lanes(d8) <= count; x += hn::Lanes(d8)) {
    const auto result = [=](size_t part) KELVRA_CV_INLINE {
      const size_t at = x + part * hn::Lanes(d);
      const auto input = load_as(d, row + at) * hn::Set(d, kInverse255);
      const auto value = hn::MulAdd(hn::LoadU(d, a + at), input, hn::LoadU(d, b + at));
      return value * hn::Set(d, 255.0f);
    };
    hn::StoreU(truncate_to_u8(result(0), result(1), result(2), result(3)), d8, row + x);
  }
  for (; x < count; ++x) {
    const float input = static_cast<float>(row[x]) * kInverse255;
    row[x] = truncate_byte(std::fma(a[x], input, b[x]) * 255.0f);
  }
}

// A plane of bytes, resized as floats.
Plane shrunk(const uint8_t* plane, const Size& from, const Size& to) {
  Scratch<float> row(from.width);
  const auto source = [&](int y) {
    to_unit_floats(row_at(plane, y, from.width), row.get(), from.width);
    return row.get();
  };
  FloatResizer resizer(from.width, from.height, to.width, to.height, source);
  Plane result(to.pixels());
  for (int y = 0; y < to.height; ++y) resizer.row(y, row_at(result.get(), y, to.width));
  return result;
}

// With the statistics on a smaller image, and the means of a and b enlarged again.
void filter_scaled(uint8_t* channel, const uint8_t* guide, const Parameters& parameters) {
  const Size full = parameters.size, size = parameters.statistics_size();
  const Plane input = shrunk(channel, full, size);
  const Plane by = guide == nullptr ? Plane(0) : shrunk(guide, full, size);
  const float* const guiding = guide == nullptr ? input.get() : by.get();
  Plane means_a(size.pixels()), means_b(size.pixels());
  for_each_regression(
      size, parameters.statistics_radius(), parameters.eps, guide == nullptr,
      [&](int y) {
        return std::pair(row_at(input.get(), y, size.width), row_at(guiding, y, size.width));
      },
      [&](int y, const float* a, const float* b) {
        std::copy_n(a, size.width, row_at(means_a.get(), y, size.width));
        std::copy_n(b, size.width, row_at(means_b.get(), y, size.width));
      });
  const auto row_a = [&](int y) { return row_at(means_a.get(), y, size.width); };
  const auto row_b = [&](int y) { return row_at(means_b.get(), y, size.width); };
  FloatResizer a(size.width, size.height, full.width, full.height, row_a);
  FloatResizer b(size.width, size.height, full.width, full.height, row_b);
  Scratch<float> full_a(full.width), full_b(full.width);
  for (int y = 0; y < full.height; ++y) {
    a.row(y, full_a.get());
    b.row(y, full_b.get());
    apply(full_a.get(), full_b.get(), row_at(channel, y, full.width), full.width);
  }
}

// Filters one packed channel in place, guided by `guide`, or by itself if that is null. A row is
// written after the windows of all statistics have passed it.
void filter_channel(uint8_t* channel, const uint8_t* guide, const Parameters& parameters) {
  if (parameters.is_scaled()) return filter_scaled(channel, guide, parameters);
  const int width = parameters.size.width;
  Scratch<float> p(width), i(width);
  const auto floats = [=](const uint8_t* plane, int y, Scratch<float>& row) {
    to_unit_floats(row_at(plane, y, width), row.get(), width);
    return row.get();
  };
  for_each_regression(
      parameters.size, parameters.radius, parameters.eps, guide == nullptr,
      [&](int y) {
        const float* const input = floats(channel, y, p);
        return std::pair(input, guide == nullptr ? input : floats(guide, y, i));
      },
      [&](int y, const float* a, const float* b) {
        apply(a, b, row_at(channel, y, width), width);
      });
}

// The channels of an image as packed planes. A single channel is taken as packed, whatever its
// stride.
class Channels {
 public:
  explicit Channels(const ImageData& image)
      : bytes_(image.channels, static_cast<size_t>(image.width) * image.height) {
    const Size size{image.width, image.height};
    for (int c = 0; c < image.channels; ++c) {
      planes_.push_back(
          {bytes_.get() + c * size.pixels(), size.width, size.height, 1, size.width, 0, 0});
    }
    split_channels(packed(image), planes_);
  }
  void join(const ImageData& image) const {
    ImageData joined = packed(image);
    merge_channels(planes_, joined);
  }
  int count() const { return static_cast<int>(planes_.size()); }
  uint8_t* plane(int c) { return planes_[c].data; }

 private:
  static ImageData packed(ImageData image) {
    if (image.channels == 1) image.stride = image.width;
    return image;
  }

  Scratch<uint8_t> bytes_;
  std::vector<ImageData> planes_;
};

// A fourth channel is carried.
constexpr int kFilteredChannels = 3;

// Scales that leave no pixel, or that would enlarge the statistics beyond reason, do nothing.
bool is_usable(const Parameters& parameters) {
  const Size statistics = parameters.statistics_size();
  return statistics.width >= 1 && statistics.height >= 1 &&
         (parameters.scale <= 1.0f || statistics.pixels() <= 16 * parameters.size.pixels());
}

// Guided by the image itself, each channel by its own, if `guide` is null.
void filter(const ImageData& src, const ImageData* guide, ImageData& dst,
            const Parameters& parameters) {
  const auto has_size = [&](const ImageData& image) {
    return image.width == src.width && image.height == src.height;
  };
  if (src.channels != dst.channels || !has_size(dst) || (guide != nullptr && !has_size(*guide))) {
    log_print("input and output mismatch!");
    return;
  }
  if (src.width < 1 || src.height < 1 || src.channels < 1 || !is_usable(parameters)) return;
  if (guide != nullptr && guide->channels < 1) return;
  Channels channels(src);
  std::optional<Channels> guides;
  if (guide != nullptr) guides.emplace(*guide);
  for (int c = 0; c < std::min(channels.count(), kFilteredChannels); ++c) {
    // A guide with one channel, or with too few, guides the others with its last one.
    filter_channel(channels.plane(c),
                   guides ? guides->plane(std::min(c, guides->count() - 1)) : nullptr, parameters);
  }
  channels.join(dst);
}

}  // namespace

void guided_filter_general(const ImageData& src, const ImageData& guide, ImageData& dst, int radius,
                           float scale, float eps) {
  filter(src, &guide, dst, {{src.width, src.height}, radius, scale, eps});
}

void guided_filter_self(const ImageData& src, ImageData& dst, int radius, float scale, float eps) {
  filter(src, nullptr, dst, {{src.width, src.height}, radius, scale, eps});
}

}  // namespace KelvraCV
