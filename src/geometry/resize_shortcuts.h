// Bilinear rows whose weights make something simpler of them: halving and doubling. The bytes are
// those of the weights.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_SHORTCUTS_H_
#define KELVRA_CV_GEOMETRY_RESIZE_SHORTCUTS_H_

#include <array>
#include <type_traits>

#include "core/simd.h"
#include "geometry/pixel_gather.h"

namespace KelvraCV::detail {

// Calls work(d8, x) for vectors of `per_block` columns a block from column 0 on, the last of which
// may overlap the one before, and returns where they end: `count`, or 0 if there is not one.
template <class Work>
HWY_INLINE int cover_columns(int count, int per_block, const Work& work) {
  const auto walk = [&](auto d8) {
    const int step = per_block * static_cast<int>(hn::Lanes(d8)) / 16;
    if (count < step) return false;
    for (int x = 0; x < count - step; x += step) work(d8, x);
    work(d8, count - step);
    return true;
  };
  return walk(Full<uint8_t>()) || walk(Block<uint8_t>()) ? count : 0;
}

// The rows of a bilinear resize. Of kSource bytes a pixel, kChannels are kept, in an order.
template <int kSource, int kChannels, bool kSwap>
class SimpleRows {
 public:
  // The mean of each 2 x 2 pixels, (a + b + c + d) >> 2. That is what halving comes to: with all
  // weights 1024, ((a + b) 1024 >> 4) 1024 + ((c + d) 1024 >> 4) 1024 is (a + b + c + d) 2^16, and
  // 2^16 >> 18 a quarter.
  static void halve(const uint8_t* top, const uint8_t* bottom, int dst_width, uint8_t* out) {
    constexpr int kWidth = kHalvesChannels ? kBlock : 2 * kHalved;
    const int usable = dst_width - (kHalvesChannels ? 0 : kSpare);
    int x = cover_columns(usable, kWidth, [&](auto d8, int at_x) {
      const ptrdiff_t at = ptrdiff_t{2} * at_x * kSource;
      uint8_t* const to = out + ptrdiff_t{at_x} * kChannels;
      if constexpr (kHalvesChannels) {
        halve_channels(d8, top + at, bottom + at, to);
      } else {
        halve_pixels(d8, top + at, bottom + at, to);
      }
    });
    for (; x < dst_width; ++x) {
      for (int c = 0; c < kChannels; ++c) {
        const ptrdiff_t at = ptrdiff_t{2} * x * kSource + source_channel(c, kSwap);
        out[ptrdiff_t{x} * kChannels + c] = static_cast<uint8_t>(
            (top[at] + top[at + kSource] + bottom[at] + bottom[at + kSource]) >> 2);
      }
    }
  }

  // Between source pixels, weights 1536 and 512 in both directions: with them no bit is lost along
  // the row, and (9 a + 3 b + 3 c + d) 2^14 >> 18 is (9 a + 3 b + 3 c + d) >> 4, a being nearest
  // and d farthest. The first and the last column take one source column, (3 a + c) >> 2; a row
  // that takes one source row has it as the near and the far one.
  static void enlarge(const uint8_t* near, const uint8_t* far, int src_width, uint8_t* out) {
    const int last = src_width - 1;
    border_column(near, far, out);
    // Source pixels x and x + 1 make the columns 2 x + 1 and 2 x + 2.
    int x = cover_columns(last - kSpare, kDoubled, [&](auto d8, int at_x) {
      const ptrdiff_t at = ptrdiff_t{at_x} * kSource;
      double_pixels(d8, near + at, far + at, out + (ptrdiff_t{2} * at_x + 1) * kChannels);
    });
    for (; x < last; ++x) {
      for (int c = 0; c < kChannels; ++c) {
        const ptrdiff_t at = ptrdiff_t{x} * kSource + source_channel(c, kSwap), next = at + kSource;
        uint8_t* const to = out + (ptrdiff_t{2} * x + 1) * kChannels + c;
        const int left = 3 * near[at] + far[at], right = 3 * near[next] + far[next];
        to[0] = static_cast<uint8_t>((3 * left + right) >> 4);
        to[kChannels] = static_cast<uint8_t>((left + 3 * right) >> 4);
      }
    }
    border_column(near + ptrdiff_t{last} * kSource, far + ptrdiff_t{last} * kSource,
                  out + (ptrdiff_t{2} * src_width - 1) * kChannels);
  }

 private:
  static constexpr int kBlock = 16;
  static constexpr uint8_t kNone = 0x80;
  static constexpr bool kHalvesChannels = kSource == 1 || kLoadsChannelsApart;
  // Destination pixels that half a block of sums holds, and source pixels of a block to be doubled.
  static constexpr int kHalved = 2, kDoubled = kBlock / kSource;
  // Blocks of three channels are loaded and stored whole, with less than two pixels too many.
  static constexpr int kSpare = kSource == 3 || kChannels == 3 ? 2 : 0;

  using Table = std::array<uint8_t, kBlock>;

  static void border_column(const uint8_t* near, const uint8_t* far, uint8_t* out) {
    for (int c = 0; c < kChannels; ++c) {
      const int at = source_channel(c, kSwap);
      out[c] = static_cast<uint8_t>((3 * near[at] + far[at]) >> 2);
    }
  }

  template <class D8>
  HWY_INLINE static void halve_channels(D8 d8, const uint8_t* top, const uint8_t* bottom,
                                        uint8_t* out) {
    hn::Vec<D8> tops[2][kSource], bottoms[2][kSource], means[kChannels];
    for (size_t half = 0; half < 2; ++half) {
      load_pixels<kSource>(d8, top + half * hn::Lanes(d8) * kSource, tops[half]);
      load_pixels<kSource>(d8, bottom + half * hn::Lanes(d8) * kSource, bottoms[half]);
    }
    for (int c = 0; c < kChannels; ++c) {
      const int k = source_channel(c, kSwap);
      means[c] = narrow_from_bit<2>(add_pairs(add_pairs(tops[0][k]), bottoms[0][k]),
                                    add_pairs(add_pairs(tops[1][k]), bottoms[1][k]));
    }
    store_pixels<kChannels>(d8, means, out);
  }

  // Which bytes of a block are to be added, and which of the sums are kept.
  static constexpr Table neighbours() {
    Table table{};
    for (int i = 0; i < kBlock; ++i) {
      const int pixel = i / 2 / kChannels, c = source_channel(i / 2 % kChannels, kSwap);
      table[i] = pixel < kHalved ? static_cast<uint8_t>((2 * pixel + i % 2) * kSource + c) : kNone;
    }
    return table;
  }
  static constexpr Table kept() {
    constexpr int kHalf = kHalved * kChannels;
    Table table{};
    for (int i = 0; i < kBlock; ++i) {
      table[i] = static_cast<uint8_t>(i < kHalf ? i : kBlock / 2 + (i - kHalf) % kHalf);
    }
    return table;
  }

  template <class D8>
  HWY_INLINE static void halve_pixels(D8 d8, const uint8_t* top, const uint8_t* bottom,
                                      uint8_t* out) {
    alignas(16) static constexpr Table kNeighbours = neighbours(), kKept = kept();
    constexpr size_t kStep = size_t{2} * kHalved * kSource;  // bytes of half a result block
    const auto pairs = [&](const uint8_t* row) {
      return hn::TableLookupBytesOr0(load_blocks(d8, row, 2 * kStep),
                                     hn::LoadDup128(d8, kNeighbours.data()));
    };
    const auto mean = [&](size_t from) {
      return hn::ShiftRight<2>(add_pairs(add_pairs(pairs(top + from)), pairs(bottom + from)));
    };
    auto means = narrow_to_u8_blocks(mean(0), mean(kStep));
    if constexpr (kChannels != 4) {
      means = hn::TableLookupBytes(means, hn::LoadDup128(d8, kKept.data()));
    }
    store_blocks(d8, means, out, size_t{2} * kHalved * kChannels);
  }

  // The bytes of two blocks, of the odd and of the even columns, in the order of the columns: those
  // of the result's block number `part`.
  static constexpr Table in_order(int part) {
    Table table{};
    for (int i = 0; i < kBlock; ++i) {
      const int byte = part * kBlock + i, pixel = byte / kChannels;
      if (pixel >= 2 * kDoubled) break;
      table[i] = static_cast<uint8_t>(pixel % 2 * kBlock + pixel / 2 * kSource +
                                      source_channel(byte % kChannels, kSwap));
    }
    return table;
  }

  template <class D8>
  HWY_INLINE static void double_pixels(D8 d8, const uint8_t* near, const uint8_t* far,
                                       uint8_t* out) {
    alignas(16) static constexpr Table kFirst = in_order(0), kSecond = in_order(1);
    constexpr size_t kStep = size_t{kDoubled} * kSource, kOut = size_t{2} * kDoubled * kChannels;
    hn::Vec<D8> odd, even;
    nine_sixteenths(load_blocks(d8, near, kStep), load_blocks(d8, near + kSource, kStep),
                    load_blocks(d8, far, kStep), load_blocks(d8, far + kSource, kStep), odd, even);
    if constexpr (kSource == kChannels && kChannels != 3 && !kSwap) {
      using Pixel = std::conditional_t<kChannels == 1, uint8_t, uint32_t>;
      const hn::Repartition<Pixel, D8> pixels;
      hn::StoreInterleaved2(hn::BitCast(pixels, odd), hn::BitCast(pixels, even), pixels,
                            reinterpret_cast<Pixel*>(out));
      return;
    }
    // The bytes too many at a block's end are overwritten by what follows.
    const auto part = [&](const Table& table) {
      return look_up_two(odd, even, hn::LoadDup128(d8, table.data()));
    };
    if constexpr (kOut > kBlock) store_blocks(d8, part(kSecond), out + kBlock, kOut);
    store_blocks(d8, part(kFirst), out, kOut);
  }
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_SHORTCUTS_H_
