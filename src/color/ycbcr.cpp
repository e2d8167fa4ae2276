// RGB to studio-range YCbCr and back, with the BT.601 weights in 10-bit fixed point.
#include <algorithm>
#include <cstring>

#include "core/numeric.h"
#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr int kShift = 10;

// One output from the three inputs: (a, b, c weights and offset) >> 10.
struct Formula {
  int a, b, c, offset;
};

// 16896 is 16.5 and 131584 is 128.5, the range's start and one half. Cr's offset is one more, which
// is meant so. No result leaves 16 … 240.
constexpr Formula kForward[3] = {
    {263, 516, 100, 16896}, {-152, -298, 450, 131584}, {450, -377, -73, 131585}};

// The offsets undo 16 and 128 and round by 465, 589 and 553 of 1024. Results are clamped.
constexpr Formula kInverse[3] = {
    {1192, 0, 1634, -227759}, {1192, -401, -832, 139341}, {1192, 2066, 0, -282967}};

void convert_pixel(const Formula (&formulas)[3], const uint8_t in[3], uint8_t out[3]) {
  for (int k = 0; k < 3; ++k) {
    const Formula& f = formulas[k];
    out[k] = clamp_byte((f.a * in[0] + f.b * in[1] + f.c * in[2] + f.offset) >> kShift);
  }
}

using D8 = Full<uint8_t>;
using D16 = hn::Repartition<int16_t, D8>;
using D32 = hn::Repartition<int32_t, D8>;
using Bytes = hn::Vec<D8>;
using Words = hn::Vec<D16>;
constexpr int kLanes = static_cast<int>(hn::MaxLanes(D8()));

// kLanes pixels as pairs of 16-bit lanes, (first, second) and (third, 1). Part i of four has pixels
// 4 i to 4 i + 3 of each 16.
struct Terms {
  Words pairs[4], thirds[4];
};

HWY_INLINE Words weights(int first, int second) {
  return hn::BitCast(D16(), hn::Set(D32(), second * 65536 + (first & 0xffff)));
}

// The whole part of the offset is added after the shift, to half as many vectors, and the rest is
// the weight of 1.
HWY_INLINE Bytes apply(const Formula& f, const Terms& terms) {
  const int whole = f.offset >> kShift, rest = f.offset - whole * (1 << kShift);
  const Words pair_weights = weights(f.a, f.b), third_weights = weights(f.c, rest);
  const auto part = [&](int i) {
    const auto third =
        f.c == 0 ? hn::Set(D32(), rest) : multiply_add_pairs(D32(), terms.thirds[i], third_weights);
    return hn::ShiftRight<kShift>(multiply_add_pairs(D32(), terms.pairs[i], pair_weights) + third);
  };
  const Words offset = hn::Set(D16(), static_cast<int16_t>(whole));
  return narrow_to_u8_blocks(narrow_to_i16_blocks(part(0), part(1)) + offset,
                             narrow_to_i16_blocks(part(2), part(3)) + offset);
}

// A row of three samples a pixel: interleaved, or in three planes.
struct Interleaved {
  uint8_t* samples;

  uint8_t get(int x, int k) const { return samples[3 * x + k]; }
  void set(int x, int k, uint8_t value) const { samples[3 * x + k] = value; }
  // Loads read less than two pixels too many.
  static constexpr int kSparePixels = 2;
  HWY_INLINE void load(int x, Terms& terms) const {
    alignas(16) static constexpr uint8_t kPairs[16] = {0, 128, 1, 128, 3, 128, 4,  128,
                                                       6, 128, 7, 128, 9, 128, 10, 128};
    alignas(16) static constexpr uint8_t kThirds[16] = {2, 128, 128, 128, 5,  128, 128, 128,
                                                        8, 128, 128, 128, 11, 128, 128, 128};
    const D8 d8;
    for (int i = 0; i < 4; ++i) {
      const auto pixels = load_blocks(d8, samples + 3 * x + 12 * i, 48);
      const auto shuffled = [&](const uint8_t* order) {
        return hn::BitCast(D16(), hn::TableLookupBytesOr0(pixels, hn::LoadDup128(d8, order)));
      };
      terms.pairs[i] = shuffled(kPairs);
      terms.thirds[i] = hn::Or(shuffled(kThirds), weights(0, 1));
    }
  }
  HWY_INLINE void store(const Bytes (&v)[3], int x) const {
    store_pixels<3>(D8(), v, samples + 3 * x);
  }
  bool overlaps(const uint8_t* other, size_t bytes, int width) const {
    return overlap(samples, size_t{3} * width, other, bytes);
  }
};
struct Planar {
  uint8_t* rows[3];

  uint8_t get(int x, int k) const { return rows[k][x]; }
  void set(int x, int k, uint8_t value) const { rows[k][x] = value; }
  static constexpr int kSparePixels = 0;
  HWY_INLINE void load(int x, Terms& terms) const {
    const D8 d8;
    const D16 d16;
    const auto zero = hn::Zero(d8);
    const auto interleaved = [&](int k, bool upper) {
      const auto v = hn::LoadU(d8, rows[k] + x);
      return hn::BitCast(d16,
                         upper ? hn::InterleaveUpper(d8, v, zero) : hn::InterleaveLower(v, zero));
    };
    for (int half = 0; half < 2; ++half) {
      const Words first = interleaved(0, half != 0), second = interleaved(1, half != 0),
                  third = interleaved(2, half != 0), one = hn::Set(d16, 1);
      terms.pairs[2 * half] = hn::InterleaveLower(first, second);
      terms.pairs[2 * half + 1] = hn::InterleaveUpper(d16, first, second);
      terms.thirds[2 * half] = hn::InterleaveLower(third, one);
      terms.thirds[2 * half + 1] = hn::InterleaveUpper(d16, third, one);
    }
  }
  HWY_INLINE void store(const Bytes (&v)[3], int x) const {
    for (int k = 0; k < 3; ++k) hn::StoreU(v[k], D8(), rows[k] + x);
  }
  bool overlaps(const uint8_t* other, size_t bytes, int width) const {
    return std::any_of(rows, rows + 3,
                       [&](const uint8_t* row) { return overlap(row, width, other, bytes); });
  }
};

template <const Formula (&kFormulas)[3], class Source, class Destination>
void convert_row(const Source& src, const Destination& dst, int width, bool in_order) {
  int x = 0;
  for (; !in_order && x + kLanes + Source::kSparePixels <= width; x += kLanes) {
    Terms terms;
    src.load(x, terms);
    const Bytes out[3] = {apply(kFormulas[0], terms), apply(kFormulas[1], terms),
                          apply(kFormulas[2], terms)};
    dst.store(out, x);
  }
  for (; x < width; ++x) {
    const uint8_t in[3] = {src.get(x, 0), src.get(x, 1), src.get(x, 2)};
    uint8_t out[3];
    convert_pixel(kFormulas, in, out);
    for (int k = 0; k < 3; ++k) dst.set(x, k, out[k]);
  }
}

// Row y of three packed planes that follow one another.
Planar plane_rows(uint8_t* planes, int width, int height, int y) {
  const size_t plane = static_cast<size_t>(width) * height;
  uint8_t* const row = row_at(planes, y, width);
  return {{row, row + plane, row + 2 * plane}};
}

}  // namespace

void rgb_to_ycbcr(const unsigned char* src, unsigned char* dst, int width, int height,
                  int src_stride, bool planar) {
  if (width < 1) return;
  for (int y = 0; y < height; ++y) {
    const Interleaved from{const_cast<uint8_t*>(row_at(src, y, src_stride))};
    if (planar) {
      const Planar to = plane_rows(dst, width, height, y);
      convert_row<kForward>(from, to, width, to.overlaps(from.samples, size_t{3} * width, width));
    } else {
      const Interleaved to{dst + size_t{3} * width * y};
      convert_row<kForward>(from, to, width, to.overlaps(from.samples, size_t{3} * width, width));
    }
  }
}

void ycbcr_to_rgb(const unsigned char* src, unsigned char* dst, int width, int height,
                  int src_stride, bool planar) {
  if (width < 1) return;
  auto* const samples = const_cast<uint8_t*>(src);
  for (int y = 0; y < height; ++y) {
    const Interleaved to{dst + size_t{3} * width * y};
    const size_t bytes = size_t{3} * width;
    if (planar) {
      const Planar from = plane_rows(samples, width, height, y);
      convert_row<kInverse>(from, to, width, from.overlaps(to.samples, bytes, width));
    } else {
      const Interleaved from{row_at(samples, y, src_stride)};
      convert_row<kInverse>(from, to, width, from.overlaps(to.samples, bytes, width));
    }
  }
}

}  // namespace KelvraCV
