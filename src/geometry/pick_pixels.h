// Copying chosen pixels of an image, the same ones of every row.
#ifndef KELVRA_CV_GEOMETRY_PICK_PIXELS_H_
#define KELVRA_CV_GEOMETRY_PICK_PIXELS_H_

#include <array>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "geometry/pixel_gather.h"
#include "geometry/resize_tables.h"

namespace KelvraCV::detail {

// One of each kStep bytes: the first of two, or the middle one of three.
template <int kStep>
HWY_INLINE void pick_bytes(const uint8_t* src, uint8_t* dst, size_t width) {
  store_groups(width, dst, [=](auto d8, size_t x) KELVRA_CV_INLINE {
    hn::Vec<decltype(d8)> pixels[kStep];
    load_pixels<kStep>(d8, src + kStep * x, pixels);
    return pixels[(kStep - 1) / 2];
  });
}

template <int kChannels, bool kSwap>
constexpr std::array<uint8_t, 16> order_of_four() {
  std::array<uint8_t, 16> order{};
  for (int i = 0; i < 4 * kChannels; ++i) {
    order[i] = static_cast<uint8_t>(i / kChannels * 4 + source_channel(i % kChannels, kSwap));
  }
  return order;
}

// The middle one of each three pixels of four bytes.
template <int kChannels, bool kSwap>
void pick_thirds(const uint8_t* src, uint8_t* dst, size_t width) {
  const Full<uint32_t> d32;
  const Full<uint8_t> d8;
  const size_t lanes = hn::Lanes(d32);
  // Of three bytes a pixel, stores write less than two pixels too many.
  constexpr size_t kSpare = kChannels == 3 ? 2 : 0;
  size_t x = 0;
  for (; x + lanes + kSpare <= width; x += lanes) {
    auto bytes =
        hn::BitCast(d8, load_middles(d32, reinterpret_cast<const uint32_t*>(src + 12 * x)));
    if constexpr (kChannels == 3 || kSwap) {
      alignas(16) static constexpr auto kOrder = order_of_four<kChannels, kSwap>();
      bytes = hn::TableLookupBytes(bytes, hn::LoadDup128(d8, kOrder.data()));
    }
    store_blocks(d8, bytes, dst + x * kChannels, size_t{4} * kChannels);
  }
  for (; x < width; ++x) {
    const uint8_t* const pixel = src + 12 * x + 4;
    for (int c = 0; c < kChannels; ++c) dst[x * kChannels + c] = pixel[source_channel(c, kSwap)];
  }
}

// Rows of `count` bytes: `pick(from, to)` makes one of the nearest source row.
template <class Pick>
void pick_rows(const uint8_t* src, uint8_t* dst, ResizeSizes sizes, size_t count, Pick pick) {
  const int step = exact_step(sizes.src_height, sizes.dst_height);
  const Coordinates coordinate(sizes.src_height, sizes.dst_height);
  int previous = -1;
  for (int y = 0; y < sizes.dst_height; ++y) {
    uint8_t* const out = row_at(dst, y, sizes.dst_stride);
    const int row =
        step > 0 ? step * y + (step - 1) / 2 : Nearest::tap(coordinate(y), sizes.src_height);
    if (row == previous) {
      std::memcpy(out, row_at(dst, y - 1, sizes.dst_stride), count);
    } else {
      pick(row_at(src, row, sizes.src_stride), out);
    }
    previous = row;
  }
}

// Makes an image of the nearest pixels. Columns that keep to a small step have loops of their own.
template <int kSource, int kChannels = kSource, bool kSwap = false>
void pick_pixels(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  const auto width = static_cast<size_t>(sizes.dst_width), count = width * kChannels;
  const int step = exact_step(sizes.src_width, sizes.dst_width);
  const auto rows = [&](const auto& pick) { pick_rows(src, dst, sizes, count, pick); };
  if (step == 1 && kSource == kChannels && !kSwap) {
    return rows([=](const uint8_t* from, uint8_t* to) { std::memcpy(to, from, count); });
  }
  if constexpr (kSource == 1) {
    if (step == 2) {
      return rows([=](const uint8_t* from, uint8_t* to) { pick_bytes<2>(from, to, width); });
    }
    if (step == 3) {
      return rows([=](const uint8_t* from, uint8_t* to) { pick_bytes<3>(from, to, width); });
    }
  }
  if constexpr (kSource == 4) {
    if (step == 3) {
      return rows([=](const uint8_t* from, uint8_t* to) {
        pick_thirds<kChannels, kSwap>(from, to, width);
      });
    }
  }
  Scratch<int> taps(width);
  Coordinates(sizes.src_width, sizes.dst_width).for_each([&](int x, float coordinate) {
    taps[x] = Nearest::tap(coordinate, sizes.src_width);
  });
  PixelGather<kSource, kChannels, kSwap, 1> gather(sizes.src_width, sizes.dst_width, taps);
  rows([&](const uint8_t* from, uint8_t* to) {
    gather.use([=, row = gather.open(from, 0)](auto bytes) {
      store_row(count, to, [=](size_t i) KELVRA_CV_INLINE { return bytes(row, i); });
    });
  });
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_PICK_PIXELS_H_
