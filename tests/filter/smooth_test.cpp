#include <cmath>
#include <limits>

#include "support/captured_log.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

using Pixels = std::vector<uint8_t>;
using Floats = std::vector<float>;

// ---- The bilateral filter, a line at a time.

struct Bilateral {
  Bilateral(int count, float sigma_spatial, float sigma_range) : channels(count) {
    const float scale = sigma_spatial * 255.0f;
    alpha = static_cast<float>(std::exp(-1.4142135623730951 / static_cast<double>(scale)));
    step = 0.003921569f / sigma_range;
  }
  float weight(const uint8_t* a, const uint8_t* b) const {
    int d = std::abs(a[0] - b[0]);
    if (channels > 1) d = ((d + std::abs(a[2] - b[2])) >> 2) + (std::abs(a[1] - b[1]) >> 1);
    return alpha * std::exp(-static_cast<float>(d) * step);
  }
  // Filters the line of `length` samples in `data`, with distances from `guide`.
  void line(const Pixels& guide, Pixels& data, size_t start, size_t pitch, int length) const {
    const float inv = 1.0f - alpha;
    const Pixels before = data;
    for (int c = 0; c < channels; ++c) {
      Floats f(length), n(length), g(length), m(length);
      for (int pass = 0; pass < 2; ++pass) {
        Floats &values = pass == 0 ? f : g, &weights = pass == 0 ? n : m;
        const int first = pass == 0 ? 0 : length - 1, way = pass == 0 ? 1 : -1;
        for (int k = 0, i = first; k < length; ++k, i += way) {
          const float sample = before[start + i * pitch + c];
          if (k == 0) {
            values[i] = sample;
            weights[i] = 1;
            continue;
          }
          const float w = weight(&guide[start + i * pitch], &guide[start + (i - way) * pitch]);
          values[i] = std::fma(w, values[i - way], inv * sample);
          weights[i] = std::fma(w, weights[i - way], inv);
        }
      }
      for (int i = 0; i < length; ++i) {
        data[start + i * pitch + c] =
            static_cast<uint8_t>(static_cast<int>((f[i] + g[i]) * (1.0f / (n[i] + m[i]))));
      }
    }
  }
  Pixels image(const Pixels& src, int width, int height) const {
    Pixels dst = src;
    const size_t row = static_cast<size_t>(width) * channels;
    for (int y = 0; y < height; ++y) line(src, dst, y * row, channels, width);
    for (int x = 0; x < width; ++x) line(src, dst, static_cast<size_t>(x) * channels, row, height);
    return dst;
  }
  int channels;
  float alpha, step;
};

// ---- The guided filter, on whole planes.

Floats plain_mean(const Floats& in, int w, int h, int radius) {
  const int n = 2 * radius + 1;
  if (n > w || n > h) return in;
  const auto running = [&](size_t start, size_t pitch, int length, const Floats& from, Floats& to) {
    const auto at = [&](int i) {
      return from[start + pitch * std::min(std::max(i, 0), length - 1)];
    };
    float sum = static_cast<float>(radius + 1) * at(0);
    for (int i = 1; i <= radius; ++i) sum += at(i);
    to[start] = sum;
    for (int i = 1; i < length; ++i) {
      sum += at(i + radius);
      sum -= at(i - radius - 1);
      to[start + pitch * i] = sum;
    }
  };
  Floats rows(in.size()), sums(in.size());
  for (int y = 0; y < h; ++y) running(static_cast<size_t>(y) * w, 1, w, in, rows);
  for (int x = 0; x < w; ++x) running(x, w, h, rows, sums);
  for (float& sum : sums) sum *= 1.0f / static_cast<float>(n * n);
  return sums;
}

Floats plain_resize(const Floats& in, int w, int h, int new_w, int new_h) {
  Floats out(static_cast<size_t>(new_w) * new_h);
  resize_bilinear_c1_float(in.data(), out.data(), w, h, w, new_w, new_h, new_w);
  return out;
}

Pixels plain_guided(const Pixels& src, const Pixels& guide, int w, int h, int radius, float scale,
                    float eps) {
  Floats p, i;
  for (const uint8_t byte : src) p.push_back(byte * 0.003921569f);
  for (const uint8_t byte : guide) i.push_back(byte * 0.003921569f);
  const Floats input = p;
  const auto scaled = [&](int v) {
    return scale == 1.0f ? v : static_cast<int>(std::fma(static_cast<float>(v), scale, 0.5f));
  };
  const int sw = scaled(w), sh = scaled(h), r = scaled(radius);
  if (scale != 1.0f) {
    p = plain_resize(p, w, h, sw, sh);
    i = plain_resize(i, w, h, sw, sh);
  }
  Floats ii(p.size()), ip(p.size());
  for (size_t k = 0; k < p.size(); ++k) ii[k] = i[k] * i[k], ip[k] = i[k] * p[k];
  const Floats mean_i = plain_mean(i, sw, sh, r), mean_p = plain_mean(p, sw, sh, r);
  const Floats corr_i = plain_mean(ii, sw, sh, r), corr_ip = plain_mean(ip, sw, sh, r);
  Floats a(p.size()), b(p.size());
  for (size_t k = 0; k < p.size(); ++k) {
    const float var = std::fma(-mean_i[k], mean_i[k], corr_i[k]);
    const float cov = std::fma(-mean_i[k], mean_p[k], corr_ip[k]);
    a[k] = cov / (var + eps);
    b[k] = std::fma(-a[k], mean_i[k], mean_p[k]);
  }
  a = plain_mean(a, sw, sh, r);
  b = plain_mean(b, sw, sh, r);
  if (scale != 1.0f) {
    a = plain_resize(a, sw, sh, w, h);
    b = plain_resize(b, sw, sh, w, h);
  }
  Pixels out;
  for (size_t k = 0; k < input.size(); ++k) {
    const float v = std::fma(a[k], input[k], b[k]) * 255.0f;
    out.push_back(static_cast<uint8_t>(v > 0 ? (v > 255 ? 255 : static_cast<int>(v)) : 0));
  }
  return out;
}

Pixels channel_of(const Pixels& pixels, int channels, int c) {
  Pixels out;
  for (size_t i = c; i < pixels.size(); i += channels) out.push_back(pixels[i]);
  return out;
}

constexpr std::pair<int, int> kSizes[] = {{1, 1}, {1, 9},  {9, 1},   {2, 3}, {5, 4},
                                          {8, 8}, {13, 7}, {31, 22}, {64, 9}};

}  // namespace

TEST(Bilateral, LikeThePlainRule) {
  for (const int channels : {1, 3, 4}) {
    for (const auto& [w, h] : kSizes) {
      for (const auto& [spatial, range] : {std::pair{0.03f, 0.1f}, {0.5f, 0.02f}, {0.001f, 5.0f}}) {
        for (const Guard guard : {Guard::kAfter, Guard::kBefore}) {
          GuardedBuffer<> src(w * channels, h, 0, guard), dst(w * channels, h, 0, guard);
          const Pixels pixels = picture(w, h, channels);
          src.fill(pixels);
          const ImageData in = image_of(src, channels);
          ImageData out = image_of(dst, channels);
          out.stride = 3;  // packed, whatever the stride
          bilateral_filter(in, out, spatial, range);
          ASSERT_EQ(dst.packed(), Bilateral(channels, spatial, range).image(pixels, w, h))
              << w << " x " << h << " x " << channels << ", " << spatial << ", " << range;
        }
      }
    }
  }
}

TEST(Bilateral, ChecksAndOddSigmas) {
  CapturedLog log;
  Pixels pixels = noise(5 * 4 * 3), out(pixels.size(), 9);
  const ImageData in = image_of(pixels, 5, 4, 3);
  for (const int fault : {0, 1, 2}) {
    ImageData to = image_of(out, 5, 4, 3);
    (fault == 0 ? to.width : fault == 1 ? to.height : to.channels) += 1;
    bilateral_filter(in, to, 0.1f, 0.1f);
    EXPECT_EQ(log.take(), Messages{"input and output data mismatch!"});
  }
  ImageData two = image_of(out, 5, 4, 2);
  bilateral_filter(image_of(pixels, 5, 4, 2), two, 0.1f, 0.1f);
  EXPECT_EQ(out, Pixels(out.size(), 9));
  ImageData to = image_of(out, 5, 4, 3);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float sigma : {0.0f, -1.0f, nan, std::numeric_limits<float>::infinity()}) {
    bilateral_filter(in, to, sigma, 0.1f);
    bilateral_filter(in, to, 0.1f, sigma);
  }
}

TEST(Guided, LikeThePlainRule) {
  for (const auto& [w, h] : kSizes) {
    for (const auto& [radius, scale] :
         {std::pair{0, 1.0f}, {1, 1.0f}, {3, 1.0f}, {4, 0.5f}, {2, 0.99f}, {3, 1.5f}}) {
      for (const int channels : {1, 3, 4}) {
        for (const int guide_channels : {0, 1, channels}) {  // 0: itself
          if (static_cast<int>(std::fma(w, scale, 0.5f)) < 1 ||
              static_cast<int>(std::fma(h, scale, 0.5f)) < 1) {
            continue;
          }
          // A single channel is packed, whatever its record says.
          const bool packed = channels == 1, by_packed = guide_channels == 1;
          GuardedBuffer<> src(w * channels, h, packed ? 0 : 5),
              dst(w * channels, h, packed ? 0 : 2);
          GuardedBuffer<> by(w * std::max(guide_channels, 1), h, by_packed ? 0 : 1);
          const Pixels pixels = picture(w, h, channels), guide = noise(by.packed().size());
          src.fill(pixels);
          by.fill(guide);
          ImageData in = image_of(src, channels), out = image_of(dst, channels);
          ImageData guide_image = image_of(by, std::max(guide_channels, 1));
          if (packed) in.stride = out.stride = w + 3;
          if (by_packed) guide_image.stride = w + 3;
          for (ImageData* to : {&out, &in}) {  // the second time in place
            if (guide_channels == 0) {
              guided_filter_self(in, *to, radius, scale, 0.01f);
            } else {
              guided_filter_general(in, guide_image, *to, radius, scale, 0.01f);
            }
          }
          ASSERT_EQ(src.packed(), dst.packed());
          for (int c = 0; c < channels; ++c) {
            const Pixels plane = channel_of(pixels, channels, c);
            const Pixels by_plane = guide_channels == 0   ? plane
                                    : guide_channels == 1 ? guide
                                                          : channel_of(guide, guide_channels, c);
            ASSERT_EQ(channel_of(dst.packed(), channels, c),
                      c == 3 ? plane : plain_guided(plane, by_plane, w, h, radius, scale, 0.01f))
                << w << " x " << h << ", radius " << radius << ", scale " << scale << ", channel "
                << c << " of " << channels << ", guide " << guide_channels;
          }
        }
      }
    }
  }
}

TEST(Guided, ChecksAndSenselessParameters) {
  CapturedLog log;
  Pixels pixels = noise(6 * 5), out(30, 9);
  const ImageData in = image_of(pixels, 6, 5, 1);
  for (const int fault : {0, 1, 2}) {
    ImageData to = image_of(out, 6, 5, 1), guide = in;
    (fault == 0 ? to.width : fault == 1 ? to.height : to.channels) += 1;
    guided_filter_self(in, to, 1, 1, 0.1f);
    guided_filter_general(in, in, to, 1, 1, 0.1f);
    EXPECT_EQ(log.take(), Messages(2, "input and output mismatch!"));
    if (fault == 2) continue;
    (fault == 0 ? guide.width : guide.height) += 1;
    to = image_of(out, 6, 5, 1);
    guided_filter_general(in, guide, to, 1, 1, 0.1f);
    EXPECT_EQ(log.take(), Messages{"input and output mismatch!"});
  }
  // Sizes are fused: this scale leaves half a pixel of 86, rounded down.
  Pixels wide = noise(86 * 90), untouched(wide.size(), 9);
  ImageData wide_out = image_of(untouched, 86, 90, 1);
  guided_filter_self(image_of(wide, 86, 90, 1), wide_out, 1, 0.005813953f, 0.1f);
  EXPECT_EQ(untouched, Pixels(wide.size(), 9));

  const float infinity = std::numeric_limits<float>::infinity();
  ImageData to = image_of(out, 6, 5, 1);
  for (const float scale : {0.0f, -1.0f, 0.01f, 1e9f, infinity, std::nanf("")}) {
    guided_filter_self(in, to, 1, scale, 0.1f);
  }
  for (const int fault : {0, 1, 2, 3}) {  // no width, height, channels, channels of the guide
    ImageData none = in, guide = in;
    if (fault < 3) (fault == 0 ? none.width : fault == 1 ? none.height : none.channels) = 0;
    guide.width = none.width, guide.height = none.height;
    if (fault == 3) guide.channels = 0;
    ImageData empty = none;
    empty.data = out.data();
    guided_filter_general(none, guide, empty, 1, 1, 0.1f);
    if (fault < 3) guided_filter_self(none, empty, 1, 1, 0.1f);
  }
  EXPECT_EQ(out, Pixels(30, 9)) << "nothing is written for what leaves no image";
  for (const int radius : {-1, -1000, 1000000, std::numeric_limits<int>::max()}) {
    for (const float scale : {1.0f, 0.999f}) {  // every mean is a copy: the input again
      guided_filter_self(in, to, radius, scale, 0.1f);
      for (int i = 0; i < 30; ++i) EXPECT_LE(std::abs(out[i] - pixels[i]), 1);
    }
  }
  EXPECT_EQ(log.take(), Messages{});
}

TEST(Smooth, Golden) {
  auto pixels = picture(150, 101, 4), guide = picture(150, 101, 1);
  Pixels out(pixels.size());
  ImageData to = image_of(out, 150, 101, 4);
  bilateral_filter(image_of(pixels, 150, 101, 4), to, 0.03f, 0.1f);
  expect_golden("bilateral_filter", out);
  guided_filter_general(image_of(pixels, 150, 101, 4), image_of(guide, 150, 101, 1), to, 6, 0.5f,
                        0.01f);
  expect_golden("guided_filter_general", out);
  guided_filter_self(image_of(pixels, 150, 101, 4), to, 6, 1, 0.01f);
  expect_golden("guided_filter_self", out);
}
