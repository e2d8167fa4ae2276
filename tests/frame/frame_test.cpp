#include <libyuv.h>

#include <algorithm>
#include <climits>

#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

// A plane of `unit` bytes a sample in a buffer that bites.
struct Plane {
  Plane(int w, int h, int u, Guard guard, uint32_t seed = 0)
      : width(w), height(h), unit(u), buffer(w * u, h, 3 * u + (u == 4 ? 4 : 1), guard) {
    if (seed != 0) buffer.fill(noise(static_cast<size_t>(w) * u * h, seed));
  }
  uint8_t* data() { return buffer.data(); }
  int stride() const { return buffer.stride(); }

  int width, height, unit;
  GuardedBuffer<> buffer;
};

// Packed samples, with plain versions of what the functions do to a plane.
struct Samples {
  explicit Samples(const Plane& plane)
      : width(plane.width), height(plane.height), unit(plane.unit), bytes(plane.buffer.packed()) {}
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

struct Case {
  int width, height;
  Guard guard;
  bool flip;
};

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const auto& [width, height] : {std::pair{1, 1},
                                      {2, 2},
                                      {1, 6},
                                      {7, 1},
                                      {3, 5},
                                      {8, 4},
                                      {13, 40},
                                      {17, 9},
                                      {33, 6},
                                      {64, 16},
                                      {70, 35}}) {
    for (const Guard guard : {Guard::kAfter, Guard::kBefore}) {
      for (const bool flip : {false, true}) all.push_back({width, height, guard, flip});
    }
  }
  return all;
}

struct Frame {
  Frame(int width, int height, Guard guard, uint32_t seed = 0)
      : y(width, height, 1, guard, seed),
        u((width + 1) / 2, (height + 1) / 2, 1, guard, seed == 0 ? 0 : seed + 1),
        v(u.width, u.height, 1, guard, seed == 0 ? 0 : seed + 2),
        uv(u.width, u.height, 2, guard, seed == 0 ? 0 : seed + 3) {}
  explicit Frame(const Case& test) : Frame(test.width, test.height, test.guard, 1) {}
  Plane y, u, v, uv;
};

void expect_planes(Frame& out, const Samples& y, const Samples& u, const Samples& v) {
  EXPECT_EQ(Samples(out.y).bytes, y.bytes);
  EXPECT_EQ(Samples(out.u).bytes, u.bytes);
  EXPECT_EQ(Samples(out.v).bytes, v.bytes);
}

}  // namespace

#define PLANE(p) (p).data(), (p).stride()

TEST(Frames, ConversionsToArgb) {
  for (const Case& test : cases()) {
    Frame in(test);
    const int w = test.width, h = test.height;
    const auto expect = [&](const char* name, auto convert, auto libyuv_convert) {
      Plane ours(w, h, 4, test.guard), theirs(w, h, 4, test.guard);
      convert(ours);
      libyuv_convert(theirs);
      EXPECT_EQ(Samples(ours).bytes, Samples(theirs).flipped(test.flip).bytes)
          << name << " " << w << " x " << h << (test.flip ? " flipped" : "");
    };
    expect(
        "i420: the third plane is U, the second V",
        [&](Plane& out) {
          convert_i420_argb(PLANE(in.y), PLANE(in.u), PLANE(in.v), PLANE(out), w, h, test.flip);
        },
        [&](Plane& out) {
          libyuv::I420ToARGB(PLANE(in.y), PLANE(in.v), PLANE(in.u), PLANE(out), w, h);
        });
    expect(
        "yv12: the second plane is U, the third V",
        [&](Plane& out) {
          convert_yv12_argb(PLANE(in.y), PLANE(in.u), PLANE(in.v), PLANE(out), w, h, test.flip);
        },
        [&](Plane& out) {
          libyuv::I420ToARGB(PLANE(in.y), PLANE(in.u), PLANE(in.v), PLANE(out), w, h);
        });
    expect(
        "nv12",
        [&](Plane& out) {
          convert_nv12_argb(PLANE(in.y), PLANE(in.uv), PLANE(out), w, h, test.flip);
        },
        [&](Plane& out) { libyuv::NV12ToARGB(PLANE(in.y), PLANE(in.uv), PLANE(out), w, h); });
    expect(
        "nv21",
        [&](Plane& out) {
          convert_nv21_argb(PLANE(in.y), PLANE(in.uv), PLANE(out), w, h, test.flip);
        },
        [&](Plane& out) { libyuv::NV21ToARGB(PLANE(in.y), PLANE(in.uv), PLANE(out), w, h); });
  }
}

TEST(Frames, ChromaAssignmentByColour) {
  const uint8_t y = 81, high = 240, low = 90;  // BT.601 red has U 90 and V 240
  uint8_t argb[4];
  convert_i420_argb(&y, 1, &high, 1, &low, 1, argb, 4, 1, 1, false);
  EXPECT_GT(argb[2], 250) << "the second plane is V";
  EXPECT_LT(argb[0], 5);
  EXPECT_EQ(argb[3], 255);
  convert_yv12_argb(&y, 1, &low, 1, &high, 1, argb, 4, 1, 1, false);
  EXPECT_GT(argb[2], 250) << "the third plane is V";
}

TEST(Frames, CopiesMirrorsAndSplits) {
  for (const Case& test : cases()) {
    SCOPED_TRACE(testing::Message() << test.width << " x " << test.height << " " << test.flip);
    Frame in(test);
    const int w = test.width, h = test.height;
    const Samples y = Samples(in.y).flipped(test.flip), u = Samples(in.u).flipped(test.flip),
                  v = Samples(in.v).flipped(test.flip), uv = Samples(in.uv).flipped(test.flip);
    Frame out(w, h, test.guard);
#define OUT PLANE(out.y), PLANE(out.u), PLANE(out.v), w, h
    copy_i420(PLANE(in.y), PLANE(in.u), PLANE(in.v), OUT, test.flip);
    expect_planes(out, y, u, v);
    mirror_i420(PLANE(in.y), PLANE(in.u), PLANE(in.v), OUT, test.flip);
    expect_planes(out, y.mirrored(), u.mirrored(), v.mirrored());
    convert_nv12_i420(PLANE(in.y), PLANE(in.uv), OUT, test.flip);
    expect_planes(out, y, uv.half(0), uv.half(1));
    convert_nv21_i420(PLANE(in.y), PLANE(in.uv), OUT, test.flip);
    expect_planes(out, y, uv.half(1), uv.half(0));
  }
}

TEST(Frames, Rotations) {
  for (const Case& test : cases()) {
    for (const RotationMode mode : {ROTATE_0, ROTATE_90, ROTATE_180, ROTATE_270}) {
      SCOPED_TRACE(testing::Message()
                   << test.width << " x " << test.height << " by " << mode << " " << test.flip);
      Frame in(test);
      const int w = test.width, h = test.height;
      const bool sideways = mode == ROTATE_90 || mode == ROTATE_270;
      const auto turned = [&](const Plane& plane) {
        return Samples(plane).flipped(test.flip).rotated(mode);
      };
      Frame out(sideways ? h : w, sideways ? w : h, test.guard);
      rotate_i420(PLANE(in.y), PLANE(in.u), PLANE(in.v), OUT, mode, test.flip);
      expect_planes(out, turned(in.y), turned(in.u), turned(in.v));
      const Samples uv = turned(in.uv);
      rotate_nv12(PLANE(in.y), PLANE(in.uv), OUT, mode, test.flip);
      expect_planes(out, turned(in.y), uv.half(0), uv.half(1));
      rotate_nv21(PLANE(in.y), PLANE(in.uv), OUT, mode, test.flip);
      expect_planes(out, turned(in.y), uv.half(1), uv.half(0));

      Plane argb(w, h, 4, test.guard, 9), argb_out(out.y.width, out.y.height, 4, test.guard);
      rotate_argb(PLANE(argb), PLANE(argb_out), w, h, mode, test.flip);
      EXPECT_EQ(Samples(argb_out).bytes, turned(argb).bytes);
    }
  }
}

TEST(Frames, Crop) {
  Plane in(100, 100, 4, Guard::kAfter, 5);
  const auto cropped = [&](int x, int y, int w, int h, int bytes) {
    std::vector<uint8_t> out(40000, 1);
    crop_argb(PLANE(in), out.data(), bytes, 100, 100, x, y, w, h);
    return out;
  };
  const std::vector<uint8_t> untouched(40000, 1);
  const auto out = cropped(1, 3, 98, 96, 98 * 4);
  for (int row = 0; row < 96; ++row) {
    ASSERT_TRUE(
        std::equal(&out[row * 98 * 4], &out[(row + 1) * 98 * 4], in.buffer.row(3 + row) + 4));
  }
  EXPECT_EQ(out[96 * 98 * 4], 1);
  // The destination's stride, not the width, says how much of each row is copied.
  EXPECT_EQ(cropped(0, 0, 2, 1, 12)[11], in.buffer.row(0)[11]);
  for (const auto& [x, y, w, h] : std::vector<std::array<int, 4>>{{0, 0, 100, 5},
                                                                  {0, 0, 5, 100},
                                                                  {1, 0, 99, 1},
                                                                  {-1, 0, 5, 5},
                                                                  {0, -1, 5, 5},
                                                                  {100, 0, -1, 5},
                                                                  {0, 0, 5, 0},
                                                                  {90, 0, INT_MAX - 50, 5},
                                                                  {0, 90, 5, INT_MAX - 50}}) {
    EXPECT_EQ(cropped(x, y, w, h, 20), untouched) << x << " " << y << " " << w << " " << h;
  }
  EXPECT_NE(cropped(0, 0, 99, 1, 99 * 4), untouched);
  // Two rows that end with the image, and those that would go on for a byte more.
  const int bytes = static_cast<int>(in.buffer.row(99) + 400 - in.buffer.row(98));
  EXPECT_NE(cropped(0, 97, 5, 2, bytes), untouched);
  EXPECT_EQ(cropped(0, 97, 5, 2, bytes + 1), untouched);
}

// Sizes that libyuv alone stops at, takes for others, or makes of what lies beside the rows.
TEST(Frames, ScalingsOfTheirOwn) {
  const auto scaled = [](int sw, int sh, int dw, int dh, Rect clip, ScaleMode mode, int padding) {
    const auto pixels = noise(size_t{4} * sw * sh);
    std::vector<uint8_t> src(size_t(sw * 4 + padding) * sh, static_cast<uint8_t>(padding));
    for (int y = 0; y < sh; ++y) {
      std::copy_n(&pixels[size_t{4} * y * sw], 4 * sw, &src[size_t(y) * (4 * sw + padding)]);
    }
    Plane dst(dw, dh, 4, Guard::kAfter);
    scale_argb(src.data(), sw * 4 + padding, sw, sh, dst.data(), dst.stride(), dw, dh, clip.x,
               clip.y, clip.width, clip.height, mode);
    std::vector<uint8_t> out;
    for (int y = clip.y; y < clip.y + clip.height; ++y) {
      const uint8_t* const row = dst.buffer.row(y) + 4 * clip.x;
      out.insert(out.end(), row, row + 4 * clip.width);
    }
    return out;
  };
  const Rect two{0, 0, 2, 1};
  EXPECT_EQ(scaled(8, 6, 2, 1, two, SCALE_BOX, 0), scaled(8, 6, 2, 1, two, SCALE_BILINEAR, 0));
  EXPECT_EQ(scaled(32, 14, 8, 1, two, SCALE_BOX, 0), scaled(32, 14, 8, 1, two, SCALE_BILINEAR, 0));
  const Rect whole{0, 0, 7, 1}, part{1, 0, 5, 1};
  EXPECT_EQ(scaled(14, 4, 7, 1, whole, SCALE_LINEAR, 4),
            scaled(14, 4, 7, 1, whole, SCALE_LINEAR, 12));
  EXPECT_EQ(scaled(14, 4, 7, 1, part, SCALE_LINEAR, 4),
            scaled(14, 4, 7, 1, part, SCALE_LINEAR, 12));
  const Rect doubled{24, 5, 20, 9};
  const auto all = scaled(10, 9, 46, 16, {0, 0, 46, 16}, SCALE_NONE, 4);
  const auto clip = scaled(10, 9, 46, 16, doubled, SCALE_NONE, 4);
  for (int y = 0; y < 9; ++y) {
    EXPECT_TRUE(std::equal(&clip[y * 80], &clip[y * 80] + 80, &all[((y + 5) * 46 + 24) * 4])) << y;
  }
  std::vector<uint8_t> column(32768, 9), to(4);
  scale_i420(column.data(), 1, column.data(), 1, column.data(), 1, 1, 32768, &to[0], 1, &to[1], 1,
             &to[2], 1, 1, 1, SCALE_BOX, false);
  EXPECT_EQ(to, (std::vector<uint8_t>{9, 9, 9, 0}));
}

TEST(Frames, Scaling) {
  for (const Case& test : cases()) {
    for (const auto& [w, h] : {std::pair{1, 1}, {9, 4}, {64, 33}}) {
      for (const ScaleMode mode : {SCALE_NONE, SCALE_LINEAR, SCALE_BILINEAR, SCALE_BOX}) {
        Frame in(test), out(w, h, test.guard), want(w, h, test.guard);
        scale_i420(PLANE(in.y), PLANE(in.u), PLANE(in.v), test.width, test.height, OUT, mode,
                   test.flip);
        const auto filter = static_cast<libyuv::FilterMode>(mode);
        // An upside-down source by hand.
        Frame source(test.width, test.height, test.guard);
        source.y.buffer.fill(Samples(in.y).flipped(test.flip).bytes);
        source.u.buffer.fill(Samples(in.u).flipped(test.flip).bytes);
        source.v.buffer.fill(Samples(in.v).flipped(test.flip).bytes);
        libyuv::I420Scale(PLANE(source.y), PLANE(source.u), PLANE(source.v), test.width,
                          test.height, PLANE(want.y), PLANE(want.u), PLANE(want.v), w, h, filter);
        expect_planes(out, Samples(want.y), Samples(want.u), Samples(want.v));

        // A clip holds what the whole picture has there. Its source has no byte to spare.
        Plane argb(test.width, test.height, 4, test.guard, 3), part(w, h, 4, test.guard),
            whole(w, h, 4, test.guard);
        const int cx = w / 3, cy = h / 4, cw = w - 2 * cx,
                  ch = mode == SCALE_BOX ? h / 2 + 1 : h - cy;  // to the middle, or to the bottom
        scale_argb(PLANE(argb), test.width, test.height, PLANE(whole), w, h, 0, 0, w, h, mode);
        scale_argb(PLANE(argb), test.width, test.height, PLANE(part), w, h, cx, cy, cw, ch, mode);
        Plane kept(w, h, 4, test.guard);
        for (int y = cy; y < cy + ch; ++y) {
          std::copy_n(whole.buffer.row(y) + 4 * cx, 4 * cw, kept.buffer.row(y) + 4 * cx);
        }
        EXPECT_EQ(Samples(part).bytes, Samples(kept).bytes)
            << test.width << " x " << test.height << " to " << w << " x " << h << ", " << mode;
      }
    }
  }
}

TEST(Frames, Golden) {
  const int w = 70, h = 35;
  Frame in(w, h, Guard::kAfter, 1);
  const auto expect = [](const std::string& name, auto convert) {
    Plane argb(w, h, 4, Guard::kAfter);
    convert(argb);
    expect_golden(name, Samples(argb).bytes);
  };
  expect("convert_i420_argb", [&](Plane& out) {
    convert_i420_argb(PLANE(in.y), PLANE(in.u), PLANE(in.v), PLANE(out), w, h, false);
  });
  expect("convert_yv12_argb", [&](Plane& out) {
    convert_yv12_argb(PLANE(in.y), PLANE(in.u), PLANE(in.v), PLANE(out), w, h, false);
  });
  expect("convert_nv12_argb", [&](Plane& out) {
    convert_nv12_argb(PLANE(in.y), PLANE(in.uv), PLANE(out), w, h, false);
  });
  expect("convert_nv21_argb",
         [&](Plane& out) { convert_nv21_argb(PLANE(in.y), PLANE(in.uv), PLANE(out), w, h, true); });
}

TEST(Frames, BadScalingArgumentsWriteNothing) {
  std::vector<uint8_t> in(400), out(400, 7);
  uint8_t* const p = in.data();
  uint8_t* const q = out.data();
  const auto yuv = [&](uint8_t* y, uint8_t* v, int sw, int sh, uint8_t* to_u, int dw, int dh) {
    scale_i420(y, 8, p, 4, v, 4, sw, sh, q, 8, to_u, 4, q, 4, dw, dh, SCALE_BOX, true);
  };
  yuv(nullptr, p, 8, 8, q, 4, 4);
  yuv(p, nullptr, 8, 8, q, 4, 4);
  yuv(p, p, 8, 8, nullptr, 4, 4);
  for (const int bad : {0, -8, 32769, -32769, INT_MIN, INT_MAX}) {
    yuv(p, p, bad, 8, q, 4, 4);
    yuv(p, p, 8, bad, q, 4, 4);
    scale_argb(p, 32, bad, 8, q, 16, 4, 4, 0, 0, 4, 4, SCALE_BILINEAR);
    scale_argb(p, 32, 8, bad, q, 16, 4, 4, 0, 0, 4, 4, SCALE_BILINEAR);
    if (bad > 0) continue;
    yuv(p, p, 8, 8, q, bad, 4);
    yuv(p, p, 8, 8, q, 4, bad);
    scale_argb(p, 32, 8, 8, q, 16, bad, 4, 0, 0, 1, 1, SCALE_BILINEAR);
  }
  for (const auto& [x, y, w, h] : std::vector<std::array<int, 4>>{{-1, 0, 2, 2},
                                                                  {0, -1, 2, 2},
                                                                  {0, 0, 0, 2},
                                                                  {0, 0, 2, 0},
                                                                  {0, 0, 5, 4},
                                                                  {1, 0, 4, 4},
                                                                  {0, 1, 4, 4},
                                                                  {4, 4, 1, 1},
                                                                  {2, 2, INT_MAX, 1},
                                                                  {INT_MAX, 0, 1, 1}}) {
    scale_argb(p, 32, 8, 8, q, 16, 4, 4, x, y, w, h, SCALE_NONE);
  }
  for (const int mode : {-1, 4}) {
    scale_argb(p, 32, 8, 8, q, 16, 4, 4, 0, 0, 4, 4, static_cast<ScaleMode>(mode));
    scale_i420(p, 8, p, 4, p, 4, 8, 8, q, 4, q, 2, q, 2, 4, 4, static_cast<ScaleMode>(mode), false);
  }
  // The first byte would be written: a clip may be 32768 pixels wide.
  scale_argb(p, 32, 8, 8, q, 16, 40000, 1, 0, 0, 32769, 1, SCALE_NONE);
  EXPECT_EQ(out, std::vector<uint8_t>(400, 7));
}

TEST(Frames, EmptySizesAndUnknownRotationsWriteNothing) {
  std::vector<uint8_t> in(64), out(64, 7);
  uint8_t* const p = in.data();
  uint8_t* const q = out.data();
  for (const auto& [w, h] : {std::pair{4, 0}, {0, 4}, {4, -4}, {-4, 4}}) {
    convert_i420_argb(p, 4, p, 2, p, 2, q, 16, w, h, true);
    convert_yv12_argb(p, 4, p, 2, p, 2, q, 16, w, h, false);
    convert_nv12_argb(p, 4, p, 4, q, 16, w, h, true);
    convert_nv21_argb(p, 4, p, 4, q, 16, w, h, false);
    copy_i420(p, 4, p, 2, p, 2, q, 4, q, 2, q, 2, w, h, false);
    mirror_i420(p, 4, p, 2, p, 2, q, 4, q, 2, q, 2, w, h, true);
    convert_nv12_i420(p, 4, p, 4, q, 4, q, 2, q, 2, w, h, false);
    convert_nv21_i420(p, 4, p, 4, q, 4, q, 2, q, 2, w, h, false);
    rotate_i420(p, 4, p, 2, p, 2, q, 4, q, 2, q, 2, w, h, ROTATE_90, false);
    rotate_nv12(p, 4, p, 4, q, 4, q, 2, q, 2, w, h, ROTATE_180, false);
    rotate_nv21(p, 4, p, 4, q, 4, q, 2, q, 2, w, h, ROTATE_0, false);
    rotate_argb(p, 16, q, 16, w, h, ROTATE_270, false);
  }
  rotate_argb(p, 16, q, 16, 4, 4, static_cast<RotationMode>(45), false);
  rotate_argb(p, 15, q, 16, 2, 2, ROTATE_90, false);
  EXPECT_EQ(out, std::vector<uint8_t>(64, 7));
}
