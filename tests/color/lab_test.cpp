#include "color/lab_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

using Pixels = std::vector<uint8_t>;

template <class Rule>
Pixels by_rule(const Pixels& src, int channels, int red, Rule rule) {
  Pixels out(src.size() / channels * 3);
  for (size_t i = 0; i < src.size() / channels; ++i) {
    const uint8_t rgb[3] = {src[i * channels + red], src[i * channels + 1],
                            src[i * channels + 2 - red]};
    rule(rgb, &out[3 * i]);
  }
  return out;
}

}  // namespace

// Tables of the caller's, none, or one only; any number of threads; both byte orders.
TEST(Lab, FastForward) {
  ForwardLab rule;
  const auto convert = [&](const uint8_t* rgb, uint8_t* lab) { rule.convert(rgb, lab); };
  for (const Shape& shape : all_shapes()) {
    const int w = shape.width, h = shape.height;
    GuardedBuffer<> rgb(3 * w, h, 0, shape.guard), rgba(4 * w, h, shape.padding, shape.guard),
        lab(3 * w, h, 0, shape.guard);
    const Pixels three = noise(3 * w * h), four = noise(4 * w * h, 2);
    rgb.fill(three);
    rgba.fill(four);
    for (const int threads : {1, 0, 2, 3, 1000000}) {
      rgb_to_lab_fast(rgb.data(), lab.data(), w, h, rule.gamma.data(), rule.roots.data(), threads);
      ASSERT_EQ(lab.packed(), by_rule(three, 3, 0, convert)) << shape << ", " << threads;
    }
    for (const int order : {0, 1, 2}) {
      rgb_to_lab_c4_c3(rgba.data(), lab.data(), w, h, rgba.stride(), order, nullptr,
                       rule.roots.data(), 1);
      ASSERT_EQ(lab.packed(), by_rule(four, 4, order == 1 ? 2 : 0, convert)) << shape;
    }
  }
}

TEST(Lab, FastInverse) {
  InverseLab rule;
  for (const Shape& shape : all_shapes()) {
    const int w = shape.width, h = shape.height;
    GuardedBuffer<> lab(3 * w, h, 0, shape.guard), rgb(3 * w, h, 0, shape.guard),
        mask(w, h, 0, shape.guard), rgba(4 * w, h, shape.padding, shape.guard);
    const Pixels pixels = noise(3 * w * h), before = noise(4 * w * h, 3);
    Pixels selected = noise(w * h, 4);
    for (uint8_t& byte : selected) byte &= 1;
    lab.fill(pixels);
    mask.fill(selected);
    Pixels want =
        by_rule(pixels, 3, 0, [&](const uint8_t* p, uint8_t* out) { rule.convert(p, out); });
    for (const int order : {0, 1, 5}) {
      rgba.fill(before);
      lab_to_rgb_c3_c4(lab.data(), rgba.data(), w, h, rgba.stride(), order, rule.y.data(),
                       rule.x.data(), rule.z.data(), rule.gamma.data(), 2);
      const Pixels out = rgba.packed();
      for (int i = 0; i < w * h; ++i) {
        for (int k = 0; k < 3; ++k) {
          ASSERT_EQ(out[4 * i + (order == 1 ? 2 - k : k)], want[3 * i + k]) << shape;
        }
        ASSERT_EQ(out[4 * i + 3], before[4 * i + 3]) << "the fourth byte is never written";
      }
    }
    for (int i = 0; i < w * h; ++i) {
      for (int k = 0; k < 3 && selected[i] == 0; ++k) want[3 * i + k] = 0;
    }
    lab_to_rgb_fast(lab.data(), rgb.data(), w, h, mask.data(), rule.y.data(), rule.x.data(),
                    rule.z.data(), rule.gamma.data(), 3);
    ASSERT_EQ(rgb.packed(), want) << shape;
  }
}

// The caller's tables are really used, unless one of them is missing; and what they hold cannot
// lead out of them.
TEST(Lab, TablesOfTheCaller) {
  std::vector<int> gamma(256, 1 << 30), roots(1500, 123456789);
  const Pixels rgb{10, 200, 30};
  Pixels with_tables(3), without(3), as_made(3);
  rgb_to_lab_fast(rgb.data(), with_tables.data(), 1, 1, gamma.data(), roots.data(), 1);
  rgb_to_lab_fast(rgb.data(), without.data(), 1, 1, gamma.data(), nullptr, 1);
  ForwardLab().convert(rgb.data(), as_made.data());
  EXPECT_EQ(without, as_made);
  EXPECT_NE(with_tables, as_made);
  std::vector<int> y(256, 1 << 30), xz(65536, -(1 << 30));
  std::vector<unsigned short> low_byte(4096, 0x1234);
  uint8_t mask = 255;
  lab_to_rgb_fast(rgb.data(), with_tables.data(), 1, 1, &mask, y.data(), xz.data(), xz.data(),
                  low_byte.data(), 1);
  EXPECT_EQ(with_tables, Pixels(3, 0x34));
}

TEST(Lab, Tables) {
  GuardedBuffer<int> gamma(256, 1), roots(1500, 1), of_y(256, 1), of_xz(65536, 1);
  GuardedBuffer<unsigned short> encoded(4096, 1);
  init_rgb_to_lab_fast(gamma.data(), roots.data());
  init_lab_to_rgb_fast(of_y.data(), of_xz.data(), of_xz.data(), encoded.data());
  const ForwardLab forward;
  for (int i = 0; i < 256; ++i) {
    ASSERT_EQ(forward.gamma[i], static_cast<int>(linear_light(i) * 1024.0f));
  }
  expect_golden("init_rgb_to_lab_fast", forward.roots);
  const InverseLab inverse;
  std::vector<int> all = inverse.y;
  for (const auto* table : {&inverse.x, &inverse.z})
    all.insert(all.end(), table->begin(), table->end());
  all.insert(all.end(), inverse.gamma.begin(), inverse.gamma.end());
  expect_golden("init_lab_to_rgb_fast", all);
  EXPECT_EQ(inverse.y[0], 0);
  EXPECT_EQ(inverse.y[255], 255);
  EXPECT_EQ(inverse.gamma[4095], 254);
}

TEST(Lab, Golden) {
  const int w = 150, h = 101;
  auto rgb = picture(w, h, 3), rgba = picture(w, h, 4);
  Pixels out(3 * w * h), back(4 * w * h);
  rgb_to_lab(rgb.data(), out.data(), w, h);
  expect_golden("rgb_to_lab", out);
  rgb_to_lab_fast(rgb.data(), out.data(), w, h, nullptr, nullptr, 2);
  expect_golden("rgb_to_lab_fast", out);
  lab_to_rgb_c3_c4(out.data(), back.data(), w, h, 4 * w, 1, nullptr, nullptr, nullptr, nullptr, 0);
  expect_golden("lab_to_rgb_c3_c4", back);
  rgb_to_lab_c4_c3(rgba.data(), out.data(), w, h, 4 * w, 1, nullptr, nullptr, 0);
  expect_golden("rgb_to_lab_c4_c3", out);
  Pixels mask(w * h, 9);
  lab_to_rgb_fast(out.data(), rgb.data(), w, h, mask.data(), nullptr, nullptr, nullptr, nullptr, 2);
  expect_golden("lab_to_rgb_fast", rgb);
}

TEST(Lab, EmptySizesWriteNothing) {
  uint8_t in[4] = {}, out = 7;
  for (const auto& [w, h] : {std::pair{0, 1}, {1, 0}, {-1, 1}, {1, -5}}) {
    rgb_to_lab(in, &out, w, h);
    rgb_to_lab_fast(in, &out, w, h, nullptr, nullptr, 2);
    rgb_to_lab_c4_c3(in, &out, w, h, 4, 0, nullptr, nullptr, 0);
    lab_to_rgb_fast(in, &out, w, h, in, nullptr, nullptr, nullptr, nullptr, -1);
    lab_to_rgb_c3_c4(in, &out, w, h, 4, 0, nullptr, nullptr, nullptr, nullptr, 1);
  }
  EXPECT_EQ(out, 7);
}
