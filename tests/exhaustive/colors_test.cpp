// The colour conversions over all 2^24 colours, against one pixel's plain formulas.
#include <functional>

#include "color/lab_rules.h"
#include "color/pixel_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

constexpr int kRow = 1 << 16;

// Calls `convert` for 256 rows of 65536 colours and compares every pixel with `rule`, and all of
// them with the checksum noted for `golden`, if it has a name.
void expect_all(int result_bytes, const std::function<void(uint8_t*, uint8_t*)>& convert,
                const std::function<void(const uint8_t*, uint8_t*)>& rule,
                const char* golden = nullptr) {
  std::vector<uint8_t> colors(3 * kRow), all(static_cast<size_t>(result_bytes) * 256 * kRow);
  const auto results_of = [&](int a) { return &all[static_cast<size_t>(result_bytes) * a * kRow]; };
  const auto set_red = [&](int a) {
    for (int i = 0; i < kRow; ++i) {
      colors[3 * i] = static_cast<uint8_t>(a);
      colors[3 * i + 1] = static_cast<uint8_t>(i >> 8);
      colors[3 * i + 2] = static_cast<uint8_t>(i);
    }
  };
  for (int a = 0; a < 256; ++a) {
    set_red(a);
    convert(colors.data(), results_of(a));
  }
  if (golden != nullptr) expect_golden(golden, all);
  for (int a = 0; a < 256; ++a) {
    set_red(a);
    const uint8_t* const results = results_of(a);
    for (int i = 0; i < kRow; ++i) {
      uint8_t want[3];
      rule(&colors[3 * i], want);
      for (int k = 0; k < result_bytes; ++k) {
        ASSERT_EQ(results[result_bytes * i + k], want[k])
            << a << " " << (i >> 8) << " " << (i & 255) << ", byte " << k;
      }
    }
  }
}

ImageData row_of(uint8_t* pixels) {
  return {pixels, kRow, 1, 3, 3 * kRow, 0, 0};
}

}  // namespace

TEST(AllColors, Gray) {
  expect_all(
      1, [](uint8_t* in, uint8_t* out) { rgb2gray(in, out, kRow, 1, 0, 0); },
      [](const uint8_t* p, uint8_t* out) {
        out[0] = static_cast<uint8_t>((19595 * p[0] + 38469 * p[1] + 7472 * p[2]) >> 16);
      });
}

TEST(AllColors, YCbCr) {
  expect_all(
      3, [](uint8_t* in, uint8_t* out) { rgb_to_ycbcr(in, out, kRow, 1, 0, false); }, plain_ycbcr);
  expect_all(
      3, [](uint8_t* in, uint8_t* out) { ycbcr_to_rgb(in, out, kRow, 1, 0, false); }, plain_rgb);
}

TEST(AllColors, Hsv) {
  const auto with = [](void (*convert)(const ImageData&, ImageData&)) {
    return [convert](uint8_t* in, uint8_t* out) {
      ImageData to = row_of(out);
      convert(row_of(in), to);
    };
  };
  expect_all(3, with(rgba2hsv), plain_hsv);
  expect_all(3, with(hsv2rgb), plain_from_hsv);
}

TEST(AllColors, Lab) {
  const std::vector<float> light = light_table();
  expect_all(
      3, [](uint8_t* in, uint8_t* out) { rgb_to_lab(in, out, kRow, 1); },
      [&](const uint8_t* p, uint8_t* out) { plain_lab(light.data(), p, out); },
      "rgb_to_lab_of_all_colors");
}

TEST(AllColors, LabByTables) {
  ForwardLab forward;
  expect_all(
      3,
      [&](uint8_t* in, uint8_t* out) {
        rgb_to_lab_fast(in, out, kRow, 1, forward.gamma.data(), forward.roots.data(), 1);
      },
      [&](const uint8_t* p, uint8_t* out) { forward.convert(p, out); },
      "rgb_to_lab_fast_of_all_colors");
  InverseLab inverse;
  std::vector<uint8_t> mask(kRow, 1);
  expect_all(
      3,
      [&](uint8_t* in, uint8_t* out) {
        lab_to_rgb_fast(in, out, kRow, 1, mask.data(), inverse.y.data(), inverse.x.data(),
                        inverse.z.data(), inverse.gamma.data(), 1);
      },
      [&](const uint8_t* p, uint8_t* out) { inverse.convert(p, out); },
      "lab_to_rgb_fast_of_all_colors");
}
