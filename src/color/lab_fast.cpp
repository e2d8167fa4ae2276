// RGB to CIE L*a*b* and back in fixed point, by tables, with the rows split over threads.
#include <algorithm>
#include <cstring>

#include "color/lab_tables.h"
#include "core/numeric.h"
#include "core/parallel.h"
#include "core/scratch.h"
#include "core/simd_pixels.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

using Ints = Full<int32_t>;
using V = hn::Vec<Ints>;
constexpr int kQuarter = kPixelLanes / 4;

HWY_INLINE V all(int value) {
  return hn::Set(Ints(), value);
}

// The caller's tables may hold anything, so sums and products that could overflow are unsigned.
using Wrapping = Full<uint32_t>;

HWY_INLINE hn::Vec<Wrapping> times(V v, int factor) {
  return hn::BitCast(Wrapping(), v) * hn::Set(Wrapping(), static_cast<uint32_t>(factor));
}
template <int kBits>
HWY_INLINE V shifted(hn::Vec<Wrapping> sum) {
  return hn::ShiftRight<kBits>(hn::BitCast(Ints(), sum));
}
HWY_INLINE V difference(V a, V b) {
  return hn::BitCast(Ints(), hn::BitCast(Wrapping(), a) - hn::BitCast(Wrapping(), b));
}
// x * factor + 512 >> 20.
HWY_INLINE V scaled(V x, int factor) {
  return shifted<20>(times(x, factor) + hn::Set(Wrapping(), 512));
}

// Pixels between the table look-ups, which are plain loads, and the arithmetic on vectors; so many
// that no vector is loaded while its lanes are still being stored.
constexpr size_t kAhead = 256;
struct Pixels {
  alignas(64) int32_t value[3][kAhead];

  HWY_INLINE V get(int k, int from) const { return hn::Load(Ints(), value[k] + from); }
  HWY_INLINE void set(int k, int from, V v) { hn::Store(v, Ints(), value[k] + from); }
};

// Calls work(y, pixels) for the rows of an image, from the start of each row, over threads; for
// many packed rows as one long row.
template <class Work>
void for_rows(int width, int height, bool packed, int threads, const Work& work) {
  for_row_bands(height, threads, [&](int first, int end) {
    const int together = packed ? end - first : 1;
    for (int y = first; y < end; y += together) work(y, static_cast<size_t>(together) * width);
  });
}

// --- forward ---

// The weights of R, G and B in Y, X and Z, in 20-bit fixed point, without a white point.
constexpr int kWeights[3][3] = {
    {223001, 432488, 20273}, {749899, 374949, 124982}, {75674, 189187, 996385}};
constexpr int kHalf = 1 << 19;

// For each byte of each colour what it adds to Y, X and Z, the last one with the rounding term.
struct ForwardTables {
  ForwardTables(const int* gamma, const int* cube_roots) : cube_root(cube_roots) {
    for (int k = 0; k < 3; ++k) {
      for (size_t i = 0; i < kGammaEntries; ++i) {
        for (int j = 0; j < 3; ++j) {
          light[k][i][j] = static_cast<uint32_t>(kWeights[k][j]) * static_cast<uint32_t>(gamma[i]) +
                           (k == 2 ? kHalf : 0);
        }
        light[k][i][3] = 0;
      }
    }
  }
  alignas(16) uint32_t light[3][kGammaEntries][4];
  const int* cube_root;
};

// f(Y), f(X) and f(Z) of `count` pixels, 20-bit fixed point.
template <class Pixel>
void look_up(const ForwardTables& tables, const uint8_t* src, int count, Pixels& out) {
  const Block<uint32_t> du;
  const Block<int32_t> d;
  const auto last = hn::Set(d, static_cast<int>(kCubeRootEntries) - 1);
#pragma GCC unroll 4
  for (int i = 0; i < count; ++i, src += Pixel::kChannels) {
    const auto sum = hn::BitCast(d, hn::Load(du, tables.light[0][src[Pixel::kRed]]) +
                                        hn::Load(du, tables.light[1][src[1]]) +
                                        hn::Load(du, tables.light[2][src[Pixel::kBlue]]));
    // Within the table for every gamma table of init_rgb_to_lab_fast(); others shall not crash.
    alignas(16) int32_t index[4];
    hn::Store(hn::Min(hn::Max(hn::ShiftRight<20>(sum), hn::Zero(d)), last), d, index);
    for (int k = 0; k < 3; ++k) out.value[k][i] = tables.cube_root[index[k]];
  }
}

// L = (255 n - 4080) / 100, truncated, where n is 116 f(Y) as an integer: with m = n - 16 that is
// 51 m / 20, and x * 3277 >> 16 is x / 20 truncated for x from 0 to 16383.
HWY_INLINE V lightness(V fy) {
  const V n = scaled(fy, 116);
  const V m = hn::Min(hn::Max(n - all(16), all(0)), all(101));
  return hn::ShiftRight<16>(m * all(51 * 3277));
}
// a or b from two values of f.
HWY_INLINE V chroma(V f0, V f1, int factor) {
  return scaled(difference(f0, f1), factor) + all(128);
}

// A vector of pixels of Lab, clamped.
HWY_INLINE void store_lab(const Pixels& f, int from, uint8_t* dst) {
  V parts[3][4];
  for (int i = 0; i < 4; ++i, from += kQuarter) {
    const V fy = f.get(0, from), fx = f.get(1, from), fz = f.get(2, from);
    parts[0][i] = lightness(fy);
    parts[1][i] = chroma(fx, fy, 500);
    parts[2][i] = chroma(fy, fz, 200);
  }
  const auto bytes = [](const V(&v)[4]) { return narrow_to_u8(v[0], v[1], v[2], v[3]); };
  const Bytes lab[3] = {bytes(parts[0]), bytes(parts[1]), bytes(parts[2])};
  store(lab, Interleaved<3>{{dst}});
}

template <class Pixel>
void forward_row(const ForwardTables& tables, const uint8_t* src, uint8_t* dst, size_t count) {
  Pixels f{};
  for (size_t done = 0; done < count; done += kAhead, src += Pixel::kChannels * kAhead) {
    const int part = static_cast<int>(std::min(kAhead, count - done));
    look_up<Pixel>(tables, src, part, f);
    for (int i = 0; i < part; i += kPixelLanes, dst += 3 * kPixelLanes) {
      uint8_t last[3 * kPixelLanes];
      const bool fits = i + kPixelLanes <= part;
      store_lab(f, i, fits ? dst : last);
      if (!fits) std::memcpy(dst, last, 3 * (part - i));
    }
  }
}

template <class Pixel>
void forward(const uint8_t* src, uint8_t* dst, int width, int height, ptrdiff_t src_stride,
             const void* gamma_table, const void* cbrt_table, int threads) {
  if (width < 1 || height < 1) return;
  const bool build = gamma_table == nullptr || cbrt_table == nullptr;
  int built_gamma[kGammaEntries], built_cube_root[kCubeRootEntries];
  if (build) init_rgb_to_lab_fast(built_gamma, built_cube_root);
  const ForwardTables tables(build ? built_gamma : static_cast<const int*>(gamma_table),
                             build ? built_cube_root : static_cast<const int*>(cbrt_table));

  const bool packed = src_stride == ptrdiff_t{Pixel::kChannels} * width;
  for_rows(width, height, packed, threads, [&](int y, size_t count) {
    forward_row<Pixel>(tables, src + y * src_stride, dst + static_cast<size_t>(y) * width * 3,
                       count);
  });
}

// --- inverse ---

// X, Y and Z times 255 become linear light of 12 bits with these weights, after a shift by 6.
constexpr int kInverseWeights[3][3] = {{3318, -1574, -510}, {-992, 1921, 42}, {57, -209, 1082}};

struct InverseTables {
  const int *y, *x, *z;
  const unsigned short* gamma;
};

// Indices into the gamma table of `count` pixels, at most kAhead.
void inverse_light(const InverseTables tables, const uint8_t* src, int count, Pixels& pixels) {
#pragma GCC unroll 4
  for (int i = 0; i < count; ++i, src += 3) {
    const size_t l = src[0], a = src[1], b = src[2];
    pixels.value[0][i] = tables.x[l * 256 + a];
    pixels.value[1][i] = tables.y[l];
    pixels.value[2][i] = tables.z[l * 256 + b];
  }
  for (int from = 0; from < count; from += kQuarter) {
    const V x = pixels.get(0, from), y = pixels.get(1, from), z = pixels.get(2, from);
    for (int k = 0; k < 3; ++k) {
      const int* weights = kInverseWeights[k];
      const V light =
          shifted<6>(times(x, weights[0]) + times(y, weights[1]) + times(z, weights[2]));
      pixels.set(k, from, hn::Min(hn::Max(light, all(0)), all(kInverseGammaEntries - 1)));
    }
  }
}

// Converts `count` pixels, without those whose byte in `mask`, if there is one, is 0.
template <class Pixel>
void inverse_row(const InverseTables& tables, const uint8_t* src, uint8_t* dst, const uint8_t* mask,
                 size_t count) {
  const unsigned short* const gamma = tables.gamma;
  Pixels light{};
  for (size_t done = 0; done < count; done += kAhead) {
    const int part = static_cast<int>(std::min(kAhead, count - done));
    inverse_light(tables, src + 3 * done, part, light);
    uint8_t* out = dst + Pixel::kChannels * done;
#pragma GCC unroll 4
    for (int i = 0; i < part; ++i, out += Pixel::kChannels) {
      if (mask != nullptr && mask[done + i] == 0) continue;
      const unsigned red = gamma[light.value[0][i]], green = gamma[light.value[1][i]],
                     blue = gamma[light.value[2][i]];
      out[Pixel::kRed] = static_cast<uint8_t>(red);
      out[1] = static_cast<uint8_t>(green);
      out[Pixel::kBlue] = static_cast<uint8_t>(blue);
    }
  }
}

template <class Pixel>
void inverse(const uint8_t* src, uint8_t* dst, int width, int height, ptrdiff_t dst_stride,
             const uint8_t* mask, InverseTables tables, int threads) {
  if (width < 1 || height < 1) return;
  const bool build =
      tables.y == nullptr || tables.x == nullptr || tables.z == nullptr || tables.gamma == nullptr;
  const size_t plane = build ? kPlaneEntries : 0;
  Scratch<int> y_table(256), x_table(plane), z_table(plane);
  Scratch<unsigned short> gamma_table(build ? kInverseGammaEntries : 0);
  if (build) {
    tables = {y_table.get(), x_table.get(), z_table.get(), gamma_table.get()};
    init_lab_to_rgb_fast(y_table.get(), x_table.get(), z_table.get(), gamma_table.get());
  }
  const bool packed = dst_stride == ptrdiff_t{Pixel::kChannels} * width;
  for_rows(width, height, packed, threads, [&](int y, size_t count) {
    const size_t pixel = static_cast<size_t>(y) * width;
    inverse_row<Pixel>(tables, src + 3 * pixel, dst + y * dst_stride,
                       mask == nullptr ? nullptr : mask + pixel, count);
  });
}

InverseTables typed(const void* y_table, const void* x_table, const void* z_table,
                    const void* gamma_table) {
  return {static_cast<const int*>(y_table), static_cast<const int*>(x_table),
          static_cast<const int*>(z_table), static_cast<const unsigned short*>(gamma_table)};
}

}  // namespace

void rgb_to_lab_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                     void* gamma_table, void* cbrt_table, int threads) {
  forward<Rgb>(src, dst, width, height, ptrdiff_t{3} * width, gamma_table, cbrt_table, threads);
}

void rgb_to_lab_c4_c3(const unsigned char* src, unsigned char* dst, int width, int height,
                      int src_stride, int order, void* gamma_table, void* cbrt_table, int threads) {
  const auto convert = order == 1 ? forward<Bgra> : forward<Rgba>;
  convert(src, dst, width, height, src_stride, gamma_table, cbrt_table, threads);
}

void lab_to_rgb_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                     unsigned char* mask, void* y_table, void* x_table, void* z_table,
                     void* gamma_table, int threads) {
  inverse<Rgb>(src, dst, width, height, ptrdiff_t{3} * width, mask,
               typed(y_table, x_table, z_table, gamma_table), threads);
}

void lab_to_rgb_c3_c4(const unsigned char* src, unsigned char* dst, int width, int height,
                      int dst_stride, int order, void* y_table, void* x_table, void* z_table,
                      void* gamma_table, int threads) {
  const auto convert = order == 1 ? inverse<Bgra> : inverse<Rgba>;
  convert(src, dst, width, height, dst_stride, nullptr,
          typed(y_table, x_table, z_table, gamma_table), threads);
}

}  // namespace KelvraCV
