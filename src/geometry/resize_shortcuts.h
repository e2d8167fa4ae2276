// Bilinear resizes whose weights make something simpler of them: halving, doubling, and picking
// single pixels, as a third does. The bytes are those of the weights.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_SHORTCUTS_H_
#define KELVRA_CV_GEOMETRY_RESIZE_SHORTCUTS_H_

#include <optional>

#include "core/simd.h"
#include "geometry/resize_separable.h"
#include "geometry/row_picker.h"

namespace KelvraCV::detail {

// Destination rows in a simpler way. Of kSource bytes a pixel, kChannels are kept, in an order.
template <int kSource, int kChannels>
class Shortcuts {
 public:
  Shortcuts(int src_width, int dst_width, const ColumnTaps<Linear>& taps, bool swap_red_and_blue)
      : src_width_(src_width), dst_width_(dst_width), columns_(Columns::kOther) {
    for (int c = 0; c < kChannels; ++c) order_[c] = source_channel(c, swap_red_and_blue);
    const auto all = [&](auto holds) {
      for (int x = 0; x < dst_width; ++x) {
        if (!holds(x, taps.first(x), taps.first_weight(x))) return false;
      }
      return true;
    };
    if (2 * int64_t{dst_width} <= src_width &&
        all([](int x, int at, int w) { return at == 2 * x && w == kWeightOne / 2; })) {
      columns_ = Columns::kHalve;
    } else if (dst_width == 2 * int64_t{src_width} && src_width > 1 &&
               all([&](int x, int at, int w) {
                 if (x == 0) return at == 0 && w == kWeightOne;
                 if (x == dst_width - 1) return at == src_width - 2 && w == 0;
                 return at == (x - 1) / 2 && w == (x % 2 != 0 ? kNear : kWeightOne - kNear);
               })) {
      columns_ = Columns::kDouble;
    } else if (kSource == kChannels && !swap_red_and_blue &&
               all([](int, int, int w) { return w == 0 || w == kWeightOne; })) {
      Scratch<int> picked(dst_width);
      for (int x = 0; x < dst_width; ++x) {
        picked[x] = taps.first(x) + (taps.first_weight(x) == 0);
      }
      picker_.emplace(src_width, dst_width, std::move(picked));
    }
    if (columns_ != Columns::kOther) make_tables();
  }

  // Makes a destination row of two neighbouring source rows if columns and rows allow.
  bool row(const uint8_t* top, const uint8_t* bottom, int top_weight, uint8_t* out) const {
    if (picker_ && (top_weight == 0 || top_weight == kWeightOne)) {
      picker_->pick(top_weight == 0 ? bottom : top, out);
      return true;
    }
    if (columns_ == Columns::kHalve && top_weight == kWeightOne / 2) {
      halve(top, bottom, out);
      return true;
    }
    if (columns_ == Columns::kDouble) {
      if (top_weight == kNear) {
        double_columns(top, bottom, out);
        return true;
      }
      if (top_weight == kWeightOne - kNear) {
        double_columns(bottom, top, out);
        return true;
      }
    }
    return false;
  }

 private:
  enum class Columns { kOther, kHalve, kDouble };
  static constexpr int kNear = kWeightOne * 3 / 4;
  static constexpr int kBlock = 16;
  // Destination pixels that half a block of sums holds, and source pixels of a block to be doubled.
  static constexpr int kHalved = kChannels == 1 ? 8 : 2;
  static constexpr int kDoubled = kBlock / kSource;

  using D8 = Full<uint8_t>;
  static constexpr int kBlocks = static_cast<int>(hn::MaxLanes(D8())) / kBlock;

  void make_tables() {
    std::fill_n(neighbours_, kBlock, kNone);
    std::fill_n(compact_, kBlock, kNone);
    for (int p = 0; p < kHalved; ++p) {
      for (int c = 0; c < kChannels; ++c) {
        const int i = p * kChannels + c;
        neighbours_[2 * i] = static_cast<uint8_t>(2 * p * kSource + order_[c]);
        neighbours_[2 * i + 1] = static_cast<uint8_t>((2 * p + 1) * kSource + order_[c]);
        compact_[i] = static_cast<uint8_t>(i);
        compact_[kHalved * kChannels + i] = static_cast<uint8_t>(kBlock / 2 + i);
      }
    }
    std::fill_n(&interleave_[0][0][0], sizeof interleave_, kNone);
    for (int p = 0; p < 2 * kDoubled; ++p) {
      for (int c = 0; c < kChannels; ++c) {
        const int i = p * kChannels + c;
        interleave_[p % 2][i / kBlock][i % kBlock] =
            static_cast<uint8_t>(p / 2 * kSource + order_[c]);
      }
    }
  }

  HWY_INLINE static hn::Vec<D8> shuffle(hn::Vec<D8> v, const uint8_t* table) {
    return hn::TableLookupBytesOr0(v, hn::LoadDup128(D8(), table));
  }

  // Calls work(x) for steps of `step` columns from 0 on, the last of which may overlap the one
  // before, and returns where they end: `count`, or 0 if that is less than one step.
  template <class Work>
  HWY_INLINE static int for_vectors(int count, int step, const Work& work) {
    if (count < step) return 0;
    for (int x = 0; x < count - step; x += step) work(x);
    work(count - step);
    return count;
  }

  // The mean of each 2 x 2 pixels, (a + b + c + d) >> 2. That is what halving comes to: with all
  // weights 1024, ((a + b) 1024 >> 4) 1024 + ((c + d) 1024 >> 4) 1024 is (a + b + c + d) 2^16, and
  // 2^16 >> 18 a quarter.
  void halve(const uint8_t* top, const uint8_t* bottom, uint8_t* out) const {
    const D8 d8;
    const auto ones = hn::Set(d8, 1);
    constexpr int kPixels = 2 * kHalved, kAll = kBlocks * kPixels;
    constexpr ptrdiff_t kStep = ptrdiff_t{2} * kHalved * kSource;  // bytes of half a result block
    // Blocks of three channels are loaded and stored whole, with less than two pixels too many.
    constexpr int kSpare = kSource == 3 || kChannels == 3 ? 2 : 0;
    int x = for_vectors(dst_width_ - kSpare, kAll, [&](int at_x) {
      const auto sums = [&](const uint8_t* row) {
        if constexpr (kChannels == 1) return multiply_add_bytes(hn::LoadU(d8, row), ones);
        return multiply_add_bytes(shuffle(load_blocks(d8, row, 2 * kStep), neighbours_), ones);
      };
      const ptrdiff_t at = ptrdiff_t{2} * at_x * kSource;
      const auto mean = [&](ptrdiff_t from) {
        return hn::ShiftRight<2>(sums(top + from) + sums(bottom + from));
      };
      uint8_t* const to = out + ptrdiff_t{at_x} * kChannels;
      if constexpr (kChannels == 1) {
        hn::StoreU(narrow_to_u8(mean(at), mean(at + kAll)), d8, to);
      } else {
        const auto means = narrow_to_u8_blocks(mean(at), mean(at + kStep));
        store_blocks(d8, kChannels == 4 ? means : shuffle(means, compact_), to,
                     kPixels * kChannels);
      }
    });
    for (; x < dst_width_; ++x) {
      for (int c = 0; c < kChannels; ++c) {
        const ptrdiff_t at = ptrdiff_t{2} * x * kSource + order_[c];
        out[x * kChannels + c] = static_cast<uint8_t>(
            (top[at] + top[at + kSource] + bottom[at] + bottom[at + kSource]) >> 2);
      }
    }
  }

  // Between source pixels, weights 1536 and 512 in both directions: with them no bit is lost along
  // the row, and (9 a + 3 b + 3 c + d) 2^14 >> 18 is (9 a + 3 b + 3 c + d) >> 4, a being nearest
  // and d farthest. The first and the last column take one source column, (3 a + c) >> 2.
  void double_columns(const uint8_t* near, const uint8_t* far, uint8_t* out) const {
    const int last = src_width_ - 1;
    border_column(near, far, out);
    constexpr int kAll = kBlocks * kDoubled;
    // Source pixels x and x + 1 make the columns 2 x + 1 and 2 x + 2. Less than two pixels too many
    // are loaded and stored.
    int x = for_vectors(last - 2, kAll, [&](int at_x) {
      double_vector(near + ptrdiff_t{at_x} * kSource, far + ptrdiff_t{at_x} * kSource,
                    out + (ptrdiff_t{2} * at_x + 1) * kChannels);
    });
    for (; x < last; ++x) {
      for (int c = 0; c < kChannels; ++c) {
        const ptrdiff_t at = ptrdiff_t{x} * kSource + order_[c], next = at + kSource;
        uint8_t* const to = out + (ptrdiff_t{2} * x + 1) * kChannels + c;
        const int left = 3 * near[at] + far[at], right = 3 * near[next] + far[next];
        to[0] = static_cast<uint8_t>((3 * left + right) >> 4);
        to[kChannels] = static_cast<uint8_t>((left + 3 * right) >> 4);
      }
    }
    border_column(near + ptrdiff_t{last} * kSource, far + ptrdiff_t{last} * kSource,
                  out + (ptrdiff_t{dst_width_} - 1) * kChannels);
  }
  void border_column(const uint8_t* near, const uint8_t* far, uint8_t* out) const {
    for (int c = 0; c < kChannels; ++c) {
      out[c] = static_cast<uint8_t>((3 * near[order_[c]] + far[order_[c]]) >> 2);
    }
  }

  HWY_INLINE void double_vector(const uint8_t* near, const uint8_t* far, uint8_t* out) const {
    const D8 d8;
    const hn::Repartition<uint16_t, D8> d16;
    constexpr size_t kStep = size_t{kDoubled} * kSource, kOut = size_t{2} * kDoubled * kChannels;
    const auto near_left = load_blocks(d8, near, kStep), far_left = load_blocks(d8, far, kStep),
               near_right = load_blocks(d8, near + kSource, kStep),
               far_right = load_blocks(d8, far + kSource, kStep);
    // Weights of a pair: the left byte's is the low one.
    const auto weights = [&](int left, int right) {
      return hn::BitCast(d8, hn::Set(d16, static_cast<uint16_t>(right << 8 | left)));
    };
    const auto blend = [&](int left, int right) {
      const auto near_weights = weights(3 * left, 3 * right), far_weights = weights(left, right);
      const auto low =
          multiply_add_bytes(hn::InterleaveLower(near_left, near_right), near_weights) +
          multiply_add_bytes(hn::InterleaveLower(far_left, far_right), far_weights);
      const auto high =
          multiply_add_bytes(hn::InterleaveUpper(d8, near_left, near_right), near_weights) +
          multiply_add_bytes(hn::InterleaveUpper(d8, far_left, far_right), far_weights);
      return narrow_to_u8_blocks(hn::ShiftRight<4>(low), hn::ShiftRight<4>(high));
    };
    const auto odd = blend(3, 1), even = blend(1, 3);
    const auto part = [&](int i) {
      return hn::Or(shuffle(odd, interleave_[0][i]), shuffle(even, interleave_[1][i]));
    };
    // The bytes too many at a block's end are overwritten by what follows.
    if constexpr (kOut > kBlock) store_blocks(d8, part(1), out + kBlock, kOut);
    store_blocks(d8, part(0), out, kOut);
  }

  static constexpr uint8_t kNone = 0x80;

  int src_width_, dst_width_;
  Columns columns_;
  std::optional<RowPicker<kChannels>> picker_;
  int order_[kChannels];
  alignas(16) uint8_t neighbours_[kBlock], compact_[kBlock];
  alignas(16) uint8_t interleave_[2][2][kBlock];
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_SHORTCUTS_H_
