// The colour conversions over all 2^24 colours, against one pixel's plain formulas.
#include <functional>

#include "color/lab_rules.h"
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

uint8_t clamp(int value) {
  return static_cast<uint8_t>(std::min(std::max(value, 0), 255));
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
      3, [](uint8_t* in, uint8_t* out) { rgb_to_ycbcr(in, out, kRow, 1, 0, false); },
      [](const uint8_t* p, uint8_t* out) {
        out[0] = clamp((263 * p[0] + 516 * p[1] + 100 * p[2] + 16896) >> 10);
        out[1] = clamp((-152 * p[0] - 298 * p[1] + 450 * p[2] + 131584) >> 10);
        out[2] = clamp((450 * p[0] - 377 * p[1] - 73 * p[2] + 131585) >> 10);
      });
  expect_all(
      3, [](uint8_t* in, uint8_t* out) { ycbcr_to_rgb(in, out, kRow, 1, 0, false); },
      [](const uint8_t* p, uint8_t* out) {
        out[0] = clamp((1192 * p[0] + 1634 * p[2] - 227759) >> 10);
        out[1] = clamp((1192 * p[0] - 401 * p[1] - 832 * p[2] + 139341) >> 10);
        out[2] = clamp((1192 * p[0] + 2066 * p[1] - 282967) >> 10);
      });
}

TEST(AllColors, Hsv) {
  expect_all(
      3,
      [](uint8_t* in, uint8_t* out) {
        ImageData to = row_of(out);
        rgba2hsv(row_of(in), to);
      },
      [](const uint8_t* p, uint8_t* out) {
        const int r = p[0], g = p[1], b = p[2], v = std::max({r, g, b}),
                  d = v - std::min({r, g, b});
        const int h = v == r ? g - b : (v == g ? b - r + 2 * d : r - g + 4 * d);
        const int table = d == 0 ? 0 : static_cast<int>(174762.66666666666 / d);
        out[0] = static_cast<uint8_t>((2048 + h * table) >> 12);
        out[1] = static_cast<uint8_t>((2048 + d * (v == 0 ? 0 : 1044480 / v)) >> 12);
        out[2] = static_cast<uint8_t>(v);
      });
  expect_all(
      3,
      [](uint8_t* in, uint8_t* out) {
        ImageData to = row_of(out);
        hsv2rgb(row_of(in), to);
      },
      [](const uint8_t* p, uint8_t* out) {
        const float s = p[1] * 0.003921569f, v = p[2] * 0.003921569f, h = p[0] * 0.0234375f;
        const int i = static_cast<int>(h);
        const float f = h - static_cast<float>(i), a = std::fma(-s, v, v),
                    q = std::fma(-(f * s), v, v), t = std::fma(f * s - s, v, v);
        const float rgb[6][3] = {{v, t, a}, {q, v, a}, {a, v, t}, {a, q, v}, {t, a, v}, {v, a, q}};
        for (int k = 0; k < 3; ++k) {
          out[k] = static_cast<uint8_t>(static_cast<int>((p[1] == 0 ? v : rgb[i][k]) * 255.0f));
        }
      });
}

TEST(AllColors, Lab) {
  std::vector<float> light;
  for (int c = 0; c < 256; ++c) light.push_back(linear_light(c));
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
