// Summed-area table: at (x, y), the sum of all bytes above and to the left.
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// sum[x] = above[x] + src[0] + … + src[x], modulo 2^32. Eight bytes at a time: running sums by
// adding neighbours at distances 1, 2 and 4, then all that came before them.
template <class D32>
void sum_row(D32 d32, const uint8_t* src, const uint32_t* above, uint32_t* sum, int width) {
  const Block<uint16_t> d16;
  const hn::Rebind<uint8_t, decltype(d16)> d8;
  const hn::Rebind<uint16_t, D32> part;
  constexpr bool kOnePart = hn::MaxLanes(d32) == 8;
  auto before = hn::Zero(d32);
  int x = 0;
  for (; x + 8 <= width; x += 8) {
    auto running = hn::PromoteTo(d16, hn::LoadU(d8, src + x));
    running = running + hn::ShiftLeftLanes<1>(d16, running);
    running = running + hn::ShiftLeftLanes<2>(d16, running);
    running = running + hn::ShiftLeftLanes<4>(d16, running);
    const auto last = hn::Broadcast<7>(running);
    const auto store = [&](auto sums, int at) HWY_ATTR {
      hn::StoreU(hn::PromoteTo(d32, sums) + before + hn::LoadU(d32, above + at), d32, sum + at);
    };
    if constexpr (kOnePart) {
      store(running, x);
      before = before + hn::PromoteTo(d32, last);
    } else {
      store(hn::LowerHalf(part, running), x);
      store(hn::UpperHalf(part, running), x + 4);
      before = before + hn::PromoteTo(d32, hn::LowerHalf(part, last));
    }
  }
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
    sum_row(hn::CappedTag<uint32_t, 8>(), row_at(src, y, stride), row + 1, row + pitch + 1, width);
  }
}

}  // namespace KelvraCV
