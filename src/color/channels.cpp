// Channels of interleaved images: dropped, split into planes, merged from planes.
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Of each 16 pixels, 64 bytes in four parts, the 48 bytes that stay, in three: which byte of part p
// becomes byte i of result r, or none. The first and the third byte may change places.
struct KeptBytes {
  alignas(16) uint8_t of[2][4][3][16] = {};

  constexpr KeptBytes() {
    for (int swap = 0; swap < 2; ++swap) {
      for (int p = 0; p < 4; ++p) {
        for (int i = 0; i < 48; ++i) {
          const int pixel = i / 3, channel = swap != 0 ? 2 - i % 3 : i % 3;
          const int from = pixel % 4 * 4 + channel;
          of[swap][p][i / 16][i % 16] = static_cast<uint8_t>(pixel / 4 == p ? from : 0x80);
        }
      }
    }
  }
};
constexpr KeptBytes kKeptBytes;

// One row of pixels without their fourth bytes.
void drop_fourth(const uint8_t* src, uint8_t* dst, int width, bool swap) {
  const int first = swap ? 2 : 0;
  int x = 0;
  if (!overlap(src, size_t{4} * width, dst, size_t{3} * width)) {
    const Full<uint8_t> d8;
    const int lanes = static_cast<int>(hn::Lanes(d8));
    const auto& kept = kKeptBytes.of[swap];
    for (; x + lanes <= width; x += lanes) {
      const auto part = [&](int p) { return load_blocks(d8, src + 4 * x + 16 * p, 64); };
      const auto from = [&](int p, auto v, int r) {
        return hn::TableLookupBytesOr0(v, hn::LoadDup128(d8, kept[p][r]));
      };
      const auto v0 = part(0), v1 = part(1), v2 = part(2), v3 = part(3);
      uint8_t* const out = dst + 3 * x;
      store_blocks(d8, hn::Or(from(0, v0, 0), from(1, v1, 0)), out, 48);
      store_blocks(d8, hn::Or(from(1, v1, 1), from(2, v2, 1)), out + 16, 48);
      store_blocks(d8, hn::Or(from(2, v2, 2), from(3, v3, 2)), out + 32, 48);
    }
  }
  for (; x < width; ++x) {
    const uint8_t pixel[3] = {src[4 * x + first], src[4 * x + 1], src[4 * x + 2 - first]};
    std::memcpy(dst + 3 * x, pixel, 3);
  }
}

// One row of interleaved pixels to a row in each plane, for any number of channels.
template <int kChannels>
void split_row(const uint8_t* src, uint8_t* const* planes, int width) {
  const Full<uint8_t> d8;
  const int lanes = static_cast<int>(hn::Lanes(d8));
  int x = 0;
  for (; x + lanes <= width; x += lanes) {
    hn::Vec<decltype(d8)> v[4];
    load_pixels<kChannels>(d8, src + kChannels * x, v);
    for (int c = 0; c < kChannels; ++c) hn::StoreU(v[c], d8, planes[c] + x);
  }
  for (; x < width; ++x) {
    for (int c = 0; c < kChannels; ++c) planes[c][x] = src[kChannels * x + c];
  }
}

template <int kChannels>
void merge_row(const uint8_t* const* planes, uint8_t* dst, int width) {
  const Full<uint8_t> d8;
  const int lanes = static_cast<int>(hn::Lanes(d8));
  int x = 0;
  for (; x + lanes <= width; x += lanes) {
    hn::Vec<decltype(d8)> v[4];
    for (int c = 0; c < kChannels; ++c) v[c] = hn::LoadU(d8, planes[c] + x);
    store_pixels<kChannels>(d8, v, dst + kChannels * x);
  }
  for (; x < width; ++x) {
    for (int c = 0; c < kChannels; ++c) dst[kChannels * x + c] = planes[c][x];
  }
}

// Rows that overlap, and numbers of channels without a loop of their own, go sample by sample.
void split_row_in_order(const uint8_t* src, uint8_t* const* planes, size_t channels, int width) {
  for (int x = 0; x < width; ++x) {
    for (size_t c = 0; c < channels; ++c) planes[c][x] = src[x * channels + c];
  }
}
void merge_row_in_order(const uint8_t* const* planes, uint8_t* dst, size_t channels, int width) {
  for (int x = 0; x < width; ++x) {
    for (size_t c = 0; c < channels; ++c) dst[x * channels + c] = planes[c][x];
  }
}

// The first rows of packed planes, and the way to the next ones.
std::vector<uint8_t*> first_rows(const std::vector<ImageData>& planes) {
  std::vector<uint8_t*> rows;
  rows.reserve(planes.size());
  for (const ImageData& plane : planes) rows.push_back(plane.data);
  return rows;
}
void go_down(std::vector<uint8_t*>& rows, int width) {
  for (uint8_t*& row : rows) row += width;
}

bool any_overlaps(const uint8_t* pixels, const std::vector<uint8_t*>& rows, int width) {
  for (const uint8_t* row : rows) {
    if (overlap(pixels, width * rows.size(), row, width)) return true;
  }
  return false;
}

}  // namespace

void convert_c4_to_c3(unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
                      int dst_stride, int swap_rb) {
  if (width < 1) return;
  for (int y = 0; y < height; ++y) {
    drop_fourth(row_at(src, y, src_stride), row_at(dst, y, dst_stride), width, swap_rb != 0);
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
  if (src.width < 1) return;
  const auto split = src.channels == 2   ? split_row<2>
                     : src.channels == 3 ? split_row<3>
                     : src.channels == 4 ? split_row<4>
                                         : nullptr;
  std::vector<uint8_t*> rows = first_rows(dst);
  for (int y = 0; y < src.height; ++y, go_down(rows, src.width)) {
    const uint8_t* const pixels = row_at<const uint8_t>(src.data, y, src.stride);
    if (split == nullptr || any_overlaps(pixels, rows, src.width)) {
      split_row_in_order(pixels, rows.data(), rows.size(), src.width);
    } else {
      split(pixels, rows.data(), src.width);
    }
  }
}

void merge_channels(const std::vector<ImageData>& src, ImageData& dst) {
  if (src.empty() || dst.width < 1) return;
  const auto merge = src.size() == 2   ? merge_row<2>
                     : src.size() == 3 ? merge_row<3>
                     : src.size() == 4 ? merge_row<4>
                                       : nullptr;
  std::vector<uint8_t*> rows = first_rows(src);
  for (int y = 0; y < dst.height; ++y, go_down(rows, dst.width)) {
    uint8_t* const pixels = row_at(dst.data, y, dst.stride);
    if (merge == nullptr || any_overlaps(pixels, rows, dst.width)) {
      merge_row_in_order(rows.data(), pixels, rows.size(), dst.width);
    } else {
      merge(rows.data(), pixels, dst.width);
    }
  }
}

}  // namespace KelvraCV
