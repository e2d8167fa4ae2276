// Sizes of the tables of the fixed-point Lab conversions.
#ifndef KELVRA_CV_COLOR_LAB_TABLES_H_
#define KELVRA_CV_COLOR_LAB_TABLES_H_

#include <cstddef>

namespace KelvraCV::detail {

constexpr size_t kGammaEntries = 256;          // int: linear light, 10 fractional bits
constexpr size_t kCubeRootEntries = 1500;      // int: f(i / 1024), 20 fractional bits
constexpr size_t kPlaneEntries = 256 * 256;    // int: X or Z by L and a or b
constexpr size_t kInverseGammaEntries = 4096;  // unsigned short: sRGB byte of light i / 4096

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_COLOR_LAB_TABLES_H_
