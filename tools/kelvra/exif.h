// The one entry of Exif data that changes with the pixels: the orientation.
#ifndef KELVRA_CV_TOOLS_KELVRA_EXIF_H_
#define KELVRA_CV_TOOLS_KELVRA_EXIF_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kelvra_cv.h"

namespace kelvra {

// The place of the orientation's value in Exif data (from the TIFF header on), or 0 if it has none.
inline size_t orientation_place(const std::vector<uint8_t>& exif, bool& big_endian) {
  if (exif.size() < 8) return 0;
  const char* const bytes = reinterpret_cast<const char*>(exif.data());
  big_endian = bytes[0] == 'M';
  const auto two = [&](size_t at) {
    return big_endian ? exif[at] << 8 | exif[at + 1] : exif[at + 1] << 8 | exif[at];
  };
  const size_t start = static_cast<uint32_t>(KelvraCV::bytes_to_int(bytes, 4, big_endian));
  if (start > exif.size() - 2) return 0;
  constexpr int kOrientation = 0x0112, kShort = 3;
  const int count = two(start);
  for (int i = 0; i < count; ++i) {
    const size_t entry = start + 2 + 12 * static_cast<size_t>(i);
    if (entry + 12 > exif.size()) return 0;
    if (two(entry) == kOrientation && two(entry + 2) == kShort) return entry + 8;
  }
  return 0;
}

// 1 to 8; 1 where there is none.
inline int exif_orientation(const std::vector<uint8_t>& exif) {
  bool big_endian = false;
  const size_t place = orientation_place(exif, big_endian);
  if (place == 0) return 1;
  const int value = exif[place + (big_endian ? 1 : 0)];
  return value >= 1 && value <= 8 ? value : 1;
}

inline void reset_exif_orientation(std::vector<uint8_t>& exif) {
  bool big_endian = false;
  const size_t place = orientation_place(exif, big_endian);
  if (place == 0) return;
  exif[place] = big_endian ? 0 : 1;
  exif[place + 1] = big_endian ? 1 : 0;
}

}  // namespace kelvra

#endif  // KELVRA_CV_TOOLS_KELVRA_EXIF_H_
