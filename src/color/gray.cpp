// Luminance of interleaved colour: one byte from each pixel of three or four.
#include <climits>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// 0.299, 0.587 and 0.114 in 16-bit fixed point. They sum to 65536, so white stays 255.
constexpr int kRedWeight = 19595, kGreenWeight = 38469, kBlueWeight = 7472;

// Where the colours stand in a pixel.
template <int kChannelCount, int kRedPosition>
struct Layout {
  static constexpr int kChannels = kChannelCount, kRed = kRedPosition, kBlue = 2 - kRedPosition;
  static constexpr int kFirstWeight = kRed == 0 ? kRedWeight : kBlueWeight;
  static constexpr int kThirdWeight = kRed == 0 ? kBlueWeight : kRedWeight;
};
using Rgb = Layout<3, 0>;
using Rgba = Layout<4, 0>;
using Bgra = Layout<4, 2>;

template <class Pixel>
uint8_t gray_of(const uint8_t* pixel) {
  return static_cast<uint8_t>((kRedWeight * pixel[Pixel::kRed] + kGreenWeight * pixel[1] +
                               kBlueWeight * pixel[Pixel::kBlue]) >>
                              16);
}

// The same for four pixels of each block of `pixels`, from byte kSkip on, in 32-bit lanes. Products
// are of signed 16-bit lanes, which green's weight does not fit: green enters twice, with half of
// its weight each time. All is exact.
template <class Pixel, int kSkip, class D8>
HWY_INLINE auto gray_of_blocks(D8 d8, hn::Vec<D8> pixels) {
  constexpr int kHalf = kGreenWeight / 2;
  constexpr uint8_t p0 = kSkip, p1 = p0 + Pixel::kChannels, p2 = p1 + Pixel::kChannels,
                    p3 = p2 + Pixel::kChannels, none = 0x80;
  alignas(16) static constexpr uint8_t kFirstAndThird[16] = {
      p0, none, p0 + 2, none, p1, none, p1 + 2, none,
      p2, none, p2 + 2, none, p3, none, p3 + 2, none};
  alignas(16) static constexpr uint8_t kGreenTwice[16] = {p0 + 1, none, p0 + 1, none, p1 + 1, none,
                                                          p1 + 1, none, p2 + 1, none, p2 + 1, none,
                                                          p3 + 1, none, p3 + 1, none};
  const hn::Repartition<int16_t, D8> d16;
  const hn::Repartition<int32_t, D8> d32;
  const auto select = [&](const uint8_t* positions) {
    return hn::BitCast(d16, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(d8, positions)));
  };
  const auto first_and_third = [&] {
    if constexpr (Pixel::kChannels == 3) return select(kFirstAndThird);
    return hn::And(hn::BitCast(d16, pixels), hn::Set(d16, 0xff));  // they are in place
  }();
  const auto weights =
      hn::BitCast(d16, hn::Set(d32, Pixel::kThirdWeight << 16 | Pixel::kFirstWeight));
  const auto green_weights = hn::BitCast(d16, hn::Set(d32, kHalf << 16 | (kGreenWeight - kHalf)));
  return hn::ShiftRight<16>(multiply_add_pairs(d32, first_and_third, weights) +
                            multiply_add_pairs(d32, select(kGreenTwice), green_weights));
}

// As many pixels as `d8` has lanes. Four pixels are loaded with 16 bytes: of three-byte pixels,
// four bytes more than they have, which are the kSkip before them or else those after them.
template <class Pixel, int kSkip, class D8>
HWY_INLINE void gray_vector(D8 d8, const uint8_t* src, uint8_t* dst) {
  constexpr int kChannels = Pixel::kChannels;
  const auto quarter = [&](size_t i) {
    const uint8_t* first = src + i * hn::Lanes(d8) / 4 * kChannels - kSkip;
    return gray_of_blocks<Pixel, kSkip>(d8, load_blocks(d8, first, 4 * kChannels));
  };
  hn::StoreU(narrow_to_u8(quarter(0), quarter(1), quarter(2), quarter(3)), d8, dst);
}

template <class Pixel>
void gray_row(const uint8_t* src, uint8_t* dst, int width) {
  constexpr int kChannels = Pixel::kChannels;
  constexpr int kSpareBytes = 16 - 4 * kChannels, kSparePixels = kChannels == 3 ? 2 : 0;
  if (width >= 16 + kSparePixels &&
      !overlap(src, static_cast<size_t>(width) * kChannels, dst, width)) {
    const Full<uint8_t> full;
    const Block<uint8_t> block;
    int x = 0;
    const int lanes = static_cast<int>(hn::Lanes(full));
    for (; x + lanes + kSparePixels <= width; x += lanes) {
      gray_vector<Pixel, 0>(full, src + x * kChannels, dst + x);
    }
    for (; x + 16 + kSparePixels <= width; x += 16) {
      gray_vector<Pixel, 0>(block, src + x * kChannels, dst + x);
    }
    for (; x < width - 16; ++x) dst[x] = gray_of<Pixel>(src + x * kChannels);
    if (x < width) {
      x = width - 16;  // the last 16, some of them for the second time
      gray_vector<Pixel, kSpareBytes>(block, src + x * kChannels, dst + x);
    }
    return;
  }
  for (int x = 0; x < width; ++x) dst[x] = gray_of<Pixel>(src + x * kChannels);
}

template <class Pixel>
void gray_rows(const uint8_t* src, uint8_t* dst, int width, int height, int src_stride,
               int dst_stride) {
  if (width < 1 || height < 1) return;
  // Packed rows are one long row, if its end does not run into another row's source.
  const int64_t pixels = int64_t{width} * height;
  if (src_stride == int64_t{width} * Pixel::kChannels && dst_stride == width &&
      pixels <= INT_MAX / 4 && !overlap(src, pixels * Pixel::kChannels, dst, pixels)) {
    gray_row<Pixel>(src, dst, static_cast<int>(pixels));
    return;
  }
  for (int y = 0; y < height; ++y) {
    gray_row<Pixel>(row_at(src, y, src_stride), row_at(dst, y, dst_stride), width);
  }
}

}  // namespace

void rgb2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
              int dst_stride) {
  gray_rows<Rgb>(src, dst, width, height, src_stride, dst_stride);
}

void rgba2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
               int dst_stride, int bgra) {
  const auto rows = bgra == 0 ? gray_rows<Rgba> : gray_rows<Bgra>;
  rows(src, dst, width, height, src_stride, dst_stride);
}

}  // namespace KelvraCV
