#include <libyuv.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>

#include "frame/frame_rules.h"
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
  operator Samples() const { return Samples(buffer, unit); }

  int width, height, unit;
  GuardedBuffer<> buffer;
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

#define PLANE(p) (p).data(), (p).stride()
#define OUT PLANE(out.y), PLANE(out.u), PLANE(out.v), w, h

}  // namespace

TEST(Frames, ConversionsToArgb) {
  Frame in(70, 35, Guard::kAfter, 1);
  Plane argb(70, 35, 4, Guard::kAfter);
  const auto golden = [&](const char* name) { expect_golden(name, Samples(argb).bytes); };
  convert_i420_argb(PLANE(in.y), PLANE(in.u), PLANE(in.v), PLANE(argb), 70, 35, false);
  golden("convert_i420_argb");
  convert_yv12_argb(PLANE(in.y), PLANE(in.u), PLANE(in.v), PLANE(argb), 70, 35, false);
  golden("convert_yv12_argb");
  convert_nv12_argb(PLANE(in.y), PLANE(in.uv), PLANE(argb), 70, 35, false);
  golden("convert_nv12_argb");
  convert_nv21_argb(PLANE(in.y), PLANE(in.uv), PLANE(argb), 70, 35, true);
  golden("convert_nv21_argb");
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

TEST(Frames, BadScalingArgumentsWriteNothing) {
  std::vector<uint8_t> in(400), out(400, 7);
  uint8_t *const p = in.data(), *const q = out.data();
  // The sizes of the source, those of the destination, and the clip.
  const auto scale = [&](const std::array<int, 8>& n, ScaleMode mode = SCALE_BOX) {
    scale_argb(p, 32, n[0], n[1], q, 16, n[2], n[3], n[4], n[5], n[6], n[7], mode);
    if (n[4] + int64_t{n[6]} != 4 || n[5] + int64_t{n[7]} != 4) return;
    scale_i420(p, 8, p, 4, p, 4, n[0], n[1], q, 8, q, 4, q, 4, n[2], n[3], mode, true);
  };
  const std::vector<int> sizes{0, -8, -32769, INT_MIN, 32769, INT_MAX};
  const std::vector<int> bad[8] = {sizes,
                                   sizes,
                                   {0, -8, INT_MIN},
                                   {0, -8, INT_MIN},
                                   {-1, 1, INT_MAX},
                                   {-1, 1, INT_MAX},
                                   {0, -1, 5, INT_MAX},
                                   {0, -1, 5, INT_MAX}};
  for (size_t i = 0; i < 8; ++i) {
    for (const int value : bad[i]) {
      std::array<int, 8> numbers{8, 8, 4, 4, 0, 0, 4, 4};
      numbers[i] = value;
      scale(numbers);
    }
  }
  for (const int mode : {-1, 4}) scale({8, 8, 4, 4, 0, 0, 4, 4}, static_cast<ScaleMode>(mode));
  scale({8, 8, 40000, 1, 0, 0, 32769, 1});  // a clip may be 32768 pixels wide
  scale_i420(nullptr, 8, p, 4, p, 4, 8, 8, q, 8, q, 4, q, 4, 4, 4, SCALE_BOX, true);
  scale_i420(p, 8, p, 4, nullptr, 4, 8, 8, q, 8, q, 4, q, 4, 4, 4, SCALE_BOX, true);
  scale_i420(p, 8, p, 4, p, 4, 8, 8, q, 8, nullptr, 4, q, 4, 4, 4, SCALE_BOX, true);
  EXPECT_EQ(out, std::vector<uint8_t>(400, 7));
}

// Rows a gigabyte apart, in address space of which little is touched: strides times rows exceed 32
// bits.
TEST(Frames, PlanesBeyondTwoGigabytes) {
  constexpr int kFar = 1 << 30, w = 5, h = 6;
  std::vector<uint8_t*> far;
  for (int i = 0; i < 6; ++i) {
    void* const space = mmap(nullptr, size_t{kFar} * h, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (space == MAP_FAILED) GTEST_SKIP() << "no address space";
    far.push_back(static_cast<uint8_t*>(space));
  }
  const auto put = [&](const Plane& plane, int i) {
    for (int y = 0; y < plane.height; ++y) {
      std::copy_n(plane.buffer.row(y), plane.width * plane.unit, far[i] + ptrdiff_t{kFar} * y);
    }
  };
  const auto expect = [&](int i, const Samples& want) {
    for (int y = 0, n = want.width * want.unit; y < want.height; ++y) {
      EXPECT_TRUE(
          std::equal(&want.bytes[y * n], &want.bytes[y * n] + n, far[i] + ptrdiff_t{kFar} * y));
    }
  };
  Frame in(w, h, Guard::kAfter, 1);
  Plane argb(w, h, 4, Guard::kAfter, 9);
  for (const RotationMode mode : {ROTATE_0, ROTATE_90, ROTATE_180, ROTATE_270}) {
    SCOPED_TRACE(mode);
    put(argb, 0);
    rotate_argb(far[0], kFar, far[3], kFar, w, h, mode, true);
    expect(3, Samples(argb).flipped(true).rotated(mode));
    put(in.y, 0), put(in.u, 1), put(in.v, 2);
    rotate_i420(far[0], kFar, far[1], kFar, far[2], kFar, far[3], kFar, far[4], kFar, far[5], kFar,
                w, h, mode, false);
    expect(3, Samples(in.y).rotated(mode));
    expect(5, Samples(in.v).rotated(mode));
    put(in.uv, 1);
    rotate_nv12(far[0], kFar, far[1], kFar, far[3], kFar, far[4], kFar, far[5], kFar, w, h, mode,
                true);
    expect(3, Samples(in.y).flipped(true).rotated(mode));
    expect(5, Samples(in.uv).flipped(true).rotated(mode).half(1));
  }
  for (uint8_t* const space : far) munmap(space, size_t{kFar} * h);
}

// Packed rows of more than 2^31 bytes, which are 64 MiB over and over.
TEST(Frames, PackedPlanesBeyondTwoGigabytes) {
  constexpr size_t kUnit = size_t{1} << 26, kUnits = 33;
  constexpr int w = 1 << 16, h = (1 << 15) + 8;
  const auto repeated = [] {
    const int file = memfd_create("plane", 0);
    EXPECT_EQ(ftruncate(file, kUnit), 0);
    auto* const space = static_cast<uint8_t*>(
        mmap(nullptr, kUnit * kUnits, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    for (size_t i = 0; i < kUnits; ++i) {
      mmap(space + i * kUnit, kUnit, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0);
    }
    close(file);
    return space;
  };
  uint8_t *const from = repeated(), *const to = repeated();
  std::copy_n(noise(kUnit / 64).data(), kUnit / 64, from + kUnit / 2);
  copy_i420(from, w, from, w / 2, from, w / 2, to, w, to, w / 2, to, w / 2, w, h, false);
  EXPECT_TRUE(std::equal(from, from + kUnit, to));
  munmap(from, kUnit * kUnits);
  munmap(to, kUnit * kUnits);
}

TEST(Frames, EmptySizesAndUnknownRotationsWriteNothing) {
  std::vector<uint8_t> in(64), out(64, 7);
  uint8_t *const p = in.data(), *const q = out.data();
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
