// Portable vectors (Highway, one target chosen at compile time) and the few operations that differ
// between x86-64 and arm64. Kernels use these names and never raw intrinsics.
//
// A vector is a row of blocks of 16 bytes: one on NEON, two on AVX2. Operations named `…_blocks`
// work inside each block, which is what both machines do fastest.
#ifndef KELVRA_CV_CORE_SIMD_H_
#define KELVRA_CV_CORE_SIMD_H_

#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Without it MulAdd would round twice, and results would differ between machines.
static_assert(HWY_NATIVE_FMA, "the chosen instruction set must have fused multiply-add");

namespace KelvraCV::detail {

namespace hn = hwy::HWY_NAMESPACE;

// Whole vectors and single blocks of a lane type.
template <class T>
using Full = hn::ScalableTag<T>;
template <class T>
using Block = hn::CappedTag<T, 16 / sizeof(T)>;

// Calls body(d, x) so that vectors of tag d, each from element x on, cover 0 … count - 1: whole
// vectors, the last of which may cover some elements for the second time; where there is not even
// one, blocks in the same way; and in still shorter rows one element after the other, with a tag
// of one lane. So `body` says once what happens to an element, reads nothing past `count`, and
// must give the same when it sees an element again: results must not be written over sources.
template <class T, class Body>
HWY_INLINE void for_each_vector(size_t count, Body&& body) {
  const auto walk = [&](auto d) {
    const size_t lanes = hn::Lanes(d);
    if (count < lanes) return false;
    size_t x = 0;
    for (; x + lanes < count; x += lanes) body(d, x);
    body(d, count - lanes);
    return true;
  };
  if (walk(Full<T>())) return;
  if (hn::Lanes(Full<T>()) > hn::Lanes(Block<T>()) && walk(Block<T>())) return;
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
  if (count < Single::kLanes) {
    for_each_vector<T>(count, [&](auto d, size_t x) { body(VectorGroup<decltype(d), 1>(), x); });
    return;
  }
  size_t x = 0;
  for (; x + Wide<T>::kLanes <= count; x += Wide<T>::kLanes) body(Wide<T>(), x);
  for (; x < count; x += Single::kLanes) body(Single(), std::min(x, count - Single::kLanes));
}

// Stores the first `count` lanes, at most all of them, and touches nothing behind them.
template <class D>
HWY_INLINE void store_first(D d, hn::Vec<D> v, hn::TFromD<D>* to, size_t count) {
  HWY_ALIGN hn::TFromD<D> lanes[hn::MaxLanes(D())];
  hn::Store(v, d, lanes);
  std::memcpy(to, lanes, count * sizeof(hn::TFromD<D>));
}

// Bit i is lane i of the mask.
template <class D>
HWY_INLINE uint64_t mask_bits(D, hn::Mask<D> mask) {
  return hn::detail::BitsFromMask(mask);
}

// The same of 64 lanes of one or four bytes: of the masks test(0), test(n), test(2 n), …, where n
// lanes are one mask.
template <class T, class Test>
HWY_INLINE uint64_t mask_bits64(const Test& test) {
  const Full<T> d;
  static_assert(sizeof(T) == 1 || sizeof(T) == 4);
#if HWY_ARCH_X86
  uint64_t bits = 0;
  for (size_t x = 0; x < 64; x += hn::Lanes(d)) bits |= mask_bits(d, test(x)) << x;
  return bits;
#else
  // Each byte keeps the bit of its place in its eight, and sums of neighbours gather the eight.
  const auto bytes = [&](size_t x) {
    alignas(16) static constexpr uint8_t kBit[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                                     1, 2, 4, 8, 16, 32, 64, 128};
    const auto lanes = [&](size_t at) { return hn::VecFromMask(d, test(at)).raw; };
    uint8x16_t all;
    if constexpr (sizeof(T) == 1) {
      all = lanes(x);
    } else {
      const auto pair = [&](size_t at) {
        return vuzp1q_u16(vreinterpretq_u16_u32(lanes(at)), vreinterpretq_u16_u32(lanes(at + 4)));
      };
      all = vuzp1q_u8(vreinterpretq_u8_u16(pair(x)), vreinterpretq_u8_u16(pair(x + 8)));
    }
    return vandq_u8(all, vld1q_u8(kBit));
  };
  const uint8x16_t sums =
      vpaddq_u8(vpaddq_u8(bytes(0), bytes(16)), vpaddq_u8(bytes(32), bytes(48)));
  return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(sums, sums)), 0);
#endif
}

// (a + b) / 2 of bytes, rounded down, without a wider type.
template <class V8>
HWY_INLINE V8 average_down(V8 a, V8 b) {
#if HWY_ARCH_X86
  return hn::Not(hn::AverageRound(hn::Not(a), hn::Not(b)));
#else
  if constexpr (sizeof(a.raw) == 16) {
    return V8(vhaddq_u8(a.raw, b.raw));
  } else {
    return V8(vhadd_u8(a.raw, b.raw));
  }
#endif
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
  const auto bytes = hn::BitCast(d16, v), weights = hn::Set(d16, weight);
  return {sums.first + hn::And(bytes, hn::Set(d16, 0xff)) * weights,
          sums.second + hn::ShiftRight<8>(bytes) * weights};
#else
  const auto weights = hn::Set(hn::DFromV<V8>(), weight).raw;
  return {V16(vmlal_u8(sums.first.raw, vget_low_u8(v.raw), vget_low_u8(weights))),
          V16(vmlal_high_u8(sums.second.raw, v.raw, weights))};
#endif
}

// The same sums, `first` being those of the even lanes.
template <class V16>
HWY_INLINE WideSums<V16> even_and_odd(WideSums<V16> sums) {
#if HWY_ARCH_X86
  return sums;
#else
  return {V16(vuzp1q_u16(sums.first.raw, sums.second.raw)),
          V16(vuzp2q_u16(sums.first.raw, sums.second.raw))};
#endif
}

// A vector whose block b holds the 16 bytes at `from + b * step`.
template <class D>
HWY_INLINE hn::Vec<D> load_blocks(D d, const uint8_t* from, size_t step) {
  static_assert(sizeof(hn::TFromD<D>) == 1);
  if constexpr (hn::MaxLanes(d) == 32) {
    const hn::Half<D> half;
    if (step == 16) return hn::LoadU(d, from);
    return hn::Combine(d, hn::LoadU(half, from + step), hn::LoadU(half, from));
  } else {
    static_assert(hn::MaxLanes(d) == 16, "only 128-bit and 256-bit vectors");
    (void)step;
    return hn::LoadU(d, from);
  }
}

// Stores the 16 bytes of block b to `to + b * step`.
template <class D>
HWY_INLINE void store_blocks(D d, hn::Vec<D> v, uint8_t* to, size_t step) {
  if constexpr (hn::MaxLanes(d) == 32) {
    const hn::Half<D> half;
    hn::StoreU(hn::LowerHalf(half, v), half, to);
    hn::StoreU(hn::UpperHalf(half, v), half, to + step);
  } else {
    (void)step;
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

// Sums of neighbouring bytes, as 16-bit lanes: a[0] + a[1], a[2] + a[3], …
template <class V8>
HWY_INLINE auto sum_pairs(V8 a) {
  const hn::Repartition<uint16_t, hn::DFromV<V8>> d16;
#if HWY_ARCH_X86
  const auto bytes = hn::BitCast(d16, a);
  return hn::And(bytes, hn::Set(d16, 0xff)) + hn::ShiftRight<8>(bytes);
#else
  return hn::Vec<decltype(d16)>(vpaddlq_u8(a.raw));
#endif
}

// Sums of products of neighbouring bytes, as 16-bit lanes: a[0] w[0] + a[1] w[1], … Weights are
// below 128, sums below 32768.
template <class V8>
HWY_INLINE auto multiply_add_bytes(V8 a, V8 weights) {
  const hn::Repartition<int16_t, hn::DFromV<V8>> d16;
#if HWY_ARCH_X86
  if constexpr (hn::MaxLanes(d16) == 16) {
    return hn::Vec<decltype(d16)>{_mm256_maddubs_epi16(a.raw, weights.raw)};
  } else {
    return hn::Vec<decltype(d16)>{_mm_maddubs_epi16(a.raw, weights.raw)};
  }
#else
  const auto sums = vpaddq_u16(vmull_u8(vget_low_u8(a.raw), vget_low_u8(weights.raw)),
                               vmull_high_u8(a.raw, weights.raw));
  return hn::BitCast(d16, hn::Vec<hn::Repartition<uint16_t, hn::DFromV<V8>>>(sums));
#endif
}

// Narrowing with saturation inside each block: the lanes of `low`, then those of `high`.
template <class V32>
HWY_INLINE auto narrow_to_i16_blocks(V32 low, V32 high) {
  return hn::ReorderDemote2To(hn::Repartition<int16_t, hn::DFromV<V32>>(), low, high);
}
template <class V16>
HWY_INLINE auto narrow_to_u8_blocks(V16 low, V16 high) {
  const hn::Repartition<uint8_t, hn::DFromV<V16>> d8;
#if HWY_ARCH_X86
  if constexpr (hn::MaxLanes(d8) == 32) {
    return hn::Vec<decltype(d8)>{_mm256_packus_epi16(low.raw, high.raw)};
  } else {
    return hn::Vec<decltype(d8)>{_mm_packus_epi16(low.raw, high.raw)};
  }
#else
  return hn::Vec<decltype(d8)>(vqmovun_high_s16(vqmovun_s16(low.raw), high.raw));
#endif
}

// Four vectors of 32-bit lanes as one of bytes, with saturation, in the order of the arguments.
template <class V32>
HWY_INLINE auto narrow_to_u8(V32 v0, V32 v1, V32 v2, V32 v3) {
  const auto bytes =
      narrow_to_u8_blocks(narrow_to_i16_blocks(v0, v1), narrow_to_i16_blocks(v2, v3));
  const hn::DFromV<V32> d32;
  if constexpr (hn::MaxLanes(d32) == 8) {
    // Each block holds its part of all four vectors.
    alignas(32) static constexpr int32_t kOrder[8] = {0, 4, 1, 5, 2, 6, 3, 7};
    const auto lanes = hn::BitCast(d32, bytes);
    return hn::BitCast(hn::DFromV<decltype(bytes)>(),
                       hn::TableLookupLanes(lanes, hn::SetTableIndices(d32, kOrder)));
  } else {
    return bytes;
  }
}

// The same of two vectors of 16-bit lanes.
template <class V16>
HWY_INLINE auto narrow_to_u8(V16 v0, V16 v1) {
  const auto bytes = narrow_to_u8_blocks(v0, v1);
  const hn::Repartition<uint64_t, hn::DFromV<V16>> d64;
  if constexpr (hn::MaxLanes(d64) == 4) {
    alignas(32) static constexpr uint64_t kOrder[4] = {0, 2, 1, 3};
    const auto lanes = hn::BitCast(d64, bytes);
    return hn::BitCast(hn::DFromV<decltype(bytes)>(),
                       hn::TableLookupLanes(lanes, hn::SetTableIndices(d64, kOrder)));
  } else {
    return bytes;
  }
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

// As many bytes, or floats, as floats.
HWY_INLINE auto load_floats(Full<float> d, const float* from) {
  return hn::LoadU(d, from);
}
HWY_INLINE auto load_floats(Full<float> d, const uint8_t* from) {
  const hn::Rebind<uint8_t, Full<float>> bytes;
  const hn::Rebind<int32_t, Full<float>> integers;
  return hn::ConvertTo(d, hn::PromoteTo(integers, hn::LoadU(bytes, from)));
}

// Floats truncated to integers, where all are known to fit: hn::ConvertTo also clamps. Anything
// else gives some integer.
template <class VF>
HWY_INLINE auto truncate_fitting(VF v) {
  const hn::RebindToSigned<hn::DFromV<VF>> d32;
#if HWY_ARCH_X86
  if constexpr (hn::MaxLanes(d32) == 8) {
    return hn::Vec<decltype(d32)>{_mm256_cvttps_epi32(v.raw)};
  } else {
    return hn::Vec<decltype(d32)>{_mm_cvttps_epi32(v.raw)};
  }
#else
  return hn::ConvertTo(d32, v);
#endif
}

// 1 / v with a relative error below 2^-22, from the machine's estimate and steps after Newton. The
// bits differ between machines.
template <class VF>
HWY_INLINE VF reciprocal(VF v) {
  const hn::DFromV<VF> d;
  const auto two = hn::Set(d, 2.0f);
  VF r = hn::ApproximateReciprocal(v);
  if constexpr (!HWY_ARCH_X86) r = r * hn::NegMulAdd(v, r, two);  // 8 bits there, 12 here
  return r * hn::NegMulAdd(v, r, two);
}

// table[index % 8] for a table of eight floats.
template <class D, class V32>
HWY_INLINE hn::Vec<D> look_up8(D d, const float* table, V32 index) {
  const hn::DFromV<V32> d32;
  if constexpr (hn::MaxLanes(d) == 8) {
    const auto low = hn::And(index, hn::Set(d32, 7));
    return hn::TableLookupLanes(hn::LoadU(d, table), hn::IndicesFromVec(d, low));
  } else {
    const auto low = hn::IndicesFromVec(d, hn::And(index, hn::Set(d32, 3)));
    const auto is_upper = hn::TestBit(index, hn::Set(d32, 4));
    return hn::IfThenElse(hn::RebindMask(d, is_upper),
                          hn::TableLookupLanes(hn::LoadU(d, table + 4), low),
                          hn::TableLookupLanes(hn::LoadU(d, table), low));
  }
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

// A vector whose block b has `values[b]` in all of its lanes.
template <class D32>
HWY_INLINE hn::Vec<D32> set_blocks(D32 d32, const int32_t* values) {
  const Block<int32_t> block;
  if constexpr (hn::MaxLanes(d32) == 8) {
    return hn::Combine(d32, hn::Set(block, values[1]), hn::Set(block, values[0]));
  } else {
    return hn::Set(d32, values[0]);
  }
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

// As many pixels as a vector has lanes, a vector for each channel.
template <int kChannels, class D>
HWY_INLINE void load_pixels(D d8, const uint8_t* from, hn::Vec<D>* channels) {
  if constexpr (kChannels == 1) channels[0] = hn::LoadU(d8, from);
  if constexpr (kChannels == 2) hn::LoadInterleaved2(d8, from, channels[0], channels[1]);
  if constexpr (kChannels == 3) {
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
  }
  if constexpr (kChannels == 4) {
    hn::LoadInterleaved4(d8, from, channels[0], channels[1], channels[2], channels[3]);
  }
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
