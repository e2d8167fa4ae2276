// Binary threshold of an 8-bit plane.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kelvra_cv.h"

namespace KelvraCV {

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
  for (size_t i = 0; i < count; ++i) dst[i] = src[i] > limit ? passing : uint8_t{0};
}

}  // namespace KelvraCV
