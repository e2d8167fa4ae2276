// Box blur, and the Gaussian blurs made of three box blurs.
#include <cmath>
#include <cstring>
#include <new>

#include "filter/box_mean.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// trunc(sum * inverse_area + 0.5f), for a count of columns that is a multiple of 8.
void round_means(const int32_t* sums, float inverse_area, uint8_t* out, int count) {
  const Full<int32_t> d32;
  const Full<float> df;
  const Full<uint8_t> d8;
  const int lanes = static_cast<int>(hn::Lanes(d32));
  const auto mean = [&](const int32_t* from) {
    const auto sum = hn::ConvertTo(df, hn::LoadU(d32, from));
    return truncate_fitting(sum * hn::Set(df, inverse_area) + hn::Set(df, 0.5f));
  };
  int x = 0;
  for (; x + 4 * lanes <= count; x += 4 * lanes) {
    hn::StoreU(narrow_to_u8(mean(sums + x), mean(sums + x + lanes), mean(sums + x + 2 * lanes),
                            mean(sums + x + 3 * lanes)),
               d8, out + x);
  }
  for (; x < count; ++x) {
    out[x] = static_cast<uint8_t>(static_cast<float>(sums[x]) * inverse_area + 0.5f);
  }
}
void round_means(const int64_t* sums, float inverse_area, uint8_t* out, int count) {
  for (int x = 0; x < count; ++x) {
    out[x] = static_cast<uint8_t>(static_cast<float>(sums[x]) * inverse_area + 0.5f);
  }
}

// Row y is finished after row y + radius was read, so the destination may be the source.
template <class RowSum, class Sum>
void box_blur(const uint8_t* src, uint8_t* dst, int width, int height, int radius) {
  const auto n = 2 * static_cast<int64_t>(radius) + 1;
  const auto area = static_cast<Sum>(n * n);
  const float inverse_area = 1.0f / static_cast<float>(area);
  const int rounded = width & ~7;  // columns that round; those after them truncate, on purpose
  const auto row = [=](int y) { return row_at(src, y, width); };
  BoxSums<RowSum, Sum, decltype(row)> sums(width, height, radius, row);
  for (int y = 0; y < height; ++y) {
    const Sum* const columns = sums.next();
    uint8_t* const out = row_at(dst, y, width);
    round_means(columns, inverse_area, out, rounded);
    for (int x = rounded; x < width; ++x) out[x] = static_cast<uint8_t>(columns[x] / area);
  }
}

// Widths of three box blurs that together come near a Gaussian of that sigma (P. Kovesi, "Fast
// almost-Gaussian filtering", 2010). They serve as radii, and so blur twice as wide: on purpose.
struct BoxWidths {
  int width[3];
};

BoxWidths box_widths(float sigma) {
  const float ideal = std::sqrt(12 * sigma * sigma / 3 + 1);
  // Wider than any image's shorter side: no box blurs. So is NaN.
  constexpr int kWidest = 1 << 20;
  if (!(ideal < kWidest)) return {{kWidest, kWidest, kWidest}};
  int lower = static_cast<int>(ideal);
  if (lower % 2 == 0) --lower;
  const auto square = static_cast<float>(3 * static_cast<int64_t>(lower) * lower);
  const float ideal_count = (12 * sigma * sigma - square - static_cast<float>(4 * 3 * lower) - 9) /
                            static_cast<float>(-4 * lower - 4);
  const int count = static_cast<int>(std::round(ideal_count));
  BoxWidths boxes;
  for (int i = 0; i < 3; ++i) boxes.width[i] = i < count ? lower : lower + 2;
  return boxes;
}

void blur_by_boxes(const uint8_t* src, uint8_t* dst, int width, int height,
                   const BoxWidths& boxes) {
  filter_box(src, dst, width, height, boxes.width[0]);
  filter_box(dst, dst, width, height, boxes.width[1]);
  filter_box(dst, dst, width, height, boxes.width[2]);
}

void blur_colours(const uint8_t* src, uint8_t* dst, int width, int height, float sigma) {
  const size_t pixels = static_cast<size_t>(width) * height;
  Scratch<uint8_t> planes(3, pixels);
  uint8_t *first = planes.get(), *second = first + pixels, *third = second + pixels;
  const Full<uint8_t> d;
  const size_t lanes = hn::Lanes(d), in_vectors = pixels / lanes * lanes;
  hn::Vec<Full<uint8_t>> v0, v1, v2, v3;
  for (size_t i = 0; i < in_vectors; i += lanes) {
    hn::LoadInterleaved4(d, src + 4 * i, v0, v1, v2, v3);
    hn::StoreU(v0, d, first + i);
    hn::StoreU(v1, d, second + i);
    hn::StoreU(v2, d, third + i);
  }
  for (size_t i = in_vectors; i < pixels; ++i) {
    first[i] = src[4 * i];
    second[i] = src[4 * i + 1];
    third[i] = src[4 * i + 2];
  }
  const BoxWidths boxes = box_widths(sigma);
  for (uint8_t* plane : {first, second, third}) blur_by_boxes(plane, plane, width, height, boxes);
  for (size_t i = 0; i < in_vectors; i += lanes) {
    hn::LoadInterleaved4(d, src + 4 * i, v0, v1, v2, v3);
    hn::StoreInterleaved4(hn::LoadU(d, first + i), hn::LoadU(d, second + i),
                          hn::LoadU(d, third + i), v3, d, dst + 4 * i);
  }
  for (size_t i = in_vectors; i < pixels; ++i) {
    const uint8_t pixel[4] = {first[i], second[i], third[i], src[4 * i + 3]};
    std::memcpy(dst + 4 * i, pixel, 4);
  }
}

void print_out_of_memory() {
  log_print("gaussian_blur_fast memory create error!\n");
}

}  // namespace

void filter_box(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  if (width < 1 || height < 1) return;
  if (!window_fits(width, height, radius)) {
    std::memmove(dst, src, static_cast<size_t>(width) * height);
    return;
  }
  // The largest windows whose sums fit: 257 x 255 < 2^16 and 2901^2 x 255 < 2^31.
  if (radius <= 128) {
    box_blur<uint16_t, int32_t>(src, dst, width, height, radius);
  } else if (radius <= 1450) {
    box_blur<int32_t, int32_t>(src, dst, width, height, radius);
  } else {
    box_blur<int32_t, int64_t>(src, dst, width, height, radius);
  }
}

int gaussian_blur_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                       float sigma) {
  if (width < 1 || height < 1) return 0;
  try {
    blur_by_boxes(src, dst, width, height, box_widths(sigma));
  } catch (const std::bad_alloc&) {
    print_out_of_memory();
    return -1;
  }
  return 0;
}

int gaussian_blur_c4(const unsigned char* src, unsigned char* dst, int width, int height,
                     float sigma) {
  if (width < 1 || height < 1) return 0;
  try {
    blur_colours(src, dst, width, height, sigma);
  } catch (const std::bad_alloc&) {
    print_out_of_memory();
  }
  return 0;
}

}  // namespace KelvraCV
