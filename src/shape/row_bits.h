// Pixels of a row as bits: 64 at a time in a word, bit i for pixel i.
#ifndef KELVRA_CV_SHAPE_ROW_BITS_H_
#define KELVRA_CV_SHAPE_ROW_BITS_H_

#include <algorithm>

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

// Which of the 64 bytes equal `value`.
inline uint64_t bits_equal(const uint8_t* bytes, uint8_t value) {
  const Full<uint8_t> d;
  return mask_bits64([&](size_t x) { return hn::LoadU(d, bytes + x) == hn::Set(d, value); });
}

// The same for `count` bytes, less than 64; the bits from `count` on are 0. Not inlined: a row
// needs it at its end only.
HWY_NOINLINE inline uint64_t bits_equal_at_end(const uint8_t* bytes, int count, uint8_t value) {
  uint64_t bits = 0;
  for_each_vector<uint8_t>(static_cast<size_t>(count), [&](auto d, size_t x) KELVRA_CV_INLINE {
    bits |= mask_bits(d, hn::LoadU(d, bytes + x) == hn::Set(d, value)) << x;
  });
  return bits;
}
inline uint64_t bits_equal(const uint8_t* bytes, int count, uint8_t value) {
  return count < kWordBits ? bits_equal_at_end(bytes, count, value) : bits_equal(bytes, value);
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_SHAPE_ROW_BITS_H_
