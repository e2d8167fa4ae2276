// Edge-preserving smoothing by local linear regression: the guided filter, with its statistics on a
// smaller image if wanted. K. He, J. Sun, X. Tang, "Guided image filtering", 2013, and "Fast guided
// filter", 2015.
#include <algorithm>
#include <cmath>
#include <optional>

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

// The means of the regressions of a plane, one row after the other.
class MeanRegressions {
 public:
  MeanRegressions(const Size& size, int radius, float eps, bool is_self_guided)
      : width_(size.width),
        eps_(eps),
        mean_p_(size.width, size.height, radius),
        corr_ip_(size.width, size.height, radius),
        mean_i_(is_self_guided ? 0 : size.width, size.height, radius),
        corr_i_(is_self_guided ? 0 : size.width, size.height, radius),
        mean_a_(size.width, size.height, radius),
        mean_b_(size.width, size.height, radius),
        ii_(size.width),
        ip_(size.width),
        a_(size.width),
        b_(size.width) {}

  // As BoxMean::push(), of rows of the input and of its guide, which may be the input. Whether
  // there are new rows in `a` and `b`.
  bool push(const float* p, const float* i) {
    multiply(i, p, ip_.get(), width_);
    const float *const mean_p = mean_p_.push(p), *const corr_ip = corr_ip_.push(ip_.get());
    const float *mean_i = mean_p, *corr_i = corr_ip;
    if (i != p) {
      multiply(i, i, ii_.get(), width_);
      mean_i = mean_i_.push(i);
      corr_i = corr_i_.push(ii_.get());
    }
    if (mean_p == nullptr) return false;
    regress(mean_i, corr_i, mean_p, corr_ip, eps_, a_.get(), b_.get(), width_);
    a = mean_a_.push(a_.get());
    b = mean_b_.push(b_.get());
    return a != nullptr;
  }

  const float *a = nullptr, *b = nullptr;

 private:
  int width_;
  float eps_;
  FloatBoxMean mean_p_, corr_ip_, mean_i_, corr_i_, mean_a_, mean_b_;
  Scratch<float> ii_, ip_, a_, b_;
};

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
  FloatResizer<decltype(source)> resizer(from.width, from.height, to.width, to.height, source);
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
  MeanRegressions means(size, parameters.statistics_radius(), parameters.eps, guide == nullptr);
  for (int y = 0, done = 0; done < size.height; ++y) {
    const int row = std::min(y, size.height - 1);
    if (!means.push(row_at(input.get(), row, size.width), row_at(guiding, row, size.width))) {
      continue;
    }
    std::copy_n(means.a, size.width, row_at(means_a.get(), done, size.width));
    std::copy_n(means.b, size.width, row_at(means_b.get(), done++, size.width));
  }
  const auto row_a = [&](int y) { return row_at(means_a.get(), y, size.width); };
  const auto row_b = [&](int y) { return row_at(means_b.get(), y, size.width); };
  FloatResizer<decltype(row_a)> a(size.width, size.height, full.width, full.height, row_a);
  FloatResizer<decltype(row_b)> b(size.width, size.height, full.width, full.height, row_b);
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
  const auto [width, height] = parameters.size;
  MeanRegressions means(parameters.size, parameters.radius, parameters.eps, guide == nullptr);
  Scratch<float> p(width), i(width);
  for (int y = 0, done = 0; done < height; ++y) {
    const int row = std::min(y, height - 1);
    to_unit_floats(row_at(channel, row, width), p.get(), width);
    if (guide != nullptr) to_unit_floats(row_at(guide, row, width), i.get(), width);
    if (means.push(p.get(), guide == nullptr ? p.get() : i.get())) {
      apply(means.a, means.b, row_at(channel, done++, width), width);
    }
  }
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
