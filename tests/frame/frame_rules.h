// Conversions, rotations and copies of planes, plainly.
#ifndef KELVRA_CV_TESTS_FRAME_FRAME_RULES_H_
#define KELVRA_CV_TESTS_FRAME_FRAME_RULES_H_

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "kelvra_cv.h"
#include "support/guarded_buffer.h"

namespace test {

// Packed samples, with plain versions of what the functions do to a plane.
struct Samples {
  explicit Samples(const GuardedBuffer<>& buffer, int u = 1)
      : width(buffer.columns() / u), height(buffer.rows()), unit(u), bytes(buffer.packed()) {}
  Samples(int w, int h, int u) : width(w), height(h), unit(u), bytes(size_t(w) * h * u) {}

  template <class F>  // source column and row of column x, row y
  Samples mapped(int w, int h, F source) const {
    Samples result(w, h, unit);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const auto [sx, sy] = source(x, y);
        std::copy_n(&bytes[(size_t(sy) * width + sx) * unit], unit,
                    &result.bytes[(size_t(y) * w + x) * unit]);
      }
    }
    return result;
  }
  Samples flipped(bool flip) const {
    return mapped(width, height,
                  [&](int x, int y) { return std::pair(x, flip ? height - 1 - y : y); });
  }
  Samples mirrored() const {
    return mapped(width, height, [&](int x, int y) { return std::pair(width - 1 - x, y); });
  }
  Samples rotated(int degrees) const {
    if (degrees == 90) {
      return mapped(height, width, [&](int x, int y) { return std::pair(y, height - 1 - x); });
    }
    if (degrees == 180) return mirrored().flipped(true);
    if (degrees == 270) {
      return mapped(height, width, [&](int x, int y) { return std::pair(width - 1 - y, x); });
    }
    return *this;
  }
  // The first or the second of each pair.
  Samples half(int which) const {
    Samples result(width, height, 1);
    for (size_t i = 0; i < result.bytes.size(); ++i) result.bytes[i] = bytes[2 * i + which];
    return result;
  }

  int width, height, unit;
  std::vector<uint8_t> bytes;
};

// BT.601, in 6 fractional bits: B, G, R and 255.
inline Samples plain_argb(const Samples& y, const Samples& u, const Samples& v) {
  Samples argb(y.width, y.height, 4);
  const auto byte = [](int sum) { return static_cast<uint8_t>(std::clamp(sum / 64, 0, 255)); };
  for (int i = 0; i < y.width * y.height; ++i) {
    const int at = i / y.width / 2 * u.width + i % y.width / 2;
    const int cb = u.bytes[at] - 128, cr = v.bytes[at] - 128;
    const int luma = (y.bytes[i] * 257 * 18997 >> 16) - 1160;  // 1.164 (y - 16)
    argb.bytes[4 * i] = byte(luma + 128 * cb);
    argb.bytes[4 * i + 1] = byte(luma - 25 * cb - 52 * cr);
    argb.bytes[4 * i + 2] = byte(luma + 102 * cr);
    argb.bytes[4 * i + 3] = 255;
  }
  return argb;
}

// Whether a scaled picture has nothing that is not between its source's darkest and brightest
// samples, and zeros beside `clip`. libyuv's weights do not quite add up to 1: those of pixels of 4
// bytes to 127 / 128, those of n samples of a plane are whole 65536ths.
inline bool is_between(const GuardedBuffer<>& scaled, const GuardedBuffer<>& source,
                       const KelvraCV::Rect& clip, int unit) {
  const std::vector<uint8_t> from = source.packed();
  const auto range = std::minmax_element(from.begin(), from.end());
  const int columns = source.columns() / scaled.columns() + 2,
            rows = source.rows() / scaled.rows() + 2;
  const int lost = unit == 1 ? *range.first * columns * rows / 65536 : 0;
  const int darkest = *range.first * 127 / 128 - lost;
  for (int y = 0; y < scaled.rows(); ++y) {
    for (int i = 0; i < scaled.columns(); ++i) {
      const bool inside = y >= clip.y && y < clip.y + clip.height && i / unit >= clip.x &&
                          i / unit < clip.x + clip.width;
      const int value = scaled.row(y)[i];
      if (inside ? value < darkest || value > *range.second : value != 0) return false;
    }
  }
  return true;
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_FRAME_FRAME_RULES_H_
