// Channels of interleaved images: dropped, split into planes, merged from planes.
#include <algorithm>

#include "core/simd_pixels.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// `planes` as the parts of a row, for kChannels from 2 to 4.
template <int kChannels>
Planar<kChannels> rows_of(const std::vector<ImageData>& planes) {
  Planar<kChannels> row;
  for (int i = 0; i < kChannels; ++i) row.part[i] = planes[i].data;
  return row;
}

template <int kChannels>
void split(const ImageData& src, const std::vector<ImageData>& planes) {
  convert_rows<kPaired>(Interleaved<kChannels>{{src.data}}, src.stride, rows_of<kChannels>(planes),
                        src.width, src.width, src.height, CopyChannels());
}
template <int kChannels>
void merge(const std::vector<ImageData>& planes, const ImageData& dst) {
  convert_rows<kPaired>(rows_of<kChannels>(planes), dst.width, Interleaved<kChannels>{{dst.data}},
                        dst.stride, dst.width, dst.height, CopyChannels());
}

// Calls copy(sample, place) in order, with the sample of every pixel's channel and its place in the
// channel's packed plane: for other numbers of channels, and for planes that share memory with the
// pixels.
template <class Copy>
void for_each_sample(const ImageData& pixels, const std::vector<ImageData>& planes,
                     const Copy& copy) {
  for (int y = 0; y < pixels.height; ++y) {
    uint8_t* sample = row_at(pixels.data, y, pixels.stride);
    for (int x = 0; x < pixels.width; ++x) {
      for (const ImageData& plane : planes) {
        copy(*sample++, plane.data[static_cast<size_t>(y) * pixels.width + x]);
      }
    }
  }
}

bool are_apart(const ImageData& pixels, const std::vector<ImageData>& planes) {
  if (pixels.width < 1 || pixels.height < 1) return true;
  const size_t plane_bytes = static_cast<size_t>(pixels.width) * pixels.height;
  const size_t bytes =
      static_cast<size_t>(pixels.height - 1) * pixels.stride + pixels.width * planes.size();
  return std::none_of(planes.begin(), planes.end(), [&](const ImageData& plane) {
    return overlap(pixels.data, bytes, plane.data, plane_bytes);
  });
}

}  // namespace

void convert_c4_to_c3(unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
                      int dst_stride, int swap_rb) {
  const auto convert = [&](const auto& drop) {
    convert_rows(Interleaved<4>{{src}}, src_stride, Interleaved<3>{{dst}}, dst_stride, width,
                 height, drop);
  };
  if (swap_rb == 0) {
    convert(DropFourth<false>());
  } else {
    convert(DropFourth<true>());
  }
}

void split_channels(const ImageData& src, std::vector<ImageData>& dst) {
  if (src.channels < 0 || static_cast<size_t>(src.channels) != dst.size()) {
    log_print("input channels mismatch outputs!");
    return;
  }
  for (const ImageData& plane : dst) {
    if (plane.channels != 1 || plane.width != src.width || plane.height != src.height) {
      log_print("outputs format error!");
      return;
    }
  }
  switch (are_apart(src, dst) ? dst.size() : 0) {
    case 2:
      return split<2>(src, dst);
    case 3:
      return split<3>(src, dst);
    case 4:
      return split<4>(src, dst);
    default:
      for_each_sample(src, dst, [](uint8_t sample, uint8_t& place) { place = sample; });
  }
}

void merge_channels(const std::vector<ImageData>& src, ImageData& dst) {
  switch (are_apart(dst, src) ? src.size() : 0) {
    case 2:
      return merge<2>(src, dst);
    case 3:
      return merge<3>(src, dst);
    case 4:
      return merge<4>(src, dst);
    default:
      for_each_sample(dst, src, [](uint8_t& sample, uint8_t place) { sample = place; });
  }
}

}  // namespace KelvraCV
