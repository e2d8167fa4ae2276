#include "support/every_call.h"

#include <algorithm>
#include <type_traits>

#include "color/lab_rules.h"
#include "color/pixel_rules.h"
#include "detect/detect_rules.h"
#include "edge/edge_rules.h"
#include "filter/filter_rules.h"
#include "filter/smooth_rules.h"
#include "frame/frame_rules.h"
#include "geometry/warp_rules.h"
#include "shape/shape_rules.h"

namespace test {

GuardedBuffer<uint8_t>& Scene::input(int columns, int rows, Rows padding, Content content) {
  GuardedBuffer<uint8_t>& buffer = make<uint8_t>(columns, rows, padding);
  const int kind = number(0, 3);
  std::minstd_rand noise(draw_.next() + 1);
  const int low = number(0, 255), high = number(0, 255);
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < columns; ++x) {
      const auto random = static_cast<uint8_t>(noise() >> 11);
      uint8_t value = random;
      if (kind == 1) value = static_cast<uint8_t>(low);
      if (kind == 2) value = static_cast<uint8_t>(((x >> 3) + (y >> 2)) % 2 == 0 ? low : high);
      if (kind == 3) value = static_cast<uint8_t>(low + 3 * x + 2 * y + random % 8);
      if (content == Content::kMask) value = value < 128 ? 0 : 255;
      buffer.row(y)[x] = value;
    }
  }
  return buffer;
}

namespace {

using namespace KelvraCV;
using Bytes = GuardedBuffer<uint8_t>;
constexpr auto kPadded = Scene::Rows::kPadded, kPacked = Scene::Rows::kPacked;
constexpr auto kPixels = Scene::Content::kPixels, kMask = Scene::Content::kMask;

struct Size {
  int w, h;
};
Size size(Scene& s) {
  const int kind = s.number(0, 7);
  if (kind == 0) return {s.number(1, 600), s.number(1, 4)};
  if (kind == 1) return {s.number(1, 4), s.number(1, 300)};
  return {s.number(1, kind == 2 ? 150 : 70), s.number(1, 40)};
}

ImageData image(Bytes& buffer, int channels) {
  return {
      buffer.data(), buffer.columns() / channels, buffer.rows(), channels, buffer.stride(), 0, 0};
}

// Functions from pixels of `kFrom` bytes to pixels of `kTo` bytes, both with strides. `plain` gives
// the pixels from the packed source.
template <int kFrom, int kTo, class Function, class Plain>
void strided(Scene& s, Function function, Plain plain) {
  const Size z = size(s);
  Bytes& src = s.input(kFrom * z.w, z.h, kPadded);
  Bytes& dst = s.output(kTo * z.w, z.h, kPadded);
  s.expect(dst, [&] { return plain(src.packed(), z.w, z.h); });
  function(src.data(), dst.data(), z.w, z.h, src.stride(), dst.stride());
}
// From packed bytes to packed bytes of the same kind, perhaps in place.
template <int kChannels, bool kInPlace, class Function, class Plain>
void packed(Scene& s, Function function, Plain plain) {
  const Size z = size(s);
  Bytes& src = s.input(kChannels * z.w, z.h);
  Bytes& dst = kInPlace ? s.output_or(src) : s.output(kChannels * z.w, z.h);
  s.expect(dst, [&] { return plain(src.packed(), z.w, z.h); });
  function(src.data(), dst.data(), z.w, z.h);
}

// `plain` resizes pixels of `from` bytes, of which the result has those in `order`.
void resize(Scene& s, int from, const std::vector<int>& order,
            const std::function<void(const uint8_t*, uint8_t*, int, int, int, int, int, int)>& f,
            const std::function<Pixels(const Pixels&, const Job&, int)>& plain) {
  const int to = static_cast<int>(order.size());
  const Size z = size(s);
  // Often whole ratios, which have ways of their own.
  Size d = size(s);
  const int ratio = s.number(2, 4);
  switch (s.number(0, 3)) {
    case 0:
      d = {std::max(z.w / ratio, 1), std::max(z.h / ratio, 1)};
      break;
    case 1:
      d = {std::min(z.w * ratio, 700), std::min(z.h * ratio, 200)};
      break;
    default:
      break;
  }
  Bytes& src = s.input(from * z.w, z.h, kPadded);
  Bytes& dst = s.output(to * d.w, d.h, kPadded);
  s.expect(dst, [&] {
    return channels_of(plain(src.packed(), {z.w, z.h, d.w, d.h}, from), order, from);
  });
  f(src.data(), dst.data(), z.w, z.h, src.stride(), d.w, d.h, dst.stride());
}
Pixels plain_linear(const Pixels& src, const Job& job, int channels) {
  return plain_separable(src, job, channels, linear);
}
Pixels plain_cubic(const Pixels& src, const Job& job, int channels) {
  return plain_separable(src, job, channels, cubic);
}

void warp(Scene& s, int channels, int elements, decltype(&warpaffine_bilinear_c1) function) {
  const Size z = size(s), d = size(s);
  Bytes& src = s.input(channels * z.w, z.h, kPadded);
  Bytes& dst = s.output(channels * d.w, d.h, kPadded);
  float matrix[9] = {s.real(-2, 2),    s.real(-1, 1),         s.real(-40, 40),
                     s.real(-1, 1),    s.real(-2, 2),         s.real(-40, 40),
                     s.real(0, 0.02f), s.real(-0.02f, 0.02f), 1};
  if (s.number(0, 15) == 0) {
    const float odd[] = {0.0f, NAN, INFINITY, 1e30f, -1e-30f};
    matrix[s.number(0, elements - 1)] = odd[s.number(0, 4)];
  }
  const int border = s.number(-1, 3), fill = s.number(0, 1 << 30);
  const PlainWarp plain{{z.w, z.h, d.w, d.h},           channels, elements == 9, matrix, border,
                        static_cast<unsigned int>(fill)};
  // A quotient may stand a rounding error beside a half.
  s.expect(
      dst, [&] { return plain.image(src.packed(), dst.packed()); }, elements == 9 ? 1 : 0);
  function(src.data(), z.w, z.h, src.stride(), dst.data(), d.w, d.h, dst.stride(), matrix, border,
           plain.fill);
}

std::vector<ImageData> planes_of(Bytes& buffer, int count, int height) {
  std::vector<ImageData> planes;
  for (int k = 0; k < count; ++k) {
    planes.push_back({buffer.row(k * height), buffer.columns(), height, 1, buffer.columns(), 0, 0});
  }
  return planes;
}

void guided(Scene& s, bool general) {
  const Size z = size(s);
  const int channels = s.number(1, 4), by = s.number(1, 4);
  const auto rows = [](int n) { return n == 1 ? kPacked : kPadded; };
  Bytes& src = s.input(channels * z.w, z.h, rows(channels));
  Bytes& guide = s.input(by * z.w, z.h, rows(by));
  Bytes& dst = s.output_or(src, rows(channels));
  ImageData to = image(dst, channels);
  const int radius = s.number(0, 12);
  const float scale = s.any_of({1.0f, 1.0f, 0.5f, 0.25f, 0.3f, 2.0f}), eps = s.real(0.0001f, 0.1f);
  const PlainGuided plain{z.w, z.h, radius, scale, eps};
  s.expect(dst, [&] {
    if (plain.scaled(z.w) < 1 || plain.scaled(z.h) < 1) return dst.packed();
    const Pixels pixels = src.packed();
    return general ? plain.image(pixels, channels, guide.packed(), by)
                   : plain.image(pixels, channels, pixels, channels);
  });
  if (general) {
    guided_filter_general(image(src, channels), image(guide, by), to, radius, scale, eps);
  } else {
    guided_filter_self(image(src, channels), to, radius, scale, eps);
  }
}

struct Outlines {
  std::vector<std::vector<Point>> lists;
  std::vector<Point> polygon;  // all of them
  std::vector<int> xs, ys;
};
Outlines outlines(Scene& s, Size z) {
  Outlines o;
  for (int i = s.number(0, 3); i >= 0; --i) {
    o.lists.emplace_back();
    for (int k = s.number(0, 12); k > 0; --k) {
      o.lists.back().push_back({s.number(0, z.w - 1), s.number(0, z.h - 1)});
      o.polygon.push_back(o.lists.back().back());
      o.xs.push_back(o.polygon.back().x);
      o.ys.push_back(o.polygon.back().y);
    }
  }
  return o;
}

struct Planes {
  Bytes &y, &u, &v;
};
Planes source_planes(Scene& s, Size z) {
  const int w = (z.w + 1) / 2, h = (z.h + 1) / 2;
  Bytes& y = s.input(z.w, z.h, kPadded);
  Bytes& u = s.input(w, h, kPadded);
  return {y, u, s.input(w, h, kPadded)};
}
Planes result_planes(Scene& s, Size z) {
  const int w = (z.w + 1) / 2, h = (z.h + 1) / 2;
  Bytes& y = s.output(z.w, z.h, kPadded);
  Bytes& u = s.output(w, h, kPadded);
  return {y, u, s.output(w, h, kPadded)};
}
Size turned(Size z, RotationMode mode) {
  return mode == ROTATE_90 || mode == ROTATE_270 ? Size{z.h, z.w} : z;
}

template <class Function>
void planes_to_argb(Scene& s, Function function, bool second_is_u) {
  const Size z = size(s);
  const Planes p = source_planes(s, z);
  Bytes& out = s.output(4 * z.w, z.h, kPadded);
  const bool flip = s.flag();
  s.expect(out, [&] {
    const Samples second(p.u), third(p.v);
    return plain_argb(Samples(p.y), second_is_u ? second : third, second_is_u ? third : second)
        .flipped(flip)
        .bytes;
  });
  function(p.y.data(), p.y.stride(), p.u.data(), p.u.stride(), p.v.data(), p.v.stride(), out.data(),
           out.stride(), z.w, z.h, flip);
}
template <class Function>
void pairs_to_argb(Scene& s, Function function, int place_of_u) {
  const Size z = size(s);
  Bytes& y = s.input(z.w, z.h, kPadded);
  Bytes& uv = s.input((z.w + 1) / 2 * 2, (z.h + 1) / 2, kPadded);
  Bytes& out = s.output(4 * z.w, z.h, kPadded);
  const bool flip = s.flag();
  s.expect(out, [&] {
    const Samples pairs(uv, 2),
        argb = plain_argb(Samples(y), pairs.half(place_of_u), pairs.half(1 - place_of_u));
    return argb.flipped(flip).bytes;
  });
  function(y.data(), y.stride(), uv.data(), uv.stride(), out.data(), out.stride(), z.w, z.h, flip);
}
template <class Function>
void pairs_to_planes(Scene& s, Function function, int place_of_u) {
  const Size z = size(s);
  Bytes& y = s.input(z.w, z.h, kPadded);
  Bytes& uv = s.input((z.w + 1) / 2 * 2, (z.h + 1) / 2, kPadded);
  const RotationMode drawn = s.any_of({ROTATE_0, ROTATE_90, ROTATE_180, ROTATE_270});
  constexpr bool kTurns = std::is_same_v<Function, decltype(&rotate_nv12)>;
  const RotationMode mode = kTurns ? drawn : ROTATE_0;
  const Planes p = result_planes(s, turned(z, mode));
  const bool flip = s.flag();
  const auto moved = [&](const Samples& plane) { return plane.flipped(flip).rotated(mode).bytes; };
  s.expect(p.y, [&] { return moved(Samples(y)); });
  s.expect(p.u, [&] { return moved(Samples(uv, 2).half(place_of_u)); });
  s.expect(p.v, [&] { return moved(Samples(uv, 2).half(1 - place_of_u)); });
  const auto call = [&](auto... more) {
    function(y.data(), y.stride(), uv.data(), uv.stride(), p.y.data(), p.y.stride(), p.u.data(),
             p.u.stride(), p.v.data(), p.v.stride(), z.w, z.h, more...);
  };
  if constexpr (kTurns) {
    call(mode, flip);
  } else {
    call(flip);
  }
}
template <class Function>
void planes_to_planes(Scene& s, Function function, bool mirrors) {
  const Size z = size(s);
  const Planes from = source_planes(s, z);
  constexpr bool kTurns = std::is_same_v<Function, decltype(&rotate_i420)>;
  RotationMode mode = ROTATE_0;
  if (kTurns) mode = s.any_of({ROTATE_0, ROTATE_90, ROTATE_180, ROTATE_270});
  const Planes to = result_planes(s, turned(z, mode));
  const bool flip = s.flag();
  const auto moved = [&](const Bytes& plane) {
    const Samples upright = Samples(plane).flipped(flip);
    return (mirrors ? upright.mirrored() : upright.rotated(mode)).bytes;
  };
  s.expect(to.y, [&] { return moved(from.y); });
  s.expect(to.u, [&] { return moved(from.u); });
  s.expect(to.v, [&] { return moved(from.v); });
  const auto call = [&](auto... more) {
    function(from.y.data(), from.y.stride(), from.u.data(), from.u.stride(), from.v.data(),
             from.v.stride(), to.y.data(), to.y.stride(), to.u.data(), to.u.stride(), to.v.data(),
             to.v.stride(), z.w, z.h, more...);
  };
  if constexpr (kTurns) {
    call(mode, flip);
  } else {
    call(flip);
  }
}

Plane plain_grays(const Pixels& src, int channels, int bgra) {
  if (channels == 1) return src;
  const auto rule = [=](const uint8_t* p, uint8_t* gray) {
    *gray = plain_gray(p, channels == 4 ? bgra : 0);
  };
  return by_rule(src, channels, rule, 1);
}
template <int kChannels>
auto grays(int bgra) {
  return [=](const Pixels& src, int, int) { return plain_grays(src, kChannels, bgra); };
}

Pixels plain_labs(const Pixels& rgb) {
  static const ForwardLab lab;
  return by_rule(rgb, 3, [](const uint8_t* p, uint8_t* to) { lab.convert(p, to); });
}
Pixels plain_from_labs(const Pixels& labs) {
  static const InverseLab lab;
  return by_rule(labs, 3, [](const uint8_t* p, uint8_t* to) { lab.convert(p, to); });
}

const std::vector<Call> kColor = {
    {"rgb2gray", "color", [](Scene& s) { strided<3, 1>(s, rgb2gray, grays<3>(0)); }},
    {"rgba2gray", "color",
     [](Scene& s) {
       const int bgra = s.number(0, 1);
       strided<4, 1>(
           s, [=](auto... a) { rgba2gray(a..., bgra); }, grays<4>(bgra));
     }},
    {"rgb2gray_in_place", "color",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& both = s.output_or(s.input(3 * z.w, z.h, kPadded), kPadded);
       s.expect(both, [&] {
         Pixels rows = both.packed();
         const Pixels gray = grays<3>(0)(rows, z.w, z.h);
         for (int y = 0; y < z.h; ++y) std::copy_n(&gray[y * z.w], z.w, &rows[3 * y * z.w]);
         return rows;
       });
       rgb2gray(both.data(), both.data(), z.w, z.h, both.stride(), both.stride());
     }},
    {"rgb_to_ycbcr", "color",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(3 * z.w, z.h, kPadded);
       Bytes& dst = s.output(z.w, 3 * z.h);
       const bool planar = s.flag();
       s.expect(dst, [&] {
         const Pixels plain = by_rule(src.packed(), 3, plain_ycbcr);
         return planar ? as_planes(plain) : plain;
       });
       rgb_to_ycbcr(src.data(), dst.data(), z.w, z.h, src.stride(), planar);
     }},
    {"ycbcr_to_rgb", "color",
     [](Scene& s) {
       const Size z = size(s);
       const bool planar = s.flag();
       Bytes& src = planar ? s.input(z.w, 3 * z.h) : s.input(3 * z.w, z.h, kPadded);
       Bytes& dst = s.output(3 * z.w, z.h);
       s.expect(dst, [&] {
         return by_rule(planar ? as_planes(src.packed(), true) : src.packed(), 3, plain_rgb);
       });
       ycbcr_to_rgb(src.data(), dst.data(), z.w, z.h, src.stride(), planar);
     }},
    {"rgba2hsv", "color",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.number(3, 4);
       Bytes& src = s.input(channels * z.w, z.h);
       Bytes& dst = s.output(3 * z.w, z.h);
       s.expect(dst, [&] { return by_rule(src.packed(), channels, plain_hsv); });
       ImageData to = image(dst, 3);
       rgba2hsv(image(src, channels), to);
     }},
    {"hsv2rgb", "color",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(3 * z.w, z.h);
       Bytes& dst = s.output_or(src);
       s.expect(dst, [&] { return by_rule(src.packed(), 3, plain_from_hsv); });
       ImageData to = image(dst, 3);
       hsv2rgb(image(src, 3), to);
     }},
    {"convert_c4_to_c3", "color",
     [](Scene& s) {
       const int swap = s.number(0, 1);
       const auto convert = [=](const uint8_t* src, uint8_t* dst, int w, int h, int from, int to) {
         convert_c4_to_c3(const_cast<uint8_t*>(src), dst, w, h, from, to, swap);
       };
       strided<4, 3>(s, convert, [=](const Pixels& src, int, int) {
         return channels_of(src, {2 * swap, 1, 2 - 2 * swap});
       });
     }},
    {"split_and_merge", "color",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.number(1, 4);
       std::vector<ImageData> planes = planes_of(s.output(z.w, z.h * channels), channels, z.h);
       Bytes& src = s.input(channels * z.w, z.h, kPadded);
       Bytes& merged = s.output(channels * z.w, z.h, kPadded);
       s.expect(merged, [&] { return src.packed(); });
       split_channels(image(src, channels), planes);
       ImageData to = image(merged, channels);
       merge_channels(planes, to);
     }},
    {"rgb_to_lab", "color",
     [](Scene& s) {
       const auto convert = [](const uint8_t* src, uint8_t* dst, int w, int h) {
         rgb_to_lab(const_cast<uint8_t*>(src), dst, w, h);
       };
       packed<3, true>(s, convert, [](const Pixels& src, int, int) {
         static const std::vector<float> light = light_table();
         return by_rule(src, 3, [](const uint8_t* p, uint8_t* to) { plain_lab(&light[0], p, to); });
       });
     }},
    {"rgb_to_lab_fast", "color",
     [](Scene& s) {
       const int threads = s.number(1, 4);
       const auto convert = [=](const uint8_t* src, uint8_t* dst, int w, int h) {
         rgb_to_lab_fast(src, dst, w, h, nullptr, nullptr, threads);
       };
       packed<3, false>(s, convert, [](const Pixels& src, int, int) { return plain_labs(src); });
     }},
    {"rgb_to_lab_c4_c3", "color",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(4 * z.w, z.h, kPadded);
       Bytes& dst = s.output(3 * z.w, z.h);
       const int order = s.number(0, 2), threads = s.number(1, 4), red = order == 1 ? 2 : 0;
       s.expect(dst, [&] { return plain_labs(channels_of(src.packed(), {red, 1, 2 - red})); });
       rgb_to_lab_c4_c3(src.data(), dst.data(), z.w, z.h, src.stride(), order, nullptr, nullptr,
                        threads);
     }},
    {"lab_to_rgb_fast", "color",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(3 * z.w, z.h);
       uint8_t* const mask = s.flag() ? s.input(z.w, z.h, kPacked, kMask).data() : nullptr;
       Bytes& dst = s.output(3 * z.w, z.h);
       s.expect(dst, [&] {
         Pixels pixels = plain_from_labs(src.packed());
         for (int i = 0; mask != nullptr && i < z.w * z.h; ++i) {
           if (mask[i] == 0) std::fill_n(&pixels[3 * i], 3, uint8_t{0});
         }
         return pixels;
       });
       lab_to_rgb_fast(src.data(), dst.data(), z.w, z.h, mask, nullptr, nullptr, nullptr, nullptr,
                       s.number(1, 4));
     }},
    {"lab_to_rgb_c3_c4", "color",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(3 * z.w, z.h);
       Bytes& dst = s.output(4 * z.w, z.h, kPadded);
       const int order = s.number(0, 2), threads = s.number(1, 4), red = order == 1 ? 2 : 0;
       s.expect(dst, [&] {
         const auto place = [=](const uint8_t* rgb, uint8_t* to) {
           to[red] = rgb[0], to[1] = rgb[1], to[2 - red] = rgb[2];
         };
         return by_rule(plain_from_labs(src.packed()), 3, place, 4);
       });
       lab_to_rgb_c3_c4(src.data(), dst.data(), z.w, z.h, dst.stride(), order, nullptr, nullptr,
                        nullptr, nullptr, threads);
     }},
};

void extremes(Scene& s, decltype(&filter_max) function, bool is_max) {
  const int radius = s.number(-1, 20);
  packed<1, true>(
      s, [=](auto... a) { function(a..., radius); },
      [=](const Plane& src, int w, int h) {
        GuardedBuffer<> pixels(w, h);
        pixels.fill(src);
        Plane out;
        for (int i = 0; i < w * h; ++i) {
          out.push_back(plain_extreme(pixels, i % w, i / w, radius, is_max));
        }
        return out;
      });
}

const std::vector<Call> kFilter = {
    {"gaussian_blur", "filter",
     [](Scene& s) {
       const int ksize = s.number(-1, 25);
       const float sigma = s.any_of({0.0f, 1.0f, 5.0f, -1.0f, NAN});
       const auto plain = [=](const Plane& src, int w, int h) {
         const int n = std::max(ksize, 3);
         if (n % 2 == 0 || n > w || n > h) return Plane(src.size());
         const bool default_sigma = sigma <= 0;
         return plain_gaussian(src, w, h, n,
                               default_sigma ? static_cast<float>(0.15 * (n - 1) + 0.5) : sigma);
       };
       packed<1, false>(
           s, [=](auto... a) { gaussian_blur(a..., ksize, sigma); }, plain);
     }},
    {"gaussian_blur_fast", "filter",
     [](Scene& s) {
       const float sigma = s.real(-1, 8);
       packed<1, true>(
           s, [=](auto... a) { gaussian_blur_fast(a..., sigma); },
           [=](auto... a) { return plain_three_boxes(a..., sigma); });
     }},
    {"gaussian_blur_c4", "filter",
     [](Scene& s) {
       const float sigma = s.real(-1, 8);
       packed<4, true>(
           s, [=](auto... a) { gaussian_blur_c4(a..., sigma); },
           [=](auto... a) { return plain_three_boxes_c4(a..., sigma); });
     }},
    {"filter_box", "filter",
     [](Scene& s) {
       const int radius = s.number(-1, 20);
       packed<1, true>(
           s, [=](auto... a) { filter_box(a..., radius); },
           [=](const Plane& src, int w, int h) { return plain_box(src, w, h, radius); });
     }},
    {"gaussian_blur_3x3", "filter",
     [](Scene& s) { strided<1, 1>(s, gaussian_blur_3x3, plain_gaussian3); }},
    {"gaussian_blur_5x5", "filter",
     [](Scene& s) { packed<1, false>(s, gaussian_blur_5x5, plain_gaussian5); }},
    {"threshold", "filter",
     [](Scene& s) {
       const int level = s.number(-2, 257), value = s.number(-1, 300);
       const auto mark = [=](const uint8_t* src, uint8_t* dst, int w, int h) {
         threshold(const_cast<uint8_t*>(src), dst, w, h, level, value);
       };
       packed<1, true>(s, mark, [=](const Plane& src, int, int) {
         return by_rule(
             src, 1,
             [=](const uint8_t* p, uint8_t* to) {
               *to = static_cast<uint8_t>(*p > level ? value : 0);
             },
             1);
       });
     }},
    {"filter_max", "filter", [](Scene& s) { extremes(s, filter_max, true); }},
    {"filter_min", "filter", [](Scene& s) { extremes(s, filter_min, false); }},
    {"guided_filter_general", "filter", [](Scene& s) { guided(s, true); }},
    {"guided_filter_self", "filter", [](Scene& s) { guided(s, false); }},
    {"bilateral_filter", "filter",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.number(1, 4);
       Bytes& dst = s.output(channels * z.w, z.h);
       Bytes& src = s.input(channels * z.w, z.h);
       ImageData to = image(dst, channels);
       const float spatial = s.real(0.001f, 0.3f), range = s.real(0.001f, 0.5f);
       s.expect(dst, [&] {
         if (channels == 2) return dst.packed();  // left as it is
         return PlainBilateral(channels, spatial, range).image(src.packed(), z.w, z.h);
       });
       bilateral_filter(image(src, channels), to, spatial, range);
     }},
};

const std::vector<Call> kEdge = {
    {"sobel_edge", "edge",
     [](Scene& s) {
       const int level = s.number(-1, 600);
       packed<1, true>(
           s, [=](auto... a) { sobel_edge(a..., level); },
           [=](auto... a) { return plain_sobel_edge(a..., level); });
     }},
    {"sobel_grad", "edge",
     [](Scene& s) {
       const Size z = size(s);
       GuardedBuffer<short>& dx = s.output<short>(z.w, z.h);
       GuardedBuffer<short>& dy = s.output<short>(z.w, z.h);
       Bytes& src = s.input(z.w, z.h);
       s.expect(dx, [&] { return by_place<short>(src.packed(), z.w, z.h, expected_dx); });
       s.expect(dy, [&] { return by_place<short>(src.packed(), z.w, z.h, expected_dy); });
       sobel_grad(src.data(), dx.data(), dy.data(), z.w, z.h);
     }},
    {"canny", "edge",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.any_of({1, 3, 4}), low = s.number(-1, 300);
       Bytes& pixels = s.input(channels * z.w, z.h, channels == 1 ? kPacked : kPadded);
       ImageData src = image(pixels, channels);
       src.color_order = s.number(0, 1);
       Bytes& edges = s.output(z.w, z.h);
       ImageData to = image(edges, 1);
       const int high = low + s.number(1, 300);
       s.expect(edges, [&] {
         const Plane gray = plain_grays(pixels.packed(), channels, src.color_order);
         return plain_canny(gray, z.w, z.h, low, high);
       });
       canny(src, to, low, high);
     }},
    {"cal_hist", "edge",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.number(1, 4), x = s.number(0, z.w - 1), y = s.number(0, z.h - 1);
       Bytes& src = s.input(channels * z.w, z.h, kPadded);
       int *hists[4], bins[4];
       GuardedBuffer<int>* counters[4];
       for (int c = 0; c < channels; ++c) {
         bins[c] = s.number(0, 256);
         counters[c] = &s.output<int>(260, 1);
         hists[c] = counters[c]->data();
       }
       const int w = s.number(1, z.w - x), h = s.number(1, z.h - y);
       for (int c = 0; c < channels; ++c) {
         s.expect(*counters[c], [&] {
           std::vector<int> counts(260);
           for (int i = 0; i < w * h; ++i) {
             const int value = src.row(y + i / w)[channels * (x + i % w) + c];
             ++counts[bins[c] == 0 ? 0 : value / bins[c]];
           }
           return counts;
         });
       }
       cal_hist(src.data(), src.stride(), channels, w, h, x, y, hists, bins);
     }},
    {"clahe", "edge",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.any_of({1, 3, 4});
       Bytes& src = s.input(channels * z.w, z.h);
       Bytes& dst = s.output_or(src);
       ImageData to = image(dst, channels);
       const int tiles = s.number(-1, 18), bins = s.number(-1, 300);
       const float clip = s.real(-1, 20);
       s.expect(dst, [&] {
         const Plane pixels = src.packed();
         return channels == 1 ? plain_clahe(pixels, z.w, z.h, tiles, bins, clip)
                              : plain_clahe_colour(pixels, channels, z.w, z.h, tiles, bins, clip);
       });
       clahe(image(src, channels), to, tiles, bins, clip);
     }},
    {"get_mask_edge", "edge",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(z.w, z.h, kPadded, kMask);
       Bytes& dst = s.output(z.w, z.h);
       const int mode = s.number(0, 2);
       s.expect(dst, [&] { return plain_mask_edge(src.packed(), z.w, z.h, mode); });
       get_mask_edge(src.data(), dst.data(), z.w, z.h, src.stride(), z.w, mode);
     }},
    {"integral_int", "edge",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(z.w, z.h, kPadded);
       GuardedBuffer<int>& sums = s.output<int>(z.w + 1, z.h + 1);
       s.expect(sums, [&] { return plain_integral(src.packed(), z.w, z.h); });
       integral_int(src.data(), sums.data(), z.w, z.h, src.stride());
     }},
    {"pyramid_gauss", "edge",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.number(1, 4);
       Bytes& src = s.input(channels * z.w, z.h, kPadded);
       std::vector<ImageData> levels;
       Plane above;
       bool ends = channels == 2;  // of two channels there is no pyramid
       for (Size level = z; levels.size() < 6; level = {(level.w + 1) / 2, (level.h + 1) / 2}) {
         Bytes& buffer = s.output(channels * level.w, level.h);
         levels.push_back(image(buffer, channels));
         s.expect(buffer, [&] {
           if (ends) return buffer.packed();
           const Plane here = levels.size() == 1 ? src.packed() : above;
           above = plain_half({here.data(), level.w, level.h, channels});
           ends = level.w == 1 && level.h == 1;
           return here;
         });
       }
       pyramid_gauss(image(src, channels), levels);
       for (const ImageData& level : levels) s.result(level.width * 1000 + level.height);
     }},
};

const std::vector<Call> kGeometry = {
    {"resize_nn_c1", "geometry", [](Scene& s) { resize(s, 1, {0}, resize_nn_c1, plain_nearest); }},
    {"resize_nn_c3", "geometry",
     [](Scene& s) {
       resize(s, 3, {0, 1, 2}, resize_nn_c3, plain_nearest);
     }},
    {"resize_bilinear_c1", "geometry",
     [](Scene& s) { resize(s, 1, {0}, resize_bilinear_c1, plain_linear); }},
    {"resize_bilinear_c3", "geometry",
     [](Scene& s) {
       resize(s, 3, {0, 1, 2}, resize_bilinear_c3, plain_linear);
     }},
    {"resize_bilinear_c4", "geometry",
     [](Scene& s) {
       const int swap = s.number(0, 2);
       const int red = swap == 1 ? 2 : 0;  // other values leave the order
       const auto function = [=](auto... a) { resize_bilinear_c4(a..., swap); };
       resize(s, 4, {red, 1, 2 - red, 3}, function, plain_linear);
     }},
    {"resize_bilinear_c4_to_c3", "geometry",
     [](Scene& s) {
       const int swap = s.number(0, 2);
       const int red = swap == 1 ? 2 : 0;
       const auto function = [=](auto... a) { resize_bilinear_c4_to_c3(a..., swap); };
       resize(s, 4, {red, 1, 2 - red}, function, plain_linear);
     }},
    {"resize_bicubic_c1", "geometry",
     [](Scene& s) { resize(s, 1, {0}, resize_bicubic_c1, plain_cubic); }},
    {"resize_bicubic_c3", "geometry",
     [](Scene& s) {
       resize(s, 3, {0, 1, 2}, resize_bicubic_c3, plain_cubic);
     }},
    {"resize_bilinear_c1_float", "geometry",
     [](Scene& s) {
       const Size z = size(s), d = size(s);
       GuardedBuffer<float>& src = s.output<float>(z.w, z.h, kPadded);
       for (int y = 0; y < z.h; ++y) {
         for (int x = 0; x < z.w; ++x) src.row(y)[x] = static_cast<float>((x * 7 + y * 13) % 101);
       }
       GuardedBuffer<float>& dst = s.output<float>(d.w, d.h, kPadded);
       s.expect(dst, [&] { return plain_float(src.packed(), {z.w, z.h, d.w, d.h}); });
       resize_bilinear_c1_float(src.data(), dst.data(), z.w, z.h, src.stride(), d.w, d.h,
                                dst.stride());
     }},
    {"warpaffine_bilinear_c1", "geometry", [](Scene& s) { warp(s, 1, 6, warpaffine_bilinear_c1); }},
    {"warpaffine_bilinear_c4", "geometry", [](Scene& s) { warp(s, 4, 6, warpaffine_bilinear_c4); }},
    {"warpperspective_bilinear_c4", "geometry",
     [](Scene& s) { warp(s, 4, 9, warpperspective_bilinear_c4); }},
    {"align", "geometry",
     [](Scene& s) {
       const Size z = size(s), d = size(s);
       Bytes& whole = s.input(4 * z.w, z.h, kPadded);
       Bytes& cropped = s.output(4 * d.w, d.h, kPadded);
       ImageData crop = image(cropped, 4), back = image(whole, 4);
       float in_crop[8], in_image[8], inverse[6];
       for (float& value : in_crop) value = s.real(0, 40);
       for (float& value : in_image) value = s.real(0, 40);
       s.expect(cropped, [&] {
         float matrix[6];
         get_affine_transform(in_image, in_crop, 4, matrix);
         const PlainWarp plain{{z.w, z.h, d.w, d.h}, 4, false, matrix, 0, 0};
         return plain.image(whole.packed(), cropped.packed());
       });
       align_crop_img(back, in_crop, in_image, 4, crop, inverse);
       s.result(inverse, 6);
       const int erosion = s.number(0, 6);
       s.result(align_back_img(crop, inverse, back, erosion, s.real(0, 4)));
       for (int y = 0; y < z.h; ++y) s.result(whole.row(y), 4 * z.w);
     }},
    {"transforms", "geometry",
     [](Scene& s) {
       float from[8], to[8], matrix[9] = {}, inverse[9] = {};
       for (float& value : from) value = s.real(-100, 100);
       for (float& value : to) value = s.real(-100, 100);
       get_perspective_transform(from, to, matrix);
       invert_perspective_transform(matrix, inverse);
       s.result(matrix, 9);
       s.result(inverse, 9);
       get_affine_transform(from, to, s.number(-1, 4), matrix);
       invert_affine_transform(matrix, inverse);
       s.result(matrix, 9);
       s.result(inverse, 9);
     }},
};

const std::vector<Call> kShape = {
    {"find_contours", "shape",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& mask = s.input(z.w, z.h, kPacked, kMask);
       Bytes& marks = s.output(z.w, z.h);
       s.expect(marks, [&] { return plain_boundary(mask); });
       find_contours(mask.data(), marks.data(), z.w, z.h);
     }},
    {"find_blob_contours", "shape",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& mask = s.input(z.w, z.h, kPadded, kMask);
       std::vector<std::vector<Point>> found;
       const int mode = s.number(0, 3), method = s.number(0, 4);
       find_blob_contours(mask.data(), found, z.w, z.h, mask.stride(), mode, method);
       s.result(found);
       s.expect_found(true, [&] { return are_outlines(found, mask, mode != 0 && method == 1); });
     }},
    {"find_blobs", "shape",
     [](Scene& s) {
       const Size z = size(s);
       std::vector<std::vector<Point>> found;
       const bool is_mask = s.flag();
       Bytes& mask = s.input(z.w, z.h, kPacked, is_mask ? kMask : kPixels);
       find_blobs(mask.data(), found, z.w, z.h);
       s.result(found);
       s.expect_found(
           found, [&] { return is_mask ? plain_regions(mask.packed(), z.w, z.h, true) : found; });
     }},
    {"find_blobs_contours+filter_blobs", "shape",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& mask = s.input(z.w, z.h, kPacked, kMask);
       std::vector<std::vector<Point>> found;
       find_blobs_contours(mask.data(), found, z.w, z.h);
       s.result(found);
       s.expect_found(found, [&] { return plain_regions(mask.packed(), z.w, z.h, false); });
       std::vector<Center> centers;
       filter_blobs(mask.data(), z.w, found, centers,
                    {s.flag(), s.flag(), s.flag(), s.flag(), 0, s.any_of({0, 255}), 2, 500, 0.1f,
                     2.0f, 0.05f, 1.5f});
       s.result(centers.data(), centers.size() * sizeof(Center));
     }},
    {"polygons", "shape",
     [](Scene& s) {
       const Size z = size(s);
       const Outlines o = outlines(s, z);
       std::vector<Point> approx;
       for (const auto& list : o.lists) {
         const float epsilon = s.real(-1, 9);
         approx_poly_dp(list, approx, epsilon, s.flag());
         s.result({approx});
       }
       const int count = static_cast<int>(o.xs.size());
       Bytes& mask = s.output(z.w, z.h);
       s.expect(mask, [&] {
         Pixels filled;
         for (int i = 0; i < z.w * z.h; ++i) {
           filled.push_back(plain_is_inside(o.polygon, i % z.w, i / z.w) ? 255 : 0);
         }
         return filled;
       });
       fill_poly(mask.data(), z.w, o.xs.data(), o.ys.data(), count);
       const int x = s.number(-1, z.w), y = s.number(-1, z.h);
       const bool inside = is_inside_poly(o.xs.data(), o.ys.data(), count, x, y);
       s.result(inside);
       s.expect_found(inside, [&] { return plain_is_inside(o.polygon, x, y); });
     }},
    {"expand_contours", "shape",
     [](Scene& s) {
       const Size z = size(s);
       const Outlines o = outlines(s, z);
       Bytes& mask = s.input(z.w, z.h, kPacked, kMask);
       Bytes& out = s.output_or(mask);
       const int radius = s.number(-1, 20);
       s.expect(out, [&] { return plain_discs(mask.packed(), z.w, z.h, o.lists, radius); });
       expand_contours(mask.data(), o.lists, out.data(), z.w, z.h, z.w, radius);
     }},
    {"flood_fill", "shape",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& marks = s.output(z.w, z.h, kPadded);
       ImageData mask = image(marks, 1);
       Rect box{0, 0, 0, 0};
       const ImageData src = image(s.input(4 * z.w, z.h, kPadded), 4);
       const Point seed{s.number(-1, z.w), s.number(-1, z.h)};
       const int distance = s.number(-1, 60), threshold = s.number(-1, 256);
       if (seed.x >= 0 && seed.y >= 0 && seed.x < z.w && seed.y < z.h && threshold >= 0 &&
           threshold < 256) {
         s.expect(marks, [&] { return plain_fill(src, seed, distance, threshold).mask; });
       }
       s.result(flood_fill(src, mask, seed, box, distance, threshold));
       s.result(&box, sizeof box);
     }},
    {"get_mask_pos", "shape",
     [](Scene& s) {
       const Size z = size(s);
       int box[4];
       const auto content = s.flag() ? kMask : kPixels;
       const ImageData mask = image(s.input(z.w, z.h, kPadded, content), 1);
       const int mode = s.number(0, 1);
       get_mask_pos(mask, box[0], box[1], box[2], box[3], mode);
       s.expect_found(Box{box[0], box[1], box[2], box[3]},
                      [&] { return plain_position(mask, mode == 0 ? 255 : 0); });
       s.result(box, sizeof box);
     }},
};

const std::vector<Call> kDetect = {
    {"object_detetion_preprocess", "detect",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.number(3, 4), w = s.number(0, 60), h = s.number(0, 60);
       Bytes& pixels = s.input(channels * z.w, z.h, kPadded);
       ImageData src = image(pixels, channels);
       src.color_order = s.number(0, 1);
       float scale = 0, mean[3] = {100, 110, 120}, deviation[3] = {50, 0, 60};
       const bool planar = s.flag(), normalize = s.flag(), keep_order = s.flag();
       GuardedBuffer<float>& tensor = s.output<float>(3 * w, h);
       const PlainTensor plain{w, h, planar, normalize ? mean : nullptr, deviation, keep_order};
       s.expect(tensor,
                [&] { return plain.of(pixels.packed(), z.w, z.h, channels, src.color_order); });
       object_detetion_preprocess(src, w, h, tensor.data(), scale, mean, deviation, planar,
                                  normalize, keep_order);
       s.result(&scale, 1);
     }},
    {"object_detetion_postprocess", "detect",
     [](Scene& s) {
       const int classes = s.number(0, 5), count = s.number(0, 60);
       GuardedBuffer<float>& rows = s.output<float>(5 + classes, count);
       for (int y = 0; y < count; ++y) {
         for (int x = 0; x < 4; ++x) rows.row(y)[x] = s.real(0, 60);
         for (int x = 4; x < 5 + classes; ++x) rows.row(y)[x] = s.real(0, 1);
       }
       std::vector<BBox> boxes;
       const float least = s.real(0, 0.6f), overlap = s.real(0, 1);
       object_detetion_postprocess(rows.data(), count, classes, boxes, least, overlap);
       s.result(boxes.data(), boxes.size() * sizeof(BBox));
       s.expect_found(flat(boxes), [&] {
         std::vector<std::vector<float>> lists;
         for (int y = 0; y < count; ++y) {
           lists.emplace_back(rows.row(y), rows.row(y) + rows.columns());
         }
         return flat(plain_decode(lists, least, overlap));
       });
     }},
    {"get_anchors", "detect",
     [](Scene& s) {
       const int w = s.number(0, 80), h = s.number(0, 80);
       int sizes[2][3] = {{3, 5, 9}, {11, 17, 23}}, *lists[2] = {sizes[0], sizes[1]};
       int strides[2] = {s.number(-1, 16), s.number(1, 40)};
       int cells = 0;
       for (const int stride : strides) cells += stride < 1 ? 0 : (w / stride) * (h / stride);
       GuardedBuffer<float>& anchors = s.output<float>(12, cells);
       s.expect(anchors, [&] {
         return plain_anchors(w, h, {{3, 5, 9}, {11, 17, 23}}, {strides[0], strides[1]});
       });
       get_anchors(anchors.data(), w, h, lists, 3, strides, 2);
     }},
    {"fast_9_16", "detect",
     [](Scene& s) {
       const Size z = size(s);
       const int channels = s.any_of({1, 3, 4});
       Bytes& src = s.input(channels * z.w, z.h, kPadded);
       uint8_t* const mask = s.flag() ? s.input(z.w, z.h, kPacked, kMask).data() : nullptr;
       std::vector<KeyPoint> found;
       const int bgra = s.number(0, 1), threshold = s.number(-1, 80);
       const bool suppress = s.flag();
       fast_9_16(src.data(), found, z.w, z.h, channels, src.stride(), bgra, threshold, suppress,
                 mask);
       s.result(found.data(), found.size() * sizeof(KeyPoint));
       s.expect_found(corners(found), [&] {
         const Plane gray = plain_grays(src.packed(), channels, bgra);
         return plain_corners(gray, z.w, z.h, threshold, suppress, mask);
       });
     }},
};

const std::vector<Call> kFrame = {
    {"convert_i420_argb", "frame", [](Scene& s) { planes_to_argb(s, convert_i420_argb, false); }},
    {"convert_yv12_argb", "frame", [](Scene& s) { planes_to_argb(s, convert_yv12_argb, true); }},
    {"convert_nv12_argb", "frame", [](Scene& s) { pairs_to_argb(s, convert_nv12_argb, 0); }},
    {"convert_nv21_argb", "frame", [](Scene& s) { pairs_to_argb(s, convert_nv21_argb, 1); }},
    {"convert_nv12_i420", "frame", [](Scene& s) { pairs_to_planes(s, convert_nv12_i420, 0); }},
    {"convert_nv21_i420", "frame", [](Scene& s) { pairs_to_planes(s, convert_nv21_i420, 1); }},
    {"rotate_nv12", "frame", [](Scene& s) { pairs_to_planes(s, rotate_nv12, 0); }},
    {"rotate_nv21", "frame", [](Scene& s) { pairs_to_planes(s, rotate_nv21, 1); }},
    {"copy_i420", "frame", [](Scene& s) { planes_to_planes(s, copy_i420, false); }},
    {"rotate_i420", "frame", [](Scene& s) { planes_to_planes(s, rotate_i420, false); }},
    {"mirror_i420", "frame", [](Scene& s) { planes_to_planes(s, mirror_i420, true); }},
    {"crop_argb", "frame",
     [](Scene& s) {
       const Size z = size(s);
       Bytes& src = s.input(4 * z.w, z.h, kPadded);
       const int w = s.number(1, z.w), h = s.number(1, z.h);
       Bytes& dst = s.output(4 * w, h);
       const int x = s.number(-1, z.w), y = s.number(-1, z.h);
       s.expect(dst, [&] {  // refused where it reaches the right or the lower edge
         if (x < 0 || y < 0 || x + w >= z.w || y + h >= z.h) return dst.packed();
         const auto place = [=](int u, int v) { return std::pair(x + u, y + v); };
         return Samples(src, 4).mapped(w, h, place).bytes;
       });
       crop_argb(src.data(), src.stride(), dst.data(), 4 * w, z.w, z.h, x, y, w, h);
     }},
    {"rotate_argb", "frame",
     [](Scene& s) {
       const Size z = size(s);
       const RotationMode mode = s.any_of({ROTATE_0, ROTATE_90, ROTATE_180, ROTATE_270});
       const Size to = turned(z, mode);
       Bytes& src = s.input(4 * z.w, z.h);
       Bytes& dst = s.output(4 * to.w, to.h, kPadded);
       const bool flip = s.flag();
       s.expect(dst, [&] { return Samples(src, 4).flipped(flip).rotated(mode).bytes; });
       rotate_argb(src.data(), src.stride(), dst.data(), dst.stride(), z.w, z.h, mode, flip);
     }},
    {"scale_argb", "frame",
     [](Scene& s) {
       const Size z = size(s), d = size(s);
       Bytes& src = s.input(4 * z.w, z.h, kPadded);
       Bytes& dst = s.output(4 * d.w, d.h, kPadded);
       const int x = s.number(0, d.w - 1), y = s.number(0, d.h - 1);
       const int w = s.number(0, d.w - x), h = s.number(0, d.h - y);
       scale_argb(src.data(), src.stride(), z.w, z.h, dst.data(), dst.stride(), d.w, d.h, x, y, w,
                  h, static_cast<ScaleMode>(s.number(0, 3)));
       s.expect_found(true, [&] { return is_between(dst, src, {x, y, w, h}, 4); });
     }},
    {"scale_i420", "frame",
     [](Scene& s) {
       const Size z = size(s), d = size(s);
       const Planes from = source_planes(s, z), to = result_planes(s, d);
       const auto mode = static_cast<ScaleMode>(s.number(0, 3));
       scale_i420(from.y.data(), from.y.stride(), from.u.data(), from.u.stride(), from.v.data(),
                  from.v.stride(), z.w, z.h, to.y.data(), to.y.stride(), to.u.data(), to.u.stride(),
                  to.v.data(), to.v.stride(), d.w, d.h, mode, s.flag());
       const Rect all{0, 0, d.w, d.h};
       s.expect_found(true, [&] {
         return is_between(to.y, from.y, all, 1) && is_between(to.u, from.u, all, 1) &&
                is_between(to.v, from.v, all, 1);
       });
     }},
};

}  // namespace

const std::vector<Call>& every_call() {
  static const std::vector<Call> all = [] {
    std::vector<Call> calls;
    for (const auto* family : {&kColor, &kFilter, &kEdge, &kGeometry, &kShape, &kDetect, &kFrame}) {
      calls.insert(calls.end(), family->begin(), family->end());
    }
    return calls;
  }();
  return all;
}

}  // namespace test
