// Summed-area table: at (x, y), the sum of all bytes above and to the left.
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr TwoBlocks<uint32_t> kSums;
using Sums = hn::Vec<decltype(kSums)>;

// Writes 16 sums, from those of their block. `before`, in all lanes, is the sum of the row's bytes
// before them and becomes that of the next 16.
template <class V16>
HWY_INLINE void store_sums(V16 lower, V16 upper, const uint32_t* above, uint32_t* sum,
                           Sums& before) {
  const hn::Rebind<uint16_t, decltype(kSums)> part;
  const auto promote = [=](V16 v, size_t from) {
    if constexpr (hn::MaxLanes(part) == 8) {
      return hn::PromoteTo(kSums, v);
    } else {
      return hn::PromoteTo(kSums, from == 0 ? hn::LowerHalf(part, v) : hn::UpperHalf(part, v));
    }
  };
  Sums in_block = before;
  for (size_t x = 0; x < 16; x += hn::Lanes(kSums)) {
    in_block = promote(x < 8 ? lower : upper, x % 8);
    hn::StoreU(before + in_block + hn::LoadU(kSums, above + x), kSums, sum + x);
  }
  before = broadcast_last_sum(before, in_block);
}

// Writes as many sums as `d8` has lanes. Inside each block, lane i of `odd` is the sum of bytes 0
// to 2 i + 1: sums of pairs, to which those at distances 1 and then 2 are added, and last lane 3 to
// all lanes behind it. Less byte 2 i + 1 that is `even`, the sum of bytes 0 to 2 i.
template <class D8>
HWY_INLINE void sum_vector(D8 d8, const uint8_t* src, const uint32_t* above, uint32_t* sum,
                           Sums& before) {
  const hn::Repartition<uint16_t, D8> d16;
  const hn::Repartition<uint64_t, D8> d64;
  alignas(16) static constexpr uint8_t kFourthToUpper[16] = {
      0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 6, 7, 6, 7, 6, 7, 6, 7};
  const auto bytes = hn::LoadU(d8, src);
  auto odd = add_pairs(bytes);
  odd = odd + hn::BitCast(d16, hn::ShiftLeft<16>(hn::BitCast(d64, odd)));
  odd = odd + hn::BitCast(d16, hn::ShiftLeft<32>(hn::BitCast(d64, odd)));
  odd = odd + hn::TableLookupBytesOr0(odd, hn::BitCast(d16, hn::LoadDup128(d8, kFourthToUpper)));
  const auto even = odd - hn::ShiftRight<8>(hn::BitCast(d16, bytes));
  const auto lower = hn::InterleaveLower(d16, even, odd);
  const auto upper = hn::InterleaveUpper(d16, even, odd);
  if constexpr (hn::MaxLanes(d8) == 32) {
    const Block<uint16_t> block;
    store_sums(hn::LowerHalf(block, lower), hn::LowerHalf(block, upper), above, sum, before);
    store_sums(hn::UpperHalf(block, lower), hn::UpperHalf(block, upper), above + 16, sum + 16,
               before);
  } else {
    store_sums(lower, upper, above, sum, before);
  }
}

// sum[x] = above[x] + src[0] + … + src[x], modulo 2^32.
void sum_row(const uint8_t* src, const uint32_t* above, uint32_t* sum, size_t width) {
  const TwoBlocks<uint8_t> full;
  const Block<uint8_t> block;
  Sums before = hn::Zero(kSums);
  size_t x = 0;
  for (; x + hn::Lanes(full) <= width; x += hn::Lanes(full)) {
    sum_vector(full, src + x, above + x, sum + x, before);
  }
  for (; x + 16 <= width; x += 16) sum_vector(block, src + x, above + x, sum + x, before);
  uint32_t total = hn::GetLane(before);
  for (; x < width; ++x) {
    total += src[x];
    sum[x] = total + above[x];
  }
}

}  // namespace

void integral_int(const unsigned char* src, int* sum, int width, int height, int stride) {
  if (width < 0 || height < 0) return;
  const size_t pitch = static_cast<size_t>(width) + 1;
  // Unsigned, because sums of large images wrap.
  auto* row = reinterpret_cast<uint32_t*>(sum);
  std::memset(row, 0, pitch * sizeof *row);
  for (int y = 0; y < height; ++y, row += pitch) {
    row[pitch] = 0;
    sum_row(row_at(src, y, stride), row + 1, row + pitch + 1, pitch - 1);
  }
}

}  // namespace KelvraCV
