// Gaussian blur with a kernel of floats: horizontal, then vertical pass (separable).
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/row_ring.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Columns that are summed at a time; rows of scratch are whole multiples of it.
constexpr int kTile = 64;

struct Kernel {
  explicit Kernel(int taps_count, float sigma) : taps(taps_count), weights(taps_count) {
    constexpr double kInverseRootOfTwoPi = 0.3989422804014322;
    if (sigma <= 0.0f) sigma = static_cast<float>((taps - 1) * 0.15 + 0.5);
    // Only the middle weight is left long before the square underflows.
    if (sigma * sigma == 0.0f) sigma = 1e-22f;
    const double factor = 0.5 / (sigma * sigma);
    float sum = 0.0f;
    for (int i = 0; i < taps; ++i) {
      const double offset = i - taps / 2;
      const float power = std::exp(static_cast<float>(-(offset * offset) * factor));
      weights[i] = static_cast<float>(power * kInverseRootOfTwoPi / sigma);
      sum += weights[i];
    }
    inverse_sum = 1.0f / sum;
  }

  int taps;
  Scratch<float> weights;
  float inverse_sum;
};

// kTile results from column x on: the sum over taps[j][x] * weights[j], in order and rounded at
// each step, times the inverse sum of the weights, truncated. That is a mean of bytes and needs no
// limits; what NaN becomes is 0 as a byte. kTaps is the number of taps where that is worth knowing
// ahead, else 0.
template <int kTaps, class Result>
void blur_tile(const float* const* taps, const Kernel& kernel, int x, Result* out) {
  const Full<float> d;
  constexpr int kLanes = static_cast<int>(hn::MaxLanes(d)), kVectors = std::min(8, kTile / kLanes);
  const int count = kTaps > 0 ? kTaps : kernel.taps;
  const float* weights = kernel.weights.get();
  for (int start = 0; start < kTile; start += kVectors * kLanes) {
    hn::Vec<Full<float>> sums[kVectors];
    for (int i = 0; i < kVectors; ++i) {
      sums[i] = hn::LoadU(d, taps[0] + x + start + i * kLanes) * hn::Set(d, weights[0]);
    }
    for (int j = 1; j < count; ++j) {
      const auto weight = hn::Set(d, weights[j]);
      const float* from = opaque_address(taps[j] + x + start);
      for (int i = 0; i < kVectors; ++i) {
        sums[i] = sums[i] + hn::LoadU(d, from + i * kLanes) * weight;
      }
    }
    const auto mean = [&](int i) { return sums[i] * hn::Set(d, kernel.inverse_sum); };
    if constexpr (std::is_same_v<Result, float>) {
      for (int i = 0; i < kVectors; ++i) {
        hn::StoreU(hn::Trunc(mean(i)), d, out + start + i * kLanes);
      }
    } else {
      const auto truncated = [&](int i) { return truncate_fitting(mean(i)); };
      for (int i = 0; i < kVectors; i += 4) {
        hn::StoreU(narrow_to_u8(truncated(i), truncated(i + 1), truncated(i + 2), truncated(i + 3)),
                   Full<uint8_t>(), out + start + i * kLanes);
      }
    }
  }
}

// Columns that are blurred together: so many that the rows of a kernel's taps stay in the fastest
// cache as floats.
int strip_width(int width, int taps) {
  constexpr int kCachedFloats = 24 * 1024 / 4;
  const int whole = (width + kTile - 1) / kTile * kTile;
  return std::clamp(kCachedFloats / taps / kTile * kTile, kTile, whole);
}

// Keeps as many rows as the kernel has taps, blurred along and truncated.
template <int kTaps>
class Blur {
 public:
  Blur(int width, int height, const Kernel& kernel)
      : kernel_(kernel),
        width_(width),
        height_(height),
        radius_(kernel.taps / 2),
        strip_(strip_width(width, kernel.taps)),
        samples_(static_cast<size_t>(strip_) + 2 * static_cast<size_t>(radius_)),
        along_(kernel.taps, strip_),
        row_taps_(kernel.taps),
        column_taps_(kernel.taps) {
    for (int j = 0; j < kernel.taps; ++j) row_taps_[j] = samples_.get() + j;
    std::fill_n(samples_.get(), strip_ + 2 * radius_, 0.0f);
  }

  void run(const uint8_t* src, uint8_t* dst) {
    for (int x = 0; x < width_; x += strip_) {
      const int count = std::min(strip_, width_ - x);
      for (int y = 0, known = 0; y < height_; ++y) {
        for (; known < height_ && known - y <= radius_; ++known) {
          blur_along(row_at(src, known, width_), x, count, along_[known]);
        }
        blur_across(y, row_at(dst, y, width_) + x, count);
      }
    }
  }

 private:
  void blur_along(const uint8_t* row, int first, int count, float* out) {
    // The columns from first - radius on, of which those from `begin` to `end` are in the image.
    float* const samples = samples_.get();
    const int all = count + 2 * radius_, start = first - radius_;
    const int begin = std::max(-start, 0), end = std::min(width_ - start, all);
    std::fill_n(samples, begin, static_cast<float>(row[0]));
    for (int i = begin; i < end; ++i) {  // vectorised
      samples[i] = static_cast<float>(row[start + i]);
    }
    std::fill_n(samples + end, all - end, static_cast<float>(row[width_ - 1]));
    for (int x = 0; x < count; x += kTile) blur_tile<kTaps>(row_taps_.get(), kernel_, x, out + x);
  }

  void blur_across(int y, uint8_t* out, int count) {
    for (int j = 0; j < kernel_.taps; ++j) {
      column_taps_[j] = along_[std::clamp(y + j - radius_, 0, height_ - 1)];
    }
    int x = 0;
    for (; x + kTile <= count; x += kTile)
      blur_tile<kTaps>(column_taps_.get(), kernel_, x, out + x);
    if (x < count) {
      uint8_t last[kTile];
      blur_tile<kTaps>(column_taps_.get(), kernel_, x, last);
      std::memcpy(out + x, last, count - x);
    }
  }

  const Kernel& kernel_;
  int width_, height_, radius_;
  int strip_;  // columns, whole tiles
  Scratch<float> samples_;
  RowRing<float> along_;
  Scratch<const float*> row_taps_, column_taps_;
};

}  // namespace

void gaussian_blur(const unsigned char* src, unsigned char* dst, int width, int height, int ksize,
                   float sigma) {
  if (width < 1 || height < 1) return;
  const int taps = std::max(ksize, 3);
  const bool is_odd = taps % 2 != 0;
  if (!is_odd || taps > width || taps > height) {
    // Once for each pass, both of which refuse.
    for (int pass = 0; pass < 2; ++pass) {
      if (is_odd) {
        log_print("image size too small!\n");
      } else {
        log_print("kernel size must be odd!\n");
      }
    }
    return;
  }
  const Kernel kernel(taps, sigma);
  if (taps == 3) return Blur<3>(width, height, kernel).run(src, dst);
  if (taps == 5) return Blur<5>(width, height, kernel).run(src, dst);
  Blur<0>(width, height, kernel).run(src, dst);
}

}  // namespace KelvraCV
