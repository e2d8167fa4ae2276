// Bicubic resizing of bytes in 11-bit fixed point. Sums are truncated to their low bits, not
// clamped: next to strong edges a value may wrap around, on purpose.
#include "geometry/resize_separable.h"
#include "geometry/row_picker.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// At a whole coordinate only the second tap has weight. Where all columns are such, as in a third,
// rows that are, too, pick pixels.
bool is_single(const int16_t (&weights)[4]) {
  return weights[1] == kWeightOne && weights[0] == 0 && weights[2] == 0;
}

template <int kChannels>
void resize(const uint8_t* src, uint8_t* dst, const ResizeSizes& sizes) {
  if (sizes.is_empty()) return;
  const int src_width = sizes.src_width, dst_width = sizes.dst_width;
  std::optional<RowPicker<kChannels>> picker;
  if (all_positions(src_width, dst_width, [=](int, float coordinate) {
        return is_single(Cubic::taps(coordinate, src_width).weights);
      })) {
    picker.emplace(src_width, dst_width,
                   [=](float at) { return Cubic::taps(at, src_width).first + 1; });
  }
  resize_separable<Cubic, kChannels, kChannels, false>(
      src, dst, sizes, [&](const uint8_t* const* rows, const Taps<4>& taps, uint8_t* out) {
        if (!picker || !is_single(taps.weights)) return false;
        picker->pick(rows[1], out);
        return true;
      });
}

}  // namespace

void resize_bicubic_c1(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<1>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

void resize_bicubic_c3(const unsigned char* src, unsigned char* dst, int src_width, int src_height,
                       int src_stride, int dst_width, int dst_height, int dst_stride) {
  resize<3>(src, dst, {src_width, src_height, src_stride, dst_width, dst_height, dst_stride});
}

}  // namespace KelvraCV
