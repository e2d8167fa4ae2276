// Binary threshold of an 8-bit plane.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {

using namespace detail;

void threshold(unsigned char* src, unsigned char* dst, int width, int height, int thresh,
               int max_value) {
  if (width < 1 || height < 1) return;
  const size_t count = static_cast<size_t>(width) * height;
  const auto passing = static_cast<uint8_t>(max_value);
  // Outside of 0 .. 254 the limit decides alone; inside it is compared as a byte.
  if (thresh < 0 || thresh > 254) {
    std::memset(dst, thresh < 0 ? passing : 0, count);
    return;
  }
  const auto limit = static_cast<uint8_t>(thresh);
  size_t i = 0;
  // In place, and wherever nothing is written ahead of what is still to be read, vectors in
  // ascending order mean the same as the loop after them.
  if (dst == src || !overlap(src, count, dst, count)) {
    const Full<uint8_t> d;
    for (; i + Wide<uint8_t>::kLanes <= count; i += Wide<uint8_t>::kLanes) {
      auto pixels = Wide<uint8_t>::load(src + i);
      for (auto& v : pixels.v) v = hn::IfThenElseZero(v > hn::Set(d, limit), hn::Set(d, passing));
      pixels.store(dst + i);
    }
  }
  for (; i < count; ++i) dst[i] = src[i] > limit ? passing : uint8_t{0};
}

}  // namespace KelvraCV
