// Gaussian pyramid: each level is the one before it, smoothed and halved.
#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd_pixels.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// One row of column sums, even columns apart from odd ones, so that what belongs to neighbouring
// pixels of the result lies side by side. Three channels are planes of their own, four stay
// together as units of kUnit values. Columns -2 and -1 and those up to width + 1 are the border.
template <int kPlanes, int kUnit>
struct ColumnSums {
  uint16_t *even[kPlanes], *odd[kPlanes];
};

// As many values of each plane as `d8` has lanes. The kernel is 1 4 6 4 1 both ways: sums over a
// column are at most 16 * 255 and those over a square at most 256 * 255, which leaves room for the
// rounding term.
template <int kPlanes, int kUnit, class D8>
HWY_INLINE void sum_columns_at(D8 d8, const uint8_t* const rows[5], size_t offset,
                               const ColumnSums<kPlanes, kUnit>& sums, size_t value) {
  const hn::Repartition<uint16_t, D8> d16;
  hn::Vec<D8> v[5][kPlanes];
  for (int k = 0; k < 5; ++k) load_pixels<kPlanes>(d8, rows[k] + offset, v[k]);
  if constexpr (kPlanes == 1) {
    for (auto& row : v) row[0] = opaque(row[0]);  // used twice
  }
  const auto four = opaque(hn::Set(d16, 4));  // not a shift: arm64 multiplies and adds at once
  repeat<kPlanes>([&](int p) KELVRA_CV_INLINE {
    auto sum = multiply_add_wide(add_wide(v[0][p], v[4][p]), v[2][p], 6);
    const auto inner = add_wide(v[1][p], v[3][p]);
    sum.first = sum.first + inner.first * four;
    sum.second = sum.second + inner.second * four;
    sum = even_and_odd<kUnit>(sum);
    hn::StoreU(sum.first, d16, sums.even[p] + value / 2);
    hn::StoreU(sum.second, d16, sums.odd[p] + value / 2);
  });
}

// The border's columns repeat the first and the last one.
template <int kUnit>
void replicate_border(uint16_t* even, uint16_t* odd, size_t width) {
  const auto copy = [](uint16_t* to, const uint16_t* from) { std::copy_n(from, kUnit, to); };
  uint16_t *const even_end = even + (width + 1) / 2 * kUnit, *const last =
                                                                 odd + (even_end - even) - kUnit;
  copy(even - kUnit, even);
  copy(odd - kUnit, even);
  if (width % 2 == 1) copy(last, even_end - kUnit);
  copy(even_end, last);
}

template <int kPlanes, int kUnit>
void sum_columns(const uint8_t* const rows[5], const ColumnSums<kPlanes, kUnit>& sums,
                 size_t width) {
  const size_t values = width * kUnit;
  const auto walk = [&](auto d8, size_t x) {
    for (; x + hn::Lanes(d8) <= values; x += hn::Lanes(d8)) {
      sum_columns_at(d8, rows, x * kPlanes, sums, x);
    }
    return x;
  };
  const Block<uint8_t> block;
  const size_t done = walk(block, walk(Full<uint8_t>(), 0));
  if (done < values) {  // the last ones, from copies that have room for a vector
    uint8_t copies[5][16 * kPlanes] = {};
    const uint8_t* last[5];
    for (int k = 0; k < 5; ++k) {
      last[k] = copies[k];
      std::memcpy(copies[k], rows[k] + done * kPlanes, (values - done) * kPlanes);
    }
    sum_columns_at(block, last, 0, sums, done);
  }
  for (int p = 0; p < kPlanes; ++p) replicate_border<kUnit>(sums.even[p], sums.odd[p], width);
}

// As many values of each plane of the next level as `d8` has lanes.
template <int kPlanes, int kUnit, class D8>
HWY_INLINE void halve_at(D8 d8, const ColumnSums<kPlanes, kUnit>& sums, size_t x, uint8_t* dst) {
  const hn::Repartition<uint16_t, D8> d16;
  hn::Vec<D8> bytes[kPlanes];
  for (int p = 0; p < kPlanes; ++p) {
    const auto weigh = [&](size_t at) {
      const auto load = [&](const uint16_t* from) { return hn::LoadU(d16, from + at); };
      const auto outer = load(sums.even[p] - kUnit) + load(sums.even[p] + kUnit);
      const auto inner = load(sums.odd[p] - kUnit) + load(sums.odd[p]);
      return outer + inner * opaque(hn::Set(d16, 4)) + load(sums.even[p]) * opaque(hn::Set(d16, 6));
    };
    bytes[p] = round_to_u8<8>(weigh(x), weigh(x + hn::Lanes(d16)));
  }
  store_pixels<kPlanes>(d8, bytes, dst);
}

template <int kPlanes, int kUnit>
void halve_row(const ColumnSums<kPlanes, kUnit>& sums, uint8_t* dst, size_t half) {
  const size_t values = half * kUnit;
  const auto walk = [&](auto d8, size_t x) {
    for (; x + hn::Lanes(d8) <= values; x += hn::Lanes(d8)) {
      halve_at(d8, sums, x, dst + x * kPlanes);
    }
    return x;
  };
  const Block<uint8_t> block;
  const size_t done = walk(block, walk(Full<uint8_t>(), 0));
  if (done == values) return;
  uint8_t last[16 * kPlanes];
  halve_at(block, sums, done, last);
  std::memcpy(dst + done * kPlanes, last, (values - done) * kPlanes);
}

// `from` must stay as it is while `to` is written.
template <int kPlanes, int kUnit>
void halve(const ImageData& from, const ImageData& to) {
  // Whole blocks, and more than the border on either side.
  const size_t pitch = (static_cast<size_t>(to.width) * kUnit / 16 + 3) * 16;
  const size_t room = 2 * kPlanes * pitch;
  // Several rows of sums in turn: reading back what was written just now would wait.
  constexpr int kRows = 2, kAhead = kRows - 1;
  Scratch<uint16_t> memory(kRows, room);
  std::fill_n(memory.get(), kRows * room, uint16_t{0});
  const auto sums_of = [&](int y) {
    ColumnSums<kPlanes, kUnit> sums;
    for (int p = 0; p < kPlanes; ++p) {
      sums.even[p] = memory.get() + y % kRows * room + static_cast<size_t>(2 * p) * pitch + 16;
      sums.odd[p] = sums.even[p] + pitch;
    }
    return sums;
  };
  for (int y = -kAhead; y < to.height; ++y) {
    if (y < to.height - kAhead) {
      const int next = y + kAhead;
      const uint8_t* rows[5];
      for (int k = 0; k < 5; ++k) {
        const auto row = std::clamp<int64_t>(int64_t{2} * next + k - 2, 0, from.height - 1);
        rows[k] = row_at(from.data, static_cast<int>(row), from.stride);
      }
      sum_columns(rows, sums_of(next), static_cast<size_t>(from.width));
    }
    if (y < 0) continue;
    halve_row(sums_of(y), row_at(to.data, y, to.stride), static_cast<size_t>(to.width));
  }
}

void set_size(ImageData& level, int width, int height, int channels) {
  level.width = width;
  level.height = height;
  level.channels = channels;
  level.stride = width * channels;
}

}  // namespace

void pyramid_gauss(const ImageData& src, std::vector<ImageData>& levels) {
  const ImageData image = src;  // `src` may be the first of the levels
  if (levels.empty() || image.width < 1 || image.height < 1) return;
  if (image.channels != 1 && image.channels != 3 && image.channels != 4) return;
  set_size(levels[0], image.width, image.height, image.channels);
  if (levels[0].data == image.data) levels[0].stride = image.stride;
  for (int y = 0; y < image.height && levels[0].data != image.data; ++y) {
    std::memcpy(row_at(levels[0].data, y, levels[0].stride), row_at(image.data, y, image.stride),
                static_cast<size_t>(image.width) * image.channels);
  }
  const auto halve_level = image.channels == 1   ? halve<1, 1>
                           : image.channels == 3 ? halve<3, 1>
                                                 : halve<1, 4>;
  for (size_t i = 1; i < levels.size(); ++i) {
    const ImageData& larger = levels[i - 1];
    if (larger.width <= 1 && larger.height <= 1) {
      set_size(levels[i], 0, 0, image.channels);
    } else {
      set_size(levels[i], larger.width - larger.width / 2, larger.height - larger.height / 2,
               image.channels);
      halve_level(larger, levels[i]);
    }
  }
}

}  // namespace KelvraCV
