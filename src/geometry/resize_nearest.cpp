// Nearest-neighbour resizing: the pixel at the floor of the centre-aligned coordinate.
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "geometry/byte_gather.h"
#include "geometry/resize_tables.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

int nearest_tap(float coordinate, int source) {
  return std::clamp(static_cast<int>(std::floor(coordinate)), 0, source - 1);
}

// Whether position i takes step * i + first, for all positions.
bool is_regular(const int* taps, int count, int step, int first) {
  for (int i = 0; i < count; ++i) {
    if (taps[i] != step * i + first) return false;
  }
  return true;
}

// Copies the pixels of one row. Single bytes at a whole ratio have loops of their own, which
// vectorise.
template <int kChannels>
class RowPicker {
 public:
  RowPicker(int src_width, int dst_width)
      : width_(dst_width),
        taps_(taps_of(src_width, dst_width)),
        step_(regular_step(src_width / dst_width)),
        gather_(step_ == 0 ? dst_width * kChannels : 0, src_width * kChannels,
                [&](int i) { return taps_[i / kChannels] * kChannels + i % kChannels; }) {}

  void pick(const uint8_t* src, uint8_t* dst) const {
    if (step_ == 1) {
      std::memcpy(dst, src, static_cast<size_t>(width_) * kChannels);
    } else if (step_ == 2) {
      pick_every<2>(src, dst);
    } else if (step_ == 3) {
      pick_every<3>(src + 1, dst);
    } else if (gather_.is_usable()) {
      pick_gathered(src, dst);
    } else {
      for (int x = 0; x < width_; ++x) {
        const uint8_t* const pixel = src + static_cast<size_t>(taps_[x]) * kChannels;
        for (int c = 0; c < kChannels; ++c) dst[x * kChannels + c] = pixel[c];
      }
    }
  }

 private:
  static Scratch<int> taps_of(int src_width, int dst_width) {
    Scratch<int> taps(dst_width);
    const Coordinates coordinate(src_width, dst_width);
    for (int x = 0; x < dst_width; ++x) taps[x] = nearest_tap(coordinate(x), src_width);
    return taps;
  }

  // `step` if it has a loop of its own and all columns really keep to it, else 0.
  int regular_step(int step) const {
    const bool has_loop = step == 1 || (kChannels == 1 && (step == 2 || step == 3));
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

  int width_;
  Scratch<int> taps_;
  int step_;  // 0 if the columns are not regular
  ByteGather gather_;
};

template <int kChannels>
void resize_nearest(const uint8_t* src, uint8_t* dst, int src_width, int src_height, int src_stride,
                    int dst_width, int dst_height, int dst_stride) {
  if (src_width < 1 || src_height < 1 || dst_width < 1 || dst_height < 1) return;
  const RowPicker<kChannels> columns(src_width, dst_width);
  const Coordinates row_coordinate(src_height, dst_height);
  int previous = -1;
  for (int y = 0; y < dst_height; ++y) {
    uint8_t* const out = row_at(dst, y, dst_stride);
    const int source_row = nearest_tap(row_coordinate(y), src_height);
    if (source_row == previous) {
      std::memcpy(out, row_at(dst, y - 1, dst_stride), static_cast<size_t>(dst_width) * kChannels);
    } else {
      columns.pick(row_at(src, source_row, src_stride), out);
    }
    previous = source_row;
  }
}

}  // namespace

void resize_nn_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize_nearest<1>(src, dst, src_width, src_height, src_stride, dst_width, dst_height, dst_stride);
}

void resize_nn_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                  int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize_nearest<3>(src, dst, src_width, src_height, src_stride, dst_width, dst_height, dst_stride);
}

}  // namespace KelvraCV
