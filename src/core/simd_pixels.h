// Pixels of bytes in vectors: rows of them, the walk over a row, weighted sums of a pixel's
// channels.
#ifndef KELVRA_CV_CORE_SIMD_PIXELS_H_
#define KELVRA_CV_CORE_SIMD_PIXELS_H_

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "core/rows.h"
#include "core/simd.h"

namespace KelvraCV::detail {

using Bytes = hn::Vec<Full<uint8_t>>;
constexpr int kPixelLanes = static_cast<int>(hn::MaxLanes(Full<uint8_t>()));

// f(0), f(1), …, f(kCount - 1), written out: a loop that the compiler unrolls late keeps an array
// of vectors in memory.
template <int kCount, class F>
HWY_INLINE void repeat(const F& f) {
  if constexpr (kCount > 0) {
    repeat<kCount - 1>(f);
    f(kCount - 1);
  }
}

// Where the colours stand in an interleaved pixel.
template <int kChannelCount, int kRedPosition>
struct Layout {
  static constexpr int kChannels = kChannelCount, kRed = kRedPosition, kBlue = 2 - kRedPosition;
};
using Rgb = Layout<3, 0>;
using Rgba = Layout<4, 0>;
using Bgra = Layout<4, 2>;

// A row's pixels from some pixel on: kCount interleaved samples each, or one in each of kCount
// planes.
template <int kCount, class Byte = uint8_t>
struct Interleaved {
  static constexpr int kChannels = kCount, kParts = 1, kStep = kCount;
  Byte* part[1];

  HWY_INLINE Interleaved at(size_t x) const { return {{part[0] + kStep * x}}; }
};
template <int kCount, class Byte = uint8_t>
struct Planar {
  static constexpr int kChannels = kCount, kParts = kCount, kStep = 1;
  Byte* part[kCount];

  HWY_INLINE Planar at(size_t x) const {
    Planar there;
    repeat<kCount>([&](int i) { there.part[i] = part[i] + x; });
    return there;
  }
};

// A vector of pixels, channel by channel. Of more channels than the row has, the last are left out.
template <int kCount, class Byte>
HWY_INLINE void load(Interleaved<kCount, Byte> row, Bytes* channels) {
  load_pixels<kCount>(Full<uint8_t>(), row.part[0], channels);
}
template <int kCount, class Byte>
HWY_INLINE void load(Planar<kCount, Byte> row, Bytes* channels) {
  repeat<kCount>([&](int i) { channels[i] = opaque(hn::LoadU(Full<uint8_t>(), row.part[i])); });
}
template <int kCount>
HWY_INLINE void store(const Bytes* channels, Interleaved<kCount> row) {
  store_pixels<kCount>(Full<uint8_t>(), channels, row.part[0]);
}
HWY_INLINE void store(Bytes bytes, Interleaved<1> row) {
  hn::StoreU(bytes, Full<uint8_t>(), row.part[0]);
}
template <int kCount>
HWY_INLINE void store(const Bytes* channels, Planar<kCount> row) {
  repeat<kCount>([&](int i) { hn::StoreU(channels[i], Full<uint8_t>(), row.part[i]); });
}

// The same as a value.
template <int kCount>
struct Pixels {
  Bytes channels[kCount];
};
template <int kCount, class Row>
HWY_INLINE void store(const Pixels<kCount>& pixels, Row row) {
  static_assert(Row::kChannels <= kCount);
  store(pixels.channels, row);
}

// Two vectors of pixels, side by side in each part. A plane's address is computed once: compilers
// would add an index to it for each vector, which keeps them from storing both at once.
template <class V, class Row>
HWY_INLINE void store_two(const V& first, const V& second, Row row) {
  store(first, row);
  store(second, row.at(kPixelLanes));
}
template <int kCount>
HWY_INLINE void store_two(const Pixels<kCount>& first, const Pixels<kCount>& second,
                          Planar<kCount> row) {
  repeat<kCount>([&](int i) {
    uint8_t* const to = opaque_address(row.part[i]);
    hn::StoreU(first.channels[i], Full<uint8_t>(), to);
    hn::StoreU(second.channels[i], Full<uint8_t>(), to + kPixelLanes);
  });
}

// How much of a row's order a walk over it in vectors must keep.
template <class Source, class Destination>
RowOrder row_order(const Source& src, const Destination& dst, size_t width) {
  RowOrder order = RowOrder::kAny;
  for (const auto* from : src.part) {
    for (const auto* to : dst.part) {
      order = std::max(order, row_order(from, Source::kStep, to, Destination::kStep, width));
    }
  }
  return order;
}

// A vector of pixels outside of the row, for those that are too few for one.
template <class Row>
struct PixelBuffer {
  uint8_t bytes[Row::kParts][Row::kStep * kPixelLanes] = {};

  template <class Pixels>
  Pixels row() {
    Pixels pixels;
    for (int i = 0; i < Row::kParts; ++i) pixels.part[i] = bytes[i];
    return pixels;
  }
  void take(const Row& from, size_t count) {
    for (int i = 0; i < Row::kParts; ++i) std::memcpy(bytes[i], from.part[i], count * Row::kStep);
  }
  void give(const Row& to, size_t count) const {
    for (int i = 0; i < Row::kParts; ++i) std::memcpy(to.part[i], bytes[i], count * Row::kStep);
  }
};

// Stores convert(from) so that every pixel of `src` becomes one of `dst`, a vector at a time: with
// the bytes that converting one pixel after the other gives, also where the rows share memory.
// Nothing but the two rows is read or written.
//
// Short conversions run two at once, `convert_row<kPaired>`, where the machine stores vectors in
// pairs.
constexpr bool kPaired = !HWY_ARCH_X86;
template <bool kPairs = false, class Source, class Destination, class Convert>
HWY_INLINE void convert_row(const Source& src, const Destination& dst, size_t width,
                            const Convert& convert) {
  const RowOrder order = row_order(src, dst, width);
  const size_t lanes = kPixelLanes;
  const size_t whole = order == RowOrder::kEachPixel ? 0 : width / lanes * lanes;
  size_t x = 0;
  if constexpr (kPairs) {
    for (; x + 2 * lanes <= whole; x += 2 * lanes) {
      store_two(convert(src.at(x)), convert(src.at(x + lanes)), dst.at(x));
    }
  }
  for (; x < whole; x += lanes) store(convert(src.at(x)), dst.at(x));
  while (x < width) {
    // The last vector again takes some pixels that are done, or a buffer takes the rest.
    const bool again = order == RowOrder::kAny && width >= lanes;
    const size_t count = order == RowOrder::kEachPixel ? 1 : width - x;
    PixelBuffer<Source> in;
    PixelBuffer<Destination> out;
    if (!again) in.take(src.at(x), count);
    store(convert(again ? src.at(width - lanes) : in.template row<Source>()),
          again ? dst.at(width - lanes) : out.template row<Destination>());
    if (!again) out.give(dst.at(x), count);
    x += count;
  }
}

// The same of images, row after row. Strides are in bytes, of a plane where there are planes.
template <bool kPairs = false, class Source, class Destination, class Convert>
HWY_INLINE void convert_rows(Source src, ptrdiff_t src_stride, Destination dst,
                             ptrdiff_t dst_stride, int width, int height, const Convert& convert) {
  if (width < 1 || height < 1) return;
  size_t count = width, rows = height;
  // Packed rows are one long row, if its end does not run into another row's source.
  if (src_stride == ptrdiff_t{Source::kStep} * width &&
      dst_stride == ptrdiff_t{Destination::kStep} * width &&
      row_order(src, dst, count * rows) != RowOrder::kEachPixel) {
    count *= rows;
    rows = 1;
  }
  for (; rows > 0; --rows) {
    convert_row<kPairs>(src, dst, count, convert);
    for (auto*& part : src.part) part += src_stride;
    for (auto*& part : dst.part) part += dst_stride;
  }
}

// Copies channels, of which the destination may have fewer.
struct CopyChannels {
  template <class Source>
  HWY_INLINE auto operator()(Source from) const {
    Pixels<Source::kChannels> pixels;
    load(from, pixels.channels);
    return pixels;
  }
};

#if HWY_ARCH_X86
// Pixels of three channels as they are in memory.
struct PackedPixels {
  static constexpr int kParts = 3 * kPixelLanes / 32;
  hn::Vec<TwoBlocks<uint8_t>> part[kParts];
};
HWY_INLINE void store(const PackedPixels& pixels, Interleaved<3> row) {
  repeat<PackedPixels::kParts>(
      [&](int i) { hn::StoreU(pixels.part[i], TwoBlocks<uint8_t>(), row.part[0] + 32 * i); });
}
#endif

// Drops the fourth byte of each pixel. The first and the third one may change places.
template <bool kSwap>
struct DropFourth {
#if HWY_ARCH_X86
  HWY_INLINE PackedPixels operator()(Interleaved<4> from) const {
    PackedPixels packed;
    repeat<kPixelLanes / 32>([&](int i) { drop(from.at(32 * i).part[0], packed.part + 3 * i); });
    return packed;
  }

 private:
  // Of 32 pixels, the bytes of each block in order, packed; then the blocks' 24 bytes on the way to
  // their place, in words of four bytes.
  HWY_INLINE static void drop(const uint8_t* from, hn::Vec<TwoBlocks<uint8_t>>* to) {
    constexpr TwoBlocks<uint8_t> d8;
    constexpr uint8_t a = kSwap ? 2 : 0, c = 2 - a;
    alignas(16) static constexpr uint8_t kKept[16] = {
        a, 1, c, a + 4, 5, c + 4, a + 8, 9, c + 8, a + 12, 13, c + 12, 0x80, 0x80, 0x80, 0x80};
    const auto part = [&](int i, int w0, int w1, int w2, int w3, int w4, int w5, int w6, int w7) {
      const auto pixels = hn::LoadU(d8, from + 32 * i);
      const auto kept = opaque(hn::TableLookupBytes(pixels, hn::LoadDup128(d8, kKept)));
      return _mm256_permutevar8x32_epi32(kept.raw,
                                         _mm256_setr_epi32(w0, w1, w2, w3, w4, w5, w6, w7));
    };
    const auto v0 = part(0, 0, 1, 2, 4, 5, 6, 3, 3), v1 = part(1, 2, 4, 5, 6, 3, 3, 0, 1),
               v2 = part(2, 5, 6, 3, 3, 0, 1, 2, 4), v3 = part(3, 3, 3, 0, 1, 2, 4, 5, 6);
    to[0].raw = _mm256_blend_epi32(v0, v1, 0xc0);
    to[1].raw = _mm256_blend_epi32(v1, v2, 0xf0);
    to[2].raw = _mm256_blend_epi32(v2, v3, 0xfc);
  }
#else
  HWY_INLINE Pixels<3> operator()(Interleaved<4> from) const {
    Bytes c[4];
    load(from, c);
    return {{c[kSwap ? 2 : 0], c[1], c[kSwap ? 0 : 2]}};
  }
#endif
};

// Weights w as products: w[0] << bits is outer[0] * inner[0][0], w[2] << bits is outer[1] *
// inner[1][1], and w[1] << bits is outer[0] * inner[0][1] + outer[1] * inner[1][0]. The inner ones
// are below 128. No bits stand for no such products.
struct Factors {
  int outer[2], inner[2][2], bits;
};

// (first c0 + second c1 + third c2 + offset) >> shift of a pixel's channels, clamped to a byte.
template <int kFirst, int kSecond, int kThird, int kOffsetTerm, int kShiftBits>
struct WeightedSum {
  static constexpr int kWeights[3] = {kFirst, kSecond, kThird};
  static constexpr int kOffset = kOffsetTerm, kShift = kShiftBits;
  static constexpr Factors kFactors{};

  // The greatest and the least result before clamping.
  static constexpr int kMost =
      (kOffset + 255 * (std::max(kFirst, 0) + std::max(kSecond, 0) + std::max(kThird, 0))) >>
      kShift;
  static constexpr int kLeast =
      (kOffset + 255 * (std::min(kFirst, 0) + std::min(kSecond, 0) + std::min(kThird, 0))) >>
      kShift;
  static constexpr bool kFits = kLeast >= 0 && kMost <= 255;
};

#if HWY_ARCH_X86

// A vector of pixels as weighted_sum() takes it: four in each block of each part. Those of planes
// have got a fourth byte of 1. The parts of four-byte pixels follow one another, of the others
// part i has pixels 4 i to 4 i + 3 of each 16.
template <class Row>
struct SumTerms {
  Bytes part[4];
};
template <class Byte>
HWY_INLINE auto load_terms(Interleaved<3, Byte> row) {
  const Full<uint8_t> d8;
  const auto part = [&](size_t from) { return load_blocks(d8, row.part[0] + from, 48); };
  const Bytes last = part(32);  // from the byte 36 on, a block would end behind the pixels
  return SumTerms<Interleaved<3>>{
      {part(0), part(12), part(24), hn::CombineShiftRightBytes<4>(d8, last, last)}};
}
template <class Byte>
HWY_INLINE auto load_terms(Interleaved<4, Byte> row) {
  SumTerms<Interleaved<4>> terms;
  repeat<4>(
      [&](int i) { terms.part[i] = hn::LoadU(Full<uint8_t>(), row.part[0] + i * kPixelLanes); });
  return terms;
}
template <class Byte>
HWY_INLINE auto load_terms(Planar<3, Byte> row) {
  const Full<uint8_t> d8;
  const hn::Repartition<uint16_t, Full<uint8_t>> d16;
  Bytes c[3];
  load(row, c);
  const Bytes one = hn::Set(d8, 1);
  const auto first = [&](auto a, auto b) { return hn::BitCast(d16, hn::InterleaveLower(a, b)); };
  const auto last = [&](auto a, auto b) { return hn::BitCast(d16, hn::InterleaveUpper(d8, a, b)); };
  const auto low01 = first(c[0], c[1]), low23 = first(c[2], one), high01 = last(c[0], c[1]),
             high23 = last(c[2], one);
  const auto bytes = [&](auto words) { return hn::BitCast(d8, words); };
  return SumTerms<Planar<3>>{{bytes(hn::InterleaveLower(low01, low23)),
                              bytes(hn::InterleaveUpper(d16, low01, low23)),
                              bytes(hn::InterleaveLower(high01, high23)),
                              bytes(hn::InterleaveUpper(d16, high01, high23))}};
}

using Words = hn::Vec<hn::Repartition<int16_t, Full<uint8_t>>>;
using DoubleWords = hn::Vec<hn::Repartition<int32_t, Full<uint8_t>>>;

// Pairs of weights in all lanes.
HWY_INLINE Words weight_pairs(int first, int second) {
  const hn::Repartition<int32_t, Full<uint8_t>> d32;
  return hn::BitCast(hn::DFromV<Words>(), hn::Set(d32, second * 65536 + (first & 0xffff)));
}

HWY_INLINE Bytes shuffled(Bytes pixels, const uint8_t* order) {
  return hn::TableLookupBytesOr0(pixels, hn::LoadDup128(Full<uint8_t>(), order));
}

// One shuffle and two products: of pairs of bytes, and of pairs of their sums.
template <class Sum, class Row>
HWY_INLINE DoubleWords factored_sum(Bytes pixels) {
  constexpr Factors kFactors = Sum::kFactors;
  static_assert(kFactors.outer[0] * kFactors.inner[0][0] == Sum::kWeights[0] << kFactors.bits);
  static_assert(kFactors.outer[0] * kFactors.inner[0][1] +
                    kFactors.outer[1] * kFactors.inner[1][0] ==
                Sum::kWeights[1] << kFactors.bits);
  static_assert(kFactors.outer[1] * kFactors.inner[1][1] == Sum::kWeights[2] << kFactors.bits);
  static_assert(Sum::kOffset == 0);
  constexpr uint8_t p1 = Row::kStep, p2 = 2 * p1, p3 = 3 * p1;
  alignas(16) static constexpr uint8_t kPairs[16] = {0,      1,      1,      2,      p1,     p1 + 1,
                                                     p1 + 1, p1 + 2, p2,     p2 + 1, p2 + 1, p2 + 2,
                                                     p3,     p3 + 1, p3 + 1, p3 + 2};
  const Words inner = weight_pairs(kFactors.inner[0][1] << 8 | kFactors.inner[0][0],
                                   kFactors.inner[1][1] << 8 | kFactors.inner[1][0]);
  const Words sums =
      multiply_add_bytes(shuffled(pixels, kPairs), hn::BitCast(Full<uint8_t>(), inner));
  return hn::ShiftRight<Sum::kShift + kFactors.bits>(multiply_add_pairs(
      hn::DFromV<DoubleWords>(), sums, weight_pairs(kFactors.outer[0], kFactors.outer[1])));
}

// Two products of pairs: of the first and the third channel, and of the second one and 1, whose
// weight is what the shift drops of the offset.
template <class Sum, class Row>
HWY_INLINE DoubleWords paired_sum(Bytes pixels) {
  const hn::DFromV<Words> d16;
  const hn::DFromV<DoubleWords> d32;
  Words first_third, second_one;
  if constexpr (Row::kParts == 1) {
    static_assert(Row::kStep == 3);
    alignas(16) static constexpr uint8_t kFirstThird[16] = {0, 128, 2, 128, 3, 128, 5,  128,
                                                            6, 128, 8, 128, 9, 128, 11, 128};
    alignas(16) static constexpr uint8_t kSecond[16] = {1, 128, 128, 128, 4,  128, 128, 128,
                                                        7, 128, 128, 128, 10, 128, 128, 128};
    first_third = hn::BitCast(d16, shuffled(pixels, kFirstThird));
    second_one = hn::Or(hn::BitCast(d16, shuffled(pixels, kSecond)), weight_pairs(0, 1));
  } else {
    first_third = hn::And(hn::BitCast(d16, pixels), hn::Set(d16, 255));
    second_one = hn::BitCast(
        d16, hn::ShiftRight<8>(hn::BitCast(hn::RebindToUnsigned<decltype(d16)>(), pixels)));
  }
  constexpr int kRest = Sum::kOffset & ((1 << Sum::kShift) - 1);
  const DoubleWords outer =
      multiply_add_pairs(d32, first_third, weight_pairs(Sum::kWeights[0], Sum::kWeights[2]));
  const DoubleWords middle =
      Sum::kWeights[1] == 0
          ? hn::Set(d32, kRest)
          : multiply_add_pairs(d32, second_one, weight_pairs(Sum::kWeights[1], kRest));
  return hn::ShiftRight<Sum::kShift>(outer + middle);
}

template <class Sum, class Row>
HWY_INLINE Bytes weighted_sum(const SumTerms<Row>& terms) {
  const auto part = [&](int i) {
    if constexpr (Sum::kFactors.bits != 0)
      return factored_sum<Sum, Row>(terms.part[i]);
    else
      return paired_sum<Sum, Row>(terms.part[i]);
  };
  if constexpr (Row::kStep == 4) {
    static_assert(Sum::kOffset == 0);
    return narrow_to_u8(part(0), part(1), part(2), part(3));
  } else {
    const Words offset =
        hn::Set(hn::DFromV<Words>(), static_cast<int16_t>(Sum::kOffset >> Sum::kShift));
    return narrow_to_u8_blocks(narrow_to_i16_blocks(part(0), part(1)) + offset,
                               narrow_to_i16_blocks(part(2), part(3)) + offset);
  }
}

#else

// A vector of pixels as weighted_sum() takes it.
struct SumTerms {
  Bytes channels[4];
};
template <class Row>
HWY_INLINE SumTerms load_terms(const Row& row) {
  SumTerms terms;
  load(row, terms.channels);
  return terms;
}

// The terms of a weighted sum in 16 bits. With 2^k as a divisor it is
//
//   (sum (w >> k) c + (offset >> k) + (sum (w mod 2^k) c + offset mod 2^k >> k)) >> (shift - k),
//
// exactly. Where the result is known to be a byte, k is shift - 8, it is the upper byte of the sum
// and that may wrap around on the way. Elsewhere k is the least that keeps the sum within 16 bits.
template <class Sum>
struct Divided {
  static constexpr int kBits = [] {
    if (Sum::kFits) return Sum::kShift - 8;
    int bits = Sum::kShift - 8;
    while (Sum::kMost >> (bits - Sum::kShift + 15) != 0) ++bits;
    return bits;
  }();
  static constexpr int whole(int value) { return value >> kBits; }
  static constexpr int rest(int value) { return value & ((1 << kBits) - 1); }
  // The rest of the offset without the bits that no other summand has: they cannot carry.
  static constexpr int kWeightBits =
      rest(Sum::kWeights[0]) | rest(Sum::kWeights[1]) | rest(Sum::kWeights[2]);
  static constexpr int kRestOffset = rest(Sum::kOffset) & -(kWeightBits & -kWeightBits);
};

// offset + the sum of products of the lower or the upper halves of three channels, modulo 2^16.
template <bool kUpper, int kOffset, int... kWeights>
HWY_INLINE uint16x8_t sum_of_products(const SumTerms& terms) {
  constexpr int kWeight[] = {kWeights...}, kCount = sizeof...(kWeights);
  constexpr int kStart = [&] {  // with an offset of 0, a product to start from
    int i = 0;
    while (i < kCount && (kOffset != 0 || kWeight[i] <= 0)) ++i;
    return i;
  }();
  uint16x8_t sum = vdupq_n_u16(static_cast<uint16_t>(kOffset));
  const auto add = [&](int i) {
    const auto weight = static_cast<uint8_t>(std::abs(kWeight[i]));
    const uint8x16_t c = terms.channels[i].raw, w = opaque(hn::Set(Full<uint8_t>(), weight)).raw;
    if (i == kStart) {
      sum = kUpper ? vmull_high_u8(c, w) : vmull_u8(vget_low_u8(c), vget_low_u8(w));
    } else if (kWeight[i] > 0) {
      sum = kUpper ? vmlal_high_u8(sum, c, w) : vmlal_u8(sum, vget_low_u8(c), vget_low_u8(w));
    } else if (kWeight[i] < 0) {
      sum = kUpper ? vmlsl_high_u8(sum, c, w) : vmlsl_u8(sum, vget_low_u8(c), vget_low_u8(w));
    }
  };
  if (kStart < kCount) add(kStart);
  for (int i = 0; i < kCount; ++i) {
    if (i != kStart) add(i);
  }
  return sum;
}

// A mean: the weights sum to 65536. From one channel c on it is
//
//   c + ((a (w_a >> 8) + b (w_b >> 8) + ((a (w_a mod 256) + b (w_b mod 256)) >> 8)) >> 8),
//
// where a and b are the others minus c. Only the inner sum must not wrap around in its 16 bits: c
// is the channel with which it does not. Four multiplications, where products of bytes would be
// six.
template <class Sum>
constexpr int kMeanFrom = [] {
  constexpr const int(&w)[3] = Sum::kWeights;
  if (Sum::kOffset != 0 || Sum::kShift != 16 || w[0] + w[1] + w[2] != 65536) return -1;
  for (int c = 0; c < 3; ++c) {
    if ((w[(c + 1) % 3] & 255) + (w[(c + 2) % 3] & 255) <= 128) return c;
  }
  return -1;
}();
template <class Sum>
HWY_INLINE Bytes weighted_mean(const SumTerms& terms) {
  constexpr int kFrom = kMeanFrom<Sum>, kA = (kFrom + 1) % 3, kB = (kFrom + 2) % 3;
  const auto weight = [](int value) { return vdupq_n_s16(static_cast<int16_t>(value)); };
  const auto sum = [&](int16x8_t a, int16x8_t b) {
    const auto products = [&](int a_weight, int b_weight) {
      return vmlaq_s16(vmulq_s16(a, weight(a_weight)), b, weight(b_weight));
    };
    return vsraq_n_s16(products(Sum::kWeights[kA] >> 8, Sum::kWeights[kB] >> 8),
                       products(Sum::kWeights[kA] & 255, Sum::kWeights[kB] & 255), 8);
  };
  const uint8x16_t c = terms.channels[kFrom].raw;
  const auto lower = [=](int i) {
    return vreinterpretq_s16_u16(vsubl_u8(vget_low_u8(terms.channels[i].raw), vget_low_u8(c)));
  };
  const auto upper = [=](int i) {
    return vreinterpretq_s16_u16(vsubl_high_u8(terms.channels[i].raw, c));
  };
  return Bytes(vaddq_u8(vuzp2q_u8(vreinterpretq_u8_s16(sum(lower(kA), lower(kB))),
                                  vreinterpretq_u8_s16(sum(upper(kA), upper(kB)))),
                        c));
}

template <class Sum>
HWY_INLINE Bytes weighted_sum(const SumTerms& terms) {
  if constexpr (kMeanFrom<Sum> >= 0) return weighted_mean<Sum>(terms);
  using D = Divided<Sum>;
  constexpr int kBits = D::kBits;
  const auto half = [&](auto upper) {
    constexpr bool kUpper = decltype(upper)::value;
    const uint16x8_t rest =
        sum_of_products<kUpper, D::kRestOffset, D::rest(Sum::kWeights[0]),
                        D::rest(Sum::kWeights[1]), D::rest(Sum::kWeights[2])>(terms);
    const uint16x8_t whole = sum_of_products < kUpper, Sum::kFits ? 0 : D::whole(Sum::kOffset),
                     D::whole(Sum::kWeights[0]), D::whole(Sum::kWeights[1]),
                     D::whole(Sum::kWeights[2]) > (terms);
    return vsraq_n_u16(whole, rest, kBits);
  };
  const uint16x8_t lower = half(std::false_type()), upper = half(std::true_type());
  if constexpr (Sum::kFits) {
    const uint16x8_t offset = vdupq_n_u16(static_cast<uint16_t>(D::whole(Sum::kOffset)));
    return Bytes(vaddhn_high_u16(vaddhn_u16(lower, offset), upper, offset));
  } else {
    constexpr int kRest = Sum::kShift - kBits;
    return Bytes(vqshrun_high_n_s16(vqshrun_n_s16(vreinterpretq_s16_u16(lower), kRest),
                                    vreinterpretq_s16_u16(upper), kRest));
  }
}

#endif

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_SIMD_PIXELS_H_
