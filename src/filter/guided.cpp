// Edge-preserving smoothing by local linear regression: the guided filter, with its statistics on a
// smaller image if wanted. K. He, J. Sun, X. Tang, "Guided image filtering", 2013, and "Fast guided
// filter", 2015.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>

#include "core/numeric.h"
#include "core/rows.h"
#include "core/scratch.h"
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

// A packed plane of bytes, converted a row at a time, or of floats.
struct Samples {
  const uint8_t* bytes;
  const float* floats;
  int width;

  // Row y, in `buffer` if it has to be converted.
  const float* row(int y, float* buffer) const {
    const size_t at = static_cast<size_t>(y) * width;
    if (bytes == nullptr) return floats + at;
    for (int x = 0; x < width; ++x) {  // vectorised
      buffer[x] = static_cast<float>(bytes[at + x]) * kInverse255;
    }
    return buffer;
  }
};

// Rows of samples, and of the products of two planes.
class SampleRows {
 public:
  explicit SampleRows(const Samples& samples) : samples_(samples), buffer_(samples.width) {}
  const float* operator()(int y) { return samples_.row(y, buffer_.get()); }

 private:
  Samples samples_;
  Scratch<float> buffer_;
};
class ProductRows {
 public:
  ProductRows(const Samples& a, const Samples& b)
      : a_(a), b_(b), buffer_a_(a.width), buffer_b_(a.width) {}
  const float* operator()(int y) {
    const float *const a = a_.row(y, buffer_a_.get()), *const b = b_.row(y, buffer_b_.get());
    float* const products = buffer_a_.get();
    for (int x = 0; x < a_.width; ++x) {  // vectorised
      products[x] = a[x] * b[x];
    }
    return products;
  }

 private:
  Samples a_, b_;
  Scratch<float> buffer_a_, buffer_b_;
};

// Box means of what `row(y)` gives, a row after the other, with the whole window's area as divisor
// at the borders, too. A window that does not fit leaves the samples as they are.
template <class Row>
class MeanRows {
 public:
  MeanRows(const Size& size, int radius, Row row)
      : fits_(window_fits(size.width, size.height, radius)),
        width_(size.width),
        row_(std::move(row)),
        means_(size.width) {
    if (!fits_) return;
    const int64_t n = 2 * int64_t{radius} + 1;
    scale_ = 1.0f / static_cast<float>(n * n);
    sums_ =
        std::make_unique<Sums>(size.width, size.height, radius, [this](int y) { return row_(y); });
  }
  MeanRows(const MeanRows&) = delete;
  MeanRows& operator=(const MeanRows&) = delete;

  const float* next() {
    if (!fits_) return row_(next_++);
    const float* const sums = sums_->next();
    for (int x = 0; x < width_; ++x) {  // vectorised
      means_[x] = sums[x] * scale_;
    }
    return means_.get();
  }

 private:
  using Sums = BoxSums<float, float, std::function<const float*(int)>>;

  bool fits_;
  int width_;
  float scale_ = 0;  // one over the window's area
  Row row_;
  Scratch<float> means_;
  std::unique_ptr<Sums> sums_;  // none if no window fits
  int next_ = 0;
};

// The regression p = a I + b in each window, a row after the other, given the window means.
void regress(const float* mean_i, const float* corr_i, const float* mean_p, const float* corr_ip,
             float eps, float* a, float* b, int width) {
  for (int x = 0; x < width; ++x) {  // vectorised
    const float variance = std::fma(-mean_i[x], mean_i[x], corr_i[x]);
    const float covariance = std::fma(-mean_i[x], mean_p[x], corr_ip[x]);
    a[x] = covariance / (variance + eps);
    b[x] = std::fma(-a[x], mean_i[x], mean_p[x]);
  }
}
// Guided by itself, the covariance is the variance.
void regress_self(const float* mean_i, const float* corr_i, float eps, float* a, float* b,
                  int width) {
  for (int x = 0; x < width; ++x) {  // vectorised
    const float variance = std::fma(-mean_i[x], mean_i[x], corr_i[x]);
    a[x] = variance / (variance + eps);
    b[x] = std::fma(-a[x], mean_i[x], mean_i[x]);
  }
}

// The regressions of a plane, a row after the other. `guide` is null where the input guides itself.
class Regression {
 public:
  Regression(const Samples& input, const Samples* guide, const Size& size, int radius, float eps)
      : width_(size.width),
        eps_(eps),
        mean_p_(size, radius, SampleRows(input)),
        corr_p_(size, radius,
                guide == nullptr ? ProductRows(input, input) : ProductRows(*guide, input)),
        // The means of a and then those of b ask for a window's start at once.
        kept_(
            static_cast<int>(std::clamp<int64_t>(int64_t{radius} + 2 * kTogether, 1, size.height))),
        a_(kept_, size.width),
        b_(kept_, size.width) {
    if (guide == nullptr) return;
    mean_i_.emplace(size, radius, SampleRows(*guide));
    corr_i_.emplace(size, radius, ProductRows(*guide, *guide));
  }

  const float* a(int y) { return known(y), a_.get() + place(y); }
  const float* b(int y) { return known(y), b_.get() + place(y); }

 private:
  static constexpr int kTogether = kRowsTogether<float>;

  size_t place(int y) const { return static_cast<size_t>(y % kept_) * width_; }

  void known(int y) {
    for (; known_ <= y; ++known_) {
      float *const a = a_.get() + place(known_), *const b = b_.get() + place(known_);
      const float *const mean_p = mean_p_.next(), *const corr_p = corr_p_.next();
      if (mean_i_) {
        regress(mean_i_->next(), corr_i_->next(), mean_p, corr_p, eps_, a, b, width_);
      } else {
        regress_self(mean_p, corr_p, eps_, a, b, width_);
      }
    }
  }

  int width_;
  float eps_;
  MeanRows<SampleRows> mean_p_;
  MeanRows<ProductRows> corr_p_;
  std::optional<MeanRows<SampleRows>> mean_i_;
  std::optional<MeanRows<ProductRows>> corr_i_;
  int kept_, known_ = 0;
  Scratch<float> a_, b_;
};

// Calls `store(y, a, b)` with the means of the regressions of each row.
template <class Store>
void mean_regressions(const Samples& input, const Samples* guide, const Size& size, int radius,
                      float eps, Store store) {
  Regression regression(input, guide, size, radius, eps);
  const auto a = [&](int y) { return regression.a(y); };
  const auto b = [&](int y) { return regression.b(y); };
  MeanRows<decltype(a)> mean_a(size, radius, a);
  MeanRows<decltype(b)> mean_b(size, radius, b);
  for (int y = 0; y < size.height; ++y) {
    const float* const row_a = mean_a.next();
    store(y, row_a, mean_b.next());
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
  for (int x = 0; x < width; ++x) {  // vectorised
    const float input = static_cast<float>(row[x]) * kInverse255;
    row[x] = truncate_byte(std::fma(a[x], input, b[x]) * 255.0f);
  }
}

// A plane of bytes, resized as floats.
Plane shrunk(const uint8_t* plane, const Size& from, const Size& to) {
  SampleRows rows(Samples{plane, nullptr, from.width});
  const auto source = [&](int y) { return rows(y); };
  FloatResizer<decltype(source)> resizer(from.width, from.height, to.width, to.height, source);
  Plane result(to.pixels());
  for (int y = 0; y < to.height; ++y) {
    resizer.row(y, result.get() + static_cast<size_t>(y) * to.width);
  }
  return result;
}

// With the statistics on a smaller image, and the means of a and b enlarged again.
void filter_scaled(uint8_t* channel, const uint8_t* guide, const Parameters& parameters) {
  const Size full = parameters.size, size = parameters.statistics_size();
  Plane input = shrunk(channel, full, size);
  Plane by = guide == nullptr ? Plane(0) : shrunk(guide, full, size);
  const Samples input_samples{nullptr, input.get(), size.width},
      guide_samples{nullptr, by.get(), size.width};
  Plane means_a(size.pixels()), means_b(size.pixels());
  const auto place = [&](int y) { return static_cast<size_t>(y) * size.width; };
  mean_regressions(input_samples, guide == nullptr ? nullptr : &guide_samples, size,
                   parameters.statistics_radius(), parameters.eps,
                   [&](int y, const float* a, const float* b) {
                     std::copy_n(a, size.width, means_a.get() + place(y));
                     std::copy_n(b, size.width, means_b.get() + place(y));
                   });
  const auto row_a = [&](int y) { return means_a.get() + place(y); };
  const auto row_b = [&](int y) { return means_b.get() + place(y); };
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
  const Size size = parameters.size;
  const Samples input_samples{channel, nullptr, size.width},
      guide_samples{guide, nullptr, size.width};
  mean_regressions(input_samples, guide == nullptr ? nullptr : &guide_samples, size,
                   parameters.radius, parameters.eps, [&](int y, const float* a, const float* b) {
                     apply(a, b, row_at(channel, y, size.width), size.width);
                   });
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
