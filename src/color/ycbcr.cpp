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

// The formula on the pairs (first, second) and (third, 0) of 16-bit lanes.
template <class D32, class V16>
HWY_INLINE hn::Vec<D32> apply(D32 d32, const Formula& f, V16 first_and_second, V16 third) {
  const hn::DFromV<V16> d16;
  const auto weights = hn::BitCast(d16, hn::Set(d32, f.b * 65536 + (f.a & 0xffff)));
  const auto third_weight = hn::BitCast(d16, hn::Set(d32, f.c & 0xffff));
  return hn::ShiftRight<kShift>(multiply_add_pairs(d32, first_and_second, weights) +
                                multiply_add_pairs(d32, third, third_weight) +
                                hn::Set(d32, f.offset));
}

// As many pixels as a vector of bytes has lanes, from three vectors to three vectors.
template <class V8>
HWY_INLINE void convert_vectors(const Formula (&formulas)[3], const V8 (&in)[3], V8 (&out)[3]) {
  const hn::DFromV<V8> d8;
  const hn::Repartition<int16_t, decltype(d8)> d16;
  const hn::Repartition<int32_t, decltype(d8)> d32;
  using V16 = hn::Vec<decltype(d16)>;
  const auto zero = hn::Zero(d8);
  // Inside blocks: lower and upper halves as pairs of 16-bit lanes, in four parts.
  V16 pairs[4], thirds[4];
  const auto split = [&](V8 a, V8 b, V16* parts) {
    const auto a_low = hn::BitCast(d16, hn::InterleaveLower(a, zero)),
               a_high = hn::BitCast(d16, hn::InterleaveUpper(d8, a, zero)),
               b_low = hn::BitCast(d16, hn::InterleaveLower(b, zero)),
               b_high = hn::BitCast(d16, hn::InterleaveUpper(d8, b, zero));
    parts[0] = hn::InterleaveLower(a_low, b_low);
    parts[1] = hn::InterleaveUpper(d16, a_low, b_low);
    parts[2] = hn::InterleaveLower(a_high, b_high);
    parts[3] = hn::InterleaveUpper(d16, a_high, b_high);
  };
  split(in[0], in[1], pairs);
  split(in[2], zero, thirds);
  for (int k = 0; k < 3; ++k) {
    const auto part = [&](int i) { return apply(d32, formulas[k], pairs[i], thirds[i]); };
    out[k] = narrow_to_u8_blocks(narrow_to_i16_blocks(part(0), part(1)),
                                 narrow_to_i16_blocks(part(2), part(3)));
  }
}

// A row of three samples a pixel: interleaved, or in three planes.
struct Interleaved {
  uint8_t* samples;

  uint8_t get(int x, int k) const { return samples[3 * x + k]; }
  void set(int x, int k, uint8_t value) const { samples[3 * x + k] = value; }
  template <class D>
  HWY_INLINE void load(D d8, int x, hn::Vec<D> (&v)[3]) const {
    load_pixels<3>(d8, samples + 3 * x, v);
  }
  template <class D>
  HWY_INLINE void store(D d8, const hn::Vec<D> (&v)[3], int x) const {
    store_pixels<3>(d8, v, samples + 3 * x);
  }
  bool overlaps(const uint8_t* other, size_t bytes, int width) const {
    return overlap(samples, size_t{3} * width, other, bytes);
  }
};
struct Planar {
  uint8_t* rows[3];

  uint8_t get(int x, int k) const { return rows[k][x]; }
  void set(int x, int k, uint8_t value) const { rows[k][x] = value; }
  template <class D>
  HWY_INLINE void load(D d8, int x, hn::Vec<D> (&v)[3]) const {
    for (int k = 0; k < 3; ++k) v[k] = hn::LoadU(d8, rows[k] + x);
  }
  template <class D>
  HWY_INLINE void store(D d8, const hn::Vec<D> (&v)[3], int x) const {
    for (int k = 0; k < 3; ++k) hn::StoreU(v[k], d8, rows[k] + x);
  }
  bool overlaps(const uint8_t* other, size_t bytes, int width) const {
    return std::any_of(rows, rows + 3,
                       [&](const uint8_t* row) { return overlap(row, width, other, bytes); });
  }
};

template <class Source, class Destination>
void convert_row(const Formula (&formulas)[3], const Source& src, const Destination& dst, int width,
                 bool in_order) {
  const Full<uint8_t> d8;
  const int lanes = static_cast<int>(hn::Lanes(d8));
  int x = 0;
  for (; !in_order && x + lanes <= width; x += lanes) {
    hn::Vec<decltype(d8)> in[3], out[3];
    src.load(d8, x, in);
    convert_vectors(formulas, in, out);
    dst.store(d8, out, x);
  }
  for (; x < width; ++x) {
    const uint8_t in[3] = {src.get(x, 0), src.get(x, 1), src.get(x, 2)};
    uint8_t out[3];
    convert_pixel(formulas, in, out);
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
      convert_row(kForward, from, to, width, to.overlaps(from.samples, size_t{3} * width, width));
    } else {
      const Interleaved to{dst + size_t{3} * width * y};
      convert_row(kForward, from, to, width, to.overlaps(from.samples, size_t{3} * width, width));
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
      convert_row(kInverse, from, to, width, from.overlaps(to.samples, bytes, width));
    } else {
      const Interleaved from{row_at(samples, y, src_stride)};
      convert_row(kInverse, from, to, width, from.overlaps(to.samples, bytes, width));
    }
  }
}

}  // namespace KelvraCV
