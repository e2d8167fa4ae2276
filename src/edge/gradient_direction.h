// The direction class of integer gradients, without an arctangent.
#ifndef KELVRA_CV_EDGE_GRADIENT_DIRECTION_H_
#define KELVRA_CV_EDGE_GRADIENT_DIRECTION_H_

#include "core/simd.h"

namespace KelvraCV::detail {

// One of the masks of a lane is set; none is for class 135.
template <class Mask>
struct DirectionMasks {
  Mask class_0, class_45, class_90;
};

// a * a_weight + b * b_weight, exact in 32 bits, saturated to 16: its sign is kept.
template <class D16, class V16>
HWY_INLINE V16 weighted_sum(D16 d16, V16 a, V16 a_weight, V16 b, V16 b_weight) {
  if constexpr (hn::MaxLanes(d16) == 1) {
    const hn::Rebind<int32_t, D16> d32;
    const auto wide = [=](V16 v) { return hn::PromoteTo(d32, v); };
    return hn::DemoteTo(d16, wide(a) * wide(a_weight) + wide(b) * wide(b_weight));
  } else {
    const hn::Repartition<int32_t, D16> d32;
    return narrow_to_i16_blocks(multiply_add_pairs(d32, hn::InterleaveLower(d16, a, b),
                                                   hn::InterleaveLower(d16, a_weight, b_weight)),
                                multiply_add_pairs(d32, hn::InterleaveUpper(d16, a, b),
                                                   hn::InterleaveUpper(d16, a_weight, b_weight)));
  }
}

// The weights of a line through the origin: which side of it (dx, dy) lies on is the sign of
// x * dx + y * dy.
struct Line {
  int16_t x, y;
};

// The rule in degrees, a = trunc(atan2(dy, dx) * 57.29578):
//   -22 .. 22: 0;  23 .. 67 and -157 .. -113: 45;  68 .. 112 and -112 .. -68: 90;  others: 135.
//
// The side of a boundary at angle t is the sign of -sin(t) dx + cos(t) dy: positive for angles
// beyond it. Truncation puts the boundaries, for dy >= 0, at 23, 68 and 113 degrees. For dy < 0 the
// gradient is turned about, to a + 180, whose boundaries are 22, 67, 112 and 157: as it is not
// negated itself, their signs are. Class 0 is what lies before the first boundary (dy >= 0) or
// beyond the last (dy < 0), which `flat` asks of one sum. All sums are exact in 32 bits.
//
// The boundaries' sines and cosines are scaled so that their ratio is within 5e-9 of the
// tangent; ratios of integers up to 1020 come nowhere as near to one, as the test of all pairs of
// them shows.
template <class D16, class V16 = hn::Vec<D16>>
HWY_INLINE auto direction_of(D16 d16, V16 dx, V16 dy) {
  const auto zero = hn::Zero(d16);
  const auto is_down = hn::Lt(dy, zero);
  const auto side = [=](Line up, Line down) {
    const auto x = hn::IfThenElse(is_down, hn::Set(d16, down.x), hn::Set(d16, up.x));
    const auto y = hn::IfThenElse(is_down, hn::Set(d16, down.y), hn::Set(d16, up.y));
    return weighted_sum(d16, dx, x, dy, y);
  };
  // tan 22, 23, 67 and 68 as quotients.
  constexpr int16_t s22 = 8630, c22 = 21360, s23 = 11679, c23 = 27514;
  constexpr int16_t s67 = 20993, c67 = 8911, s68 = 22105, c68 = 8931;
  const auto flat = side(Line{s23, -c23}, Line{s23, c23});
  const auto beyond_first = hn::Gt(side(Line{-s23, c23}, Line{s22, -c22}), zero);
  const auto beyond_second = hn::Gt(side(Line{-s68, c68}, Line{s67, -c67}), zero);
  const auto beyond_third = hn::Gt(side(Line{-s67, -c67}, Line{s68, c68}), zero);
  using Mask = decltype(beyond_first);
  const Mask class_45 = hn::AndNot(beyond_second, beyond_first);
  const Mask class_90 = hn::AndNot(beyond_third, beyond_second);
  return DirectionMasks<Mask>{hn::Gt(flat, hn::Set(d16, -1)), class_45, class_90};
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_EDGE_GRADIENT_DIRECTION_H_
