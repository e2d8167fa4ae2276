// Summed-area table: at (x, y), the sum of all bytes above and to the left.
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Vectors of sums: eight to a step with AVX2, four with NEON.
constexpr hn::CappedTag<uint32_t, 8> kSums;
using Sums = hn::Vec<decltype(kSums)>;

HWY_INLINE Sums broadcast_last(Sums v) {
  if constexpr (hn::MaxLanes(kSums) == 8) {
    alignas(32) static constexpr int32_t kLast[8] = {7, 7, 7, 7, 7, 7, 7, 7};
    return hn::TableLookupLanes(v, hn::SetTableIndices(kSums, kLast));
  } else {
    return hn::Broadcast<3>(v);
  }
}

// In each block of eight, the sums from its start: by adding neighbours at distances 1, 2 and 4.
template <class D16>
HWY_INLINE hn::Vec<D16> running_sums(D16 d16, const uint8_t* src) {
  auto sums = hn::PromoteTo(d16, hn::LoadU(hn::Rebind<uint8_t, D16>(), src));
  sums = sums + hn::ShiftLeftLanes<1>(d16, sums);
  sums = sums + hn::ShiftLeftLanes<2>(d16, sums);
  return sums + hn::ShiftLeftLanes<4>(d16, sums);
}

// Writes eight sums, from those of their block. `before`, in all lanes, is the sum of the row's
// bytes before them and becomes that of the next: by one addition, which is all that the next block
// waits for.
template <class V16>
HWY_INLINE void store_sums(V16 block, const uint32_t* above, uint32_t* sum, Sums& before) {
  const hn::Rebind<uint16_t, decltype(kSums)> part;
  const auto store = [=](auto sums, int at) HWY_ATTR {
    const auto in_block = hn::PromoteTo(kSums, sums);
    hn::StoreU(in_block + before + hn::LoadU(kSums, above + at), kSums, sum + at);
    return in_block;
  };
  if constexpr (hn::MaxLanes(part) == 8) {
    before = before + broadcast_last(store(block, 0));
  } else {
    store(hn::LowerHalf(part, block), 0);
    before = before + broadcast_last(store(hn::UpperHalf(part, block), 4));
  }
}

// Writes as many sums as `d16` has lanes.
template <class D16>
HWY_INLINE void sum_step(D16 d16, const uint8_t* src, const uint32_t* above, uint32_t* sum,
                         Sums& before) {
  const auto sums = running_sums(d16, src);
  if constexpr (hn::MaxLanes(d16) == 16) {
    const Block<uint16_t> block;
    store_sums(hn::LowerHalf(block, sums), above, sum, before);
    store_sums(hn::UpperHalf(block, sums), above + 8, sum + 8, before);
  } else {
    store_sums(sums, above, sum, before);
  }
}

// sum[x] = above[x] + src[0] + … + src[x], modulo 2^32.
void sum_row(const uint8_t* src, const uint32_t* above, uint32_t* sum, int width) {
  const hn::CappedTag<uint16_t, 16> full;
  const Block<uint16_t> block;
  const int lanes = static_cast<int>(hn::Lanes(full));
  Sums before = hn::Zero(kSums);
  int x = 0;
  for (; x + lanes <= width; x += lanes) sum_step(full, src + x, above + x, sum + x, before);
  for (; x + 8 <= width; x += 8) sum_step(block, src + x, above + x, sum + x, before);
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
    sum_row(row_at(src, y, stride), row + 1, row + pitch + 1, width);
  }
}

}  // namespace KelvraCV
