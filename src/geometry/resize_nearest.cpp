// Nearest-neighbour resizing: the pixel at the floor of the centre-aligned coordinate.
#include <cstring>

#include "core/rows.h"
#include "geometry/resize_tables.h"
#include "geometry/row_picker.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

int nearest_tap(float coordinate, int source) {
  return std::clamp(floor_of(coordinate), 0, source - 1);
}

template <int kChannels>
void resize_nearest(const uint8_t* src, uint8_t* dst, int src_width, int src_height, int src_stride,
                    int dst_width, int dst_height, int dst_stride) {
  if (src_width < 1 || src_height < 1 || dst_width < 1 || dst_height < 1) return;
  RowPicker<kChannels> columns(src_width, dst_width,
                               [=](float at) { return nearest_tap(at, src_width); });
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
