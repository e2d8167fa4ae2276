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

// The weights of a line through the origin: (dx, dy) lies beyond it where x * dx + y * dy is
// negative.
struct Line {
  int16_t x, y;
};

// The rule in degrees, a = trunc(atan2(dy, dx) * 57.29578):
//   -22 .. 22: 0;  23 .. 67 and -157 .. -113: 45;  68 .. 112 and -112 .. -68: 90;  others: 135.
//
// The side of a boundary at angle t is the sign of sin(t) dx - cos(t) dy: negative for angles
// beyond it. Truncation puts the boundaries, for dy >= 0, at 23, 68 and 113 degrees. For dy < 0 the
// gradient is turned about, to a + 180, whose boundaries are 22, 67, 112 and 157: as it is not
// negated itself, their signs are. Class 0 is what lies before the first boundary (dy >= 0) or
// beyond the last (dy < 0), which one sum tells: there it is not negative.
//
// The boundaries' sines and cosines are scaled so that their ratio is within 5e-9 of the
// tangent; ratios of integers up to 1020 come nowhere as near to one, as the test of all pairs of
// them shows.
template <class D16, class V16 = hn::Vec<D16>>
HWY_INLINE auto direction_of(D16 d16, V16 dx, V16 dy) {
  const auto is_down = hn::Lt(dy, hn::Zero(d16));
  const auto is_beyond = [=](Line up, Line down) {
    const auto x = hn::IfThenElse(is_down, hn::Set(d16, down.x), hn::Set(d16, up.x));
    const auto y = hn::IfThenElse(is_down, hn::Set(d16, down.y), hn::Set(d16, up.y));
    return hn::Lt(sum_with_sign(dx, x, dy, y), hn::Zero(d16));
  };
  // tan 22, 23, 67 and 68 as quotients.
  constexpr int16_t s22 = 8630, c22 = 21360, s23 = 11679, c23 = 27514;
  constexpr int16_t s67 = 20993, c67 = 8911, s68 = 22105, c68 = 8931;
  const auto is_steep = is_beyond(Line{s23, -c23}, Line{s23, c23});
  const auto beyond_first = is_beyond(Line{s23, -c23}, Line{-s22, c22});
  const auto beyond_second = is_beyond(Line{s68, -c68}, Line{-s67, c67});
  const auto beyond_third = is_beyond(Line{s67, c67}, Line{-s68, -c68});
  using Mask = decltype(beyond_first);
  const Mask class_45 = hn::AndNot(beyond_second, beyond_first);
  const Mask class_90 = hn::AndNot(beyond_third, beyond_second);
  return DirectionMasks<Mask>{hn::Not(is_steep), class_45, class_90};
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_EDGE_GRADIENT_DIRECTION_H_
