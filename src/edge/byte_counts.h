// How often each byte value occurs: the histogram from which coarser ones are folded.
#ifndef KELVRA_CV_EDGE_BYTE_COUNTS_H_
#define KELVRA_CV_EDGE_BYTE_COUNTS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace KelvraCV::detail {

// Calls visit(value, bin) for each byte value, in order.
template <class Visit>
void for_each_value(int values_per_bin, Visit visit) {
  if (values_per_bin == 1) {
    for (int value = 0; value < 256; ++value) visit(value, value);  // vectorised
    return;
  }
  for (int value = 0, bin = 0; value < 256; ++bin) {
    const int next = std::min(value + values_per_bin, 256);
    for (; value < next; ++value) visit(value, bin);
  }
}

// Counts in several tables in turn: neighbours are often equal, and an increment must not wait for
// the one before it. Of a few samples, all in one: then tables are the greater cost.
class ByteCounts {
 public:
  // `samples` will be added in all.
  ByteCounts(size_t samples) : tables_(samples < kFew ? 1 : kTables) {
    std::memset(counts_, 0, tables_ * sizeof counts_[0]);
  }

  // `count` samples, `step` bytes apart.
  void add(const uint8_t* samples, size_t count, size_t step) {
    const auto add_with = [&](auto step_of) {
      if (tables_ == 1) return add_to(counts_[0], samples, count, step_of);
      add_to(counts_[0], counts_[1], counts_[2], counts_[3], samples, count, step_of);
    };
    // Steps that the compiler knows become part of its addresses.
    if (step == 1) return add_with([] { return size_t{1}; });
    if (step == 3) return add_with([] { return size_t{3}; });
    if (step == 4) return add_with([] { return size_t{4}; });
    add_with([=] { return step; });
  }

  // Sums the tables into the first one, which the result points to: 256 counts modulo 2^32.
  const uint32_t* total() {
    for (size_t k = 1; k < tables_; ++k) {
      for (size_t value = 0; value < 256; ++value) counts_[0][value] += counts_[k][value];
    }
    return counts_[0];
  }

 private:
  // Not inlined: as arguments, the tables' addresses stay in registers of their own; GCC would
  // compute them anew for each sample. Samples are loaded ahead of the counters' loads and stores.
  template <class Step>
  [[gnu::noinline]] static void add_to(uint32_t* __restrict table0, uint32_t* __restrict table1,
                                       uint32_t* __restrict table2, uint32_t* __restrict table3,
                                       const uint8_t* samples, size_t count, Step step) {
    for (; count >= 8; count -= 8, samples += 8 * step()) {
      uint8_t values[8];
      for (size_t k = 0; k < 8; ++k) values[k] = samples[k * step()];
      for (size_t k = 0; k < 8; k += kTables) {
        ++table0[values[k]];
        ++table1[values[k + 1]];
        ++table2[values[k + 2]];
        ++table3[values[k + 3]];
      }
    }
    add_to(table0, samples, count, step);
  }
  template <class Step>
  static void add_to(uint32_t* table, const uint8_t* samples, size_t count, Step step) {
    for (; count > 0; --count, samples += step()) ++table[*samples];
  }

  static constexpr size_t kTables = 4, kFew = 1024;
  size_t tables_;
  uint32_t counts_[kTables][256];
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_EDGE_BYTE_COUNTS_H_
