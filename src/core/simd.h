// Portable vectors (Highway, one target chosen at compile time) and the few operations that differ
// between x86-64 and arm64. Kernels use these names and never raw intrinsics.
//
// A vector is a row of blocks of 16 bytes: one on NEON, two on AVX2, four on AVX-512. Operations
// named `…_blocks` work inside each block, which is what all machines do fastest.
#ifndef KELVRA_CV_CORE_SIMD_H_
#define KELVRA_CV_CORE_SIMD_H_

#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

// Without it MulAdd would round twice, and results would differ between machines.
static_assert(HWY_NATIVE_FMA, "the chosen instruction set must have fused multiply-add");

// For lambdas with vectors in them, which HWY_INLINE does not fit.
#define KELVRA_CV_INLINE __attribute__((always_inline))

namespace KelvraCV::detail {

namespace hn = hwy::HWY_NAMESPACE;

// Whole vectors of a lane type, those of at most two blocks, and single blocks. Two are enough for
// what goes on from block to block, which more blocks only lengthen.
template <class T>
using Full = hn::ScalableTag<T>;
template <class T>
using TwoBlocks = hn::CappedTag<T, 32 / sizeof(T)>;
template <class T>
using Block = hn::CappedTag<T, 16 / sizeof(T)>;
template <class D>
constexpr int kBlocks = static_cast<int>(hn::MaxLanes(D()) * sizeof(hn::TFromD<D>) / 16);

// Calls body(d, x) so that vectors of tag d, each from element x on, cover 0 … count - 1: whole
// vectors, the last of which may cover some elements for the second time; where there is not even
// one, two blocks or one in the same way; and in still shorter rows one element after the other,
// with a tag of one lane. So `body` says once what happens to an element, reads nothing past
// `count`, and must give the same when it sees an element again: results must not be written over
// sources.
template <class T, class Body>
HWY_INLINE void for_each_vector(size_t count, Body&& body) {
  const auto walk = [&](auto d) {
    const size_t lanes = hn::Lanes(d);
    if (count < lanes) return false;
    const size_t last = count - lanes;
    for (size_t x = 0; x < last; x += lanes) body(d, x);
    body(d, last);
    return true;
  };
  constexpr int kVectorBlocks = kBlocks<Full<T>>;
  if (walk(Full<T>())) return;
  if (kVectorBlocks > 2 && walk(TwoBlocks<T>())) return;
  if (kVectorBlocks > 1 && walk(Block<T>())) return;
  for (size_t x = 0; x < count; ++x) body(hn::CappedTag<T, 1>(), x);
}

// Vectors side by side, for loops that want several in flight.
template <class D, int kVectors>
struct VectorGroup {
  using Tag = D;
  static constexpr size_t kLanes = kVectors * hn::MaxLanes(D());

  HWY_INLINE static VectorGroup load(const hn::TFromD<D>* from) {
    VectorGroup group;
    for (int i = 0; i < kVectors; ++i) group.v[i] = hn::LoadU(D(), from + i * hn::MaxLanes(D()));
    return group;
  }
  HWY_INLINE void store(hn::TFromD<D>* to) const {
    for (int i = 0; i < kVectors; ++i) hn::StoreU(v[i], D(), to + i * hn::MaxLanes(D()));
  }
  hn::Vec<D> v[kVectors];
};

template <class T>
using Wide = VectorGroup<Full<T>, 64 / sizeof(T) / hn::MaxLanes(Full<T>())>;

// for_each_vector by groups of 64 bytes first and single vectors then. Calls body(group, x): the
// group tells the type, it has no value.
template <class T, class Body>
HWY_INLINE void for_each_group(size_t count, Body&& body) {
  using Single = VectorGroup<Full<T>, 1>;
  if (count < Wide<T>::kLanes) {
    for_each_vector<T>(count, [&](auto d, size_t x) { body(VectorGroup<decltype(d), 1>(), x); });
    return;
  }
  size_t x = 0;
  for (; x + Wide<T>::kLanes <= count; x += Wide<T>::kLanes) body(Wide<T>(), x);
  for (; x < count; x += Single::kLanes) body(Single(), std::min(x, count - Single::kLanes));
}

// Stores `count` results by such groups: make(d, x) gives a vector of those from x on.
template <class T, class Make>
HWY_INLINE void store_groups(size_t count, T* to, const Make& make) {
  for_each_group<T>(count, [=](auto group, size_t x) KELVRA_CV_INLINE {
    const typename decltype(group)::Tag d;
    for (size_t i = 0; i < group.kLanes / hn::MaxLanes(d); ++i) {
      group.v[i] = make(d, x + i * hn::MaxLanes(d));
    }
    group.store(to + x);
  });
}

// A vector whose making the compiler does not look into. On arm64, GCC 12 keeps a constant in two
// registers where its halves are used, takes vectors that it loads for a structured store through
// memory, and copies those that it puts together for a look-up once more. On x86-64 it loads a
// vector again for every use, and clang 14 makes more shuffles of those that follow one another.
template <class V>
HWY_INLINE V opaque(V v) {
#if HWY_ARCH_ARM_A64 && !defined(__clang__)
  asm("" : "+w"(v.raw));
#elif HWY_ARCH_X86
  asm("" : "+v"(v.raw));
#endif
  return v;
}

// An address whose computation the compiler does not take apart. On arm64, it would keep an index
// for each access to what lies behind it; x86-64's accesses have room for one.
template <class T>
HWY_INLINE T* opaque_address(T* address) {
#if !HWY_ARCH_X86
  asm("" : "+r"(address));
#endif
  return address;
}

// Stores the first `count` lanes, at most all of them, and touches nothing behind them.
template <class D>
HWY_INLINE void store_first(D d, hn::Vec<D> v, hn::TFromD<D>* to, size_t count) {
#if HWY_TARGET == HWY_AVX3
  hn::BlendedStore(v, hn::FirstN(d, count), d, to);
#else
  HWY_ALIGN hn::TFromD<D> lanes[hn::MaxLanes(D())];
  hn::Store(v, d, lanes);
  std::memcpy(to, lanes, count * sizeof(hn::TFromD<D>));
#endif
}

// Stores `count` bytes: make(x) is a vector of those from x on, x in steps of whole vectors.
template <class Make>
HWY_INLINE void store_row(size_t count, uint8_t* to, const Make& make) {
  const Full<uint8_t> d8;
  size_t x = 0;
  for (; x + hn::Lanes(d8) <= count; x += hn::Lanes(d8)) hn::StoreU(make(x), d8, to + x);
  if (x < count) store_first(d8, make(x), to + x, count - x);
}

// Bit i is lane i of the mask.
template <class D>
HWY_INLINE uint64_t mask_bits(D, hn::Mask<D> mask) {
  constexpr uint64_t kAll = ~uint64_t{0} >> (64 - hn::MaxLanes(D()));
#if HWY_TARGET == HWY_AVX3
  return mask.raw & kAll;
#else
  return hn::detail::BitsFromMask(mask) & kAll;  // of bytes, arm64 gives the bits more than once
#endif
}

// The same of 64 bytes: of the masks test(0), test(n), test(2 n), …, where n lanes are one mask.
template <class Test>
HWY_INLINE uint64_t mask_bits64(const Test& test) {
  const Full<uint8_t> d;
#if HWY_ARCH_X86
  uint64_t bits = 0;
  for (size_t x = 0; x < 64; x += hn::Lanes(d)) bits |= mask_bits(d, test(x)) << x;
  return bits;
#else
  // Each byte keeps the bit of its place in its eight, and sums of neighbours gather the eight.
  const auto bytes = [&](size_t x) {
    alignas(16) static constexpr uint8_t kBit[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                                     1, 2, 4, 8, 16, 32, 64, 128};
    return vandq_u8(hn::VecFromMask(d, test(x)).raw, vld1q_u8(kBit));
  };
  const uint8x16_t sums =
      vpaddq_u8(vpaddq_u8(bytes(0), bytes(16)), vpaddq_u8(bytes(32), bytes(48)));
  return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(sums, sums)), 0);
#endif
}

// (a + b) / 2 of bytes, rounded down, without a wider type.
template <class V8>
HWY_INLINE V8 average_down(V8 a, V8 b) {
#if HWY_ARCH_ARM_A64
  if constexpr (sizeof(a.raw) == 16) return V8(vhaddq_u8(a.raw, b.raw));
#endif
  return hn::Not(hn::AverageRound(hn::Not(a), hn::Not(b)));
}

// Sums of bytes as 16-bit lanes, in two vectors ordered as the machine likes it: on arm64, whose
// arithmetic widens a half, the sums of the lower and of the upper half; on x86-64 those of even
// and of odd lanes.
template <class V16>
struct WideSums {
  V16 first, second;
};
template <class V8, class V16 = hn::Vec<hn::Repartition<uint16_t, hn::DFromV<V8>>>>
HWY_INLINE WideSums<V16> add_wide(V8 a, V8 b) {
#if HWY_ARCH_X86
  const hn::DFromV<V16> d16;
  const auto even = [=](V8 v) { return hn::And(hn::BitCast(d16, v), hn::Set(d16, 0xff)); };
  const auto odd = [=](V8 v) { return hn::ShiftRight<8>(hn::BitCast(d16, v)); };
  return {even(a) + even(b), odd(a) + odd(b)};
#else
  return {V16(vaddl_u8(vget_low_u8(a.raw), vget_low_u8(b.raw))), V16(vaddl_high_u8(a.raw, b.raw))};
#endif
}

// sums + v * weight.
template <class V8, class V16>
HWY_INLINE WideSums<V16> multiply_add_wide(WideSums<V16> sums, V8 v, uint8_t weight) {
#if HWY_ARCH_X86
  const hn::DFromV<V16> d16;
  // Opaque: GCC would multiply by shifts and additions.
  const auto bytes = hn::BitCast(d16, v), weights = opaque(hn::Set(d16, weight));
  return {sums.first + hn::And(bytes, hn::Set(d16, 0xff)) * weights,
          sums.second + hn::ShiftRight<8>(bytes) * weights};
#else
  const auto weights = hn::Set(hn::DFromV<V8>(), weight).raw;
  return {V16(vmlal_u8(sums.first.raw, vget_low_u8(v.raw), vget_low_u8(weights))),
          V16(vmlal_high_u8(sums.second.raw, v.raw, weights))};
#endif
}

// The same sums, `first` being those of the even lanes, or of every other kUnit ones: of one or
// four.
template <int kUnit = 1, class V16>
HWY_INLINE WideSums<V16> even_and_odd(WideSums<V16> sums) {
  static_assert(kUnit == 1 || kUnit == 4);
#if HWY_ARCH_X86
  if constexpr (kUnit == 1) {
    return sums;
  } else {
    const hn::DFromV<V16> d16;
    const hn::Repartition<uint64_t, decltype(d16)> d64;
    const auto low = hn::BitCast(d64, hn::InterleaveLower(d16, sums.first, sums.second)),
               high = hn::BitCast(d64, hn::InterleaveUpper(d16, sums.first, sums.second));
    return {hn::BitCast(d16, hn::InterleaveLower(d64, low, high)),
            hn::BitCast(d16, hn::InterleaveUpper(d64, low, high))};
  }
#else
  using Lane = hwy::UnsignedFromSize<2 * kUnit>;
  const hn::Repartition<Lane, hn::DFromV<V16>> d;
  const hn::DFromV<V16> d16;
  const auto low = hn::BitCast(d, sums.first), high = hn::BitCast(d, sums.second);
  return {hn::BitCast(d16, hn::ConcatEven(d, high, low)),
          hn::BitCast(d16, hn::ConcatOdd(d, high, low))};
#endif
}

// A vector of the blocks load(0), load(1), …
template <int kFirst = 0, class D, class Load>
HWY_INLINE hn::Vec<D> combine_blocks(D d, const Load& load) {
  if constexpr (kBlocks<D> == 1) {
    return load(kFirst);
  } else {
    const hn::Half<D> half;
    return hn::Combine(d, combine_blocks<kFirst + kBlocks<D> / 2>(half, load),
                       combine_blocks<kFirst>(half, load));
  }
}

// A vector whose block b holds the 16 bytes at `from + b * step`.
template <class D>
HWY_INLINE hn::Vec<D> load_blocks(D d, const uint8_t* from, size_t step) {
  static_assert(sizeof(hn::TFromD<D>) == 1);
  if (step == 16) return hn::LoadU(d, from);
  return combine_blocks(d, [=](int b) KELVRA_CV_INLINE {
    return hn::LoadU(Block<uint8_t>(), from + static_cast<size_t>(b) * step);
  });
}

// For each index in block b the byte with this number of the 32 in block b of `low` and of `high`.
template <class V8>
HWY_INLINE V8 look_up_two(V8 low, V8 high, V8 index) {
#if HWY_ARCH_X86
  const hn::DFromV<V8> d;
  // Numbers of the other half get their top bit set, which gives zero.
  return hn::Or(hn::TableLookupBytesOr0(low, hn::SaturatedAdd(index, hn::Set(d, 0x70))),
                hn::TableLookupBytesOr0(high, index - hn::Set(d, 16)));
#else
  return V8(vqtbl2q_u8(uint8x16x2_t{{low.raw, high.raw}}, index.raw));
#endif
}

// The same of the kBytes at `row + places[b]`.
template <int kBytes, class D>
HWY_INLINE hn::Vec<D> look_up_bytes(D d, const uint8_t* row, const size_t* places,
                                    hn::Vec<D> index) {
  static_assert(kBytes == 16 || kBytes == 32);
  const auto load = [=](size_t from) KELVRA_CV_INLINE {
    return combine_blocks(d, [=](int b) KELVRA_CV_INLINE {
      return hn::LoadU(Block<uint8_t>(), row + places[b] + from);
    });
  };
  if constexpr (kBytes == 16) {
    return hn::TableLookupBytes(load(0), index);
  } else {
#if HWY_ARCH_X86
    return look_up_two(load(0), load(16), index);
#else
    return hn::Vec<D>(vqtbl2q_u8(vld1q_u8_x2(row + places[0]), index.raw));
#endif
  }
}

// The bytes at row + places[0], row + places[1], … side by side, as many at each place as a T has:
// one block of them, or in block b those from places[b * step] on.
template <class T, size_t... kLanes>
HWY_INLINE hn::Vec<Block<uint8_t>> load_pieces(const uint8_t* row, const size_t* places,
                                               std::index_sequence<kLanes...>) {
  const auto load = [=](size_t place) KELVRA_CV_INLINE {
    T piece;
    std::memcpy(&piece, row + place, sizeof(T));
    return piece;
  };
  typedef T Lanes __attribute__((vector_size(16)));
  using V = hn::Vec<Block<T>>;
  return hn::BitCast(Block<uint8_t>(),
                     V{reinterpret_cast<decltype(V::raw)>(Lanes{load(places[kLanes])...})});
}
template <class T, class D>
HWY_INLINE hn::Vec<D> load_pieces(D d, const uint8_t* row, const size_t* places, size_t step) {
  return combine_blocks(d, [=](int b) KELVRA_CV_INLINE {
    return load_pieces<T>(row, places + static_cast<size_t>(b) * step,
                          std::make_index_sequence<16 / sizeof(T)>());
  });
}

// Stores the 16 bytes of block b to `to + b * step`.
template <class D>
HWY_INLINE void store_blocks(D d, hn::Vec<D> v, uint8_t* to, size_t step) {
  if (step == 16) return hn::StoreU(v, d, to);
  constexpr size_t kCount = kBlocks<D>;
  if constexpr (kCount > 1) {
    const hn::Half<D> half;
    store_blocks(half, hn::LowerHalf(half, v), to, step);
    store_blocks(half, hn::UpperHalf(half, v), to + kCount / 2 * step, step);
  } else {
    hn::StoreU(v, d, to);
  }
}

// Sums of products of neighbouring lanes: a[0] b[0] + a[1] b[1], a[2] b[2] + a[3] b[3], …
template <class D32, class V16>
HWY_INLINE hn::Vec<D32> multiply_add_pairs(D32 d32, V16 a, V16 b) {
  hn::Vec<D32> rest = hn::Zero(d32);
  const auto sum = hn::ReorderWidenMulAccumulate(d32, a, b, hn::Zero(d32), rest);
  return hn::RearrangeToOddPlusEven(sum, rest);
}

// |a - b| of 16-bit lanes, where the difference fits them.
template <class V16>
HWY_INLINE V16 absolute_difference(V16 a, V16 b) {
#if HWY_ARCH_ARM_A64
  if constexpr (sizeof(a.raw) == 16) return V16(vabdq_s16(a.raw, b.raw));
#endif
  return hn::Abs(a - b);
}

// 16-bit lanes that are negative where a * a_weight + b * b_weight, exact in 32 bits, is.
template <class V16>
HWY_INLINE V16 sum_with_sign(V16 a, V16 a_weight, V16 b, V16 b_weight) {
  const hn::DFromV<V16> d16;
  if constexpr (hn::MaxLanes(d16) == 1) {
    const hn::Rebind<int32_t, decltype(d16)> d32;
    const auto wide = [=](V16 v) { return hn::PromoteTo(d32, v); };
    return hn::DemoteTo(d16, wide(a) * wide(a_weight) + wide(b) * wide(b_weight));
  } else {
#if HWY_ARCH_X86
    const hn::Repartition<int32_t, decltype(d16)> d32;
    return hn::ReorderDemote2To(d16,
                                multiply_add_pairs(d32, hn::InterleaveLower(d16, a, b),
                                                   hn::InterleaveLower(d16, a_weight, b_weight)),
                                multiply_add_pairs(d32, hn::InterleaveUpper(d16, a, b),
                                                   hn::InterleaveUpper(d16, a_weight, b_weight)));
#else
    const int32x4_t low = vmull_s16(vget_low_s16(a.raw), vget_low_s16(a_weight.raw)),
                    high = vmull_high_s16(a.raw, a_weight.raw);
    return V16(vuzp2q_s16(
        vreinterpretq_s16_s32(vmlal_s16(low, vget_low_s16(b.raw), vget_low_s16(b_weight.raw))),
        vreinterpretq_s16_s32(vmlal_high_s16(high, b.raw, b_weight.raw))));
#endif
  }
}

#if HWY_ARCH_X86
// Sums of products of neighbouring bytes, as 16-bit lanes: a[0] w[0] + a[1] w[1], … Weights are
// below 128, sums below 32768.
template <class V8, class V16 = hn::Vec<hn::Repartition<int16_t, hn::DFromV<V8>>>>
HWY_INLINE V16 multiply_add_bytes(V8 a, V8 weights) {
  if constexpr (sizeof(V8) == 16) return V16{_mm_maddubs_epi16(a.raw, weights.raw)};
  if constexpr (sizeof(V8) == 32) return V16{_mm256_maddubs_epi16(a.raw, weights.raw)};
  if constexpr (sizeof(V8) == 64) return V16{_mm512_maddubs_epi16(a.raw, weights.raw)};
}
#endif

// Narrowing with saturation inside each block: the lanes of `low`, then those of `high`.
template <class V32>
HWY_INLINE auto narrow_to_i16_blocks(V32 low, V32 high) {
  return hn::ReorderDemote2To(hn::Repartition<int16_t, hn::DFromV<V32>>(), low, high);
}
template <class V16, class V8 = hn::Vec<hn::Repartition<uint8_t, hn::DFromV<V16>>>>
HWY_INLINE V8 narrow_to_u8_blocks(V16 low, V16 high) {
#if HWY_ARCH_X86
  if constexpr (sizeof(V16) == 16) return V8{_mm_packus_epi16(low.raw, high.raw)};
  if constexpr (sizeof(V16) == 32) return V8{_mm256_packus_epi16(low.raw, high.raw)};
  if constexpr (sizeof(V16) == 64) return V8{_mm512_packus_epi16(low.raw, high.raw)};
#else
  return V8(vqmovun_high_s16(vqmovun_s16(low.raw), high.raw));
#endif
}

// The low bytes of v >> kShift, each block with its parts of v0, v1, v2 and v3.
template <int kShift, class V32>
HWY_INLINE auto low_bytes(V32 v0, V32 v1, V32 v2, V32 v3) {
  const hn::DFromV<V32> d32;
#if HWY_ARCH_X86
  const auto low = [&](V32 v) { return hn::And(hn::ShiftRight<kShift>(v), hn::Set(d32, 255)); };
  return narrow_to_u8_blocks(narrow_to_i16_blocks(low(v0), low(v1)),
                             narrow_to_i16_blocks(low(v2), low(v3)));
#else
  const auto words = [](V32 a, V32 b) {
    if constexpr (kShift == 0) {
      return vuzp1q_u8(vreinterpretq_u8_s32(a.raw), vreinterpretq_u8_s32(b.raw));
    } else {
      const int16x4_t low = vshrn_n_s32(a.raw, kShift);
      return vreinterpretq_u8_s16(vshrn_high_n_s32(low, b.raw, kShift));
    }
  };
  const hn::Repartition<uint8_t, decltype(d32)> d8;
  return hn::Vec<decltype(d8)>(vuzp1q_u8(words(v0, v1), words(v2, v3)));
#endif
}

// The n-th part of each block, one after the other, for every n: what narrowing inside of blocks
// made of n vectors, in the order of these. Parts are lanes.
template <class D>
HWY_INLINE hn::Vec<D> in_order_of_parts(D d, hn::Vec<D> v) {
  if constexpr (kBlocks<D> == 1) {
    return v;
  } else {
    struct Order {
      alignas(64) hn::TFromD<D> lane[hn::MaxLanes(D())] = {};
      constexpr Order() {
        constexpr int kCount = kBlocks<D>, kParts = static_cast<int>(hn::MaxLanes(D())) / kCount;
        for (int i = 0; i < kCount * kParts; ++i) lane[i] = i % kCount * kParts + i / kCount;
      }
    };
    static constexpr Order kOrder;
    return hn::TableLookupLanes(v, hn::SetTableIndices(d, kOrder.lane));
  }
}

// Four vectors of 32-bit lanes as one of bytes, with saturation, in the order of the arguments.
template <class V32>
HWY_INLINE auto narrow_to_u8(V32 v0, V32 v1, V32 v2, V32 v3) {
  const auto bytes =
      narrow_to_u8_blocks(narrow_to_i16_blocks(v0, v1), narrow_to_i16_blocks(v2, v3));
  const hn::DFromV<V32> d32;
  return hn::BitCast(hn::DFromV<decltype(bytes)>(),
                     in_order_of_parts(d32, hn::BitCast(d32, bytes)));
}

// The same of two vectors of 16-bit lanes.
template <class V16>
HWY_INLINE auto narrow_to_u8(V16 v0, V16 v1) {
  const auto bytes = narrow_to_u8_blocks(v0, v1);
  const hn::Repartition<uint64_t, hn::DFromV<V16>> d64;
  return hn::BitCast(hn::DFromV<decltype(bytes)>(),
                     in_order_of_parts(d64, hn::BitCast(d64, bytes)));
}

// v >> kShift of four such vectors, where that is a byte.
template <int kShift, class V32>
HWY_INLINE auto shift_to_u8(V32 v0, V32 v1, V32 v2, V32 v3) {
#if HWY_ARCH_X86
  return narrow_to_u8(hn::ShiftRight<kShift>(v0), hn::ShiftRight<kShift>(v1),
                      hn::ShiftRight<kShift>(v2), hn::ShiftRight<kShift>(v3));
#else
  return low_bytes<kShift>(v0, v1, v2, v3);
#endif
}

// (v + 2^(kBits - 1)) >> kBits of unsigned lanes as bytes, which they must fit, as the sums must
// fit 16 bits.
template <int kBits, class V16>
HWY_INLINE auto round_to_u8(V16 v0, V16 v1) {
#if HWY_ARCH_X86
  const hn::DFromV<V16> d16;
  const hn::RebindToSigned<decltype(d16)> signed16;
  const auto rounded = [=](V16 v) {
    return hn::BitCast(signed16, hn::ShiftRight<kBits>(v + hn::Set(d16, 1 << (kBits - 1))));
  };
  return narrow_to_u8(rounded(v0), rounded(v1));
#else
  return hn::Vec<hn::Repartition<uint8_t, hn::DFromV<V16>>>(
      vrshrn_high_n_u16(vrshrn_n_u16(v0.raw, kBits), v1.raw, kBits));
#endif
}

// Bits kShift to kShift + 7 of two vectors of 16-bit lanes, in the order of the arguments. Higher
// bits must be zero.
template <int kShift, class V16>
HWY_INLINE auto narrow_from_bit(V16 low, V16 high) {
#if HWY_ARCH_X86
  return narrow_to_u8(hn::ShiftRight<kShift>(low), hn::ShiftRight<kShift>(high));
#else
  return hn::Vec<Full<uint8_t>>(
      vshrn_high_n_u16(vshrn_n_u16(hn::BitCast(Full<uint16_t>(), low).raw, kShift),
                       hn::BitCast(Full<uint16_t>(), high).raw, kShift));
#endif
}

// Sums of neighbouring bytes, a[0] + a[1], a[2] + a[3], … as 16-bit lanes; the same added to
// others.
template <class V8, class V16 = hn::Vec<hn::Repartition<uint16_t, hn::DFromV<V8>>>>
HWY_INLINE V16 add_pairs(V8 bytes) {
#if HWY_ARCH_X86
  return hn::BitCast(hn::DFromV<V16>(), multiply_add_bytes(bytes, hn::Set(hn::DFromV<V8>(), 1)));
#else
  return V16(vpaddlq_u8(bytes.raw));
#endif
}
template <class V16, class V8>
HWY_INLINE V16 add_pairs(V16 sums, V8 bytes) {
#if HWY_ARCH_X86
  return sums + add_pairs(bytes);
#else
  return V16(vpadalq_u8(sums.raw, bytes.raw));
#endif
}

// Of four pixels around a place, odd = (9 nl + 3 nr + 3 fl + fr) >> 4, as if it were nearest to
// near_left, and even = (3 nl + 9 nr + fl + 3 fr) >> 4, nearest to near_right.
template <class V8>
HWY_INLINE void nine_sixteenths(V8 near_left, V8 near_right, V8 far_left, V8 far_right, V8& odd,
                                V8& even) {
#if HWY_ARCH_X86
  const hn::DFromV<V8> d8;
  const hn::Repartition<uint16_t, decltype(d8)> d16;
  const auto near_low = hn::InterleaveLower(near_left, near_right),
             near_high = hn::InterleaveUpper(d8, near_left, near_right),
             far_low = hn::InterleaveLower(far_left, far_right),
             far_high = hn::InterleaveUpper(d8, far_left, far_right);
  // Of a pair's weights, the left one is the low byte.
  const auto mean = [&](uint16_t near_weights, uint16_t far_weights) {
    const auto near = hn::BitCast(d8, hn::Set(d16, near_weights)),
               far = hn::BitCast(d8, hn::Set(d16, far_weights));
    const auto low = multiply_add_bytes(near_low, near) + multiply_add_bytes(far_low, far);
    const auto high = multiply_add_bytes(near_high, near) + multiply_add_bytes(far_high, far);
    return narrow_to_u8_blocks(hn::ShiftRight<4>(low), hn::ShiftRight<4>(high));
  };
  odd = mean(0x0309, 0x0103);
  even = mean(0x0903, 0x0301);
#else
  const uint8x16_t three = vdupq_n_u8(3);
  const auto low = [&](V8 near, V8 far) {
    return vaddw_u8(vmull_u8(vget_low_u8(near.raw), vget_low_u8(three)), vget_low_u8(far.raw));
  };
  const auto high = [&](V8 near, V8 far) {
    return vaddw_high_u8(vmull_high_u8(near.raw, three), far.raw);
  };
  const uint16x8_t left_low = low(near_left, far_left), left_high = high(near_left, far_left);
  const uint16x8_t right_low = low(near_right, far_right), right_high = high(near_right, far_right);
  const auto mean = [](uint16x8_t low3, uint16x8_t low1, uint16x8_t high3, uint16x8_t high1) {
    const uint16x8_t sum_low = vmlaq_n_u16(low1, low3, 3), sum_high = vmlaq_n_u16(high1, high3, 3);
    return V8(vshrn_high_n_u16(vshrn_n_u16(sum_low, 4), sum_high, 4));
  };
  odd = mean(left_low, right_low, left_high, right_high);
  even = mean(right_low, left_low, right_high, left_high);
#endif
}

// ---- Weighted means in 11-bit fixed point, in 16-bit lanes.

// (a (2048 - w) + b w) >> 4 of bytes a, b, side by side, whose lane of `weights` is pair_weight(w),
// w up to 2047: 2048 a + (b - a) w = 1024 (a + b) + (b - a) (w - 1024). The last product / 16 is
// the high half of 128 (b - a) times 32 (w - 1024), or of twice 128 (b - a) times 16 w (arm64).
constexpr int16_t pair_weight(int w) {
  return static_cast<int16_t>(HWY_ARCH_X86 ? (w - 1024) * 32 : w * 16);
}
template <class V8, class V16>
HWY_INLINE V16 mean_of_pairs(V8 pairs, V16 weights) {
#if HWY_ARCH_X86
  const hn::DFromV<V16> d16;
  const hn::DFromV<V8> d8;
  // Of a pair's weights, the first one is the low byte.
  const auto minus_plus = hn::BitCast(d8, hn::Set(d16, 0x01ff));
  const auto differences = multiply_add_bytes(pairs, minus_plus);
  const auto sums = multiply_add_bytes(pairs, hn::Set(d8, 64));
  return sums + hn::MulHigh(hn::ShiftLeft<7>(differences), weights);
#else
  const uint16x8_t both = vreinterpretq_u16_u8(pairs.raw), a = vshlq_n_u16(both, 8);
  const uint16x8_t b = vbicq_u16(both, vdupq_n_u16(255));
  const int16x8_t differences = vreinterpretq_s16_u16(vhsubq_u16(b, a));  // times 128
  const int16x8_t products = vqdmulhq_s16(differences, weights.raw);
  return V16(vreinterpretq_s16_u16(vsraq_n_u16(vreinterpretq_u16_s16(products), a, 1)));
#endif
}

// (near (2048 - w) + far w) >> 11, where `weight` is far_weight(w), w from 0 to 1024, as
// near + ((near - far) (-w) >> 11).
constexpr int16_t far_weight(int w) {
  return static_cast<int16_t>(HWY_ARCH_X86 ? -32 * w : -16 * w);
}
template <class V16>
HWY_INLINE V16 mean_of_rows(V16 near, V16 far, V16 weight) {
#if HWY_ARCH_X86
  return near + hn::MulHigh(near - far, weight);
#else
  return near + V16(vqdmulhq_s16((near - far).raw, weight.raw));
#endif
}

// The low 16 bits of (a w0 + b w1 + c w2 + d w3) >> 4, of pairs of bytes a, b and c, d, where each
// lane of `parts` is from split_weights(w0 … w3), weights between -4096 and 4095.
//
// x86-64 multiplies bytes: with w = 32 high + low, (sum w) >> 4 is 2 sum high + (sum low >> 4).
inline void split_weights(const int16_t (&w)[4], int16_t (&parts)[4]) {
#if HWY_ARCH_X86
  for (int p = 0; p < 2; ++p) {
    const int left = w[2 * p], right = w[2 * p + 1];
    parts[p] = static_cast<int16_t>(((right >> 5) & 255) << 8 | ((left >> 5) & 255));
    parts[p + 2] = static_cast<int16_t>((right & 31) << 8 | (left & 31));
  }
#else
  std::memcpy(parts, w, sizeof parts);
#endif
}
template <class V8, class V16>
HWY_INLINE V16 sum_of_taps(V8 ab, V8 cd, const V16 (&parts)[4]) {
#if HWY_ARCH_X86
  const hn::DFromV<V8> d8;
  const hn::RebindToUnsigned<hn::DFromV<V16>> du16;
  const auto sum = [&](V16 first, V16 second) KELVRA_CV_INLINE {
    return multiply_add_bytes(ab, hn::BitCast(d8, first)) +
           multiply_add_bytes(cd, hn::BitCast(d8, second));
  };
  const auto high = sum(parts[0], parts[1]), low = sum(parts[2], parts[3]);
  return high + high + hn::BitCast(hn::DFromV<V16>(), hn::ShiftRight<4>(hn::BitCast(du16, low)));
#else
  const auto taps = [](V8 pairs, bool second) {
    const uint16x8_t both = vreinterpretq_u16_u8(pairs.raw);
    return vreinterpretq_s16_u16(second ? vshrq_n_u16(both, 8) : vandq_u16(both, vdupq_n_u16(255)));
  };
  const int16x8_t t0 = taps(ab, false), t1 = taps(ab, true), t2 = taps(cd, false),
                  t3 = taps(cd, true);
  int32x4_t low = vmull_s16(vget_low_s16(t0), vget_low_s16(parts[0].raw));
  int32x4_t high = vmull_high_s16(t0, parts[0].raw);
  const auto add = [&](int16x8_t t, V16 weights) KELVRA_CV_INLINE {
    low = vmlal_s16(low, vget_low_s16(t), vget_low_s16(weights.raw));
    high = vmlal_high_s16(high, t, weights.raw);
  };
  add(t1, parts[1]);
  add(t2, parts[2]);
  add(t3, parts[3]);
  return V16(vshrn_high_n_s32(vshrn_n_s32(low, 4), high, 4));
#endif
}

// Bits 18 to 25 of the sums of 16-bit lanes times weights, of 2 n lanes each: `lanes(k, 0)` and
// `lanes(k, 1)` give those of the k-th of four rows.
template <class Lanes>
HWY_INLINE auto sum_of_four_rows(const Lanes& lanes, const int16_t (&weights)[4]) {
  const Full<int16_t> d16;
  const Full<int32_t> d32;
#if HWY_ARCH_X86
  const auto pair = [&](int p) {
    return hn::BitCast(
        d16, hn::Set(d32, static_cast<int32_t>(static_cast<uint32_t>(weights[p + 1]) << 16 |
                                               static_cast<uint16_t>(weights[p]))));
  };
  const auto w01 = pair(0), w23 = pair(2);
  const auto half = [&](int h) KELVRA_CV_INLINE {
    const auto a = lanes(0, h), b = lanes(1, h), c = lanes(2, h), d = lanes(3, h);
    const auto low = multiply_add_pairs(d32, hn::InterleaveLower(a, b), w01) +
                     multiply_add_pairs(d32, hn::InterleaveLower(c, d), w23);
    const auto high = multiply_add_pairs(d32, hn::InterleaveUpper(d16, a, b), w01) +
                      multiply_add_pairs(d32, hn::InterleaveUpper(d16, c, d), w23);
    const auto byte = [&](hn::Vec<decltype(d32)> sum) {
      return hn::And(hn::ShiftRight<18>(sum), hn::Set(d32, 255));
    };
    return narrow_to_i16_blocks(byte(low), byte(high));
  };
  return narrow_to_u8(half(0), half(1));
#else
  (void)d32;
  const auto half = [&](int h) KELVRA_CV_INLINE {
    const hn::Vec<decltype(d16)> first = lanes(0, h);
    int32x4_t low = vmull_n_s16(vget_low_s16(first.raw), weights[0]);
    int32x4_t high = vmull_high_n_s16(first.raw, weights[0]);
    for (int k = 1; k < 4; ++k) {
      const hn::Vec<decltype(d16)> row = lanes(k, h);
      low = vmlal_n_s16(low, vget_low_s16(row.raw), weights[k]);
      high = vmlal_high_n_s16(high, row.raw, weights[k]);
    }
    return vuzp2q_u16(vreinterpretq_u16_s32(low), vreinterpretq_u16_s32(high));
  };
  return hn::Vec<Full<uint8_t>>(vshrn_high_n_u16(vshrn_n_u16(half(0), 2), half(1), 2));
#endif
}

// ---- Bilinear blends with fractions of 10 bits, in 16-bit and 32-bit lanes.

// The blend of 32-bit lanes, one for each byte of the result, from pairs of 16-bit taps and
// weights: with fx and fy the fractions,
//   upper = (left (1024 - fx) + right fx) >> 3 of the upper taps, lower = … of the lower taps,
//   (upper (1024 - fy) + lower fy + 2^16) >> 17.
// Upper and lower are at most 32640, again 16-bit. Four equal taps give themselves.
template <class V16, class V32>
HWY_INLINE V32 blend_taps(V16 upper_taps, V16 lower_taps, V32 x_weights, V32 y_weights) {
  const hn::DFromV<V16> d16;
  const hn::DFromV<V32> d32;
  const auto weights = hn::BitCast(d16, x_weights);
  const auto upper = multiply_add_pairs(d32, upper_taps, weights);
  const auto lower = multiply_add_pairs(d32, lower_taps, weights);
  const auto pairs = hn::OddEven(hn::BitCast(d16, hn::ShiftLeft<13>(lower)),
                                 hn::BitCast(d16, hn::ShiftRight<3>(upper)));
  const auto sum = multiply_add_pairs(d32, pairs, hn::BitCast(d16, y_weights));
  return hn::ShiftRight<17>(sum + hn::Set(d32, 1 << 16));
}

// The same of pixels of four channels, as many as V32 has lanes. The taps of pixel i, left and
// right one, are the eight bytes at upper + places[i] and lower + places[i]. x86-64 wants them side
// by side, places[i] being 8 i, arm64 takes them from where they are.
constexpr bool kBlendsInPlace = !HWY_ARCH_X86;
template <class V32>
HWY_INLINE auto blend_pairs(const uint8_t* upper, const uint8_t* lower, const ptrdiff_t* places,
                            V32 x_weights, V32 y_weights) {
#if HWY_ARCH_X86
  alignas(16) static constexpr uint8_t kFirst[16] = {0, 128, 4, 128, 1, 128, 5, 128,
                                                     2, 128, 6, 128, 3, 128, 7, 128};
  alignas(16) static constexpr uint8_t kSecond[16] = {8,  128, 12, 128, 9,  128, 13, 128,
                                                      10, 128, 14, 128, 11, 128, 15, 128};
  const hn::Repartition<uint8_t, hn::DFromV<V32>> d8;
  const hn::Repartition<int16_t, hn::DFromV<V32>> d16;
  const auto first = hn::LoadDup128(d8, kFirst), second = hn::LoadDup128(d8, kSecond);
  upper += places[0];
  lower += places[0];
  const auto upper01 = load_blocks(d8, upper, 32), upper23 = load_blocks(d8, upper + 16, 32);
  const auto lower01 = load_blocks(d8, lower, 32), lower23 = load_blocks(d8, lower + 16, 32);
  const auto pixel = [&](auto upper_pairs, auto lower_pairs, auto order, V32 x, V32 y) {
    return blend_taps(hn::BitCast(d16, hn::TableLookupBytesOr0(upper_pairs, order)),
                      hn::BitCast(d16, hn::TableLookupBytesOr0(lower_pairs, order)), x, y);
  };
  return narrow_to_u8_blocks(
      narrow_to_i16_blocks(
          pixel(upper01, lower01, first, hn::Broadcast<0>(x_weights), hn::Broadcast<0>(y_weights)),
          pixel(upper01, lower01, second, hn::Broadcast<1>(x_weights),
                hn::Broadcast<1>(y_weights))),
      narrow_to_i16_blocks(
          pixel(upper23, lower23, first, hn::Broadcast<2>(x_weights), hn::Broadcast<2>(y_weights)),
          pixel(upper23, lower23, second, hn::Broadcast<3>(x_weights),
                hn::Broadcast<3>(y_weights))));
#else
  const uint16x8_t x = vreinterpretq_u16_s32(x_weights.raw),
                   y = vreinterpretq_u16_s32(y_weights.raw);
  const auto pixel = [&](auto number) KELVRA_CV_INLINE {
    constexpr int k = decltype(number)::value;
    const auto row = [&](const uint8_t* pair) KELVRA_CV_INLINE {
      const uint16x8_t taps = vmovl_u8(vld1_u8(pair));
      return vshrn_n_u32(
          vmlal_high_laneq_u16(vmull_laneq_u16(vget_low_u16(taps), x, 2 * k), taps, x, 2 * k + 1),
          3);
    };
    return vmlal_laneq_u16(vmull_laneq_u16(row(upper + places[k]), y, 2 * k),
                           row(lower + places[k]), y, 2 * k + 1);
  };
  // (sum + 2^16) >> 16, and one more bit with the narrowing to bytes.
  const uint32x4_t half = vdupq_n_u32(1 << 16);
  const auto two = [&](uint32x4_t a, uint32x4_t b) {
    return vaddhn_high_u32(vaddhn_u32(a, half), b, half);
  };
  using std::integral_constant;
  const uint16x8_t low =
      two(pixel(integral_constant<int, 0>()), pixel(integral_constant<int, 1>()));
  const uint16x8_t high =
      two(pixel(integral_constant<int, 2>()), pixel(integral_constant<int, 3>()));
  return hn::Vec<Full<uint8_t>>(vshrn_high_n_u16(vshrn_n_u16(low, 1), high, 1));
#endif
}

// As many elements as `d` has lanes, as its type: floats from bytes, integers from narrower ones.
template <class D, class T>
HWY_INLINE hn::Vec<D> load_as(D d, const T* from) {
  const auto v = hn::LoadU(hn::Rebind<T, D>(), from);
  if constexpr (std::is_same_v<T, hn::TFromD<D>>) {
    return v;
  } else if constexpr (std::is_same_v<float, hn::TFromD<D>>) {
    return hn::ConvertTo(d, hn::PromoteTo(hn::Rebind<int32_t, D>(), v));
  } else {
    return hn::PromoteTo(d, v);
  }
}

// Floats truncated to integers, where all are known to fit: hn::ConvertTo also clamps. Anything
// else gives some integer.
template <class VF, class V32 = hn::Vec<hn::RebindToSigned<hn::DFromV<VF>>>>
HWY_INLINE V32 truncate_fitting(VF v) {
#if HWY_ARCH_X86
  if constexpr (sizeof(VF) == 16) return V32{_mm_cvttps_epi32(v.raw)};
  if constexpr (sizeof(VF) == 32) return V32{_mm256_cvttps_epi32(v.raw)};
  if constexpr (sizeof(VF) == 64) return V32{_mm512_cvttps_epi32(v.raw)};
#else
  return hn::ConvertTo(hn::DFromV<V32>(), v);
#endif
}

// Four vectors of floats as one of bytes: clamped to [0, 255], then truncated toward zero. NaN
// gives 0. arm64 converts it so, and anything too large to the greatest integer; on x86-64 both
// become the least one, which narrowing takes to 0, so that what is too large must be clamped.
template <class VF>
HWY_INLINE auto truncate_to_u8(VF v0, VF v1, VF v2, VF v3) {
  const auto integers = [](VF v) KELVRA_CV_INLINE {
#if HWY_ARCH_X86
    v = hn::Min(hn::Set(hn::DFromV<VF>(), 255.0f), v);  // keeps NaN
#endif
    return truncate_fitting(v);
  };
  return narrow_to_u8(integers(v0), integers(v1), integers(v2), integers(v3));
}

// (a * b) >> 31 of 32-bit lanes that are not negative: one instruction on arm64, where conversions
// to and from floats take four times as long.
constexpr bool kIsMultiplyHighFast = !HWY_ARCH_X86;
template <class V32>
HWY_INLINE V32 multiply_high(V32 a, V32 b) {
#if HWY_ARCH_X86
  const hn::DFromV<V32> d;
  const auto even = hn::ShiftRight<31>(hn::MulEven(a, b));
  const auto odd = hn::ShiftRight<31>(hn::MulEven(hn::DupOdd(a), hn::DupOdd(b)));
  return hn::OddEven(hn::DupEven(hn::BitCast(d, odd)), hn::BitCast(d, even));
#else
  return V32(vqdmulhq_s32(a.raw, b.raw));
#endif
}

// 1 / v with a relative error below 2^-22, from the machine's estimate and steps after Newton. The
// bits differ between machines.
template <class VF>
HWY_INLINE VF reciprocal(VF v) {
  VF r = hn::ApproximateReciprocal(v);
#if HWY_ARCH_X86
  return r * hn::NegMulAdd(v, r, hn::Set(hn::DFromV<VF>(), 2.0f));
#else
  r = r * VF(vrecpsq_f32(v.raw, r.raw));  // from 8 bits to 16
  return r * VF(vrecpsq_f32(v.raw, r.raw));
#endif
}

// The inverse cube root of v, at least 2^-126, within 3.5 %: of its bits a third is taken from
// those of about 2^42, which divides the exponent and comes near the mantissa's root.
template <class VF>
HWY_INLINE VF estimate_inverse_cube_root(VF v) {
  const hn::DFromV<VF> d;
  const hn::RebindToSigned<decltype(d)> d32;
  const auto bits = hn::BitCast(d32, v);
#if HWY_ARCH_X86
  const auto third = truncate_fitting(hn::ConvertTo(d, bits) * hn::Set(d, 1.0f / 3));
#else
  const hn::Vec<decltype(d32)> third(vqdmulhq_s32(bits.raw, vdupq_n_s32(0x2aaaaaab)));
#endif
  return hn::BitCast(d, hn::Set(d32, 0x54a1f000) - third);
}

// The last lane of a + b in all lanes, of 32-bit integers. It comes soon after `a`, for loops where
// only `a` is late: what takes long on x86-64 is the way across blocks, which `b` goes alone.
template <class V32>
HWY_INLINE V32 broadcast_last_sum(V32 a, V32 b) {
  const hn::DFromV<V32> d32;
  if constexpr (hn::MaxLanes(d32) == 8) {
    return a + hn::TableLookupLanes(b, hn::IndicesFromVec(d32, hn::Set(d32, 7)));
  } else {
    return hn::Broadcast<3>(a + b);
  }
}

// Lane i of the result is the sum of lanes 0 to i, integers of 16 or 32 bits, and of `carry`, which
// gets the last of them in all lanes.
template <class V>
HWY_INLINE V prefix_sums(V v, V& carry) {
  const hn::DFromV<V> d;
  const hn::Repartition<uint8_t, decltype(d)> d8;
  using T = hn::TFromD<decltype(d)>;
  v = v + hn::ShiftLeftLanes<1>(d, v);
  v = v + hn::ShiftLeftLanes<2>(d, v);
  if constexpr (sizeof(T) == 2) v = v + hn::ShiftLeftLanes<4>(d, v);
  V total;
  if constexpr (sizeof(T) == 2) {
    const auto last = hn::BitCast(d8, hn::Set(d, 0x0f0e));
    total = hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(d8, v), last));
  } else {
    total = hn::Broadcast<3>(v);
  }
  if constexpr (kBlocks<decltype(d)> == 2) {
    v = v + hn::ConcatLowerLower(d, total, hn::Zero(d));
    total = total + hn::ConcatLowerUpper(d, total, total);
  }
  v = v + carry;
  carry = carry + total;
  return v;
}

// Three channels in blocks of 48 bytes. Byte j of the block's part p belongs to channel (j + p) %
// 3, so that two blends gather a channel's 16 bytes and a shuffle brings them in order, or the
// other way round. arm64 has instructions for it.
struct Interleaving3 {
  alignas(16) uint8_t of_class[3][16] = {}, to_lane[3][16] = {}, to_byte[3][16] = {};

  constexpr Interleaving3() {
    for (int k = 0; k < 3; ++k) {
      for (int i = 0; i < 16; ++i) {
        of_class[k][i] = i % 3 == k ? 255 : 0;
        const int byte = (3 * i + k) % 16;
        to_lane[k][i] = static_cast<uint8_t>(byte);
        to_byte[k][byte] = static_cast<uint8_t>(i);
      }
    }
  }
};
inline constexpr Interleaving3 kInterleaving3;

// From the vectors of classes 0, 1 and 2 the lanes of their class.
template <class D, class V>
HWY_INLINE V blend_classes(D d, V class0, V class1, V class2) {
  const auto is = [&](int k) {
    return hn::MaskFromVec(hn::LoadDup128(d, kInterleaving3.of_class[k]));
  };
  return hn::IfThenElse(is(0), class0, hn::IfThenElse(is(1), class1, class2));
}

// Whether the machine loads a pixel's channels into vectors of their own in one instruction.
constexpr bool kLoadsChannelsApart = !HWY_ARCH_X86;

// As many pixels as a vector has lanes, a vector for each channel: bytes, or two of any type.
template <int kChannels, class D>
HWY_INLINE void load_pixels(D d8, const hn::TFromD<D>* from, hn::Vec<D>* channels) {
  if constexpr (hn::MaxLanes(d8) == 1) {
    for (int c = 0; c < kChannels; ++c) channels[c] = hn::LoadU(d8, from + c);
  } else if constexpr (kChannels == 1) {
    channels[0] = hn::LoadU(d8, from);
  } else if constexpr (kChannels == 2) {
    hn::LoadInterleaved2(d8, from, channels[0], channels[1]);
  } else if constexpr (kChannels == 3) {
#if HWY_ARCH_X86
    const auto a = load_blocks(d8, from, 48), b = load_blocks(d8, from + 16, 48),
               c = load_blocks(d8, from + 32, 48);
    const auto in_order = [&](int k, auto v) {
      return hn::TableLookupBytes(v, hn::LoadDup128(d8, kInterleaving3.to_lane[k]));
    };
    channels[0] = in_order(0, blend_classes(d8, a, c, b));
    channels[1] = in_order(1, blend_classes(d8, b, a, c));
    channels[2] = in_order(2, blend_classes(d8, c, b, a));
#else
    hn::LoadInterleaved3(d8, from, channels[0], channels[1], channels[2]);
#endif
  } else {
    hn::LoadInterleaved4(d8, from, channels[0], channels[1], channels[2], channels[3]);
  }
}
// The middle one of each three 32-bit lanes, as many as a vector has.
template <class D32>
HWY_INLINE hn::Vec<D32> load_middles(D32 d32, const uint32_t* from) {
  hn::Vec<D32> parts[3];
#if HWY_ARCH_X86
  // Result i is lane (3 i + 1) % kLanes of a part: no two of them are the same lane.
  constexpr size_t kLanes = hn::MaxLanes(d32);
  struct Places {
    alignas(64) uint32_t is_of_part[3][kLanes] = {}, lane[kLanes] = {};
    constexpr Places() {
      for (size_t i = 0; i < kLanes; ++i) {
        lane[i] = (3 * i + 1) % kLanes;
        is_of_part[(3 * i + 1) / kLanes][lane[i]] = ~uint32_t{0};
      }
    }
  };
  static constexpr Places kPlaces;
  const auto is = [=](int k) { return hn::MaskFromVec(hn::Load(d32, kPlaces.is_of_part[k])); };
  for (size_t k = 0; k < 3; ++k) parts[k] = opaque(hn::LoadU(d32, from + k * kLanes));
  const auto middles = hn::IfThenElse(is(0), parts[0], hn::IfThenElse(is(1), parts[1], parts[2]));
  return hn::TableLookupLanes(middles, hn::SetTableIndices(d32, kPlaces.lane));
#else
  hn::LoadInterleaved3(d32, from, parts[0], parts[1], parts[2]);
  return parts[1];
#endif
}

template <int kChannels, class D>
HWY_INLINE void store_pixels(D d8, const hn::Vec<D>* channels, uint8_t* to) {
  if constexpr (kChannels == 1) hn::StoreU(channels[0], d8, to);
  if constexpr (kChannels == 2) hn::StoreInterleaved2(channels[0], channels[1], d8, to);
  if constexpr (kChannels == 3) {
#if HWY_ARCH_X86
    const auto spread = [&](int k) {
      return hn::TableLookupBytes(channels[k], hn::LoadDup128(d8, kInterleaving3.to_byte[k]));
    };
    const auto v0 = spread(0), v1 = spread(1), v2 = spread(2);
    store_blocks(d8, blend_classes(d8, v0, v1, v2), to, 48);
    store_blocks(d8, blend_classes(d8, v1, v2, v0), to + 16, 48);
    store_blocks(d8, blend_classes(d8, v2, v0, v1), to + 32, 48);
#else
    hn::StoreInterleaved3(channels[0], channels[1], channels[2], d8, to);
#endif
  }
  if constexpr (kChannels == 4) {
    hn::StoreInterleaved4(channels[0], channels[1], channels[2], channels[3], d8, to);
  }
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_SIMD_H_
