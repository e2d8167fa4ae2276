// Collecting pixels of a row from chosen places, which are the same for every row, by shuffles of
// the few bytes that hold those of a block.
#ifndef KELVRA_CV_GEOMETRY_PIXEL_GATHER_H_
#define KELVRA_CV_GEOMETRY_PIXEL_GATHER_H_

#include <algorithm>
#include <cstring>

#include "core/scratch.h"
#include "core/simd_pixels.h"

namespace KelvraCV::detail {

// Where channel c of a destination pixel stands in a source pixel.
constexpr int source_channel(int c, bool swap_red_and_blue) {
  return swap_red_and_blue && c != 1 && c < 3 ? 2 - c : c;
}

constexpr int next_power_of_two(int n) {
  int power = 1;
  while (power < n) power *= 2;
  return power;
}

// For column x and each of its kChannels the bytes of kSpan neighbouring source pixels side by
// side, from pixel first[x] on; pixels outside of the row stand for the nearest one inside. Further
// sets have the pixels that follow: those of set s begin at first[x] + s kSpan. A source pixel has
// kSource bytes.
//
// A block of 16 bytes is looked up in a window of the row, or, where its columns are too far apart,
// in pieces of the row, one for each column.
template <int kSource, int kChannels, bool kSwap, int kSpan, int kSets = 1>
class PixelGather {
 public:
  PixelGather(int src_width, int dst_width, const Scratch<int>& first)
      : src_width_(src_width),
        dst_width_(dst_width),
        row_bytes_(size_t{kSource} * static_cast<size_t>(src_width)),
        blocks_((size_t{kColumn} * static_cast<size_t>(dst_width) + kPadding - 1) / kPadding *
                (kPadding / kBlock)),
        bases_(kSets * kPieces, blocks_),
        indices_(kSets * blocks_, kBlock) {
    std::fill_n(bases_.get(), kSets * blocks_, size_t{0});
    std::fill_n(indices_.get(), kSets * blocks_ * kBlock, uint8_t{0});
    const size_t longest = make_windows(first.get());
    if (longest <= 2 * kBlock) {
      form_ = longest <= kBlock ? Form::kOneBlock : Form::kTwoBlocks;
      keep_windows_inside(longest <= kBlock ? kBlock : 2 * kBlock);
    } else {
      form_ = Form::kPieces;
      make_pieces(first.get());
    }
  }

  // The row that bytes are taken from: `row`, or a copy of one that is shorter than a window. There
  // are two copies, by `slot`.
  const uint8_t* open(const uint8_t* row, int slot) {
    if (row_bytes_ >= 2 * kBlock) return row;
    return static_cast<uint8_t*>(std::memcpy(short_rows_[slot], row, row_bytes_));
  }

  // bytes(opened_row, i, set) is a vector of the set's bytes from byte i on, a multiple of 16.
  // Pairs of vectors can be asked for until they cover the set.
  enum class Form { kOneBlock, kTwoBlocks, kPieces };
  template <Form kForm>
  struct Bytes {
    const size_t* bases;
    const uint8_t* indices;
    size_t set_bytes;
    HWY_INLINE auto operator()(const uint8_t* row, size_t i, size_t set = 0) const {
      const Full<uint8_t> d8;
      const size_t at = set * set_bytes + i;
      const auto index = hn::LoadU(d8, indices + at);
      if constexpr (kForm != Form::kPieces) {
        constexpr int kWindow = kForm == Form::kOneBlock ? kBlock : 2 * kBlock;
        return look_up_bytes<kWindow>(d8, row, bases + at / kBlock, index);
      } else {
        const size_t* const base = bases + at / (kBlock / kPieces);
        const auto pieces = [=](int from) KELVRA_CV_INLINE {
          return load_pieces<Piece>(d8, row, base + from, kPieces);
        };
        if constexpr (kPieces * kPiece == kBlock) {
          return hn::TableLookupBytes(pieces(0), index);
        } else {
          return look_up_two(opaque(pieces(0)), opaque(pieces(kPieces / 2)), index);
        }
      }
    }
  };
  // Calls f(bytes).
  template <class F>
  HWY_INLINE void use(const F& f) const {
    if (form_ == Form::kOneBlock) {
      f(bytes<Form::kOneBlock>());
    } else if (form_ == Form::kTwoBlocks) {
      f(bytes<Form::kTwoBlocks>());
    } else {
      f(bytes<Form::kPieces>());
    }
  }

 private:
  static constexpr int kBlock = 16, kPadding = std::max(64, 2 * kPixelLanes);
  static constexpr int kColumn = kSpan * kChannels;  // bytes
  // A column's piece of the row, and the most columns that a block has a part of.
  static constexpr int kPiece = next_power_of_two(kSpan * kSource);
  using Piece = hwy::UnsignedFromSize<kPiece>;
  static constexpr int kPieces =
      next_power_of_two(kBlock / kColumn + (kBlock % kColumn == 0 ? 0 : 2));
  static_assert(kPiece * kPieces == kBlock || kPiece * kPieces == 2 * kBlock);

  template <Form kForm>
  HWY_INLINE Bytes<kForm> bytes() const {
    return {bases_.get(), indices_.get(), blocks_ * kBlock};
  }

  // Calls f(i, x, column, place) for all bytes: byte i is at `place` in the row and belongs to
  // destination column x, whose pixels begin at `column`. A set's last block ends with copies of
  // the last byte.
  template <class F>
  HWY_INLINE void for_each_byte(const int* first, const F& f) const {
    const int dst_width = dst_width_, last = src_width_ - 1;
    for (int set = 0; set < kSets; ++set) {
      size_t i = static_cast<size_t>(set) * blocks_ * kBlock, pixels[kSpan] = {};
      for (int x = 0; x < dst_width; ++x) {
        for (int k = 0; k < kSpan; ++k) {
          const int pixel = std::clamp(first[x] + set * kSpan + k, 0, last);
          pixels[k] = static_cast<size_t>(pixel) * kSource;
        }
        repeat<kColumn>([&](int j) KELVRA_CV_INLINE {
          f(i++, x, pixels[0], pixels[j % kSpan] + source_channel(j / kSpan, kSwap));
        });
      }
      const size_t end = pixels[kSpan - 1] + source_channel(kChannels - 1, kSwap);
      for (; i % kBlock != 0; ++i) f(i, dst_width - 1, pixels[0], end);
    }
  }

  // Lets a block's window begin `by` bytes further on, modulo 2^64, and its indices count from
  // there. Returns the indices.
  HWY_INLINE hn::Vec<Block<uint8_t>> move_window(size_t block, size_t by) {
    const Block<uint8_t> d8;
    uint8_t* const indices = &indices_[block * kBlock];
    const auto moved = hn::LoadU(d8, indices) - hn::Set(d8, static_cast<uint8_t>(by));
    hn::StoreU(moved, d8, indices);
    bases_[block] += by;
    return moved;
  }

  // Places each block's window at its first byte, and returns how long windows must be. Where the
  // first block shows that they are too long, it leaves it at that.
  size_t make_windows(const int* first) {
    const int last = std::min(dst_width_ - 1, (kBlock - 1) / kColumn);
    const size_t distance = kSource * static_cast<size_t>(first[last] - first[0]);
    if (distance >= 2 * kBlock) return distance + 1;
    size_t* const bases = bases_.get();
    size_t origin = 0;
    uint8_t* const indices = indices_.get();
    for_each_byte(first, [&](size_t i, int, size_t column, size_t place) KELVRA_CV_INLINE {
      if (i % kBlock == 0) bases[i / kBlock] = origin = column;
      indices[i] = static_cast<uint8_t>(std::min(place - origin, size_t{255}));
    });
    const Block<uint8_t> d8;
    auto highest = hn::Zero(d8);
    for (size_t block = 0; block < kSets * blocks_; ++block) {
      const auto index = hn::LoadU(d8, indices + block * kBlock);
      highest = hn::Max(highest, move_window(block, hn::GetLane(hn::MinOfLanes(d8, index))));
    }
    return size_t{hn::GetLane(hn::MaxOfLanes(d8, highest))} + 1;
  }

  void keep_windows_inside(size_t window) {
    const size_t last = std::max(row_bytes_, window) - window;
    for (size_t block = 0; block < kSets * blocks_; ++block) {
      if (bases_[block] > last) move_window(block, last - bases_[block]);
    }
  }

  // The row is longer than a piece. Pieces that a block does not need are at its beginning.
  void make_pieces(const int* first) {
    size_t* const bases = bases_.get();
    uint8_t* const indices = indices_.get();
    std::fill_n(bases, kSets * kPieces * blocks_, size_t{0});
    const size_t last = row_bytes_ - kPiece;
    int first_column = 0;  // of the block
    for_each_byte(first, [&](size_t i, int x, size_t column, size_t place) KELVRA_CV_INLINE {
      if (i % kBlock == 0) first_column = x;
      const int piece = x - first_column;
      const size_t base = std::min(column, last);
      bases[i / kBlock * kPieces + piece] = base;
      indices[i] = static_cast<uint8_t>(piece * kPiece + place - base);
    });
  }

  int src_width_, dst_width_;
  size_t row_bytes_, blocks_;
  Scratch<size_t> bases_;     // where the blocks' windows or pieces are
  Scratch<uint8_t> indices_;  // into them
  uint8_t short_rows_[2][2 * kBlock] = {};
  Form form_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_PIXEL_GATHER_H_
