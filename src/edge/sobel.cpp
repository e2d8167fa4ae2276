// Sobel derivatives of a gray image, and their sum of magnitudes compared with a threshold.
#include "edge/sobel.h"

#include <cstring>

#include "core/scratch.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

void gradient_row(ThreeRows<uint8_t> rows, int16_t* dx, int16_t* dy, int width) {
  for_each_column(width, [=](auto d16, size_t left, size_t x, size_t right) {
    const auto gradient = sobel(differences(d16, rows, left, x, right));
    hn::StoreU(gradient.dx, d16, dx + x);
    hn::StoreU(gradient.dy, d16, dy + x);
  });
}

void edge_row(ThreeRows<uint8_t> rows, uint8_t* dst, int width, int16_t half_threshold) {
  for_each_column(width, [=](auto d16, size_t left, size_t x, size_t right) {
    const auto half = half_magnitude(differences(d16, rows, left, x, right));
    const auto is_edge = hn::Gt(half, hn::Set(d16, half_threshold));
    const auto bytes = bytes_from_mask(d16, is_edge);
    hn::StoreU(bytes, hn::DFromV<decltype(bytes)>(), dst + x);
  });
}

}  // namespace

void sobel_edge(const unsigned char* src, unsigned char* dst, int width, int height,
                int threshold) {
  if (width < 1 || height < 1) return;
  // Magnitudes are within 0 .. 2040, so thresholds beyond that compare as the nearest of these do.
  // They are even: 2 h > t if h > t / 2, rounded down.
  const auto limit = static_cast<int16_t>(std::clamp(threshold, -1, 2040) >> 1);
  const size_t bytes = static_cast<size_t>(width) * height;
  Scratch<uint8_t> copy(overlap(src, bytes, dst, bytes) ? bytes : 0);
  if (overlap(src, bytes, dst, bytes)) {
    std::memcpy(copy.get(), src, bytes);
    src = copy.get();
  }
  for (int y = 0; y < height; ++y) {
    edge_row(rows_around(src, y, width, height), row_at(dst, y, width), width, limit);
  }
}

void sobel_grad(const unsigned char* src, short* dx, short* dy, int width, int height) {
  if (width < 1 || height < 1) return;
  for (int y = 0; y < height; ++y) {
    gradient_row(rows_around(src, y, width, height), row_at(dx, y, width), row_at(dy, y, width),
                 width);
  }
}

}  // namespace KelvraCV
