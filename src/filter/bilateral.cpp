// Edge-preserving smoothing by a recursive filter, along rows and then along columns, whose
// feedback fades where neighbours differ. The cost does not depend on how far it reaches. Q. Yang,
// "Recursive bilateral filtering", 2012.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/numeric.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd_pixels.h"
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

// A strip is this many lines side by side: columns of the image, or rows of it transposed. Its step
// i has one pixel of each line. The recursion along a line waits for itself; across lines it is
// vector arithmetic.
constexpr int kLines = 16;
constexpr int kLanes = static_cast<int>(hn::MaxLanes(Full<float>()));
constexpr int kWeightVectors = kLines / kLanes;

using Floats = Full<float>;
using V = hn::Vec<Floats>;

// The distances of kLines pixels. Channel 1 counts twice; the two shifts truncate on their own. A
// fourth channel does not count.
template <int kChannels>
HWY_INLINE void distances(const uint8_t* a, const uint8_t* b, uint8_t* out) {
  const Block<uint8_t> d;
  uint8_t of_samples[kLines * kChannels];
  for (int i = 0; i < kLines * kChannels; i += kLines) {
    const auto a_samples = hn::LoadU(d, a + i), b_samples = hn::LoadU(d, b + i);
    const auto difference = hn::Max(a_samples, b_samples) - hn::Min(a_samples, b_samples);
    hn::StoreU(difference, d, kChannels == 1 ? out : of_samples + i);
  }
  if constexpr (kChannels > 1) {
    hn::Vec<Block<uint8_t>> channels[4];
    load_pixels<kChannels>(d, of_samples, channels);
    const auto d0 = channels[0], d1 = channels[1], d2 = channels[2];
    // (d0 + d2) >> 2 without the ninth bit: the average rounds up where the sum is odd.
    const auto half = hn::AverageRound(d0, d2) - hn::And(hn::Xor(d0, d2), hn::Set(d, 1));
    const auto shift = [&](auto v) {
      const hn::Repartition<uint16_t, Block<uint8_t>> d16;
      return hn::And(hn::BitCast(d, hn::ShiftRight<1>(hn::BitCast(d16, v))), hn::Set(d, 127));
    };
    hn::StoreU(shift(half) + shift(d1), d, out);
  }
}

// A step's filtered channels, interleaved as the pixels are, and the sums of the weights that went
// into them.
template <int kChannels>
struct State {
  static constexpr int kValueVectors = kLines * kChannels / kLanes;
  static constexpr int kFloats = kLines * (kChannels + 1);
  V values[kValueVectors], weights[kWeightVectors];

  HWY_INLINE void store(float* to) const {
    for (int i = 0; i < kValueVectors; ++i) hn::StoreU(values[i], Floats(), to + i * kLanes);
    for (int i = 0; i < kWeightVectors; ++i) {
      hn::StoreU(weights[i], Floats(), to + (kValueVectors + i) * kLanes);
    }
  }
};

// Gives every channel of a pixel the pixel's lane.
template <int kChannels>
class ForChannels {
 public:
  ForChannels() {
    for (int part = 0; part < kChannels; ++part) {
      alignas(64) int32_t lanes[kLanes];
      for (int i = 0; i < kLanes; ++i) lanes[i] = (part * kLanes + i) / kChannels;
      hn::Store(hn::Load(Full<int32_t>(), lanes), Full<int32_t>(), order_[part]);
    }
  }
  // For vector i of a state's values.
  HWY_INLINE V operator()(const V* of_pixels, int i) const {
    if constexpr (kChannels == 1) return of_pixels[i];
    const auto order = hn::SetTableIndices(Floats(), order_[i % kChannels]);
    return hn::TableLookupLanes(of_pixels[i / kChannels], order);
  }

 private:
  alignas(64) int32_t order_[kChannels][kLanes];
};

// The filter over one strip after another.
template <int kChannels>
class StripFilter {
 public:
  static constexpr size_t kStepBytes = size_t{kLines} * kChannels;

  StripFilter(const Feedback& feedback, int longest)
      : feedback_(feedback),
        feedbacks_(longest, kLines),
        forward_(longest, State<kChannels>::kFloats) {}

  // Filters `pixels` in place along `length` steps, with the distances of `source`. Steps are
  // `source_step` and `step` bytes apart.
  void run(const uint8_t* source, size_t source_step, uint8_t* pixels, size_t step, int length) {
    look_up(source, source_step, length);
    State<kChannels> state;
    start(state, pixels);
    state.store(forward_of(0));
    for (int i = 1; i < length; ++i) {
      advance(state, pixels + i * step, feedbacks_of(i));
      state.store(forward_of(i));
    }
    const int last = length - 1;
    start(state, pixels + last * step);
    store_mean(forward_of(last), state, pixels + last * step);
    for (int i = last - 1; i >= 0; --i) {
      advance(state, pixels + i * step, feedbacks_of(i + 1));
      store_mean(forward_of(i), state, pixels + i * step);
    }
  }

 private:
  using S = State<kChannels>;

  // Row i belongs to steps i - 1 and i.
  float* feedbacks_of(int i) { return feedbacks_.get() + static_cast<size_t>(i) * kLines; }
  float* forward_of(int i) { return forward_.get() + static_cast<size_t>(i) * S::kFloats; }

  void look_up(const uint8_t* source, size_t step, int length) {
    for (int i = 1; i < length; ++i) {
      uint8_t of_lines[kLines];
      distances<kChannels>(source + i * step, source + (i - 1) * step, of_lines);
      float* const out = feedbacks_of(i);
      for (int k = 0; k < kLines; ++k) out[k] = feedback_.table[of_lines[k]];
    }
  }

  // A line starts with its first sample, of weight 1.
  HWY_INLINE static void start(S& state, const uint8_t* pixels) {
    for (V& weight : state.weights) weight = hn::Set(Floats(), 1.0f);
    for (int i = 0; i < S::kValueVectors; ++i) {
      state.values[i] = load_as(Floats(), pixels + i * kLanes);
    }
  }

  // inv * sample + w * previous, and for the weights inv + w * previous: one fused product each.
  HWY_INLINE void advance(S& state, const uint8_t* pixels, const float* feedbacks) const {
    const Floats d;
    const V inv = hn::Set(d, feedback_.sample_weight);
    V w[kWeightVectors];
    for (int i = 0; i < kWeightVectors; ++i) {
      w[i] = hn::LoadU(d, feedbacks + i * kLanes);
      state.weights[i] = hn::MulAdd(w[i], state.weights[i], inv);
    }
    repeat<S::kValueVectors>([&](int i) KELVRA_CV_INLINE {
      const V sample = inv * load_as(Floats(), pixels + i * kLanes);
      state.values[i] = hn::MulAdd(for_channels_(w, i), state.values[i], sample);
    });
  }

  // (forward + backward) * (1 / sum of both weights), truncated, along rows and columns alike.
  HWY_INLINE void store_mean(const float* forward, const S& backward, uint8_t* pixels) const {
    const Floats d;
    V reciprocals[kWeightVectors];
    for (int i = 0; i < kWeightVectors; ++i) {
      const V weight = hn::LoadU(d, forward + (S::kValueVectors + i) * kLanes);
      reciprocals[i] = hn::Set(d, 1.0f) / (weight + backward.weights[i]);
    }
    const auto mean = [&](int i) KELVRA_CV_INLINE {
      const V sum = hn::LoadU(d, forward + i * kLanes) + backward.values[i];
      const V value = sum * for_channels_(reciprocals, i);
      // Senseless sigmas may give anything: what is no byte becomes 0, on every machine.
      return truncate_fitting(hn::IfThenElseZero(value < hn::Set(d, 65536.0f), value));
    };
    // Four vectors of floats make one of bytes; where they do not come out even, two make half a
    // one, or one a quarter.
    constexpr int kTogether = S::kValueVectors % 4 == 0 ? 4 : S::kValueVectors % 2 == 0 ? 2 : 1;
    const Full<uint8_t> d8;
    repeat<S::kValueVectors / kTogether>([&](int group) KELVRA_CV_INLINE {
      const int i = group * kTogether;
      if constexpr (kTogether == 4) {
        hn::StoreU(narrow_to_u8(mean(i), mean(i + 1), mean(i + 2), mean(i + 3)), d8,
                   pixels + i * kLanes);
      } else if constexpr (kTogether == 1) {
        const hn::Rebind<uint8_t, Floats> quarter;
        hn::StoreU(hn::DemoteTo(quarter, mean(i)), quarter, pixels + i * kLanes);
      } else {
        const auto v0 = mean(i), v1 = mean(i + 1);
        const hn::Half<Full<uint8_t>> half;
        hn::StoreU(hn::LowerHalf(half, narrow_to_u8(v0, v1, v0, v1)), half, pixels + i * kLanes);
      }
    });
  }

  const Feedback& feedback_;
  const ForChannels<kChannels> for_channels_;
  Scratch<float> feedbacks_, forward_;
};

// Copies `count` pixels from `from` to `to`, whose pixels are `from_step` and `to_step` bytes
// apart. But for the last one they go as four bytes: those too many are overwritten by what comes
// next.
template <int kChannels>
HWY_INLINE void copy_pixels(const uint8_t* from, size_t from_step, uint8_t* to, size_t to_step,
                            int count) {
  constexpr int kBytes = kChannels + (kChannels == 3);
  for (int i = 0; i + 1 < count; ++i, from += from_step, to += to_step) {
    std::memcpy(to, from, kBytes);
  }
  std::memcpy(to, from, kChannels);
}

// The pixels of `count` rows, transposed into the steps of a strip, and back.
template <int kChannels>
void to_strip(const uint8_t* rows, size_t row_bytes, int count, int width, uint8_t* strip) {
  for (int x = 0; x < width; ++x, rows += kChannels, strip += kLines * kChannels) {
    copy_pixels<kChannels>(rows, row_bytes, strip, kChannels, count);
  }
}
template <int kChannels>
void from_strip(const uint8_t* strip, uint8_t* rows, size_t row_bytes, int count, int width) {
  for (int k = 0; k < count; ++k, rows += row_bytes, strip += kChannels) {
    copy_pixels<kChannels>(strip, kLines * kChannels, rows, kChannels, width);
  }
}

template <int kChannels>
void filter_image(const Feedback& feedback, const uint8_t* src, uint8_t* dst, int width,
                  int height) {
  using Filter = StripFilter<kChannels>;
  const size_t row_bytes = static_cast<size_t>(width) * kChannels;
  const int longest = std::max(width, height);
  Filter filter(feedback, longest);
  Scratch<uint8_t> source(longest, Filter::kStepBytes), filtered(longest, Filter::kStepBytes);
  std::memset(source.get(), 0, longest * Filter::kStepBytes);
  for (int y = 0; y < height; y += kLines) {
    const int count = std::min(kLines, height - y);
    to_strip<kChannels>(src + y * row_bytes, row_bytes, count, width, source.get());
    std::memcpy(filtered.get(), source.get(), width * Filter::kStepBytes);
    filter.run(source.get(), Filter::kStepBytes, filtered.get(), Filter::kStepBytes, width);
    from_strip<kChannels>(filtered.get(), dst + y * row_bytes, row_bytes, count, width);
  }
  int x = 0;
  for (; x + kLines <= width; x += kLines) {
    filter.run(src + x * kChannels, row_bytes, dst + x * kChannels, row_bytes, height);
  }
  if (x == width) return;
  // The last columns, in strips of full width.
  const size_t rest = row_bytes - static_cast<size_t>(x) * kChannels;
  for (int y = 0; y < height; ++y) {
    std::memcpy(&source[y * Filter::kStepBytes], src + (y + 1) * row_bytes - rest, rest);
    std::memcpy(&filtered[y * Filter::kStepBytes], dst + (y + 1) * row_bytes - rest, rest);
  }
  filter.run(source.get(), Filter::kStepBytes, filtered.get(), Filter::kStepBytes, height);
  for (int y = 0; y < height; ++y) {
    std::memcpy(dst + (y + 1) * row_bytes - rest, &filtered[y * Filter::kStepBytes], rest);
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
