// Edge-preserving smoothing by a recursive filter, along rows and then along columns, whose
// feedback fades where neighbours differ. The cost does not depend on how far it reaches. Q. Yang,
// "Recursive bilateral filtering", 2012.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/numeric.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// The feedback for each distance between neighbours, and the weight of the new sample.
struct Feedback {
  Feedback(float sigma_spatial, float sigma_range) {
    // Deliberately scaled by 255, whatever the image's size.
    const double scale = sigma_spatial * 255.0f;
    const auto alpha = static_cast<float>(std::exp(-1.4142135623730951 / scale));
    const float step = kInverse255 / sigma_range;
    for (int d = 0; d < 256; ++d) table[d] = alpha * std::exp(-static_cast<float>(d) * step);
    sample_weight = 1.0f - alpha;
  }
  float table[256], sample_weight;
};

// Channel 1 counts twice; the two shifts truncate on their own. A fourth channel does not count.
template <int kChannels>
int distance(const uint8_t* a, const uint8_t* b) {
  const int d0 = std::abs(a[0] - b[0]);
  if constexpr (kChannels == 1) return d0;
  return ((d0 + std::abs(a[2] - b[2])) >> 2) + (std::abs(a[1] - b[1]) >> 1);
}

// feedbacks[i] belongs to pixels a[i] and b[i].
template <int kChannels>
void feedback_row(const Feedback& feedback, const uint8_t* a, const uint8_t* b, float* feedbacks,
                  int count) {
  for (int i = 0; i < count; ++i) {
    feedbacks[i] = feedback.table[distance<kChannels>(a + i * kChannels, b + i * kChannels)];
  }
}

using Lanes4 = hn::CappedTag<float, 4>;
using V4 = hn::Vec<Lanes4>;

// A pixel's filtered channels and the sum of the weights that went into them: in the fourth lane,
// where a constant 1 is filtered like a channel, or beside four channels.
struct State {
  V4 values = hn::Zero(Lanes4());
  float weight = 0;
};

// The same in memory.
template <int kChannels>
struct StoredState {
  float values[kChannels == 4 ? 5 : 4];

  HWY_INLINE void set(const State& state) {
    hn::StoreU(state.values, Lanes4(), values);
    if constexpr (kChannels == 4) values[4] = state.weight;
  }
  HWY_INLINE State get() const {
    return {hn::LoadU(Lanes4(), values), kChannels == 4 ? values[kChannels == 4 ? 4 : 0] : 0.0f};
  }
};

template <int kChannels>
HWY_INLINE V4 load_pixel(const uint8_t* pixel) {  // four bytes are read
  const Lanes4 d;
  const hn::Rebind<uint8_t, Lanes4> d8;
  const hn::Rebind<int32_t, Lanes4> d32;
  const V4 values = hn::ConvertTo(d, hn::PromoteTo(d32, hn::LoadU(d8, pixel)));
  if constexpr (kChannels == 4) return values;
  return hn::IfThenElse(hn::FirstN(d, 3), values, hn::Set(d, 1.0f));
}

template <int kChannels>
HWY_INLINE State start(V4 pixel) {
  return {pixel, 1.0f};
}

// inv * sample + w * previous, and for the weights inv + w * previous: one fused product each.
template <int kChannels>
HWY_INLINE State step(const State& previous, V4 pixel, float feedback, float sample_weight) {
  const Lanes4 d;
  State next{hn::MulAdd(hn::Set(d, feedback), previous.values, hn::Set(d, sample_weight) * pixel),
             0.0f};
  if constexpr (kChannels == 4) {
    next.weight = std::fma(feedback, previous.weight, sample_weight);
  }
  return next;
}

// (forward + backward) * (1 / sum of both weights), truncated.
template <int kChannels>
HWY_INLINE void store_mean(const State& forward, const State& backward, uint8_t* pixel) {
  const Lanes4 d;
  const hn::Rebind<int32_t, Lanes4> d32;
  const V4 sum = forward.values + backward.values;
  const V4 weight =
      kChannels == 4 ? hn::Set(d, forward.weight + backward.weight) : hn::Broadcast<3>(sum);
  const V4 mean = sum * (hn::Set(d, 1.0f) / weight);
  // NaN, which senseless sigmas give, becomes 0.
  const V4 positive = hn::IfThenElseZero(mean > hn::Zero(d), mean);
  const V4 limited = hn::IfThenElse(positive < hn::Set(d, 255.0f), positive, hn::Set(d, 255.0f));
  alignas(16) int32_t values[4];
  hn::Store(truncate_fitting(limited), d32, values);
  for (int c = 0; c < kChannels; ++c) pixel[c] = static_cast<uint8_t>(values[c]);
}

// Filters `kLines` lines of `length` pixels side by side, so that no step waits for the one before:
// rows along x, or columns along y. pixel(i, k) is pixel i of line k, of which four bytes can be
// read; feedback(i, k) belongs to pixels i - 1 and i; out(i, k) is where the result goes.
template <int kChannels, int kLines, class Pixel, class Feedbacks, class Out>
HWY_INLINE void filter_lines(int length, float sample_weight, StoredState<kChannels>* forward,
                             Pixel pixel, Feedbacks feedback, Out out) {
  State state[kLines] = {};
  for (int i = 0; i < length; ++i) {
    for (int k = 0; k < kLines; ++k) {
      const V4 value = load_pixel<kChannels>(pixel(i, k));
      state[k] = i == 0 ? start<kChannels>(value)
                        : step<kChannels>(state[k], value, feedback(i, k), sample_weight);
      forward[i * kLines + k].set(state[k]);
    }
  }
  for (int i = length - 1; i >= 0; --i) {
    for (int k = 0; k < kLines; ++k) {
      const V4 value = load_pixel<kChannels>(pixel(i, k));
      state[k] = i == length - 1
                     ? start<kChannels>(value)
                     : step<kChannels>(state[k], value, feedback(i + 1, k), sample_weight);
      store_mean<kChannels>(forward[i * kLines + k].get(), state[k], out(i, k));
    }
  }
}

constexpr int kTogether = 4;  // lines

// kCount rows from row y on, of packed images.
template <int kChannels, int kCount>
void filter_rows(const Feedback& feedback, const uint8_t* src, uint8_t* dst, int width,
                 uint8_t* copies, float* feedbacks, StoredState<kChannels>* forward) {
  const size_t row_bytes = static_cast<size_t>(width) * kChannels, copy_bytes = row_bytes + 4;
  for (int k = 0; k < kCount; ++k) {
    uint8_t* const copy = copies + k * copy_bytes;
    std::memcpy(copy, src + k * row_bytes, row_bytes);
    feedback_row<kChannels>(feedback, copy + kChannels, copy, feedbacks + size_t{1} * k * width + 1,
                            width - 1);
  }
  filter_lines<kChannels, kCount>(
      width, feedback.sample_weight, forward,
      [&](int x, int k) { return copies + k * copy_bytes + static_cast<size_t>(x) * kChannels; },
      [&](int x, int k) { return feedbacks[static_cast<size_t>(k) * width + x]; },
      [&](int x, int k) { return dst + k * row_bytes + static_cast<size_t>(x) * kChannels; });
}

// kCount columns, in place in dst; distances are those of the unfiltered source.
template <int kChannels, int kCount>
void filter_columns(const Feedback& feedback, const uint8_t* src, uint8_t* dst, int height,
                    size_t row_bytes, uint8_t* copies, float* feedbacks,
                    StoredState<kChannels>* forward) {
  constexpr size_t kCopyBytes = kCount * kChannels + 4;
  for (int y = 0; y < height; ++y) {
    std::memcpy(copies + y * kCopyBytes, dst + y * row_bytes, kCount * kChannels);
    if (y == 0) continue;
    feedback_row<kChannels>(feedback, src + y * row_bytes, src + (y - 1) * row_bytes,
                            feedbacks + static_cast<size_t>(y) * kCount, kCount);
  }
  filter_lines<kChannels, kCount>(
      height, feedback.sample_weight, forward,
      [&](int y, int k) { return copies + y * kCopyBytes + static_cast<size_t>(k) * kChannels; },
      [&](int y, int k) { return feedbacks[static_cast<size_t>(y) * kCount + k]; },
      [&](int y, int k) { return dst + y * row_bytes + static_cast<size_t>(k) * kChannels; });
}

template <int kChannels>
void filter_image(const Feedback& feedback, const uint8_t* src, uint8_t* dst, int width,
                  int height) {
  const size_t row_bytes = static_cast<size_t>(width) * kChannels;
  const size_t longest = std::max(width, height);
  Scratch<uint8_t> copies(longest, size_t{kTogether} * kChannels + 4 * kTogether);
  Scratch<float> feedbacks(longest, kTogether);
  Scratch<StoredState<kChannels>> forward(longest, kTogether);
  std::memset(copies.get(), 0, longest * (size_t{kTogether} * kChannels + 4 * kTogether));

  int y = 0;
  for (; y + kTogether <= height; y += kTogether) {
    filter_rows<kChannels, kTogether>(feedback, src + y * row_bytes, dst + y * row_bytes, width,
                                      copies.get(), feedbacks.get(), forward.get());
  }
  for (; y < height; ++y) {
    filter_rows<kChannels, 1>(feedback, src + y * row_bytes, dst + y * row_bytes, width,
                              copies.get(), feedbacks.get(), forward.get());
  }
  int x = 0;
  for (; x + kTogether <= width; x += kTogether) {
    filter_columns<kChannels, kTogether>(feedback, src + x * kChannels, dst + x * kChannels, height,
                                         row_bytes, copies.get(), feedbacks.get(), forward.get());
  }
  for (; x < width; ++x) {
    filter_columns<kChannels, 1>(feedback, src + x * kChannels, dst + x * kChannels, height,
                                 row_bytes, copies.get(), feedbacks.get(), forward.get());
  }
}

}  // namespace

void bilateral_filter(const ImageData& src, ImageData& dst, float sigma_spatial,
                      float sigma_range) {
  if (src.width != dst.width || src.height != dst.height || src.channels != dst.channels) {
    log_print("input and output data mismatch!");
    return;
  }
  if (src.width < 1 || src.height < 1) return;
  const Feedback feedback(sigma_spatial, sigma_range);
  if (src.channels == 1) filter_image<1>(feedback, src.data, dst.data, src.width, src.height);
  if (src.channels == 3) filter_image<3>(feedback, src.data, dst.data, src.width, src.height);
  if (src.channels == 4) filter_image<4>(feedback, src.data, dst.data, src.width, src.height);
}

}  // namespace KelvraCV
