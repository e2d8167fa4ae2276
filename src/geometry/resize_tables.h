// What every resize computes once per call, for columns and for rows: where a destination position
// lies in the source, which source positions it takes, and their weights.
//
// With integer weights that sum to 2048, w of the columns and v of the rows, a resize of bytes is
//   h(row, x) = (sum of w_i(x) source(row, first(x) + i)) >> 4, 16 bits, and
//   destination(x, y) = (sum of v_j(y) h(first(y) + j, x)) >> 18, 8 bits,
// over two taps in each direction (bilinear) or four (bicubic). Nothing is rounded or clamped, on
// purpose: a bicubic value may wrap around beside a strong edge.
#ifndef KELVRA_CV_GEOMETRY_RESIZE_TABLES_H_
#define KELVRA_CV_GEOMETRY_RESIZE_TABLES_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace KelvraCV::detail {

// 1.0 in the weights' 11-bit fixed point. A horizontal pass keeps 7 of its bits.
constexpr int kWeightOne = 2048;

struct ResizeSizes {
  int src_width, src_height, src_stride;
  int dst_width, dst_height, dst_stride;

  bool is_empty() const {
    return src_width < 1 || src_height < 1 || dst_width < 1 || dst_height < 1;
  }
};

// Source coordinates with pixel centres aligned: (i + 0.5) source / destination - 0.5. Whole groups
// of four positions divide before they multiply and the rest multiply first, which can change the
// last bit.
class Coordinates {
 public:
  Coordinates(int source, int destination)
      : destination_(destination),
        grouped_(destination & ~3),
        source_(static_cast<float>(source)),
        ratio_(static_cast<float>(source) / static_cast<float>(destination)),
        reciprocal_(1.0f / static_cast<float>(destination)) {}

  float operator()(int i) const { return i < grouped_ ? of_group(i) : of_rest(i); }

  // Calls f(i, coordinate) for all positions.
  template <class F>
  void for_each(F f) const {
    for (int i = 0; i < grouped_; ++i) f(i, of_group(i));
    for (int i = grouped_; i < destination_; ++i) f(i, of_rest(i));
  }

 private:
  float of_group(int i) const { return std::fma(static_cast<float>(i) + 0.5f, ratio_, -0.5f); }
  float of_rest(int i) const {
    return std::fma((static_cast<float>(i) + 0.5f) * source_, reciprocal_, -0.5f);
  }

  int destination_, grouped_;
  float source_, ratio_, reciprocal_;
};

// How many source pixels there are to each destination pixel, if that is a whole number and all
// coordinates are exact: destination pixel i has those from step * i on, and its coordinate is in
// their middle. kHalfStep if there are two destination pixels to each source pixel, else 0.
//
// Coordinates in whole groups of four are exact up to 2^21, as i + 0.5, its product with the ratio
// and the difference need 23 bits at most. Only the rest is looked at.
constexpr int kHalfStep = -2;
inline int exact_step(int source, int destination) {
  const bool is_doubled = destination == int64_t{2} * source;
  if (source % destination != 0 && !is_doubled) return 0;
  if (std::max(source, destination) >= 1 << 21) return 0;
  const Coordinates coordinate(source, destination);
  const double ratio = static_cast<double>(source) / destination;
  for (int i = destination & ~3; i < destination; ++i) {
    if (coordinate(i) != (i + 0.5) * ratio - 0.5) return 0;
  }
  return is_doubled ? kHalfStep : source / destination;
}

// The integer at or before a coordinate, which rounding may have led past the range of integers.
inline int floor_of(float coordinate) {
  const float whole = std::floor(coordinate);
  return whole < 2147483648.0f ? static_cast<int>(whole) : std::numeric_limits<int>::max();
}

// The pixel at or before a coordinate, and how far the coordinate is on the way to the next one:
// 0 before the first pixel. From the last pixel on it is the last but one, all the way.
struct Position {
  int tap;
  float fraction;
};
inline Position position_of(float coordinate, int source) {
  const int tap = std::max(floor_of(coordinate), 0);
  if (tap >= source - 1) return {source - 2, 1.0f};
  return {tap, coordinate < 0.0f ? 0.0f : coordinate - std::floor(coordinate)};
}

// kTaps neighbouring source positions from `first` on, and their integer weights, which sum to
// kWeightOne. Positions outside of the source stand for the nearest one inside.
template <int kTaps>
struct Taps {
  int first;
  int16_t weights[kTaps];
};

// The pixel at the floor of the coordinate.
struct Nearest {
  static constexpr int kTaps = 1;

  static int tap(float coordinate, int source) {
    return std::clamp(floor_of(coordinate), 0, source - 1);
  }
};

struct Linear {
  static constexpr int kTaps = 2;

  // A single pixel is always the first tap.
  static Taps<2> taps(float coordinate, int source) {
    const Position at = position_of(coordinate, source);
    // The fraction's product is exact; the difference rounds, and then is truncated.
    const auto weight = static_cast<int16_t>(kWeightOne - at.fraction * kWeightOne);
    if (weight == 0) return {at.tap + 1, {kWeightOne, 0}};
    return {at.tap, {weight, static_cast<int16_t>(kWeightOne - weight)}};
  }
};

// The kernel is cubic convolution with a = +0.75: deliberately of the other sign than usual, which
// gives small positive outer lobes. R. Keys, "Cubic convolution interpolation for digital image
// processing", 1981.
struct Cubic {
  static constexpr int kTaps = 4;

  static Taps<4> taps(float coordinate, int source) {
    const Position at = position_of(coordinate, source);
    const auto near = [](float d) {  // at a distance of 0 to 1
      const float squared = d * d, cubed = squared * d;
      return static_cast<int>(kWeightOne * (2.75f * cubed - 3.75f * squared + 1.0f));
    };
    const auto far = [](float d) {  // at a distance of 1 to 2; 6144 is 3.0
      const float squared = d * d, cubed = squared * d;
      return static_cast<int>(kWeightOne * (0.75f * cubed - 3.75f * squared + 6.0f * d) - 6144.0f);
    };
    const int k0 = far(1.0f + at.fraction), k1 = near(at.fraction), k2 = near(1.0f - at.fraction);
    return {at.tap - 1,
            {static_cast<int16_t>(k0), static_cast<int16_t>(k1), static_cast<int16_t>(k2),
             static_cast<int16_t>(kWeightOne - (k0 + k1 + k2))}};
  }
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_RESIZE_TABLES_H_
