// Copying chosen pixels of a row, the same ones for every row.
#ifndef KELVRA_CV_GEOMETRY_ROW_PICKER_H_
#define KELVRA_CV_GEOMETRY_ROW_PICKER_H_

#include <array>
#include <cstring>
#include <memory>

#include "core/scratch.h"
#include "core/simd.h"
#include "geometry/pixel_gather.h"
#include "geometry/resize_tables.h"

namespace KelvraCV::detail {

// Copies the pixels of one row. Columns that keep to a whole step have loops of their own.
template <int kSource, int kChannels = kSource, bool kSwap = false>
class RowPicker {
 public:
  // Destination column x takes source column tap(coordinate of x).
  template <class Tap>
  RowPicker(int src_width, int dst_width, const Tap& tap)
      : width_(dst_width), step_(regular_step(src_width, dst_width, tap)) {
    if (step_ != 0) return;
    Scratch<int> taps(static_cast<size_t>(dst_width));
    Coordinates(src_width, dst_width).for_each([&](int x, float coordinate) {
      taps[x] = tap(coordinate);
    });
    gather_ = std::make_unique<Gather>(src_width, dst_width, taps);
  }

  void pick(const uint8_t* src, uint8_t* dst) {
    const size_t count = static_cast<size_t>(width_) * kChannels;
    if (step_ == 1) {
      std::memcpy(dst, src, count);
    } else if (step_ == 2) {
      pick_every<2>(src, dst);
    } else if (step_ == 3) {
      pick_every<3>(src, dst);
    } else {
      gather_->use([=, row = gather_->open(src, 0)](auto bytes) {
        store_row(count, dst, [=](size_t i) KELVRA_CV_INLINE { return bytes(row, i); });
      });
    }
  }

 private:
  using Gather = PixelGather<kSource, kChannels, kSwap, 1>;

  // `step` if it has a loop of its own and all columns really keep to it, else 0.
  template <class Tap>
  static int regular_step(int src_width, int dst_width, const Tap& tap) {
    const int step = src_width / dst_width;
    const bool has_loop = step == 1 ? kSource == kChannels && !kSwap
                                    : (step == 3 && kSource != 3) || (step == 2 && kSource == 1);
    const bool is_regular =
        has_loop && all_positions(src_width, dst_width, [&](int x, float coordinate) {
          return tap(coordinate) == int64_t{step} * x + (step - 1) / 2;
        });
    return is_regular ? step : 0;
  }

  template <int kStep>
  void pick_every(const uint8_t* src, uint8_t* dst) const {
    constexpr int kFirst = (kStep - 1) / 2;
    const int width = width_;  // a local, which no byte written can be part of
    int x = 0;
    if constexpr (kSource == 4 && kStep == 3) x = pick_thirds(src, dst);
    for (; x < width; ++x) {  // vectorised for single bytes
      const uint8_t* const pixel = src + (ptrdiff_t{kStep} * x + kFirst) * kSource;
      for (int c = 0; c < kChannels; ++c) {
        dst[ptrdiff_t{x} * kChannels + c] = pixel[source_channel(c, kSwap)];
      }
    }
  }

  // Every third pixel of four bytes, in whole vectors; returns how many.
  int pick_thirds(const uint8_t* src, uint8_t* dst) const {
    const Full<uint32_t> d32;
    const Full<uint8_t> d8;
    const int lanes = static_cast<int>(hn::Lanes(d32));
    // Of three bytes a pixel, stores write less than two pixels too many.
    const int end = width_ - lanes - (kChannels == 3 ? 2 : 0);
    int x = 0;
    for (; x <= end; x += lanes) {
      hn::Vec<decltype(d32)> before, pixels, behind;
      hn::LoadInterleaved3(d32, reinterpret_cast<const uint32_t*>(src + ptrdiff_t{12} * x), before,
                           pixels, behind);
      auto bytes = hn::BitCast(d8, pixels);
      if constexpr (kChannels == 3 || kSwap) {
        alignas(16) static constexpr auto kOrder = order_of_four();
        bytes = hn::TableLookupBytes(bytes, hn::LoadDup128(d8, kOrder.data()));
      }
      store_blocks(d8, bytes, dst + ptrdiff_t{x} * kChannels, size_t{4} * kChannels);
    }
    return x;
  }
  static constexpr std::array<uint8_t, 16> order_of_four() {
    std::array<uint8_t, 16> order{};
    for (int i = 0; i < 4 * kChannels; ++i) {
      order[i] = static_cast<uint8_t>(i / kChannels * 4 + source_channel(i % kChannels, kSwap));
    }
    return order;
  }

  int width_;
  int step_;  // 0 if the columns are not regular
  std::unique_ptr<Gather> gather_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_ROW_PICKER_H_
