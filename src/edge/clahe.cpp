// Contrast-limited adaptive histogram equalisation: a grey-level mapping for each region of a grid,
// and for each pixel the bilinear mean of what the four nearest regions' mappings give.
#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "core/rows.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "edge/byte_counts.h"
#include "edge/exact_quotient.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// One channel of an image, whose samples are `step` bytes apart.
struct Plane {
  uint8_t* samples;
  int width, height;
  size_t stride;
  int step;
  uint8_t* at(int x, int y) const {
    return samples + static_cast<size_t>(y) * stride + static_cast<size_t>(x) * step;
  }
};

// The values that one bin counts; with a single bin, all of them.
int bin_size(int bins) {
  return 255 / bins + 1;
}

// The most that a bin may count.
uint32_t clip_limit(size_t pixels, float clip, int bins) {
  constexpr uint32_t kUnlimited = 16384;
  if (!(clip > 0)) return kUnlimited;
  const float limit = static_cast<float>(pixels) * clip / static_cast<float>(bins);
  if (limit >= 4294967296.0f) return UINT32_MAX;
  return std::max<uint32_t>(static_cast<uint32_t>(limit), 1);
}

// The bins from 256 on, however many, count no value and only take their share of what is spread.
// They all hold `level`, but those that have taken more.
struct SpareBins {
  uint32_t& operator[](uint32_t bin) { return touched.try_emplace(bin, level).first->second; }
  bool any_below(uint32_t limit) const {
    return (touched.size() < count && level < limit) ||
           std::any_of(touched.begin(), touched.end(),
                       [=](const auto& entry) { return entry.second < limit; });
  }
  uint32_t count, level;
  std::unordered_map<uint32_t, uint32_t> touched;
};

// One sweep over all starts: an increment here and there until the excess is used up.
uint32_t spread(uint32_t* hist, SpareBins& spare, uint32_t bins, uint32_t limit, uint32_t excess) {
  for (uint32_t start = 0; start < bins && excess > 0; ++start) {
    const uint32_t step = excess > bins ? 1 : bins / excess;
    for (size_t i = start; i < bins && excess > 0; i += step) {
      uint32_t& bin = i < 256 ? hist[i] : spare[static_cast<uint32_t>(i)];
      const uint32_t is_below = bin < limit ? 1 : 0;
      bin += is_below;
      excess -= is_below;
    }
  }
  return excess;
}

// Cuts the bins at `limit` and spreads what is cut off over all of them; `hist` has the first 256.
// Together they never count more than there are pixels, which are taken to be less than 2^32.
void clip_histogram(uint32_t* hist, uint32_t bins, uint32_t limit) {
  uint32_t* const end = hist + std::min(bins, uint32_t{256});
  uint32_t excess = 0;
  for (const uint32_t* bin = hist; bin < end; ++bin) excess += *bin > limit ? *bin - limit : 0;
  if (excess == 0) return;
  const uint32_t increment = excess / bins;
  // Unsigned: an increment beyond the limit makes this too large to be reached.
  const uint32_t upper = limit - increment;
  const uint32_t least_full = std::min(limit, upper);
  for (uint32_t* bin = hist; bin < end; ++bin) {  // vectorised
    // Deliberately not limit - *bin, which is what the bin takes: this is what decides how much
    // is spread afterwards.
    const uint32_t taken = *bin > upper ? *bin - upper : increment;
    excess -= *bin > limit ? 0 : taken;
    *bin = *bin > least_full ? limit : *bin + increment;
  }
  SpareBins spare{bins - static_cast<uint32_t>(end - hist), increment, {}};
  excess -= spare.count * increment;
  // Without a bin below the limit, a sweep has no effect.
  const auto is_below = [=](uint32_t bin) { return bin < limit; };
  while (excess > 0 && (std::any_of(hist, end, is_below) || spare.any_below(limit))) {
    excess = spread(hist, spare, bins, limit, excess);
  }
}

// The grey level of each byte value. The bins are replaced by their running sums. In
// single precision, from left to right.
void map_values(uint32_t* hist, size_t pixels, int values_per_bin, uint8_t* mapping) {
  const float reciprocal = 1.0f / static_cast<float>(pixels);
  const TwoBlocks<uint32_t> d;
  auto before = hn::Zero(d);
  for (size_t bin = 0; bin < 256; bin += hn::Lanes(d)) {
    hn::StoreU(prefix_sums(hn::LoadU(d, hist + bin), before), d, hist + bin);
  }
  uint8_t levels[256];
  for (int bin = 0; bin < 256; ++bin) {  // vectorised
    const float level = static_cast<float>(hist[bin]) * 255.0f * reciprocal;
    levels[bin] = static_cast<uint8_t>(static_cast<int>(std::min(level, 255.0f)));
  }
  for_each_value(values_per_bin, [=](int value, int bin) { mapping[value] = levels[bin]; });
}

// The grid's mappings, 256 bytes for each region, row by row.
struct Grid {
  int regions, region_width, region_height;
  const uint8_t* mappings;
  const uint8_t* mapping(int column, int row) const {
    return mappings + (static_cast<size_t>(row) * regions + column) * 256;
  }
};

void map_regions(const Plane& plane, Grid grid, int bins, float clip, uint8_t* mappings) {
  const int width = grid.region_width, height = grid.region_height;
  const size_t pixels = static_cast<size_t>(width) * height;
  const uint32_t limit = clip_limit(pixels, clip, bins);
  const int values_per_bin = bin_size(bins);
  uint32_t hist[256];
  for (int region = 0; region < grid.regions * grid.regions; ++region) {
    const int left = region % grid.regions * width, top = region / grid.regions * height;
    ByteCounts counts(pixels);
    for (int y = top; y < top + height; ++y) {
      counts.add(plane.at(left, y), static_cast<size_t>(width), static_cast<size_t>(plane.step));
    }
    const uint32_t* total = counts.total();
    std::fill_n(hist, 256, 0);
    for_each_value(values_per_bin, [&](int value, int bin) { hist[bin] += total[value]; });
    clip_histogram(hist, static_cast<uint32_t>(bins), limit);
    map_values(hist, pixels, values_per_bin, mappings + static_cast<size_t>(region) * 256);
  }
}

// Along one axis: section k of the image lies between the centres of regions k - 1 and k. The first
// one, half a region long, and the last one, which also covers what the grid leaves over, have one
// region on both sides.
struct Section {
  int start, length, before, after;
};
Section section_of(int k, int regions, int region_length, int length) {
  const int first = region_length / 2, start = k == 0 ? 0 : first + (k - 1) * region_length;
  if (k == 0) return {0, first, 0, 0};
  if (k == regions) return {start, length - start, regions - 1, regions - 1};
  return {start, region_length, k - 1, k};
}

// A value's levels by the mappings above and below, weighted by the distances from them.
struct DirectBlend {
  const uint8_t *upper, *lower;
  uint64_t above, below;
  uint64_t operator()(uint8_t value) const { return upper[value] * above + lower[value] * below; }
};

// The sections of a row, with the division by their areas.
struct Column {
  Section section;
  ExactQuotient divided;
};

// The mean of the four mappings at (x, y) of a section of w x h is
// ((lu (w - x) + ru x) (h - y) + (lb (w - x) + rb x) y) / (w h), truncated: whole numbers, so the
// rows may be blended before the columns. `left` and `right` give that of a value.
template <class Level>
void interpolate(uint8_t* samples, int step, const Column& column, Level left, Level right) {
  const auto end = static_cast<uint64_t>(column.section.length);
  const ExactQuotient divided = column.divided;
#pragma GCC unroll 4
  for (uint64_t x = 0; x < end; ++x, samples += step) {
    *samples = divided(left(*samples) * (end - x) + right(*samples) * x);
  }
}

// Row y of a section of rows. The mappings above and below are blended pixel by pixel, or where
// that is less work once for all values, into `levels`.
void interpolate_row(const Plane& plane, const Grid& grid, Section rows, const Column* columns,
                     int y, uint32_t* levels) {
  constexpr int kNarrow = 64, kHighest = UINT32_MAX / 255;  // columns; rows whose levels fit
  const bool is_direct = grid.region_width < kNarrow || rows.length > kHighest;
  const auto below = static_cast<uint32_t>(y), above = static_cast<uint32_t>(rows.length - y);
  const auto blend = [&](int column) {
    return DirectBlend{grid.mapping(column, rows.before), grid.mapping(column, rows.after), above,
                       below};
  };
  for (int column = 0; column < grid.regions && !is_direct; ++column) {
    const DirectBlend level = blend(column);
    uint32_t* out = levels + static_cast<size_t>(column) * 256;
    for (int value = 0; value < 256; ++value) {  // vectorised
      out[value] = level.upper[value] * above + level.lower[value] * below;
    }
  }
  const auto look_up = [=](int column) {
    return [table = levels + static_cast<size_t>(column) * 256](uint8_t value) -> uint64_t {
      return table[value];
    };
  };
  for (int k = 0; k <= grid.regions; ++k) {
    const auto [start, length, before, after] = columns[k].section;
    uint8_t* samples = plane.at(start, rows.start + y);
    if (is_direct) {
      interpolate(samples, plane.step, columns[k], blend(before), blend(after));
    } else {
      interpolate(samples, plane.step, columns[k], look_up(before), look_up(after));
    }
  }
}

void equalise(const Plane& plane, int tiles, int bins, float clip) {
  const int regions = std::clamp(tiles, 2, 16);
  if (plane.width < regions || plane.height < regions) return;
  if (bins < 1) bins = 128;
  Scratch<uint8_t> mappings(static_cast<size_t>(regions) * regions * 256);
  const Grid grid{regions, plane.width / regions, plane.height / regions, mappings.get()};
  map_regions(plane, grid, bins, clip, mappings.get());
  Scratch<uint32_t> levels(static_cast<size_t>(regions) * 256);
  for (int k = 0; k <= regions; ++k) {
    const Section rows = section_of(k, regions, grid.region_height, plane.height);
    std::vector<Column> columns;
    for (int c = 0; c <= regions; ++c) {
      const Section section = section_of(c, regions, grid.region_width, plane.width);
      const uint64_t area = static_cast<uint64_t>(section.length) * rows.length;
      columns.push_back({section, ExactQuotient(std::max<uint64_t>(area, 1))});
    }
    for (int y = 0; y < rows.length; ++y) {
      interpolate_row(plane, grid, rows, columns.data(), y, levels.get());
    }
  }
}

// Widens packed RGB pixels to the source's number of channels; those from the fourth on are the
// source's. `rgb` may lie at the end of `dst`.
void add_channels(const uint8_t* rgb, const ImageData& src, uint8_t* dst, size_t pixels) {
  const auto channels = static_cast<size_t>(src.channels);
  for (size_t i = 0; i < pixels; ++i) {
    const uint8_t *from = src.data + i * channels, *color = rgb + 3 * i;
    uint8_t* to = dst + i * channels;
    const uint8_t r = color[0], g = color[1], b = color[2];
    for (size_t c = to == from ? channels : 3; c < channels; ++c) to[c] = from[c];
    to[0] = r, to[1] = g, to[2] = b;
  }
}

}  // namespace

void clahe(const ImageData& src, ImageData& dst, int tiles, int bins, float clip) {
  if (src.width < 1 || src.height < 1) return;
  const int width = src.width, height = src.height;
  if (src.channels == 1) {
    const auto stride = static_cast<size_t>(src.stride);
    equalise({src.data, width, height, stride, 1}, tiles, bins, clip);
    std::memmove(dst.data, src.data, stride * static_cast<size_t>(height));
  } else if (src.channels >= 3) {
    const size_t pixels = static_cast<size_t>(width) * height, row_bytes = size_t{3} * width;
    // The HSV form lies at the end of `dst`, where pixels that are widened from the first one on
    // do not reach those still to be read. If `dst` is the source, it lies apart.
    const bool is_in_place = src.data == dst.data;
    Scratch<uint8_t> apart(is_in_place ? pixels : 0, 3);
    uint8_t* const hsv = is_in_place ? apart.get() : dst.data + pixels * (src.channels - 3);
    ImageData hsv_image{hsv, width, height, 3, static_cast<int>(row_bytes), 0, 0};
    rgba2hsv(src, hsv_image);
    equalise({hsv + 2, width, height, row_bytes, 3}, tiles, bins, clip);
    ImageData rgb_image = hsv_image;
    if (src.channels == 3) rgb_image.data = dst.data;
    hsv2rgb(hsv_image, rgb_image);
    if (src.channels > 3) add_channels(hsv, src, dst.data, pixels);
  }
}

}  // namespace KelvraCV
