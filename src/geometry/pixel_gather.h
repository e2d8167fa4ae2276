// Collecting pixels of a row from chosen places, which are the same for every row, by shuffles of
// the few bytes that hold those of a block.
#ifndef KELVRA_CV_GEOMETRY_PIXEL_GATHER_H_
#define KELVRA_CV_GEOMETRY_PIXEL_GATHER_H_

#include <algorithm>
#include <cstring>
#include <optional>
#include <type_traits>
#include <utility>

#include "core/scratch.h"
#include "core/simd.h"

namespace KelvraCV::detail {

// Where channel c of a destination pixel stands in a source pixel.
constexpr int source_channel(int c, bool swap_red_and_blue) {
  return swap_red_and_blue && c != 1 && c < 3 ? 2 - c : c;
}

// For column x and each of its kChannels the bytes of kSpan neighbouring source pixels side by
// side, from pixel first[x] on; pixels outside of the row stand for the nearest one inside. A
// source pixel has kSource bytes.
//
// Where the pixels of a block are too far apart for its window, or the row is shorter than that,
// they are first copied to a row of their own.
template <int kSource, int kChannels, bool kSwap, int kSpan>
class PixelGather {
 public:
  static constexpr int kBytes = kSpan * kChannels;  // of a column

  PixelGather(int src_width, int dst_width, Scratch<int> first)
      : src_width_(src_width),
        dst_width_(dst_width),
        blocks_((size_t{kBytes} * static_cast<size_t>(dst_width) + kPadding - 1) / kPadding *
                (kPadding / kBlock)),
        first_(std::move(first)),
        bases_(blocks_),
        indices_(blocks_, kBlock) {
    window_ = window_of(place_windows());
    if (window_ == 0) {
      find_unclamped();
      copies_.emplace(2, copy_bytes());
      window_ = window_of(place_windows());
    }
    make_indices();
  }

  // The row that bytes are taken from: `row` or a copy, of which there are two, by `slot`.
  const uint8_t* open(const uint8_t* row, int slot) {
    if (!copies_) return row;
    uint8_t* const copy = copies_->get() + static_cast<size_t>(slot) * copy_bytes();
    copy_pixels(row, copy);
    return copy;
  }

  bool copies_rows() const { return copies_.has_value(); }
  // The pixels of all columns, unchanged.
  void copy_pixels(const uint8_t* row, uint8_t* to) const {
    for (int x = 0; x < begin_; ++x) copy_clamped(x, row, to);
    // Locals, which no byte written can be part of.
    const int *first = first_.get() + begin_, *const end = first_.get() + end_;
    uint8_t* column = to + ptrdiff_t{begin_} * kCopied;
    for (; first < end; ++first, column += kCopied) {
      std::memcpy(column, row + ptrdiff_t{*first} * kSource, kMoved);
    }
    for (int x = end_; x < dst_width_; ++x) copy_clamped(x, row, to);
  }

  // bytes(opened_row, i) is a vector of the bytes from byte i on, a multiple of 16. Whole vectors
  // can be asked for up to the next multiple of 64.
  template <int kWindow>
  struct Bytes {
    const size_t* bases;
    const uint8_t* indices;
    HWY_INLINE auto operator()(const uint8_t* row, size_t i) const {
      const Full<uint8_t> d8;
      const size_t* const base = bases + i / kBlock;
      return look_up_bytes<kWindow>(d8, row + base[0], row + base[hn::MaxLanes(d8) / kBlock - 1],
                                    hn::LoadU(d8, indices + i));
    }
  };
  // Calls f(bytes).
  template <class F>
  HWY_INLINE void use(const F& f) const {
    if (window_ == kBlock) {
      f(Bytes<kBlock>{bases_.get(), indices_.get()});
    } else {
      f(Bytes<2 * kBlock>{bases_.get(), indices_.get()});
    }
  }

 private:
  static constexpr int kBlock = 16, kPadding = 64;
  // The bytes that copying a column moves: some too many where that is quicker, of the next pixel.
  static constexpr int kCopied = kSpan * kSource;
  static constexpr int kMoved = kCopied == 6 ? 8 : kCopied == 3 ? 4 : kCopied;

  // Columns begin_ to end_ - 1 are those that copy_pixels() moves kMoved bytes at a time: all of
  // them are read inside of the row, and any too many are written to a column that is copied after.
  void find_unclamped() {
    const auto is_clamped = [this](int x) {
      return first_[x] < 0 || first_[x] > src_width_ - kSpan - (kMoved > kCopied);
    };
    end_ = dst_width_ - (kMoved > kCopied);
    while (begin_ < end_ && is_clamped(begin_)) ++begin_;
    int x = begin_;
    while (x < end_ && !is_clamped(x)) ++x;
    end_ = x;
  }
  void copy_clamped(int x, const uint8_t* row, uint8_t* to) const {
    for (int k = 0; k < kSpan; ++k) {
      const int pixel = std::clamp(first_[x] + k, 0, src_width_ - 1);
      std::memcpy(to + ptrdiff_t{x} * kCopied + k * kSource, row + ptrdiff_t{pixel} * kSource,
                  kSource);
    }
  }

  size_t copy_bytes() const { return size_t{kCopied} * static_cast<size_t>(dst_width_) + kPadding; }
  size_t row_bytes() const {
    return copies_ ? copy_bytes() : size_t{kSource} * static_cast<size_t>(src_width_);
  }
  // The pixel of the opened row that is number k of column x.
  size_t pixel(int x, int k) const {
    if (copies_) return size_t{kSpan} * static_cast<size_t>(x) + static_cast<size_t>(k);
    return static_cast<size_t>(std::clamp(first_[x] + k, 0, src_width_ - 1));
  }
  // The window that holds so many bytes and is no longer than the row, or 0.
  int window_of(size_t bytes) const {
    const int window = bytes <= kBlock ? kBlock : 2 * kBlock;
    return bytes <= 2 * kBlock && static_cast<size_t>(window) <= row_bytes() ? window : 0;
  }

  // Calls f(i, place) for all bytes, with their places in an opened row.
  template <class F>
  void for_each_byte(const F& f) const {
    size_t i = 0;
    for (int x = 0; x < dst_width_; ++x) {
      size_t pixels[kSpan];
      for (int k = 0; k < kSpan; ++k) pixels[k] = pixel(x, k) * kSource;
      for (int c = 0; c < kChannels; ++c) {
        for (int k = 0; k < kSpan; ++k) f(i++, pixels[k] + source_channel(c, kSwap));
      }
    }
  }

  // Places the blocks' windows at their first bytes, and returns how long they must be.
  size_t place_windows() {
    std::fill_n(bases_.get(), blocks_, size_t{0});
    size_t end = 0, longest = 0;
    for_each_byte([&](size_t i, size_t place) {
      size_t& base = bases_[i / kBlock];
      base = i % kBlock == 0 ? place : std::min(base, place);
      end = i % kBlock == 0 ? place + 1 : std::max(end, place + 1);
      longest = std::max(longest, end - base);
    });
    return longest;
  }

  void make_indices() {
    const size_t last_base = row_bytes() - static_cast<size_t>(window_);
    for (size_t block = 0; block < blocks_; ++block) {
      bases_[block] = std::min(bases_[block], last_base);
    }
    std::fill_n(indices_.get(), blocks_ * kBlock, uint8_t{0});
    for_each_byte([&](size_t i, size_t place) {
      indices_[i] = static_cast<uint8_t>(place - bases_[i / kBlock]);
    });
  }

  int src_width_, dst_width_;
  size_t blocks_;
  Scratch<int> first_;
  Scratch<size_t> bases_;     // where the blocks' windows are
  Scratch<uint8_t> indices_;  // into them
  std::optional<Scratch<uint8_t>> copies_;
  int begin_ = 0, end_ = 0;
  int window_ = 0;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_PIXEL_GATHER_H_
