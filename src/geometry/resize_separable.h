// Bilinear and bicubic resizing in 11-bit fixed point: source rows are filtered along the row into
// 16-bit values, of which two or four rows make a destination row.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_
#define KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_

#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "geometry/byte_gather.h"
#include "geometry/resize_tables.h"

namespace KelvraCV::detail {

// Whole vectors may be read and written past the end of the scratch rows.
constexpr size_t kSpareValues = 64;

// Two weights side by side, as products of pairs want them.
inline int32_t weight_pair(const int16_t* weights) {
  int32_t pair;
  std::memcpy(&pair, weights, sizeof pair);
  return pair;
}

// The taps of every destination column.
template <int kTaps>
class ColumnTaps {
 public:
  using TapsOf = Taps<kTaps> (*)(float coordinate, int source);

  ColumnTaps(int source, int destination, TapsOf taps_of)
      : stride_(static_cast<size_t>(destination) + kSpareValues),
        first_(destination),
        pairs_(kTaps / 2, stride_) {
    const Coordinates coordinate(source, destination);
    for (int x = 0; x < destination; ++x) {
      const Taps<kTaps> taps = taps_of(coordinate(x), source);
      first_[x] = taps.first;
      for (int p = 0; p < kTaps / 2; ++p) {
        pairs_[p * stride_ + x] = weight_pair(taps.weights + 2 * p);
      }
    }
    for (int p = 0; p < kTaps / 2; ++p) {
      std::fill_n(&pairs_[p * stride_ + destination], kSpareValues, 0);
    }
  }
  int first(int x) const { return first_[x]; }
  // Whether every column is the mean of two neighbours of its own.
  bool is_halving(int source) const {
    const auto count = static_cast<int>(stride_ - kSpareValues);
    for (int x = 0; x < count; ++x) {
      if (first_[x] != 2 * x || pairs_[x] != kHalves) return false;
    }
    return kTaps == 2 && 2 * int64_t{count} <= source;
  }
  static constexpr int32_t kHalves = kWeightOne / 2 << 16 | kWeightOne / 2;

  // The weights of taps 2 p and 2 p + 1 of columns from x on.
  const int32_t* pairs(int p, int x) const { return &pairs_[p * stride_ + x]; }

 private:
  size_t stride_;
  Scratch<int> first_;
  Scratch<int32_t> pairs_;
};

// (sum >> 4) & 0xffff, as a signed 16-bit value in a 32-bit lane. Linear sums fit; cubic ones may
// wrap, as they should.
template <int kTaps, class V32>
HWY_INLINE V32 horizontal_value(V32 sum) {
  if constexpr (kTaps == 2) return hn::ShiftRight<kHorizontalShift>(sum);
  return hn::ShiftRight<16>(hn::ShiftLeft<16 - kHorizontalShift>(sum));
}

// The mean of each 2 x 2 pixels, (a + b + c + d) >> 2. That is what halving comes to: with all
// weights 1024, ((a + b) 1024 >> 4) 1024 + ((c + d) 1024 >> 4) 1024 is (a + b + c + d) 2^16, and
// 2^16 >> 18 a quarter.
template <int kSource, int kChannels>
void halve_row(const uint8_t* top, const uint8_t* bottom, uint8_t* out, int width,
               const int (&order)[kChannels]) {
  const Full<uint8_t> d8;
  const Full<int16_t> d16;
  const Full<uint16_t> du16;
  const int lanes = static_cast<int>(hn::Lanes(d8));
  using V8 = hn::Vec<decltype(d8)>;
  const auto pair_sums = [&](V8 v) {
    const auto pairs = hn::BitCast(du16, v);
    return hn::And(pairs, hn::Set(du16, 0xff)) + hn::ShiftRight<8>(pairs);
  };
  int x = 0;
  for (; x + lanes <= width; x += lanes) {
    hn::Vec<decltype(d16)> means[2][kChannels];
    for (int part = 0; part < 2; ++part) {
      const ptrdiff_t at = ptrdiff_t{kSource} * (2 * x + part * lanes);
      V8 above[4], below[4];
      load_pixels<kSource>(d8, top + at, above);
      load_pixels<kSource>(d8, bottom + at, below);
      for (int c = 0; c < kChannels; ++c) {
        const auto sum = pair_sums(above[order[c]]) + pair_sums(below[order[c]]);
        means[part][c] = hn::BitCast(d16, hn::ShiftRight<2>(sum));
      }
    }
    V8 result[4];
    for (int c = 0; c < kChannels; ++c) result[c] = narrow_to_u8(means[0][c], means[1][c]);
    store_pixels<kChannels>(d8, result, out + ptrdiff_t{kChannels} * x);
  }
  for (; x < width; ++x) {
    for (int c = 0; c < kChannels; ++c) {
      const ptrdiff_t at = ptrdiff_t{2} * x * kSource + order[c];
      out[x * kChannels + c] = static_cast<uint8_t>(
          (top[at] + top[at + kSource] + bottom[at] + bottom[at + kSource]) >> 2);
    }
  }
}

// ---- Along the row: one channel.
//
// The taps of the columns are collected in pairs of bytes, whole vectors of which are weighted.
// Shrinking to half, the bilinear pairs are the source row itself.
template <int kTaps>
class GrayRowFilter {
 public:
  static constexpr int kValues = 1;

  GrayRowFilter(int src_width, int dst_width, typename ColumnTaps<kTaps>::TapsOf taps_of)
      : src_width_(src_width),
        dst_width_(dst_width),
        taps_(src_width, dst_width, taps_of),
        is_halving_(taps_.is_halving(src_width)) {
    while (kTaps == 2 && in_place_ < dst_width && taps_.first(in_place_) == 2 * in_place_ &&
           2 * in_place_ + 1 < src_width) {
      ++in_place_;
    }
    in_place_ -= in_place_ % kLanes;
    gathers_.reserve(kTaps / 2);
    for (int p = 0; p < kTaps / 2; ++p) {
      gathers_.emplace_back(2 * dst_width, src_width,
                            [&](int i) { return place(i / 2, 2 * p + i % 2); });
    }
  }

  bool is_halving() const { return is_halving_; }
  void halve(const uint8_t* top, const uint8_t* bottom, uint8_t* out) const {
    halve_row<1, 1>(top, bottom, out, dst_width_, {0});
  }

  void operator()(const uint8_t* src, int16_t* out) const {
    const Full<uint8_t> d8;
    int x = 0;
    if constexpr (kTaps == 2) {
      for (; x < in_place_; x += kLanes) {
        weigh(x, out, [&](int) { return hn::LoadU(d8, src + 2 * x); });
      }
    }
    if (gathers_[0].is_usable() && gathers_[kTaps / 2 - 1].is_usable()) {
      for (; x < dst_width_; x += kLanes) {
        weigh(x, out, [&](int p) { return gathers_[p](src, 2 * x / ByteGather::kBlock); });
      }
    }
    for (; x < dst_width_; x += kLanes) {
      uint8_t pairs[kTaps / 2][2 * kLanes] = {};
      const int count = std::min(kLanes, dst_width_ - x);
      for (int i = 0; i < count * kTaps; ++i) {
        const int column = i / kTaps, tap = i % kTaps;
        pairs[tap / 2][2 * column + tap % 2] = src[place(x + column, tap)];
      }
      weigh(x, out, [&](int p) { return hn::LoadU(d8, pairs[p]); });
    }
  }

 private:
  static constexpr int kLanes = static_cast<int>(hn::MaxLanes(Full<int16_t>()));

  int place(int x, int tap) const { return std::clamp(taps_.first(x) + tap, 0, src_width_ - 1); }

  // kLanes values from column x on. `pairs(p)` gives their taps 2 p and 2 p + 1.
  template <class Pairs>
  HWY_INLINE void weigh(int x, int16_t* out, Pairs pairs) const {
    const Full<uint8_t> d8;
    const Full<int16_t> d16;
    const Full<int32_t> d32;
    auto low = hn::Zero(d32), high = hn::Zero(d32);
    for (int p = 0; p < kTaps / 2; ++p) {
      const auto bytes = pairs(p);
      const auto* const weights = reinterpret_cast<const uint8_t*>(taps_.pairs(p, x));
      const auto zero = hn::Zero(d8);
      low = low + multiply_add_pairs(d32, hn::BitCast(d16, hn::InterleaveLower(bytes, zero)),
                                     hn::BitCast(d16, load_blocks(d8, weights, 32)));
      high = high + multiply_add_pairs(d32, hn::BitCast(d16, hn::InterleaveUpper(d8, bytes, zero)),
                                       hn::BitCast(d16, load_blocks(d8, weights + 16, 32)));
    }
    hn::StoreU(narrow_to_i16_blocks(horizontal_value<kTaps>(low), horizontal_value<kTaps>(high)),
               d16, out + x);
  }

  int src_width_, dst_width_;
  int in_place_ = 0;  // columns whose pairs are the source row's, a number of whole vectors
  ColumnTaps<kTaps> taps_;
  bool is_halving_;
  std::vector<ByteGather> gathers_;
};

// ---- Along the row: several channels, a pixel at a time, of which all taps are loaded at once.
//
// kSource bytes a source pixel become kChannels values; of four bytes, the last may be dropped.
template <int kTaps, int kSource, int kChannels>
class ColorRowFilter {
 public:
  static constexpr int kValues = kChannels;

  ColorRowFilter(int src_width, int dst_width, typename ColumnTaps<kTaps>::TapsOf taps_of,
                 bool swap_red_and_blue)
      : src_width_(src_width),
        dst_width_(dst_width),
        taps_(src_width, dst_width, taps_of),
        is_halving_(taps_.is_halving(src_width)) {
    for (int c = 0; c < kChannels; ++c)
      order_[c] = swap_red_and_blue && c != 1 && c < 3 ? 2 - c : c;
    for (int p = 0; p < kTaps / 2; ++p) {
      std::fill_n(shuffles_[p], kBlock, uint8_t{0x80});
      for (int c = 0; c < kChannels; ++c) {
        for (int i = 0; i < 2; ++i) {
          shuffles_[p][4 * c + 2 * i] = static_cast<uint8_t>((2 * p + i) * kSource + order_[c]);
        }
      }
    }
    // The columns whose taps are all in the source, with room for a whole load.
    while (direct_begin_ < dst_width && taps_.first(direct_begin_) < 0) ++direct_begin_;
    direct_end_ = direct_begin_;
    while (direct_end_ < dst_width && has_room(taps_.first(direct_end_))) ++direct_end_;
  }

  bool is_halving() const { return is_halving_; }
  void halve(const uint8_t* top, const uint8_t* bottom, uint8_t* out) const {
    halve_row<kSource, kChannels>(top, bottom, out, dst_width_, order_);
  }

  void operator()(const uint8_t* src, int16_t* out) const {
    int x = 0;
    for (; x < direct_begin_; ++x) filter_copied(x, src, out);
    if constexpr (hn::MaxLanes(Full<uint8_t>()) == 2 * kBlock) {
      for (; x + 2 <= direct_end_; x += 2) filter_two_pixels(x, src, out);
    }
    for (; x < direct_end_; ++x) {
      filter_pixel(x, src + static_cast<size_t>(taps_.first(x)) * kSource, out);
    }
    for (x = direct_end_; x < dst_width_; ++x) filter_copied(x, src, out);
  }

 private:
  static constexpr int kBlock = 16;
  static_assert(kTaps * kSource <= kBlock);

  bool has_room(int first) const {
    return static_cast<size_t>(first) * kSource + kBlock <=
           static_cast<size_t>(src_width_) * kSource;
  }

  HWY_INLINE void filter_pixel(int x, const uint8_t* taps, int16_t* out) const {
    const Block<uint8_t> d8;
    const Block<int16_t> d16;
    const Block<int32_t> d32;
    const auto bytes = hn::LoadU(d8, taps);
    auto sum = hn::Zero(d32);
    for (int p = 0; p < kTaps / 2; ++p) {
      const auto values = hn::TableLookupBytesOr0(bytes, hn::Load(d8, shuffles_[p]));
      const auto weights = hn::BitCast(d16, hn::Set(d32, *taps_.pairs(p, x)));
      sum = sum + multiply_add_pairs(d32, hn::BitCast(d16, values), weights);
    }
    const auto value = horizontal_value<kTaps>(sum);
    // Four values, of which a fourth channel that is none is overwritten by the next pixel.
    hn::StoreU(hn::LowerHalf(narrow_to_i16_blocks(value, value)), hn::Half<decltype(d16)>(),
               out + static_cast<size_t>(x) * kChannels);
  }

  // The same for columns x and x + 1, on vectors of two blocks.
  HWY_INLINE void filter_two_pixels(int x, const uint8_t* src, int16_t* out) const {
    const Full<uint8_t> d8;
    const Full<int16_t> d16;
    const Full<int32_t> d32;
    const ptrdiff_t apart = ptrdiff_t{kSource} * (taps_.first(x + 1) - taps_.first(x));
    const auto bytes = load_blocks(d8, src + static_cast<size_t>(taps_.first(x)) * kSource,
                                   static_cast<size_t>(apart));
    auto sum = hn::Zero(d32);
    for (int p = 0; p < kTaps / 2; ++p) {
      const auto values = hn::TableLookupBytesOr0(bytes, hn::LoadDup128(d8, shuffles_[p]));
      const auto weights = hn::BitCast(d16, set_blocks(d32, taps_.pairs(p, x)));
      sum = sum + multiply_add_pairs(d32, hn::BitCast(d16, values), weights);
    }
    const auto value = horizontal_value<kTaps>(sum);
    const auto narrow = narrow_to_i16_blocks(value, value);
    const hn::Half<decltype(d16)> block;
    const hn::Half<decltype(block)> half;
    int16_t* const to = out + static_cast<size_t>(x) * kChannels;
    hn::StoreU(hn::LowerHalf(half, hn::LowerHalf(block, narrow)), half, to);
    hn::StoreU(hn::LowerHalf(half, hn::UpperHalf(block, narrow)), half, to + kChannels);
  }

  void filter_copied(int x, const uint8_t* src, int16_t* out) const {
    uint8_t bytes[kBlock] = {};
    for (int i = 0; i < kTaps; ++i) {
      const int tap = std::clamp(taps_.first(x) + i, 0, src_width_ - 1);
      std::memcpy(bytes + i * kSource, src + static_cast<size_t>(tap) * kSource, kSource);
    }
    filter_pixel(x, bytes, out);
  }

  int src_width_, dst_width_;
  int direct_begin_ = 0, direct_end_ = 0;
  ColumnTaps<kTaps> taps_;
  bool is_halving_;
  int order_[kChannels];
  alignas(16) uint8_t shuffles_[kTaps / 2][kBlock];
};

// ---- Across the rows.

// The filtered source rows that a destination row takes. Those that the row before had are kept.
template <class T, int kTaps>
class FilteredRows {
 public:
  explicit FilteredRows(size_t count) : stride_(count + kSpareValues), values_(kTaps, stride_) {
    std::fill_n(sources_, kTaps, -1);
  }

  // `filter` is called with a source row's number and the place of its values.
  template <class Filter>
  void load(const int (&wanted)[kTaps], Filter filter) {
    for (int i = 0; i < kTaps; ++i) {
      const int* slot = std::find(sources_, sources_ + kTaps, wanted[i]);
      if (slot == sources_ + kTaps) {
        slot = std::find_if(sources_, sources_ + kTaps, [&](int source) {
          return std::find(wanted, wanted + kTaps, source) == wanted + kTaps;
        });
        filter(wanted[i], values(slot));
        sources_[slot - sources_] = wanted[i];
      }
      rows_[i] = values(slot);
    }
  }
  const T* const* rows() const { return rows_; }

 private:
  T* values(const int* slot) { return values_.get() + (slot - sources_) * stride_; }

  size_t stride_;
  int sources_[kTaps];
  const T* rows_[kTaps] = {};
  Scratch<T> values_;
};

// A vector of bytes from column x on: (the rows' weighted sum >> 18) & 0xff.
template <int kTaps>
HWY_INLINE hn::Vec<Full<uint8_t>> blend_vector(const int16_t* const* rows, const int32_t* weights,
                                               size_t x) {
  const Full<int16_t> d16;
  const Full<int32_t> d32;
  const auto half = [&](size_t at) {
    auto low = hn::Zero(d32), high = hn::Zero(d32);
    for (int p = 0; p < kTaps / 2; ++p) {
      const auto a = hn::LoadU(d16, rows[2 * p] + at), b = hn::LoadU(d16, rows[2 * p + 1] + at);
      const auto weight = hn::BitCast(d16, hn::Set(d32, weights[p]));
      low = low + multiply_add_pairs(d32, hn::InterleaveLower(a, b), weight);
      high = high + multiply_add_pairs(d32, hn::InterleaveUpper(d16, a, b), weight);
    }
    // Two taps' sums have no bits above; four taps' may have, which do not count.
    const auto byte = [&](hn::Vec<decltype(d32)> sum) {
      const auto value = hn::ShiftRight<kVerticalShift>(sum);
      return kTaps == 2 ? value : hn::And(value, hn::Set(d32, 0xff));
    };
    return narrow_to_i16_blocks(byte(low), byte(high));
  };
  return narrow_to_u8(half(x), half(x + hn::Lanes(d16)));
}

template <int kTaps>
void blend_rows(const int16_t* const* rows, const Taps<kTaps>& taps, uint8_t* out, size_t count) {
  int32_t weights[kTaps / 2];
  for (int p = 0; p < kTaps / 2; ++p) weights[p] = weight_pair(taps.weights + 2 * p);
  const Full<uint8_t> d8;
  const size_t lanes = hn::Lanes(d8);
  size_t x = 0;
  for (; x + lanes <= count; x += lanes) {
    hn::StoreU(blend_vector<kTaps>(rows, weights, x), d8, out + x);
  }
  if (x < count) {
    uint8_t last[hn::MaxLanes(d8)];
    hn::StoreU(blend_vector<kTaps>(rows, weights, x), d8, last);
    std::memcpy(out + x, last, count - x);
  }
}

struct ResizeSizes {
  int src_width, src_height, src_stride;
  int dst_width, dst_height, dst_stride;

  bool is_empty() const {
    return src_width < 1 || src_height < 1 || dst_width < 1 || dst_height < 1;
  }
};

// The whole resize, given the filter of its rows.
template <int kTaps, class RowFilter>
void resize_separable(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes,
                      typename ColumnTaps<kTaps>::TapsOf taps_of, RowFilter filter) {
  const size_t count = static_cast<size_t>(sizes.dst_width) * RowFilter::kValues;
  const Coordinates coordinate(sizes.src_height, sizes.dst_height);
  FilteredRows<int16_t, kTaps> filtered(count);
  for (int y = 0; y < sizes.dst_height; ++y) {
    const Taps<kTaps> taps = taps_of(coordinate(y), sizes.src_height);
    uint8_t* const out = row_at(dst, y, sizes.dst_stride);
    if constexpr (kTaps == 2) {
      if (filter.is_halving() && weight_pair(taps.weights) == ColumnTaps<2>::kHalves &&
          taps.first + 1 < sizes.src_height) {
        filter.halve(row_at(src, taps.first, sizes.src_stride),
                     row_at(src, taps.first + 1, sizes.src_stride), out);
        continue;
      }
    }
    int wanted[kTaps];
    for (int i = 0; i < kTaps; ++i) {
      wanted[i] = std::clamp(taps.first + i, 0, sizes.src_height - 1);
    }
    filtered.load(wanted, [&](int row, int16_t* values) {
      filter(row_at(src, row, sizes.src_stride), values);
    });
    blend_rows<kTaps>(filtered.rows(), taps, out, count);
  }
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_
