// Sizes of the tables that the fast Lab conversions look up.
#ifndef KELVRA_CV_COLOR_LAB_TABLES_H_
#define KELVRA_CV_COLOR_LAB_TABLES_H_

namespace KelvraCV::detail {

constexpr int kGammaEntries = 256;          // int: linear light, 10 fractional bits
constexpr int kCubeRootEntries = 1500;      // int: f(i / 1024), 20 fractional bits
constexpr int kInversePlane = 256 * 256;    // int: X or Z by L and a or b
constexpr int kInverseGammaEntries = 4096;  // unsigned short: sRGB byte of linear light i / 4096

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_COLOR_LAB_TABLES_H_
