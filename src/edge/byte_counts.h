// How often each byte value occurs: the histogram from which coarser ones are folded.
#ifndef KELVRA_CV_EDGE_BYTE_COUNTS_H_
#define KELVRA_CV_EDGE_BYTE_COUNTS_H_

#include <cstddef>
#include <cstdint>

namespace KelvraCV::detail {

// Counts in several tables in turn: neighbours are often equal, and an increment must not wait for
// the one before it.
class ByteCounts {
 public:
  // `count` samples, `step` bytes apart.
  void add(const uint8_t* samples, size_t count, size_t step) {
    size_t i = 0;
    for (; i + kTables <= count; i += kTables, samples += kTables * step) {
      for (size_t k = 0; k < kTables; ++k) ++counts_[k][samples[k * step]];
    }
    for (; i < count; ++i, samples += step) ++counts_[0][*samples];
  }

  // Sums the tables into the first one, which the result points to: 256 counts modulo 2^32.
  const uint32_t* total() {
    for (size_t value = 0; value < 256; ++value) {
      for (size_t k = 1; k < kTables; ++k) counts_[0][value] += counts_[k][value];
    }
    return counts_[0];
  }

 private:
  static constexpr size_t kTables = 4;
  uint32_t counts_[kTables][256] = {};
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_EDGE_BYTE_COUNTS_H_
