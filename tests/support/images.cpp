#include "support/images.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <map>

namespace test {

std::vector<uint8_t> noise(size_t count, uint32_t seed) {
  Random random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = random.byte();
  return bytes;
}

std::vector<uint8_t> picture(int width, int height, int channels) {
  Random random(7);
  std::vector<uint8_t> pixels;
  pixels.reserve(static_cast<size_t>(width) * height * channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool in_disc = (x - 40) * (x - 40) + (y - 30) * (y - 30) < 400;
      const bool in_bar = x % 50 > 42;
      for (int c = 0; c < channels; ++c) {
        int value = (x * (3 + c) + y * (5 - c)) / 4 + 60 * c;
        if (in_disc) value = 255 - 80 * c;
        if (in_bar) value = y % 7 == 0 ? 0 : 230;
        value = value % 256 + random.below(9) - 4;
        pixels.push_back(static_cast<uint8_t>(value < 0 ? 0 : (value > 255 ? 255 : value)));
      }
    }
  }
  return pixels;
}

std::vector<uint8_t> mask_picture(int width, int height) {
  Random random(3);
  std::vector<uint8_t> pixels;
  pixels.reserve(static_cast<size_t>(width) * height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int u = x % 40 - 18, v = y % 36 - 17;
      const bool in_disc = u * u + v * v < 190;
      const bool in_bar = y % 23 > 19 && x % 61 > 8;
      const bool speck = random.below(50) == 0;
      pixels.push_back((in_disc || in_bar) != speck ? 255 : 0);
    }
  }
  return pixels;
}

KelvraCV::ImageData image_of(std::vector<uint8_t>& pixels, int width, int height, int channels) {
  return {pixels.data(), width, height, channels, width * channels, 0, 0};
}

KelvraCV::ImageData image_of(GuardedBuffer<uint8_t>& buffer, int channels) {
  return {
      buffer.data(), buffer.columns() / channels, buffer.rows(), channels, buffer.stride(), 0, 0};
}

std::ostream& operator<<(std::ostream& out, const Shape& shape) {
  return out << shape.width << " x " << shape.height << ", padding " << shape.padding << ", page "
             << (shape.guard == Guard::kAfter ? "after" : "before");
}

const std::vector<Shape>& all_shapes() {
  static const std::vector<Shape> shapes = [] {
    std::vector<std::pair<int, int>> sizes;
    for (int width = 1; width <= 17; ++width) {
      for (const int height : {1, 2, 3, 5}) sizes.emplace_back(width, height);
    }
    for (const int width : {31, 32, 33, 63, 64, 65, 127}) {
      for (const int height : {1, 4, 9}) sizes.emplace_back(width, height);
    }
    for (const int height : {17, 33, 64}) sizes.emplace_back(40, height);
    sizes.emplace_back(1500, 1);
    sizes.emplace_back(1, 700);
    std::vector<Shape> all;
    for (const auto& [width, height] : sizes) {
      all.push_back({width, height, 0, Guard::kAfter});
      all.push_back({width, height, 0, Guard::kBefore});
      all.push_back({width, height, 5, Guard::kAfter});
    }
    return all;
  }();
  return shapes;
}

namespace {

std::map<std::string, std::string> read_checksums() {
  std::map<std::string, std::string> checksums;
  std::ifstream file(KELVRA_CV_GOLDEN_FILE);
  std::string name, checksum;
  while (file >> name >> checksum) checksums[name] = checksum;
  return checksums;
}

}  // namespace

void expect_golden(const std::string& name, const void* data, size_t bytes) {
  // FNV-1a: any changed byte changes it.
  uint64_t hash = 14695981039346656037u;
  for (size_t i = 0; i < bytes; ++i) {
    hash = (hash ^ static_cast<const uint8_t*>(data)[i]) * 1099511628211u;
  }
  char text[17];
  std::snprintf(text, sizeof text, "%016" PRIx64, hash);
  static const auto checksums = read_checksums();
  const auto noted = checksums.find(name);
  EXPECT_TRUE(noted != checksums.end() && noted->second == text)
      << "expected in tests/golden/checksums.txt: " << name << " " << text;
}

}  // namespace test
