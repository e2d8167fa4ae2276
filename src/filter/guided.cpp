// Edge-preserving smoothing by local linear regression: the guided filter, with its statistics on a
// smaller image if wanted. K. He, J. Sun, X. Tang, "Guided image filtering", 2013, and "Fast guided
// filter", 2015.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/numeric.h"
#include "core/scratch.h"
#include "filter/box_mean.h"
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

// Box means of what `row(y)` gives, with the whole window's area as divisor at the borders, too.
// A window that does not fit leaves the samples as they are. `store(y, means)` takes each row.
template <class Row, class Store>
void box_mean(const Size& size, int radius, Row row, Store store) {
  if (!window_fits(size.width, size.height, radius)) {
    for (int y = 0; y < size.height; ++y) store(y, row(y));
    return;
  }
  const int n = 2 * radius + 1;
  const float scale = 1.0f / static_cast<float>(static_cast<int64_t>(n) * n);
  Scratch<float> means(size.width);
  box_sums<float, float>(size.width, size.height, radius, row, [&](const float* sums, int y) {
    for (int x = 0; x < size.width; ++x) {  // vectorised
      means[x] = sums[x] * scale;
    }
    store(y, means.get());
  });
}

Plane mean_of(const Plane& plane, const Size& size, int radius) {
  Plane mean(size.pixels());
  box_mean(
      size, radius, [&](int y) { return plane.get() + static_cast<size_t>(y) * size.width; },
      [&](int y, const float* row) {
        std::copy_n(row, size.width, mean.get() + static_cast<size_t>(y) * size.width);
      });
  return mean;
}

// The mean of the products of two planes.
Plane mean_of_products(const Plane& a, const Plane& b, const Size& size, int radius) {
  Plane mean(size.pixels());
  Scratch<float> products(size.width);
  box_mean(
      size, radius,
      [&](int y) -> const float* {
        const size_t row = static_cast<size_t>(y) * size.width;
        for (int x = 0; x < size.width; ++x) {  // vectorised
          products[x] = a[row + x] * b[row + x];
        }
        return products.get();
      },
      [&](int y, const float* row) {
        std::copy_n(row, size.width, mean.get() + static_cast<size_t>(y) * size.width);
      });
  return mean;
}

Plane resized(const Plane& plane, const Size& from, const Size& to) {
  Plane result(to.pixels());
  resize_bilinear_c1_float(plane.get(), result.get(), from.width, from.height, from.width, to.width,
                           to.height, to.width);
  return result;
}

// The regression p = a I + b in each window: on return `mean_i` holds a and `mean_p` b.
void regress(Plane& mean_i, const Plane& corr_i, Plane& mean_p, const Plane& corr_ip, float eps,
             size_t count) {
  for (size_t i = 0; i < count; ++i) {  // vectorised
    const float variance = std::fma(-mean_i[i], mean_i[i], corr_i[i]);
    const float covariance = std::fma(-mean_i[i], mean_p[i], corr_ip[i]);
    const float a = covariance / (variance + eps);
    mean_p[i] = std::fma(-a, mean_i[i], mean_p[i]);
    mean_i[i] = a;
  }
}
// Guided by itself, the covariance is the variance.
void regress_self(Plane& mean_i, Plane& corr_i, float eps, size_t count) {
  for (size_t i = 0; i < count; ++i) {  // vectorised
    const float variance = std::fma(-mean_i[i], mean_i[i], corr_i[i]);
    const float a = variance / (variance + eps);
    corr_i[i] = std::fma(-a, mean_i[i], mean_i[i]);
    mean_i[i] = a;
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

// The means of a and b at full size. `guide` is null where the input guides itself.
struct Coefficients {
  Plane a, b;
};
Coefficients coefficients_of(const Plane& input, const Plane* guide, const Parameters& parameters) {
  const Size size = parameters.statistics_size();
  const int radius = parameters.statistics_radius();
  const auto mean_coefficients = [&](const Plane& p, const Plane* i) -> Coefficients {
    if (i == nullptr) {
      Plane mean_i = mean_of(p, size, radius), corr_i = mean_of_products(p, p, size, radius);
      regress_self(mean_i, corr_i, parameters.eps, size.pixels());
      return {mean_of(mean_i, size, radius), mean_of(corr_i, size, radius)};
    }
    Plane mean_i = mean_of(*i, size, radius), mean_p = mean_of(p, size, radius);
    {
      const Plane corr_i = mean_of_products(*i, *i, size, radius);
      const Plane corr_ip = mean_of_products(*i, p, size, radius);
      regress(mean_i, corr_i, mean_p, corr_ip, parameters.eps, size.pixels());
    }
    return {mean_of(mean_i, size, radius), mean_of(mean_p, size, radius)};
  };
  if (!parameters.is_scaled()) return mean_coefficients(input, guide);
  const Plane small_input = resized(input, parameters.size, size);
  Coefficients small = [&] {
    if (guide == nullptr) return mean_coefficients(small_input, nullptr);
    const Plane small_guide = resized(*guide, parameters.size, size);
    return mean_coefficients(small_input, &small_guide);
  }();
  Plane a = resized(small.a, size, parameters.size), b = resized(small.b, size, parameters.size);
  return {std::move(a), std::move(b)};
}

void to_floats(const uint8_t* bytes, float* floats, size_t count) {
  for (size_t i = 0; i < count; ++i) {  // vectorised
    floats[i] = static_cast<float>(bytes[i]) * kInverse255;
  }
}

// Filters one packed channel in place, guided by `guide`, or by itself if that is null.
void filter_channel(uint8_t* channel, const uint8_t* guide, const Parameters& parameters) {
  const size_t count = parameters.size.pixels();
  Plane input(count);
  to_floats(channel, input.get(), count);
  const Coefficients mean = [&] {
    if (guide == nullptr) return coefficients_of(input, nullptr, parameters);
    Plane guide_plane(count);
    to_floats(guide, guide_plane.get(), count);
    return coefficients_of(input, &guide_plane, parameters);
  }();
  // The regression was against the guide; it is applied to the input, on purpose.
  for (size_t i = 0; i < count; ++i) {
    channel[i] = truncate_byte(std::fma(mean.a[i], input[i], mean.b[i]) * 255.0f);
  }
}

// The channels of an image as packed planes. A single channel is taken as packed, whatever its
// stride.
class Channels {
 public:
  explicit Channels(const ImageData& image)
      : bytes_(image.channels, static_cast<size_t>(image.width) * image.height) {
    const size_t plane = static_cast<size_t>(image.width) * image.height;
    for (int c = 0; c < image.channels; ++c) {
      records_.push_back(
          {bytes_.get() + c * plane, image.width, image.height, 1, image.width, 0, 0});
    }
    if (image.channels == 1) {
      std::memcpy(bytes_.get(), image.data, plane);
    } else {
      split_channels(image, records_);
    }
  }
  void join(ImageData& image) const {
    if (image.channels == 1) {
      std::memcpy(image.data, bytes_.get(), static_cast<size_t>(image.width) * image.height);
    } else {
      merge_channels(records_, image);
    }
  }
  int count() const { return static_cast<int>(records_.size()); }
  uint8_t* plane(int c) { return records_[c].data; }

 private:
  Scratch<uint8_t> bytes_;
  std::vector<ImageData> records_;
};

// A fourth channel is carried.
constexpr int kFilteredChannels = 3;

void filter(const ImageData& src, const ImageData* guide, ImageData& dst,
            const Parameters& parameters) {
  Channels channels(src);
  std::vector<Channels> guides;
  if (guide != nullptr) guides.emplace_back(*guide);
  for (int c = 0; c < std::min(channels.count(), kFilteredChannels); ++c) {
    // A guide with one channel, or with too few, guides the others with its last one.
    const uint8_t* const by =
        guide == nullptr ? nullptr : guides[0].plane(std::min(c, guides[0].count() - 1));
    filter_channel(channels.plane(c), by, parameters);
  }
  channels.join(dst);
}

bool is_mismatch(const ImageData& src, const ImageData& dst) {
  return src.channels != dst.channels || src.width != dst.width || src.height != dst.height;
}

// Scales that leave no pixel, or that would enlarge the statistics beyond reason, do nothing.
bool is_usable(const Parameters& parameters) {
  const Size statistics = parameters.statistics_size();
  return statistics.width >= 1 && statistics.height >= 1 &&
         (parameters.scale <= 1.0f || statistics.pixels() <= 16 * parameters.size.pixels());
}

}  // namespace

void guided_filter_general(const ImageData& src, const ImageData& guide, ImageData& dst, int radius,
                           float scale, float eps) {
  if (is_mismatch(src, dst) || guide.width != src.width || guide.height != src.height) {
    log_print("input and output mismatch!");
    return;
  }
  const Parameters parameters{{src.width, src.height}, radius, scale, eps};
  if (src.width < 1 || src.height < 1 || src.channels < 1 || guide.channels < 1 ||
      !is_usable(parameters)) {
    return;
  }
  filter(src, &guide, dst, parameters);
}

void guided_filter_self(const ImageData& src, ImageData& dst, int radius, float scale, float eps) {
  if (is_mismatch(src, dst)) {
    log_print("input and output mismatch!");
    return;
  }
  const Parameters parameters{{src.width, src.height}, radius, scale, eps};
  if (src.width < 1 || src.height < 1 || src.channels < 1 || !is_usable(parameters)) return;
  filter(src, nullptr, dst, parameters);
}

}  // namespace KelvraCV
