// Bilinear and bicubic resizing in 11-bit fixed point: source rows are filtered along the row into
// 16-bit values, of which two or four rows make a destination row.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_
#define KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "geometry/byte_gather.h"
#include "geometry/filtered_rows.h"
#include "geometry/resize_tables.h"

namespace KelvraCV::detail {

// Two weights side by side, as products of pairs want them.
inline int32_t weight_pair(const int16_t* weights) {
  return static_cast<int32_t>(static_cast<uint16_t>(weights[0]) |
                              static_cast<uint32_t>(static_cast<uint16_t>(weights[1])) << 16);
}

// The taps of every destination column.
template <class Kernel>
class ColumnTaps {
 public:
  static constexpr int kTaps = Kernel::kTaps;

  ColumnTaps(int source, int destination)
      : stride_(static_cast<size_t>(destination) + kSpareValues),
        first_(destination),
        pairs_(kTaps / 2, stride_) {
    int* const first = first_.get();
    int32_t* const pairs = pairs_.get();
    Coordinates(source, destination).for_each(destination, [=](int x, float coordinate) {
      const Taps<kTaps> taps = Kernel::taps(coordinate, source);
      first[x] = taps.first;
      for (int p = 0; p < kTaps / 2; ++p)
        pairs[p * stride_ + x] = weight_pair(taps.weights + 2 * p);
    });
    for (int p = 0; p < kTaps / 2; ++p) {
      std::fill_n(&pairs_[p * stride_ + destination], kSpareValues, 0);
    }
  }
  int first(int x) const { return first_[x]; }
  // The weight of the first tap.
  int first_weight(int x) const { return static_cast<int16_t>(pairs_[x] & 0xffff); }
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

// Bytes of the destination, in 32-bit lanes: of two rows' pairs of taps, the columns' weights and
// the pair of the rows' weights.
template <class V16>
HWY_INLINE auto blend_pairs(V16 top, V16 bottom, V16 columns, int32_t rows) {
  const hn::Repartition<int32_t, hn::DFromV<V16>> d32;
  // (sum >> 4) of both rows as a pair.
  const auto pairs =
      hn::Or(hn::ShiftRight<kHorizontalShift>(multiply_add_pairs(d32, top, columns)),
             hn::And(hn::ShiftLeft<16 - kHorizontalShift>(multiply_add_pairs(d32, bottom, columns)),
                     hn::Set(d32, -65536)));
  const hn::DFromV<V16> d16;
  const auto weights = hn::BitCast(d16, hn::Set(d32, rows));
  return hn::ShiftRight<kVerticalShift>(multiply_add_pairs(d32, hn::BitCast(d16, pairs), weights));
}

// ---- Along the row: one channel.
//
// The taps of the columns are collected in pairs of bytes, whole vectors of which are weighted.
template <class Kernel>
class GrayRowFilter {
 public:
  static constexpr int kTaps = Kernel::kTaps, kValues = 1;

  GrayRowFilter(int src_width, int dst_width, ColumnTaps<Kernel> taps)
      : src_width_(src_width), dst_width_(dst_width), taps_(std::move(taps)) {}

  void operator()(const uint8_t* src, int16_t* out) {
    if (gathers_.empty()) make_gathers();
    const Full<uint8_t> d8;
    int x = 0;
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

  // A destination row of two source rows at once, for when no other row needs them; `weights` is
  // the pair of the rows' weights. False if the taps of neighbouring columns are too far apart.
  bool blend(const uint8_t* top, const uint8_t* bottom, int32_t weights, uint8_t* out) {
    if (gathers_.empty()) make_gathers();
    if (!gathers_[0].is_usable()) return false;
    const Full<uint8_t> d8;
    int x = 0;
    for (; x + 2 * kLanes <= dst_width_; x += 2 * kLanes) {
      hn::StoreU(blend_vector(x, top, bottom, weights), d8, out + x);
    }
    if (x < dst_width_) {
      uint8_t last[2 * kLanes];
      hn::StoreU(blend_vector(x, top, bottom, weights), d8, last);
      std::memcpy(out + x, last, static_cast<size_t>(dst_width_ - x));
    }
    return true;
  }

 private:
  static constexpr int kLanes = static_cast<int>(hn::MaxLanes(Full<int16_t>()));

  HWY_INLINE hn::Vec<Full<uint8_t>> blend_vector(int x, const uint8_t* top, const uint8_t* bottom,
                                                 int32_t rows) const {
    const Full<uint8_t> d8;
    const Full<int16_t> d16;
    const auto zero = hn::Zero(d8);
    const auto half = [&](int from) {
      const int block = 2 * from / ByteGather::kBlock;
      const auto above = gathers_[0](top, block), below = gathers_[0](bottom, block);
      const auto* const weights = reinterpret_cast<const uint8_t*>(taps_.pairs(0, from));
      const auto low = blend_pairs(hn::BitCast(d16, hn::InterleaveLower(above, zero)),
                                   hn::BitCast(d16, hn::InterleaveLower(below, zero)),
                                   hn::BitCast(d16, load_blocks(d8, weights, 32)), rows);
      const auto high = blend_pairs(hn::BitCast(d16, hn::InterleaveUpper(d8, above, zero)),
                                    hn::BitCast(d16, hn::InterleaveUpper(d8, below, zero)),
                                    hn::BitCast(d16, load_blocks(d8, weights + 16, 32)), rows);
      return narrow_to_i16_blocks(low, high);
    };
    return narrow_to_u8(half(x), half(x + kLanes));
  }

  void make_gathers() {
    gathers_.reserve(kTaps / 2);
    for (int p = 0; p < kTaps / 2; ++p) {
      gathers_.emplace_back(2 * dst_width_, src_width_,
                            [&](int i) { return place(i / 2, 2 * p + i % 2); });
    }
  }

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
  ColumnTaps<Kernel> taps_;
  std::vector<ByteGather> gathers_;  // made for the first row
};

// Where channel c of a destination pixel stands in a source pixel.
constexpr int source_channel(int c, bool swap_red_and_blue) {
  return swap_red_and_blue && c != 1 && c < 3 ? 2 - c : c;
}

// ---- Along the row: several channels, a pixel at a time, of which all taps are loaded at once.
//
// kSource bytes a source pixel become kChannels values; of four bytes, the last may be dropped.
template <class Kernel, int kSource, int kChannels>
class ColorRowFilter {
 public:
  static constexpr int kTaps = Kernel::kTaps, kValues = kChannels;

  ColorRowFilter(int src_width, int dst_width, ColumnTaps<Kernel> taps, bool swap_red_and_blue)
      : src_width_(src_width), dst_width_(dst_width), taps_(std::move(taps)) {
    for (int p = 0; p < kTaps / 2; ++p) {
      std::fill_n(shuffles_[p], kBlock, uint8_t{0x80});
      for (int c = 0; c < kChannels; ++c) {
        for (int i = 0; i < 2; ++i) {
          shuffles_[p][4 * c + 2 * i] =
              static_cast<uint8_t>((2 * p + i) * kSource + source_channel(c, swap_red_and_blue));
        }
      }
    }
    // The columns whose taps are all in the source, with room for a whole load.
    while (direct_begin_ < dst_width && taps_.first(direct_begin_) < 0) ++direct_begin_;
    direct_end_ = dst_width;
    while (direct_end_ > direct_begin_ && !has_room(taps_.first(direct_end_ - 1))) --direct_end_;
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

  // A destination row of two source rows at once, for when no other row needs them. `weights` is
  // the pair of the rows' weights. True: it always can.
  bool blend(const uint8_t* top, const uint8_t* bottom, int32_t weights, uint8_t* out) const {
    constexpr int kPixels = static_cast<int>(hn::MaxLanes(Full<int32_t>()));
    int x = 0;
    for (; x < direct_begin_; ++x) blend_copied(x, top, bottom, weights, out);
    // Stores of three channels write less than two pixels too many.
    const int end = std::min(direct_end_, dst_width_ - (kChannels == 3 ? 2 : 0));
    for (; x + kPixels <= end; x += kPixels) blend_vector(x, top, bottom, weights, out);
    for (; x < dst_width_; ++x) blend_copied(x, top, bottom, weights, out);
    return true;
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

  void copy_taps(int x, const uint8_t* src, uint8_t (&bytes)[kBlock]) const {
    for (int i = 0; i < kTaps; ++i) {
      const int tap = std::clamp(taps_.first(x) + i, 0, src_width_ - 1);
      std::memcpy(bytes + i * kSource, src + static_cast<size_t>(tap) * kSource, kSource);
    }
  }
  void filter_copied(int x, const uint8_t* src, int16_t* out) const {
    uint8_t bytes[kBlock] = {};
    copy_taps(x, src, bytes);
    filter_pixel(x, bytes, out);
  }

  // Bytes of the destination, in 32-bit lanes, of the taps in both rows and the columns' weights.
  template <class V8, class V32>
  HWY_INLINE auto blended(V8 top, V8 bottom, V32 columns, int32_t rows) const {
    const hn::DFromV<V8> d8;
    const hn::Repartition<int16_t, decltype(d8)> d16;
    const auto taps = [&](V8 bytes) {
      return hn::BitCast(d16, hn::TableLookupBytesOr0(bytes, hn::LoadDup128(d8, shuffles_[0])));
    };
    return blend_pairs(taps(top), taps(bottom), hn::BitCast(d16, columns), rows);
  }

  // As many pixels as a vector has 32-bit lanes. Vector i of four holds pixel i of each block.
  HWY_INLINE void blend_vector(int x, const uint8_t* top, const uint8_t* bottom, int32_t rows,
                               uint8_t* out) const {
    const Full<uint8_t> d8;
    const Full<int32_t> d32;
    const auto columns = hn::LoadU(d32, taps_.pairs(0, x));
    const auto pixel = [&](int i, auto weights) {
      const ptrdiff_t at = ptrdiff_t{kSource} * taps_.first(x + i);
      // The pixel of the next block; where there is one block, the same one, and not used.
      const ptrdiff_t next = ptrdiff_t{kSource} * taps_.first(x + (i + 4) % kLanes32) - at;
      return blended(load_blocks(d8, top + at, static_cast<size_t>(next)),
                     load_blocks(d8, bottom + at, static_cast<size_t>(next)), weights, rows);
    };
    auto bytes = narrow_to_u8_blocks(narrow_to_i16_blocks(pixel(0, hn::Broadcast<0>(columns)),
                                                          pixel(1, hn::Broadcast<1>(columns))),
                                     narrow_to_i16_blocks(pixel(2, hn::Broadcast<2>(columns)),
                                                          pixel(3, hn::Broadcast<3>(columns))));
    if constexpr (kChannels == 3) {
      alignas(16) static constexpr uint8_t kKept[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14};
      bytes = hn::TableLookupBytes(bytes, hn::LoadDup128(d8, kKept));
    }
    store_blocks(d8, bytes, out + ptrdiff_t{x} * kChannels, size_t{4} * kChannels);
  }

  void blend_copied(int x, const uint8_t* top, const uint8_t* bottom, int32_t rows,
                    uint8_t* out) const {
    const Block<uint8_t> d8;
    const Block<int32_t> d32;
    uint8_t taps[2][kBlock] = {};
    copy_taps(x, top, taps[0]);
    copy_taps(x, bottom, taps[1]);
    alignas(16) int32_t bytes[4];
    hn::Store(blended(hn::LoadU(d8, taps[0]), hn::LoadU(d8, taps[1]),
                      hn::Set(d32, *taps_.pairs(0, x)), rows),
              d32, bytes);
    for (int c = 0; c < kChannels; ++c) {
      out[ptrdiff_t{x} * kChannels + c] = static_cast<uint8_t>(bytes[c]);
    }
  }

  static constexpr int kLanes32 = static_cast<int>(hn::MaxLanes(Full<int32_t>()));

  int src_width_, dst_width_;
  int direct_begin_ = 0, direct_end_ = 0;
  ColumnTaps<Kernel> taps_;
  alignas(16) uint8_t shuffles_[kTaps / 2][kBlock];
};

// ---- Across the rows.

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

// The whole resize, given the filter of its rows. `shortcut(filter, rows, taps, out)` may make the
// destination row of source rows where it knows better, and then returns true.
template <class Kernel, class RowFilter, class Shortcut>
void resize_separable(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes, RowFilter filter,
                      Shortcut shortcut) {
  constexpr int kTaps = Kernel::kTaps;
  const size_t count = static_cast<size_t>(sizes.dst_width) * RowFilter::kValues;
  const Coordinates coordinate(sizes.src_height, sizes.dst_height);
  std::optional<FilteredRows<int16_t, kTaps>> filtered;  // once a row needs it
  for (int y = 0; y < sizes.dst_height; ++y) {
    const Taps<kTaps> taps = Kernel::taps(coordinate(y), sizes.src_height);
    uint8_t* const out = row_at(dst, y, sizes.dst_stride);
    int wanted[kTaps];
    const uint8_t* rows[kTaps];
    for (int i = 0; i < kTaps; ++i) {
      wanted[i] = std::clamp(taps.first + i, 0, sizes.src_height - 1);
      rows[i] = row_at(src, wanted[i], sizes.src_stride);
    }
    if (shortcut(filter, rows, taps, out)) continue;
    if (!filtered) filtered.emplace(count);
    filtered->load(wanted, [&](int row, int16_t* values) {
      filter(row_at(src, row, sizes.src_stride), values);
    });
    blend_rows<kTaps>(filtered->rows(), taps, out, count);
  }
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_SEPARABLE_H_
