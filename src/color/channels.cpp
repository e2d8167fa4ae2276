// Channels of interleaved images: dropped, split into planes, merged from planes.
#include <cstring>

#include "core/rows.h"
#include "core/simd.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// One row of pixels without their fourth bytes.
void drop_fourth(const uint8_t* src, uint8_t* dst, int width, bool swap) {
  const int first = swap ? 2 : 0;
  int x = 0;
  if (!overlap(src, size_t{4} * width, dst, size_t{3} * width)) {
    // Four pixels at a time; the four bytes stored too many are overwritten by what comes next.
    const Block<uint8_t> d;
    alignas(16) static constexpr uint8_t kKept[2][16] = {{0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14},
                                                         {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12}};
    const auto kept = hn::Load(d, kKept[swap]);
    for (; x + 6 <= width; x += 4) {
      hn::StoreU(hn::TableLookupBytes(hn::LoadU(d, src + 4 * x), kept), d, dst + 3 * x);
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
