#include "support.h"

namespace bench {
namespace {

std::vector<Comparison>& all() {
  static std::vector<Comparison> list;
  return list;
}

}  // namespace

void compare(Comparison comparison) {
  all().push_back(std::move(comparison));
}

const std::vector<Comparison>& comparisons() {
  return all();
}

std::string sized(const std::string& name, int width, int height) {
  return name + " " + std::to_string(width) + "x" + std::to_string(height);
}

std::vector<uint8_t> photo(int width, int height, int channels) {
  std::vector<uint8_t> pixels;
  pixels.reserve(static_cast<size_t>(width) * height * channels);
  uint32_t noise = 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        noise = noise * 1664525u + 1013904223u;
        const bool object = ((x >> 7) + (y >> 6)) % 3 == 0;
        const int value =
            (x + y * (c + 1)) / 12 % 200 + (object ? 40 : 0) + static_cast<int>(noise >> 28);
        pixels.push_back(static_cast<uint8_t>(value));
      }
    }
  }
  return pixels;
}

std::vector<uint8_t> discs(int width, int height) {
  std::vector<uint8_t> pixels;
  pixels.reserve(static_cast<size_t>(width) * height);
  uint32_t noise = 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      noise = noise * 1664525u + 1013904223u;
      const int u = x % 240 - 120, v = y % 180 - 90, r = u * u + v * v;
      const int size = 40 + (x / 240 * 7 + y / 180 * 3) % 40;
      const bool inside = r < size * size && r > 100;
      pixels.push_back(inside != (noise >> 20 == 0) ? 255 : 0);
    }
  }
  return pixels;
}

}  // namespace bench
