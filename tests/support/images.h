// Test pictures, the sizes that every function is tried at, and golden checksums.
#ifndef KELVRA_CV_TESTS_SUPPORT_IMAGES_H_
#define KELVRA_CV_TESTS_SUPPORT_IMAGES_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kelvra_cv.h"
#include "support/guarded_buffer.h"

namespace test {

// A small generator of uniform bits (xorshift), the same on every machine.
class Random {
 public:
  explicit Random(uint32_t seed = 1) : state_(seed * 2654435761u + 1) {}
  uint32_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }
  // Uniform in 0 .. limit - 1.
  int below(int limit) { return static_cast<int>(next() % static_cast<uint32_t>(limit)); }
  uint8_t byte() { return static_cast<uint8_t>(next() >> 13); }

 private:
  uint32_t state_;
};

// `count` random bytes.
std::vector<uint8_t> noise(size_t count, uint32_t seed = 1);

// A packed picture with smooth areas, edges, saturated spots and a little noise.
std::vector<uint8_t> picture(int width, int height, int channels);

// A packed mask of 0 and 255: discs, bars and specks.
std::vector<uint8_t> mask_picture(int width, int height);

// The record of a packed image, or of a guarded buffer (whose columns are samples).
KelvraCV::ImageData image_of(std::vector<uint8_t>& pixels, int width, int height, int channels);
KelvraCV::ImageData image_of(GuardedBuffer<uint8_t>& buffer, int channels);

struct Shape {
  int width;
  int height;
  int padding;  // elements between rows
  Guard guard;
};
std::ostream& operator<<(std::ostream& out, const Shape& shape);

// Widths around every vector width, with a few heights, and long thin and tall thin images; each
// without and with padding and with the unmapped page on either side.
const std::vector<Shape>& all_shapes();

// Compares a result with the checksum noted for `name` in tests/golden/checksums.txt. The line to
// add or replace is part of the failure's text.
void expect_golden(const std::string& name, const void* data, size_t bytes);
template <class T>
void expect_golden(const std::string& name, const std::vector<T>& data) {
  expect_golden(name, data.data(), data.size() * sizeof(T));
}

}  // namespace test

#endif  // KELVRA_CV_TESTS_SUPPORT_IMAGES_H_
