// Collecting bytes of a row from given places, sixteen at a time, by shuffles of the 32 bytes that
// hold them. The places are the same for every row, so that the shuffles are made once.
#ifndef KELVRA_CV_GEOMETRY_BYTE_GATHER_H_
#define KELVRA_CV_GEOMETRY_BYTE_GATHER_H_

#include <algorithm>
#include <vector>

#include "core/simd.h"

namespace KelvraCV::detail {

class ByteGather {
 public:
  static constexpr int kBlock = 16;

  // `place(i)` is where byte i comes from, for i below `count`: 0 to row_bytes - 1.
  template <class Place>
  ByteGather(int count, int row_bytes, Place place) {
    if (count < 1 || row_bytes < kWindow) return;
    const int blocks = (count + kBlock - 1) / kBlock;
    shuffles_.reserve(static_cast<size_t>(blocks) + kSpare);
    for (int block = 0; block < blocks; ++block) {
      const int first = block * kBlock, end = std::min(first + kBlock, count);
      Shuffle shuffle{row_bytes - kWindow, {}, {}};
      for (int i = first; i < end; ++i) shuffle.base = std::min(shuffle.base, place(i));
      std::fill_n(shuffle.low, kBlock, kNone);
      std::fill_n(shuffle.high, kBlock, kNone);
      for (int i = first; i < end; ++i) {
        const int at = place(i) - shuffle.base;
        if (at >= kWindow) {  // too far apart
          shuffles_.clear();
          return;
        }
        (at < kBlock ? shuffle.low : shuffle.high)[i - first] = static_cast<uint8_t>(at % kBlock);
      }
      shuffles_.push_back(shuffle);
    }
    // For whole vectors at the end.
    for (int i = 0; i < kSpare; ++i) shuffles_.push_back(Shuffle(shuffles_.back()));
  }

  // False where the places are too far apart or the row is too short.
  bool is_usable() const { return !shuffles_.empty(); }

  // A vector of bytes, from block `block` on. Up to three blocks past the last one can be asked
  // for.
  template <class D = Full<uint8_t>>
  HWY_INLINE hn::Vec<D> operator()(const uint8_t* row, int block) const {
    const D d8;
    if constexpr (hn::MaxLanes(d8) == 32) {
      return hn::Combine(d8, one_block(row, block + 1), one_block(row, block));
    } else {
      return one_block(row, block);
    }
  }

 private:
  static constexpr int kWindow = 2 * kBlock, kSpare = 3;
  static constexpr uint8_t kNone = 0x80;

  struct Shuffle {
    int base;
    uint8_t low[kBlock], high[kBlock];
  };

  HWY_INLINE hn::Vec<Block<uint8_t>> one_block(const uint8_t* row, int block) const {
    const Block<uint8_t> d8;
    const Shuffle& shuffle = shuffles_[block];
    const auto low = hn::LoadU(d8, row + shuffle.base);
    const auto high = hn::LoadU(d8, row + shuffle.base + kBlock);
    return hn::Or(hn::TableLookupBytesOr0(low, hn::LoadU(d8, shuffle.low)),
                  hn::TableLookupBytesOr0(high, hn::LoadU(d8, shuffle.high)));
  }

  std::vector<Shuffle> shuffles_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_BYTE_GATHER_H_
