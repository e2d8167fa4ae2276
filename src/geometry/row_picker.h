// Copying chosen pixels of a row, the same ones for every row.
#ifndef KELVRA_CV_GEOMETRY_ROW_PICKER_H_
#define KELVRA_CV_GEOMETRY_ROW_PICKER_H_

#include <cstring>
#include <utility>

#include "core/scratch.h"
#include "geometry/byte_gather.h"

namespace KelvraCV::detail {

// Whether position i takes step * i + first, for all positions.
inline bool is_regular(const int* taps, int count, int step, int first) {
  for (int i = 0; i < count; ++i) {
    if (taps[i] != step * i + first) return false;
  }
  return true;
}

// Copies the pixels of one row. Whole ratios at which a gather reaches too far have loops of their
// own; so have single bytes, whose loops vectorise.
template <int kChannels>
class RowPicker {
 public:
  // Destination column x takes source column taps[x].
  RowPicker(int src_width, int dst_width, Scratch<int> taps)
      : src_width_(src_width),
        width_(dst_width),
        taps_(std::move(taps)),
        step_(regular_step(src_width / dst_width)),
        gather_(step_ == 0 ? dst_width * kChannels : 0, src_width * kChannels,
                [&](int i) { return taps_[i / kChannels] * kChannels + i % kChannels; }) {}

  void pick(const uint8_t* src, uint8_t* dst) const {
    if (step_ == 1) {
      std::memcpy(dst, src, static_cast<size_t>(width_) * kChannels);
    } else if (step_ != 0 && kChannels > 1) {
      pick_pixels(src, dst, [step = step_](int x) { return step * x + (step - 1) / 2; });
    } else if (step_ == 2) {
      pick_every<2>(src, dst);
    } else if (step_ == 3) {
      pick_every<3>(src + 1, dst);
    } else if (gather_.is_usable()) {
      pick_gathered(src, dst);
    } else {
      pick_pixels(src, dst, [taps = taps_.get()](int x) { return taps[x]; });
    }
  }

 private:
  // `step` if it has a loop of its own and all columns really keep to it, else 0.
  int regular_step(int step) const {
    const bool has_loop = step == 1 || step == 3 || (kChannels == 1 ? step == 2 : step > 3);
    return has_loop && is_regular(taps_.get(), width_, step, (step - 1) / 2) ? step : 0;
  }

  template <int kStep>
  void pick_every(const uint8_t* src, uint8_t* dst) const {
    const int width = width_;  // a local, which no byte written can be part of
    for (int x = 0; x < width; ++x) dst[x] = src[x * kStep];  // vectorised
  }

  void pick_gathered(const uint8_t* src, uint8_t* dst) const {
    const Full<uint8_t> d8;
    const int count = width_ * kChannels, lanes = static_cast<int>(hn::Lanes(d8));
    int i = 0;
    for (; i + lanes <= count; i += lanes) {
      hn::StoreU(gather_(src, i / ByteGather::kBlock), d8, dst + i);
    }
    if (i < count) {
      uint8_t last[hn::MaxLanes(d8)];
      hn::StoreU(gather_(src, i / ByteGather::kBlock), d8, last);
      std::memcpy(dst + i, last, static_cast<size_t>(count - i));
    }
  }

  // Three bytes go as four where there is a pixel behind them, to be overwritten by the next one.
  template <class Tap>
  void pick_pixels(const uint8_t* src, uint8_t* dst, Tap tap) const {
    constexpr int kBytes = kChannels + (kChannels == 3);
    const int width = width_, last = src_width_ - 1;
    for (int x = 0; x < width; ++x, dst += kChannels) {
      const int at = tap(x);
      const uint8_t* const pixel = src + static_cast<size_t>(at) * kChannels;
      if (x + 1 < width && at < last) {
        std::memcpy(dst, pixel, kBytes);
      } else {
        std::memcpy(dst, pixel, kChannels);
      }
    }
  }

  int src_width_, width_;
  Scratch<int> taps_;
  int step_;  // 0 if the columns are not regular
  ByteGather gather_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_ROW_PICKER_H_
