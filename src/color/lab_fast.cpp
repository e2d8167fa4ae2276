// sRGB to Lab and back by tables, rows shared out to threads.
#include <algorithm>
#include <cstring>

#include "color/lab_tables.h"
#include "core/numeric.h"
#include "core/parallel.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Where the colours stand in a pixel.
struct Layout {
  int channels, red, blue;
};
constexpr Layout kRgb = {3, 0, 2}, kRgba = {4, 0, 2}, kBgra = {4, 2, 0};

// The caller's entries, or null.
template <class T>
void copy_table(const void* from, T* to, size_t count) {
  std::memcpy(to, from, count * sizeof(T));
}

// ---- Forward.

// Sums of linear light by the rows of the XYZ matrix, with 20 fractional bits. Deliberately not
// divided by the white point.
constexpr uint32_t kXyz[3][3] = {
    {432488, 374949, 189187}, {223001, 749899, 75674}, {20273, 124982, 996385}};

// A colour's share of X, Y and Z, for each of its bytes, so that a pixel's are two additions.
struct Shares {
  uint32_t xyz[4];
};

uint8_t lightness(int fy) {
  const int t = static_cast<int>(116u * static_cast<uint32_t>(fy) + 512u) >> 20;
  const int scaled = t * 255;
  if (scaled < 3981) return 0;
  if (scaled >= 29680) return 255;
  return static_cast<uint8_t>((scaled - 4080) / 100);
}

// ((factor * difference + 512) >> 20) + 128, clamped by the limits of the product.
uint8_t chroma(uint32_t factor, int first, int second) {
  const auto product =
      static_cast<int>(factor * (static_cast<uint32_t>(first) - static_cast<uint32_t>(second)));
  if (product < -134218240) return 0;
  if (product >= 134217216) return 255;
  return static_cast<uint8_t>(((product + 512) >> 20) + 128);
}

class ForwardTables {
 public:
  ForwardTables(const void* gamma_table, const void* cbrt_table) {
    int gamma[kGammaEntries];
    if (gamma_table == nullptr || cbrt_table == nullptr) {
      init_rgb_to_lab_fast(gamma, roots_);
    } else {
      copy_table(gamma_table, gamma, kGammaEntries);
      copy_table(cbrt_table, roots_, kCubeRootEntries);
    }
    for (int color = 0; color < 3; ++color) {
      for (int i = 0; i < kGammaEntries; ++i) {
        for (int k = 0; k < 3; ++k) {
          // Half of one is added once.
          shares_[color][i].xyz[k] =
              kXyz[k][color] * static_cast<uint32_t>(gamma[i]) + (color == 0 ? 524288u : 0u);
        }
        shares_[color][i].xyz[3] = 0;
      }
    }
    for (int i = 0; i < kCubeRootEntries; ++i) lightness_[i] = lightness(roots_[i]);
  }

  HWY_INLINE void convert(uint8_t red, uint8_t green, uint8_t blue, uint8_t* lab) const {
    const Block<uint32_t> d;
    const Block<int32_t> d32;
    const auto sum = hn::LoadU(d, shares_[0][red].xyz) + hn::LoadU(d, shares_[1][green].xyz) +
                     hn::LoadU(d, shares_[2][blue].xyz);
    // Entries of the caller's that are no linear light must not lead out of the table.
    const auto index = hn::Min(hn::Max(hn::ShiftRight<20>(hn::BitCast(d32, sum)), hn::Zero(d32)),
                               hn::Set(d32, kCubeRootEntries - 1));
    alignas(16) int32_t at[4];
    hn::Store(index, d32, at);
    const int fx = roots_[at[0]], fy = roots_[at[1]], fz = roots_[at[2]];
    const uint8_t result[3] = {lightness_[at[1]], chroma(500, fx, fy), chroma(200, fy, fz)};
    std::memcpy(lab, result, 3);
  }

 private:
  Shares shares_[3][kGammaEntries];
  int roots_[kCubeRootEntries];
  uint8_t lightness_[kCubeRootEntries];
};

void convert_to_lab(const uint8_t* src, uint8_t* dst, int width, int height, int src_stride,
                    const Layout& layout, const void* gamma_table, const void* cbrt_table,
                    int threads) {
  if (width < 1 || height < 1) return;
  const ForwardTables tables(gamma_table, cbrt_table);
  for_row_blocks(height, threads, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      const uint8_t* pixel = row_at(src, y, src_stride);
      uint8_t* lab = dst + static_cast<size_t>(y) * width * 3;
      for (int x = 0; x < width; ++x, pixel += layout.channels, lab += 3) {
        tables.convert(pixel[layout.red], pixel[1], pixel[layout.blue], lab);
      }
    }
  });
}

// ---- Back.

class InverseTables {
 public:
  InverseTables(const void* y_table, const void* x_table, const void* z_table,
                const void* gamma_table)
      : x_(kInversePlane), z_(kInversePlane), gamma_(kInverseGammaEntries) {
    Scratch<unsigned short> gamma(kInverseGammaEntries);
    if (y_table == nullptr || x_table == nullptr || z_table == nullptr || gamma_table == nullptr) {
      init_lab_to_rgb_fast(y_, x_.get(), z_.get(), gamma.get());
    } else {
      copy_table(y_table, y_, 256);
      copy_table(x_table, x_.get(), kInversePlane);
      copy_table(z_table, z_.get(), kInversePlane);
      copy_table(gamma_table, gamma.get(), kInverseGammaEntries);
    }
    // Only the low byte of an entry counts.
    for (int i = 0; i < kInverseGammaEntries; ++i) gamma_[i] = static_cast<uint8_t>(gamma[i]);
  }

  HWY_INLINE void convert(const uint8_t* lab, uint8_t (&rgb)[3]) const {
    const auto x = static_cast<uint32_t>(x_[lab[0] * 256 + lab[1]]);
    const auto y = static_cast<uint32_t>(y_[lab[0]]);
    const auto z = static_cast<uint32_t>(z_[lab[0] * 256 + lab[2]]);
    rgb[0] = encode(3318u * x - 1574u * y - 510u * z);
    rgb[1] = encode(1921u * y - 992u * x + 42u * z);
    rgb[2] = encode(57u * x - 209u * y + 1082u * z);
  }

 private:
  // Linear light with 18 fractional bits and a sign.
  HWY_INLINE uint8_t encode(uint32_t light) const {
    return gamma_[std::clamp(static_cast<int>(light) >> 6, 0, kInverseGammaEntries - 1)];
  }

  int y_[256];
  Scratch<int> x_, z_;
  Scratch<uint8_t> gamma_;
};

void convert_from_lab(const uint8_t* src, uint8_t* dst, int width, int height, int dst_stride,
                      const Layout& layout, const uint8_t* mask, const InverseTables& tables,
                      int threads) {
  for_row_blocks(height, threads, [&](int first, int end) {
    for (int y = first; y < end; ++y) {
      const size_t start = static_cast<size_t>(y) * width;
      const uint8_t* lab = src + 3 * start;
      uint8_t* pixel = row_at(dst, y, dst_stride);
      for (int x = 0; x < width; ++x, lab += 3, pixel += layout.channels) {
        if (mask != nullptr && mask[start + x] == 0) continue;
        uint8_t rgb[3];
        tables.convert(lab, rgb);
        pixel[layout.red] = rgb[0];
        pixel[1] = rgb[1];
        pixel[layout.blue] = rgb[2];
      }
    }
  });
}

}  // namespace

void rgb_to_lab_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                     void* gamma_table, void* cbrt_table, int threads) {
  convert_to_lab(src, dst, width, height, 3 * width, kRgb, gamma_table, cbrt_table, threads);
}

void rgb_to_lab_c4_c3(const unsigned char* src, unsigned char* dst, int width, int height,
                      int src_stride, int order, void* gamma_table, void* cbrt_table, int threads) {
  convert_to_lab(src, dst, width, height, src_stride, order == 1 ? kBgra : kRgba, gamma_table,
                 cbrt_table, threads);
}

void lab_to_rgb_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                     unsigned char* mask, void* y_table, void* x_table, void* z_table,
                     void* gamma_table, int threads) {
  if (width < 1 || height < 1) return;
  const InverseTables tables(y_table, x_table, z_table, gamma_table);
  convert_from_lab(src, dst, width, height, 3 * width, kRgb, mask, tables, threads);
}

void lab_to_rgb_c3_c4(const unsigned char* src, unsigned char* dst, int width, int height,
                      int dst_stride, int order, void* y_table, void* x_table, void* z_table,
                      void* gamma_table, int threads) {
  if (width < 1 || height < 1) return;
  const InverseTables tables(y_table, x_table, z_table, gamma_table);
  convert_from_lab(src, dst, width, height, dst_stride, order == 1 ? kBgra : kRgba, nullptr, tables,
                   threads);
}

}  // namespace KelvraCV
