// Pixels of a row as bits: 64 at a time in a word, bit i for pixel i.
#ifndef KELVRA_CV_SHAPE_ROW_BITS_H_
#define KELVRA_CV_SHAPE_ROW_BITS_H_

#include <algorithm>
#include <cstring>

#include "core/simd.h"

namespace KelvraCV::detail {

constexpr int kWordBits = 64;

inline size_t words_for(int width) {
  return (static_cast<size_t>(width) + kWordBits - 1) / kWordBits;
}

// The bits below `count`, which may be 0 to 64.
inline uint64_t low_bits(int count) {
  return count < kWordBits ? (uint64_t{1} << count) - 1 : ~uint64_t{0};
}

inline int first_bit(uint64_t word) {
  return __builtin_ctzll(word);
}
inline int last_bit(uint64_t word) {
  return kWordBits - 1 - __builtin_clzll(word);
}

// mask(d, pixels) of vectors of pixels of kBytes bytes, `count` pixels in all, 64 at most; the bits
// from `count` on are 0.
template <int kBytes, class Mask>
HWY_INLINE uint64_t pixel_bits(const uint8_t* pixels, int count, const Mask& mask) {
  const auto all = [&](const uint8_t* from) KELVRA_CV_INLINE {
    return mask_bits64<uint8_t>([&](size_t x) { return mask(Full<uint8_t>(), from + x * kBytes); });
  };
  if (count >= kWordBits) return all(pixels);
  uint8_t padded[kWordBits * kBytes] = {};
  std::memcpy(padded, pixels, static_cast<size_t>(count) * kBytes);
  return all(padded) & low_bits(count);
}

// Which bytes equal `value`.
inline uint64_t bits_equal(const uint8_t* bytes, int count, uint8_t value) {
  return pixel_bits<1>(bytes, count, [=](auto d, const uint8_t* from) {
    return hn::LoadU(d, from) == hn::Set(d, value);
  });
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_SHAPE_ROW_BITS_H_
