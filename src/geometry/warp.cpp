// Bilinear warps: each destination pixel is mapped back into the source and blended from the four
// source pixels around that place.
//
// A row is done in tiles of columns, each in three steps over small arrays: source coordinates
// (the map's), the four taps of every pixel (the border mode's), and the blend (which knows of
// neither). Only tiles that touch the source's border test their taps one by one.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd_pixels.h"
#include "geometry/adjugate.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Source coordinates: fixed point with 10 fractional bits, pixel centres at whole numbers.
constexpr int kFractionBits = 10, kOne = 1 << kFractionBits;
// Sources are cut off at this many columns and rows, so that what is clamped to kFar is outside.
constexpr int kMaxSide = (1 << 19) - 1;
constexpr int kFar = 1 << 30;

// Where the centre of the first pixel is, in the continuous coordinates that matrices act on.
constexpr double kCentre = 0.5;

constexpr int kTileColumns = 64;

// In place of a map's last element: makes all of its quotients far outside.
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// To the nearest integer, halves upwards, between -kFar and kFar - 1. NaN gives -kFar.
template <class D>
HWY_INLINE auto to_fixed(D d, hn::Vec<D> value) {
  const hn::Rebind<int32_t, D> d32;
  const auto low = hn::Set(d, -kFar);
  const auto limited = hn::Min(hn::IfThenElse(value > low, value, low), hn::Set(d, kFar - 1));
  return hn::DemoteTo(d32, limited + hn::Set(d, kFar + 0.5)) - hn::Set(d32, kFar);
}

int32_t to_fixed(double value) {
  const hn::CappedTag<double, 1> d;
  return hn::GetLane(to_fixed(d, hn::Set(d, value)));
}

// Source coordinates as a column's part plus a row's part, each rounded on its own.
class AffineMap {
 public:
  static constexpr int kMaxPart = 1 << 29;  // of a column: added to any row's part, it fits 32 bits

  AffineMap(const double* inverse, int columns)
      : inverse_(inverse), column_x_(columns), column_y_(columns) {
    for (int x = 0; x < columns; ++x) {
      column_x_[x] = to_fixed(inverse[0] * kOne * x);
      column_y_[x] = to_fixed(inverse[3] * kOne * x);
    }
  }
  static bool fits(const double* inverse, int columns) {
    const double step = std::fabs(inverse[0]) + std::fabs(inverse[3]);
    return step * kOne * columns < kMaxPart;  // false for NaN, too
  }

  void start_row(int y) {
    const auto part = [&](const double* row) {
      return to_fixed((row[0] * kCentre + row[1] * (y + kCentre) + row[2] - kCentre) * kOne);
    };
    row_x_ = part(inverse_);
    row_y_ = part(inverse_ + 3);
  }
  void coordinates(int first, int count, int32_t* x, int32_t* y) const {
    const int32_t *column_x = column_x_.get() + first, *column_y = column_y_.get() + first;
    for (int i = 0; i < count; ++i) {
      x[i] = row_x_ + column_x[i];
      y[i] = row_y_ + column_y[i];
    }
  }

 private:
  const double* inverse_;
  Scratch<int32_t> column_x_, column_y_;
  int32_t row_x_ = 0, row_y_ = 0;
};

// Source coordinates as quotients. A zero denominator gives infinities or NaNs: far outside.
class PerspectiveMap {
 public:
  explicit PerspectiveMap(const double* inverse) : inverse_(inverse) {}

  void start_row(int y) {
    for (int i = 0; i < 3; ++i) {
      const double* row = inverse_ + 3 * i;
      row_[i] = row[0] * kCentre + row[1] * (y + kCentre) + row[2];
    }
  }
  void coordinates(int first, int count, int32_t* x, int32_t* y) const {
    const Full<double> d;
    const hn::Rebind<int32_t, decltype(d)> d32;
    const auto half = hn::Set(d, kCentre * kOne);
    for (int i = 0; i < count; i += static_cast<int>(hn::Lanes(d))) {
      const auto column = hn::Iota(d, static_cast<double>(first) + i);
      const auto line = [&](int k) {
        return hn::Set(d, inverse_[3 * k]) * column + hn::Set(d, row_[k]);
      };
      const auto scale = hn::Set(d, kOne) / line(2);
      hn::Store(to_fixed(d, line(0) * scale - half), d32, x + i);
      hn::Store(to_fixed(d, line(1) * scale - half), d32, y + i);
    }
  }

 private:
  const double* inverse_;
  double row_[3] = {};
};

struct Source {
  const uint8_t* data;
  int width, height, stride;
  int last_x, last_y;  // coordinates of the last column and row
};

enum Border { kFill = 0, kReplicate = 1, kKeep = 2 };

struct Outside {
  Border border;
  uint8_t value[4];  // of each channel, for kFill
};

// What the blend needs of a tile: the taps of the pixels' upper and lower rows, left and right
// pixel side by side, and for each direction the two weights as 16-bit halves of one number.
template <int kChannels>
struct Tile {
  static constexpr int kPair = 2 * kChannels;
  alignas(64) int32_t x[kTileColumns] = {}, y[kTileColumns] = {};
  alignas(64) int32_t x_weights[kTileColumns] = {}, y_weights[kTileColumns] = {};
  alignas(64) uint8_t upper[kTileColumns * kPair] = {}, lower[kTileColumns * kPair] = {};
  // For blend_pairs(): the taps of pixel i are at places[i] of each of these, the copies above or
  // the source.
  const uint8_t *upper_taps = nullptr, *lower_taps = nullptr;
  alignas(64) ptrdiff_t places[kTileColumns];

  Tile() { take_copies(); }
  void take_copies() {
    if (upper_taps == upper) return;
    upper_taps = upper;
    lower_taps = lower;
    for (int i = 0; i < kTileColumns; ++i) places[i] = i * kPair;
  }
};

// Not negative where a place is in the source, or at most `reach` steps outside.
inline int32_t inside(const Source& src, int32_t x, int32_t y, int32_t reach) {
  return (x + reach) | (y + reach) | (src.last_x + reach - x) | (src.last_y + reach - y);
}
// Reaches: one of the place's taps has weight and is in the source; all that have weight are; all
// four are, and there is another row and column.
constexpr int32_t kSome = kOne - 1, kWeighted = 0, kAll = -1;

enum class Place { kInside, kOutside, kMixed };

// Inside: all taps that have weight are in the source. Outside: none is.
template <int kChannels>
Place place_of(const Tile<kChannels>& tile, int count, const Source& src) {
  int32_t sign = 0;
  for (int i = 0; i < count; ++i) sign |= inside(src, tile.x[i], tile.y[i], kWeighted);
  if (sign >= 0) return Place::kInside;
  for (int i = 0; i < count; ++i) sign &= inside(src, tile.x[i], tile.y[i], kSome);
  return sign < 0 ? Place::kOutside : Place::kMixed;
}

// Coordinates become the whole number of the left or upper tap, at most `last_tap`, and weights.
inline void split(int32_t* coordinates, int32_t* weights, int count, int last_tap) {
  for (int i = 0; i < count; ++i) {
    const int32_t tap = std::min(coordinates[i] >> kFractionBits, last_tap);
    const int32_t fraction = coordinates[i] - tap * kOne;
    coordinates[i] = tap;
    weights[i] = fraction << 16 | (kOne - fraction);
  }
}

template <int kChannels>
void gather_inside(Tile<kChannels>& tile, int count, const Source& src) {
  constexpr int kPair = 2 * kChannels;
  split(tile.x, tile.x_weights, count, src.width - 2);
  split(tile.y, tile.y_weights, count, src.height - 2);
  const uint8_t *data = src.data, *next_row = src.data + src.stride;
  const ptrdiff_t stride = src.stride;  // a local: the bytes copied below might be src's
  if constexpr (kChannels == 4 && kBlendsInPlace) {
    tile.upper_taps = data;
    tile.lower_taps = next_row;
    for (int i = 0; i < count; ++i) tile.places[i] = tile.y[i] * stride + tile.x[i] * kChannels;
    // The last vector may take more pixels: any that are in the source.
    std::fill(tile.places + count, std::end(tile.places), tile.places[0]);
    return;
  }
  const auto gather = [&, data, next_row, stride](int i) KELVRA_CV_INLINE {
    const ptrdiff_t at = tile.y[i] * stride + tile.x[i] * ptrdiff_t{kChannels};
    std::memcpy(tile.upper + i * kPair, data + at, kPair);
    std::memcpy(tile.lower + i * kPair, next_row + at, kPair);
  };
  int i = 0;  // four in a round: GCC 12 does not unroll the loop itself
  for (; i + 4 <= count; i += 4) repeat<4>([=](int k) KELVRA_CV_INLINE { gather(i + k); });
  for (; i < count; ++i) gather(i);
}

// One tap after the other. Those outside have the fill value; with kKeep, pixels that need one
// blend four copies of themselves, which leaves them as they are.
template <int kChannels>
void gather_at_border(Tile<kChannels>& tile, int i, const Source& src, const Outside& outside,
                      const uint8_t* dst) {
  const int32_t x = tile.x[i], y = tile.y[i];
  const bool keep = outside.border == kKeep && inside(src, x, y, kWeighted) < 0;
  const auto copy_tap = [&](int32_t tap_x, int32_t tap_y, uint8_t* to) {
    const uint8_t* from = outside.value;
    if (keep) {
      from = dst + i * kChannels;
    } else if (inside(src, tap_x * kOne, tap_y * kOne, kWeighted) >= 0) {
      from = row_at(src.data, tap_y, src.stride) + tap_x * ptrdiff_t{kChannels};
    }
    std::memcpy(to, from, kChannels);
  };
  const int32_t left = x >> kFractionBits, top = y >> kFractionBits;
  uint8_t *upper = tile.upper + i * 2 * kChannels, *lower = tile.lower + i * 2 * kChannels;
  copy_tap(left, top, upper);
  copy_tap(left + 1, top, upper + kChannels);
  copy_tap(left, top + 1, lower);
  copy_tap(left + 1, top + 1, lower + kChannels);
}

template <int kChannels>
void gather_mixed(Tile<kChannels>& tile, int count, const Source& src, const Outside& outside,
                  const uint8_t* dst) {
  constexpr int kPair = 2 * kChannels;
  tile.take_copies();
  for (int i = 0; i < count; ++i) {
    const int32_t x = tile.x[i], y = tile.y[i];
    if (inside(src, x, y, kAll) < 0) {
      gather_at_border(tile, i, src, outside, dst);
      continue;
    }
    const uint8_t* from = row_at(src.data, y >> kFractionBits, src.stride) +
                          (x >> kFractionBits) * ptrdiff_t{kChannels};
    std::memcpy(tile.upper + i * kPair, from, kPair);
    std::memcpy(tile.lower + i * kPair, from + src.stride, kPair);
  }
  split(tile.x, tile.x_weights, count, kFar);
  split(tile.y, tile.y_weights, count, kFar);
}

// A vector of bytes: as many pixels of one channel from column i of the tile on.
HWY_INLINE auto blend_vector(const Tile<1>& tile, size_t i) {
  const Full<int16_t> d16;
  const Full<int32_t> d32;
  const hn::Half<Full<uint8_t>> half;
  const auto quarter = [&](size_t k) {
    const size_t at = i + k * hn::Lanes(d32);
    return blend_taps(hn::PromoteTo(d16, hn::Load(half, tile.upper + 2 * at)),
                      hn::PromoteTo(d16, hn::Load(half, tile.lower + 2 * at)),
                      hn::Load(d32, tile.x_weights + at), hn::Load(d32, tile.y_weights + at));
  };
  return narrow_to_u8(quarter(0), quarter(1), quarter(2), quarter(3));
}

// The same for four channels.
HWY_INLINE auto blend_vector(const Tile<4>& tile, size_t i) {
  const Full<int32_t> d32;
  return blend_pairs(tile.upper_taps, tile.lower_taps, tile.places + i,
                     hn::Load(d32, tile.x_weights + i), hn::Load(d32, tile.y_weights + i));
}

// Not inlined: clang 14 makes a slower loop of it among the tile's other steps.
template <int kChannels>
HWY_NOINLINE void blend_tile(const Tile<kChannels>& tile, int count, uint8_t* dst) {
  store_row(static_cast<size_t>(count) * kChannels, dst,
            [&](size_t x) KELVRA_CV_INLINE { return blend_vector(tile, x / kChannels); });
}

template <int kChannels>
void warp_tile(Tile<kChannels>& tile, int count, const Source& src, const Outside& outside,
               uint8_t* dst) {
  if (outside.border == kReplicate) {
    for (int i = 0; i < count; ++i) {
      tile.x[i] = std::clamp(tile.x[i], 0, src.last_x);
      tile.y[i] = std::clamp(tile.y[i], 0, src.last_y);
    }
  }
  const Place place = place_of(tile, count, src);
  if (place == Place::kOutside) {
    if (outside.border == kKeep) return;
    for (int i = 0; i < count; ++i) std::memcpy(dst + i * kChannels, outside.value, kChannels);
    return;
  }
  if (place == Place::kInside && src.width > 1 && src.height > 1) {
    gather_inside(tile, count, src);
  } else {
    gather_mixed(tile, count, src, outside, dst);
  }
  blend_tile(tile, count, dst);
}

struct Destination {
  uint8_t* data;
  int width, height, stride;
};

template <int kChannels, class Map>
void warp(const Source& src, const Destination& dst, Map map, const Outside& outside) {
  Tile<kChannels> tile;
  for (int y = 0; y < dst.height; ++y) {
    map.start_row(y);
    uint8_t* const row = row_at(dst.data, y, dst.stride);
    int count;
    for (int x = 0; x < dst.width; x += count) {
      count = std::min(kTileColumns, dst.width - x);
      map.coordinates(x, count, tile.x, tile.y);
      warp_tile(tile, count, src, outside, row + x * ptrdiff_t{kChannels});
    }
  }
}

Source source_of(const uint8_t* data, int width, int height, int stride) {
  const int columns = std::clamp(width, 0, kMaxSide), rows = std::clamp(height, 0, kMaxSide);
  return {data, columns, rows, stride, (columns - 1) * kOne, (rows - 1) * kOne};
}

Outside outside_of(int border, unsigned int fill) {
  Outside outside = {border == kReplicate || border == kKeep ? Border(border) : kFill, {}};
  for (int k = 0; k < 4; ++k) outside.value[k] = static_cast<uint8_t>(fill >> 8 * k);
  return outside;
}

bool is_empty(const Source& src, const Destination& dst) {
  return src.width < 1 || src.height < 1 || dst.width < 1 || dst.height < 1;
}

template <int kChannels>
void warp_affine(const Source& src, const Destination& dst, const float* M,
                 const Outside& outside) {
  if (is_empty(src, dst)) return;
  float inverse[6];
  invert_affine_transform(M, inverse);
  const bool singular = std::all_of(inverse, inverse + 6, [](float part) { return part == 0; });
  const double map[9] = {inverse[0], inverse[1], inverse[2], inverse[3],         inverse[4],
                         inverse[5], 0,          0,          singular ? kNan : 1};
  if (!singular && AffineMap::fits(map, dst.width)) {
    warp<kChannels>(src, dst, AffineMap(map, dst.width), outside);
  } else {
    warp<kChannels>(src, dst, PerspectiveMap(map), outside);
  }
}

}  // namespace

void warpaffine_bilinear_c1(const unsigned char* src, int src_width, int src_height, int src_stride,
                            unsigned char* dst, int dst_width, int dst_height, int dst_stride,
                            const float* M, int border, unsigned int fill) {
  warp_affine<1>(source_of(src, src_width, src_height, src_stride),
                 {dst, dst_width, dst_height, dst_stride}, M, outside_of(border, fill));
}

void warpaffine_bilinear_c4(const unsigned char* src, int src_width, int src_height, int src_stride,
                            unsigned char* dst, int dst_width, int dst_height, int dst_stride,
                            const float* M, int border, unsigned int fill) {
  warp_affine<4>(source_of(src, src_width, src_height, src_stride),
                 {dst, dst_width, dst_height, dst_stride}, M, outside_of(border, fill));
}

void warpperspective_bilinear_c4(const unsigned char* src, int src_width, int src_height,
                                 int src_stride, unsigned char* dst, int dst_width, int dst_height,
                                 int dst_stride, const float* H, int border, unsigned int fill) {
  const Source source = source_of(src, src_width, src_height, src_stride);
  const Destination destination = {dst, dst_width, dst_height, dst_stride};
  if (is_empty(source, destination)) return;
  double inverse[9];
  if (adjugate(H, inverse) == 0) inverse[8] = kNan;
  warp<4>(source, destination, PerspectiveMap(inverse), outside_of(border, fill));
}

}  // namespace KelvraCV
