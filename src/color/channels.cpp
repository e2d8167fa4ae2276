// Channels of interleaved images: dropped, split into planes, merged from planes.
#include <algorithm>

#include "core/simd_pixels.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

enum class Direction { kSplit, kMerge };

// Copies between the rows of an image of kChannels channels and its planes, which are packed.
template <Direction kDirection, int kChannels>
void copy_rows(const ImageData& pixels, const std::vector<ImageData>& planes) {
  const int width = pixels.width, height = pixels.height;
  const Interleaved<kChannels> row{{pixels.data}};
  Planar<kChannels> parts;
  for (int i = 0; i < kChannels; ++i) parts.part[i] = planes[i].data;
  if constexpr (kDirection == Direction::kSplit) {
    convert_rows<kPaired>(row, pixels.stride, parts, width, width, height, CopyChannels());
  } else {
    convert_rows<kPaired>(parts, width, row, pixels.stride, width, height, CopyChannels());
  }
}

// The same for any number of channels, and for planes that share memory with the pixels: sample by
// sample, in order.
template <Direction kDirection>
void copy_samples(const ImageData& pixels, const std::vector<ImageData>& planes) {
  for (int y = 0; y < pixels.height; ++y) {
    uint8_t* sample = row_at(pixels.data, y, pixels.stride);
    for (int x = 0; x < pixels.width; ++x) {
      for (const ImageData& plane : planes) {
        uint8_t& place = plane.data[static_cast<size_t>(y) * pixels.width + x];
        if constexpr (kDirection == Direction::kSplit) {
          place = *sample++;
        } else {
          *sample++ = place;
        }
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

template <Direction kDirection>
void copy_channels(const ImageData& pixels, const std::vector<ImageData>& planes) {
  switch (are_apart(pixels, planes) ? planes.size() : 0) {
    case 1:
      return copy_rows<kDirection, 1>(pixels, planes);
    case 2:
      return copy_rows<kDirection, 2>(pixels, planes);
    case 3:
      return copy_rows<kDirection, 3>(pixels, planes);
    case 4:
      return copy_rows<kDirection, 4>(pixels, planes);
    default:
      copy_samples<kDirection>(pixels, planes);
  }
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
  copy_channels<Direction::kSplit>(src, dst);
}

void merge_channels(const std::vector<ImageData>& src, ImageData& dst) {
  copy_channels<Direction::kMerge>(dst, src);
}

}  // namespace KelvraCV
