// Gaussian pyramid: each level is the one before it, smoothed and halved.
#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// The 1 4 6 4 1 kernel. Sums over a column are at most 16 * 255 and over a square at most
// 256 * 255: with the rounding term, all fits 16 unsigned bits.
template <class V>
HWY_INLINE V weigh(V a, V b, V c, V d, V e) {
  return a + e + hn::ShiftLeft<2>(b + c + d) + c + c;
}

// Five rows into one row of column sums.
void sum_columns(const uint8_t* const rows[5], uint16_t* sums, size_t samples) {
  const auto step = [&](auto d16, size_t i) HWY_ATTR {
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const auto load = [&](int k)
                          HWY_ATTR { return hn::PromoteTo(d16, hn::LoadU(d8, rows[k] + i)); };
    hn::StoreU(weigh(load(0), load(1), load(2), load(3), load(4)), d16, sums + i);
  };
  const Full<uint16_t> full;
  size_t i = 0;
  for (; i + hn::Lanes(full) <= samples; i += hn::Lanes(full)) step(full, i);
  for (; i < samples; ++i) step(hn::CappedTag<uint16_t, 1>(), i);
}

// Every second pixel of a row of one channel, `half` of them, `sums` being its first pixel.
void halve_gray(const uint16_t* sums, uint8_t* dst, int half) {
  const Full<uint16_t> d16;
  const hn::Repartition<uint32_t, decltype(d16)> d32;
  const int lanes = static_cast<int>(hn::Lanes(d32));
  const auto store = [&](auto d, auto even_before, auto odd_before, auto even, auto odd,
                         auto even_after, uint8_t* out) HWY_ATTR {
    const auto sum = weigh(even_before, odd_before, even, odd, even_after);
    const auto rounded = hn::ShiftRight<8>(sum + hn::Set(d, 128));
    const auto bytes = hn::DemoteTo(hn::Rebind<uint8_t, decltype(d)>(),
                                    hn::BitCast(hn::RebindToSigned<decltype(d)>(), rounded));
    hn::StoreU(bytes, hn::DFromV<decltype(bytes)>(), out);
  };
  int x = 0;
  // A 32-bit lane holds an even pixel and, above it, the odd one to its right.
  for (; x + lanes <= half - 1; x += lanes) {
    const auto pairs = [&](int offset) HWY_ATTR {
      return hn::BitCast(d32, hn::LoadU(d16, sums + 2 * x + offset));
    };
    const auto before = pairs(-2), here = pairs(0), after = pairs(2);
    const auto even = [&](auto v) HWY_ATTR { return hn::And(v, hn::Set(d32, 0xFFFF)); };
    store(d32, even(before), hn::ShiftRight<16>(before), even(here), hn::ShiftRight<16>(here),
          even(after), dst + x);
  }
  const hn::CappedTag<uint32_t, 1> one;
  for (; x < half; ++x) {
    const auto at = [&](int offset) HWY_ATTR { return hn::Set(one, sums[2 * x + offset]); };
    store(one, at(-2), at(-1), at(0), at(1), at(2), dst + x);
  }
}

// The same for pixels of three or four channels, a pixel a vector. Of three, the fourth lane is the
// next pixel's and is written over by it, but for the last pixel.
template <int kChannels>
void halve_color(const uint16_t* sums, uint8_t* dst, int half) {
  const hn::CappedTag<uint16_t, 4> d16;
  const hn::Rebind<uint8_t, decltype(d16)> d8;
  const auto pixel = [&](int x) HWY_ATTR {
    const auto at = [&](int offset) HWY_ATTR {
      return hn::LoadU(d16, sums + (2 * static_cast<ptrdiff_t>(x) + offset) * kChannels);
    };
    const auto sum = weigh(at(-2), at(-1), at(0), at(1), at(2));
    const auto rounded = hn::ShiftRight<8>(sum + hn::Set(d16, 128));
    return hn::DemoteTo(d8, hn::BitCast(hn::RebindToSigned<decltype(d16)>(), rounded));
  };
  for (int x = 0; x < half - 1; ++x) {
    hn::StoreU(pixel(x), d8, dst + static_cast<ptrdiff_t>(x) * kChannels);
  }
  uint8_t last[4];
  hn::StoreU(pixel(half - 1), d8, last);
  std::memcpy(dst + static_cast<ptrdiff_t>(half - 1) * kChannels, last, kChannels);
}

// `from` must stay as it is while `to` is written.
void halve(const ImageData& from, const ImageData& to) {
  const size_t channels = static_cast<size_t>(from.channels), samples = from.width * channels;
  // Two pixels of border on either side, and what the last vector reads beyond them.
  Scratch<uint16_t> padded(samples + 4 * channels + 4);
  uint16_t* const sums = padded.get() + 2 * channels;
  std::fill_n(sums + samples + 2 * channels, 4, uint16_t{0});
  const auto halve_row = channels == 1   ? halve_gray
                         : channels == 3 ? halve_color<3>
                                         : halve_color<4>;
  for (int y = 0; y < to.height; ++y) {
    const uint8_t* rows[5];
    for (int k = 0; k < 5; ++k) {
      rows[k] = row_at(from.data, std::clamp(2 * y + k - 2, 0, from.height - 1), from.stride);
    }
    sum_columns(rows, sums, samples);
    for (int border = 1; border <= 2; ++border) {
      std::copy_n(sums, channels, sums - border * channels);
      std::copy_n(sums + samples - channels, channels, sums + samples + (border - 1) * channels);
    }
    halve_row(sums, row_at(to.data, y, to.stride), to.width);
  }
}

void set_size(ImageData& level, int width, int height, int channels) {
  level.width = width;
  level.height = height;
  level.channels = channels;
  level.stride = width * channels;
}

}  // namespace

void pyramid_gauss(const ImageData& src, std::vector<ImageData>& levels) {
  const ImageData image = src;  // `src` may be the first of the levels
  if (levels.empty() || image.width < 1 || image.height < 1) return;
  if (image.channels != 1 && image.channels != 3 && image.channels != 4) return;
  set_size(levels[0], image.width, image.height, image.channels);
  if (levels[0].data == image.data) levels[0].stride = image.stride;
  for (int y = 0; y < image.height && levels[0].data != image.data; ++y) {
    std::memcpy(row_at(levels[0].data, y, levels[0].stride), row_at(image.data, y, image.stride),
                static_cast<size_t>(image.width) * image.channels);
  }
  for (size_t i = 1; i < levels.size(); ++i) {
    const ImageData& larger = levels[i - 1];
    if (larger.width <= 1 && larger.height <= 1) {
      set_size(levels[i], 0, 0, image.channels);
    } else {
      set_size(levels[i], larger.width - larger.width / 2, larger.height - larger.height / 2,
               image.channels);
      halve(larger, levels[i]);
    }
  }
}

}  // namespace KelvraCV
